/// One mounter's share in its entry's filters, and what it takes along when it goes.
#include "RegistryFixture.h"

namespace {

using namespace Controller;
using namespace RegistryTest;

class MounterConfig : public Registry {
 protected:
   std::uint32_t count(unsigned number) { return entrySm("a")->connectionFilter(text(number)); }
   bool isThere(unsigned number) {
      return static_cast<bool>(entrySm("a")->fenConnectionFilter(text(number)));
   }
   void include(char const* service_, unsigned number, bool value = true) {
      systemFilter(service_, "g")->includedSystemIs(text(number), value);
   }
   void exclude(char const* service_, unsigned number) {
      systemFilter(service_, "g")->includedSystemDel(text(number));
   }
   /// What every state but none means for a mounted path: asked for since the last settling.
   bool isRemountAsked(unsigned number) { return asked("a", number) == MountSm::stateRemount; }
   /// Lets what has been asked for come to its end.
   void settle(unsigned number) {
      for (int round = 0; round < 3 && mountSm("a", number); ++round) {
         turn();
         auto const mount = mountSm("a", number);
         if (mount && mount->currentState() == MountSm::stateMount) {
            answer("a", number);
         } else if (mount && mount->currentState() != MountSm::stateIdle) {
            unmountDone("a", number);
         }
      }
      turn();
   }
};

// ---- systems -----------------------------------------------------------------------------------

TEST_F(MounterConfig, TwoServicesThatIncludeASystemCountItTwice) {
   connect(1, "fabric");
   negotiate(1, "access", 1);
   include("fabric", 1);
   include("access", 1);
   Traces traces;
   want("fabric", "g", "a");
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 addSystemToConnectionFilter: New filter 02:00:00:00:00:01 for:a"));
   traces.clear();
   want("access", "g", "a");
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 addSystemToConnectionFilter: Inc RefCount=2 filter:02:00:00:00:00:01 for a"));
   EXPECT_EQ(count(1), 2u);
   settle(1);
   ASSERT_EQ(asked("a", 1), MountSm::stateIdle);
   traces.clear();
   exclude("access", 1);
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 removeSystemFromConnectionFilter: Dec RefCount=1 filter:02:00:00:00:00:01 for a"));
   EXPECT_EQ(count(1), 1u);
   EXPECT_FALSE(traces.has("handleSwitchConnection")) << "the answer is what it was";
   include("access", 1);
   EXPECT_FALSE(traces.has("handleSwitchConnection"));
   exclude("access", 1);
   // A filter of the other kind, so that the last system does not open the entry.
   versionFilter("fabric", "g");
   include("fabric", 2);
   traces.clear();
   exclude("fabric", 1);
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 removeSystemFromConnectionFilter: Deleting filter 02:00:00:00:00:01 for:a"));
   EXPECT_FALSE(isThere(1));
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
}

TEST_F(MounterConfig, AMounterThatGoesTakesItsCountsAlong) {
   include("fabric", 1);
   include("fabric", 2);
   include("access", 2);
   want("fabric", "g", "a");
   want("access", "g", "a");
   EXPECT_EQ(count(1), 1u);
   EXPECT_EQ(count(2), 2u);
   wantNoMore("fabric", "a");
   EXPECT_FALSE(isThere(1));
   EXPECT_EQ(count(2), 1u);
   wantNoMore("access", "a");
   EXPECT_EQ(entrySm("a")->connectionFilterCount(), 0u);
}

TEST_F(MounterConfig, AKeySetFromTrueToFalseRemovesOneCountOnce) {
   include("fabric", 1);
   want("fabric", "g", "a");
   include("fabric", 1, false);
   EXPECT_FALSE(isThere(1));
   Traces traces;
   exclude("fabric", 1);
   EXPECT_FALSE(traces.has("RefCount")) << "never counted since: nothing to do";
   include("fabric", 2, false);
   EXPECT_FALSE(isThere(2));
   EXPECT_FALSE(traces.has("Gantry/5"));
}

TEST_F(MounterConfig, AKeyThatHoldsFalseTakesAnotherMountersCount) {
   include("fabric", 1);
   want("fabric", "g", "a");
   include("access", 1, false);
   want("access", "g", "a");
   EXPECT_FALSE(isThere(1)) << "at its birth";
   wantNoMore("access", "a");
   wantNoMore("fabric", "a");
   want("fabric", "g", "a");
   EXPECT_EQ(count(1), 1u);
   // On a change, and in a clean-up, likewise.
   exclude("access", 1);
   want("access", "g", "a");
   include("access", 1, false);
   EXPECT_FALSE(isThere(1)) << "on a change";
   include("fabric", 1, false);
   include("fabric", 1, true);
   EXPECT_EQ(count(1), 1u);
   wantNoMore("access", "a");
   EXPECT_FALSE(isThere(1)) << "in the clean-up";
}

TEST_F(MounterConfig, OnlyTheNamedConnectionFollowsWhenTheFilterBecomesEmptyOrNonEmpty) {
   for (unsigned const number : {1u, 2u, 3u}) {
      connect(number, "fabric");
   }
   systemFilter("fabric", "g");
   want("fabric", "g", "a");
   for (unsigned const number : {1u, 2u, 3u}) {
      ASSERT_TRUE(mountSm("a", number)) << "an empty filter refuses nobody";
      settle(number);
   }
   include("fabric", 1);
   EXPECT_TRUE(isRemountAsked(1));
   EXPECT_EQ(asked("a", 2), MountSm::stateIdle) << "refused from now on, and still mounted";
   EXPECT_FALSE(entrySm("a")->canMountFromConnection(text(2)));
   negotiate(2, "fabric", 1);
   EXPECT_EQ(asked("a", 2), MountSm::stateUnmount) << "at its next event";
   settle(1);
   settle(2);
   EXPECT_FALSE(mountSm("a", 2));
   exclude("fabric", 1);
   EXPECT_TRUE(isRemountAsked(1)) << "the wildcard holds for it, too";
   EXPECT_FALSE(mountSm("a", 2)) << "open again, and not asked";
   EXPECT_EQ(asked("a", 3), MountSm::stateIdle);
   negotiate(2, "fabric", 1);
   EXPECT_TRUE(mountSm("a", 2));
}

TEST_F(MounterConfig, TheCountEqualsTheMountersThatIncludeTheSystem) {
   // Declarations that only add and delete keys keep the invariant through any order.
   char const* const names[] = {"fabric", "access", "transit"};
   for (char const* name : names) {
      systemFilter(name, "g");
      want(name, "g", "a");
   }
   unsigned state = 12345;
   for (int step = 0; step < 2000; ++step) {
      state = state * 1103515245u + 12345u;
      unsigned const chosen = (state >> 16) % 4096;
      char const* const name = names[chosen % 3];
      unsigned const number = 1 + chosen / 3 % 3;
      switch (chosen / 9 % 3) {
      case 0:
         include(name, number);
         break;
      case 1:
         exclude(name, number);
         break;
      default:
         entry("a")->mounter(name) ? wantNoMore(name, "a") : (void)want(name, "g", "a");
      }
      for (unsigned const system : {1u, 2u, 3u}) {
         std::uint32_t expected = 0;
         for (char const* each : names) {
            bool const counts =
               entry("a")->mounter(each) && systemFilter(each, "g")->includedSystem(text(system));
            expected += counts ? 1 : 0;
         }
         ASSERT_EQ(count(system), expected) << step;
         ASSERT_EQ(isThere(system), expected != 0);
      }
   }
}

TEST(MounterConfigDeath, ACountBelowTwoIsNotDecremented) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   EXPECT_DEATH(
      {
         Host host;
         host.create();
         host.systemFilter("fabric", "g");
         host.want("fabric", "g", "a");
         host.entrySm("a")->connectionFilterIs(Host::text(1), 0);
         host.entrySm("a")->mounterConfigSm("fabric")->removeSystemFromConnectionFilter(
            Host::text(1));
      },
      "refCount > 1");
}

