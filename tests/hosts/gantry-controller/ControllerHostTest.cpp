// The whole controller on virtual time, over a fleet of switches without a network: registration,
// negotiation, declarations and hostile switches one by one, and random sequences of everything
// against a plain account of who must have what.

#include "FleetBackend.h"
#include "RandomConfiguration.h"

#include <hosts/gantry-controller/ConfigurationReader.h>
#include <hosts/gantry-controller/ControllerHost.h>

#include <gantry/runtime/cairn/TcpConfig.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace Host {
namespace {

using HostTest::FleetBackend;

std::string id(unsigned number) { return "02:00:00:00:00:0" + std::to_string(number); }
Controller::SystemId systemOf(unsigned number) {
   return Controller::SystemId(Fen::String8(id(number)));
}

/// Writes down what is shown.
class RecordingOutput : public StatusOutput {
 public:
   void mount(MountRow const& row) override {
      lines.push_back(row.service + " " + row.switchName + " " + row.path + " " + row.state +
                      (row.reason.empty() ? "" : ": " + row.reason));
   }
   void knownSwitch(SwitchRow const& row) override {
      lines.push_back(row.name + " " + row.state + (row.reason.empty() ? "" : ": " + row.reason));
   }
   void service(ServiceRow const& row, bool isGone) override {
      lines.push_back(row.service + " " + row.switchName + " " +
                      (isGone ? "gone" : std::to_string(row.version) + ": " + row.description));
   }
   void refusal(std::string const& peer, std::string const& reason) override {
      lines.push_back("refused " + peer + ": " + reason);
   }
   void initialMounts(InitialRow const& row) override {
      lines.push_back("first " + row.service + "/" + row.group + " " + row.switchesText());
   }
   void initialMountsChanged() override {}
   void configuration(std::size_t operations, std::string const& fault) override {
      lines.push_back("configuration " + std::to_string(operations) + fault);
   }

   bool has(std::string const& line) const {
      return std::find(lines.begin(), lines.end(), line) != lines.end();
   }
   std::string text() const {
      std::string all;
      for (std::string const& each : lines) {
         all += each + "\n";
      }
      return all;
   }

   std::vector<std::string> lines;
};

class ControllerHostTest : public testing::Test {
 protected:
   ControllerHostTest() {
      Cairn::backendIs(fleet);
      configuration = HostTest::empty();
      for (unsigned number = 1; number <= 3; ++number) {
         fleet->switches["leaf" + std::to_string(number)] = {id(number), {{"s", "1"}}, true};
      }
   }
   ~ControllerHostTest() override {
      host = nullptr;
      time.advance(60.0);
      Cairn::backendIs(nullptr);
      Cairn::tcpConfig() = savedConfig;
      Fen::root()->entityPtrDelAll();
   }

   void start(bool accepts = false) {
      host = std::make_unique<ControllerHost>(configuration, accepts);
      host->outputIs(&output);
      host->configurationIs(configuration);
      settle();
   }
   /// Carries out what the test has changed.
   void change() {
      host->configurationIs(configuration);
      settle();
   }
   /// Runs until nothing happens, but not so long that something is retried.
   void settle() { time.advance(0.01); }
   /// Until everything that can be retried has been.
   void retry() { time.advance(3.0); }

   void declareSwitches(unsigned count) {
      for (unsigned number = 1; number <= count; ++number) {
         configuration.switches["leaf" + std::to_string(number)] =
            HostTest::switchAt(id(number).c_str(), "10.0.0.1", static_cast<std::uint16_t>(number));
      }
   }
   /// A service with one group "g" with one mount.
   ServiceConfiguration& declareService(std::string const& name, std::string const& path,
                                        std::string const& type = "T") {
      ServiceConfiguration& service = configuration.services[name];
      service.versions = *Versions::fromText("1-3");
      service.mountGroups["g"].mounts[path] = {type, "", ""};
      return service;
   }

