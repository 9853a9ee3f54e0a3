/// What the tests of the initial mounts share: virtual time, the tables, one service or more with
/// their groups and statuses, and the machines on top of them.
#pragma once

#include "../support/Traces.h"

#include <gantry/initial/InitialMountSm.fen.h>
#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace InitialTest {

using namespace Controller;
using TestSupport::Traces;
using Names = std::vector<std::string>;

constexpr double start = 1000.0;
constexpr double interval = 10.0;
constexpr double period = 3 * interval;
constexpr double window = 240.0;
constexpr double never = std::numeric_limits<double>::infinity();

/// The text form of the n-th system.
inline Fen::String8 systemText(unsigned number) {
   return Fen::format("02:00:00:00:%02x:%02x", number / 256, number % 256);
}
inline SystemId systemId(unsigned number) { return SystemId(systemText(number)); }

/// Counts how often a record of the period tells its readers.
class PeriodWatcher : public ConnectionPeriod::NotifieeConst {
 public:
   explicit PeriodWatcher(Fen::Ptr<ConnectionPeriod const> const& watched)
      : ConnectionPeriod::NotifieeConst(watched) {
      isRegisteredNotifieeIs(true);
   }
   void onComplete() override { ++told; }
   int told = 0;
};

/// Writes down the groups whose completion is told.
class CompletionWatcher : public ServiceMountStatus::Notifiee {
 public:
   explicit CompletionWatcher(Fen::Ptr<ServiceMountStatus> const& watched)
      : ServiceMountStatus::Notifiee(watched) {
      isRegisteredNotifieeIs(true);
   }
   void onInitialMountsComplete(Fen::String8 group) override {
      groups.push_back(group.str());
      if (then) {
         then();
      }
   }
   Names groups;
   std::function<void()> then;
};

/// A service "bgp" with the group "routes", in directories of their own.
class InitialFixture : public testing::Test {
 protected:
   InitialFixture() {
      heartbeat->intervalIs(interval);
      config->mountGroupConfigIs("routes");
   }

   void create() {
      machine = initialMountSmFactory(configDir, statusDir, heartbeat, registeredSwitches, peers);
   }
   void addService() {
      configDir->entityPtrIs(config);
      statusDir->entityPtrIs(status);
   }
   /// A machine with its service, no peer yet.
   void createWithService() {
      addService();
      create();
   }
   void peerIs(unsigned number) { peers->peerIs(systemId(number), true); }
   void registeredIs(unsigned number) { registeredSwitches->systemIs(systemId(number), true); }
   /// Sets the state of a group on a peer, which makes its status where it is missing.
   void stateIs(unsigned number, MountState state, char const* group = "routes") {
      status->systemStatusIs(systemText(number))
         ->serviceMountGroupStatusIs(group)
         ->mountStateIs(state);
   }
   void turn() { time.advance(0.0); }
   /// Lets the connection period end, given that a peer has come.
   void endPeriod() { time.advance(period); }
   bool complete(char const* group = "routes") const {
      return status->initialMountsComplete(group);
   }
   Fen::Ptr<MountGroupInitialMountSm> groupSm(char const* group = "routes") const {
      Fen::Ptr<ServiceInitialMountSm> const service = machine->serviceInitialMountSm("bgp");
      return service ? service->mountGroupInitialMountSm(group) : nullptr;
   }
   double clockTime() const { return machine->connectionClock()->timeMin(); }
   double windowTime() const { return groupSm()->registrationTimer()->timeMin(); }
   bool remains(unsigned number) const {
      return static_cast<bool>(groupSm()->remainingSwitch(systemText(number)));
   }

   Fen::VirtualTime time{start};
   Fen::Ptr<Fen::Dir> configDir = Fen::dirFactory("config");
   Fen::Ptr<Fen::Dir> statusDir = Fen::dirFactory("status");
   Fen::Ptr<Heartbeat::Config> heartbeat = Heartbeat::configFactory("heartbeat");
   Fen::Ptr<RegisteredSwitchTable> registeredSwitches = registeredSwitchTableFactory();
   Fen::Ptr<PeerTable> peers = peerTableFactory("peers");
   Fen::Ptr<ServiceMountConfig> config = serviceMountConfigFactory("bgp");
   Fen::Ptr<ServiceMountStatus> status = Fen::makePtr<ServiceMountStatus>("bgp");
   Fen::Ptr<InitialMountSm> machine;
};

} // namespace InitialTest
