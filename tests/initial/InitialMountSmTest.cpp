/// The connection period: which peers move its end, and when it is over; and the pairing of the
/// services' entities.
#include "InitialFixture.h"

namespace {

using namespace InitialTest;

class InitialMountSmTest : public InitialFixture {
 protected:
   double seenCount() const { return machine->initialSwitchSet()->initialSwitchCount(); }
   bool periodComplete() const { return machine->connectionPeriod()->complete(); }
   Fen::Ptr<ServiceInitialMountSm> serviceSm() const {
      return machine->serviceInitialMountSm("bgp");
   }
};

// ---- birth -------------------------------------------------------------------------------------

TEST_F(InitialMountSmTest, ABirthWithoutPeersWaitsForEver) {
   create();
   EXPECT_TRUE(machine->initialized());
   EXPECT_EQ(clockTime(), never);
   EXPECT_EQ(seenCount(), 0);
   EXPECT_FALSE(periodComplete());
   EXPECT_EQ(machine->mountConfigDir(), configDir);
   EXPECT_EQ(machine->mountStatusDir(), statusDir);
   EXPECT_EQ(machine->peerTable(), peers);
   EXPECT_EQ(machine->registeredSwitchTable(), registeredSwitches);
   EXPECT_EQ(machine->heartbeatConfig(), heartbeat);
   EXPECT_EQ(machine->heartbeatInterval(), interval);
   EXPECT_EQ(machine->timeoutHeartbeatMultiple(), 3.0);
}

TEST_F(InitialMountSmTest, ASecondInitializationDoesNothing) {
   peerIs(1);
   create();
   time.advance(1.0);
   machine->handleInitialized();
   EXPECT_EQ(clockTime(), start + period);
}

TEST_F(InitialMountSmTest, TwoPeersAtBirthBothEnterTheSetAndServicesArePairedAfterThat) {
   peerIs(1);
   peerIs(2);
   addService();
   Traces traces;
   create();
   EXPECT_EQ(seenCount(), 2);
   EXPECT_EQ(clockTime(), start + period);
   std::string const text = traces.text();
   EXPECT_LT(text.rfind("handlePeer: reset timeMin to 1030"),
             text.find("handleServiceMount: creating serviceInitialMountSm for bgp"));
   EXPECT_TRUE(serviceSm());
}

// ---- the period --------------------------------------------------------------------------------

TEST_F(InitialMountSmTest, APeerSeenASecondTimeLeavesTheDeadline) {
   create();
   peerIs(1);
   EXPECT_EQ(clockTime(), start + period);
   time.advance(5.0);
   Traces traces;
   peers->peerIs(systemId(1), false); // it tells its readers, and is still there
   EXPECT_TRUE(traces.hasLine("Gantry/5 handlePeer: already in initial switch set"));
   EXPECT_EQ(clockTime(), start + period);
   peers->peerDel(systemId(1));
   peerIs(1);
   EXPECT_EQ(clockTime(), start + period) << "one that went and came again is not new";
}

TEST_F(InitialMountSmTest, AnyValueOfAPeerCounts) {
   create();
   peers->peerIs(systemId(1), false);
   EXPECT_TRUE(machine->initialSwitchSet()->initialSwitch(systemId(1)));
   EXPECT_EQ(clockTime(), start + period);
}

TEST_F(InitialMountSmTest, ANewPeerAt2Point9IntervalsMovesTheDeadline) {
   create();
   peerIs(1);
   time.advance(29.0);
   peerIs(2);
   EXPECT_EQ(clockTime(), start + 29.0 + period);
   time.advance(29.9);
   EXPECT_FALSE(periodComplete());
   time.advance(0.2);
   EXPECT_TRUE(periodComplete());
   EXPECT_EQ(clockTime(), never);
}

TEST_F(InitialMountSmTest, APeersGoingIsIgnored) {
   create();
   peerIs(1);
   time.advance(1.0);
   peers->peerDel(systemId(1));
   EXPECT_EQ(seenCount(), 1) << "the set only grows";
   EXPECT_EQ(clockTime(), start + period);
   time.advance(period);
   EXPECT_TRUE(periodComplete());
}

TEST_F(InitialMountSmTest, TheIntervalIsReadAnewForEachPeer) {
   create();
   peerIs(1);
   heartbeat->intervalIs(1.0);
   peerIs(2);
   EXPECT_EQ(clockTime(), start + 3.0);
}

TEST_F(InitialMountSmTest, TheClockFiringAfterThePeriodIsCompleteChangesNothing) {
   create();
   PeriodWatcher const watcher(machine->connectionPeriod());
   peerIs(1);
   endPeriod();
   EXPECT_EQ(watcher.told, 1);
   peerIs(2); // late: it enters the set and moves the clock
   EXPECT_EQ(seenCount(), 2);
   EXPECT_EQ(clockTime(), start + 2 * period);
   Traces traces;
   endPeriod();
   EXPECT_EQ(traces.text(), "Gantry/8 InitialMountSm::handleConnectionTimeout: timeMin=inf "
                            "connection period complete=1\n");
   EXPECT_EQ(watcher.told, 1);
   EXPECT_TRUE(periodComplete());
}

TEST_F(InitialMountSmTest, WithoutAHeartbeatConfigurationThePeriodEndsInTheNextTurn) {
   heartbeat = nullptr;
   create();
   EXPECT_EQ(machine->heartbeatInterval(), 0.0);
   peerIs(1);
   EXPECT_EQ(clockTime(), start);
   EXPECT_FALSE(periodComplete());
   turn();
   EXPECT_TRUE(periodComplete());
}

TEST_F(InitialMountSmTest, WithoutAPeerThePeriodNeverCompletesAndNoGroupDoes) {
   createWithService();
   registeredIs(1);
   stateIs(1, mountStateMounted);
   time.advance(1e9);
   EXPECT_EQ(clockTime(), never);
   EXPECT_FALSE(periodComplete());
   EXPECT_EQ(status->initialMountsCompleteCount(), 0u);
   // Nor does anything that happens without a peer end it.
   registeredIs(2);
   stateIs(2, mountStateFailed);
   config->mountGroupConfigIs("late");
   time.advance(1e9);
   EXPECT_EQ(status->initialMountsCompleteCount(), 0u);
}

TEST_F(InitialMountSmTest, TheSetOfSwitchesSeenNeverBecomesComplete) {
   create();
   peerIs(1);
   time.advance(1000.0);
   EXPECT_FALSE(machine->initialSwitchSet()->complete());
}

TEST_F(InitialMountSmTest, AllPeersAreLookedAtWhenTheTableTellsOfAll) {
   create();
   machine->fenPeerTable()->hasNotificationActiveIs(false);
   peerIs(1);
   peerIs(2);
   machine->fenPeerTable()->hasNotificationActiveIs(true);
   EXPECT_EQ(seenCount(), 0);
   machine->fenPeerTable()->onPeerfenImmediate();
   EXPECT_EQ(seenCount(), 2);
}

// ---- services ----------------------------------------------------------------------------------

TEST_F(InitialMountSmTest, AServiceNeedsBothEntitiesInEitherOrder) {
   create();
   configDir->entityPtrIs(config);
   EXPECT_FALSE(serviceSm());
   statusDir->entityPtrIs(status);
   ASSERT_TRUE(serviceSm());
   EXPECT_EQ(serviceSm()->serviceMountConfig(), config);
   EXPECT_EQ(serviceSm()->serviceMountStatus(), status);
   EXPECT_EQ(serviceSm()->connectionPeriod(), machine->connectionPeriod());
   EXPECT_EQ(serviceSm()->registeredSwitchTable(), registeredSwitches);
   EXPECT_EQ(serviceSm()->peerTable(), peers);

   auto const other = Fen::makePtr<ServiceMountStatus>("ospf");
   statusDir->entityPtrIs(other);
   EXPECT_FALSE(machine->serviceInitialMountSm("ospf"));
   configDir->entityPtrIs(serviceMountConfigFactory("ospf"));
   EXPECT_TRUE(machine->serviceInitialMountSm("ospf"));
   EXPECT_EQ(machine->serviceInitialMountSmCount(), 2u);
}

TEST_F(InitialMountSmTest, AServiceWhoseEntitiesGoIsKept) {
   createWithService();
   Fen::Ptr<ServiceInitialMountSm> const before = serviceSm();
   configDir->entityPtrDel("bgp");
   statusDir->entityPtrDel("bgp");
   EXPECT_EQ(serviceSm(), before);
   // Others of that name do not move it either.
   configDir->entityPtrIs(serviceMountConfigFactory("bgp"));
   statusDir->entityPtrIs(Fen::makePtr<ServiceMountStatus>("bgp"));
   EXPECT_EQ(serviceSm(), before);
   EXPECT_EQ(serviceSm()->serviceMountConfig(), config);
}

TEST_F(InitialMountSmTest, AnEntityOfAnotherTypeEndsTheService) {
   createWithService();
   statusDir->entityPtrDel("bgp");
   Traces traces;
   statusDir->entityPtrIs(Fen::dirFactory("bgp"));
   EXPECT_FALSE(serviceSm());
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 handleServiceMount deleting serviceInitialMountSm for bgp"));
   // Without a machine there is nothing to end.
   statusDir->entityPtrDel("bgp");
   traces.clear();
   statusDir->entityPtrIs(Fen::dirFactory("bgp"));
   EXPECT_FALSE(traces.has("Gantry/5"));
   statusDir->entityPtrDel("bgp");
   statusDir->entityPtrIs(status);
   EXPECT_TRUE(serviceSm());
}

TEST_F(InitialMountSmTest, AServiceThatArrivesAfterThePeriodSeesCompleteAtOnce) {
   create();
   peerIs(1);
   registeredIs(1);
   stateIs(1, mountStateMounted);
   endPeriod();
   EXPECT_FALSE(complete());
   addService();
   EXPECT_TRUE(complete());
}

TEST_F(InitialMountSmTest, AllServicesAreLookedAtWhenADirectoryTellsOfAll) {
   create();
   machine->fenMountConfigDir()->hasNotificationActiveIs(false);
   machine->fenMountStatusDir()->hasNotificationActiveIs(false);
   addService();
   EXPECT_FALSE(serviceSm());
   machine->fenMountStatusDir()->onEntityPtrfenImmediate();
   EXPECT_TRUE(serviceSm());
}

TEST_F(InitialMountSmTest, BeforeTheBirthNoServiceIsPaired) {
   create();
   addService();
   machine->initializedIs(false);
   machine->serviceInitialMountSmDel("bgp");
   machine->handleServiceMount();
   machine->handleServiceMount("bgp");
   EXPECT_FALSE(serviceSm());
}

TEST_F(InitialMountSmTest, ChildrenAreFoundOrMadeAndOtherParametersAreRefused) {
   createWithService();
   EXPECT_EQ(machine->serviceInitialMountSmIs(config, status, machine->connectionPeriod(),
                                              registeredSwitches, peers),
             serviceSm());
   auto const other = Fen::makePtr<ServiceMountStatus>("bgp");
   try {
      machine->serviceInitialMountSmIs(config, other, machine->connectionPeriod(),
                                       registeredSwitches, peers);
      FAIL() << "another status was accepted";
   } catch (Fen::NameInUseException const& exception) {
      EXPECT_NE(exception.text().str().find("Reinstantiating the pointer interface where "
                                            "constructor parameter attribute _serviceMountStatus "
                                            "has a different value of "),
                std::string::npos)
         << exception.text().str();
   }
}

TEST_F(InitialMountSmTest, TheRecordsAreMadeAndDropped) {
   create();
   Fen::Ptr<ConnectionPeriod> const first = machine->connectionPeriod();
   EXPECT_EQ(machine->connectionPeriodIs(), first);
   EXPECT_EQ(machine->connectionPeriodDel(), first);
   EXPECT_FALSE(machine->connectionPeriod());
   EXPECT_NE(machine->connectionPeriodIs(), first);
   Fen::Ptr<InitialSwitchSet> const set = machine->initialSwitchSet();
   EXPECT_EQ(machine->initialSwitchSetIs(), set);
   EXPECT_EQ(machine->initialSwitchSetDel(), set);
   EXPECT_FALSE(machine->initialSwitchSet());
   machine->initialSwitchSetIs();
}

TEST_F(InitialMountSmTest, TheEndCutsEverythingOff) {
   createWithService();
   peerIs(1);
   Fen::Ptr<ServiceInitialMountSm> const service = serviceSm();
   Fen::Ptr<MountGroupInitialMountSm> const group = groupSm();
   Fen::Ptr<ConnectionPeriod> const record = machine->connectionPeriod();
   machine = nullptr;
   EXPECT_TRUE(service->fenMarkedForDeletion());
   EXPECT_TRUE(group->fenMarkedForDeletion());
   peerIs(2);
   time.advance(1000.0);
   EXPECT_FALSE(record->complete());
   record->completeIs(true);
   EXPECT_FALSE(complete());
}

} // namespace
