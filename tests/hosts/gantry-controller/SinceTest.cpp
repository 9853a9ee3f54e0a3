// When what a controller shows and decides last changed: noted at the change, on virtual time, for
// groups and for each step of an explanation.

#include "FleetBackend.h"
#include "RandomConfiguration.h"

#include <hosts/gantry-controller/ControllerHost.h>
#include <hosts/gantry-controller/DecisionTimes.h>
#include <hosts/gantry-controller/StatusAnswers.h>

#include <gantry/runtime/cairn/TcpConfig.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>
#include <memory>

namespace Host {
namespace {

using HostTest::FleetBackend;

std::string id(unsigned number) { return "02:00:00:00:00:0" + std::to_string(number); }

class SinceTest : public testing::Test {
 protected:
   /// Two switches; a service that is mounted from the first one alone, by a filter of systems.
   SinceTest() {
      Cairn::backendIs(fleet);
      configuration = HostTest::empty();
      for (unsigned number = 1; number <= 2; ++number) {
         std::string const name = "leaf" + std::to_string(number);
         fleet->switches[name] = {id(number), {{"s", "1-2"}}, true};
         configuration.switches[name] =
            HostTest::switchAt(id(number).c_str(), "10.0.0.1", static_cast<std::uint16_t>(number));
      }
      ServiceConfiguration& service = configuration.services["s"];
      service.versions = *Versions::fromText("1-3");
      service.systemFilters["some"] = {id(1)};
      service.versionFilters["new"] = {2};
      service.mountGroups["g"].systemFilter = "some";
      service.mountGroups["g"].versionFilter = "new";
      service.mountGroups["g"].mounts["p/q"] = {"T", "", ""};
      host = std::make_unique<ControllerHost>(configuration, false);
      host->configurationIs(configuration);
      times = std::make_unique<DecisionTimes>(*host);
      pass();
   }
   ~SinceTest() override {
      times = nullptr;
      host = nullptr;
      time.advance(60.0);
      Cairn::backendIs(nullptr);
      Cairn::tcpConfig() = savedConfig;
      Fen::root()->entityPtrDelAll();
   }

   /// Lets what is under way happen, but not so long that something is retried.
   void pass() { time.advance(0.6); }
   /// Makes the change now; returns when that was.
   double change() {
      double const now = time.time();
      host->configurationIs(configuration);
      pass();
      return now;
   }

   std::map<std::string, double> since(unsigned number, std::string const& path = "p/q",
                                       std::string const& service = "s") {
      std::map<std::string, double> result;
      Json const all = explanationOf(*host, *times, service, path, "leaf" + std::to_string(number));
      for (Json const& step : all["steps"]) {
         EXPECT_TRUE(step["since"].is_number()) << step;
         result[step["step"]] = step["since"];
      }
      return result;
   }
   /// The steps whose times differ, as words.
   static std::string differing(std::map<std::string, double> const& before,
                                std::map<std::string, double> const& after, double when) {
      std::string words;
      for (auto const& [step, then] : after) {
         auto const found = before.find(step);
         if (found == before.end() || found->second != then) {
            words += (words.empty() ? "" : " ") + step;
            // What follows in later turns comes a little later.
            EXPECT_GE(then, when) << step;
            EXPECT_LT(then, when + 0.5) << step;
         }
      }
      return words;
   }

