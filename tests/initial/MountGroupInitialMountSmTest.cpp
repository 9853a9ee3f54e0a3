/// One mount group: the window for registration, the wait for final states, and what counts.
#include "InitialFixture.h"

namespace {

using namespace InitialTest;

class MountGroupInitialMountSmTest : public InitialFixture {
 protected:
   MountGroupInitialMountSmTest() { createWithService(); }

   /// A registered peer with that state of the group.
   void switchIs(unsigned number, MountState state) {
      peerIs(number);
      registeredIs(number);
      stateIs(number, state);
   }
};

// ---- the end of the period ---------------------------------------------------------------------

TEST_F(MountGroupInitialMountSmTest, BeforeThePeriodEndsNothingIsComplete) {
   switchIs(1, mountStateMounted);
   time.advance(period - 1.0);
   EXPECT_FALSE(complete());
   EXPECT_FALSE(groupSm()->mountGroupInitialSwitchSet()->complete());
   EXPECT_EQ(groupSm()->mountGroupInitialSwitchSet()->initialSwitchCount(), 0u);
   time.advance(1.0);
   EXPECT_TRUE(complete());
   EXPECT_TRUE(groupSm()->mountGroupInitialSwitchSet()->complete());
   EXPECT_TRUE(groupSm()->mountGroupInitialSwitchSet()->initialSwitch(systemId(1)));
}

TEST_F(MountGroupInitialMountSmTest, AnEmptyPeerTableAtTheEndOfThePeriodCompletesAtOnce) {
   peerIs(1);
   peers->peerDel(systemId(1)); // seen, and gone again
   endPeriod();
   EXPECT_TRUE(complete());
   EXPECT_EQ(groupSm()->mountGroupInitialSwitchSet()->initialSwitchCount(), 0u);
}

TEST_F(MountGroupInitialMountSmTest, AGroupCreatedLaterWithAnEmptyPeerTableCompletesAtOnce) {
   peerIs(1);
   peers->peerDel(systemId(1));
   endPeriod();
   config->mountGroupConfigIs("late");
   EXPECT_TRUE(complete("late"));
}

TEST_F(MountGroupInitialMountSmTest, AllPeersRegisteredNeedNoTimer) {
   switchIs(1, mountStateMounted);
   switchIs(2, mountStateMounting);
   endPeriod();
   EXPECT_EQ(windowTime(), never);
   EXPECT_EQ(groupSm()->unregisteredCount(), 0u);
   EXPECT_TRUE(remains(2));
   EXPECT_FALSE(complete());
   stateIs(2, mountStateMounted);
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, ASwitchThatIsRegisteredAsFalseIsUnregistered) {
   peerIs(1);
   registeredSwitches->systemIs(systemId(1), false);
   endPeriod();
   EXPECT_TRUE(groupSm()->unregistered(systemId(1)));
   EXPECT_EQ(windowTime(), start + period + window);
}

// ---- the window --------------------------------------------------------------------------------

TEST_F(MountGroupInitialMountSmTest, OneUnregisteredPeerOpensTheWindowAndItsRegistrationEndsIt) {
   switchIs(1, mountStateMounted);
   peerIs(2);
   endPeriod();
   EXPECT_EQ(windowTime(), start + period + window);
   EXPECT_TRUE(groupSm()->unregistered(systemId(2)));
   EXPECT_FALSE(complete());
   time.advance(100.0);
   registeredIs(2);
   EXPECT_EQ(windowTime(), never);
   EXPECT_EQ(groupSm()->unregisteredCount(), 0u);
   EXPECT_TRUE(complete()) << "it has no status for the group";
}

TEST_F(MountGroupInitialMountSmTest, ARegistrationThatLeavesOthersKeepsTheWindowOpen) {
   peerIs(1);
   peerIs(2);
   endPeriod();
   registeredIs(1);
   EXPECT_EQ(windowTime(), start + period + window);
   EXPECT_FALSE(complete());
   registeredIs(9); // a stranger
   EXPECT_EQ(windowTime(), start + period + window);
   registeredIs(2);
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, TheWindowEndsWithASwitchStillUnregistered) {
   switchIs(1, mountStateMounted);
   peerIs(2);
   endPeriod();
   time.advance(window - 0.5);
   EXPECT_FALSE(complete());
   time.advance(0.5);
   EXPECT_TRUE(complete());
   EXPECT_EQ(windowTime(), never);
   EXPECT_TRUE(groupSm()->unregistered(systemId(2))) << "given up, and not forgotten";
}

TEST_F(MountGroupInitialMountSmTest, AnUnregisteredSwitchWithAStatusThatIsNotFinalIsWaitedFor) {
   peerIs(1);
   stateIs(1, mountStateMounting);
   endPeriod();
   EXPECT_FALSE(remains(1)) << "not before the window is over";
   time.advance(window);
   EXPECT_TRUE(remains(1));
   EXPECT_FALSE(complete());
   stateIs(1, mountStateMounted);
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, NothingIsCompleteWhileTheWindowIsOpenWhateverTheStates) {
   switchIs(1, mountStateMounting);
   peerIs(2);
   endPeriod();
   stateIs(1, mountStateMounted);
   EXPECT_FALSE(complete());
   time.advance(window);
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, ASwitchThatDropsOutOfTheTableDoesNotComeBackAsUnregistered) {
   peerIs(1);
   switchIs(2, mountStateMounted);
   endPeriod();
   Traces traces;
   registeredSwitches->systemDel(systemId(2));
   EXPECT_TRUE(
      traces.hasLine("Gantry/8 handleRegisteredSwitch: system 02:00:00:00:00:02 unregistered"));
   EXPECT_FALSE(groupSm()->unregistered(systemId(2)));
   EXPECT_EQ(groupSm()->unregisteredCount(), 1u);
   EXPECT_FALSE(complete());
}

TEST_F(MountGroupInitialMountSmTest, TheWindowOpensAtMostOnce) {
   peerIs(1);
   endPeriod();
   time.advance(window);
   EXPECT_TRUE(complete());
   peerIs(2);
   time.advance(1000.0);
   EXPECT_EQ(windowTime(), never);
}

// ---- states ------------------------------------------------------------------------------------

TEST_F(MountGroupInitialMountSmTest, MountedAndFailedNeverEnterRemaining) {
   switchIs(1, mountStateMounted);
   switchIs(2, mountStateFailed);
   endPeriod();
   EXPECT_EQ(groupSm()->remainingSwitchCount(), 0u);
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, EveryOtherStateIsNotFinal) {
   MountState const others[] = {mountStatePending, mountStateMounting, mountStateUnmounted,
                                mountStateUnmounting};
   unsigned number = 0;
   for (MountState const state : others) {
      switchIs(++number, state);
   }
   endPeriod();
   EXPECT_EQ(groupSm()->remainingSwitchCount(), 4u);
   // Nor do they end the wait later.
   for (unsigned each = 1; each <= number; ++each) {
      for (MountState const state : others) {
         stateIs(each, state);
         EXPECT_TRUE(remains(each)) << stringValue(state).str();
      }
   }
   for (unsigned each = 1; each <= number; ++each) {
      EXPECT_FALSE(complete());
      stateIs(each, each % 2 == 0 ? mountStateMounted : mountStateFailed);
      EXPECT_FALSE(remains(each));
   }
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, ASwitchWithoutAStatusForTheGroupIsNotWaitedFor) {
   peerIs(1);
   registeredIs(1);
   peerIs(2);
   registeredIs(2);
   stateIs(2, mountStateMounting, "other");
   endPeriod();
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, APeerThatConnectsAfterThePeriodIsNeverWaitedFor) {
   switchIs(1, mountStateMounting);
   endPeriod();
   switchIs(2, mountStateMounting);
   EXPECT_FALSE(groupSm()->mountGroupInitialSwitchSet()->initialSwitch(systemId(2)));
   EXPECT_FALSE(remains(2));
   stateIs(1, mountStateMounted);
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, AnotherGroupsStateOnARemainingSwitchHasNoEffect) {
   stateIs(1, mountStateMounting, "other");
   switchIs(1, mountStateMounting);
   endPeriod();
   Fen::Ptr<MountGroupInitialMountSm::FenRemainingSwitch> const remaining =
      groupSm()->remainingSwitch(systemText(1));
   ASSERT_TRUE(remaining);
   EXPECT_EQ(remaining->serviceMountGroupStatusCount(), 2u) << "all groups are watched";
   Traces traces;
   stateIs(1, mountStateMounted, "other");
   EXPECT_TRUE(traces.hasLine("Gantry/8 MountGroupInitialMountSm::handleMountState: "
                              "02:00:00:00:00:01 other"));
   EXPECT_TRUE(remains(1));
   EXPECT_FALSE(complete());
}

TEST_F(MountGroupInitialMountSmTest, TheReactorsOfARemainingSwitchFollowItsGroups) {
   switchIs(1, mountStateMounting);
   endPeriod();
   Fen::Ptr<MountGroupInitialMountSm::FenRemainingSwitch> const remaining =
      groupSm()->remainingSwitch(systemText(1));
   Fen::Ptr<SystemStatus> const system = status->systemStatus(systemText(1));
   EXPECT_EQ(remaining->remainingSwitch(), system);
   system->serviceMountGroupStatusIs("new");
   EXPECT_TRUE(remaining->serviceMountGroupStatus("new"));
   system->serviceMountGroupStatusDel("new");
   EXPECT_FALSE(remaining->serviceMountGroupStatus("new"));
   // The group's own status goes and comes: the switch is waited for until it is final.
   system->serviceMountGroupStatusDel("routes");
   EXPECT_TRUE(remains(1));
   system->serviceMountGroupStatusIs("routes");
   EXPECT_TRUE(remains(1));
   stateIs(1, mountStateMounted);
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, AttachingDoesNotHandleAStateButMovingDoes) {
   switchIs(1, mountStateMounting);
   endPeriod();
   Fen::Ptr<SystemStatus> const system = status->systemStatus(systemText(1));
   auto const other = Fen::makePtr<SystemStatus>(systemText(1));
   other->serviceMountGroupStatusIs("routes")->mountStateIs(mountStateMounted);
   Fen::Ptr<MountGroupInitialMountSm::FenRemainingSwitch> const remaining =
      groupSm()->remainingSwitch(systemText(1));
   EXPECT_EQ(groupSm()->remainingSwitchIs(system), remaining);
   EXPECT_TRUE(remains(1));
   // A known peer with another status: the reactor moves there and looks at what it finds.
   EXPECT_EQ(groupSm()->remainingSwitchIs(other), remaining);
   EXPECT_FALSE(remains(1));
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, AFreshRemainingSwitchDoesNotHandleTheStatesThatItFinds) {
   auto const system = Fen::makePtr<SystemStatus>("x");
   system->serviceMountGroupStatusIs("routes")->mountStateIs(mountStateMounted);
   peerIs(1);
   endPeriod();
   Traces traces;
   groupSm()->remainingSwitchIs(system);
   EXPECT_EQ(traces.text(), "");
   EXPECT_EQ(groupSm()->remainingSwitchCount(), 1u);
}

TEST_F(MountGroupInitialMountSmTest, ASwitchThatDisconnectsKeepsTheGroupWaiting) {
   switchIs(1, mountStateMounting);
   endPeriod();
   peers->peerDel(systemId(1));
   registeredSwitches->systemDel(systemId(1));
   stateIs(1, mountStateUnmounting);
   stateIs(1, mountStateUnmounted);
   time.advance(10000.0);
   EXPECT_FALSE(complete());
   EXPECT_TRUE(remains(1));
   stateIs(1, mountStateMounting);
   stateIs(1, mountStateFailed);
   EXPECT_TRUE(complete());
}

// ---- registrations outside the window ----------------------------------------------------------

TEST_F(MountGroupInitialMountSmTest, ARegistrationBeforeThePeriodIsCompleteEvaluatesAnEmptySet) {
   peerIs(1);
   stateIs(1, mountStateMounting);
   Traces traces;
   registeredIs(1);
   EXPECT_TRUE(
      traces.hasLine("Gantry/8 handleSwitchRegistrationComplete: unsetting registrationTimer"));
   EXPECT_TRUE(traces.hasLine("Gantry/8 MountGroupInitialMountSm::checkSwitchMountsPending"));
   EXPECT_FALSE(traces.has("no remaining switches"));
   EXPECT_EQ(groupSm()->remainingSwitchCount(), 0u);
   EXPECT_FALSE(complete());
}

TEST_F(MountGroupInitialMountSmTest, ALateRegistrationEvaluatesTheWholeSetAnew) {
   switchIs(1, mountStateMounted);
   endPeriod();
   EXPECT_TRUE(complete());
   stateIs(1, mountStateMounting);
   EXPECT_FALSE(remains(1));
   registeredIs(7); // somebody else entirely
   EXPECT_TRUE(remains(1));
   EXPECT_TRUE(complete()) << "what has been written is not withdrawn";
   stateIs(1, mountStateMounted);
   EXPECT_FALSE(remains(1));
}

TEST_F(MountGroupInitialMountSmTest, ALateRegistrationMakesTheGroupWaitAgain) {
   switchIs(1, mountStateMounted);
   switchIs(2, mountStateMounting);
   endPeriod();
   stateIs(1, mountStateMounting);
   registeredIs(7);
   stateIs(2, mountStateMounted);
   EXPECT_FALSE(complete()) << "the first is awaited anew";
   stateIs(1, mountStateMounted);
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, AllRegistrationsAreLookedAtWhenTheTableTellsOfAll) {
   peerIs(1);
   peerIs(2);
   endPeriod();
   Fen::Ptr<MountGroupInitialMountSm> const group = groupSm();
   group->fenRegisteredSwitchTable()->hasNotificationActiveIs(false);
   registeredIs(1);
   registeredIs(2);
   EXPECT_EQ(group->unregisteredCount(), 2u);
   group->fenRegisteredSwitchTable()->hasNotificationActiveIs(true);
   group->fenRegisteredSwitchTable()->onSystemfenImmediate();
   EXPECT_EQ(group->unregisteredCount(), 0u);
   EXPECT_TRUE(complete());
}

// ---- the result --------------------------------------------------------------------------------

TEST_F(MountGroupInitialMountSmTest, TheResultIsToldOnceAndNeverTakenBack) {
   CompletionWatcher const watcher(status);
   switchIs(1, mountStateMounted);
   endPeriod();
   EXPECT_EQ(watcher.groups, Names{"routes"});
   stateIs(1, mountStateFailed);
   registeredIs(5);
   registeredIs(6);
   stateIs(1, mountStateUnmounted);
   peers->peerDelAll();
   registeredSwitches->systemDelAll();
   time.advance(1000.0);
   EXPECT_EQ(watcher.groups, Names{"routes"});
   EXPECT_TRUE(complete());
}

TEST_F(MountGroupInitialMountSmTest, GroupsOfOneServiceAreIndependent) {
   config->mountGroupConfigIs("ports");
   switchIs(1, mountStateMounting);
   stateIs(1, mountStateMounted, "ports");
   endPeriod();
   EXPECT_TRUE(complete("ports"));
   EXPECT_FALSE(complete());
}

// ---- handlers called by themselves -------------------------------------------------------------

TEST_F(MountGroupInitialMountSmTest, AStateBeforeThePeriodIsCompleteIsNotLookedAt) {
   Traces traces;
   groupSm()->handleMountState(systemText(1), "routes");
   EXPECT_TRUE(traces.hasLine("Gantry/5 handleMountState: initial switch set not yet complete"));
   traces.clear();
   groupSm()->handleMountState();
   EXPECT_EQ(traces.text(), "Gantry/8 MountGroupInitialMountSm::handleMountState\n"
                            "Gantry/5 handleMountState: initial switch set not yet complete\n");
}

TEST_F(MountGroupInitialMountSmTest, AStateOfASwitchThatDoesNotRemainIsNotLookedAt) {
   peerIs(1);
   endPeriod();
   Traces traces;
   groupSm()->handleMountState(systemText(1), "routes");
   EXPECT_TRUE(traces.hasLine("Gantry/5 handleMountState: 02:00:00:00:00:01 not in remaining."));
}

TEST_F(MountGroupInitialMountSmTest, AllRemainingSwitchesAreLookedAtTogether) {
   switchIs(1, mountStateMounting);
   switchIs(2, mountStateMounting);
   switchIs(3, mountStateMounting);
   endPeriod();
   Fen::Ptr<MountGroupInitialMountSm> const group = groupSm();
   group->hasNotificationActiveIs(false);
   stateIs(1, mountStateMounted);
   stateIs(2, mountStateFailed);
   group->hasNotificationActiveIs(true);
   EXPECT_EQ(group->remainingSwitchCount(), 3u);
   group->handleMountState();
   EXPECT_EQ(group->remainingSwitchCount(), 1u);
   EXPECT_TRUE(remains(3));
   EXPECT_FALSE(complete());
}

TEST_F(MountGroupInitialMountSmTest, AZombieHearsNothing) {
   switchIs(1, mountStateMounting);
   peerIs(2);
   endPeriod();
   Fen::Ptr<MountGroupInitialMountSm> const group = groupSm();
   config->mountGroupConfigDel("routes");
   stateIs(1, mountStateMounted);
   registeredIs(2);
   time.advance(1000.0);
   EXPECT_FALSE(complete());
   EXPECT_TRUE(group->fenMarkedForDeletion());
}

TEST_F(MountGroupInitialMountSmTest, TheFactoryMakesAMachineOnItsOwn) {
   auto const record = Fen::makePtr<ConnectionPeriod>();
   peerIs(1);
   registeredIs(1);
   stateIs(1, mountStateMounting, "own");
   auto const own =
      mountGroupInitialMountSmFactory("own", status, record, registeredSwitches, peers);
   EXPECT_EQ(own->registrationTimer()->timeMin(), never);
   record->completeIs(true);
   EXPECT_TRUE(own->remainingSwitch(systemText(1)));
   stateIs(1, mountStateMounted, "own");
   EXPECT_TRUE(complete("own"));
}

} // namespace
