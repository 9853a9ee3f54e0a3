/// Who is published a path: every condition of the decision, what leads to one, directories with
/// their parts, the end of entries, and the words of the stream trace.
#include "PublishFixture.h"

#include <gantry/runtime/fen/Exception.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace {

using namespace Controller;
using namespace RegistryTest;

// ---- the decision ------------------------------------------------------------------------------

TEST_F(Publish, WithoutFiltersARegisteredSwitchWithAVersionIsPublishedAReadyPath) {
   connect(1, "s");
   auto const entry = publish("config/a");
   EXPECT_EQ(published(1, "config/a"), MountDesc("config/a", "remote", "Fen::Dir", "rt", "s"));
   ASSERT_TRUE(publishSm("config/a"));
   EXPECT_EQ(publishSm("config/a")->publishEntry(), entry);
   EXPECT_EQ(publishSm("config/a")->controllerStatus(), controllerStatus);
   EXPECT_EQ(publishSm("config/a")->publishedMountsTable(), publishedMountsTable);
   EXPECT_EQ(publishSm("config/a")->mountsRegistrySm(), machine.ptr());
   EXPECT_EQ(publishSm("config/a")->entryName(), "config/a");
   EXPECT_TRUE(publishSm("config/a")->initialized());
}

TEST_F(Publish, ASwitchThatIsNotRegisteredIsPublishedNothing) {
   configure(1);
   negotiate(1, "s", 1);
   publish("config/a");
   EXPECT_FALSE(isPublished(1, "config/a"));
   registerSwitch(1);
   EXPECT_TRUE(isPublished(1, "config/a"));
   controllerStatus->registeredSwitchIs(id(1), false);
   EXPECT_FALSE(isPublished(1, "config/a"));
}

TEST_F(Publish, VersionZeroIsPublishedNothingAndLosesWhatItHad) {
   publish("config/a");
   registerSwitch(1);
   EXPECT_FALSE(isPublished(1, "config/a"));
   negotiate(1, "s", 1);
   EXPECT_TRUE(isPublished(1, "config/a"));
   negotiate(1, "s", 0);
   EXPECT_FALSE(isPublished(1, "config/a"));
   // A version of another service is none.
   negotiate(1, "t", 1);
   EXPECT_FALSE(isPublished(1, "config/a"));
}

TEST_F(Publish, ASwitchWithoutAConnectionIsPublishedNothing) {
   connect(1, "s");
   configure(1)->connectionConfigDel();
   Traces traces;
   publish("config/a");
   EXPECT_FALSE(isPublished(1, "config/a"));
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 handleSwitchConnection: Cannot publish to " + text(1).str()));
   EXPECT_FALSE(traces.has("canPublishToConnection"));
}

TEST_F(Publish, WhatIsNotReadyIsNotPublishedAndIsWithdrawn) {
   connect(1, "s");
   auto const entry = publish("config/a");
   EXPECT_TRUE(isPublished(1, "config/a"));
   entry->readyToPublishIs(false);
   EXPECT_FALSE(isPublished(1, "config/a"));
   entry->readyToPublishIs(true);
   EXPECT_TRUE(isPublished(1, "config/a"));
}

TEST_F(Publish, AMemberThatHoldsFalseLetsNothingThrough) {
   connect(1, "s");
   systems->includedSystemIs(text(1), false);
   publish("config/a", nullptr, systems);
   EXPECT_FALSE(isPublished(1, "config/a"));
   systems->includedSystemIs(text(1), true);
   EXPECT_TRUE(isPublished(1, "config/a"));
   systems->includedSystemIs(text(1), false);
   EXPECT_FALSE(isPublished(1, "config/a"));
   versions->includedServiceVersionIs(1, false);
   publish("config/b", versions);
   EXPECT_FALSE(isPublished(1, "config/b"));
   versions->includedServiceVersionIs(1, true);
   EXPECT_TRUE(isPublished(1, "config/b"));
}

TEST_F(Publish, AFilterWithoutMembersLetsNothingThroughAndNoFilterEverything) {
   connect(1, "s");
   publish("config/systems", nullptr, systems);
   publish("config/versions", versions);
   publish("config/none");
   EXPECT_FALSE(isPublished(1, "config/systems"));
   EXPECT_FALSE(isPublished(1, "config/versions"));
   EXPECT_TRUE(isPublished(1, "config/none"));
}

