/// One machine for each mount group of a service.
#include "InitialFixture.h"

namespace {

using namespace InitialTest;

class ServiceInitialMountSmTest : public InitialFixture {
 protected:
   void createService() {
      service =
         serviceInitialMountSmFactory(config, status, periodRecord, registeredSwitches, peers);
   }
   Fen::Ptr<ConnectionPeriod> periodRecord = Fen::makePtr<ConnectionPeriod>();
   Fen::Ptr<ServiceInitialMountSm> service;
};

TEST_F(ServiceInitialMountSmTest, AMachineForEachGroupThatIsThere) {
   config->mountGroupConfigIs("ports");
   Traces traces;
   createService();
   EXPECT_EQ(service->mountGroupInitialMountSmCount(), 2u);
   Fen::Ptr<MountGroupInitialMountSm> const group = service->mountGroupInitialMountSm("ports");
   ASSERT_TRUE(group);
   EXPECT_EQ(group->groupName(), "ports");
   EXPECT_EQ(group->serviceMountStatus(), status);
   EXPECT_EQ(group->connectionPeriod(), periodRecord);
   EXPECT_EQ(group->registeredSwitchTable(), registeredSwitches);
   EXPECT_EQ(group->peerTable(), peers);
   EXPECT_EQ(group->registrationWindow(), 240.0);
   EXPECT_EQ(group->registrationTimer()->timeMin(), never);
   EXPECT_TRUE(traces.hasLine("Gantry/5 handleMountGroupConfig: adding mountGroupInitialMountSm"));
   // Declared, and left alone by both machines.
   EXPECT_FALSE(service->initialized());
   EXPECT_FALSE(group->initialized());
}

TEST_F(ServiceInitialMountSmTest, GroupsComeAndGo) {
   createService();
   config->mountGroupConfigIs("ports");
   EXPECT_TRUE(service->mountGroupInitialMountSm("ports"));
   Fen::Ptr<MountGroupInitialMountSm> const gone = service->mountGroupInitialMountSm("routes");
   config->mountGroupConfigDel("routes");
   EXPECT_FALSE(service->mountGroupInitialMountSm("routes"));
   EXPECT_TRUE(gone->fenMarkedForDeletion());
   service->handleMountGroupConfig("never heard of");
   EXPECT_EQ(service->mountGroupInitialMountSmCount(), 1u);
}

TEST_F(ServiceInitialMountSmTest, TheSameEventTwiceMakesOneMachine) {
   createService();
   Fen::Ptr<MountGroupInitialMountSm> const group = service->mountGroupInitialMountSm("routes");
   service->handleMountGroupConfig("routes");
   service->fenServiceMountConfig()->onMountGroupConfigfenImmediate();
   EXPECT_EQ(service->mountGroupInitialMountSm("routes"), group);
   EXPECT_EQ(service->mountGroupInitialMountSmCount(), 1u);
}

TEST_F(ServiceInitialMountSmTest, OtherParametersUnderAKnownGroupAreRefused) {
   createService();
   auto const otherPeers = peerTableFactory("other");
   try {
      service->mountGroupInitialMountSmIs("routes", status, periodRecord, registeredSwitches,
                                          otherPeers);
      FAIL() << "another table was accepted";
   } catch (Fen::NameInUseException const& exception) {
      EXPECT_EQ(exception.text(),
                "Reinstantiating the pointer interface where constructor parameter attribute "
                "_peerTable has a different value of 'other' than the current value of 'peers' "
                "not allowed");
   }
}

TEST_F(ServiceInitialMountSmTest, WhatAGroupHasReportedStaysWhenItsMachineGoes) {
   periodRecord->completeIs(true);
   createService();
   EXPECT_TRUE(complete());
   config->mountGroupConfigDel("routes");
   EXPECT_TRUE(complete());
   service = nullptr;
   EXPECT_TRUE(complete());
}

TEST_F(ServiceInitialMountSmTest, AGroupThatComesBackIsTrackedAnew) {
   createService();
   peerIs(1);
   registeredIs(1);
   stateIs(1, mountStateMounting);
   periodRecord->completeIs(true);
   config->mountGroupConfigDel("routes");
   stateIs(1, mountStateMounted);
   EXPECT_FALSE(complete());
   config->mountGroupConfigIs("routes");
   EXPECT_TRUE(complete());
}

TEST_F(ServiceInitialMountSmTest, AReaderMayDropTheGroupWhileItHears) {
   createService();
   CompletionWatcher watcher(status);
   watcher.then = [&] { config->mountGroupConfigDel("routes"); };
   periodRecord->completeIs(true);
   EXPECT_FALSE(service->mountGroupInitialMountSm("routes"));
   EXPECT_EQ(watcher.groups, Names{"routes"});
}

TEST_F(ServiceInitialMountSmTest, AReaderMayDropEverythingWhileItHears) {
   createService();
   peerIs(1);
   registeredIs(1);
   stateIs(1, mountStateMounting);
   periodRecord->completeIs(true);
   CompletionWatcher watcher(status);
   watcher.then = [&] { service = nullptr; };
   stateIs(1, mountStateFailed); // from deep inside the watching of that peer
   EXPECT_FALSE(service);
   EXPECT_EQ(watcher.groups, Names{"routes"});
}

TEST_F(ServiceInitialMountSmTest, AReaderMayDropEverythingFromTheTimersTurn) {
   createService();
   peerIs(1);
   periodRecord->completeIs(true);
   CompletionWatcher watcher(status);
   watcher.then = [&] { service = nullptr; };
   time.advance(window);
   EXPECT_FALSE(service);
   EXPECT_EQ(watcher.groups, Names{"routes"});
}

} // namespace
