/// A controller in small for the benchmarks of declared mounts: the registry, the machines that
/// follow it and the services, one service with one group, and switches by number. It uses whatever
/// mount client the process has. One at a time, since its directory stands under the process's
/// root; on the activity loop's thread. Header only.
#pragma once

#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/service/ServiceConfigDirSm.fen.h>

#include <string>
#include <vector>

namespace Bench {

inline constexpr char const* controllerRoot = "controller";
inline constexpr char const* serviceName = "service";
inline constexpr char const* groupName = "group";

class Controlling {
 public:
   /// Seconds for each mount.
   explicit Controlling(double mountTimeout = 60.0) {
      Fen::root()->entityPtrIs(root_);
      root_->entityPtrIs(registryDir_);
      constexpr unsigned retries = 3;
      registry_ = Fen::makePtr<Controller::MountsRegistry>(registryDir_, "mount", root_, "",
                                                           retries, mountTimeout);
      services_ =
         Controller::serviceConfigDirSmFactory(mountConfigDir_, mountStatusDir_, publishConfigDir_,
                                               publishStatusDir_, published_, registry_);
      machine_ = Controller::mountsRegistrySmFactory(registry_, controllerStatus_, mountStatusDir_,
                                                     published_, registeredSwitches_, clients_);
      mountStatusDir_->entityPtrIs(status_);
      mountConfigDir_->entityPtrIs(config_);
   }
   ~Controlling() {
      services_ = nullptr;
      machine_ = nullptr;
      Fen::root()->entityPtrDel(root_->name());
   }
   Controlling(Controlling const&) = delete;
   Controlling& operator=(Controlling const&) = delete;

   // Switches, each told by a number.

   static Controller::SystemId id(unsigned number) {
      return Controller::SystemId(
         Fen::format("02:00:00:%02x:%02x:%02x", number >> 16, number >> 8 & 255, number & 255));
   }
   /// Registers a switch that can be reached there. Its service is not negotiated.
   void registerSwitch(unsigned number, Fen::String8 const& ip, std::uint16_t port) {
      Controller::SystemId const system = id(number);
      auto const config = ControllerRegistration::switchConfigFactory(system.stringValue());
      auto const connection = config->connectionConfigIs("connection");
      connection->ipIs(Nimet::IpAddr(ip));
      connection->portIs(port);
      connection->sysnameIs(Fen::format("leaf%u", number));
      controllerStatus_->switchConfigIs(system, config);
      controllerStatus_->registeredSwitchIs(system, true);
   }
   /// A whole negotiation of the service; the last line is what wakes its listener.
   void negotiate(unsigned number, unsigned version) {
      auto const status = versionStatus(id(number).stringValue());
      status->versionNegotiationCompleteIs(false);
      status->versionCompatibleIs(true);
      status->negotiatedVersionIs(Controller::NegotiatedVersion(version, ""));
      status->versionNegotiationCompleteIs(true);
   }

   // The service.

   Fen::Ptr<Controller::ServiceMountConfig> const& config() const { return config_; }
   Fen::Ptr<Controller::ServiceMountGroupConfig> group() const {
      return config_->mountGroupConfigIs(groupName);
   }
   void declare(std::string const& path, char const* type, char const* flags) {
      group()->mountConfigIs(Fen::Name(path), type, flags, "");
   }

   // What has become of it.

   /// Mounts in that state, by the service's status.
   std::size_t mountsIn(Controller::MountState state) const {
      std::size_t count = 0;
      for (auto system = status_->systemStatusIterator(); system; ++system) {
         auto const groupStatus = system->serviceMountGroupStatus(groupName);
         if (!groupStatus) {
            continue;
         }
         for (auto mount = groupStatus->mountStatusIterator(); mount; ++mount) {
            count += mount->mountState() == state;
         }
      }
      return count;
   }
   bool isMounted(unsigned number, std::string const& path) const {
      auto const mount = mountStatus(number, path);
      return mount && mount->mountState() == Controller::mountStateMounted;
   }
   /// What is mounted there, by the place that the status tells; null before.
   Fen::Ptr<Fen::Entity> mounted(unsigned number, std::string const& path) const {
      auto const mount = mountStatus(number, path);
      return mount ? Fen::Entity::entity(Fen::EntityUriPath(mount->mountedPath()), root_)
                   : Fen::Ptr<Fen::Entity>();
   }
   Fen::Ptr<Controller::MountsRegistrySm> const& machine() const { return machine_; }

 private:
   Fen::Ptr<Controller::MountStatus> mountStatus(unsigned number, std::string const& path) const {
      auto const system = status_->systemStatus(id(number).stringValue());
      auto const group = system ? system->serviceMountGroupStatus(groupName) : nullptr;
      return group ? group->mountStatus(Fen::Name(path)) : nullptr;
   }
   Fen::Ptr<Controller::ServiceVersionStatusV1> versionStatus(Fen::Name client) {
      auto services = Fen::ptrCast<Controller::ServiceStatusDir>(clients_->entityPtr(client));
      if (!services) {
         services = Controller::serviceStatusDirFactory(client);
         clients_->entityPtrIs(services);
      }
      auto const service = services->serviceIs(serviceName);
      service->enabledIs(true);
      if (!service->versionStatus()) {
         service->versionStatusIs(Controller::serviceVersionStatusV1Factory("version"));
      }
      return service->versionStatus();
   }

   Fen::Ptr<Fen::Dir> const root_ = Fen::dirFactory(controllerRoot);
   Fen::Ptr<Fen::Dir> const registryDir_ = Fen::dirFactory("mount");
   Fen::Ptr<Fen::Dir> const mountConfigDir_ = Fen::dirFactory("mountConfig");
   Fen::Ptr<Fen::Dir> const mountStatusDir_ = Fen::dirFactory("mountStatus");
   Fen::Ptr<Fen::Dir> const publishConfigDir_ = Fen::dirFactory("publishConfig");
   Fen::Ptr<Fen::Dir> const publishStatusDir_ = Fen::dirFactory("publishStatus");
   Fen::Ptr<Fen::Dir> const clients_ = Fen::dirFactory("clients");
   Fen::Ptr<Controller::PublishedMountsTable> const published_ =
      Controller::publishedMountsTableFactory("published");
   Fen::Ptr<ControllerRegistration::ControllerStatus> const controllerStatus_ =
      ControllerRegistration::controllerStatusFactory("status");
   Fen::Ptr<Controller::RegisteredSwitchTable> const registeredSwitches_ =
      Controller::registeredSwitchTableFactory();
   Fen::Ptr<Controller::ServiceMountConfig> const config_ =
      Controller::serviceMountConfigFactory(serviceName);
   Fen::Ptr<Controller::ServiceMountStatus> const status_ =
      Fen::makePtr<Controller::ServiceMountStatus>(Fen::Name(serviceName));
   Fen::Ptr<Controller::MountsRegistry> registry_;
   Fen::Ptr<Controller::ServiceConfigDirSm> services_;
   Fen::Ptr<Controller::MountsRegistrySm> machine_;
};

} // namespace Bench
