/// Random interleavings of peers, registrations, states, groups, services and time: after each step
/// the machines and the naive model agree in everything that can be read. GANTRY_TEST_LONG
/// multiplies the number of runs.
#include "InitialModel.h"

#include <algorithm>
#include <cstdlib>
#include <random>

namespace {

using namespace InitialTest;

constexpr unsigned systems = 5;
constexpr std::size_t services = 2;
char const* const serviceNames[services] = {"bgp", "ospf"};
char const* const groupNames[] = {"routes", "ports", "peers"};

/// How often the runs got somewhere.
struct Reached {
   std::size_t windowOpen = 0;
   std::size_t remaining = 0;
   std::size_t complete = 0;
};

/// The real tables and machines of one run, and the model beside them.
class Interleaving {
 public:
   explicit Interleaving(std::uint32_t seed)
      : random_(seed), interval_(seed % 5 == 0 ? 0.0 : interval), model_(services, interval_) {
      heartbeat_->intervalIs(interval);
      for (std::size_t at = 0; at < services; ++at) {
         configs_.push_back(serviceMountConfigFactory(serviceNames[at]));
         statuses_.push_back(Fen::makePtr<ServiceMountStatus>(serviceNames[at]));
         configDir_->entityPtrIs(configs_[at]);
      }
      machine_ = initialMountSmFactory(
         configDir_, statusDir_, interval_ == 0.0 ? nullptr : heartbeat_, registered_, peers_);
   }

   /// Does one random thing on both sides and says what it was.
   std::string step() {
      switch (pick(16)) {
      case 0:
      case 1:
         return peer();
      case 2:
      case 3:
         return registration();
      case 4:
         return service();
      case 5:
         return group();
      case 6:
         return systemDel();
      case 7:
         return stateDel();
      case 8:
         return orphan();
      case 9:
      case 10:
      case 11:
         return advance();
      default:
         return state();
      }
   }

   void compare() const {
      std::set<unsigned> seen;
      for (unsigned system = 0; system < systems; ++system) {
         if (machine_->initialSwitchSet()->initialSwitch(systemId(system))) {
            seen.insert(system);
         }
      }
      EXPECT_EQ(seen, model_.seen());
      EXPECT_EQ(machine_->connectionClock()->timeMin(), model_.deadline());
      EXPECT_EQ(machine_->connectionPeriod()->complete(), model_.complete());
      for (std::size_t at = 0; at < services; ++at) {
         compareService(at);
      }
   }
   void count(Reached& reached) const {
      for (std::size_t at = 0; at < services; ++at) {
         for (auto const& [name, group] : model_.service(at).groups) {
            reached.windowOpen += group.windowEnd != never;
            reached.remaining += !group.remaining.empty();
         }
      }
   }
   std::size_t completedGroups() const {
      std::size_t result = 0;
      for (Fen::Ptr<ServiceMountStatus> const& status : statuses_) {
         result += status->initialMountsCompleteCount();
      }
      return result;
   }

 private:
   unsigned pick(unsigned bound) { return static_cast<unsigned>(random_() % bound); }
   std::size_t pickService() { return pick(services); }
   char const* pickGroup() { return groupNames[pick(3)]; }

   std::string peer() {
      unsigned const system = pick(systems);
      if (pick(4) == 0) {
         peers_->peerDel(systemId(system));
         model_.peerDel(system);
         return "peer goes";
      }
      peers_->peerIs(systemId(system), pick(5) != 0);
      model_.peerIs(system);
      return "peer";
   }
   std::string registration() {
      unsigned const system = pick(systems);
      if (pick(4) == 0) {
         registered_->systemDel(systemId(system));
         model_.registeredDel(system);
         return "registration goes";
      }
      bool const value = pick(6) != 0;
      registered_->systemIs(systemId(system), value);
      model_.registeredIs(system, value);
      return "registration";
   }
   /// Puts the service's entities into their directories, takes one out, or another in its place.
   std::string service() {
      std::size_t const at = pickService();
      Fen::Dir& place = pick(2) == 0 ? *configDir_ : *statusDir_;
      place.entityPtrDel(serviceNames[at]);
      if (pick(6) == 0) {
         place.entityPtrIs(Fen::dirFactory(serviceNames[at])); // of another type
      } else if (pick(4) != 0) {
         place.entityPtrIs(&place == configDir_.ptr() ? Fen::Ptr<Fen::Entity>(configs_[at])
                                                      : Fen::Ptr<Fen::Entity>(statuses_[at]));
      }
      Fen::Ptr<Fen::Entity> const config = configDir_->entityPtr(serviceNames[at]);
      Fen::Ptr<Fen::Entity> const status = statusDir_->entityPtr(serviceNames[at]);
      if (config && status) {
         model_.trackedIs(at, config == configs_[at] && status == statuses_[at]);
      }
      return "service";
   }
   std::string group() {
      std::size_t const at = pickService();
      char const* const name = pickGroup();
      if (pick(3) == 0) {
         configs_[at]->mountGroupConfigDel(name);
         model_.groupConfigDel(at, name);
         return "group goes";
      }
      configs_[at]->mountGroupConfigIs(name);
      model_.groupConfigIs(at, name);
      return "group";
   }
   std::string state() {
      std::size_t const at = pickService();
      unsigned const system = pick(systems);
      char const* const name = pickGroup();
      auto const value = static_cast<MountState>(pick(6));
      statuses_[at]
         ->systemStatusIs(systemText(system))
         ->serviceMountGroupStatusIs(name)
         ->mountStateIs(value);
      model_.stateIs(at, system, model_.systemIs(at, system), name, value);
      return "state";
   }
   std::string stateDel() {
      std::size_t const at = pickService();
      unsigned const system = pick(systems);
      char const* const name = pickGroup();
      statuses_[at]->systemStatusIs(systemText(system))->serviceMountGroupStatusDel(name);
      model_.stateDel(model_.systemIs(at, system), name);
      return "state goes";
   }
   /// Takes a peer's status out of the tree; it lives on here, as whoever holds it would see it.
   std::string systemDel() {
      std::size_t const at = pickService();
      unsigned const system = pick(systems);
      if (!statuses_[at]->systemStatus(systemText(system))) {
         return "nothing";
      }
      orphans_.push_back({at, system, statuses_[at]->systemStatusDel(systemText(system)),
                          model_.systemIs(at, system)});
      model_.systemDel(at, system);
      return "system goes";
   }
   std::string orphan() {
      if (orphans_.empty()) {
         return "nothing";
      }
      Orphan const& chosen = orphans_[pick(static_cast<unsigned>(orphans_.size()))];
      char const* const name = pickGroup();
      auto const value = static_cast<MountState>(pick(6));
      chosen.real->serviceMountGroupStatusIs(name)->mountStateIs(value);
      model_.stateIs(chosen.service, chosen.system, chosen.model, name, value);
      return "state of one that has gone";
   }
   std::string advance() {
      double const steps[] = {0.0, 1.0, 29.0, 30.0, 100.0, 240.0};
      double const seconds = steps[pick(6)];
      time_.advance(seconds);
      model_.advance(seconds);
      return "time";
   }

