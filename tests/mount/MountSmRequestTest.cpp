/// Requests, the pending slot, the transition clock and every row of the transition table.
#include "MountSmFixture.h"

namespace {

using namespace Controller;
using namespace MountTest;
using SmState = MountSm::SmState;

// ---- birth -------------------------------------------------------------------------------------

TEST_F(MountSmTest, ConstructionRequestsTheFirstMountAndActsInTheNextTurn) {
   create();
   EXPECT_TRUE(machine->initialized());
   EXPECT_EQ(machine->nextState(), MountSm::stateMount);
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   EXPECT_EQ(machine->lastMountState(), mountStateUnmounted);
   EXPECT_FALSE(machine->localStatePreserved());
   EXPECT_TRUE(backend->calls().empty());
   turn();
   EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
   EXPECT_EQ(machine->currentState(), MountSm::stateMount);
   EXPECT_EQ(watcher->states, (States{mountStateMounting}));
}

TEST_F(MountSmTest, AttributesReadAsGiven) {
   create();
   EXPECT_EQ(machine->connectionId(), id);
   EXPECT_EQ(machine->connectionConfig().ptr(), config.ptr());
   EXPECT_EQ(machine->remoteRootPath(), "sys/db");
   EXPECT_EQ(machine->remotePath(), "interfaces");
   EXPECT_EQ(machine->targetPath(), "/mounts/leaf1");
   EXPECT_EQ(machine->fenType(), "Linux::InterfaceDir");
   EXPECT_EQ(machine->mountFlags(), "rt");
   EXPECT_EQ(machine->reconnectRetries(), 7u);
   EXPECT_EQ(machine->mountTimeout(), 20u);
   EXPECT_EQ(machine->mountSmData().ptr(), data.ptr());
   EXPECT_EQ(MountSm::watchdogTimeoutInterval(), 30.0);
}

TEST_F(MountSmTest, ANullRecordIsRefused) {
   EXPECT_THROW(mountSmFactory(id, config, "r", "p", "t", "T", "rt", 1, 1, nullptr),
                Fen::RangeException);
}

// ---- the pending slot --------------------------------------------------------------------------

TEST_F(MountSmTest, TheLastOfTwoRequestsInOneTurnWins) {
   createMounted();
   machine->doUnmount();
   EXPECT_EQ(machine->nextState(), MountSm::stateUnmount);
   machine->doRemount();
   EXPECT_EQ(machine->nextState(), MountSm::stateRemount);
   turn();
   // Only the remount ran: its unmount keeps the state.
   EXPECT_EQ(machine->currentState(), MountSm::statePreservingUnmount);
   EXPECT_EQ(backend->calls(), (Calls{"doUnregisterAll(true)"}));
}

TEST_F(MountSmTest, EachRequestFillsTheSlotAndChangesNothingElse) {
   createMounted();
   struct {
      void (MountSm::*request)();
      SmState wanted;
   } const requests[] = {
      {&MountSm::doMountInternal, MountSm::stateMount},
      {&MountSm::doRemount, MountSm::stateRemount},
      {&MountSm::doUnmount, MountSm::stateUnmount},
      {&MountSm::doStatePreservingUnmount, MountSm::statePreservingUnmount},
   };
   for (auto const& each : requests) {
      (machine.ptr()->*each.request)();
      EXPECT_EQ(machine->nextState(), each.wanted);
      EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
      EXPECT_EQ(state(), mountStateMounted);
      EXPECT_EQ(machine->stateTransitionClock()->timeMin(), 0.0);
   }
   EXPECT_TRUE(backend->calls().empty());
}

TEST_F(MountSmTest, AClockFiringWithNothingPendingDoesNothing) {
   createMounted();
   machine->stateTransitionClock()->timeMinIs(0.0);
   turn();
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
   EXPECT_TRUE(backend->calls().empty());
   EXPECT_TRUE(watcher->states.empty());
}

TEST_F(MountSmTest, AnUnmountLeavesTheStateUntilTheClockHasFired) {
   createMounted();
   machine->doUnmount();
   EXPECT_EQ(state(), mountStateMounted);
   turn();
   EXPECT_EQ(state(), mountStateUnmounting);
}

// ---- clock, stateMount -------------------------------------------------------------------------

TEST_F(MountSmTest, AMountRequestWhileMountedRebuildsNothing) {
   createMounted();
   Fen::Ptr<Cairn::EntityManager> const manager = machine->entityManager();
   Traces traces;
   machine->doMountInternal();
   turn();
   EXPECT_EQ(machine->entityManager().ptr(), manager.ptr());
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
   EXPECT_TRUE(backend->calls().empty());
   EXPECT_TRUE(traces.has(": Connection 02:00:00:00:00:01 already mounted."));
}

TEST_F(MountSmTest, AnInvalidConnectionChangesNothing) {
   config->portIs(0);
   Traces traces;
   createMounting();
   EXPECT_EQ(state(), mountStateUnmounted);
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
   EXPECT_FALSE(machine->entityManager());
   EXPECT_EQ(machine->watchdogClock()->timeMin(), 0.0); // as it was born
   EXPECT_TRUE(backend->calls().empty());
   EXPECT_TRUE(traces.has(": Connection 02:00:00:00:00:01 is not valid."));
   // The configuration changes, and the owner asks again.
   config->portIs(9001);
   machine->doMountInternal();
   turn();
   EXPECT_EQ(state(), mountStateMounting);
}

TEST_F(MountSmTest, ANullConnectionIsInvalid) {
   machine = mountSmFactory(id, nullptr, "r", "p", "t", "T", "rt", 1, 1, data);
   turn();
   EXPECT_EQ(state(), mountStateUnmounted);
   EXPECT_TRUE(backend->calls().empty());
}

using MountSmDeathTest = MountSmTest;

TEST_F(MountSmDeathTest, EmptyPathOrTypeStopsTheProcess) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   auto const mountWith = [this](char const* path, char const* type) {
      machine = mountSmFactory(id, config, "r", path, "t", type, "rt", 1, 1, data);
      turn();
   };
   EXPECT_DEATH(mountWith("", "T"), "remotePath\\(\\) && fenType\\(\\)");
   EXPECT_DEATH(mountWith("p", ""), "remotePath\\(\\) && fenType\\(\\)");
}

