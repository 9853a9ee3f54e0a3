// The table of differences: each row by itself, and random pairs of configurations whose operations
// must lead a plain model of the live entities from one to the other without a forbidden step.

#include "RandomConfiguration.h"

#include <hosts/gantry-controller/ConfigurationReader.h>
#include <hosts/gantry-controller/Differences.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>

namespace Host {
namespace {

using HostTest::empty;
using HostTest::RandomConfiguration;
using HostTest::switchAt;

using Texts = std::vector<std::string>;

Texts textsOf(Configuration const& before, Configuration const& after) {
   Differences const all = differences(before, after);
   EXPECT_TRUE(all.fixedFields.empty());
   Texts texts;
   for (Operation const& each : all.operations) {
      texts.push_back(each.text());
   }
   return texts;
}

/// One service with one group with one mount, and filters that the group uses.
Configuration sample() {
   Configuration all;
   all.system.id = Controller::SystemId("02:00:00:00:00:ff");
   all.switches["leaf1"] = switchAt("02:00:00:00:00:01", "10.0.0.1");
   ServiceConfiguration& service = all.services["s"];
   service.versions = *Versions::fromText("1-3");
   service.systemFilters["f"] = {"02:00:00:00:00:01"};
   service.versionFilters["v"] = {1, 2};
   MountGroupConfiguration& group = service.mountGroups["g"];
   group.systemFilter = "f";
   group.versionFilter = "v";
   group.mounts["p"] = {"T", "", ""};
   return all;
}

MountGroupConfiguration& group(Configuration& all) { return all.services["s"].mountGroups["g"]; }

/// The operations that follow from changing the sample.
template <class Change>
Texts after(Change const& change) {
   Configuration changed = sample();
   change(changed);
   return textsOf(sample(), changed);
}

TEST(Differences, NothingDiffers) { EXPECT_EQ(textsOf(sample(), sample()), Texts{}); }

TEST(Differences, ANewService) {
   EXPECT_EQ(textsOf(empty(), sample()),
             (Texts{"serviceIs s", "serviceVersionsIs s: 1-3", "systemFilterIs s f",
                    "systemFilterMemberIs s f 02:00:00:00:00:01", "versionFilterIs s v",
                    "versionFilterMemberIs s v 1", "versionFilterMemberIs s v 2", "groupIs s g",
                    "groupFiltersIs s g: f,v", "mountDeclare s g p: T,,",
                    "switchIs leaf1: 02:00:00:00:00:01 10.0.0.1:9001"}));
}

TEST(Differences, AServiceThatGoesLosesItsGroupsAndStays) {
   EXPECT_EQ(after([](Configuration& all) { all.services.clear(); }),
             (Texts{"mountWithdraw s g p", "pathRetire p", "groupDel s g",
                    "serviceVersionsIs s: ", "systemFilterDel s f", "versionFilterDel s v"}));
}

TEST(Differences, VersionsOfAService) {
   EXPECT_EQ(
      after([](Configuration& all) { all.services["s"].versions = *Versions::fromText("2-5"); }),
      (Texts{"serviceVersionsIs s: 2-5"}));
}

TEST(Differences, FiltersAreEditedInPlaceAndNeverEmpty) {
   EXPECT_EQ(after([](Configuration& all) {
                all.services["s"].systemFilters["f"] = {"02:00:00:00:00:02"};
             }),
             (Texts{"systemFilterMemberIs s f 02:00:00:00:00:02",
                    "systemFilterMemberDel s f 02:00:00:00:00:01"}));
   EXPECT_EQ(after([](Configuration& all) { all.services["s"].versionFilters["v"] = {3}; }),
             (Texts{"versionFilterMemberIs s v 3", "versionFilterMemberDel s v 1",
                    "versionFilterMemberDel s v 2"}));
}

TEST(Differences, AFilterThatIsReplacedMeansWithdrawAndDeclare) {
   EXPECT_EQ(after([](Configuration& all) {
                all.services["s"].systemFilters["other"] = {"02:00:00:00:00:02"};
                group(all).systemFilter = "other";
             }),
             (Texts{"mountWithdraw s g p", "systemFilterIs s other",
                    "systemFilterMemberIs s other 02:00:00:00:00:02", "groupFiltersIs s g: other,v",
                    "mountDeclare s g p: T,,"}));
   EXPECT_EQ(after([](Configuration& all) {
                group(all).versionFilter.clear();
                all.services["s"].versionFilters.clear();
             }),
             (Texts{"mountWithdraw s g p", "groupFiltersIs s g: f,", "versionFilterDel s v",
                    "mountDeclare s g p: T,,"}));
}

TEST(Differences, PreservingIsSetInPlace) {
   EXPECT_EQ(after([](Configuration& all) { group(all).preserveMountsOnDisconnect = true; }),
             (Texts{"groupPreserveIs s g: true"}));
}

TEST(Differences, MountsComeAndGo) {
   EXPECT_EQ(after([](Configuration& all) {
                group(all).mounts["q"] = {"U", "w", "here"};
             }),
             (Texts{"mountDeclare s g q: U,w,here"}));
   EXPECT_EQ(after([](Configuration& all) { group(all).mounts.clear(); }),
             (Texts{"mountWithdraw s g p", "pathRetire p"}));
}

TEST(Differences, ChangedTypeFlagsOrTargetRetireThePath) {
   for (MountConfiguration const& mount :
        {MountConfiguration{"U", "", ""}, {"T", "w", ""}, {"T", "", "here"}}) {
      EXPECT_EQ(
         after([&](Configuration& all) { group(all).mounts["p"] = mount; }),
         (Texts{"mountWithdraw s g p", "pathRetire p",
                "mountDeclare s g p: " + mount.type + "," + mount.flags + "," + mount.target}));
   }
}

TEST(Differences, AGroupComesAndGoes) {
   EXPECT_EQ(after([](Configuration& all) {
                all.services["s"].mountGroups["h"].mounts["q"] = {"T", "", ""};
             }),
             (Texts{"groupIs s h", "mountDeclare s h q: T,,"}));
   EXPECT_EQ(after([](Configuration& all) { all.services["s"].mountGroups.clear(); }),
             (Texts{"mountWithdraw s g p", "pathRetire p", "groupDel s g"}));
}

TEST(Differences, APathThatMovesToAnotherGroupIsWithdrawnFirst) {
   EXPECT_EQ(after([](Configuration& all) {
                auto& groups = all.services["s"].mountGroups;
                groups["h"].mounts["p"] = {"T", "", ""};
                groups["g"].mounts.clear();
             }),
             (Texts{"mountWithdraw s g p", "groupIs s h", "mountDeclare s h p: T,,"}));
}

TEST(Differences, ASharedPath) {
   Configuration shared = sample();
   shared.services["t"].mountGroups["h"].mounts["p"] = {"T", "", ""};
   EXPECT_EQ(textsOf(sample(), shared),
             (Texts{"serviceIs t", "groupIs t h", "mountDeclare t h p: T,,"}));
   // It goes only when nobody wants it.
   EXPECT_EQ(textsOf(shared, sample()), (Texts{"mountWithdraw t h p", "groupDel t h"}));
   // What all of them want otherwise is withdrawn by all before it is retired.
   Configuration other = shared;
   group(other).mounts["p"].type = "U";
   other.services["t"].mountGroups["h"].mounts["p"].type = "U";
   EXPECT_EQ(textsOf(shared, other),
             (Texts{"mountWithdraw s g p", "mountWithdraw t h p", "pathRetire p",
                    "mountDeclare s g p: U,,", "mountDeclare t h p: U,,"}));
   // One service's filter alone would move nobody, where another lets the system pass.
   Configuration filtered = shared;
   filtered.services["s"].systemFilters["f"] = {"02:00:00:00:00:02"};
   EXPECT_EQ(textsOf(shared, filtered),
             (Texts{"systemFilterMemberIs s f 02:00:00:00:00:02",
                    "systemFilterMemberDel s f 02:00:00:00:00:01",
                    "systemRevisit 02:00:00:00:00:01", "systemRevisit 02:00:00:00:00:02"}));
}

TEST(Differences, Switches) {
   EXPECT_EQ(after([](Configuration& all) {
                all.switches["leaf2"] = switchAt("02:00:00:00:00:02", "10.0.0.2");
             }),
             (Texts{"switchIs leaf2: 02:00:00:00:00:02 10.0.0.2:9001"}));
   EXPECT_EQ(after([](Configuration& all) { all.switches.clear(); }), (Texts{"switchDel leaf1"}));
   for (SwitchConfiguration const& one :
        {switchAt("02:00:00:00:00:01", "10.0.0.9"), switchAt("02:00:00:00:00:01", "10.0.0.1", 9),
         switchAt("02:00:00:00:00:09", "10.0.0.1")}) {
      Texts const texts = after([&](Configuration& all) { all.switches["leaf1"] = one; });
      ASSERT_EQ(texts.size(), 2u);
      EXPECT_EQ(texts[0], "switchDel leaf1");
      EXPECT_EQ(texts[1].rfind("switchIs leaf1: ", 0), 0u);
   }
   EXPECT_EQ(after([](Configuration& all) {
                all.switches["spine"] = all.switches["leaf1"];
                all.switches.erase("leaf1");
             }),
             (Texts{"switchDel leaf1", "switchIs spine: 02:00:00:00:00:01 10.0.0.1:9001"}));
}

TEST(Differences, TimesThatCanChange) {
   EXPECT_EQ(after([](Configuration& all) { all.timing.heartbeatInterval = 9; }),
             (Texts{"heartbeatIntervalIs"}));
   EXPECT_EQ(after([](Configuration& all) { all.timing.retryInterval = 9; }),
             (Texts{"retryIntervalIs"}));
}

TEST(Differences, WhatIsFixed) {
   Configuration changed = sample();
   changed.services.clear();
   changed.system.id = Controller::SystemId("02:00:00:00:00:fe");
   changed.system.name = "boss";
   changed.system.port = 1;
   changed.timing.reconnectRetries = 9;
   changed.timing.mountTimeout = 9;
   Differences const all = differences(sample(), changed);
   EXPECT_EQ(all.fixedFields, (Texts{"system.id", "system.name", "system.listen",
                                     "timing.reconnectRetries", "timing.mountTimeout"}));
   EXPECT_TRUE(all.operations.empty());
}

// ---- random pairs ------------------------------------------------------------------------------

/// The live entities as plain values, with the rules that hold for them.
class LiveModel {
 public:
   /// What stands there now, as the configuration that says the same.
   Configuration now = empty();