   Fen::Ptr<Controller::MountStatus> status(std::string const& service, unsigned number,
                                            std::string const& group, std::string const& path) {
      auto const all = Fen::ptrCast<Controller::ServiceMountStatus>(
         host->entities().mountStatusDir->entityPtr(Fen::Name(service)));
      auto const system = all ? all->systemStatus(Fen::Name(id(number))) : nullptr;
      auto const groups = system ? system->serviceMountGroupStatus(Fen::Name(group)) : nullptr;
      return groups ? groups->mountStatus(Fen::Name(path)) : nullptr;
   }
   /// The name of the state without its beginning, "none" without a status.
   std::string state(std::string const& service, unsigned number, std::string const& path,
                     std::string const& group = "g") {
      auto const found = status(service, number, group, path);
      return found ? std::string(Controller::stringValue(found->mountState()).view()).substr(10)
                   : "none";
   }
   bool isRegistered(unsigned number) {
      return host->entities().controllerStatus->registeredSwitch(systemOf(number)) &&
             host->entities().registeredSwitches->system(systemOf(number));
   }
   static std::uint64_t refused(char const* why) {
      return Fen::Counters::value(std::string("controller.refused.") + why);
   }

   Fen::VirtualTime time{1000.0};
   Cairn::TcpConfig const savedConfig = Cairn::tcpConfig();
   Fen::Ptr<FleetBackend> fleet = Fen::makePtr<FleetBackend>();
   Configuration configuration;
   RecordingOutput output;
   std::unique_ptr<ControllerHost> host;
};

// ---- registration ------------------------------------------------------------------------------

TEST_F(ControllerHostTest, ASwitchIsRegisteredWhenItHasSaidWhoItIs) {
   declareSwitches(2);
   declareService("s", "p");
   fleet->switches["leaf2"].isUp = false;
   start();
   EXPECT_TRUE(isRegistered(1));
   EXPECT_FALSE(isRegistered(2));
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
   EXPECT_EQ(state("s", 2, "p"), "none");
   EXPECT_TRUE(host->entities().peerTable->peer(systemOf(1)));
   EXPECT_FALSE(host->entities().peerTable->peer(systemOf(2)));
   auto const config = host->entities().controllerStatus->switchConfig(systemOf(1));
   ASSERT_TRUE(config);
   EXPECT_EQ(config->connectionConfig()->sysname(), "leaf1");
   EXPECT_EQ(config->registrationGenId(), 1u);
   EXPECT_TRUE(output.has("leaf2 lost: the switch is down")) << output.text();
   fleet->switches["leaf2"].isUp = true;
   retry();
   EXPECT_TRUE(isRegistered(2));
   EXPECT_EQ(state("s", 2, "p"), "Mounted");
}

TEST_F(ControllerHostTest, ALostSwitchLosesOrKeepsAsItsGroupSays) {
   declareSwitches(2);
   declareService("s", "p");
   MountGroupConfiguration& kept = configuration.services["s"].mountGroups["kept"];
   kept.preserveMountsOnDisconnect = true;
   kept.mounts["q"] = {"T", "", ""};
   start();
   output.lines.clear();
   fleet->lose("leaf1");
   settle();
   EXPECT_FALSE(isRegistered(1));
   EXPECT_FALSE(host->entities().peerTable->peer(systemOf(1)));
   EXPECT_EQ(state("s", 1, "p"), "none");
   EXPECT_EQ(state("s", 1, "q", "kept"), "Pending");
   // Nobody else is disturbed.
   EXPECT_EQ(output.text().find("leaf2"), std::string::npos) << output.text();
   fleet->switches["leaf1"].isUp = true;
   retry();
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
   EXPECT_EQ(state("s", 1, "q", "kept"), "Mounted");
   EXPECT_EQ(host->entities().controllerStatus->switchConfig(systemOf(1))->registrationGenId(), 2u);
}

TEST_F(ControllerHostTest, WhatIsKeptOfALostSwitchGoesWithItsDeclaration) {
   declareSwitches(1);
   declareService("s", "p").mountGroups["g"].preserveMountsOnDisconnect = true;
   start();
   fleet->lose("leaf1");
   settle();
   EXPECT_EQ(state("s", 1, "p"), "Pending");
   configuration.services.clear();
   change();
   EXPECT_EQ(host->entities().mountsRegistry->mountEntryCount(), 0u);
   EXPECT_TRUE(host->entities().isUnmounted());
}

TEST_F(ControllerHostTest, ASwitchMovesToAnotherAddress) {
   declareSwitches(1);
   declareService("s", "p").mountGroups["g"].preserveMountsOnDisconnect = true;
   start();
   auto const connection =
      host->entities().controllerStatus->switchConfig(systemOf(1))->connectionConfig();
   configuration.switches["leaf1"].address = Nimet::IpAddr("10.0.0.9");
   change();
   // Edited, not replaced: what is kept of the switch finds it by this.
   EXPECT_EQ(host->entities().controllerStatus->switchConfig(systemOf(1))->connectionConfig(),
             connection);
   EXPECT_EQ(connection->ip().stringValue(), "10.0.0.9");
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
}

TEST_F(ControllerHostTest, ASwitchThatLeavesTheFileIsForgotten) {
   declareSwitches(2);
   declareService("s", "p");
   start();
   configuration.switches.erase("leaf1");
   change();
   EXPECT_FALSE(isRegistered(1));
   EXPECT_FALSE(host->entities().controllerStatus->switchConfig(systemOf(1)));
   EXPECT_FALSE(Fen::Entity::entity(Fen::EntityUriPath("/switches/leaf1")));
   EXPECT_EQ(state("s", 1, "p"), "none");
   EXPECT_EQ(state("s", 2, "p"), "Mounted");
   EXPECT_TRUE(output.has("leaf1 gone")) << output.text();
   declareSwitches(2);
   change();
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
}

// ---- negotiation -------------------------------------------------------------------------------

TEST_F(ControllerHostTest, TheHighestCommonVersionIsNegotiated) {
   declareSwitches(3);
   declareService("s", "p");
   fleet->switches["leaf1"].offers = {{"s", "2-9"}};
   fleet->switches["leaf2"].offers = {{"s", "4"}};
   fleet->switches["leaf3"].offers = {};
   start();
   EXPECT_TRUE(output.has("s leaf1 3: controller 1-3, switch 2-9")) << output.text();
   EXPECT_TRUE(output.has("s leaf2 0: no version in common: controller 1-3, switch 4"));
   EXPECT_TRUE(output.has("s leaf3 0: not offered: controller 1-3, switch none"));
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
   EXPECT_EQ(state("s", 2, "p"), "none");
   EXPECT_EQ(state("s", 3, "p"), "none");
   // Not on offer, and still registered.
   EXPECT_TRUE(isRegistered(3));
   fleet->switches["leaf2"].offers = {{"s", "1,4"}};
   fleet->offersChanged("leaf2");
   settle();
   EXPECT_EQ(state("s", 2, "p"), "Mounted");
   configuration.services["s"].versions = *Versions::fromText("5");
   change();
   EXPECT_EQ(state("s", 2, "p"), "none");
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
}

TEST_F(ControllerHostTest, AnOfferThatStaysTheSameWakesNobody) {
   declareSwitches(1);
   declareService("s", "p");
   start();
   output.lines.clear();
   fleet->switches["leaf1"].offers["other"] = "7";
   fleet->offersChanged("leaf1");
   settle();
   EXPECT_EQ(output.text(), "");
}

// ---- switches that are not to be trusted -------------------------------------------------------

TEST_F(ControllerHostTest, NonsenseKeepsASwitchOutAndDisturbsNobody) {
   declareSwitches(2);
   declareService("s", "p");
   start();
   struct {
      std::map<std::string, std::string> offers;
      char const* shown;
   } const cases[] = {
      {{{"s", "one"}}, "it offers versions of 's' that are no versions: 'one'"},
      {{{"s", "1"}, {"other", "0"}}, "it offers versions of 'other' that are no versions: '0'"},
      {{{std::string(1 << 20, 'x'), "1"}}, "it offers a service whose name is no name: 'xxx"},
      {{{"a/b", "1"}}, "it offers a service whose name is no name: 'a/b'"},
      {{{"s", std::string(100, '\n')}}, "it offers versions of 's' that are no versions: '????"},
   };
   for (auto const& each : cases) {
      output.lines.clear();
      std::uint64_t const before = refused("bad_offer");
      fleet->switches["leaf1"].offers = each.offers;
      fleet->offersChanged("leaf1");
      settle();
      EXPECT_FALSE(isRegistered(1));
      EXPECT_EQ(state("s", 1, "p"), "none");
      EXPECT_TRUE(isRegistered(2));
      EXPECT_NE(output.text().find(std::string("leaf1 refused: ") + each.shown), std::string::npos)
         << output.text();
      EXPECT_EQ(output.text().find("leaf2"), std::string::npos) << output.text();
      EXPECT_EQ(refused("bad_offer"), before + 1);
      for (std::string const& line : output.lines) {
         EXPECT_LT(line.size(), 300u);
      }
      fleet->switches["leaf1"].offers = {{"s", "1"}};
      fleet->offersChanged("leaf1");
      settle();
      EXPECT_EQ(state("s", 1, "p"), "Mounted");
   }
}

TEST_F(ControllerHostTest, AnotherSystemAtThePlaceIsRefused) {
   declareSwitches(2);
   declareService("s", "p");
   fleet->switches["leaf1"].id = id(2);
   start();
   EXPECT_FALSE(isRegistered(1));
   EXPECT_TRUE(output.has("leaf1 refused: it says that it is system " + id(2) + ", not " + id(1)))
      << output.text();
   EXPECT_TRUE(isRegistered(2));
   EXPECT_EQ(state("s", 2, "p"), "Mounted");
}

Cairn::PeerIdentity caller(unsigned number, char const* address = "10.0.0.7",
                           char const* name = "new", std::uint16_t port = 7) {
   return {Nimet::IpAddr(address), name, Nimet::EthAddr(Fen::String8(id(number))), port};
}

TEST_F(ControllerHostTest, WhoMayMakeItselfKnown) {
   configuration.system.address = Nimet::IpAddr("127.0.0.1");
   declareSwitches(1);
   declareService("s", "p");
   fleet->switches["new"] = {id(5), {{"s", "1"}}, true};
   start(true);
   Cairn::PeerPolicy& policy = *host->server()->peerPolicy();
   // No system at all, and the switch of the file at its own address.
   EXPECT_EQ(policy.handlePeer(Cairn::PeerIdentity()), "");
   EXPECT_EQ(policy.handlePeer(caller(1, "10.0.0.1")), "");
   // The twin of a known one, the controller itself, a name that is taken or none, no port.
   EXPECT_EQ(policy.handlePeer(caller(1)).str(), "system " + id(1) + " is known at 10.0.0.1:1");
   Cairn::PeerIdentity self = caller(1);
   self.systemId = Nimet::EthAddr("02:00:00:00:00:ff");
   EXPECT_NE(policy.handlePeer(self), "");
   EXPECT_NE(policy.handlePeer(caller(5, "10.0.0.7", "leaf1")), "");
   for (char const* name : {"", "a/b", "a\nb", ".."}) {
      EXPECT_NE(policy.handlePeer(caller(5, "10.0.0.7", name)), "") << name;
   }
   EXPECT_NE(policy.handlePeer(caller(5, "10.0.0.7", std::string(300, 'x').c_str())), "");
   EXPECT_NE(policy.handlePeer(caller(5, "10.0.0.7", "new", 0)), "");
   EXPECT_FALSE(host->entities().controllerStatus->switchConfig(systemOf(5)));
   // And one in order.
   EXPECT_EQ(policy.handlePeer(caller(5)), "");
   settle();
   EXPECT_TRUE(isRegistered(5));
   EXPECT_EQ(state("s", 5, "p"), "Mounted");
   std::uint64_t const before = refused("id_in_use");
   EXPECT_NE(policy.handlePeer(caller(5, "10.0.0.8")), "");
   EXPECT_NE(policy.handlePeer(caller(5, "10.0.0.7", "new", 8)), "");
   EXPECT_EQ(refused("id_in_use"), before + 2);
   settle();
   EXPECT_EQ(state("s", 5, "p"), "Mounted");
   // It calls again, one call ends: it stays. It is lost while nobody calls: it is forgotten.
   EXPECT_EQ(policy.handlePeer(caller(5)), "");
   policy.handlePeerGone(caller(5));
   policy.handlePeerGone(caller(5));
   settle();
   EXPECT_TRUE(isRegistered(5));
   fleet->lose("new");
   settle();
   EXPECT_TRUE(output.has("new gone")) << output.text();
   EXPECT_FALSE(host->entities().controllerStatus->switchConfig(systemOf(5)));
   fleet->switches["new"].isUp = true;
   EXPECT_EQ(policy.handlePeer(caller(5, "10.0.0.9")), "");
   settle();
   EXPECT_EQ(state("s", 5, "p"), "Mounted");
}

TEST_F(ControllerHostTest, ACallerThatIsLostAndStillCallsIsTriedAgain) {
   configuration.system.address = Nimet::IpAddr("127.0.0.1");
   fleet->switches["new"] = {id(5), {{"s", "1"}}, false};
   start(true);
   EXPECT_EQ(host->server()->peerPolicy()->handlePeer(caller(5)), "");
   settle();
   EXPECT_FALSE(isRegistered(5));
   fleet->switches["new"].isUp = true;
   retry();
   EXPECT_TRUE(isRegistered(5));
}

TEST_F(ControllerHostTest, TheFileOutranksACaller) {
   configuration.system.address = Nimet::IpAddr("127.0.0.1");
   declareService("s", "p");
   fleet->switches["leaf1"].isUp = true;
   start(true);
   EXPECT_EQ(host->server()->peerPolicy()->handlePeer(caller(1, "10.0.0.7", "leaf1")), "");
   settle();
   EXPECT_TRUE(isRegistered(1));
   declareSwitches(1);
   change();
   EXPECT_TRUE(isRegistered(1));
   EXPECT_EQ(host->entities()
                .controllerStatus->switchConfig(systemOf(1))
                ->connectionConfig()
                ->ip()
                .stringValue(),
             "10.0.0.1");
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
}

// ---- declarations ------------------------------------------------------------------------------

TEST_F(ControllerHostTest, AServiceThatComesBackIsTakenUpAgain) {
   declareSwitches(1);
   declareService("s", "p");
   start();
   configuration.services.clear();
   change();
   EXPECT_EQ(state("s", 1, "p"), "none");
   EXPECT_EQ(fleet->mounted(), 0u);
   declareService("s", "q");
   change();
   EXPECT_EQ(state("s", 1, "q"), "Mounted");
   EXPECT_EQ(fleet->mounted(), 1u);
}

TEST_F(ControllerHostTest, AChangedTypeWaitsForTheLastMount) {
   declareSwitches(2);
   declareService("s", "p");
   start();
   configuration.services["s"].mountGroups["g"].mounts["p"].type = "U";
   host->configurationIs(configuration);
   // Not yet: the mounts of the old type are still there.
   EXPECT_EQ(host->entities().mountsRegistry->mountEntry("p")->fenType(), "T");
   settle();
   EXPECT_EQ(host->entities().mountsRegistry->mountEntry("p")->fenType(), "U");
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
   EXPECT_EQ(state("s", 2, "p"), "Mounted");
}

TEST_F(ControllerHostTest, DeclaredAndWithdrawnInOneTurn) {
   declareSwitches(1);
   declareService("s", "p");
   start();
   Configuration const before = configuration;
   configuration.services["s"].mountGroups["g"].mounts["q"] = {"T", "", ""};
   host->configurationIs(configuration);
   // The machine of the mount has not had its first turn.
   host->configurationIs(before);
   settle();
   EXPECT_FALSE(host->entities().mountsRegistry->mountEntry("q"));
   // And with another type, twice, while the first is still on its way out.
   for (char const* type : {"U", "V"}) {
      configuration.services["s"].mountGroups["g"].mounts["q"].type = type;
      host->configurationIs(configuration);
   }
   settle();
   EXPECT_EQ(host->entities().mountsRegistry->mountEntry("q")->fenType(), "V");
   EXPECT_EQ(state("s", 1, "q"), "Mounted");
}

TEST_F(ControllerHostTest, ASharedPathShowsToWhoeverGetsTheSwitchLater) {
   declareSwitches(2);
   // Both filters let a switch pass: nobody but the host can know that it is another service's
   // turn to see it.
   ServiceConfiguration& other = declareService("t", "p");
   other.systemFilters["f"] = {id(1), id(2)};
   other.mountGroups["g"].systemFilter = "f";
   ServiceConfiguration& service = declareService("s", "p");
   service.systemFilters["f"] = {id(2)};
   service.mountGroups["g"].systemFilter = "f";
   for (char const* name : {"leaf1", "leaf2"}) {
      fleet->switches[name].offers["t"] = "1";
   }
   start();
   EXPECT_EQ(state("t", 1, "p"), "Mounted");
   EXPECT_EQ(state("s", 1, "p"), "none");
   EXPECT_EQ(state("s", 2, "p"), "Mounted");
   service.systemFilters["f"] = {id(1)};
   change();
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
   EXPECT_EQ(state("s", 2, "p"), "none");
   EXPECT_EQ(state("t", 2, "p"), "Mounted");
}

TEST_F(ControllerHostTest, WhatIsFixedChangesNothing) {
   declareSwitches(1);
   declareService("s", "p");
   start();
   Configuration other = configuration;
   other.services.clear();
   other.timing.mountTimeout = 1;
   EXPECT_THROW(host->configurationIs(other), ConfigurationError);
   settle();
   EXPECT_EQ(state("s", 1, "p"), "Mounted");
}

TEST_F(ControllerHostTest, TheEndUnregistersAndUnmounts) {
   declareSwitches(3);
   declareService("s", "p");
   MountGroupConfiguration& kept = configuration.services["s"].mountGroups["kept"];
   kept.preserveMountsOnDisconnect = true;
   kept.mounts["q"] = {"T", "", ""};
   start();
   EXPECT_EQ(fleet->mounted(), 6u);
   host->close(5.0);
   EXPECT_EQ(fleet->mounted(), 0u);
   EXPECT_TRUE(host->entities().isUnmounted());
   EXPECT_EQ(state("s", 1, "p"), "none");
   EXPECT_EQ(state("s", 1, "q", "kept"), "Pending");
   retry();
   EXPECT_FALSE(isRegistered(1));
}

// ---- random sequences --------------------------------------------------------------------------

/// Who must have what, worked out from the configuration and the fleet alone.
class Account {
 public:
   Account(Configuration const& configuration,
           std::map<std::string, FleetBackend::FleetSwitch> const& fleet)
      : configuration_(configuration), fleet_(fleet) {}

