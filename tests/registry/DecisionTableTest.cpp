/// The decisions of an entry over all combinations of small filters and negotiated versions:
/// whether a path may be mounted from a connection, whether a service sees the mount in its status,
/// and whether a disconnect preserves it. Each is compared with what the declarations alone say.
#include <gantry/registry/MountsRegistrySm.fen.h>

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace RegistryTest {
namespace {

using namespace Controller;

constexpr char const* here = "02:00:00:00:00:01";
constexpr char const* elsewhere = "02:00:00:00:00:02";

/// A filter, or none at all. The keys of one are few enough that their order cannot matter.
using Systems = std::optional<std::map<std::string, bool>>;
using Versions = std::optional<std::map<unsigned, bool>>;

std::vector<Systems> const systemChoices = {
   std::nullopt,
   Systems({}),
   Systems({{here, true}}),
   Systems({{here, false}}),
   Systems({{elsewhere, true}}),
   Systems({{here, false}, {elsewhere, true}}),
};
std::vector<Versions> const versionChoices = {
   std::nullopt,
   Versions({}),
   Versions({{1, true}}),
   Versions({{1, false}}),
   Versions({{1, true}, {2, true}}),
   Versions({{0, true}}),
};

struct Declared {
   Systems systems;
   Versions versions;
   bool preserves = false;

   bool isWild() const { return !systems && !versions; }
   bool includesHere() const { return systems && systems->contains(here) && systems->at(here); }
};

/// What a client says of a service, and the version that counts.
struct Negotiated {
   bool isThere = false;
   bool enabled = false;
   bool hasStatus = false;
   bool compatible = false;
   unsigned version = 0;

   unsigned counted() const { return isThere && enabled && hasStatus && compatible ? version : 0; }
};

constexpr Negotiated negotiatedChoices[] = {
   {},
   {true, true, false, false, 0},
   {true, false, true, true, 1},
   {true, true, true, false, 1},
   {true, true, true, true, 0},
   {true, true, true, true, 1},
   {true, true, true, true, 2},
   {true, true, true, true, 3},
};

std::ostream& operator<<(std::ostream& out, Declared const& declared) {
   out << (declared.preserves ? "preserving" : "") << "[systems";
   if (declared.systems) {
      for (auto const& [system, included] : *declared.systems) {
         out << " " << system << "=" << included;
      }
   } else {
      out << " any";
   }
   out << "; versions";
   if (declared.versions) {
      for (auto const& [version, included] : *declared.versions) {
         out << " " << version << "=" << included;
      }
   } else {
      out << " any";
   }
   return out << "]";
}

std::vector<Declared> allDeclarations() {
   std::vector<Declared> all;
   for (Systems const& systems : systemChoices) {
      for (Versions const& versions : versionChoices) {
         all.push_back({systems, versions, false});
      }
   }
   return all;
}

// ---- the live side -----------------------------------------------------------------------------

/// One entry with the given mounters, in their order, and one client.
class World {
 public:
   explicit World(std::vector<Declared> const& declared) {
      clients_->entityPtrIs(client_);
      entry_ = registry_->mountEntryIs("path", "target", "Fen::Dir", "");
      machine_ = mountsRegistrySmFactory(
         registry_, ControllerRegistration::controllerStatusFactory("controller"), statuses_,
         publishedMountsTableFactory("published"), registeredSwitchTableFactory(), clients_);
      for (std::size_t at = 0; at < declared.size(); ++at) {
         add(at == 0 ? "first" : "second", declared[at]);
      }
   }

   void negotiatedIs(Fen::Name service, Negotiated const& negotiated) {
      client_->serviceDel(service);
      if (!negotiated.isThere) {
         return;
      }
      auto const status = client_->serviceIs(service);
      status->enabledIs(negotiated.enabled);
      if (negotiated.hasStatus) {
         auto const version = serviceVersionStatusV1Factory("version");
         version->versionCompatibleIs(negotiated.compatible);
         version->negotiatedVersionIs(NegotiatedVersion(negotiated.version, "told"));
         status->versionStatusIs(version);
      }
   }

   MountsRegistryEntrySm& machine() const { return *machine_->mountsRegistryEntrySm("path"); }
   Fen::Ptr<Mounter> mounter(Fen::String8 service) const { return entry_->mounter(service); }

 private:
   void add(char const* name, Declared const& declared) {
      auto const config = serviceMountConfigFactory(name);
      auto const group = config->mountGroupConfigIs("group");
      group->preserveMountsOnDisconnectIs(declared.preserves);
      if (declared.systems) {
         auto const filter = config->systemFilterIs("systems");
         for (auto const& [system, included] : *declared.systems) {
            filter->includedSystemIs(Fen::String8(system), included);
         }
         group->systemFilterIs(filter);
      }
      if (declared.versions) {
         auto const filter = config->versionFilterIs("versions");
         for (auto const& [version, included] : *declared.versions) {
            filter->includedServiceVersionIs(version, included);
         }
         group->versionFilterIs(filter);
      }
      auto const mount = group->mountConfigIs("path", "Fen::Dir", "", "target");
      entry_->mounterIs(MounterName(name, "group"), mount, group,
                        Fen::makePtr<ServiceMountStatus>(Fen::Name(name)));
      configs_.push_back(config);
   }

   Fen::Ptr<Fen::Dir> root_ = Fen::dirFactory("state");
   Fen::Ptr<Fen::Dir> statuses_ = Fen::dirFactory("statuses");
   Fen::Ptr<Fen::Dir> clients_ = Fen::dirFactory("clients");
   Fen::Ptr<ServiceStatusDir> client_ = serviceStatusDirFactory(here);
   Fen::Ptr<MountsRegistry> registry_ =
      Fen::makePtr<MountsRegistry>(root_, "state", root_, "", 1u, 1.0);
   Fen::Ptr<MountsRegistryEntry> entry_;
   std::vector<Fen::Ptr<ServiceMountConfig>> configs_;
   Fen::Ptr<MountsRegistrySm> machine_;
};

// ---- what the declarations say -----------------------------------------------------------------

std::set<unsigned> acceptedBy(Declared const& declared) {
   std::set<unsigned> versions;
   if (declared.versions) {
      for (auto const& [version, included] : *declared.versions) {
         if (included) {
            versions.insert(version);
         }
      }
   }
   return versions;
}

/// How often each system is counted. A key that holds false is no key that is absent: it takes a
/// count away that an earlier mounter put there.
std::map<std::string, unsigned> countsOf(std::vector<Declared> const& declared) {
   std::map<std::string, unsigned> counts;
   for (Declared const& one : declared) {
      if (!one.systems) {
         continue;
      }
      for (auto const& [system, included] : *one.systems) {
         if (included) {
            ++counts[system];
         } else if (counts.contains(system) && --counts[system] == 0) {
            counts.erase(system);
         }
      }
   }
   return counts;
}

bool mayMount(std::vector<Declared> const& declared, std::vector<unsigned> const& negotiated) {
   bool isNegotiated = false;
   bool isWild = false;
   bool areVersionsNamed = false;
   bool isVersionNamed = false;
   for (std::size_t at = 0; at < declared.size(); ++at) {
      std::set<unsigned> const accepted = acceptedBy(declared[at]);
      isNegotiated = isNegotiated || negotiated[at] != 0;
      isWild = isWild || declared[at].isWild();
      areVersionsNamed = areVersionsNamed || !accepted.empty();
      isVersionNamed = isVersionNamed || (negotiated[at] != 0 && accepted.contains(negotiated[at]));
   }
   auto const counts = countsOf(declared);
   bool const isSystemGood = counts.empty() || counts.contains(here);
   bool const isVersionGood = !areVersionsNamed || isVersionNamed;
   // Of all mounters together: a named system and a named version, unless one wants everything.
   return isNegotiated && (isWild || (isSystemGood && isVersionGood));
}

bool isInterested(Declared const& declared, unsigned negotiated) {
   // Of one mounter: a named system or a named version.
   return declared.isWild() || declared.includesHere() ||
          (negotiated != 0 && acceptedBy(declared).contains(negotiated));
}

bool preserves(Declared const& declared) {
   return declared.preserves && (!declared.systems || declared.includesHere());
}

// ---- the tables --------------------------------------------------------------------------------

void expectDecisions(std::vector<Declared> const& declared) {
   World world(declared);
   for (Negotiated const& first : negotiatedChoices) {
      world.negotiatedIs("first", first);
      for (Negotiated const& second : negotiatedChoices) {
         world.negotiatedIs("second", second);
         std::vector<unsigned> const negotiated = {first.counted(), second.counted()};
         bool const isRight =
            world.machine().canMountFromConnection(here) == mayMount(declared, negotiated);
         EXPECT_TRUE(isRight) << testing::PrintToString(declared.size()) << " mounters, versions "
                              << negotiated[0] << " and " << negotiated[1];
         for (std::size_t at = 0; at < declared.size(); ++at) {
            char const* const name = at == 0 ? "first" : "second";
            bool const isSeen =
               world.machine().mounterIsInterestedInConnection(world.mounter(name), here);
            EXPECT_EQ(isSeen, isInterested(declared[at], negotiated[at]))
               << name << " with version " << negotiated[at];
         }
         if (declared.size() < 2) {
            break;
         }
      }
      if (testing::Test::HasFailure()) {
         return;
      }
   }
}

TEST(DecisionTable, AnEntryWithoutMountersMountsFromNobody) { expectDecisions({}); }

TEST(DecisionTable, OneMounterDecidesByItsGroupAndTheVersionOfItsService) {
   for (Declared const& declared : allDeclarations()) {
      std::ostringstream text;
      text << declared;
      SCOPED_TRACE(text.str());
      ASSERT_NO_FATAL_FAILURE(expectDecisions({declared}));
   }
}

class DecisionTables : public testing::TestWithParam<std::size_t> {};

TEST_P(DecisionTables, TwoMountersAddUpTheirFiltersAndEachSeesWhatItAskedFor) {
   Declared const first = allDeclarations()[GetParam()];
   for (Declared const& second : allDeclarations()) {
      std::ostringstream text;
      text << first << " and " << second;
      SCOPED_TRACE(text.str());
      expectDecisions({first, second});
      if (HasFailure()) {
         return;
      }
   }
}

INSTANTIATE_TEST_SUITE_P(First, DecisionTables,
                         testing::Range(std::size_t{0}, allDeclarations().size()));

TEST(DecisionTable, OnePreservingMounterThatWantsTheSystemPreservesForAll) {
   std::vector<Declared> all;
   for (Declared declared : allDeclarations()) {
      all.push_back(declared);
      declared.preserves = true;
      all.push_back(declared);
   }
   for (Declared const& first : all) {
      for (Declared const& second : all) {
         World world({first, second});
         // The version that a group accepts is not looked at, negotiated or not.
         world.negotiatedIs("first", negotiatedChoices[5]);
         ASSERT_EQ(world.machine().preserveMountsOnDisconnect(here),
                   preserves(first) || preserves(second))
            << testing::PrintToString(std::pair(&first - all.data(), &second - all.data()));
      }
   }
   World world({});
   EXPECT_FALSE(world.machine().preserveMountsOnDisconnect(here));
}

} // namespace
} // namespace RegistryTest