   void apply(Operation const& operation) {
      using Kind = OperationKind;
      ServiceConfiguration& service = now.services[operation.owner];
      std::string const& name = operation.name;
      switch (operation.kind) {
      case Kind::switchDel:
         EXPECT_EQ(now.switches.erase(operation.owner), 1u);
         break;
      case Kind::switchIs:
         for (auto const& [other, known] : now.switches) {
            EXPECT_TRUE(known.id != operation.toSwitch.id);
         }
         EXPECT_TRUE(now.switches.emplace(operation.owner, operation.toSwitch).second);
         break;
      case Kind::serviceIs:
         EXPECT_TRUE(services.insert(operation.owner).second);
         break;
      case Kind::serviceVersionsIs:
         service.versions = operation.versions;
         break;
      case Kind::systemFilterIs:
         EXPECT_TRUE(service.systemFilters.try_emplace(name).second);
         break;
      case Kind::systemFilterDel:
         EXPECT_EQ(service.systemFilters.erase(name), 1u);
         break;
      case Kind::systemFilterMemberIs:
         EXPECT_TRUE(service.systemFilters.at(name).insert(operation.member).second);
         break;
      case Kind::systemFilterMemberDel:
         EXPECT_EQ(service.systemFilters.at(name).erase(operation.member), 1u);
         break;
      case Kind::versionFilterIs:
         EXPECT_TRUE(service.versionFilters.try_emplace(name).second);
         break;
      case Kind::versionFilterDel:
         EXPECT_EQ(service.versionFilters.erase(name), 1u);
         break;
      case Kind::versionFilterMemberIs:
         EXPECT_TRUE(service.versionFilters.at(name).insert(version(operation)).second);
         break;
      case Kind::versionFilterMemberDel:
         EXPECT_EQ(service.versionFilters.at(name).erase(version(operation)), 1u);
         break;
      default:
         applyToGroups(operation, service);
      }
      filtersOfMountsAreNotEmpty();
   }