   bool isThere(std::string const& leaf) const {
      return configuration_.switches.contains(leaf) && fleet_.at(leaf).isUp;
   }
   bool sees(std::string const& service, MountGroupConfiguration const& group,
             std::string const& path, std::string const& leaf) const {
      return isThere(leaf) && isMounted(path, leaf) && isInterested(service, group, leaf);
   }

 private:
   std::uint32_t negotiated(std::string const& service, std::string const& leaf) const {
      auto const& offers = fleet_.at(leaf).offers;
      auto const offer = offers.find(service);
      return offer != offers.end()
                ? highestCommonVersion(configuration_.services.at(service).versions,
                                       *Versions::fromText(offer->second))
                : 0;
   }
   bool versionFits(std::string const& service, MountGroupConfiguration const& group,
                    std::string const& leaf) const {
      return configuration_.services.at(service)
         .versionFilters.at(group.versionFilter)
         .contains(negotiated(service, leaf));
   }
   bool systemFits(std::string const& service, MountGroupConfiguration const& group,
                   std::string const& leaf) const {
      return configuration_.services.at(service)
         .systemFilters.at(group.systemFilter)
         .contains(fleet_.at(leaf).id);
   }
   bool isInterested(std::string const& service, MountGroupConfiguration const& group,
                     std::string const& leaf) const {
      if (group.systemFilter.empty() && group.versionFilter.empty()) {
         return true;
      }
      return (!group.systemFilter.empty() && systemFits(service, group, leaf)) ||
             (!group.versionFilter.empty() && versionFits(service, group, leaf));
   }
   /// The path as a whole: all who want it share one mount and one sum of filters.
   bool isMounted(std::string const& path, std::string const& leaf) const {
      bool anyVersion = false, anyFree = false;
      bool versionFilters = false, versionMatches = false;
      bool systemFilters = false, systemMatches = false;
      for (auto const& [name, service] : configuration_.services) {
         for (auto const& [groupName, group] : service.mountGroups) {
            if (!group.mounts.contains(path)) {
               continue;
            }
            anyVersion |= negotiated(name, leaf) != 0;
            anyFree |= group.systemFilter.empty() && group.versionFilter.empty();
            if (!group.versionFilter.empty()) {
               versionFilters = true;
               versionMatches |= versionFits(name, group, leaf);
            }
            if (!group.systemFilter.empty()) {
               systemFilters = true;
               systemMatches |= systemFits(name, group, leaf);
            }
         }
      }
      return anyVersion && (anyFree || ((!versionFilters || versionMatches) &&
                                        (!systemFilters || systemMatches)));
   }