TEST_F(MountSmDeathTest, ACorruptPendingStateStopsTheProcess) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   createMounted();
   EXPECT_DEATH(
      {
         machine->transitionToState(static_cast<SmState>(9));
         turn();
      },
      "tState == stateIdle_");
}

TEST_F(MountSmTest, AMountRequestClockedWhileAnOperationRunsIsNotDelayed) {
   createMounting();
   settle();
   Fen::Ptr<Cairn::EntityManager> const first = machine->entityManager();
   machine->doMountInternal();
   turn();
   EXPECT_NE(machine->entityManager().ptr(), first.ptr());
   EXPECT_EQ(machine->currentState(), MountSm::stateMount);
}

// ---- clock, stateRemount -----------------------------------------------------------------------

TEST_F(MountSmTest, RemountWhileAMountRunsWaitsForTheAnswerWhateverItIs) {
   for (Cairn::MountStatus const status :
        {Cairn::mountStatusSuccess, Cairn::mountStatusConnectionLost}) {
      createMounting();
      settle();
      Traces traces;
      machine->doRemount();
      turn();
      EXPECT_EQ(machine->currentState(), MountSm::stateMount);
      EXPECT_EQ(machine->nextState(), MountSm::stateRemount);
      EXPECT_TRUE(
         traces.has(": Delaying remount currentState=stateMount for remotePath: interfaces"));
      EXPECT_TRUE(backend->calls().empty());
      answer(status);
      EXPECT_EQ(machine->nextState(), MountSm::stateRemount);
      turn();
      EXPECT_EQ(machine->currentState(), MountSm::statePreservingUnmount);
      EXPECT_EQ(machine->nextState(), MountSm::stateMount);
      renew();
   }
}