   std::set<std::string> services;

 private:
   static std::uint32_t version(Operation const& operation) {
      return static_cast<std::uint32_t>(std::strtoul(operation.member.c_str(), nullptr, 10));
   }

   void applyToGroups(Operation const& operation, ServiceConfiguration& service) {
      using Kind = OperationKind;
      switch (operation.kind) {
      case Kind::groupIs:
         EXPECT_TRUE(services.contains(operation.owner));
         EXPECT_TRUE(service.mountGroups.try_emplace(operation.group).second);
         break;
      case Kind::groupDel:
         EXPECT_EQ(service.mountGroups.erase(operation.group), 1u);
         break;
      case Kind::groupFiltersIs: {
         MountGroupConfiguration& group = service.mountGroups.at(operation.group);
         // A mount keeps the filters with which it was declared.
         EXPECT_TRUE(group.mounts.empty());
         EXPECT_TRUE(operation.systemFilter.empty() ||
                     service.systemFilters.contains(operation.systemFilter));
         group.systemFilter = operation.systemFilter;
         group.versionFilter = operation.versionFilter;
         break;
      }
      case Kind::groupPreserveIs:
         service.mountGroups.at(operation.group).preserveMountsOnDisconnect = operation.flag;
         break;
      case Kind::mountWithdraw:
         EXPECT_EQ(service.mountGroups.at(operation.group).mounts.erase(operation.name), 1u);
         break;
      case Kind::pathRetire:
         EXPECT_EQ(wanted(operation.name), 0u) << operation.name;
         EXPECT_EQ(registry.erase(operation.name), 1u);
         break;
      case Kind::mountDeclare: {
         auto const [entry, isNew] = registry.emplace(operation.name, operation.mount);
         EXPECT_EQ(entry->second, operation.mount);
         for (auto const& [name, group] : service.mountGroups) {
            EXPECT_FALSE(group.mounts.contains(operation.name));
         }
         service.mountGroups.at(operation.group).mounts[operation.name] = operation.mount;
         break;
      }
      default:
         applyToPublications(operation, service);
      }
   }