   void compareService(std::size_t at) const {
      ModelService const& expected = model_.service(at);
      std::set<std::string> complete;
      for (char const* const name : groupNames) {
         if (statuses_[at]->initialMountsComplete(name)) {
            complete.insert(name);
         }
      }
      EXPECT_EQ(complete, expected.complete);
      Fen::Ptr<ServiceInitialMountSm> const machine =
         machine_->serviceInitialMountSm(serviceNames[at]);
      ASSERT_EQ(static_cast<bool>(machine), expected.tracked);
      if (!machine) {
         return;
      }
      ASSERT_EQ(machine->mountGroupInitialMountSmCount(), expected.groups.size());
      for (auto const& [name, group] : expected.groups) {
         Fen::Ptr<MountGroupInitialMountSm> const found =
            machine->mountGroupInitialMountSm(name.c_str());
         ASSERT_TRUE(found);
         compareGroup(*found, group);
      }
   }
   static void compareGroup(MountGroupInitialMountSm const& found, ModelGroup const& expected) {
      std::set<unsigned> set;
      std::set<unsigned> unregistered;
      std::set<unsigned> remaining;
      std::set<unsigned> expectedRemaining;
      for (unsigned system = 0; system < systems; ++system) {
         if (found.mountGroupInitialSwitchSet()->initialSwitch(systemId(system))) {
            set.insert(system);
         }
         if (found.unregistered(systemId(system))) {
            unregistered.insert(system);
         }
         if (found.remainingSwitch(systemText(system))) {
            remaining.insert(system);
         }
      }
      for (auto const& [system, status] : expected.remaining) {
         expectedRemaining.insert(system);
      }
      EXPECT_EQ(found.mountGroupInitialSwitchSet()->complete(), expected.setFixed);
      EXPECT_EQ(set, expected.set);
      EXPECT_EQ(unregistered, expected.unregistered);
      EXPECT_EQ(remaining, expectedRemaining);
      EXPECT_EQ(found.registrationTimer()->timeMin(), expected.windowEnd);
   }

   struct Orphan {
      std::size_t service;
      unsigned system;
      Fen::Ptr<SystemStatus> real;
      std::shared_ptr<ModelSystem> model;
   };

   std::mt19937 random_;
   double interval_;
   Fen::VirtualTime time_{start};
   InitialModel model_;
   Fen::Ptr<Fen::Dir> configDir_ = Fen::dirFactory("config");
   Fen::Ptr<Fen::Dir> statusDir_ = Fen::dirFactory("status");
   Fen::Ptr<Heartbeat::Config> heartbeat_ = Heartbeat::configFactory("heartbeat");
   Fen::Ptr<RegisteredSwitchTable> registered_ = registeredSwitchTableFactory();
   Fen::Ptr<PeerTable> peers_ = peerTableFactory("peers");
   std::vector<Fen::Ptr<ServiceMountConfig>> configs_;
   std::vector<Fen::Ptr<ServiceMountStatus>> statuses_;
   std::vector<Orphan> orphans_;
   Fen::Ptr<InitialMountSm> machine_;
};

TEST(InitialRandomTest, AnyInterleavingAgreesWithTheModel) {
   char const* const factor = std::getenv("GANTRY_TEST_LONG");
   std::uint32_t const runs = factor != nullptr ? 20000 : 600;
   Reached reached;
   for (std::uint32_t seed = 0; seed < runs; ++seed) {
      Interleaving run(seed);
      std::string steps;
      for (int i = 0; i < 200; ++i) {
         std::string const step = run.step();
         steps += step + "; ";
         run.compare();
         if (testing::Test::HasFailure()) {
            FAIL() << "seed " << seed << ", step " << i << ": " << steps;
         }
         run.count(reached);
      }
      reached.complete += run.completedGroups();
   }
   // The runs get into every wait, and out of it.
   EXPECT_GT(reached.windowOpen, runs);
   EXPECT_GT(reached.remaining, runs);
   EXPECT_GT(reached.complete, runs);
}

} // namespace
