/// One group's mounts: entries, target paths, mounters and prefixes in the registry, shared between
/// services and groups, and the words of both traces.
#include "ServiceFixture.h"

namespace {

using namespace Controller;
using namespace ServiceTest;

class ServiceMountGroup : public HostDirectories {
 protected:
   /// The service's group, with the service's machine on it.
   Ptr<ServiceMountGroupConfig> group(char const* service, char const* name) {
      Service& one = services[service];
      if (!one.config) {
         one.config = config(service);
         one.status = status(service);
         one.machine = serviceSm(one.config, one.status);
      }
      return one.config->mountGroupConfigIs(name);
   }
   Ptr<ServiceMountGroupSm> groupSm(char const* service, char const* name) {
      group(service, name);
      return services[service].machine->mountGroupSm(name);
   }
   /// The service's prefix for the path, "none" without one.
   std::string prefix(char const* service, char const* path) {
      auto const member = services[service].status->mountedPathPrefix(path);
      return member ? member->pathPrefix().str() : "none";
   }

   struct Service {
      Ptr<ServiceMountConfig> config;
      Ptr<ServiceMountStatus> status;
      Ptr<ServiceMountConfigSm> machine;
   };
   std::map<std::string, Service> services;
};

// ---- the first request -------------------------------------------------------------------------

TEST_F(ServiceMountGroup, WithoutATargetTheMountGoesBelowTheRegistrysDirectory) {
   auto const declared = declare(group("a", "g"), "linux/interfaces");
   auto const entry = registry->mountEntry("linux/interfaces");
   ASSERT_TRUE(entry);
   EXPECT_EQ(entry->targetPath(), "mount/linux/interfaces");
   EXPECT_EQ(entry->fenType(), "Linux::InterfaceDir");
   EXPECT_EQ(entry->mountFlags(), "rt");
   EXPECT_EQ(members(registryDir, {}), "linux");
   EXPECT_EQ(members(registryDir, {"linux"}), "interfaces");
   auto const mounter_ = entry->mounter("a");
   ASSERT_TRUE(mounter_);
   EXPECT_EQ(mounter_->mounterName(), MounterName("a", "g"));
   EXPECT_EQ(mounter_->mountConfig(), declared);
   EXPECT_EQ(mounter_->mountGroupConfig(), group("a", "g"));
   EXPECT_EQ(mounter_->serviceMountStatus(), services["a"].status);
   EXPECT_EQ(prefix("a", "linux/interfaces"), "mount/linux/interfaces");
}

TEST_F(ServiceMountGroup, WithATargetTheMountGoesThereBelowTheRoot) {
   declare(group("a", "g"), "interfaces", "views/leaf/interfaces");
   EXPECT_EQ(registry->mountEntry("interfaces")->targetPath(), "views/leaf/interfaces");
   EXPECT_EQ(members(rootDir, {"views", "leaf"}), "interfaces");
   EXPECT_EQ(members(registryDir, {}), "");
   EXPECT_EQ(prefix("a", "interfaces"), "views/leaf/interfaces");
}

TEST_F(ServiceMountGroup, MountsThatAreThereBeforeTheMachineAreTakenUp) {
   auto const service = config("a");
   auto const early = service->mountGroupConfigIs("g");
   declare(early, "interfaces");
   declare(early, "routes");
   auto const machine = serviceSm(service, status("a"));
   EXPECT_TRUE(mounter("interfaces", "a"));
   EXPECT_TRUE(mounter("routes", "a"));
}

TEST_F(ServiceMountGroup, TheWordsOfAFirstRequest) {
   group("a", "g");
   RingTraces ring;
   Traces traces;
   declare(group("a", "g"), "interfaces");
   EXPECT_EQ(traces.text(), "Gantry/8 ServiceMountGroupSm::handleMountConfig: interfaces\n"
                            "Gantry/8 ServiceMountGroupSm::addMountConfig: interfaces\n"
                            "Gantry/5 doCreateDirPath final:interfaces\n"
                            "Gantry/5 doCreateDirPath creating final interfaces\n"
                            "Gantry/5 addMountConfig: Add registry entry: Service:a. Group:g. "
                            "Remote path:interfaces. Target path:mount/interfaces\n"
                            "Gantry/5 addMountConfig: Add mounter: Service: a. Group: g. "
                            "Remote path: interfaces. Mounted path prefix: mount/interfaces\n");
   EXPECT_EQ(ring.texts(), (Texts{"addMountConfig add registry entry service:a group:g "
                                  "rpath:interfaces tpath:mount/interfaces",
                                  "addMountConfig add mounter service:a group:g rpath:interfaces "
                                  "path prefix:mount/interfaces"}));
}

TEST_F(ServiceMountGroup, WithoutAnOwnerTheServiceHasNoName) {
   auto const service = config("a");
   auto const one = service->mountGroupConfigIs("g");
   declare(one, "interfaces");
   auto const answer = status("a");
   auto const machine = serviceMountGroupSmFactory(one, answer, registry, nullptr);
   ASSERT_TRUE(mounter("interfaces", ""));
   EXPECT_EQ(mounter("interfaces", "")->mounterName(), MounterName("", "g"));
   machine->doCleanup();
   EXPECT_FALSE(mounter("interfaces", ""));
}

// ---- sharing -----------------------------------------------------------------------------------

TEST_F(ServiceMountGroup, TwoServicesShareTheTargetOfTheFirst) {
   declare(group("a", "g"), "interfaces", "views/a");
   group("b", "h");
   RingTraces ring;
   Traces traces;
   declare(group("b", "h"), "interfaces", "views/b");
   EXPECT_EQ(registry->mountEntryCount(), 1u);
   EXPECT_EQ(registry->mountEntry("interfaces")->targetPath(), "views/a");
   EXPECT_EQ(registry->mountEntry("interfaces")->mounterCount(), 2u);
   EXPECT_EQ(prefix("a", "interfaces"), "views/a");
   EXPECT_EQ(prefix("b", "interfaces"), "views/a");
   EXPECT_EQ(members(rootDir, {"views"}), "a");
   EXPECT_TRUE(traces.hasLine("Gantry/5 addMountConfig: Duplicate registry entry: Service:b. "
                              "Group:h. Remote path:interfaces"));
   EXPECT_EQ(ring.texts(), (Texts{"addMountConfig dup registry entry service:b group:h "
                                  "rpath:interfaces",
                                  "addMountConfig add mounter service:b group:h rpath:interfaces "
                                  "path prefix:views/a"}));
}

TEST_F(ServiceMountGroup, TwoGroupsOfOneServiceHaveOneMounterOfTheFirst) {
   declare(group("a", "g1"), "interfaces");
   auto const first = mounter("interfaces", "a");
   group("a", "g2");
   RingTraces ring;
   Traces traces;
   declare(group("a", "g2"), "interfaces");
   EXPECT_EQ(registry->mountEntry("interfaces")->mounterCount(), 1u);
   EXPECT_EQ(mounter("interfaces", "a"), first);
   EXPECT_EQ(first->groupName(), "g1");
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 addMountConfig Service:a has already requested a mount for interfaces"));
   EXPECT_FALSE(traces.has("Add mounter"));
   EXPECT_EQ(ring.texts(), (Texts{"addMountConfig dup registry entry service:a group:g2 "
                                  "rpath:interfaces"}));
}

TEST_F(ServiceMountGroup, TheSameGroupAgainAddsNothing) {
   declare(group("a", "g"), "interfaces");
   auto const first = mounter("interfaces", "a");
   Traces traces;
   groupSm("a", "g")->handleMountConfig();
   EXPECT_EQ(mounter("interfaces", "a"), first);
   EXPECT_TRUE(traces.has(" has already requested a mount for interfaces"));
}

TEST_F(ServiceMountGroup, ASecondGroupThatRemovesThePathTakesTheServicesMounter) {
   declare(group("a", "g1"), "interfaces");
   declare(group("a", "g2"), "interfaces");
   group("a", "g2")->mountConfigDel("interfaces");
   // Gone, though the first group still declares it.
   EXPECT_FALSE(mounter("interfaces", "a"));
   EXPECT_EQ(prefix("a", "interfaces"), "none");
   EXPECT_TRUE(group("a", "g1")->mountConfig("interfaces"));
   EXPECT_TRUE(registry->mountEntry("interfaces"));
}

using ServiceMountGroupDeathTest = ServiceMountGroup;

TEST_F(ServiceMountGroupDeathTest, AnotherTypeForASharedPathStopsTheProcess) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   declare(group("a", "g"), "interfaces");
   EXPECT_DEATH(group("b", "g")->mountConfigIs("interfaces", "Linux::RouteDir", "rt", ""),
                "mre->fenType\\(\\) == mountConfig->fencType\\(\\)");
}