   void applyToPublications(Operation const& operation, ServiceConfiguration& service) {
      using Kind = OperationKind;
      std::string const& path = operation.name;
      switch (operation.kind) {
      case Kind::publishGroupIs:
         EXPECT_TRUE(services.contains(operation.owner));
         EXPECT_TRUE(service.publishGroups.try_emplace(operation.group).second);
         break;
      case Kind::publishGroupDel: {
         PublishGroupConfiguration const& gone = service.publishGroups.at(operation.group);
         // Its directories would stay published.
         EXPECT_TRUE(gone.publications.empty());
         service.publishGroups.erase(operation.group);
         break;
      }
      case Kind::publishGroupFiltersIs: {
         PublishGroupConfiguration& filtered = service.publishGroups.at(operation.group);
         for (auto const& [each, publication] : filtered.publications) {
            EXPECT_FALSE(publication.isDirectory) << "it keeps the filters that it has";
         }
         EXPECT_TRUE(operation.systemFilter.empty() ||
                     service.systemFilters.contains(operation.systemFilter));
         filtered.systemFilter = operation.systemFilter;
         filtered.versionFilter = operation.versionFilter;
         break;
      }
      case Kind::contentIs:
         content[path] = operation.publication;
         for (auto& [name, each] : now.services) {
            for (auto& [group, publish] : each.publishGroups) {
               if (auto const found = publish.publications.find(path);
                   found != publish.publications.end()) {
                  EXPECT_EQ(found->second.entity.type, operation.publication.entity.type);
                  found->second.entity = operation.publication.entity;
                  found->second.parts = operation.publication.parts;
               }
            }
         }
         break;
      case Kind::contentDel:
         EXPECT_EQ(content.erase(path), 1u);
         break;
      case Kind::publicationDeclare: {
         PublicationConfiguration declared = operation.publication;
         // It stands in the tree.
         EXPECT_EQ(declared.isDirectory, content.at(path).isDirectory);
         EXPECT_EQ(declared.entity, content.at(path).entity);
         EXPECT_EQ(declared.parts, content.at(path).parts);
         EXPECT_TRUE(service.publishGroups.at(operation.group)
                        .publications.emplace(path, std::move(declared))
                        .second);
         break;
      }
      case Kind::publicationWithdraw: {
         auto& publications = service.publishGroups.at(operation.group).publications;
         EXPECT_EQ(publications.at(path).isDirectory, operation.flag);
         publications.erase(path);
         break;
      }
      case Kind::serviceReadyIs:
         service.ready = operation.flag;
         break;
      default:
         break;
      }
   }

