/// What the tracking of initial mounts costs in a large network: 50 mount groups over up to 10,000
/// switches. Measured are the end of the connection period, with every mount final and with every
/// mount under way, and a registration after it, which makes every group walk its whole set again.
/// Behind the table stands how each grows with the number of switches, as an exponent over the
/// three sizes: 1 is a cost in proportion. A column tells the time for each switch in each group.
#include "Ratios.h"

#include <gantry/initial/InitialMountSm.fen.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <ctime>
#include <string>
#include <vector>

namespace {

using namespace Controller;

// Each group watches all groups of its service on a switch that it waits for, so what a service
// costs grows with the square of its groups; two of them is what services have.
constexpr unsigned services = 25;
constexpr unsigned groupsEach = 2;
constexpr std::uint32_t sizes[] = {625, 2'500, 10'000};

SystemId systemId(unsigned number) {
   return SystemId(
      Fen::format("02:00:00:%02x:%02x:%02x", number >> 16, number >> 8 & 255, number & 255));
}

/// A controller with its peers, all registered, and one state for all groups on all of them. The
/// period has not ended.
class Network {
 public:
   Network(std::uint32_t switches, MountState state) {
      Fen::Ptr<Fen::Dir> const configs = Fen::dirFactory("config");
      Fen::Ptr<Fen::Dir> const statuses = Fen::dirFactory("status");
      std::vector<Fen::String8> texts;
      for (unsigned number = 0; number < switches; ++number) {
         SystemId const id = systemId(number);
         texts.push_back(id.stringValue());
         peers_->peerIs(id, true);
         registered_->systemIs(id, true);
      }
      for (unsigned service = 0; service < services; ++service) {
         Fen::String8 const name = Fen::format("service%u", service);
         Fen::Ptr<ServiceMountConfig> const config = serviceMountConfigFactory(name);
         auto const status = Fen::makePtr<ServiceMountStatus>(name);
         for (unsigned group = 0; group < groupsEach; ++group) {
            Fen::String8 const groupName = Fen::format("group%u", group);
            config->mountGroupConfigIs(groupName);
            for (Fen::String8 const& text : texts) {
               status->systemStatusIs(text)->serviceMountGroupStatusIs(groupName)->mountStateIs(
                  state);
            }
         }
         configs->entityPtrIs(config);
         statuses->entityPtrIs(status);
      }
      machine_ = initialMountSmFactory(configs, statuses, nullptr, registered_, peers_);
   }
   void endPeriod() { machine_->connectionPeriod()->completeIs(true); }
   void registerStranger() { registered_->systemIs(stranger_, true); }
   void forgetStranger() { registered_->systemDel(stranger_); }

   /// Whether the first group of the first service waits for all, or has reported.
   bool waitsForAll(std::uint32_t switches) const {
      return group()->remainingSwitchCount() == switches;
   }
   bool isComplete() const {
      return group()->serviceMountStatus()->initialMountsComplete("group0");
   }

 private:
   Fen::Ptr<MountGroupInitialMountSm> group() const {
      return machine_->serviceInitialMountSm("service0")->mountGroupInitialMountSm("group0");
   }

   Fen::VirtualTime time_{1000.0};
   SystemId const stranger_{Fen::String8("06:00:00:00:00:01")};
   Fen::Ptr<RegisteredSwitchTable> registered_ = registeredSwitchTableFactory();
   Fen::Ptr<PeerTable> peers_ = peerTableFactory("peers");
   Fen::Ptr<InitialMountSm> machine_;
};

double processorSeconds() {
   timespec now{};
   ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
   return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// Of the processor: what else runs on the machine does not count.
template <class Work>
double secondsOf(Work const& work) {
   double const start = processorSeconds();
   work();
   return processorSeconds() - start;
}

void timeIs(benchmark::State& state, double seconds, std::uint32_t switches) {
   state.SetIterationTime(seconds);
   state.counters["each_ns"] = seconds * 1e9 / switches / services / groupsEach;
}

void measurePeriodEnd(benchmark::State& state, std::uint32_t switches, MountState mounts) {
   for (auto _ : state) {
      Network network(switches, mounts);
      timeIs(state, secondsOf([&] { network.endPeriod(); }), switches);
      bool const asExpected =
         mounts == mountStateMounted ? network.isComplete() : network.waitsForAll(switches);
      if (!asExpected) {
         state.SkipWithError("the period's end did not do what is measured");
      }
   }
}

void measureLateRegistration(benchmark::State& state, std::uint32_t switches) {
   Network network(switches, mountStateMounted);
   network.endPeriod();
   for (auto _ : state) {
      timeIs(state, secondsOf([&] { network.registerStranger(); }), switches);
      network.forgetStranger();
   }
}

} // namespace

int main(int argc, char** argv) {
   std::vector<Bench::Slope> slopes;
   auto series = [&](std::string const& name, auto const& measure) {
      Bench::Slope slope{name, {}, 1.3};
      for (std::uint32_t const size : sizes) {
         std::string const full = name + "/" + std::to_string(size);
         slope.points.push_back({static_cast<double>(size), full});
         benchmark::RegisterBenchmark(
            full.c_str(), [measure, size](benchmark::State& state) { measure(state, size); })
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
      }
      slopes.push_back(slope);
   };
   series("PeriodEndMounted", [](benchmark::State& state, std::uint32_t size) {
      measurePeriodEnd(state, size, mountStateMounted);
   });
   series("PeriodEndMounting", [](benchmark::State& state, std::uint32_t size) {
      measurePeriodEnd(state, size, mountStateMounting);
   });
   series("LateRegistration", [](benchmark::State& state, std::uint32_t size) {
      measureLateRegistration(state, size);
   });
   return Bench::runWithRatios(argc, argv, {}, slopes);
}
