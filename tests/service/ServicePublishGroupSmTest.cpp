/// One group's published paths: entries, status, filters, directories and their readiness, paths
/// that two services want, and the words of both traces.
#include "ServiceFixture.h"

namespace {

using namespace Controller;
using namespace ServiceTest;

class ServicePublishGroup : public HostDirectories {
 protected:
   Ptr<ServicePublishGroupConfig> group(char const* service = "a", char const* name = "g") {
      return known(service).config->publishGroupConfigIs(name);
   }
   Ptr<ServicePublishGroupSm> groupSm(char const* service = "a", char const* name = "g") {
      group(service, name);
      return services[service].machine->publishGroupSm(name);
   }
   Ptr<PublishStatus> statusOf(char const* path, char const* service = "a") {
      return services[service].status->servicePublishGroupStatus("g")->publishStatus(path);
   }
   Ptr<PublishRegistryEntry> entry(char const* path) const { return registry->publishEntry(path); }

   struct Service {
      Ptr<ServicePublishConfig> config;
      Ptr<ServicePublishStatus> status;
      Ptr<ServicePublishConfigSm> machine;
   };
   Service& known(char const* service) {
      Service& one = services[service];
      if (!one.config) {
         one.config = publishConfig(service);
         one.status = publishStatus(service);
         one.machine = publishSm(one.config, one.status);
      }
      return one;
   }
   std::map<std::string, Service> services;
};

// ---- single paths ------------------------------------------------------------------------------

TEST_F(ServicePublishGroup, ASinglePathIsAnEntryThatIsReadyAtOnce) {
   auto const filter = known("a").config->systemFilterIs("f");
   group()->systemFilterIs(filter);
   group()->publishConfigIs("config/a", "sys/a", "T");
   auto const made = entry("config/a");
   ASSERT_TRUE(made);
   EXPECT_EQ(made->remotePath(), "sys/a");
   EXPECT_EQ(made->fenType(), "T");
   EXPECT_FALSE(made->isPrefixPath());
   EXPECT_EQ(made->serviceName(), "a");
   EXPECT_EQ(made->systemFilter(), filter);
   EXPECT_EQ(made->versionFilter(), nullptr);
   EXPECT_TRUE(made->readyToPublish());
   // Its own flag is not read, now or later.
   EXPECT_FALSE(group()->publishConfig("config/a")->readyToPublish());
   group()->publishConfig("config/a")->readyToPublishIs(true);
   group()->publishConfig("config/a")->readyToPublishIs(false);
   EXPECT_TRUE(made->readyToPublish());
   ASSERT_TRUE(statusOf("config/a"));
   EXPECT_EQ(statusOf("config/a")->publishState(), publishStateComplete);
}

TEST_F(ServicePublishGroup, ASinglePathThatGoesTakesEntryAndStatus) {
   group()->publishConfigIs("config/a", "sys/a", "T");
   group()->publishConfigDel("config/a");
   EXPECT_FALSE(entry("config/a"));
   EXPECT_FALSE(statusOf("config/a"));
}

TEST_F(ServicePublishGroup, TheWordsOfAPathThatComesAndGoes) {
   auto const versions = known("a").config->versionFilterIs("v");
   group()->versionFilterIs(versions);
   RingTraces ring;
   Traces traces;
   group()->publishConfigIs("config/a", "sys/a", "T");
   EXPECT_EQ(traces.text(),
             "Gantry/8 ServicePublishGroupSm::handlePublishConfig: config/a\n"
             "Gantry/5 addPublishDirOrConfig adding  serviceName:a controllerdbPath:config/a "
             "remotePath:sys/a fenType:T versionFilter: v switchFilter: False\n");
   EXPECT_EQ(ring.texts(), (Texts{"addPublishDirOrConfig adding: service:a cpath:config/a "
                                  "rpath:sys/a type:T"}));
   traces.clear();
   group()->publishConfigDel("config/a");
   EXPECT_EQ(traces.text(), "Gantry/8 ServicePublishGroupSm::handlePublishConfig: config/a\n"
                            "Gantry/5 removePublishDirOrConfig removing config/a\n");
   EXPECT_EQ(ring.texts(), (Texts{"removePublishDirOrConfig removing cpath:config/a"}));
}

TEST_F(ServicePublishGroup, PathsThatAreThereBeforeTheMachineAreTakenUp) {
   auto const service = publishConfig("a");
   auto const early = service->publishGroupConfigIs("g");
   early->publishConfigIs("config/a", "a", "T");
   early->publishDirIs("dir/a", "T");
   auto const machine = publishSm(service, publishStatus("a"));
   EXPECT_TRUE(entry("config/a"));
   EXPECT_TRUE(entry("dir/a"));
}

// ---- two services and one path -----------------------------------------------------------------

TEST_F(ServicePublishGroup, TheFirstServiceHoldsAPathAndTheLoserIsNamed) {
   group("a")->publishConfigIs("config/a", "of a", "T");
   auto const held = entry("config/a");
   group("b");
   RingTraces ring;
   Traces traces;
   group("b")->publishConfigIs("config/a", "of b", "T");
   EXPECT_EQ(entry("config/a"), held);
   EXPECT_EQ(held->serviceName(), "a");
   EXPECT_EQ(held->remotePath(), "of a");
   EXPECT_TRUE(traces.hasLine("Gantry/1 addPublishConfig config/a already pblished by b"));
   EXPECT_EQ(ring.texts(), Texts{});
   // The status of the loser says complete all the same.
   EXPECT_EQ(statusOf("config/a", "b")->publishState(), publishStateComplete);
}

TEST_F(ServicePublishGroup, ALoserThatDropsThePathRemovesTheWinnersEntry) {
   group("a")->publishConfigIs("config/a", "of a", "T");
   group("b")->publishConfigIs("config/a", "of b", "T");
   group("b")->publishConfigDel("config/a");
   EXPECT_FALSE(entry("config/a"));
   // The winner still declares it, and gets it again by declaring it anew.
   EXPECT_TRUE(group("a")->publishConfig("config/a"));
   group("a")->publishConfigDel("config/a");
   group("a")->publishConfigIs("config/a", "of a", "T");
   EXPECT_TRUE(entry("config/a"));
}

TEST_F(ServicePublishGroup, ADirectoryAndASinglePathCompeteForOneEntry) {
   group("a")->publishConfigIs("config/a", "a", "T");
   Traces traces;
   group("b")->publishDirIs("config/a", "T");
   EXPECT_TRUE(traces.hasLine("Gantry/1 addPublishDir config/a already pblished by b"));
   EXPECT_FALSE(entry("config/a")->isPrefixPath());
   group("b")->publishDirDel("config/a");
   EXPECT_FALSE(entry("config/a"));
}

// ---- directories -------------------------------------------------------------------------------

TEST_F(ServicePublishGroup, ADirectoryStartsWithoutAPathOnThePeerAndNotReady) {
   RingTraces ring;
   Traces traces;
   group()->publishDirIs("dir/a", "T");
   auto const made = entry("dir/a");
   ASSERT_TRUE(made);
   EXPECT_EQ(made->remotePath(), "");
   EXPECT_EQ(made->fenType(), "T");
   EXPECT_TRUE(made->isPrefixPath());
   EXPECT_FALSE(made->readyToPublish());
   EXPECT_FALSE(statusOf("dir/a"));
   ASSERT_TRUE(groupSm()->publishDir("dir/a"));
   EXPECT_EQ(groupSm()->publishDir("dir/a")->name(), "dir/a");
   EXPECT_TRUE(traces.hasLine("Gantry/8 ServicePublishGroupSm::addPublishDir: dir/a"));
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 addPublishDirOrConfig adding  serviceName:a controllerdbPath:dir/a "
                     "remotePath: fenType:T versionFilter: False switchFilter: False"));
   EXPECT_EQ(ring.texts(),
             (Texts{"addPublishDirOrConfig adding: service:a cpath:dir/a rpath: type:T"}));
}