TEST_F(Publish, BothFiltersMustLetASystemThrough) {
   connect(1, "s", 2);
   systems->includedSystemIs(text(1), true);
   versions->includedServiceVersionIs(3, true);
   publish("config/a", versions, systems);
   EXPECT_FALSE(isPublished(1, "config/a"));
   versions->includedServiceVersionIs(2, true);
   EXPECT_TRUE(isPublished(1, "config/a"));
   systems->includedSystemDel(text(1));
   EXPECT_FALSE(isPublished(1, "config/a"));
}

// ---- what leads to a decision ------------------------------------------------------------------

TEST_F(Publish, ASystemOfTheFilterIsDecidedAloneAndAVersionHasAllDecided) {
   connect(1, "s");
   connect(2, "s");
   publish("config/a", versions, systems);
   Traces traces;
   systems->includedSystemIs(text(1), true);
   EXPECT_EQ(decisions(traces, "config/a", 1), 1u);
   EXPECT_EQ(decisions(traces, "config/a", 2), 0u);
   traces.clear();
   systems->includedSystemDel(text(2)); // is not in it
   EXPECT_EQ(traces.text(), "");
   versions->includedServiceVersionIs(1, true);
   EXPECT_EQ(decisions(traces, "config/a", 1), 1u);
   EXPECT_EQ(decisions(traces, "config/a", 2), 1u);
}

TEST_F(Publish, ASystemInTheTableAndRegisteredIsDecidedTwice) {
   connect(1, "s");
   publish("config/a");
   Traces traces;
   publishSm("config/a")->handleSwitchConnection();
   EXPECT_EQ(decisions(traces, "config/a", 1), 2u);
   EXPECT_TRUE(isPublished(1, "config/a"));
}

TEST_F(Publish, AnotherFilterOfTheEntryIsFollowed) {
   connect(1, "s");
   auto const entry = publish("config/a");
   entry->systemFilterIs(systems);
   EXPECT_EQ(publishSm("config/a")->systemFilter(), systems);
   EXPECT_FALSE(isPublished(1, "config/a"));
   systems->includedSystemIs(text(1), true);
   EXPECT_TRUE(isPublished(1, "config/a"));
   auto const other = mountFilterSystemFactory("other");
   entry->systemFilterIs(other);
   EXPECT_FALSE(isPublished(1, "config/a"));
   Traces traces;
   systems->includedSystemIs(text(2), true);
   EXPECT_EQ(traces.text(), "");
   other->includedSystemIs(text(1), true);
   EXPECT_TRUE(isPublished(1, "config/a"));
   entry->systemFilterIs(nullptr);
   EXPECT_EQ(publishSm("config/a")->systemFilter(), nullptr);
   EXPECT_TRUE(isPublished(1, "config/a"));
   entry->versionFilterIs(versions);
   EXPECT_FALSE(isPublished(1, "config/a"));
   versions->includedServiceVersionIs(1, true);
   EXPECT_TRUE(isPublished(1, "config/a"));
}

TEST_F(Publish, AFilterThatIsTheSameChangesNothing) {
   connect(1, "s");
   publish("config/a", versions, systems);
   Traces traces;
   publishSm("config/a")->systemFilterIs(systems);
   publishSm("config/a")->versionFilterIs(versions);
   EXPECT_EQ(traces.text(), "");
   publishSm("config/a")->systemFilterDel();
   EXPECT_TRUE(traces.hasLine("Gantry/8 PublishRegistryEntrySm::handleSystemFilter config/a"));
}

TEST_F(Publish, MembersAreDecidedWhenAFilterIsTakenUp) {
   connect(1, "s");
   systems->includedSystemIs(text(1), true);
   systems->includedSystemIs(text(2), true);
   auto const entry = publish("config/a");
   Traces traces;
   entry->systemFilterIs(systems);
   EXPECT_TRUE(traces.has("FenSystemFilter::handleIncludedSystem " + text(1).str()));
   EXPECT_TRUE(traces.has("FenSystemFilter::handleIncludedSystem " + text(2).str()));
   EXPECT_TRUE(traces.has("PublishRegistryEntrySm::handleSystemFilter config/a"));
}

