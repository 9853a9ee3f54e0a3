/// The three waits of one mount group: for the end of the connection period, for the registration
/// of the peers of that moment, and for the final state of the mounts of each.
#include <gantry/common/GantryTrace.h>
#include <gantry/initial/MountGroupInitialMountSm.fen.h>
#include <gantry/runtime/fen/ActivityManagerConfig.h>
#include <gantry/runtime/ringscribe/Trace.h>

#include <limits>

namespace Controller {

namespace {

/// A failed mount counts as done: whoever waits for the first full round wants to know that nothing
/// is still coming, and a failed mount is not.
bool isFinal(MountState state) { return state == mountStateFailed || state == mountStateMounted; }

} // namespace

void MountGroupInitialMountSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "MountGroupInitialMountSm::handleInitialized");
   mountGroupInitialSwitchSetIs();
   // Attaching runs the timer's handler, which knows that call by the fresh time of 0.0.
   registrationTimerIs(Fen::ActivityManagerConfig::instance()->clock());
   registrationTimer()->timeMinIs(Fen::never);
   // The period may be over already: then this group goes through all of it here.
   handleConnectionPeriodComplete();
}

// ---- the end of the connection period ----------------------------------------------------------

void MountGroupInitialMountSm::handleConnectionPeriodComplete() {
   FEN_TRACE(gantryTrace(), 8,
             "MountGroupInitialMountSm::handleConnectionPeriodComplete: "
                << connectionPeriod()->complete());
   if (!connectionPeriod()->complete()) {
      return;
   }
   // The table of peers as it is now, and not the peers that were seen in the meantime: one that
   // has gone again is not waited for, and one that comes from now on is not either.
   Fen::Ptr<PeerTable const> const peers = peerTable();
   Fen::Ptr<RegisteredSwitchTable const> const registered = registeredSwitchTable();
   for (auto i = peers->peerIterator(); i; ++i) {
      SystemId const id = i.key();
      mountGroupInitialSwitchSet()->initialSwitchIs(id, true);
      if (!registered->system(id)) {
         unregisteredIs(id, true);
      }
   }
   mountGroupInitialSwitchSet()->completeIs(true);
   if (unregisteredCount() != 0) {
      registrationTimer()->timeMinIs(Fen::now() + registrationWindow());
   }
   handleSwitchRegistrationComplete();
}

// ---- the registration window -------------------------------------------------------------------

void MountGroupInitialMountSm::handleRegisteredSwitch() {
   FEN_TRACE(gantryTrace(), 8, "MountGroupInitialMountSm::handleRegisteredSwitch");
   Fen::Ptr<RegisteredSwitchTable const> const registered = registeredSwitchTable();
   for (auto i = registered->systemIterator(); i; ++i) {
      handleRegisteredSwitch(SystemId(i.key()));
   }
}

void MountGroupInitialMountSm::handleRegisteredSwitch(SystemId const& id) {
   FEN_TRACE(gantryTrace(), 8, "MountGroupInitialMountSm::handleRegisteredSwitch: " << id);
   if (registeredSwitchTable()->system(id)) {
      FEN_TRACE(gantryTrace(), 8, "handleRegisteredSwitch: system " << id << " registered");
      unregisteredDel(id);
      // Also when no window is open: then the whole set is evaluated anew.
      handleSwitchRegistrationComplete();
   } else {
      // It does not come back into `unregistered`: a switch that has registered once has had its
      // time, and waiting for it again could go on without end.
      FEN_TRACE(gantryTrace(), 8, "handleRegisteredSwitch: system " << id << " unregistered");
   }
}

void MountGroupInitialMountSm::handleSwitchRegistrationComplete() {
   FEN_TRACE(gantryTrace(), 8, "MountGroupInitialMountSm::handleSwitchRegistrationComplete");
   double const timeMin = registrationTimer()->timeMin();
   if (timeMin == 0.0) {
      return; // the call of the attaching
   }
   // A finite time is an open window. A timer that has fired reads infinity, as one that was never
   // set does: then those that are still unregistered are given up. Asking whether the time has
   // come instead would be wrong, since the time is no longer there when it fires.
   if (unregisteredCount() != 0 && timeMin <= std::numeric_limits<double>::max()) {
      return;
   }
   FEN_TRACE(gantryTrace(), 8, "handleSwitchRegistrationComplete: unsetting registrationTimer");
   registrationTimer()->timeMinIs(Fen::never);
   watchSwitchesNotFinal();
   checkSwitchMountsPending();
}