   Configuration const& configuration_;
   std::map<std::string, FleetBackend::FleetSwitch> const& fleet_;
};

class RandomHostTest : public ControllerHostTest {
 protected:
   void step() {
      unsigned const kind = random() % 8;
      std::string const leaf = "leaf" + std::to_string(1 + random() % 3);
      if (kind == 0) {
         carryOut(make.make());
      } else if (kind > 3) {
         carryOut(filterEdited());
      } else if (kind == 1) {
         happened += "lost " + leaf + "\n";
         fleet->lose(leaf);
      } else if (kind == 2) {
         happened += "back " + leaf + "\n";
         fleet->switches[leaf].isUp = true;
      } else {
         fleet->switches[leaf].offers.clear();
         for (char const* service : {"s", "t"}) {
            if (random() % 3 != 0) {
               fleet->switches[leaf].offers[service] = random() % 2 != 0 ? "1-2" : "2-3";
            }
         }
         happened += "offers of " + leaf + "\n";
         fleet->offersChanged(leaf);
      }
   }
   void carryOut(Configuration const& changed) {
      for (Operation const& each : differences(configuration, changed).operations) {
         happened += each.text() + "\n";
      }
      configuration = changed;
      host->configurationIs(configuration);
   }
   /// Adds or takes out a member of each filter.
   Configuration filterEdited() {
      Configuration changed = configuration;
      for (auto& [name, service] : changed.services) {
         for (auto& [filter, systems] : service.systemFilters) {
            std::string const system = id(1 + static_cast<unsigned>(random() % 3));
            if (!systems.insert(system).second && systems.size() > 1) {
               systems.erase(system);
            }
         }
         for (auto& [filter, versions] : service.versionFilters) {
            std::uint32_t const version = 1 + static_cast<std::uint32_t>(random() % 3);
            if (!versions.insert(version).second && versions.size() > 1) {
               versions.erase(version);
            }
         }
      }
      return changed;
   }
   void check() {
      Account const account(configuration, fleet->switches);
      for (char const* service : {"s", "t"}) {
         for (char const* group : {"g", "k"}) {
            for (char const* path : {"p", "q", "r"}) {
               for (unsigned number = 1; number <= 3; ++number) {
                  checkOne(account, service, group, path, number);
               }
            }
         }
      }
   }
   void checkOne(Account const& account, std::string const& service, std::string const& group,
                 std::string const& path, unsigned number) {
      SCOPED_TRACE(service + "/" + group + "/" + path + " of " + std::to_string(number));
      std::string const leaf = "leaf" + std::to_string(number);
      auto const declared = configuration.services.find(service);
      auto const* const groups = declared != configuration.services.end() &&
                                       declared->second.mountGroups.contains(group) &&
                                       declared->second.mountGroups.at(group).mounts.contains(path)
                                    ? &declared->second.mountGroups.at(group)
                                    : nullptr;
      std::string const found = state(service, number, path, group);
      if (groups != nullptr && account.sees(service, *groups, path, leaf)) {
         EXPECT_EQ(found, "Mounted");
      } else {
         // Kept where somebody preserves who shares the path. A mount that was asked to end just
         // when it had ended rests as unmounting until it is wanted again.
         EXPECT_TRUE(found == "none" ||
                     (groups != nullptr && (found == "Pending" || found == "Unmounting")))
            << found;
      }
   }