// ---- versions ----------------------------------------------------------------------------------

TEST_F(MounterConfig, VersionsAreASetOfTheServicesOwn) {
   versionFilter("fabric", "g")->includedServiceVersionIs(1, true);
   versionFilter("fabric", "g")->includedServiceVersionIs(2, true);
   versionFilter("access", "g")->includedServiceVersionIs(2, true);
   want("fabric", "g", "a");
   want("access", "g", "a");
   ASSERT_TRUE(entrySm("a")->versionFilter("fabric"));
   EXPECT_EQ(entrySm("a")->versionFilter("fabric")->versionCount(), 2u);
   EXPECT_TRUE(entrySm("a")->versionFilter("fabric")->version(2));
   EXPECT_EQ(entrySm("a")->versionFilter("access")->versionCount(), 1u);
   versionFilter("fabric", "g")->includedServiceVersionDel(2);
   EXPECT_EQ(entrySm("a")->versionFilter("fabric")->versionCount(), 1u);
   EXPECT_EQ(entrySm("a")->versionFilter("access")->versionCount(), 1u);
   wantNoMore("access", "a");
   EXPECT_FALSE(entrySm("a")->versionFilter("access"));
}

TEST_F(MounterConfig, EveryVersionEventEvaluatesAllConnections) {
   connect(1, "fabric");
   connect(2, "fabric", 2);
   versionFilter("fabric", "g")->includedServiceVersionIs(1, true);
   want("fabric", "g", "a");
   EXPECT_TRUE(mountSm("a", 1));
   EXPECT_FALSE(mountSm("a", 2));
   settle(1);
   versionFilter("fabric", "g")->includedServiceVersionIs(2, true);
   EXPECT_TRUE(isRemountAsked(1));
   EXPECT_TRUE(mountSm("a", 2));
   settle(1);
   settle(2);
   versionFilter("fabric", "g")->includedServiceVersionDel(1);
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
   EXPECT_TRUE(isRemountAsked(2));
}

