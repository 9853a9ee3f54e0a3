/// A small host: the registry's and the services' machines, services with their declarations and
/// statuses, switches, and what their clients have negotiated. It uses whatever mount client the
/// process has. Owns all of it, on the test's thread; one at a time, since its directory stands
/// under the process's root.
#pragma once

#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/service/ServiceConfigDirSm.fen.h>

#include <map>
#include <string>

namespace RegistryTest {

class DeclaringHost {
 public:
   explicit DeclaringHost(double mountTimeout = 20.0) {
      Fen::root()->entityPtrIs(root);
      root->entityPtrIs(registryDir_);
      registry = Fen::makePtr<Controller::MountsRegistry>(registryDir_, "registry", root, "", 3u,
                                                          mountTimeout);
      services =
         Controller::serviceConfigDirSmFactory(mountConfigDir_, mountStatusDir_, publishConfigDir_,
                                               publishStatusDir_, published_, registry);
      machine = Controller::mountsRegistrySmFactory(registry, controllerStatus, mountStatusDir_,
                                                    published_, registeredSwitches, clients_);
   }
   ~DeclaringHost() {
      services = nullptr;
      machine = nullptr;
      Fen::root()->entityPtrDel("state");
   }
   DeclaringHost(DeclaringHost const&) = delete;
   DeclaringHost& operator=(DeclaringHost const&) = delete;

   /// The service's declarations; the first call makes it, with a status.
   Fen::Ptr<Controller::ServiceMountConfig> service(char const* name) {
      if (!mountConfigDir_->entityPtr(name)) {
         status_[name] = Fen::makePtr<Controller::ServiceMountStatus>(Fen::Name(name));
         config_[name] = Controller::serviceMountConfigFactory(name);
         mountStatusDir_->entityPtrIs(status_[name]);
         mountConfigDir_->entityPtrIs(config_[name]);
      }
      return config_[name];
   }
   Fen::Ptr<Controller::ServiceMountStatus> status(char const* service) const {
      return status_.at(service);
   }
   /// The state of a mount in the status; nothing when it is not there.
   std::string state(char const* service, char const* group, Fen::Name system,
                     Fen::Name path) const {
      auto const systemStatus = status(service)->systemStatus(system);
      auto const groupStatus =
         systemStatus ? systemStatus->serviceMountGroupStatus(group) : nullptr;
      auto const mount = groupStatus ? groupStatus->mountStatus(path) : nullptr;
      return mount ? stringValue(mount->mountState()).str() : std::string();
   }

   Fen::Ptr<Controller::ConnectionConfig> switchIs(char const* system, char const* ip,
                                                   std::uint16_t port, char const* sysname) {
      auto const config = ControllerRegistration::switchConfigFactory(system);
      auto const connection = config->connectionConfigIs("connection");
      connection->ipIs(Nimet::IpAddr(ip));
      connection->portIs(port);
      connection->sysnameIs(sysname);
      controllerStatus->switchConfigIs(Controller::SystemId(system), config);
      return connection;
   }
   void registeredIs(char const* system, bool registered) {
      controllerStatus->registeredSwitchIs(Controller::SystemId(system), registered);
   }

   /// The service on the system's client, made with its directory when it is not there.
   Fen::Ptr<Controller::ServiceStatusV1> clientService(char const* system, char const* service) {
      auto& client = client_[system];
      if (!client) {
         client = Controller::serviceStatusDirFactory(system);
         clients_->entityPtrIs(client);
      }
      return client->serviceIs(service);
   }
   void negotiate(char const* system, char const* service, unsigned version) {
      auto const status = clientService(system, service);
      status->enabledIs(true);
      if (!status->versionStatus()) {
         status->versionStatusIs(Controller::serviceVersionStatusV1Factory("version"));
      }
      auto const negotiated = status->versionStatus();
      negotiated->versionNegotiationCompleteIs(false);
      negotiated->versionCompatibleIs(version != 0);
      negotiated->negotiatedVersionIs(Controller::NegotiatedVersion(version, "negotiated"));
      negotiated->versionNegotiationCompleteIs(true);
   }

   Fen::Ptr<Controller::MountsRegistryEntrySm> entryMachine(Fen::Name path) const {
      return machine->mountsRegistryEntrySm(path);
   }
   Fen::Ptr<Controller::MountSm> mount(Fen::Name path, char const* system) const {
      return entryMachine(path)->mountSm(Controller::SystemId(system));
   }

   Fen::Ptr<Fen::Dir> const root = Fen::dirFactory("state");
   Fen::Ptr<Controller::MountsRegistry> registry;
   Fen::Ptr<ControllerRegistration::ControllerStatus> const controllerStatus =
      ControllerRegistration::controllerStatusFactory("controller");
   Fen::Ptr<Controller::RegisteredSwitchTable> const registeredSwitches =
      Controller::registeredSwitchTableFactory();
   Fen::Ptr<Controller::ServiceConfigDirSm> services;
   Fen::Ptr<Controller::MountsRegistrySm> machine;

 private:
   Fen::Ptr<Fen::Dir> const registryDir_ = Fen::dirFactory("registry");
   Fen::Ptr<Fen::Dir> const mountConfigDir_ = Fen::dirFactory("mountConfig");
   Fen::Ptr<Fen::Dir> const mountStatusDir_ = Fen::dirFactory("mountStatus");
   Fen::Ptr<Fen::Dir> const publishConfigDir_ = Fen::dirFactory("publishConfig");
   Fen::Ptr<Fen::Dir> const publishStatusDir_ = Fen::dirFactory("publishStatus");
   Fen::Ptr<Fen::Dir> const clients_ = Fen::dirFactory("clients");
   Fen::Ptr<Controller::PublishedMountsTable> const published_ =
      Controller::publishedMountsTableFactory("published");
   std::map<std::string, Fen::Ptr<Controller::ServiceMountConfig>> config_;
   std::map<std::string, Fen::Ptr<Controller::ServiceMountStatus>> status_;
   std::map<std::string, Fen::Ptr<Controller::ServiceStatusDir>> client_;
};

} // namespace RegistryTest
