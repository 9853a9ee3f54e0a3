/// The publish groups of one service, their status, and the service's readiness.
#include "ServiceFixture.h"

namespace {

using namespace Controller;
using namespace ServiceTest;

class ServicePublish : public HostDirectories {
 protected:
   Ptr<ServicePublishConfig> service = publishConfig("a");
   Ptr<ServicePublishStatus> answer = publishStatus("a");
};

TEST_F(ServicePublish, GroupsThatAreThereAreTakenUpAtBirth) {
   service->publishGroupConfigIs("g")->publishConfigIs("config/a", "a", "T");
   auto const machine = publishSm(service, answer);
   EXPECT_TRUE(machine->initialized());
   ASSERT_TRUE(machine->publishGroupSm("g"));
   EXPECT_EQ(machine->publishGroupSm("g")->servicePublishConfigSm(), machine.ptr());
   EXPECT_EQ(machine->publishGroupSm("g")->publishGroupStatus(),
             answer->servicePublishGroupStatus("g"));
   EXPECT_TRUE(registry->publishEntry("config/a"));
}

/// Looks, at the first change of a group's state, for the group's machine.
class StateWatcher : public ServicePublishStatus::NotifieeConst {
 public:
   StateWatcher(Ptr<ServicePublishStatus> const& watched, MountsRegistry const& registry)
      : NotifieeConst(watched), registry_(registry) {
      isRegisteredNotifieeIs(true);
   }
   void onServicePublishGroupStatus(Fen::Name key) override {
      isEntryThere = registry_.publishEntry("config/a") != nullptr;
      state = notifier()->servicePublishGroupStatus(key)
                 ? notifier()->servicePublishGroupStatus(key)->publishState()
                 : publishStateInvalid;
   }

   bool isEntryThere = true;
   PublishState state = publishStateComplete;

 private:
   MountsRegistry const& registry_;
};

TEST_F(ServicePublish, AGroupsStatusIsCompleteBeforeItsMachineExists) {
   service->publishGroupConfigIs("g")->publishConfigIs("config/a", "a", "T");
   auto const watcher = Fen::makePtr<StateWatcher>(answer, *registry);
   auto const machine = publishSm(service, answer);
   // The status was born invalid, when nothing of the group was in the registry yet.
   EXPECT_FALSE(watcher->isEntryThere);
   EXPECT_EQ(watcher->state, publishStateInvalid);
   EXPECT_EQ(answer->servicePublishGroupStatus("g")->publishState(), publishStateComplete);
}

TEST_F(ServicePublish, AGroupThatGoesTakesItsEntriesAndItsStatus) {
   auto const machine = publishSm(service, answer);
   auto const group = service->publishGroupConfigIs("g");
   group->publishConfigIs("config/a", "a", "T");
   group->publishConfigIs("config/b", "b", "T");
   auto const groupSm = machine->publishGroupSm("g");
   Traces traces;
   service->publishGroupConfigDel("g");
   EXPECT_FALSE(machine->publishGroupSm("g"));
   EXPECT_EQ(registry->publishEntryCount(), 0u);
   EXPECT_FALSE(answer->servicePublishGroupStatus("g"));
   EXPECT_TRUE(traces.hasLine("Gantry/8 ServicePublishConfigSm::handlePublishGroupConfig: a g"));
   EXPECT_EQ(groupSm->servicePublishConfigSm(), nullptr);
   group->publishConfigIs("config/c", "c", "T");
   EXPECT_FALSE(registry->publishEntry("config/c"));
}

TEST_F(ServicePublish, TheStatusGoesAlsoWithoutAMachine) {
   auto const machine = publishSm(service, answer);
   answer->servicePublishGroupStatusIs("g");
   machine->handlePublishGroupConfig("g");
   EXPECT_FALSE(answer->servicePublishGroupStatus("g"));
}

TEST_F(ServicePublish, ReadinessIsPassedOnWhenItChangesAndNotAtBirth) {
   service->readyIs(true);
   auto const machine = publishSm(service, answer);
   EXPECT_EQ(publishedMountsTable->servicePublishReadyCount(), 0u);
   service->readyIs(false);
   ASSERT_EQ(publishedMountsTable->servicePublishReadyCount(), 1u);
   EXPECT_FALSE(publishedMountsTable->servicePublishReady("a"));
   service->readyIs(true);
   EXPECT_TRUE(publishedMountsTable->servicePublishReady("a"));
   Traces traces;
   service->readyIs(true);
   EXPECT_EQ(traces.text(), "");
}

TEST_F(ServicePublish, ReadinessOfAServiceAndOfItsPathsAreApart) {
   auto const group = service->publishGroupConfigIs("g");
   group->publishConfigIs("config/a", "a", "T");
   auto const machine = publishSm(service, answer);
   service->readyIs(true);
   EXPECT_FALSE(group->publishConfig("config/a")->readyToPublish());
   group->publishConfig("config/a")->readyToPublishIs(true);
   EXPECT_TRUE(service->ready());
   EXPECT_TRUE(registry->publishEntry("config/a")->readyToPublish());
}

TEST_F(ServicePublish, AConfigurationThatIsReplacedIsTakenUpWholeWithItsReadiness) {
   auto const machine = publishSm(service, answer);
   auto const other = publishConfig("b");
   other->publishGroupConfigIs("g")->publishConfigIs("config/a", "a", "T");
   other->readyIs(true);
   machine->fenServicePublishConfig()->notifierIs(other);
   ASSERT_TRUE(registry->publishEntry("config/a"));
   EXPECT_EQ(registry->publishEntry("config/a")->serviceName(), "b");
   EXPECT_TRUE(publishedMountsTable->servicePublishReady("b"));
}

TEST_F(ServicePublish, DroppedItLeavesTheRegistryAlone) {
   auto machine = publishSm(service, answer);
   auto const group = service->publishGroupConfigIs("g");
   group->publishConfigIs("config/a", "a", "T");
   group->publishDirIs("dir/a", "T");
   machine = nullptr;
   EXPECT_TRUE(registry->publishEntry("config/a"));
   EXPECT_TRUE(registry->publishEntry("dir/a"));
   EXPECT_TRUE(answer->servicePublishGroupStatus("g"));
}

/// Lets go of the service's machine when a status of a group goes.
class Dropper : public ServicePublishStatus::NotifieeConst {
 public:
   Dropper(Ptr<ServicePublishStatus> const& watched, Ptr<ServicePublishConfigSm>& machine)
      : NotifieeConst(watched), machine_(machine) {
      isRegisteredNotifieeIs(true);
   }
   void onServicePublishGroupStatus(Fen::Name) override { machine_ = nullptr; }

 private:
   Ptr<ServicePublishConfigSm>& machine_;
};

TEST_F(ServicePublish, AServiceMayDropItsMachineFromANotificationOfItsStatus) {
   auto machine = publishSm(service, answer);
   auto const dropper = Fen::makePtr<Dropper>(answer, machine);
   service->publishGroupConfigIs("g")->publishConfigIs("config/a", "a", "T");
   EXPECT_FALSE(machine);
}

} // namespace
