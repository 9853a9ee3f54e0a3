/// The request path of the mount machine: one pending slot, two timers, and the decisions of
/// remount and unmount. What a mount and an unmount do stands in MountSmMount.cpp and
/// MountSmUnmount.cpp.
#include <gantry/mount/MountSm.fen.h>
#include <gantry/mount/MountSmTrace.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void MountSm::handleInitialized() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::handleInitialized");
   if (initialized()) {
      return;
   }
   initializedIs(true);
   doMountInternal();
}

// ---- requests ----------------------------------------------------------------------------------

void MountSm::doMountInternal() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::doMountInternal");
   if (initialized()) {
      transitionToState(stateMount);
   }
}

void MountSm::doRemount() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::doRemount");
   transitionToState(stateRemount);
}

void MountSm::doUnmount() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::doUnmount");
   transitionToState(stateUnmount);
}

void MountSm::doStatePreservingUnmount() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::doStatePreservingUnmount");
   transitionToState(statePreservingUnmount);
}

void MountSm::transitionToState(SmState tState) {
   RINGSCRIBE_TRACE(8, "transitionToState", " remotePath:", remotePath(),
                    " connection:", connectionId().stringValue(), " tState:", tState);
   FEN_TRACE(mountSmTrace(), 8,
             "MountSm::transitionToState"
                << " transitionState:" << tState << " remotePath:" << remotePath());
   // One slot: the last request wins, and the one before it is forgotten without a word.
   nextStateIs(tState);
   processNextState();
}

void MountSm::processNextState() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::processNextState");
   if (nextState() == stateIdle) {
      return;
   }
   RINGSCRIBE_TRACE(5, "processNextState", " remotePath:", remotePath(),
                    " connection:", connectionId().stringValue(), " nextState:", nextState());
   FEN_TRACE(mountSmTrace(), 5,
             "processNextState: nextState: " << nextState() << " connection: " << connectionId()
                                             << " remotePath: " << remotePath());
   // The next turn of the loop: a request never runs inside its caller's stack.
   stateTransitionClock()->timeMinIs(0.0);
}

// ---- timers ------------------------------------------------------------------------------------

void MountSm::handleStateTransitionTimeout() {
   RINGSCRIBE_TRACE(8, "handleStateTransitionTimeout", " remotePath:", remotePath(),
                    " connection:", connectionId().stringValue(), " currentState:", currentState(),
                    " nextState:", nextState());
   FEN_TRACE(mountSmTrace(), 8, "MountSm::handleStateTransitionTimeout");
   SmState const tState = nextState();
   // Taken out before it runs, so that what runs can leave a request of its own in the slot.
   nextStateIs(stateIdle);
   RINGSCRIBE_TRACE(8, "handleStateTransitionTimeout", " nextState:", nextState());
   switch (tState) {
   case stateMount:
      FEN_TRACE(mountSmTrace(), 5, "handleStateTransitionTimeout: mounting");
      doMountNow();
      break;
   case stateRemount:
      FEN_TRACE(mountSmTrace(), 5, "handleStateTransitionTimeout: remounting");
      doRemountNow();
      break;
   case statePreservingUnmount:
      FEN_TRACE(mountSmTrace(), 5, "handleStateTransitionTimeout: unmounting with state");
      doStatePreservingUnmountNow();
      break;
   case stateUnmount:
      FEN_TRACE(mountSmTrace(), 5, "handleStateTransitionTimeout: unmounting");
      doUnmountNow();
      break;
   default:
      // A firing with nothing pending is spurious and harmless; anything else is a corrupt slot.
      FEN_ASSERT(tState == stateIdle, "tState == stateIdle_");
   }
}

void MountSm::handleWatchdogTimeout() {
   // In the stream trace this is an entry like any other; in the ring it must stand out.
   RINGSCRIBE_TRACE(1, "handleWatchdogTimeout", " remotePath:", remotePath(),
                    " connection:", connectionId().stringValue(),
                    " stuck, currentState:", currentState());
   FEN_TRACE(mountSmTrace(), 8,
             "MountSm::handleWatchdogTimeout"
                << " currentState=" << currentState() << " remotePath:" << remotePath());
   // The watchdog reports. It must not cancel or retry: only the client knows whether the operation
   // is still under way, and a second one beside it would race with the first.
   startWatchdogTimer();
}

void MountSm::startWatchdogTimer() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::startWatchdogTimer");
   watchdogClock()->timeMinIs(Fen::now() + watchdogTimeoutInterval());
}

void MountSm::stopWatchdogTimer() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::stopWatchdogTimer");
   watchdogClock()->timeMinIs(Fen::never);
}

// ---- decisions ---------------------------------------------------------------------------------