TEST_F(MountSmTest, RemountOfAMountedOneKeepsTheStateAndMountsAgain) {
   createMounted();
   Fen::Ptr<Cairn::EntityManager> const first = machine->entityManager();
   Traces traces;
   machine->doRemount();
   turn();
   EXPECT_TRUE(
      traces.has(": doing remount remotePath: interfaces current mountState: mountStateMounted"));
   EXPECT_EQ(machine->currentState(), MountSm::statePreservingUnmount);
   EXPECT_EQ(machine->nextState(), MountSm::stateMount);
   EXPECT_EQ(watcher->states, (States{mountStateUnmounting}));
   EXPECT_TRUE(machine->localStatePreserved());
   unmountDone();
   EXPECT_EQ(watcher->states, (States{mountStateUnmounting, mountStatePending}));
   turn();
   EXPECT_EQ(state(), mountStateMounting);
   EXPECT_NE(machine->entityManager().ptr(), first.ptr());
   answer(Cairn::mountStatusSuccess);
   EXPECT_EQ(state(), mountStateMounted);
   EXPECT_FALSE(machine->localStatePreserved());
}

TEST_F(MountSmTest, RemountOfAFailedMountGoesThroughAPreservingUnmount) {
   createFailed();
   machine->doRemount();
   turn();
   EXPECT_EQ(backend->calls(), (Calls{"doUnregisterAll(true)"}));
   EXPECT_EQ(machine->currentState(), MountSm::statePreservingUnmount);
   EXPECT_EQ(machine->nextState(), MountSm::stateMount);
   EXPECT_EQ(state(), mountStateUnmounting);
}

TEST_F(MountSmTest, RemountOfAnUnmountedOneIsAMountAtTheTurnAfter) {
   createMounted();
   machine->doUnmount();
   turn();
   unmountDone();
   ASSERT_EQ(state(), mountStateUnmounted);
   settle();
   Traces traces;
   machine->doRemount();
   turn();
   EXPECT_TRUE(traces.has(": already unmounted remotePath: interfaces"));
   EXPECT_EQ(machine->currentState(), MountSm::stateMount);
   EXPECT_EQ(watcher->states, (States{mountStateMounting}));
}

TEST_F(MountSmTest, RemountOfAPendingOneMounts) {
   createMounted();
   machine->doStatePreservingUnmount();
   turn();
   unmountDone();
   ASSERT_EQ(state(), mountStatePending);
   machine->doRemount();
   turn();
   EXPECT_EQ(state(), mountStateMounting);
}

TEST_F(MountSmTest, IdleButMountingDelaysTheRemount) {
   // A client that answers from nowhere can leave the machine idle with the state mounting; here
   // the record is written as such a client would leave it.
   createMounted();
   data->mountStateIs(mountStateMounting);
   Traces traces;
   machine->doRemount();
   turn();
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   EXPECT_EQ(machine->nextState(), MountSm::stateRemount);
   EXPECT_TRUE(traces.has(": delaying remount remotePath: interfaces"));
   EXPECT_TRUE(backend->calls().empty());
}

TEST_F(MountSmTest, IdleButUnmountingRemountMounts) {
   createMounted();
   data->mountStateIs(mountStateUnmounting);
   machine->doRemount();
   turn();
   EXPECT_EQ(machine->currentState(), MountSm::stateMount);
   EXPECT_EQ(state(), mountStateMounting);
}

// ---- clock, unmounts ---------------------------------------------------------------------------

TEST_F(MountSmTest, UnmountWithoutManagerReportsUnmountedAndClearsBothStates) {
   config->portIs(0);
   createMounting(); // refused: there is no manager
   data->mountStateIs(mountStateFailed);
   settle();
   Traces traces;
   machine->doUnmount();
   turn();
   EXPECT_EQ(watcher->states, (States{mountStateUnmounted}));
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
   EXPECT_TRUE(traces.has(": no entitymanager  for remotePath: interfaces"));
   EXPECT_TRUE(backend->calls().empty());
}

TEST_F(MountSmTest, PreservingUnmountWithoutManagerToo) {
   config->portIs(0);
   createMounting();
   machine->doStatePreservingUnmount();
   turn();
   EXPECT_EQ(state(), mountStateUnmounted);
   EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
}