TEST_F(ServiceMountGroupDeathTest, OtherFlagsForASharedPathStopTheProcess) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   declare(group("a", "g"), "interfaces");
   EXPECT_DEATH(group("b", "g")->mountConfigIs("interfaces", "Linux::InterfaceDir", "rwt", ""),
                "mre->mountFlags\\(\\) == mountConfig->mountFlags\\(\\)");
}

// ---- removal -----------------------------------------------------------------------------------

TEST_F(ServiceMountGroup, TheLastMounterGoesAndTheEntryStays) {
   declare(group("a", "g"), "interfaces");
   auto const entry = registry->mountEntry("interfaces");
   RingTraces ring;
   Traces traces;
   group("a", "g")->mountConfigDel("interfaces");
   EXPECT_EQ(registry->mountEntry("interfaces"), entry);
   EXPECT_EQ(entry->mounterCount(), 0u);
   EXPECT_EQ(prefix("a", "interfaces"), "none");
   EXPECT_EQ(traces.text(), "Gantry/8 ServiceMountGroupSm::handleMountConfig: interfaces\n"
                            "Gantry/8 ServiceMountGroupSm::removeMountConfig: interfaces\n"
                            "Gantry/5 removeMountConfig: Delete registry entry: Service: a. "
                            "Group: g. Remote path: interfaces\n"
                            "Gantry/5 removeMountConfig: All mounters gone:. "
                            "Remote path: interfaces\n");
   EXPECT_EQ(ring.texts(),
             (Texts{"removeMountConfig del registry entry: service:a group:g path:interfaces",
                    "removeMountConfig all mounters gone path:interfaces"}));
}

