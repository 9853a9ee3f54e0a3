/// The groups of one service: their machines come and go with them.
#include "ServiceFixture.h"

#include <gantry/runtime/fen/Exception.h>

#include <functional>

namespace {

using namespace Controller;
using namespace ServiceTest;

class ServiceMount : public HostDirectories {
 protected:
   Ptr<ServiceMountConfig> service = config("a");
   Ptr<ServiceMountStatus> answer = status("a");
};

TEST_F(ServiceMount, GroupsThatAreThereAreTakenUpAtBirth) {
   declare(service->mountGroupConfigIs("g1"), "interfaces");
   declare(service->mountGroupConfigIs("g2"), "routes");
   auto const machine = serviceSm(service, answer);
   EXPECT_TRUE(machine->initialized());
   EXPECT_EQ(machine->mountGroupSmCount(), 2u);
   ASSERT_TRUE(machine->mountGroupSm("g1"));
   EXPECT_EQ(machine->mountGroupSm("g1")->serviceMountConfigSm(), machine.ptr());
   EXPECT_EQ(machine->mountGroupSm("g1")->mountGroupConfig(), service->mountGroupConfig("g1"));
   EXPECT_TRUE(mounter("interfaces", "a"));
   EXPECT_TRUE(mounter("routes", "a"));
}

TEST_F(ServiceMount, ANewGroupIsSetUpAtOnce) {
   auto const machine = serviceSm(service, answer);
   auto const group = service->mountGroupConfigIs("g");
   ASSERT_TRUE(machine->mountGroupSm("g"));
   EXPECT_TRUE(machine->mountGroupSm("g")->initialized());
   declare(group, "interfaces");
   EXPECT_TRUE(mounter("interfaces", "a"));
}

TEST_F(ServiceMount, AGroupThatGoesWithdrawsItsMountsAndThenItsMachine) {
   auto const machine = serviceSm(service, answer);
   auto const group = service->mountGroupConfigIs("g");
   declare(group, "interfaces");
   declare(group, "routes");
   auto const groupSm = machine->mountGroupSm("g");
   Traces traces;
   service->mountGroupConfigDel("g");
   EXPECT_FALSE(machine->mountGroupSm("g"));
   EXPECT_FALSE(mounter("interfaces", "a"));
   EXPECT_FALSE(mounter("routes", "a"));
   EXPECT_TRUE(traces.has("ServiceMountGroupSm::doCleanup"));
   // Whoever still holds it holds a machine that does nothing more.
   EXPECT_EQ(groupSm->serviceMountConfigSm(), nullptr);
   declare(group, "neighbours");
   EXPECT_FALSE(registry->mountEntry("neighbours"));
}

TEST_F(ServiceMount, AGroupThatIsNotThereChangesNothing) {
   auto const machine = serviceSm(service, answer);
   Traces traces;
   machine->handleMountGroupConfig("g");
   EXPECT_EQ(traces.text(), "Gantry/8 ServiceMountConfigSm::handleMountGroupConfig: g\n");
}

TEST_F(ServiceMount, TheKeylessHandlerRemovesNothing) {
   auto const machine = serviceSm(service, answer);
   service->mountGroupConfigIs("g");
   machine->hasNotificationActiveIs(false);
   service->mountGroupConfigDel("g");
   machine->hasNotificationActiveIs(true);
   machine->handleMountGroupConfig();
   EXPECT_TRUE(machine->mountGroupSm("g"));
   machine->handleMountGroupConfig("g");
   EXPECT_FALSE(machine->mountGroupSm("g"));
}

TEST_F(ServiceMount, AnotherGroupOfTheSameNameIsRefusedWhileTheOldMachineLives) {
   auto const machine = serviceSm(service, answer);
   service->mountGroupConfigIs("g");
   machine->hasNotificationActiveIs(false);
   service->mountGroupConfigDel("g");
   service->mountGroupConfigIs("g");
   machine->hasNotificationActiveIs(true);
   try {
      machine->handleMountGroupConfig("g");
      FAIL();
   } catch (Fen::NameInUseException const& exception) {
      EXPECT_NE(std::string(exception.what())
                   .find("Reinstantiating the pointer interface where constructor parameter "
                         "attribute _mountGroupConfig has a different value of "),
                std::string::npos)
         << exception.what();
   }
}

TEST_F(ServiceMount, DroppedWithoutACleanUpItLeavesItsMounters) {
   auto machine = serviceSm(service, answer);
   declare(service->mountGroupConfigIs("g"), "interfaces");
   machine = nullptr;
   EXPECT_TRUE(mounter("interfaces", "a"));
   service->mountGroupConfigDel("g");
   EXPECT_TRUE(mounter("interfaces", "a"));
}

TEST_F(ServiceMount, AConfigurationThatIsReplacedIsTakenUpWhole) {
   auto const machine = serviceSm(service, answer);
   auto const other = config("a");
   declare(other->mountGroupConfigIs("g"), "interfaces");
   machine->fenServiceMountConfig()->notifierIs(other);
   EXPECT_TRUE(mounter("interfaces", "a"));
}

/// Calls back whenever a prefix comes or goes, as a service may that watches its status.
class PrefixWatcher : public ServiceMountStatus::NotifieeConst {
 public:
   PrefixWatcher(Ptr<ServiceMountStatus> const& watched, std::function<void()> then)
      : NotifieeConst(watched), then_(std::move(then)) {
      isRegisteredNotifieeIs(true);
   }
   void onMountedPathPrefix(Fen::Name) override { then_(); }

 private:
   std::function<void()> then_;
};

TEST_F(ServiceMount, AServiceMayDeleteItsGroupWhileTheGroupIsBorn) {
   declare(service->mountGroupConfigIs("g"), "interfaces");
   auto const watcher =
      Fen::makePtr<PrefixWatcher>(answer, [this] { service->mountGroupConfigDel("g"); });
   auto const machine = serviceSm(service, answer);
   // The scan of a birth does not hear the group go; the mount is the group's last trace.
   EXPECT_FALSE(service->mountGroupConfig("g"));
   EXPECT_TRUE(machine->mountGroupSm("g"));
   EXPECT_TRUE(mounter("interfaces", "a"));
}

TEST_F(ServiceMount, AServiceMayDeleteItsGroupFromANotificationOfItsStatus) {
   auto const machine = serviceSm(service, answer);
   auto const group = service->mountGroupConfigIs("g");
   auto const watcher =
      Fen::makePtr<PrefixWatcher>(answer, [this] { service->mountGroupConfigDel("g"); });
   declare(group, "interfaces");
   // The group's machine went from inside its own handler, which then ran to its end.
   EXPECT_FALSE(machine->mountGroupSm("g"));
   EXPECT_TRUE(mounter("interfaces", "a"));
}

TEST_F(ServiceMount, AServiceMayDropAllWhileAPrefixGoes) {
   auto machine = serviceSm(service, answer);
   auto const group = service->mountGroupConfigIs("g");
   declare(group, "interfaces");
   declare(group, "routes");
   auto const watcher = Fen::makePtr<PrefixWatcher>(answer, [&] { machine = nullptr; });
   service->mountGroupConfigDel("g");
   EXPECT_FALSE(machine);
   EXPECT_FALSE(mounter("interfaces", "a"));
   EXPECT_FALSE(mounter("routes", "a"));
}

} // namespace