/// Writes down what an entry holds whenever its readiness changes.
class ReadyWatcher : public PublishRegistryEntry::NotifieeConst {
 public:
   explicit ReadyWatcher(Ptr<PublishRegistryEntry const> const& watched) : NotifieeConst(watched) {
      isRegisteredNotifieeIs(true);
   }
   void onReadyToPublish() override { seen.push_back(notifier()->remotePath().str()); }

   Texts seen;
};

TEST_F(ServicePublishGroup, ReadinessBringsThePathFirst) {
   auto const dir = group()->publishDirIs("dir/a", "T");
   auto const watcher = Fen::makePtr<ReadyWatcher>(entry("dir/a"));
   dir->remoteTargetPathIs("sys/a");
   EXPECT_EQ(entry("dir/a")->remotePath(), "");
   dir->readyToPublishIs(true);
   EXPECT_EQ(entry("dir/a")->remotePath(), "sys/a");
   EXPECT_TRUE(entry("dir/a")->readyToPublish());
   EXPECT_EQ(watcher->seen, (Texts{"sys/a"}));
}

TEST_F(ServicePublishGroup, APathThatChangesWhileReadyIsNotNoticed) {
   auto const dir = group()->publishDirIs("dir/a", "T");
   dir->remoteTargetPathIs("old");
   dir->readyToPublishIs(true);
   dir->remoteTargetPathIs("new");
   EXPECT_EQ(entry("dir/a")->remotePath(), "old");
   dir->readyToPublishIs(false);
   EXPECT_EQ(entry("dir/a")->remotePath(), "new");
   EXPECT_FALSE(entry("dir/a")->readyToPublish());
}