TEST_F(Publish, BeforeItIsInitializedNothingIsDecided) {
   connect(1, "s");
   systems->includedSystemIs(text(1), true);
   versions->includedServiceVersionIs(1, true);
   Traces traces;
   publish("config/a", versions, systems);
   std::string const all = traces.text();
   std::string const birth = all.substr(0, all.find("PublishRegistryEntrySm::handleInitialized"));
   EXPECT_NE(birth.find("handleIncludedServiceVersion 1"), std::string::npos);
   EXPECT_LT(birth.find("handleSystemFilter"), birth.find("handleVersionFilter"));
   EXPECT_EQ(birth.find("Gantry/5"), std::string::npos);
   EXPECT_TRUE(isPublished(1, "config/a"));
}

TEST_F(Publish, AnotherPathOnThePeerWaitsForTheNextDecision) {
   connect(1, "s");
   auto const entry = publish("config/a");
   entry->remotePathIs("elsewhere");
   EXPECT_EQ(published(1, "config/a").remotePath(), "remote");
   negotiate(1, "s", 2);
   EXPECT_EQ(published(1, "config/a").remotePath(), "elsewhere");
}

TEST_F(Publish, ANewVersionHasTheConnectionDecided) {
   connect(1, "s", 1);
   versions->includedServiceVersionIs(2, true);
   publish("config/a", versions);
   EXPECT_FALSE(isPublished(1, "config/a"));
   negotiate(1, "s", 2);
   EXPECT_TRUE(isPublished(1, "config/a"));
   clientGone(1);
   EXPECT_FALSE(isPublished(1, "config/a"));
}

TEST_F(Publish, AnEntryThatIsReplacedIsTakenUpWithItsFilters) {
   connect(1, "s");
   publish("config/a");
   auto const other = Fen::makePtr<PublishRegistryEntry>("config/a", "r", "T", false, "s", nullptr,
                                                         systems, registry.ptr());
   Traces traces;
   publishSm("config/a")->fenPublishEntry()->notifierIs(other);
   EXPECT_EQ(publishSm("config/a")->systemFilter(), systems);
   EXPECT_TRUE(traces.has("PublishRegistryEntrySm::handleReadyToPublish config/a"));
   EXPECT_LT(traces.text().find("handleSystemFilter"), traces.text().find("handleReadyToPublish"));
}

// ---- records of systems ------------------------------------------------------------------------

TEST_F(Publish, ASystemStaysInTheTableAsLongAsAnythingIsPublishedToIt) {
   connect(1, "s");
   auto const a = publish("config/a");
   auto const b = publish("config/b");
   EXPECT_EQ(publishedMountsTable->systemCount(), 1u);
   a->readyToPublishIs(false);
   EXPECT_TRUE(publishedMountsTable->system(id(1)));
   Traces traces;
   b->readyToPublishIs(false);
   EXPECT_FALSE(publishedMountsTable->system(id(1)));
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 doDisconnectSwitch Unpublishing config/b from " + text(1).str()));
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 doDisconnectSwitch All published mounts gone for " + text(1).str()));
}

TEST_F(Publish, ASwitchThatUnregistersLosesAllAndTheTableTheSystem) {
   connect(1, "s");
   connect(2, "s");
   publish("config/a");
   publish("config/b");
   unregisterSwitch(1);
   EXPECT_FALSE(publishedMountsTable->system(id(1)));
   EXPECT_EQ(publishedMountsTable->system(id(2))->publishedMountCount(), 2u);
   EXPECT_FALSE(registeredSwitchTable->system(id(1)));
}

TEST_F(Publish, SystemsThatAreNotRegisteredAreFoundThroughTheTable) {
   connect(1, "s");
   auto const entry = publish("config/a");
   // A record that somebody left behind for a system that nobody knows.
   publishedMountsTable->systemIs(id(9))->publishedMountIs(
      MountDesc("config/a", "r", "T", "rt", "s"));
   entry->readyToPublishIs(false);
   EXPECT_EQ(publishedMountsTable->systemCount(), 0u);
}