// ---- the mounts --------------------------------------------------------------------------------

/// Puts the switches of the set whose mounts of this group are not final into `remainingSwitch`.
/// One without a status for the group has nothing under way here and is not waited for.
void MountGroupInitialMountSm::watchSwitchesNotFinal() {
   Fen::Ptr<InitialSwitchSet const> const switches = mountGroupInitialSwitchSet();
   for (auto i = switches->initialSwitchIterator(); i; ++i) {
      SystemId const id = i.key();
      Fen::Ptr<SystemStatus> const system = serviceMountStatus()->systemStatus(id.stringValue());
      if (!system) {
         continue;
      }
      Fen::Ptr<ServiceMountGroupStatus> const group = system->serviceMountGroupStatus(groupName());
      if (!group) {
         continue;
      }
      if (!isFinal(group->mountState())) {
         FEN_TRACE(gantryTrace(), 8,
                   "handleSwitchRegistrationComplete: remainingSwitchIs(" << id << ")");
         remainingSwitchIs(system);
      }
   }
}

void MountGroupInitialMountSm::FenRemainingSwitch::FenServiceMountGroupStatus::handleMountState() {
   FenRemainingSwitch* const remaining = fenRemainingSwitch();
   Fen::Ptr<MountGroupInitialMountSm> const machine(remaining->mountGroupInitialMountSm());
   Fen::Ptr<SystemStatus> const system = remaining->remainingSwitch();
   Fen::Ptr<ServiceMountGroupStatus> const group = serviceMountGroupStatus();
   if (machine && system && group) {
      machine->handleMountState(system->systemName(), group->serviceMountGroupName());
   }
}

void MountGroupInitialMountSm::handleMountState() {
   FEN_TRACE(gantryTrace(), 8, "MountGroupInitialMountSm::handleMountState");
   if (!connectionPeriod()->complete()) {
      FEN_TRACE(gantryTrace(), 5, "handleMountState: initial switch set not yet complete");
      return;
   }
   for (auto i = remainingSwitchIterator(); i; ++i) {
      handleMountState(Fen::Name(i.key()), groupName());
   }
}

void MountGroupInitialMountSm::handleMountState(Fen::Name systemName, Fen::Name group) {
   FEN_TRACE(gantryTrace(), 8,
             "MountGroupInitialMountSm::handleMountState: " << systemName << " " << group);
   if (!connectionPeriod()->complete()) {
      FEN_TRACE(gantryTrace(), 5, "handleMountState: initial switch set not yet complete");
      return;
   }
   Fen::Ptr<FenRemainingSwitch> const remaining = remainingSwitch(systemName);
   if (!remaining) {
      FEN_TRACE(gantryTrace(), 5, "handleMountState: " << systemName << " not in remaining.");
      return;
   }
   if (group != groupName()) {
      return; // another group's machine looks after that
   }
   Fen::Ptr<SystemStatus> const system = remaining->remainingSwitch();
   Fen::Ptr<ServiceMountGroupStatus> const status =
      system ? system->serviceMountGroupStatus(group) : nullptr;
   // A status that has gone keeps its switch remaining: a switch that disconnects is waited for
   // until its mounts are final.
   if (!status || !isFinal(status->mountState())) {
      return;
   }
   RINGSCRIBE_TRACE(5, "handleMountState", ": deleting remaining switch ", systemName);
   FEN_TRACE(gantryTrace(), 5, "handleMountState: deleting remaining switch " << systemName);
   remainingSwitchDel(systemName);
   checkSwitchMountsPending();
}

void MountGroupInitialMountSm::checkSwitchMountsPending() {
   FEN_TRACE(gantryTrace(), 8, "MountGroupInitialMountSm::checkSwitchMountsPending");
   if (remainingSwitchCount() == 0 && connectionPeriod()->complete()) {
      FEN_TRACE(gantryTrace(), 5, "checkSwitchMountsPending: no remaining switches");
      serviceMountStatus()->initialMountsCompleteIs(groupName(), true);
   }
}

} // namespace Controller