TEST_F(ServicePublishGroup, ADirectoryThatIsReadyBeforeItsReactorWaitsForTheNextChange) {
   auto const service = publishConfig("a");
   auto const early = service->publishGroupConfigIs("g");
   early->publishDirIs("dir/a", "T")->remoteTargetPathIs("sys/a");
   early->publishDir("dir/a")->readyToPublishIs(true);
   auto const machine = publishSm(service, publishStatus("a"));
   EXPECT_FALSE(entry("dir/a")->readyToPublish());
   EXPECT_EQ(entry("dir/a")->remotePath(), "");
   early->publishDir("dir/a")->readyToPublishIs(false);
   early->publishDir("dir/a")->readyToPublishIs(true);
   EXPECT_TRUE(entry("dir/a")->readyToPublish());
   EXPECT_EQ(entry("dir/a")->remotePath(), "sys/a");
}

TEST_F(ServicePublishGroup, DirectoriesOfABirthComeBeforeTheMachineIsInitialized) {
   auto const service = publishConfig("a");
   auto const early = service->publishGroupConfigIs("g");
   early->publishConfigIs("config/a", "a", "T");
   early->publishDirIs("dir/a", "T");
   Traces traces;
   auto const machine = publishSm(service, publishStatus("a"));
   std::string const text = traces.text();
   auto const directory = text.find("controllerdbPath:dir/a");
   auto const initialized = text.find("ServicePublishGroupSm::handleInitialized");
   auto const single = text.find("controllerdbPath:config/a");
   ASSERT_NE(single, std::string::npos);
   EXPECT_LT(directory, initialized);
   EXPECT_LT(initialized, single);
}

TEST_F(ServicePublishGroup, ADirectoryThatLeavesItsGroupIsWithdrawn) {
   group()->publishDirIs("dir/a", "T");
   auto const reactor = groupSm()->publishDir("dir/a");
   Traces traces;
   group()->publishDirDel("dir/a");
   EXPECT_FALSE(entry("dir/a"));
   EXPECT_FALSE(groupSm()->publishDir("dir/a"));
   EXPECT_EQ(reactor->servicePublishGroupSm(), nullptr);
   EXPECT_EQ(traces.text(),
             "Gantry/8 ServicePublishGroupSm::FenPublishDir::doCleanup\n"
             "Gantry/8 ServicePublishGroupSm::FenPublishDir::handlePublishDir: dir/a\n"
             "Gantry/8 ServicePublishGroupSm::removePublishDir: dir/a\n"
             "Gantry/5 removePublishDirOrConfig removing dir/a\n");
}

TEST_F(ServicePublishGroup, DirectoriesOfAGroupThatGoesAsAWholeKeepTheirEntries) {
   group()->publishConfigIs("config/a", "a", "T");
   group()->publishDirIs("dir/a", "T");
   auto const held = entry("dir/a");
   Traces traces;
   known("a").config->publishGroupConfigDel("g");
   EXPECT_FALSE(entry("config/a"));
   EXPECT_EQ(entry("dir/a"), held);
   EXPECT_TRUE(traces.hasLine("Gantry/1 addPublishDir dir/a already pblished by a"));
}

TEST_F(ServicePublishGroup, ADirectoryIsAWayOutOfAGroupThatGoes) {
   auto const dir = group()->publishDirIs("dir/a", "T");
   group()->publishDirDelAll();
   known("a").config->publishGroupConfigDel("g");
   EXPECT_FALSE(entry("dir/a"));
}

TEST_F(ServicePublishGroup, ReadinessOfADirectoryWithoutAnEntryChangesNothing) {
   auto const dir = group()->publishDirIs("dir/a", "T");
   registry->publishEntryDel("dir/a");
   dir->readyToPublishIs(true);
   EXPECT_FALSE(entry("dir/a"));
}

// ---- filters -----------------------------------------------------------------------------------