TEST_F(MountSmTest, AnyUnmountDuringAFullUnmountIsIgnored) {
   for (auto const request : {&MountSm::doUnmount, &MountSm::doStatePreservingUnmount}) {
      createMounted();
      machine->doUnmount();
      turn();
      settle();
      Traces traces;
      (machine.ptr()->*request)();
      turn();
      EXPECT_EQ(machine->currentState(), MountSm::stateUnmount);
      EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
      EXPECT_TRUE(traces.has(": Delaying unmount currentState=stateUnmount for remotePath: "));
      EXPECT_TRUE(
         traces.has(": Ignoring unmount currentState=stateUnmount for remotePath: interfaces"));
      EXPECT_TRUE(backend->calls().empty());
      unmountDone();
      EXPECT_EQ(state(), mountStateUnmounted);
      renew();
   }
}

TEST_F(MountSmTest, FullUnmountDuringAPreservingOneRunsAfterItAndCleansUp) {
   auto const kept = Fen::dirFactory("mounts");
   Fen::root()->entityPtrIs(kept);
   kept->entityPtrIs(Fen::dirFactory("leaf1"));
   createMounted();
   machine->doStatePreservingUnmount();
   turn();
   machine->doUnmount();
   turn();
   EXPECT_EQ(machine->currentState(), MountSm::statePreservingUnmount);
   EXPECT_EQ(machine->nextState(), MountSm::stateUnmount);
   settle();
   unmountDone();
   EXPECT_EQ(watcher->states, (States{mountStatePending}));
   turn();
   // The already unmounted path: the local state goes, no client call is made.
   EXPECT_EQ(watcher->states, (States{mountStatePending, mountStateUnmounted}));
   EXPECT_TRUE(backend->calls().empty());
   EXPECT_FALSE(kept->entityPtr("leaf1"));
   EXPECT_FALSE(machine->localStatePreserved());
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
   Fen::root()->entityPtrDel("mounts");
}

TEST_F(MountSmTest, UnmountsClockedDuringAMountWaitForTheAnswer) {
   struct {
      void (MountSm::*request)();
      SmState wanted;
   } const requests[] = {
      {&MountSm::doUnmount, MountSm::stateUnmount},
      {&MountSm::doStatePreservingUnmount, MountSm::statePreservingUnmount},
   };
   for (auto const& each : requests) {
      createMounting();
      (machine.ptr()->*each.request)();
      turn();
      EXPECT_EQ(machine->currentState(), MountSm::stateMount);
      EXPECT_EQ(machine->nextState(), each.wanted);
      answer(Cairn::mountStatusSuccess);
      turn();
      EXPECT_EQ(machine->currentState(), each.wanted);
      EXPECT_EQ(state(), mountStateUnmounting);
      renew();
   }
}

TEST_F(MountSmTest, UnmountsOfAnIdleMachineStart) {
   for (bool const preserving : {false, true}) {
      createMounted();
      preserving ? machine->doStatePreservingUnmount() : machine->doUnmount();
      turn();
      EXPECT_EQ(machine->currentState(),
                preserving ? MountSm::statePreservingUnmount : MountSm::stateUnmount);
      EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
      EXPECT_EQ(watcher->states, (States{mountStateUnmounting}));
      EXPECT_EQ(machine->localStatePreserved(), preserving);
      EXPECT_EQ(backend->calls(),
                (Calls{preserving ? "doUnregisterAll(true)" : "doUnregisterAll(false)"}));
      renew();
   }
}

TEST_F(MountSmTest, UnmountsOfSomethingAlreadyUnmounted) {
   createMounted();
   machine->doUnmount();
   turn();
   unmountDone();
   settle();
   data->mountStateIs(mountStatePending);
   settle();
   machine->doStatePreservingUnmount();
   turn();
   EXPECT_TRUE(watcher->states.empty()); // preserving: nothing changes
   Traces traces;
   machine->doUnmount();
   turn();
   EXPECT_TRUE(traces.has(": Already unmounted"));
   EXPECT_EQ(watcher->states, (States{mountStateUnmounted}));
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
   EXPECT_TRUE(backend->calls().empty());
}

