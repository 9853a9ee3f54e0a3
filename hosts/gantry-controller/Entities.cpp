// The tree of a controller, and its machines.

#include <hosts/gantry-controller/Entities.h>

#include <gantry/runtime/fen/Dir.h>

namespace Host {

namespace {

using Controller::MountState;

/// Seconds, and the count of the mount client; zero means without end to the registry.
std::uint32_t mountRetries(TimingConfiguration const& timing) {
   // One more than a switch's own connection gets: so that it is the switch that is given up
   // first, and its mounts are not left failed when it comes back.
   return timing.reconnectRetries + 1;
}

Fen::Ptr<Fen::Dir> directory(Fen::Ptr<Fen::Dir> const& parent, char const* name) {
   Fen::Ptr<Fen::Entity> const present = parent->entityPtr(name);
   return present ? Fen::ptrCast<Fen::Dir>(present)
                  : Fen::ptrCast<Fen::Dir>(parent->entityPtrIs(Fen::dirFactory(name)));
}

template <class T>
Fen::Ptr<T> put(Fen::Ptr<Fen::Dir> const& parent, Fen::Ptr<T> const& entity) {
   parent->entityPtrIs(entity);
   return entity;
}

} // namespace

bool isUnmountedAtRest(Controller::MountSm const& machine) {
   MountState const state = machine.mountSmData()->mountState();
   return (state == Controller::mountStateUnmounted || state == Controller::mountStateUnmounting) &&
          machine.currentState() == Controller::MountSm::stateIdle &&
          machine.nextState() == Controller::MountSm::stateIdle;
}

Entities::Entities(Fen::Ptr<Fen::Dir> const& root, TimingConfiguration const& timing)
   : mountConfigDir(directory(directory(root, "services"), "mountConfig")),
     mountStatusDir(directory(directory(root, "services"), "mountStatus")),
     publishConfigDir(directory(directory(root, "services"), "publishConfig")),
     publishStatusDir(directory(directory(root, "services"), "publishStatus")),
     clients(directory(root, "clients")),
     controllerStatus(put(directory(root, "registry"),
                          ControllerRegistration::controllerStatusFactory("controllerStatus"))),
     peerTable(put(directory(root, "registry"), Controller::peerTableFactory("peerTable"))),
     heartbeat(put(directory(root, "registry"), Controller::Heartbeat::configFactory("heartbeat"))),
     publishedMounts(put(root, Controller::publishedMountsTableFactory("published"))),
     mountsRegistry(Fen::makePtr<Controller::MountsRegistry>(
        directory(root, "mounts"), Fen::String8("mounts"), root, Fen::String8(),
        mountRetries(timing), timing.mountTimeout)),
     registeredSwitches(Controller::registeredSwitchTableFactory()) {
   directory(root, "switches");
   heartbeat->intervalIs(timing.heartbeatInterval);
   registryMachine_ =
      Controller::mountsRegistrySmFactory(mountsRegistry, controllerStatus, mountStatusDir,
                                          publishedMounts, registeredSwitches, clients);
   serviceMachine_ =
      Controller::serviceConfigDirSmFactory(mountConfigDir, mountStatusDir, publishConfigDir,
                                            publishStatusDir, publishedMounts, mountsRegistry);
   initialMachine_ = Controller::initialMountSmFactory(mountConfigDir, mountStatusDir, heartbeat,
                                                       registeredSwitches, peerTable);
}

Entities::~Entities() {
   initialMachine_ = nullptr;
   serviceMachine_ = nullptr;
   registryMachine_ = nullptr;
}

std::string Entities::failureReason(Fen::Name path, Controller::SystemId system) const {
   auto const entry = registryMachine_->mountsRegistryEntrySm(path);
   auto const mount = entry ? entry->mountSm(system) : Fen::Ptr<Controller::MountSm>();
   auto const manager = mount ? mount->entityManager() : Fen::Ptr<Cairn::EntityManager>();
   return manager && mount->mountSmData()->mountState() == Controller::mountStateFailed
             ? std::string(manager->reason().view())
             : std::string();
}

bool Entities::isUnmounted() const {
   for (auto entry = registryMachine_->mountsRegistryEntrySmIterator(); entry; ++entry) {
      for (auto machine = entry->mountSmIterator(); machine; ++machine) {
         if (machine->mountSmData()->mountState() != Controller::mountStatePending &&
             !isUnmountedAtRest(*machine)) {
            return false;
         }
      }
   }
   return true;
}

} // namespace Host
