/// What the tests of the registry's machines share: a host in small. Virtual time, a scripted mount
/// client, the entities that a host builds, switches that register and negotiate, services that
/// declare mounters, and the machines that follow them. On the test's one thread.
#pragma once

#include "../support/ScriptedBackend.h"

#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/fen/Trace.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace RegistryTest {

using Calls = std::vector<std::string>;
using Controller::MountState;

/// Sends every trace of a scope into a text.
class Traces {
 public:
   Traces() : former_(Fen::coverageStream_) { Fen::coverageStream_ = &stream_; }
   ~Traces() { Fen::coverageStream_ = former_; }
   Traces(Traces const&) = delete;
   Traces& operator=(Traces const&) = delete;

   bool has(std::string const& text) const { return count(text) != 0; }
   bool hasLine(std::string const& line) const {
      return ("\n" + stream_.str()).find("\n" + line + "\n") != std::string::npos;
   }
   std::size_t count(std::string const& text) const {
      std::string const all = stream_.str();
      std::size_t found = 0;
      for (std::size_t at = 0; (at = all.find(text, at)) != std::string::npos; at += text.size()) {
         ++found;
      }
      return found;
   }
   std::string text() const { return stream_.str(); }
   void clear() { stream_.str(""); }

 private:
   std::ostream* former_;
   std::ostringstream stream_;
};

/// A host with no switch and no service. Everything is reachable from a test, which may also do
/// what a careful host would not.
class Host {
 public:
   /// With `reconnectRetries` and `mountTimeout` as the registry takes them.
   explicit Host(unsigned reconnectRetries = 7, double mountTimeout = 20.0)
      : registry(Fen::makePtr<Controller::MountsRegistry>(registryDir, "mount", rootDir, "sys/db",
                                                          reconnectRetries, mountTimeout)) {
      Fen::root()->entityPtrIs(rootDir);
      rootDir->entityPtrIs(registryDir);
      registryDir->entityPtrIs(Fen::dirFactory("target"));
   }
   ~Host() {
      machine = nullptr;
      Fen::root()->entityPtrDel(rootDir->name());
   }
   Host(Host const&) = delete;
   Host& operator=(Host const&) = delete;

   void create() {
      machine =
         Controller::mountsRegistrySmFactory(registry, controllerStatus, serviceStatusDir,
                                             publishedMountsTable, registeredSwitchTable, clients);
   }
   void turn() { time.advance(0.0); }

   // Switches. Each is told by a small number.

   static Controller::SystemId id(unsigned number) {
      return Controller::SystemId(Fen::format("02:00:00:00:%02x:%02x", number / 256, number % 256));
   }
   static Fen::String8 text(unsigned number) { return id(number).stringValue(); }
   /// Makes the switch's configuration, unless it is there.
   Fen::Ptr<ControllerRegistration::SwitchConfig> configure(unsigned number) {
      auto& config = switchConfigs[number];
      if (!config) {
         config = ControllerRegistration::switchConfigFactory(text(number));
         config->systemIdIs(id(number));
         auto const connection = config->connectionConfigIs("connection");
         connection->ipIs(Nimet::IpAddr(Fen::format("10.0.%u.%u", number / 256, number % 256)));
         connection->portIs(9000);
         connection->sysnameIs(Fen::format("leaf%u", number));
         controllerStatus->switchConfigIs(id(number), config);
      }
      return config;
   }
   void registerSwitch(unsigned number) {
      configure(number);
      controllerStatus->registeredSwitchIs(id(number), true);
   }
   void unregisterSwitch(unsigned number) { controllerStatus->registeredSwitchDel(id(number)); }

   // Clients and their negotiations.

   Fen::Ptr<Controller::ServiceStatusDir> client(unsigned number) {
      if (auto const known =
             Fen::ptrCast<Controller::ServiceStatusDir>(clients->entityPtr(text(number)))) {
         return known;
      }
      auto const fresh = Controller::serviceStatusDirFactory(text(number));
      clients->entityPtrIs(fresh);
      return fresh;
   }
   void clientGone(unsigned number) { clients->entityPtrDel(text(number)); }
   /// The service's version status on the client; made, and not compatible yet, when absent.
   Fen::Ptr<Controller::ServiceVersionStatusV1> versionStatus(unsigned number,
                                                              char const* service) {
      auto const status = client(number)->serviceIs(service);
      status->enabledIs(true);
      if (!status->versionStatus()) {
         status->versionStatusIs(Controller::serviceVersionStatusV1Factory("version"));
      }
      return status->versionStatus();
   }
   /// A whole negotiation: ends with the one notification that wakes the listener. Version 0 is a
   /// negotiation that found none.
   void negotiate(unsigned number, char const* service, unsigned version) {
      auto const status = versionStatus(number, service);
      status->versionNegotiationCompleteIs(false);
      status->versionCompatibleIs(version != 0);
      status->negotiatedVersionIs(Controller::NegotiatedVersion(version, ""));
      status->versionNegotiationCompleteIs(true);
   }
   /// A registered switch on which the service has been negotiated.
   void connect(unsigned number, char const* service, unsigned version = 1) {
      registerSwitch(number);
      negotiate(number, service, version);
   }

   // Services.

