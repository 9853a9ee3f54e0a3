/// What may be mounted from where: for the entry as a whole and for each of its mounters, each step
/// of the decision, and both decisions over all small combinations against tables written apart.
#include "RegistryFixture.h"

#include <array>

namespace {

using namespace Controller;
using namespace RegistryTest;

class Evaluation : public Registry {
 protected:
   bool can(unsigned number = 1) { return entrySm("a")->canMountFromConnection(text(number)); }
   bool isInterested(char const* service, unsigned number = 1) {
      return entrySm("a")->mounterIsInterestedInConnection(
         Fen::Ptr<Mounter const>(entry("a")->mounter(service)), text(number));
   }
};

// ---- the wildcard ------------------------------------------------------------------------------

TEST_F(Evaluation, AGroupWithoutFiltersIsAWildcard) {
   Traces traces;
   want("fabric", "g", "a");
   EXPECT_TRUE(entrySm("a")->wildCardMount());
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 evaluateMounters: Wildcard mount requested for a by Service:fabric Group:g"));
   wantNoMore("fabric", "a");
   EXPECT_FALSE(entrySm("a")->wildCardMount());
}

TEST_F(Evaluation, EitherFilterEndsTheWildcard) {
   systemFilter("fabric", "g");
   want("fabric", "g", "a");
   EXPECT_FALSE(entrySm("a")->wildCardMount()) << "an empty filter is a filter";
   versionFilter("access", "g");
   want("access", "g", "a");
   EXPECT_FALSE(entrySm("a")->wildCardMount());
}

TEST_F(Evaluation, OneUnfilteredGroupOpensTheEntryForAllItsMounters) {
   systemFilter("fabric", "g")->includedSystemIs(text(2), true);
   want("fabric", "g", "a");
   negotiate(1, "fabric", 1);
   EXPECT_FALSE(can());
   want("access", "g", "a");
   EXPECT_TRUE(can()) << "though access has no version there";
   EXPECT_FALSE(isInterested("fabric"));
   EXPECT_TRUE(isInterested("access"));
}

TEST_F(Evaluation, AFirstFilterAfterTheMounterLeavesTheWildcardUntilTheNextMounterEvent) {
   negotiate(1, "fabric", 1);
   want("fabric", "g", "a");
   systemFilter("fabric", "g")->includedSystemIs(text(2), true);
   EXPECT_TRUE(entrySm("a")->wildCardMount());
   EXPECT_TRUE(can());
   EXPECT_EQ(entrySm("a")->connectionFilterCount(), 0u) << "the filter object is not followed";
   systemFilter("access", "g");
   want("access", "g", "a");
   EXPECT_FALSE(entrySm("a")->wildCardMount());
}

// ---- the entry as a whole ----------------------------------------------------------------------

TEST_F(Evaluation, TheNegotiationComesFirst) {
   want("fabric", "g", "a");
   ASSERT_TRUE(entrySm("a")->wildCardMount());
   Traces traces;
   EXPECT_FALSE(can());
   EXPECT_TRUE(traces.hasLine("Gantry/5 canMountFromConnection: no version negotiated yet"));
   negotiate(1, "other", 1);
   EXPECT_FALSE(can()) << "a service that does not want the path does not count";
   negotiate(1, "fabric", 1);
   traces.clear();
   EXPECT_TRUE(can());
   EXPECT_TRUE(traces.hasLine("Gantry/5 canMountFromConnection: yes, wildcard mount"));
}

TEST_F(Evaluation, WithoutAMounterTheAnswerIsNo) {
   entry("a");
   negotiate(1, "fabric", 1);
   EXPECT_FALSE(can());
}

TEST_F(Evaluation, AVersionFilterThatDoesNotMatchBeatsTheConnectionFilter) {
   systemFilter("fabric", "g")->includedSystemIs(text(1), true);
   versionFilter("fabric", "g")->includedServiceVersionIs(2, true);
   want("fabric", "g", "a");
   negotiate(1, "fabric", 1);
   Traces traces;
   EXPECT_FALSE(can());
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 canMountFromConnection: Connection:02:00:00:00:00:01: not in versionFilter"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 matchingServiceVersionFilter: Supported version for fabric "
                              "for 02:00:00:00:00:01 2"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 matchingServiceVersionFilter: negotiated version 1 not in "
                              "filter for fabric for 02:00:00:00:00:01"));
   negotiate(1, "fabric", 2);
   traces.clear();
   EXPECT_TRUE(can());
   EXPECT_TRUE(traces.hasLine("Gantry/5 matchingServiceVersionFilter: matched negotiated version 2 "
                              "for fabric for 02:00:00:00:00:01"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 canMountFromConnection: yes, in versionFilter"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 canMountFromConnection: yes, in connectionFilter"));
}