TEST_F(ServicePublishGroup, ChangedFiltersReachSinglePathsAndNotDirectories) {
   Service& service = known("a");
   auto const systems = service.config->systemFilterIs("s");
   auto const versions = service.config->versionFilterIs("v");
   group()->publishConfigIs("config/a", "a", "T");
   group()->publishDirIs("dir/a", "T");
   Traces traces;
   group()->systemFilterIs(systems);
   group()->versionFilterIs(versions);
   EXPECT_EQ(entry("config/a")->systemFilter(), systems);
   EXPECT_EQ(entry("config/a")->versionFilter(), versions);
   EXPECT_EQ(entry("dir/a")->systemFilter(), nullptr);
   EXPECT_EQ(entry("dir/a")->versionFilter(), nullptr);
   EXPECT_TRUE(traces.hasLine("Gantry/8 ServicePublishGroupSm::handleSystemFilter: s"));
   EXPECT_TRUE(traces.hasLine("Gantry/8 ServicePublishGroupSm::handleVersionFilter: v"));
   traces.clear();
   group()->systemFilterIs(nullptr);
   EXPECT_EQ(entry("config/a")->systemFilter(), nullptr);
   EXPECT_TRUE(traces.hasLine("Gantry/8 ServicePublishGroupSm::handleSystemFilter: None"));
   // A directory has the filters of the moment in which it is made.
   group()->publishDirIs("dir/b", "T");
   EXPECT_EQ(entry("dir/b")->versionFilter(), versions);
}

TEST_F(ServicePublishGroup, FiltersOfALoserGoToTheWinnersEntry) {
   group("a")->publishConfigIs("config/a", "a", "T");
   group("b")->publishConfigIs("config/a", "b", "T");
   auto const filter = known("b").config->systemFilterIs("of b");
   group("b")->systemFilterIs(filter);
   EXPECT_EQ(entry("config/a")->serviceName(), "a");
   EXPECT_EQ(entry("config/a")->systemFilter(), filter);
}

using ServicePublishGroupDeathTest = ServicePublishGroup;

TEST_F(ServicePublishGroupDeathTest, FiltersOfAPathWithoutAnEntryStopTheProcess) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   group("a")->publishConfigIs("config/a", "a", "T");
   group("b")->publishConfigIs("config/a", "b", "T");
   group("b")->publishConfigDel("config/a");
   EXPECT_DEATH(group("a")->systemFilterIs(known("a").config->systemFilterIs("s")), "pe");
   EXPECT_DEATH(group("a")->versionFilterIs(known("a").config->versionFilterIs("v")), "pe");
}

// ---- another group to follow -------------------------------------------------------------------

TEST_F(ServicePublishGroup, AGroupThatIsReplacedIsTakenUpInTurn) {
   auto const machine = groupSm();
   group()->publishDirIs("dir/old", "T");
   auto const other = publishConfig("x");
   auto const next = other->publishGroupConfigIs("g");
   auto const filter = other->systemFilterIs("s");
   next->systemFilterIs(filter);
   next->publishConfigIs("config/a", "a", "T");
   next->publishDirIs("dir/new", "T");
   Traces traces;
   machine->fenPublishGroupConfig()->notifierIs(next);
   EXPECT_EQ(entry("config/a")->systemFilter(), filter);
   EXPECT_TRUE(entry("dir/new"));
   EXPECT_FALSE(entry("dir/old"));
   std::string const text = traces.text();
   auto const paths = text.find("handlePublishConfig");
   auto const directories = text.find("FenPublishDir::handleInitialized");
   auto const systems = text.find("handleSystemFilter: s");
   auto const versions = text.find("handleVersionFilter: None");
   ASSERT_NE(versions, std::string::npos);
   EXPECT_LT(paths, directories);
   EXPECT_LT(directories, systems);
   EXPECT_LT(systems, versions);
}

TEST_F(ServicePublishGroup, WithoutAnOwnerTheServiceHasNoName) {
   auto const service = publishConfig("a");
   auto const one = service->publishGroupConfigIs("g");
   one->publishConfigIs("config/a", "a", "T");
   auto const machine = servicePublishGroupSmFactory(
      one, publishStatus("a")->servicePublishGroupStatusIs("g"), registry, nullptr);
   ASSERT_TRUE(entry("config/a"));
   EXPECT_EQ(entry("config/a")->serviceName(), "");
}

TEST_F(ServicePublishGroup, AMachineOfTwoDirectoriesIsDroppedWhole) {
   group()->publishDirIs("dir/a", "T");
   group()->publishDirIs("dir/b", "T");
   auto const reactor = groupSm()->publishDir("dir/a");
   Traces traces;
   services.clear();
   EXPECT_EQ(reactor->servicePublishGroupSm(), nullptr);
   EXPECT_TRUE(entry("dir/a"));
   EXPECT_TRUE(entry("dir/b"));
   EXPECT_TRUE(traces.has("addPublishDir dir/b already pblished by a"));
}

} // namespace