TEST_F(ServiceMountGroup, ALaterRequestFindsTheEntryAndItsOldTarget) {
   declare(group("a", "g"), "interfaces", "views/old");
   group("a", "g")->mountConfigDel("interfaces");
   Traces traces;
   declare(group("b", "h"), "interfaces", "views/new");
   EXPECT_EQ(registry->mountEntry("interfaces")->targetPath(), "views/old");
   EXPECT_EQ(prefix("b", "interfaces"), "views/old");
   EXPECT_TRUE(traces.has("Duplicate registry entry"));
}

TEST_F(ServiceMountGroup, OneOfTwoServicesGoesAndTheOtherStays) {
   declare(group("a", "g"), "interfaces");
   declare(group("b", "g"), "interfaces");
   Traces traces;
   group("a", "g")->mountConfigDel("interfaces");
   EXPECT_FALSE(mounter("interfaces", "a"));
   EXPECT_TRUE(mounter("interfaces", "b"));
   EXPECT_FALSE(traces.has("All mounters gone"));
}

TEST_F(ServiceMountGroup, APathThatIsInNoEntryIsRemovedWithoutAWord) {
   groupSm("a", "g");
   Traces traces;
   groupSm("a", "g")->removeMountConfig("interfaces");
   EXPECT_EQ(traces.text(), "Gantry/8 ServiceMountGroupSm::removeMountConfig: interfaces\n");
   EXPECT_EQ(registry->mountEntryCount(), 0u);
}

TEST_F(ServiceMountGroup, CleaningUpWithdrawsWhatTheGroupDeclaresNow) {
   declare(group("a", "g"), "interfaces");
   declare(group("a", "g"), "routes");
   auto const machine = groupSm("a", "g");
   Traces traces;
   machine->doCleanup();
   EXPECT_FALSE(mounter("interfaces", "a"));
   EXPECT_FALSE(mounter("routes", "a"));
   EXPECT_TRUE(traces.hasLine("Gantry/8 ServiceMountGroupSm::doCleanup"));
   EXPECT_EQ(group("a", "g")->mountConfigCount(), 2u);
}

TEST_F(ServiceMountGroup, FiltersAndPreservationAreNotWatchedHere) {
   auto const one = group("a", "g");
   declare(one, "interfaces");
   Traces traces;
   one->systemFilterIs(services["a"].config->systemFilterIs("f"));
   one->preserveMountsOnDisconnectIs(true);
   EXPECT_EQ(traces.text(), "");
   EXPECT_EQ(mounter("interfaces", "a")->systemFilter(), one->systemFilter());
}

TEST_F(ServiceMountGroup, AGroupThatIsReplacedIsTakenUpWhole) {
   auto const machine = groupSm("a", "g");
   auto const other = config("x")->mountGroupConfigIs("g");
   declare(other, "interfaces");
   machine->fenMountGroupConfig()->notifierIs(other);
   EXPECT_TRUE(mounter("interfaces", "a"));
}

} // namespace
