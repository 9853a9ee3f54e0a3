/// The host's operations on switches and clients, the answers of the scripted mount client, and
/// time.
#include "Twins.h"

#include <gantry/runtime/fen/ActivityLoop.h>

namespace RegistryTest {

using namespace Controller;

// ---- switches ----------------------------------------------------------------------------------

void Twins::newSwitchConfig(std::string const& system) {
   Fen::String8 const text(system);
   auto const live = ControllerRegistration::switchConfigFactory(Fen::Name(system));
   auto const connection = live->connectionConfigIs("connection");
   auto const last = static_cast<unsigned>(system.back());
   std::string const ip = "10.0.0." + std::to_string(last);
   connection->ipIs(Nimet::IpAddr(Fen::String8(ip)));
   connection->portIs(9001);
   connection->sysnameIs(Fen::String8("leaf" + std::to_string(last)));
   auto const model = std::make_shared<Naive::ConnectionConfig>();
   *model = {ip, 9001, "leaf" + std::to_string(last)};
   switchConfig_[system] = live;
   controllerStatus_->switchConfigIs(SystemId(text), live);
   model_.switchConfigs[system] = {model};
}

void Twins::switchConfigRenew(Numbers const& n) {
   std::string const system = systemOf(n[0]);
   if (!controllerStatus_->registeredSwitch(SystemId(Fen::String8(system)))) {
      newSwitchConfig(system);
   }
}

void Twins::connectionConfig(Numbers const& n) {
   std::string const system = systemOf(n[0]);
   auto const& live = switchConfig_.at(system);
   if (!live->connectionConfig()) {
      // A fresh one that nobody could be reached by, until it gets its port.
      live->connectionConfigIs("connection")->ipIs(Nimet::IpAddr(Fen::String8("10.9.9.9")));
      auto const model = std::make_shared<Naive::ConnectionConfig>();
      model->ip = "10.9.9.9";
      model_.switchConfigs.at(system).connection = model;
   } else if (n[1] % 2 == 0) {
      live->connectionConfigDel();
      model_.switchConfigs.at(system).connection = nullptr;
   }
}

void Twins::connectionPort(Numbers const& n) {
   std::string const system = systemOf(n[0]);
   if (auto const live = switchConfig_.at(system)->connectionConfig()) {
      auto const port = static_cast<std::uint16_t>(n[1] % 3 == 0 ? 0 : 9000 + n[1] % 3);
      live->portIs(port);
      model_.switchConfigs.at(system).connection->port = port;
   }
}

void Twins::registered(Numbers const& n) {
   std::string const system = systemOf(n[0]);
   controllerStatus_->registeredSwitchIs(SystemId(Fen::String8(system)), n[1] % 4 != 0);
   model_.registeredIs(system, n[1] % 4 != 0);
}

void Twins::registeredDel(Numbers const& n) {
   std::string const system = systemOf(n[0]);
   controllerStatus_->registeredSwitchDel(SystemId(Fen::String8(system)));
   model_.registeredDel(system);
}

// ---- clients -----------------------------------------------------------------------------------

void Twins::client(Numbers const& n) {
   // Also a client whose name is no system's.
   std::string const name = n[0] % 24 == 0 ? "stranger" : systemOf(n[0]);
   if (clientsDir_->entityPtr(Fen::Name(name))) {
      if (n[1] % 3 == 0) {
         clientsDir_->entityPtrDel(Fen::Name(name));
         model_.clientDel(name);
      }
      return;
   }
   if (n[1] % 9 == 1) {
      clientsDir_->entityPtrIs(Fen::dirFactory(Fen::Name(name)));
      auto const other = std::make_shared<Naive::Client>();
      other->isServiceStatusDir = false;
      model_.clientIs(name, other);
      return;
   }
   Client& client = client_[name];
   if (!client.dir || n[1] % 9 == 2) {
      client = {{serviceStatusDirFactory(Fen::Name(name)), std::make_shared<Naive::Client>()}, {}};
   }
   clientsDir_->entityPtrIs(client.dir.live);
   model_.clientIs(name, client.dir.model);
}

void Twins::clientService(Numbers const& n) {
   Client& client = client_[systemOf(n[0])];
   if (!client.dir) {
      return;
   }
   std::string const service = serviceAt(n[1]).name;
   if (client.service.contains(service) && n[2] % 2 == 0) {
      client.dir.live->serviceDel(Fen::Name(service));
      model_.serviceDel(*client.dir.model, service);
      client.service.erase(service);
   } else {
      client.service[service] = {client.dir.live->serviceIs(Fen::Name(service)),
                                 model_.serviceIs(*client.dir.model, service)};
   }
}

void Twins::versionStatus(Numbers const& n) {
   Client& client = client_[systemOf(n[0])];
   auto const at = client.service.find(serviceAt(n[1]).name);
   if (at == client.service.end()) {
      return clientService({n[0], n[1], 1, 0});
   }
   bool const isTaken = n[2] % 2 == 0;
   Fen::Ptr<ServiceVersionStatusV1> live;
   std::shared_ptr<Naive::VersionStatus> model;
   if (!isTaken) {
      live = serviceVersionStatusV1Factory("version");
      live->versionNegotiationCompleteIs(n[3] % 2 == 0);
      live->versionCompatibleIs(n[3] % 4 < 2);
      live->negotiatedVersionIs(NegotiatedVersion(n[3] % (versionCount + 1), "given"));
      model = std::make_shared<Naive::VersionStatus>();
      *model = {n[3] % 2 == 0, n[3] % 4 < 2, n[3] % (versionCount + 1)};
   }
   at->second.live->versionStatusIs(live);
   model_.versionStatusIs(*at->second.model, model);
}

/// A whole negotiation, as its writers do it: to false, the values, and back to true.
void Twins::negotiate(Numbers const& n) {
   std::string const system = systemOf(n[0]);
   Client& client = client_[system];
   if (!client.dir) {
      this->client({n[0], 3, 0, 0});
   }
   if (!client.dir) {
      return;
   }
   std::string const name = serviceAt(n[1]).name;
   auto& service = client.service[name];
   if (!service) {
      service = {client.dir.live->serviceIs(Fen::Name(name)),
                 model_.serviceIs(*client.dir.model, name)};
   }
   service.live->enabledIs(true);
   service.model->enabled = true;
   if (!service.live->versionStatus()) {
      service.live->versionStatusIs(serviceVersionStatusV1Factory("version"));
      model_.versionStatusIs(*service.model, std::make_shared<Naive::VersionStatus>());
   }
   auto const live = service.live->versionStatus();
   auto const model = service.model->status;
   live->versionNegotiationCompleteIs(false);
   model_.negotiationCompleteIs(*model, false);
   bool const isCompatible = n[3] % 5 != 0;
   unsigned const version = 1 + n[2] % versionCount;
   live->versionCompatibleIs(isCompatible);
   live->negotiatedVersionIs(NegotiatedVersion(version, "negotiated"));
   model->compatible = isCompatible;
   model->version = version;
   live->versionNegotiationCompleteIs(true);
   model_.negotiationCompleteIs(*model, true);
}

void Twins::negotiationComplete(Numbers const& n) {
   Client& client = client_[systemOf(n[0])];
   auto const at = client.service.find(serviceAt(n[1]).name);
   if (at != client.service.end() && at->second.live->versionStatus()) {
      at->second.live->versionStatus()->versionNegotiationCompleteIs(n[2] % 2 == 0);
      model_.negotiationCompleteIs(*at->second.model->status, n[2] % 2 == 0);
   }
}

void Twins::compatible(Numbers const& n) {
   Client& client = client_[systemOf(n[0])];
   auto const at = client.service.find(serviceAt(n[1]).name);
   if (at != client.service.end() && at->second.live->versionStatus()) {
      at->second.live->versionStatus()->versionCompatibleIs(n[2] % 2 == 0);
      at->second.model->status->compatible = n[2] % 2 == 0;
   }
}

void Twins::enabled(Numbers const& n) {
   Client& client = client_[systemOf(n[0])];
   auto const at = client.service.find(serviceAt(n[1]).name);
   if (at != client.service.end()) {
      at->second.live->enabledIs(n[2] % 2 == 0);
      at->second.model->enabled = n[2] % 2 == 0;
   }
}

// ---- answers -----------------------------------------------------------------------------------

/// The client puts its copy in place before it reports success.
void Twins::answerMountAt(std::size_t at, bool success) {
   Cairn::EntityManager& manager = *backend_->managers()[at];
   Naive::Manager& twin = *model_.script.managers[at];
   if (success) {
      std::string const target = manager.initArguments().targetPath.str();
      std::size_t const slash = target.rfind('/');
      auto const place = Fen::ptrCast<Fen::Dir>(
         Fen::Entity::entity(Fen::EntityUriPath(Fen::String8(target.substr(0, slash)))));
      place->entityIs(Fen::Name(target.substr(slash + 1)), "Fen::Dir");
      model_.localCopies.insert(twin.owner->parameters.targetPath);
   }
   auto const status = success ? Cairn::mountStatusSuccess : Cairn::mountStatusTimedOut;
   backend_->completeMount(manager, status);
   Naive::answerMount(twin, success);
}

/// The client takes its copy away before it reports the end of a full unmount.
void Twins::answerUnmountAt(std::size_t at) {
   Cairn::EntityManager& manager = *backend_->managers()[at];
   Naive::Manager& twin = *model_.script.managers[at];
   if (manager.unmounter() && !manager.statePreserving()) {
      Fen::entityDel(Fen::EntityUriPath(manager.initArguments().targetPath));
      model_.localCopies.erase(twin.owner->parameters.targetPath);
   }
   backend_->completeUnmount(manager);
   Naive::answerUnmount(twin);
}

void Twins::answerMount(Numbers const& n) {
   std::size_t const count = backend_->managers().size();
   if (count != 0 && count == model_.script.managers.size()) {
      answerMountAt(n[0] % count, n[1] % 3 != 0);
   }
}

void Twins::answerUnmount(Numbers const& n) {
   std::size_t const count = backend_->managers().size();
   if (count != 0 && count == model_.script.managers.size()) {
      answerUnmountAt(n[0] % count);
   }
}

/// Everything that is awaited comes, as a healthy network would have it.
void Twins::answerAll(Numbers const& n) {
   for (std::size_t at = backend_->managers().size(); at-- > 0;) {
      if (at < backend_->managers().size() && at < model_.script.managers.size()) {
         Naive::Request const current = model_.script.managers[at]->owner->current;
         if (current == Naive::Request::mount) {
            answerMountAt(at, (n[0] + at) % 7 != 0);
         } else if (current != Naive::Request::idle) {
            answerUnmountAt(at);
         }
      }
   }
}

// ---- time --------------------------------------------------------------------------------------

void Twins::turn(Numbers const&) {
   Fen::ActivityLoop::instance().runOnce(0.0);
   model_.clock.turn();
}

void Twins::quiet(Numbers const&) {
   time_.advance(0.0);
   model_.clock.quiet();
}

void Twins::advance(Numbers const& n) {
   double const seconds = n[0] % 2 == 0 ? 1.0 + n[1] : 29.0 + n[1] % 3;
   time_.advance(seconds);
   model_.clock.advance(seconds);
}

} // namespace RegistryTest