void MountSm::updateSmDataMountState(MountState newState) {
   FEN_TRACE(mountSmTrace(), 8,
             "MountSm::updateSmDataMountState(last:" << mountSmData()->mountState()
                                                     << ", new:" << newState << ")");
   // Recorded in any case, so that it equals the current value after a repeated report.
   lastMountStateIs(mountSmData()->mountState());
   if (mountSmData()->mountState() != newState) {
      // Before anybody is told of the change.
      stateSince_ = Fen::now();
   }
   mountSmData()->mountStateIs(newState);
}

void MountSm::doRemountNow() {
   MountState const mountState = mountSmData()->mountState();
   RINGSCRIBE_TRACE(8, "doRemountNow", " remotePath:", remotePath(),
                    " connection:", connectionId().stringValue(), " currentState:", currentState(),
                    " nextState:", nextState(), " mountState:", mountState);
   FEN_TRACE(mountSmTrace(), 8,
             "MountSm::doRemountNow"
                << " remotePath: " << remotePath() << " connection: " << connectionId()
                << " currentState: " << currentState() << " nextState: " << nextState()
                << " mountState: " << mountState);
   if (currentState() != stateIdle) {
      FEN_TRACE(mountSmTrace(), 5,
                "doRemountNow: Delaying remount currentState="
                   << currentState() << " for remotePath: " << remotePath());
      // No timer: the running operation's completion picks the request up.
      nextStateIs(stateRemount);
      return;
   }
   // The order of these checks is deliberate.
   if (mountState == mountStateFailed || mountState == mountStateMounted) {
      FEN_TRACE(mountSmTrace(), 5,
                "doRemountNow: doing remount"
                   << " remotePath: " << remotePath() << " current mountState: " << mountState);
      nextStateIs(stateMount);
      doUnmountImpl(true);
   } else if (mountState == mountStateUnmounting || mountState == mountStateUnmounted ||
              mountState == mountStatePending) {
      FEN_TRACE(mountSmTrace(), 5,
                "doRemountNow: already unmounted"
                   << " remotePath: " << remotePath());
      nextStateIs(stateIdle);
      doMountInternal();
   } else {
      FEN_TRACE(mountSmTrace(), 5,
                "doRemountNow: delaying remount"
                   << " remotePath: " << remotePath());
      nextStateIs(stateRemount);
   }
}

void MountSm::doUnmountNow() { doUnmountCommon(false); }
void MountSm::doStatePreservingUnmountNow() { doUnmountCommon(true); }

void MountSm::doUnmountCommon(bool statePreserving) {
   RINGSCRIBE_TRACE(8, "doUnmountCommon", " remotePath:", remotePath(),
                    " connection:", connectionId().stringValue(),
                    " statePreserving:", statePreserving, " currentState:", currentState(),
                    " nextState:", nextState(), " mountState:", mountSmData()->mountState());
   FEN_TRACE(mountSmTrace(), 8,
             "MountSm::doUnmountCommon"
                << " statePreserving: " << statePreserving << " connection:" << connectionId()
                << " remotePath: " << remotePath() << " currentState: " << currentState()
                << " nextState: " << nextState() << " mountState: " << mountSmData()->mountState());
   if (!entityManager()) {
      FEN_TRACE(mountSmTrace(), 5,
                "doUnmountCommon: no entitymanager "
                   << " for remotePath: " << remotePath());
      // The watchdog and localStatePreserved keep what they have: nothing runs that could have
      // changed either.
      updateSmDataMountState(mountStateUnmounted);
      currentStateIs(stateIdle);
      nextStateIs(stateIdle);
      return;
   }
   if (currentState() == stateIdle) {
      doUnmountImpl(statePreserving);
      return;
   }
   FEN_TRACE(mountSmTrace(), 5,
             "doUnmountCommon: Delaying unmount currentState="
                << currentState() << " for remotePath: " << remotePath());
   if (currentState() == stateUnmount) {
      // A full unmount that runs leaves nothing for a later one to do, preserving or not.
      FEN_TRACE(mountSmTrace(), 5,
                "doUnmountCommon: Ignoring unmount currentState="
                   << currentState() << " for remotePath: " << remotePath());
      return;
   }
   nextStateIs(statePreserving ? statePreservingUnmount : stateUnmount);
}

// ---- end of life -------------------------------------------------------------------------------

void MountSm::doCleanup() {
   FEN_TRACE(mountSmTrace(), 8, "MountSm::doCleanup");
   if (mounterSm()) {
      mounterSmDel();
   }
   if (unmounterSm()) {
      unmounterSmDel();
   }
   if (Fen::Ptr<Cairn::EntityManager> const manager = entityManager()) {
      manager->doCleanup();
      entityManagerDel();
   }
}

} // namespace Controller