TEST_F(MountSmTest, UnmountWhileIdleAndUnmountingReturnsWithoutAWord) {
   createMounted();
   data->mountStateIs(mountStateUnmounting);
   settle();
   for (auto const request : {&MountSm::doUnmount, &MountSm::doStatePreservingUnmount}) {
      (machine.ptr()->*request)();
      turn();
      EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
      EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
   }
   EXPECT_TRUE(watcher->states.empty());
   EXPECT_TRUE(backend->calls().empty());
}

// ---- watchdog ----------------------------------------------------------------------------------

TEST_F(MountSmTest, AMountThatIsNeverAnsweredIsReportedEveryThirtySeconds) {
   createMounting();
   EXPECT_EQ(machine->watchdogClock()->timeMin(), 1030.0);
   settle();
   for (int round = 1; round <= 3; ++round) {
      Traces traces;
      time.advance(30.0);
      EXPECT_TRUE(traces.hasLine("MountSm/8 MountSm::handleWatchdogTimeout"
                                 " currentState=stateMount remotePath:interfaces"));
      EXPECT_EQ(machine->watchdogClock()->timeMin(), 1030.0 + 30.0 * round);
   }
   EXPECT_EQ(machine->currentState(), MountSm::stateMount);
   EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
   EXPECT_TRUE(watcher->states.empty());
   EXPECT_TRUE(backend->calls().empty());
}

TEST_F(MountSmTest, TheWatchdogStopsWithTheAnswerAndWithTheUnmountsEnd) {
   createMounting();
   answer(Cairn::mountStatusSuccess);
   EXPECT_EQ(machine->watchdogClock()->timeMin(), Fen::never);
   machine->doUnmount();
   turn();
   EXPECT_EQ(machine->watchdogClock()->timeMin(), 1030.0);
   unmountDone();
   EXPECT_EQ(machine->watchdogClock()->timeMin(), Fen::never);
}

// ---- the record --------------------------------------------------------------------------------

TEST_F(MountSmTest, ARepeatedReportTellsNobodyAndIsRecorded) {
   createMounted();
   Traces traces;
   machine->updateSmDataMountState(mountStateMounted);
   EXPECT_TRUE(watcher->states.empty());
   EXPECT_EQ(machine->lastMountState(), mountStateMounted);
   EXPECT_TRUE(traces.hasLine("MountSm/8 MountSm::updateSmDataMountState"
                              "(last:mountStateMounted, new:mountStateMounted)"));
   machine->updateSmDataMountState(mountStateFailed);
   EXPECT_EQ(machine->lastMountState(), mountStateMounted);
   EXPECT_EQ(watcher->states, (States{mountStateFailed}));
}

TEST_F(MountSmTest, TheRecordsAttributesAndIds) {
   EXPECT_EQ(data->connectionId(), id);
   EXPECT_EQ(data->remotePath(), "");
   EXPECT_EQ(data->attributeString(258), "connectionId");
   EXPECT_EQ(data->attributeString(259), "remotePath");
   EXPECT_EQ(data->attributeString(260), "mountState");
   EXPECT_EQ(data->attributeString(261), "unknown");
   EXPECT_FALSE(data->fenHasAttrLogInterface());
}

TEST_F(MountSmTest, SmStatePrintsItsTextAndAnUnknownNumberInItsForm) {
   std::ostringstream out;
   out << MountSm::stateIdle << ' ' << MountSm::stateMount << ' ' << MountSm::stateRemount << ' '
       << MountSm::statePreservingUnmount << ' ' << MountSm::stateUnmount << ' '
       << static_cast<SmState>(9);
   EXPECT_EQ(out.str(), "stateIdle stateMount stateRemount statePreservingUnmount stateUnmount "
                        "MountSm::SmState(9)");
   EXPECT_EQ(stringValue(MountSm::stateUnmount), "stateUnmount");
}

} // namespace