TEST_F(Publish, TheSameDescriptionAgainIsNoChange) {
   connect(1, "s");
   publish("config/a");
   auto const before = publishedMountsTable->system(id(1))->fenPublishedMount("config/a");
   publishSm("config/a")->doConnectSwitch(id(1));
   EXPECT_EQ(publishedMountsTable->system(id(1))->fenPublishedMount("config/a"), before);
   EXPECT_EQ(publishedMountsTable->system(id(1))->publishedMountCount(), 1u);
}

TEST_F(Publish, ConnectingDecidesForItself) {
   registerSwitch(1);
   publish("config/a");
   Traces traces;
   publishSm("config/a")->doConnectSwitch(id(1));
   EXPECT_FALSE(isPublished(1, "config/a"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 doConnectSwitch: Cannot publish to " + text(1).str()));
}

// ---- directories -------------------------------------------------------------------------------

TEST_F(Publish, ADirectoryGetsItsPartsBeforeItIsReady) {
   connect(1, "s");
   auto const entry = publishDir("desired");
   auto const directory = Fen::ptrCast<Fen::Dir>(rootDir->entityPtr("desired"));
   EXPECT_TRUE(directory->entityPtr(text(1)));
   EXPECT_FALSE(isPublished(1, partOf("desired", 1)));
   connect(2, "s");
   EXPECT_TRUE(directory->entityPtr(text(2)));
   entry->readyToPublishIs(true);
   // The part's path here, the one path of all over there.
   EXPECT_EQ(published(1, partOf("desired", 1)),
             MountDesc(partOf("desired", 1), "remote", "Fen::Dir", "rt", "s"));
   EXPECT_TRUE(isPublished(2, partOf("desired", 2)));
   EXPECT_FALSE(isPublished(1, "desired"));
   entry->readyToPublishIs(false);
   EXPECT_EQ(publishedMountsTable->systemCount(), 0u);
   // The parts stay.
   EXPECT_TRUE(directory->entityPtr(text(1)));
}

TEST_F(Publish, APartIsMadeOnceAndKept) {
   connect(1, "s");
   auto const entry = publishDir("desired");
   auto const directory = Fen::ptrCast<Fen::Dir>(rootDir->entityPtr("desired"));
   auto const part = directory->entityPtr(text(1));
   entry->readyToPublishIs(true);
   unregisterSwitch(1);
   registerSwitch(1);
   EXPECT_EQ(directory->entityPtr(text(1)), part);
}

TEST_F(Publish, NoPartIsMadeForASystemThatMayNotHaveIt) {
   registerSwitch(1);
   Traces traces;
   publishDir("desired");
   EXPECT_FALSE(Fen::ptrCast<Fen::Dir>(rootDir->entityPtr("desired"))->entityPtr(text(1)));
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 addSwitchToPublishEntryDir: Cannot publish to " + text(1).str()));
}

TEST_F(Publish, ADirectoryBelowOthersIsFound) {
   connect(1, "s");
   auto const above = Fen::ptrCast<Fen::Dir>(rootDir->entityIs("config", "Fen::Dir"));
   auto const directory = Fen::ptrCast<Fen::Dir>(above->entityIs("desired", "Fen::Dir"));
   registry->publishEntryIs("config/desired", "r", "Fen::Dir", true, "s", nullptr, nullptr);
   EXPECT_TRUE(directory->entityPtr(text(1)));
}

/// A directory that has no room.
class FullDir : public Fen::Dir {
 public:
   explicit FullDir(Fen::Name name) : Fen::Dir(name) {}
   Ptr<Entry> entryIs(Fen::Name) override { return nullptr; }
};

TEST_F(Publish, APartThatCannotBeMadeIsNoFailure) {
   connect(1, "s");
   rootDir->entityPtrIs(Fen::makePtr<FullDir>("full"));
   RingTraces ring;
   Traces traces;
   auto const entry =
      registry->publishEntryIs("full", "r", "Fen::Dir", true, "s", nullptr, nullptr);
   EXPECT_TRUE(traces.has("could not create subdir " + partOf("full", 1).str() + "\n"));
   Texts const texts = ring.texts();
   EXPECT_NE(
      std::find(texts.begin(), texts.end(),
                "addSwitchToPublishEntryDircould not create subdir " + partOf("full", 1).str()),
      texts.end());
   entry->readyToPublishIs(true);
   EXPECT_TRUE(isPublished(1, partOf("full", 1)));
}

using PublishDeathTest = Publish;

TEST_F(PublishDeathTest, WhatMustHoldStopsTheProcess) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   publish("config/a");
   EXPECT_DEATH(controllerStatus->registeredSwitchIs(id(1), true), "switchConfig");
   EXPECT_DEATH(publishSm("config/a")->addSwitchToPublishEntryDir(id(1)),
                "publishEntry\\(\\)->isPrefixPath\\(\\)");
   EXPECT_DEATH(publishSm("config/a")->hasVersion(text(1), 1), "versionFilter");
   connect(1, "s");
   EXPECT_DEATH(registry->publishEntryIs("nowhere", "r", "T", true, "s", nullptr, nullptr),
                "publishEntryDir && \"Publish path doesn't exist or its type is not Fen::Dir\"");
   rootDir->entityPtrIs(Fen::makePtr<Fen::Entity>("leaf"));
   EXPECT_DEATH(registry->publishEntryIs("leaf", "r", "T", true, "s", nullptr, nullptr),
                "Publish path doesn't exist or its type is not Fen::Dir");
}

// ---- the end of an entry -----------------------------------------------------------------------

TEST_F(Publish, AnEntryThatGoesIsWithdrawnAloneFromAllSystems) {
   connect(1, "s");
   connect(2, "s");
   publish("config/a");
   publish("config/b", nullptr, systems);
   systems->includedSystemIs(text(1), true);
   auto const held = publishSm("config/a");
   Traces traces;
   registry->publishEntryDel("config/a");
   EXPECT_FALSE(publishSm("config/a"));
   EXPECT_EQ(held->mountsRegistrySm(), nullptr);
   EXPECT_FALSE(isPublished(1, "config/a"));
   EXPECT_TRUE(isPublished(1, "config/b"));
   EXPECT_FALSE(publishedMountsTable->system(id(2)));
   EXPECT_TRUE(traces.hasLine(
      "Gantry/8 MountsRegistrySm::handlePublishEntry Deleting publish sm for: config/a"));
   // A machine that somebody still holds does nothing more.
   traces.clear();
   held->handleSwitchConnection(id(1));
   EXPECT_FALSE(isPublished(1, "config/a"));
}

TEST_F(Publish, EntriesThatWereThereBeforeTheMachineAreTakenUp) {
   machine = nullptr;
   connect(1, "s");
   publish("config/a");
   EXPECT_FALSE(isPublished(1, "config/a"));
   create();
   EXPECT_TRUE(isPublished(1, "config/a"));
}

TEST_F(Publish, DroppingTheTopMachineWithdrawsNothing) {
   connect(1, "s");
   auto const entry = publish("config/a", versions, systems);
   publish("config/b");
   machine = nullptr;
   EXPECT_TRUE(isPublished(1, "config/b"));
   entry->readyToPublishIs(false);
   systems->includedSystemIs(text(1), true);
   versions->includedServiceVersionIs(1, true);
   unregisterSwitch(1);
   EXPECT_TRUE(isPublished(1, "config/b"));
}

TEST_F(Publish, AnEntryForTheSameKeyAndServiceIsTheSameEntryAndMachine) {
   publish("config/a");
   auto const held = publishSm("config/a");
   publish("config/a", nullptr, systems);
   EXPECT_EQ(publishSm("config/a"), held);
   machine->handlePublishEntry("config/a");
   EXPECT_EQ(publishSm("config/a"), held);
}

TEST_F(Publish, AnotherEntryUnderTheKeyOfALivingMachineIsRefused) {
   publish("config/a");
   machine->hasNotificationActiveIs(false);
   registry->publishEntryDel("config/a");
   publish("config/a");
   machine->hasNotificationActiveIs(true);
   try {
      machine->handlePublishEntry("config/a");
      FAIL();
   } catch (Fen::NameInUseException const& exception) {
      EXPECT_NE(std::string(exception.what())
                   .find("Reinstantiating the pointer interface where constructor parameter "
                         "attribute _publishEntry has a different value of "),
                std::string::npos)
         << exception.what();
   }
}

TEST_F(PublishDeathTest, AnEntryOfAnotherServiceUnderTheKeyOfALivingMachineStopsTheProcess) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   publish("config/a");
   machine->hasNotificationActiveIs(false);
   registry->publishEntryDel("config/a");
   publish("config/a", nullptr, nullptr, "t");
   machine->hasNotificationActiveIs(true);
   EXPECT_DEATH(machine->handlePublishEntry("config/a"), "pe->serviceName\\(\\) == preSm->");
}