   std::size_t wanted(std::string const& path) const {
      std::size_t count = 0;
      for (auto const& [name, service] : now.services) {
         for (auto const& [group, mounts] : service.mountGroups) {
            count += mounts.mounts.count(path);
         }
      }
      return count;
   }

   void filtersOfMountsAreNotEmpty() const {
      for (auto const& [name, service] : now.services) {
         for (auto const& [groupName, group] : service.mountGroups) {
            if (group.mounts.empty()) {
               continue;
            }
            EXPECT_TRUE(group.systemFilter.empty() ||
                        !service.systemFilters.at(group.systemFilter).empty());
            EXPECT_TRUE(group.versionFilter.empty() ||
                        !service.versionFilters.at(group.versionFilter).empty());
         }
      }
   }

   std::map<std::string, MountConfiguration> registry;
   /// What stands in the tree to be published.
   std::map<std::string, PublicationConfiguration> content;
};

/// Adds publications to the services of a configuration.
class RandomPublications {
 public:
   explicit RandomPublications(std::mt19937& random) : random_(random) {}

   void addTo(Configuration& all) {
      for (auto& [name, service] : all.services) {
         service.ready = chance(2);
         for (char const* groupName : {"g", "k"}) {
            if (chance(3)) {
               groupIs(service, service.publishGroups[groupName], name + "/" + groupName + "/");
            }
         }
      }
   }

 private:
   bool chance(unsigned of) { return random_() % of != 0; }
   std::string oneOf(Texts const& texts) { return texts[random_() % texts.size()]; }

   EntityConfiguration entity() {
      EntityConfiguration made{oneOf({"T", "U"}), {}};
      if (chance(2)) {
         made.values["number"] = oneOf({"1", "2"});
      }
      return made;
   }

   /// Each group has paths of its own: the reader refuses a path that is there twice.
   void groupIs(ServiceConfiguration const& service, PublishGroupConfiguration& group,
                std::string const& below) {
      if (!service.systemFilters.empty() && chance(2)) {
         group.systemFilter = service.systemFilters.begin()->first;
      }
      for (char const* place : {"x", "y"}) {
         if (chance(2)) {
            continue;
         }
         PublicationConfiguration& one = group.publications[below + place];
         one.isDirectory = chance(2);
         one.remotePath = oneOf({"there", "elsewhere"});
         if (one.isDirectory) {
            one.parts[oneOf({"a", "b"})]["e"] = entity();
         } else {
            one.entity = entity();
         }
      }
   }