TEST_F(MounterConfig, ThePassOverTheVersionsIsDoubledAtBirthAndThatOverTheSystemsIsNot) {
   include("fabric", 1);
   include("fabric", 2);
   versionFilter("fabric", "g")->includedServiceVersionIs(1, true);
   versionFilter("fabric", "g")->includedServiceVersionIs(2, true);
   Traces traces;
   want("fabric", "g", "a");
   EXPECT_EQ(traces.count("MounterConfigSm::addVersionToVersionFilter "), 4u);
   EXPECT_EQ(traces.count("MounterConfigSm::addSystemToConnectionFilter "), 2u);
   EXPECT_TRUE(traces.hasLine(
      "Gantry/8 MounterConfigSm::FenVersionFilter::handleIncludedServiceVersion: version=2"));
   EXPECT_EQ(count(1), 1u);
   auto const made = entrySm("a")->mounterConfigSm("fabric");
   EXPECT_TRUE(made->initialized());
   EXPECT_TRUE(made->fenSystemFilter()->initialized());
   EXPECT_TRUE(made->fenVersionFilter()->initialized());
   EXPECT_LT(traces.text().find("addSystemToConnectionFilter"),
             traces.text().find("addVersionToVersionFilter"));
}

TEST_F(MounterConfig, RemovingAVersionWithoutAFilterMakesOneDeletesItAndEvaluatesAll) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   settle(1);
   entrySm("a")->mounterConfigSm("fabric")->removeVersionFromVersionFilter(7);
   EXPECT_EQ(entrySm("a")->versionFilterCount(), 0u);
   EXPECT_TRUE(isRemountAsked(1));
}

