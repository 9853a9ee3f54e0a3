/// The entities and machines of one controller, and their places below the root: everything that
/// the library asks of its host.
///
/// Owned by the program; on the activity loop's thread. The machines exist from the beginning,
/// before the first switch is registered, because the table of registered switches is written by
/// events alone.
#pragma once

#include <hosts/gantry-controller/Configuration.h>

#include <gantry/common/HeartbeatConfig.fen.h>
#include <gantry/common/PeerTable.fen.h>
#include <gantry/initial/InitialMountSm.fen.h>
#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/service/ServiceConfigDirSm.fen.h>

namespace Host {

/// Whether nothing is mounted by the machine, nothing runs and nothing is asked for. One that was
/// asked to unmount just when an earlier unmount had ended stays in the state of unmounting, at
/// rest, until somebody wants the mount again; so the state alone does not tell.
bool isUnmountedAtRest(Controller::MountSm const& machine);

class Entities {
 public:
   /// Builds everything below `root`, which must be empty but for what the process has put there
   /// under other names. Timing that cannot change later is taken from the configuration.
   Entities(Fen::Ptr<Fen::Dir> const& root, TimingConfiguration const& timing);
   /// Drops the machines, which unmounts nothing.
   ~Entities();
   Entities(Entities const&) = delete;
   Entities& operator=(Entities const&) = delete;

   /// The services, under "services".
   Fen::Ptr<Fen::Dir> const mountConfigDir;
   Fen::Ptr<Fen::Dir> const mountStatusDir;
   Fen::Ptr<Fen::Dir> const publishConfigDir;
   Fen::Ptr<Fen::Dir> const publishStatusDir;
   /// The negotiated services of each switch, under "clients".
   Fen::Ptr<Fen::Dir> const clients;
   /// Under "registry".
   Fen::Ptr<ControllerRegistration::ControllerStatus> const controllerStatus;
   /// The switches that have been reached, whether they are in order or not.
   Fen::Ptr<Controller::PeerTable> const peerTable;
   Fen::Ptr<Controller::Heartbeat::Config> const heartbeat;
   /// At "published".
   Fen::Ptr<Controller::PublishedMountsTable> const publishedMounts;
   /// Local: these never travel.
   Fen::Ptr<Controller::MountsRegistry> const mountsRegistry;
   Fen::Ptr<Controller::RegisteredSwitchTable> const registeredSwitches;

   Fen::Ptr<Controller::MountsRegistrySm> const& registryMachine() const {
      return registryMachine_;
   }
   /// Copies what services declare into the registry.
   Fen::Ptr<Controller::ServiceConfigDirSm> const& serviceMachine() const {
      return serviceMachine_;
   }
   /// Decides when the first full round of mounts is over.
   Fen::Ptr<Controller::InitialMountSm> const& initialMachine() const { return initialMachine_; }

   /// Why the mount of a path from a system has failed; empty when it has not.
   std::string failureReason(Fen::Name path, Controller::SystemId system) const;
   /// Whether no mount is under way to its end: each is gone or kept as it was.
   bool isUnmounted() const;

 private:
   Fen::Ptr<Controller::MountsRegistrySm> registryMachine_;
   Fen::Ptr<Controller::ServiceConfigDirSm> serviceMachine_;
   Fen::Ptr<Controller::InitialMountSm> initialMachine_;
};

} // namespace Host