/// Does something whenever anything is published or withdrawn.
class TableWatcher : public PublishedMountsTable::NotifieeConst {
 public:
   TableWatcher(Ptr<PublishedMountsTable> const& watched, std::function<void()> then)
      : NotifieeConst(watched), then_(std::move(then)) {
      isRegisteredNotifieeIs(true);
   }
   void onSystem(SystemId const&) override { then_(); }

 private:
   std::function<void()> then_;
};

TEST_F(Publish, WhoeverHearsOfTheTableMayTakeTheEntryAway) {
   connect(1, "s");
   connect(2, "s");
   auto const watcher = Fen::makePtr<TableWatcher>(
      publishedMountsTable, [this] { registry->publishEntryDel("config/a"); });
   publish("config/a");
   // The decision that ran was finished; the machine is gone.
   EXPECT_FALSE(publishSm("config/a"));
   EXPECT_FALSE(isPublished(2, "config/a"));
}

TEST_F(Publish, WhoeverHearsOfTheTableMayDropTheTopMachine) {
   connect(1, "s");
   connect(2, "s");
   publish("config/a");
   auto const watcher =
      Fen::makePtr<TableWatcher>(publishedMountsTable, [this] { machine = nullptr; });
   unregisterSwitch(1);
   EXPECT_FALSE(machine);
   EXPECT_FALSE(isPublished(1, "config/a"));
   EXPECT_TRUE(isPublished(2, "config/a"));
}