TEST_F(MounterConfig, RemovingTheLastVersionDeletesTheFilterAndOpensTheEntry) {
   connect(1, "fabric");
   versionFilter("fabric", "g")->includedServiceVersionIs(7, true);
   want("fabric", "g", "a");
   EXPECT_FALSE(mountSm("a", 1));
   versionFilter("fabric", "g")->includedServiceVersionDel(7);
   EXPECT_FALSE(entrySm("a")->versionFilter("fabric"));
   EXPECT_TRUE(mountSm("a", 1)) << "an entry without any version filter passes the step";
   EXPECT_FALSE(entrySm("a")->wildCardMount());
}

TEST_F(MounterConfig, AVersionThatHoldsFalseIsNoMember) {
   versionFilter("fabric", "g")->includedServiceVersionIs(7, false);
   want("fabric", "g", "a");
   EXPECT_FALSE(entrySm("a")->versionFilter("fabric"));
   versionFilter("fabric", "g")->includedServiceVersionIs(7, true);
   EXPECT_TRUE(entrySm("a")->versionFilter("fabric")->fenVersion(7));
   versionFilter("fabric", "g")->includedServiceVersionIs(7, false);
   EXPECT_FALSE(entrySm("a")->versionFilter("fabric"));
}

// ---- which filter objects ----------------------------------------------------------------------

TEST_F(MounterConfig, WithoutFiltersThereIsNothingToAdd) {
   want("fabric", "g", "a");
   auto const made = entrySm("a")->mounterConfigSm("fabric");
   EXPECT_FALSE(made->fenSystemFilter());
   EXPECT_FALSE(made->fenVersionFilter());
   EXPECT_EQ(entrySm("a")->connectionFilterCount(), 0u);
   EXPECT_EQ(entrySm("a")->versionFilterCount(), 0u);
   EXPECT_TRUE(entrySm("a")->wildCardMount());
}

TEST_F(MounterConfig, AnotherFilterObjectIsNotFollowedAndSystemsAreReadFromTheGroups) {
   include("fabric", 1);
   versionFilter("fabric", "g")->includedServiceVersionIs(1, true);
   want("fabric", "g", "a");
   auto const oldSystems = systemFilter("fabric", "g");
   auto const oldVersions = versionFilter("fabric", "g");
   auto const newSystems = service("fabric").config->systemFilterIs("other");
   auto const newVersions = service("fabric").config->versionFilterIs("other");
   group("fabric", "g")->systemFilterIs(newSystems);
   group("fabric", "g")->versionFilterIs(newVersions);
   newSystems->includedSystemIs(text(2), true);
   newVersions->includedServiceVersionIs(2, true);
   EXPECT_FALSE(isThere(2));
   EXPECT_EQ(entrySm("a")->versionFilter("fabric")->versionCount(), 1u);
   // The old objects still wake the machine, which asks the group's filter for a system and its own
   // one for a version.
   oldSystems->includedSystemIs(text(2), true);
   EXPECT_EQ(count(2), 1u);
   oldSystems->includedSystemIs(text(3), true);
   EXPECT_FALSE(isThere(3));
   oldVersions->includedServiceVersionIs(3, true);
   EXPECT_TRUE(entrySm("a")->versionFilter("fabric")->fenVersion(3));
   group("fabric", "g")->systemFilterIs(nullptr);
   oldSystems->includedSystemDel(text(2));
   oldSystems->includedSystemIs(text(1), false);
   EXPECT_EQ(entrySm("a")->connectionFilterCount(), 0u) << "no filter includes nobody";
   // What the clean-up takes out is what the group's filters hold by then.
   wantNoMore("fabric", "a");
   EXPECT_TRUE(entrySm("a")->versionFilter("fabric")) << "left behind";
}