   struct Service {
      Fen::Ptr<Controller::ServiceMountConfig> config;
      Fen::Ptr<Controller::ServiceMountStatus> status;
   };
   Service& service(char const* name) {
      Service& result = services[name];
      if (!result.config) {
         result.config = Controller::serviceMountConfigFactory(name);
         result.status = Controller::ServiceMountStatus::ServiceMountStatusIs(name);
         serviceStatusDir->entityPtrIs(result.status);
      }
      return result;
   }
   Fen::Ptr<Controller::ServiceMountGroupConfig> group(char const* service_, char const* name) {
      return service(service_).config->mountGroupConfigIs(name);
   }
   /// Gives the group a system filter, empty at first, or its present one.
   Fen::Ptr<Controller::MountFilterSystem> systemFilter(char const* service_, char const* group_) {
      auto const config = group(service_, group_);
      if (!config->systemFilter()) {
         config->systemFilterIs(service(service_).config->systemFilterIs(group_));
      }
      return config->systemFilter();
   }
   Fen::Ptr<Controller::MountFilterServiceVersion> versionFilter(char const* service_,
                                                                 char const* group_) {
      auto const config = group(service_, group_);
      if (!config->versionFilter()) {
         config->versionFilterIs(service(service_).config->versionFilterIs(group_));
      }
      return config->versionFilter();
   }
   Fen::Ptr<Controller::MountsRegistryEntry> entry(char const* path) {
      return registry->mountEntryIs(path, "mount/target", "Linux::InterfaceDir", "rt");
   }
   /// Declares the path in the service's group without telling the registry.
   Fen::Ptr<Controller::MountConfig> declare(char const* service_, char const* group_,
                                             char const* path) {
      return group(service_, group_)->mountConfigIs(path, "Linux::InterfaceDir", "rt", "");
   }
   /// Declares the path and has the registry mount it for the service.
   Fen::Ptr<Controller::Mounter> want(char const* service_, char const* group_, char const* path) {
      auto const config = declare(service_, group_, path);
      return entry(path)->mounterIs(Controller::MounterName(service_, group_), config,
                                    group(service_, group_), service(service_).status);
   }
   void wantNoMore(char const* service_, char const* path) { entry(path)->mounterDel(service_); }

   // What has become of it.

   Fen::Ptr<Controller::MountsRegistryEntrySm> entrySm(char const* path) const {
      return machine->mountsRegistryEntrySm(path);
   }
   Fen::Ptr<Controller::MountSm> mountSm(char const* path, unsigned number) const {
      auto const entry_ = entrySm(path);
      return entry_ ? entry_->mountSm(id(number)) : nullptr;
   }
   /// What the mount has been asked for and has not begun with.
   Controller::MountSm::SmState asked(char const* path, unsigned number) const {
      return mountSm(path, number)->nextState();
   }
   /// The status of the mount for the service, null when there is none.
   Fen::Ptr<Controller::MountStatus> status(char const* service_, char const* group_,
                                            char const* path, unsigned number) {
      auto const groupStatus_ = groupStatus(service_, group_, number);
      return groupStatus_ ? groupStatus_->mountStatus(path) : nullptr;
   }
   Fen::Ptr<Controller::ServiceMountGroupStatus> groupStatus(char const* service_,
                                                             char const* group_, unsigned number) {
      auto const system = service(service_).status->systemStatus(text(number));
      return system ? system->serviceMountGroupStatus(group_) : nullptr;
   }

   // What the peers do.

   void answer(char const* path, unsigned number,
               Cairn::MountStatus status_ = Cairn::mountStatusSuccess) {
      backend->completeMount(*mountSm(path, number)->entityManager(), status_);
   }
   void unmountDone(char const* path, unsigned number) {
      Fen::Ptr<Cairn::EntityManager> const manager = mountSm(path, number)->entityManager();
      backend->completeUnmount(*manager);
   }
   /// Runs a mount that has been asked for up to its success.
   void finish(char const* path, unsigned number) {
      turn();
      answer(path, number);
      turn();
   }

   Fen::VirtualTime time{1000.0};
   TestSupport::ScriptedBackendScope backend;
   Fen::Ptr<Fen::Dir> rootDir = Fen::dirFactory("controller");
   Fen::Ptr<Fen::Dir> registryDir = Fen::dirFactory("mount");
   Fen::Ptr<Controller::MountsRegistry> registry;
   Fen::Ptr<ControllerRegistration::ControllerStatus> controllerStatus =
      ControllerRegistration::controllerStatusFactory("status");
   Fen::Ptr<Fen::Dir> serviceStatusDir = Fen::dirFactory("serviceMountStatus");
   Fen::Ptr<Controller::PublishedMountsTable> publishedMountsTable =
      Controller::publishedMountsTableFactory("published");
   Fen::Ptr<Controller::RegisteredSwitchTable> registeredSwitchTable =
      Controller::registeredSwitchTableFactory();
   Fen::Ptr<Fen::Dir> clients = Fen::dirFactory("clients");
   std::map<unsigned, Fen::Ptr<ControllerRegistration::SwitchConfig>> switchConfigs;
   std::map<std::string, Service> services;
   Fen::Ptr<Controller::MountsRegistrySm> machine;
};

/// A test on a host whose top machine is there before anything else is.
class Registry : public testing::Test, protected Host {
 protected:
   Registry() { create(); }
};

} // namespace RegistryTest