   Fen::VirtualTime time{1000.0};
   Cairn::TcpConfig const savedConfig = Cairn::tcpConfig();
   Fen::Ptr<FleetBackend> fleet = Fen::makePtr<FleetBackend>();
   Configuration configuration;
   std::unique_ptr<ControllerHost> host;
   std::unique_ptr<DecisionTimes> times;
};

TEST_F(SinceTest, AskingChangesNothing) {
   auto const first = since(1);
   EXPECT_EQ(first.size(), 11u);
   for (auto const& [step, when] : first) {
      EXPECT_GE(when, 1000.0) << step;
      EXPECT_LT(when, 1000.5) << step;
   }
   time.advance(100.0);
   EXPECT_EQ(since(1), first);
   EXPECT_EQ(since(2).size(), 11u);
   EXPECT_EQ(differing(since(2), since(2), 0.0), "");
}

TEST_F(SinceTest, AFilterThatTakesUpASwitch) {
   auto const one = since(1);
   auto const two = since(2);
   configuration.services["s"].systemFilters["some"].insert(id(2));
   double const when = change();
   EXPECT_EQ(differing(two, since(2), when), "mount path service status systemFilter");
   // The other one's verdicts rest on its own key alone.
   EXPECT_EQ(differing(one, since(1), when), "systemFilter");
}

TEST_F(SinceTest, AFilterOfVersions) {
   auto const one = since(1);
   configuration.services["s"].versionFilters["new"] = {1, 2};
   double when = change();
   // Its verdict is the same, and the mount is made anew all the same.
   EXPECT_EQ(differing(one, since(1), when), "mount status versionFilter");
   auto const both = since(1);
   configuration.services["s"].versionFilters["new"] = {1};
   when = change();
   EXPECT_EQ(differing(both, since(1), when), "mount path service status versionFilter");
}

TEST_F(SinceTest, TheVersionAndTheAnnouncement) {
   auto const one = since(1);
   auto const two = since(2);
   fleet->switches["leaf1"].offers["s"] = "1";
   double const when = time.time();
   fleet->offersChanged("leaf1");
   pass();
   EXPECT_EQ(differing(one, since(1), when), "mount path service status version");
   EXPECT_EQ(differing(two, since(2), when), "");
}

TEST_F(SinceTest, ASwitchThatIsLostAndMoves) {
   auto one = since(1);
   double when = time.time();
   fleet->lose("leaf1");
   pass();
   EXPECT_EQ(differing(one, since(1), when), "mount path registered service status version");
   one = since(1);
   configuration.switches["leaf1"].address = Nimet::IpAddr("10.0.0.9");
   when = change();
   EXPECT_NE(differing(one, since(1), when).find("connection"), std::string::npos);
}

TEST_F(SinceTest, DeclarationsAndTheRegistry) {
   auto const before = since(1);
   configuration.services["t"].versions = *Versions::fromText("1");
   configuration.services["t"].mountGroups["h"].mounts["p/q"] = {"T", "", ""};
   double when = change();
   // Who else wants the path changes the entry, and what all filters together say.
   EXPECT_EQ(differing(before, since(1), when), "mount path registry status");
   auto const nobody = since(1, "r");
   EXPECT_EQ(nobody.size(), 3u);
   configuration.services["s"].mountGroups["g"].mounts["r"] = {"T", "", ""};
   when = change();
   auto const wanted = since(1, "r");
   EXPECT_EQ(wanted.at("declared"), when);
   EXPECT_EQ(wanted.at("registry"), when);
   EXPECT_EQ(wanted.at("version"), before.at("version"));
   EXPECT_EQ(wanted.at("systemFilter"), before.at("systemFilter"));
   EXPECT_GE(wanted.at("mount"), when);
}

TEST_F(SinceTest, APathBelowAnother) {
   auto const before = since(1);
   auto const absent = since(1, "p/q/r");
   configuration.services["s"].mountGroups["g"].mounts["p/q/r"] = {"T", "", ""};
   double when = change();
   // One key leads to the other's place, and has nothing to do with it.
   EXPECT_EQ(differing(before, since(1), when), "");
   EXPECT_EQ(since(1, "p/q/r").at("declared"), when);
   EXPECT_EQ(since(1, "nowhere").at("declared"), when);
   configuration.services["s"].mountGroups["g"].mounts.erase("p/q/r");
   when = change();
   EXPECT_EQ(differing(before, since(1), when), "");
   EXPECT_EQ(since(1, "nowhere").at("declared"), when);
   EXPECT_LT(absent.at("declared"), when);
}

TEST_F(SinceTest, AGroupThatNobodyWantsAnyMore) {
   configuration.services["s"].mountGroups["g"].mounts.clear();
   configuration.services["s"].mountGroups["g"].mounts["r"] = {"T", "", ""};
   double const when = change();
   auto const gone = since(1);
   EXPECT_EQ(gone.size(), 3u);
   EXPECT_EQ(gone.at("declared"), when);
   // Of a service that is not there, the list of services.
   auto const nobody = since(1, "p/q", "nobody");
   configuration.services["t"].versions = *Versions::fromText("1");
   double const later = change();
   EXPECT_EQ(differing(nobody, since(1, "p/q", "nobody"), later), "declared");
}

TEST_F(SinceTest, GroupsAndMountsOfTheStatus) {
   Json groups = statusOf(*host)["groups"];
   ASSERT_EQ(groups.size(), 1u);
   EXPECT_EQ(groups[0]["state"], "mountStateMounted");
   double const first = groups[0]["since"];
   EXPECT_GE(first, 1000.0);
   EXPECT_LT(first, 1000.5);
   time.advance(10.0);
   EXPECT_EQ(statusOf(*host)["groups"][0]["since"], first);
   double const when = time.time();
   configuration.services["s"].systemFilters["some"].insert(id(2));
   change();
   groups = statusOf(*host)["groups"];
   ASSERT_EQ(groups.size(), 2u);
   EXPECT_EQ(groups[0]["since"], first);
   EXPECT_GE(groups[1]["since"], when);
   fleet->lose("leaf1");
   pass();
   EXPECT_EQ(statusOf(*host)["groups"].size(), 1u);
}

// ---- noted times -------------------------------------------------------------------------------

class ChangeTimesTest : public testing::Test {
 protected:
   ChangeTimesTest() { time.advance(1.0); }

