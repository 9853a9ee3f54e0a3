/// How a mount is built, handed to the mount client, and answered.
#include <gantry/mount/MountSm.fen.h>
#include <gantry/mount/MountSmTrace.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void MountSm::doMountNow() {
   Fen::String8 const connection = connectionId().stringValue();
   FEN_TRACE(mountSmTrace(), 8, "MountSm::doMountNow");
   FEN_TRACE(mountSmTrace(), 8, "MountSm::doMountNow: " << connection);
   // Neither of the two refusals changes a state, a timer or an attribute: after the second the
   // owner sends a new request when the configuration has changed.
   if (mountSmData()->mountState() == mountStateMounted) {
      FEN_TRACE(mountSmTrace(), 5, "doMountNow: Connection " << connection << " already mounted.");
      return;
   }
   if (!connectionConfig() || !connectionConfig()->isValid()) {
      FEN_TRACE(mountSmTrace(), 5, "doMountNow: Connection " << connection << " is not valid.");
      return;
   }
   FEN_ASSERT(remotePath() && fenType(), "remotePath() && fenType()");
   Fen::String8 const remote = Fen::format("%s/%s/%s", connectionConfig()->sysname().charPtr(),
                                           remoteRootPath().charPtr(), remotePath().charPtr());
   if (unmounterSm()) {
      unmounterSmDel();
   }
   renewEntityManager();
   Fen::Ptr<Cairn::EntityManager> const manager = entityManager();
   joinPeer(*manager, remote);
   updateSmDataMountState(mountStateMounting);
   if (entityManager() != manager) {
      // Whoever heard of the state has cleaned this machine up: there is nothing left to mount
      // with.
      return;
   }
   if (!mounterSm()) {
      mounterSmIs(Fen::Name(connection));
   }
   Fen::Ptr<Cairn::MountGroup> const group = manager->getPersistentMountGroup(mounterSm());
   // The path is empty: the place of the mount has been given to doInit.
   group->doMount(Cairn::Mount(Fen::String8(), fenType(), mountFlags()));
   double const noDelay = 0.0;
   group->doClose(false, Fen::String8(), noDelay);
   // These two run also when the client has answered from inside doClose, and then leave the
   // machine as if the answer were still awaited.
   currentStateIs(stateMount);
   startWatchdogTimer();
}

void MountSm::renewEntityManager() {
   Fen::String8 const name =
      Fen::format("%s-%s:%d", "ControllerEm", connectionConfig()->ip().stringValue().charPtr(),
                  connectionConfig()->port());
   // A manager is never used again, also when the name is unchanged.
   if (Fen::Ptr<Cairn::EntityManager> const former = entityManager()) {
      FEN_TRACE(mountSmTrace(), 8,
                "MountSm::doMountNow: Deleting existing EntityManager: " << former->name());
      former->doCleanup();
      entityManagerDel();
   }
   entityManagerIs(Fen::Name(name));
}

void MountSm::joinPeer(Cairn::EntityManager& manager, Fen::String8 const& remote) {
   ConnectionConfig const& config = *connectionConfig();
   manager.reconnectRetriesIs(reconnectRetries());
   manager.srcHostIs(config.srcIp().stringValue());
   RINGSCRIBE_TRACE(5, "doMountNow", " mounting ", " remote:", remote, " target:", targetPath(),
                    " type:", fenType(), " ip:", config.ip(), " port:", config.port(),
                    " srcIp: ", config.srcIp());
   FEN_TRACE(mountSmTrace(), 5,
             "doMountNow: Mounting"
                << " Remote:" << remote << " Target:" << targetPath() << " Type:" << fenType()
                << " Sysname:" << config.sysname() << " Ip:" << config.ip()
                << " Port:" << config.port() << " SrcIp:" << config.srcIp()
                << " Sockname:" << config.sockname());
   double const timeout = static_cast<double>(mountTimeout());
   manager.doInit(config.sysname(), targetPath(), remote, config.port(), config.ip().stringValue(),
                  config.sockname(), false, false, timeout, false, Fen::String8(), true, false,
                  true);
}

void MountSm::MounterSm::doMountsComplete(Cairn::MountStatus status,
                                          Fen::Ptr<Cairn::EntityManager> const&) {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::MounterSm::doMountsComplete");
   // Whoever hears of the outcome may clean up and drop the machine.
   Fen::Ptr<MounterSm> const self(this);
   Fen::Ptr<MountSm> const machine(mountSm());
   if (!machine) {
      return; // a late answer: the machine has let go of this mounter
   }
   if (machine->currentState() != stateMount && machine->currentState() != stateIdle) {
      // The answer to a mount that an unmount has overtaken. That stateIdle passes is intended: a
      // client may answer before doMountNow has set the state.
      RINGSCRIBE_TRACE(8, "doMountsComplete", " current state mismatch: ", machine->currentState());
      FEN_TRACE(mountSmTrace(), 8,
                "MountSm::MounterSm::doMountsComplete current state mismatch: "
                   << machine->currentState());
      return;
   }
   if (status != Cairn::mountStatusSuccess) {
      RINGSCRIBE_TRACE(5, "doMountsComplete", " mount failed",
                       " connection:", machine->connectionId().stringValue(),
                       " remotePath:", machine->remotePath());
      FEN_TRACE(mountSmTrace(), 5,
                "doMountsComplete: Mount failed: " << machine->connectionId() << " : "
                                                   << machine->remotePath());
      // localStatePreserved stays: the kept data survives failed mounts.
      machine->updateSmDataMountState(mountStateFailed);
   } else {
      RINGSCRIBE_TRACE(5, "doMountsComplete", " mount success",
                       " connection:", machine->connectionId().stringValue(),
                       " remotePath:", machine->remotePath());
      FEN_TRACE(mountSmTrace(), 5,
                "doMountsComplete: Mount success: " << machine->connectionId() << " : "
                                                    << machine->remotePath());
      if (machine->localStatePreserved()) {
         FEN_TRACE(mountSmTrace(), 5,
                   "doMountsComplete: Clearing state preserved flag: "
                      << machine->connectionId() << " : " << machine->remotePath());
         machine->localStatePreservedIs(false);
      }
      machine->updateSmDataMountState(mountStateMounted);
   }
   machine->stopWatchdogTimer();
   machine->currentStateIs(stateIdle);
   machine->processNextState();
}

} // namespace Controller
