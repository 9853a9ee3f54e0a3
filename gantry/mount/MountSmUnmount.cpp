/// How an unmount is started and completed, and what keeping the local state means.
#include <gantry/mount/MountSm.fen.h>
#include <gantry/mount/MountSmTrace.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void MountSm::doUnmountImpl(bool statePreserving) {
   MountState const mountState = mountSmData()->mountState();
   RINGSCRIBE_TRACE(8, "doUnmountImpl", " statePreserving:", statePreserving,
                    " mountState:", mountState, " connection:", connectionId().stringValue(),
                    " remotePath:", remotePath());
   FEN_TRACE(mountSmTrace(), 8,
             "MountSm::doUnmountImpl"
                << " statePreserving:" << statePreserving << " mountState:" << mountState
                << " connection:" << connectionId() << " remotePath:" << remotePath());
   if (!statePreserving) {
      cleanLocalPreservedState();
   }
   // Asked again: what the clean-up notifies may have changed it.
   MountState const stateNow = mountSmData()->mountState();
   if (stateNow == mountStateUnmounted || stateNow == mountStatePending) {
      FEN_TRACE(mountSmTrace(), 5, "doUnmountImpl: Already unmounted");
      if (!statePreserving) {
         updateSmDataMountState(mountStateUnmounted);
      }
      return;
   }
   if (stateNow == mountStateUnmounting) {
      return;
   }
   FEN_TRACE(mountSmTrace(), 5, "doUnmountImpl: Unmounting");
   currentStateIs(statePreserving ? statePreservingUnmount : stateUnmount);
   localStatePreservedIs(statePreserving);
   updateSmDataMountState(mountStateUnmounting);
   if (Fen::Ptr<Cairn::EntityManager> const manager = entityManager()) {
      unmounterSmIs(manager, statePreserving);
   }
   startWatchdogTimer();
}

void MountSm::UnmounterSm::handleInitialized() {
   if (initialized()) {
      return;
   }
   initializedIs(true);
   entityManager()->doUnregisterAll(statePreserving());
}

void MountSm::UnmounterSm::FenUnmounter::handleUnmountsComplete() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::UnmounterSm::FenUnmounter::handleUnmountsComplete");
   if (!unmounterSm()->initialized()) {
      return;
   }
   FEN_ASSERT(unmounterSm()->mountSm() != nullptr, "mountSm");
   Fen::Ptr<MountSm> const machine(unmounterSm()->mountSm());
   if (machine->currentState() != stateUnmount &&
       machine->currentState() != MountSm::statePreservingUnmount) {
      RINGSCRIBE_TRACE(8, "handleUnmountsComplete",
                       " current state mismatch: ", machine->currentState());
      FEN_TRACE(mountSmTrace(), 8,
                "MountSm::UnmounterSm::FenUnmounter::handleUnmountsComplete"
                   << " current state mismatch: " << machine->currentState());
      return;
   }
   FEN_ASSERT(notifier()->unmountsComplete(), "unmounter()->unmountsComplete()");
   RINGSCRIBE_TRACE(5, "handleUnmountsComplete", " unmount complete",
                    " connection:", machine->connectionId().stringValue(),
                    " remotePath:", machine->remotePath());
   FEN_TRACE(mountSmTrace(), 5,
             "handleUnmountsComplete: Unmount complete: " << machine->connectionId() << " : "
                                                          << machine->remotePath());
   machine->stopWatchdogTimer();
   machine->currentStateIs(stateIdle);
   machine->unmountComplete();
}

void MountSm::unmountComplete() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::unmountComplete");
   if (localStatePreserved()) {
      updateSmDataMountState(mountStatePending);
      processNextState();
   } else if (nextState() == stateIdle) {
      cleanLocalPreservedState();
      updateSmDataMountState(mountStateUnmounted);
   } else {
      // mountState stays at mountStateUnmounting until the pending request changes it: in between
      // nobody must take the path for unmounted and drop it.
      processNextState();
   }
}

void MountSm::cleanLocalPreservedState() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::cleanLocalPreservedState");
   if (!localStatePreserved()) {
      return;
   }
   RINGSCRIBE_TRACE(5, "cleanLocalPreservedState", " deleting local preserved state");
   FEN_TRACE(mountSmTrace(), 5, "cleanLocalPreservedState: Deleting local preserved state");
   localStatePreservedIs(false);
   Fen::entityDel(Fen::EntityUriPath(targetPath()));
}

} // namespace Controller