TEST_F(Publish, DroppedInTheMiddleOfAWalkItLeavesTheRest) {
   connect(1, "s");
   connect(2, "s");
   auto const entry = publish("config/a");
   auto const watcher =
      Fen::makePtr<TableWatcher>(publishedMountsTable, [this] { machine = nullptr; });
   entry->readyToPublishIs(false);
   EXPECT_FALSE(machine);
   EXPECT_EQ(publishedMountsTable->systemCount(), 1u);
}

/// Does something, once, when a directory gets a member.
class PartWatcher : public Fen::Dir::NotifieeConst {
 public:
   PartWatcher(Ptr<Fen::Dir> const& watched, std::function<void()> then)
      : NotifieeConst(watched), then_(std::move(then)) {
      isRegisteredNotifieeIs(true);
   }
   void onEntityPtr(Fen::Name) override {
      if (auto const then = std::exchange(then_, nullptr)) {
         then();
      }
   }

 private:
   std::function<void()> then_;
};

TEST_F(Publish, AnEntryMayGoWhileItsMachineIsBorn) {
   connect(1, "s");
   auto const directory = Fen::ptrCast<Fen::Dir>(rootDir->entityIs("desired", "Fen::Dir"));
   auto const watcher =
      Fen::makePtr<PartWatcher>(directory, [this] { registry->publishEntryDel("desired"); });
   publishDir("desired");
   EXPECT_FALSE(registry->publishEntry("desired"));
   EXPECT_FALSE(publishSm("desired"));
   EXPECT_EQ(machine->publishRegistryEntrySmCount(), 0u);
}

TEST_F(Publish, AnEntryMayBecomeAnotherServicesWhileItsMachineIsBorn) {
   connect(1, "s");
   connect(1, "t");
   auto const directory = Fen::ptrCast<Fen::Dir>(rootDir->entityIs("desired", "Fen::Dir"));
   auto const watcher = Fen::makePtr<PartWatcher>(directory, [this] {
      registry->publishEntryDel("desired");
      publish("desired", nullptr, nullptr, "t");
   });
   publishDir("desired");
   ASSERT_TRUE(publishSm("desired"));
   EXPECT_EQ(publishSm("desired")->publishEntry(), registry->publishEntry("desired"));
   EXPECT_EQ(machine->publishRegistryEntrySmCount(), 1u);
   EXPECT_EQ(published(1, "desired").serviceName(), "t");
   registry->publishEntryDel("desired");
   EXPECT_EQ(machine->publishRegistryEntrySmCount(), 0u);
   EXPECT_EQ(publishedMountsTable->systemCount(), 0u);
}

} // namespace