   /// What was done since the last check.
   std::string happened;
   std::mt19937 random{4};
   HostTest::RandomConfiguration make{random};
};

TEST_F(RandomHostTest, EverybodyGetsWhatIsDeclared) {
   start();
   unsigned const steps = std::getenv("GANTRY_TEST_LONG") != nullptr ? 100000 : 3000;
   for (unsigned number = 0; number < steps && !testing::Test::HasFailure(); ++number) {
      SCOPED_TRACE("step " + std::to_string(number));
      for (unsigned at_once = 0; at_once < 1 + random() % 3; ++at_once) {
         step();
      }
      retry();
      SCOPED_TRACE(happened);
      check();
      happened.clear();
   }
}

// ---- the first round of mounts -----------------------------------------------------------------

TEST_F(ControllerHostTest, TheFirstRoundTellsWhoIsMissingAndWhoIsNotInOrder) {
   declareSwitches(3);
   declareService("s", "p");
   fleet->switches["leaf2"].id = id(9);
   fleet->switches["leaf3"].isUp = false;
   start();
   time.advance(14.0);
   InitialRow row = host->initialMounts().rows().at(0);
   EXPECT_EQ(row.phase, InitialPhase::peers);
   std::string const leaf2 =
      "leaf2 (refused: it says that it is system " + id(9) + ", not " + id(2) + ")";
   std::string const leaf3 = "leaf3 (lost: the switch is down)";
   EXPECT_EQ(row.switchesText(), "waiting: leaf1 (registered), " + leaf2 + ", " + leaf3);
   time.advance(2.0); // three intervals between heartbeats are over
   row = host->initialMounts().rows().at(0);
   EXPECT_EQ(row.phase, InitialPhase::registration);
   EXPECT_EQ(row.switchesText(), "waiting: " + leaf2 + "; mounted: leaf1; missing: " + leaf3);
   std::string const tables = host->board().tables(0);
   EXPECT_NE(tables.find("waiting for registration"), std::string::npos) << tables;
   time.advance(240.0);
   EXPECT_TRUE(
      output.has("first s/g mounted: leaf1; unregistered: " + leaf2 + "; missing: " + leaf3))
      << output.text();
   EXPECT_TRUE(host->initialMounts().isComplete());
}

TEST_F(ControllerHostTest, ASwitchThatIsPutInOrderEndsTheFirstRound) {
   declareSwitches(2);
   declareService("s", "p");
   fleet->switches["leaf2"].id = id(9);
   start();
   time.advance(20.0);
   EXPECT_FALSE(host->initialMounts().isComplete());
   fleet->switches["leaf2"].id = id(2);
   fleet->offersChanged("leaf2");
   settle();
   EXPECT_TRUE(host->initialMounts().isComplete());
   EXPECT_NE(output.text().find("first s/g mounted: leaf1"), std::string::npos) << output.text();
   EXPECT_EQ(output.text().find("unregistered"), std::string::npos) << output.text();
}

} // namespace
} // namespace Host