   /// Moves on and returns the time at which the next change is made.
   double next() {
      time.advance(10.0);
      return time.time();
   }
   void settle() { time.advance(0.0); }

   Fen::VirtualTime time{1000.0};
   Fen::Ptr<Fen::Dir> const root = Fen::dirFactory("root");
   Fen::Ptr<Controller::MountFilterSystem> const filter = Controller::mountFilterSystemFactory("f");
};

TEST_F(ChangeTimesTest, KeysAreNotedByThemselves) {
   root->entityPtrIs(filter);
   filter->includedSystemIs("a", true);
   ChangeTimes const times(root);
   settle();
   double const began = time.time();
   EXPECT_EQ(times.of("f", "includedSystem", "a"), began);
   EXPECT_EQ(times.of("f", "includedSystem", "b"), began);
   double const came = next();
   filter->includedSystemIs("b", true);
   settle();
   EXPECT_EQ(times.of("f", "includedSystem", "a"), began);
   EXPECT_EQ(times.of("f", "includedSystem", "b"), came);
   EXPECT_EQ(times.of("f"), came);
   EXPECT_EQ(times.ofMembers("f"), began);
   double const went = next();
   filter->includedSystemDel("b");
   settle();
   EXPECT_EQ(times.of("f", "includedSystem", "b"), went);
   EXPECT_EQ(times.of("f", "includedSystem", "c"), went);
}

TEST_F(ChangeTimesTest, WhatGoesLeavesItsTimeAbove) {
   ChangeTimes const times(root);
   double const came = next();
   root->entityPtrIs(filter);
   settle();
   EXPECT_EQ(times.of("f"), came);
   EXPECT_EQ(times.of("f/nothing"), came);
   EXPECT_EQ(times.of(""), came);
   double const went = next();
   root->entityPtrDel("f");
   settle();
   EXPECT_EQ(times.of("f"), went);
   EXPECT_EQ(times.ofMembers(""), went);
   EXPECT_EQ(times.of("f", "includedSystem", "a"), went);
}

} // namespace
} // namespace Host