TEST_F(Evaluation, EmptyAggregatesPass) {
   systemFilter("fabric", "g");
   want("fabric", "g", "a");
   negotiate(1, "fabric", 1);
   ASSERT_FALSE(entrySm("a")->wildCardMount());
   Traces traces;
   EXPECT_TRUE(can());
   EXPECT_TRUE(traces.hasLine("Gantry/5 canMountFromConnection: no versionFilter specified for a "
                              "while mounting from connection: 02:00:00:00:00:01"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 canMountFromConnection: no connectionFilter for a using "
                              "wildcard connectionFilter for connection: 02:00:00:00:00:01"));
   systemFilter("fabric", "g")->includedSystemIs(text(2), true);
   traces.clear();
   EXPECT_FALSE(can());
   EXPECT_TRUE(traces.hasLine("Gantry/5 canMountFromConnection: not in connectionFilter"));
}

TEST_F(Evaluation, SystemsAndVersionsOfDifferentServicesAreAnAnd) {
   // A system filter for peer 1 alone, and a version filter that peer 2 matches.
   systemFilter("fabric", "g")->includedSystemIs(text(1), true);
   versionFilter("access", "g")->includedServiceVersionIs(5, true);
   want("fabric", "g", "a");
   want("access", "g", "a");
   negotiate(1, "fabric", 1);
   negotiate(2, "access", 5);
   EXPECT_FALSE(can(1)) << "no service's versions match";
   EXPECT_FALSE(can(2)) << "no service's systems include it";
   negotiate(1, "access", 5);
   EXPECT_TRUE(can(1));
   EXPECT_TRUE(isInterested("fabric", 1));
   EXPECT_TRUE(isInterested("access", 1));
}

TEST_F(Evaluation, TheVersionThatOpensTheGateMayBeAnotherServices) {
   versionFilter("access", "g")->includedServiceVersionIs(5, true);
   systemFilter("fabric", "g");
   want("access", "g", "a");
   want("fabric", "g", "a");
   negotiate(1, "fabric", 9);
   EXPECT_FALSE(can()) << "through the gate, but access has no version";
   Traces traces;
   EXPECT_FALSE(entrySm("a")->matchingServiceVersionFilter("access", text(1)));
   EXPECT_TRUE(traces.hasLine("Gantry/5 matchingServiceVersionFilter: no negotiated version for "
                              "access for 02:00:00:00:00:01"));
   EXPECT_FALSE(entrySm("a")->matchingServiceVersionFilter("fabric", text(1)));
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 matchingServiceVersionFilter: no version filter for service fabric"));
   negotiate(1, "access", 5);
   EXPECT_TRUE(can());
}

// ---- one mounter -------------------------------------------------------------------------------

TEST_F(Evaluation, AMounterIsInterestedByEitherFilter) {
   systemFilter("fabric", "g")->includedSystemIs(text(1), true);
   versionFilter("fabric", "g")->includedServiceVersionIs(5, true);
   want("fabric", "g", "a");
   EXPECT_TRUE(isInterested("fabric", 1)) << "by its systems, without any version";
   EXPECT_FALSE(isInterested("fabric", 2));
   negotiate(2, "fabric", 5);
   EXPECT_TRUE(isInterested("fabric", 2)) << "by its versions";
   EXPECT_FALSE(can(2)) << "and the mount is not made";
}

TEST_F(Evaluation, TheVersionsComparedAreThoseThatTheEntryKeepsForTheService) {
   versionFilter("fabric", "g")->includedServiceVersionIs(5, true);
   want("fabric", "g", "a");
   negotiate(1, "fabric", 5);
   EXPECT_TRUE(isInterested("fabric"));
   // The group gets another filter object, which is not followed and only says that there is one.
   auto const other = service("fabric").config->versionFilterIs("other");
   other->includedServiceVersionIs(6, true);
   group("fabric", "g")->versionFilterIs(other);
   EXPECT_TRUE(isInterested("fabric"));
   entrySm("a")->versionFilterDel("fabric");
   EXPECT_FALSE(isInterested("fabric"));
}

