/// What a mount and an unmount do with the client, in which order, and how they complete.
#include "MountSmFixture.h"

namespace {

using namespace Controller;
using namespace MountTest;

/// A machine's local tree: a directory at the target path.
class LocalTree {
 public:
   LocalTree() {
      Fen::root()->entityPtrIs(mounts_);
      renew();
   }
   ~LocalTree() { Fen::root()->entityPtrDel("mounts"); }
   void renew() { mounts_->entityPtrIs(Fen::dirFactory("leaf1")); }
   bool isThere() const { return static_cast<bool>(mounts_->entityPtr("leaf1")); }

 private:
   Fen::Ptr<Fen::Dir> mounts_ = Fen::dirFactory("mounts");
};

// ---- a mount -----------------------------------------------------------------------------------

TEST_F(MountSmTest, AMountIsTheseCallsInThisOrder) {
   createMounting();
   EXPECT_EQ(backend->calls(),
             (Calls{"EntityManager(ControllerEm-10.0.0.1:9001)", "reconnectRetriesIs(7)",
                    "srcHostIs(10.0.0.9)",
                    "doInit(leaf1, /mounts/leaf1, leaf1/sys/db/interfaces, 9001, 10.0.0.1, sock, "
                    "false, false, 20, false, , true, false, true)",
                    "getPersistentMountGroup(02:00:00:00:00:01)",
                    "doMount(, Linux::InterfaceDir, rt)", "doClose(false, , 0)"}));
   EXPECT_EQ(machine->currentState(), MountSm::stateMount);
   EXPECT_EQ(state(), mountStateMounting);
   ASSERT_TRUE(machine->mounterSm());
   EXPECT_EQ(machine->mounterSm()->name(), "02:00:00:00:00:01");
   EXPECT_EQ(machine->mounterSm()->mountSm(), machine.ptr());
   EXPECT_FALSE(machine->unmounterSm());
}

TEST_F(MountSmTest, MountingIsReportedBetweenDoInitAndTheMountGroup) {
   create();
   Calls seen;
   watcher->then = [&](MountState) { seen = backend->calls(); };
   turn();
   ASSERT_FALSE(seen.empty());
   EXPECT_EQ(seen.back().substr(0, 6), "doInit");
}

TEST_F(MountSmTest, AManagerIsNeverUsedAgainAndTheMounterIs) {
   createFailed();
   Fen::Ptr<MountSm::MounterSm> const mounter = machine->mounterSm();
   Traces traces;
   machine->doMountInternal();
   turn();
   EXPECT_TRUE(traces.has(": Deleting existing EntityManager: ControllerEm-10.0.0.1:9001"));
   EXPECT_EQ(machine->mounterSm().ptr(), mounter.ptr());
   ASSERT_GE(backend->calls().size(), 3u);
   EXPECT_EQ(backend->calls()[0], "doCleanup()");
   EXPECT_EQ(backend->calls()[1], "~EntityManager(ControllerEm-10.0.0.1:9001)");
   EXPECT_EQ(backend->calls()[2], "EntityManager(ControllerEm-10.0.0.1:9001)");
}

TEST_F(MountSmTest, AMountDropsTheUnmounterOfTheUnmountBefore) {
   createMounted();
   machine->doUnmount();
   turn();
   unmountDone();
   EXPECT_TRUE(machine->unmounterSm()); // stays, idle, until the next mount
   machine->doMountInternal();
   turn();
   EXPECT_FALSE(machine->unmounterSm());
}

// ---- its answer --------------------------------------------------------------------------------

TEST_F(MountSmTest, SuccessMountsAndEveryOtherStatusFails) {
   for (unsigned status = 0; status < 16; ++status) {
      createMounting();
      answer(static_cast<Cairn::MountStatus>(status));
      EXPECT_EQ(state(), status == 4 ? mountStateMounted : mountStateFailed) << status;
      EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
      renew();
   }
}

TEST_F(MountSmTest, AnAnswerInStateIdleIsAccepted) {
   createFailed();
   ASSERT_EQ(machine->currentState(), MountSm::stateIdle);
   answer(Cairn::mountStatusSuccess);
   EXPECT_EQ(state(), mountStateMounted);
}

TEST_F(MountSmTest, AnAnswerThatAnUnmountHasOvertakenIsDropped) {
   for (bool const preserving : {false, true}) {
      createMounted();
      preserving ? machine->doStatePreservingUnmount() : machine->doUnmount();
      turn();
      settle();
      Traces traces;
      answer(Cairn::mountStatusSuccess);
      answer(Cairn::mountStatusTimedOut);
      EXPECT_EQ(state(), mountStateUnmounting);
      EXPECT_TRUE(watcher->states.empty());
      EXPECT_EQ(machine->nextState(), MountSm::stateIdle);
      EXPECT_TRUE(traces.has(preserving ? " current state mismatch: statePreservingUnmount"
                                        : " current state mismatch: stateUnmount"));
      renew();
   }
}

TEST_F(MountSmTest, OutcomesAreTracedWithConnectionAndPath) {
   Traces traces;
   createMounting();
   EXPECT_TRUE(traces.hasLine("MountSm/5 doMountNow: Mounting Remote:leaf1/sys/db/interfaces "
                              "Target:/mounts/leaf1 Type:Linux::InterfaceDir Sysname:leaf1 "
                              "Ip:10.0.0.1 Port:9001 SrcIp:10.0.0.9 Sockname:sock"));
   answer(Cairn::mountStatusTimedOut);
   EXPECT_TRUE(traces.has(": Mount failed: 02:00:00:00:00:01 : interfaces"));
   answer(Cairn::mountStatusSuccess);
   EXPECT_TRUE(traces.has(": Mount success: 02:00:00:00:00:01 : interfaces"));
   machine->doUnmount();
   turn();
   EXPECT_TRUE(traces.hasLine("MountSm/5 doUnmountImpl: Unmounting"));
   unmountDone();
   EXPECT_TRUE(traces.has(": Unmount complete: 02:00:00:00:00:01 : interfaces"));
}

// ---- an unmount --------------------------------------------------------------------------------

TEST_F(MountSmTest, AFullUnmountWithNothingPendingEndsUnmounted) {
   createMounted();
   machine->doUnmount();
   turn();
   EXPECT_FALSE(machine->unmounterSm()->statePreserving());
   unmountDone();
   EXPECT_EQ(watcher->states, (States{mountStateUnmounting, mountStateUnmounted}));
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   EXPECT_TRUE(machine->entityManager()); // outlasts the unmount
   EXPECT_TRUE(machine->unmounterSm());
}

TEST_F(MountSmTest, AFullUnmountWithSomethingPendingStaysUnmountingUntilThatRuns) {
   createMounted();
   machine->doUnmount();
   turn();
   machine->doRemount();
   turn();
   ASSERT_EQ(machine->nextState(), MountSm::stateRemount);
   settle();
   unmountDone();
   EXPECT_EQ(state(), mountStateUnmounting);
   EXPECT_TRUE(watcher->states.empty());
   turn();
   EXPECT_EQ(state(), mountStateMounting);
}

TEST_F(MountSmTest, APreservingUnmountEndsPendingAndKeepsTheTree) {
   LocalTree tree;
   createMounted();
   machine->doStatePreservingUnmount();
   turn();
   EXPECT_TRUE(machine->unmounterSm()->statePreserving());
   unmountDone();
   EXPECT_EQ(watcher->states, (States{mountStateUnmounting, mountStatePending}));
   EXPECT_TRUE(machine->localStatePreserved());
   EXPECT_TRUE(tree.isThere());
}

TEST_F(MountSmTest, FullUnmountOfAPendingOneDeletesTheTreeWithoutTheClient) {
   LocalTree tree;
   createMounted();
   machine->doStatePreservingUnmount();
   turn();
   unmountDone();
   settle();
   Traces traces;
   machine->doUnmount();
   turn();
   EXPECT_FALSE(tree.isThere());
   EXPECT_EQ(watcher->states, (States{mountStateUnmounted}));
   EXPECT_TRUE(backend->calls().empty());
   EXPECT_TRUE(traces.has(": Deleting local preserved state"));
   EXPECT_FALSE(machine->localStatePreserved());
}

TEST_F(MountSmTest, KeptStateSurvivesAFailedMountAndGoesFirstInAFullUnmount) {
   LocalTree tree;
   createMounted();
   machine->doRemount();
   turn();
   unmountDone();
   turn();
   answer(Cairn::mountStatusConnectionLost);
   EXPECT_EQ(state(), mountStateFailed);
   EXPECT_TRUE(machine->localStatePreserved());
   EXPECT_TRUE(tree.isThere());
   settle();
   bool thereAtUnmounting = true;
   watcher->then = [&](MountState) { thereAtUnmounting = tree.isThere(); };
   machine->doUnmount();
   turn();
   EXPECT_FALSE(thereAtUnmounting);
   EXPECT_EQ(backend->calls(), (Calls{"doUnregisterAll(false)"}));
   EXPECT_EQ(state(), mountStateUnmounting);
   EXPECT_FALSE(machine->localStatePreserved());
}

TEST_F(MountSmTest, KeptStateIsClaimedByASuccessfulMount) {
   LocalTree tree;
   createMounted();
   machine->doRemount();
   turn();
   unmountDone();
   turn();
   Traces traces;
   answer(Cairn::mountStatusSuccess);
   EXPECT_TRUE(traces.has(": Clearing state preserved flag: "));
   EXPECT_FALSE(machine->localStatePreserved());
   machine->doUnmount();
   turn();
   EXPECT_TRUE(tree.isThere()); // the client's to delete now
}

TEST_F(MountSmTest, UnmountsCompleteThatGoesFalseIsIgnored) {
   createMounted();
   machine->doUnmount();
   turn();
   unmountDone();
   settle();
   remoteUnmounter().unmountsCompleteIs(false);
   EXPECT_TRUE(watcher->states.empty());
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
}

TEST_F(MountSmTest, AnUnmountsEndInAnotherStateIsDropped) {
   createMounted();
   machine->doUnmount();
   turn();
   unmountDone();
   settle();
   Traces traces;
   remoteUnmounter().unmountsCompleteIs(false);
   remoteUnmounter().unmountsCompleteIs(true);
   EXPECT_TRUE(traces.has(" current state mismatch: stateIdle"));
   EXPECT_TRUE(watcher->states.empty());
}

TEST_F(MountSmTest, AnUnmounterThatIsCompleteWhenItIsSetCompletesAtOnce) {
   createMounted();
   backend->completesInsideUnregisterAllIs(true);
   machine->doUnmount();
   turn();
   EXPECT_EQ(watcher->states, (States{mountStateUnmounting, mountStateUnmounted}));
   EXPECT_EQ(machine->currentState(), MountSm::stateIdle);
   // doUnmountImpl goes on after the completion and starts the watchdog for an unmount that is
   // over.
   EXPECT_EQ(machine->watchdogClock()->timeMin(), 1030.0);
}

TEST_F(MountSmTest, ACompletionInsideDoUnregisterAllWorksForBothFlags) {
   LocalTree tree;
   createMounted();
   backend->completesInsideUnregisterAllIs(true);
   machine->doStatePreservingUnmount();
   turn();
   EXPECT_EQ(watcher->states, (States{mountStateUnmounting, mountStatePending}));
   EXPECT_TRUE(tree.isThere());
}

TEST_F(MountSmTest, DoUnregisterAllIsNotRepeatedForTheSameManagerAndFlag) {
   createMounted();
   machine->doUnmount();
   turn();
   Fen::Ptr<MountSm::UnmounterSm> const first = machine->unmounterSm();
   settle();
   EXPECT_EQ(machine->unmounterSmIs(machine->entityManager(), false).ptr(), first.ptr());
   EXPECT_TRUE(backend->calls().empty());
   EXPECT_NE(machine->unmounterSmIs(machine->entityManager(), true).ptr(), first.ptr());
   EXPECT_EQ(backend->calls(), (Calls{"doUnregisterAll(true)"}));
}

// ---- lives and deaths --------------------------------------------------------------------------

TEST_F(MountSmTest, AnAnswerFromInsideDoCloseLeavesTheMachineAsIfItWereAwaited) {
   create();
   backend->completesInsideCloseIs(Cairn::mountStatusSuccess);
   turn();
   EXPECT_EQ(watcher->states, (States{mountStateMounting, mountStateMounted}));
   EXPECT_EQ(machine->currentState(), MountSm::stateMount);
   EXPECT_EQ(machine->watchdogClock()->timeMin(), 1030.0);
}

TEST_F(MountSmTest, CleanUpLetsGoOfEverythingInOrderAndLeavesTheRecord) {
   createMounted();
   machine->doUnmount();
   turn();
   settle();
   machine->doCleanup();
   EXPECT_FALSE(machine->mounterSm());
   EXPECT_FALSE(machine->unmounterSm());
   EXPECT_FALSE(machine->entityManager());
   EXPECT_EQ(backend->calls(),
             (Calls{"doCleanup()", "~EntityManager(ControllerEm-10.0.0.1:9001)"}));
   EXPECT_EQ(state(), mountStateUnmounting);
}

TEST_F(MountSmTest, AMachineDroppedWithoutCleanUpLeavesNothing) {
   createMounted();
   machine->doUnmount();
   turn();
   Fen::Ptr<Cairn::EntityManager> const manager = machine->entityManager();
   Fen::Ptr<MountSm::UnmounterSm> const unmounter = machine->unmounterSm();
   Cairn::RemoteUnmounter& progress = remoteUnmounter();
   machine = nullptr;
   EXPECT_EQ(unmounter->mountSm(), nullptr);
   progress.unmountsCompleteIs(true); // nobody is there to hear it
   time.advance(100.0);
   EXPECT_EQ(state(), mountStateUnmounting);
}

TEST_F(MountSmTest, ALateAnswerAfterTheMachineHasGoneIsHarmless) {
   createMounting();
   Fen::Ptr<MountSm::MounterSm> const mounter = machine->mounterSm();
   Fen::Ptr<Cairn::EntityManager> const manager = machine->entityManager();
   cleanUp();
   mounter->doMountsComplete(Cairn::mountStatusSuccess, manager);
   EXPECT_EQ(mounter->mountSm(), nullptr);
   EXPECT_EQ(state(), mountStateMounting);
}

TEST_F(MountSmTest, ARequestThatIsDroppedBeforeItsTurnNeverRuns) {
   create();
   cleanUp();
   turn();
   EXPECT_TRUE(backend->calls().empty());
   EXPECT_TRUE(watcher->states.empty());
}

/// The owner drops the machine from inside the report of a state, at every report there is.
class MountSmDropTest : public MountSmTest, public testing::WithParamInterface<bool> {
 protected:
   /// Drops the machine (with or without doCleanup) when `when` is reported.
   void dropAt(MountState when) {
      watcher->then = [this, when](MountState reported) {
         if (reported == when && machine) {
            if (GetParam()) {
               machine->doCleanup();
            }
            machine = nullptr;
            ++dropped;
         }
      };
   }
   int dropped = 0;
};

TEST_P(MountSmDropTest, AtMounting) {
   dropAt(mountStateMounting);
   createMounting();
   EXPECT_EQ(dropped, 1);
   time.advance(100.0);
   EXPECT_EQ(watcher->states, (States{mountStateMounting}));
}

TEST_P(MountSmDropTest, AtMounted) {
   dropAt(mountStateMounted);
   createMounting();
   answer(Cairn::mountStatusSuccess);
   EXPECT_EQ(dropped, 1);
   time.advance(100.0);
}

TEST_P(MountSmDropTest, AtFailed) {
   dropAt(mountStateFailed);
   createMounting();
   answer(Cairn::mountStatusRefused);
   EXPECT_EQ(dropped, 1);
   time.advance(100.0);
}

TEST_P(MountSmDropTest, AtUnmounting) {
   createMounted();
   dropAt(mountStateUnmounting);
   machine->doUnmount();
   turn();
   EXPECT_EQ(dropped, 1);
   time.advance(100.0);
}

TEST_P(MountSmDropTest, AtUnmountedFromInsideTheUnmounter) {
   createMounted();
   machine->doUnmount();
   turn();
   dropAt(mountStateUnmounted);
   unmountDone();
   EXPECT_EQ(dropped, 1);
   time.advance(100.0);
}

TEST_P(MountSmDropTest, AtUnmountedFromInsideDoUnregisterAll) {
   createMounted();
   backend->completesInsideUnregisterAllIs(true);
   dropAt(mountStateUnmounted);
   machine->doUnmount();
   turn();
   EXPECT_EQ(dropped, 1);
   time.advance(100.0);
}

TEST_P(MountSmDropTest, AtPending) {
   createMounted();
   machine->doStatePreservingUnmount();
   turn();
   dropAt(mountStatePending);
   unmountDone();
   EXPECT_EQ(dropped, 1);
   time.advance(100.0);
}

TEST_P(MountSmDropTest, AtTheAnswerFromInsideDoClose) {
   create();
   backend->completesInsideCloseIs(Cairn::mountStatusSuccess);
   dropAt(mountStateMounted);
   turn();
   EXPECT_EQ(dropped, 1);
   time.advance(100.0);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutCleanUp, MountSmDropTest, testing::Bool());

} // namespace