   std::mt19937& random_;
};

/// A service that is gone has nothing left, and counts as if it had never been.
Configuration withoutIdle(Configuration all) {
   std::erase_if(all.services,
                 [](auto const& each) { return each.second == ServiceConfiguration(); });
   return all;
}

/// The sample with one published entity and one published directory.
Configuration publishing() {
   Configuration all = sample();
   ServiceConfiguration& service = all.services["s"];
   service.ready = true;
   PublishGroupConfiguration& group = service.publishGroups["d"];
   group.systemFilter = "f";
   group.publications["one"] = {false, "there", {"T", {{"number", "1"}}}, {}};
   group.publications["many"].isDirectory = true;
   group.publications["many"].remotePath = "all";
   group.publications["many"].parts["02:00:00:00:00:01"]["e"] = {"T", {}};
   return all;
}

/// The operations that follow from changing what is published.
template <class Change>
Texts republished(Change const& change) {
   Configuration changed = publishing();
   change(changed.services["s"].publishGroups["d"]);
   return textsOf(publishing(), changed);
}

TEST(Differences, PublishingBegins) {
   EXPECT_EQ(textsOf(sample(), publishing()),
             (Texts{"publishGroupIs s d", "publishGroupFiltersIs s d: f,", "contentIs s d many",
                    "contentIs s d one", "publicationDeclare s d many: all",
                    "publicationDeclare s d one: there", "serviceReadyIs s: true"}));
}

TEST(Differences, PublishingEnds) {
   EXPECT_EQ(
      textsOf(publishing(), sample()),
      (Texts{"publicationWithdraw s d many", "publicationWithdraw s d one", "publishGroupDel s d",
             "contentDel s d many", "contentDel s d one", "serviceReadyIs s: false"}));
}

TEST(Differences, PublishedValuesChangeInPlace) {
   EXPECT_EQ(republished([](PublishGroupConfiguration& group) {
                group.publications["one"].entity.values["number"] = "2";
             }),
             Texts{"contentIs s d one"});
   EXPECT_EQ(republished([](PublishGroupConfiguration& group) {
                group.publications["many"].parts["02:00:00:00:00:02"]["e"] = {"T", {}};
             }),
             Texts{"contentIs s d many"});
}

TEST(Differences, APublishedPathThatAppearsElsewhereIsDeclaredAnew) {
   EXPECT_EQ(republished([](PublishGroupConfiguration& group) {
                group.publications["many"].remotePath = "elsewhere";
             }),
             (Texts{"publicationWithdraw s d many", "publicationDeclare s d many: elsewhere"}));
   EXPECT_EQ(republished([](PublishGroupConfiguration& group) {
                group.publications["one"].entity = {"U", {}};
             }),
             (Texts{"publicationWithdraw s d one", "contentDel s d one", "contentIs s d one",
                    "publicationDeclare s d one: there"}));
}

TEST(Differences, APublishedDirectoryKeepsItsFilters) {
   // An entity follows its group.
   EXPECT_EQ(republished([](PublishGroupConfiguration& group) { group.systemFilter = ""; }),
             (Texts{"publicationWithdraw s d many", "publishGroupFiltersIs s d: ,",
                    "publicationDeclare s d many: all"}));
}

TEST(Differences, OperationsLeadFromAnyConfigurationToAnyOther) {
   std::mt19937 random(20);
   RandomConfiguration make(random);
   RandomPublications publish(random);
   unsigned const rounds = std::getenv("GANTRY_TEST_LONG") != nullptr ? 20000 : 500;
   for (unsigned round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
      LiveModel live;
      Configuration before = empty();
      for (unsigned step = 0; step < 6; ++step) {
         Configuration after = make.make();
         publish.addTo(after);
         for (Operation const& each : differences(before, after).operations) {
            SCOPED_TRACE(each.text());
            if (each.kind == OperationKind::serviceIs && live.services.contains(each.owner)) {
               live.services.erase(each.owner); // it stayed, and is taken up again
            }
            live.apply(each);
         }
         EXPECT_EQ(withoutIdle(live.now), withoutIdle(after)) << "round " << round;
         before = after;
      }
   }
}

} // namespace
} // namespace Host