// ---- all small combinations --------------------------------------------------------------------

/// What one group asks of systems: no filter, an empty one, one without switch 1, one with it.
enum class Systems { none, empty, others, included };
/// And of versions: no filter, an empty one, one without version 1, one with it.
using Versions = Systems;

constexpr std::array<Systems, 4> allOf = {Systems::none, Systems::empty, Systems::others,
                                          Systems::included};

struct Wish {
   Systems systems;
   Versions versions;
   unsigned negotiated; ///< 0, 1, or 2
};

/// The decisions as one would put them down on paper, for switch 1.
bool paperCanMount(std::vector<Wish> const& wishes) {
   bool anyVersion = false, anyWildcard = false;
   bool anyVersionFilter = false, anyVersionMatch = false;
   bool anySystem = false, isSystemIncluded = false;
   for (Wish const& wish : wishes) {
      anyVersion = anyVersion || wish.negotiated != 0;
      anyWildcard =
         anyWildcard || (wish.systems == Systems::none && wish.versions == Versions::none);
      bool const hasVersions =
         wish.versions == Versions::others || wish.versions == Versions::included;
      anyVersionFilter = anyVersionFilter || hasVersions;
      anyVersionMatch = anyVersionMatch ||
                        (wish.versions == Versions::included && wish.negotiated == 1) ||
                        (wish.versions == Versions::others && wish.negotiated == 2);
      anySystem = anySystem || wish.systems == Systems::others || wish.systems == Systems::included;
      isSystemIncluded = isSystemIncluded || wish.systems == Systems::included;
   }
   return anyVersion && (anyWildcard || ((!anyVersionFilter || anyVersionMatch) &&
                                         (!anySystem || isSystemIncluded)));
}

bool paperIsInterested(Wish const& wish) {
   return (wish.systems == Systems::none && wish.versions == Versions::none) ||
          wish.systems == Systems::included ||
          (wish.versions == Versions::included && wish.negotiated == 1) ||
          (wish.versions == Versions::others && wish.negotiated == 2);
}

void declareWish(Host& host, char const* service, Wish const& wish) {
   if (wish.systems != Systems::none) {
      auto const filter = host.systemFilter(service, "g");
      if (wish.systems != Systems::empty) {
         filter->includedSystemIs(Host::text(wish.systems == Systems::included ? 1 : 2), true);
      }
   }
   if (wish.versions != Versions::none) {
      auto const filter = host.versionFilter(service, "g");
      if (wish.versions != Versions::empty) {
         filter->includedServiceVersionIs(wish.versions == Versions::included ? 1 : 2, true);
      }
   }
   host.negotiate(1, service, wish.negotiated);
   host.want(service, "g", "a");
}

TEST(EvaluationTable, TwoMountersInAllCombinations) {
   std::vector<Wish> all;
   for (Systems const systems : allOf) {
      for (Versions const versions : allOf) {
         for (unsigned const negotiated : {0u, 1u, 2u}) {
            all.push_back({systems, versions, negotiated});
         }
      }
   }
   std::size_t yes = 0;
   for (Wish const& first : all) {
      for (Wish const& second : all) {
         Host host;
         host.create();
         host.registerSwitch(1);
         declareWish(host, "fabric", first);
         declareWish(host, "access", second);
         auto const entry = host.entrySm("a");
         bool const expected = paperCanMount({first, second});
         ASSERT_EQ(entry->canMountFromConnection(Host::text(1)), expected);
         // The last mounter event has evaluated every registered switch.
         ASSERT_EQ(host.mountSm("a", 1) && host.asked("a", 1) != MountSm::stateUnmount, expected);
         yes += expected ? 1 : 0;
         for (auto const& [service, wish] : {std::pair<char const*, Wish>{"fabric", first},
                                             std::pair<char const*, Wish>{"access", second}}) {
            ASSERT_EQ(entry->mounterIsInterestedInConnection(
                         Fen::Ptr<Mounter const>(host.entry("a")->mounter(service)), Host::text(1)),
                      paperIsInterested(wish));
         }
      }
   }
   EXPECT_GT(yes, 500u);
   EXPECT_LT(yes, all.size() * all.size() - 500u);
}

} // namespace