TEST_F(MounterConfig, AReactorThatIsMovedTakesTheNewMembersIn) {
   include("fabric", 1);
   versionFilter("fabric", "g")->includedServiceVersionIs(1, true);
   want("fabric", "g", "a");
   auto const made = entrySm("a")->mounterConfigSm("fabric");
   auto const systems = service("fabric").config->systemFilterIs("other");
   auto const versions = service("fabric").config->versionFilterIs("other");
   systems->includedSystemIs(text(2), true);
   versions->includedServiceVersionIs(2, true);
   group("fabric", "g")->systemFilterIs(systems);
   made->systemFilterIs(systems);
   made->versionFilterIs(versions);
   EXPECT_EQ(count(2), 1u);
   EXPECT_EQ(count(1), 1u) << "what the former one gave stays";
   EXPECT_EQ(entrySm("a")->versionFilter("fabric")->versionCount(), 2u);
   made->systemFilterDel();
   made->versionFilterDel();
   systems->includedSystemIs(text(3), true);
   EXPECT_FALSE(isThere(3));
}

// ---- clean-up ----------------------------------------------------------------------------------

TEST_F(MounterConfig, ACleanUpClearsTheMountsStatusUnderEveryGroup) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   want("fabric", "h", "b");
   auto const status_ = service("fabric").status;
   status_->mountedPathPrefixIs("a", "mount/target");
   status_->mountedPathPrefixIs("b", "mount/target");
   for (unsigned const number : {1u, 2u, 3u}) {
      auto const system = status_->systemStatusIs(text(number));
      system->serviceMountGroupStatusIs("g")->mountStatusIs("a");
      system->serviceMountGroupStatusIs("former")->mountStatusIs("a");
      if (number != 3) {
         system->serviceMountGroupStatusIs("h")->mountStatusIs("b");
      }
      if (number == 1) {
         system->serviceMountGroupStatusIs("former")->mountStatusIs("b");
      }
   }
   Traces traces;
   entrySm("a")->mounterConfigSm("fabric")->doCleanup();
   EXPECT_FALSE(status_->mountedPathPrefix("a"));
   EXPECT_TRUE(status_->mountedPathPrefix("b"));
   EXPECT_EQ(status_->systemStatusCount(), 2u) << "the third had nothing else";
   for (unsigned const number : {1u, 2u}) {
      auto const system = status_->systemStatus(text(number));
      EXPECT_FALSE(system->serviceMountGroupStatus("g"));
      EXPECT_EQ(static_cast<bool>(system->serviceMountGroupStatus("former")), number == 1);
      EXPECT_TRUE(system->serviceMountGroupStatus("h")->mountStatus("b"));
   }
   EXPECT_EQ(traces.count("Gantry/5 doCleanup: Deleting mount status for a\n"), 6u);
   EXPECT_EQ(traces.count("Gantry/5 doCleanup: Deleting mount group status for g\n"), 3u);
   EXPECT_EQ(traces.count("Gantry/5 doCleanup: Deleting mount group status for former\n"), 2u);
   EXPECT_TRUE(traces.hasLine("Gantry/5 doCleanup: Deleting system status for 02:00:00:00:00:03"));
}

TEST_F(MounterConfig, AMounterThatGoesLeavesOthersMountedAndClearsItsOwnStatus) {
   connect(1, "fabric");
   negotiate(1, "access", 1);
   want("fabric", "g", "a");
   want("access", "g", "a");
   settle(1);
   ASSERT_TRUE(status("access", "g", "a", 1));
   wantNoMore("access", "a");
   EXPECT_EQ(service("access").status->systemStatusCount(), 0u);
   EXPECT_EQ(status("fabric", "g", "a", 1)->mountState(), mountStateMounted);
   settle(1);
   wantNoMore("fabric", "a");
   EXPECT_EQ(service("fabric").status->systemStatusCount(), 0u);
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
   settle(1);
   EXPECT_FALSE(mountSm("a", 1));
}

} // namespace
