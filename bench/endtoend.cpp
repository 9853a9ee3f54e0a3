/// From a write in one process to the notification in a mounted tree of another, over TCP on
/// loopback: single changes a millisecond apart, changes as fast as they go, and many clients that
/// mount a table at once; beside the floor of plain sockets and, where they are installed, Redis
/// and the database server of Open vSwitch. Every measurement forks a writing and a mounting side,
/// pinned to a core each; a peer has its server as a third process. All take turns in one run:
/// compare the ratios of one run, not times of two.
///
/// What is printed as time: of Paced the median latency, of Sustained the time per change that was
/// delivered to each client, of Snapshot the time until all clients have all. All on the real
/// clock.
#include "Ratios.h"
#include "endtoend/Systems.h"

#include <functional>
#include <memory>

namespace {

using Bench::System;
using Bench::Task;
using Bench::Traffic;
using MakeSystem = std::function<std::unique_ptr<System>()>;

constexpr double secondsLimit = 60.0;
constexpr std::uint32_t pacedChanges = 800;
constexpr std::uint32_t snapshotClients = 100;
/// How far the library's writer may run ahead, in changes: no change is lost, so each delivery
/// counts. Without a bound a slow reader gets the latest value alone.
constexpr std::uint32_t window = 16'384;

/// Runs the task once per iteration and hands a whole outcome to `report`.
template <class Report>
void measure(benchmark::State& state, MakeSystem const& make, Task const& task,
             Report const& report) {
   for (auto _ : state) {
      auto const system = make();
      Bench::Outcome const outcome = Bench::run(*system, task, secondsLimit);
      if (!outcome.trouble.empty()) {
         state.SkipWithError(outcome.trouble.c_str());
         return;
      }
      report(outcome);
   }
}

void paced(benchmark::State& state, MakeSystem const& make) {
   measure(state, make, {.traffic = Traffic::paced, .changes = pacedChanges},
           [&](Bench::Outcome const& outcome) {
              auto const microseconds = [&](unsigned percent) {
                 return static_cast<double>(outcome.percentile(percent)) / 1e3;
              };
              state.SetIterationTime(microseconds(50) / 1e6);
              state.counters["p50_us"] = microseconds(50);
              state.counters["p99_us"] = microseconds(99);
              state.counters["min_us"] = microseconds(0);
           });
}

void sustained(benchmark::State& state, MakeSystem const& make, Task const& task) {
   measure(state, make, task, [&](Bench::Outcome const& outcome) {
      double const seconds = static_cast<double>(outcome.time) / 1e9;
      double const delivered = static_cast<double>(outcome.delivered);
      state.SetIterationTime(seconds * task.clients / delivered);
      state.counters["changes_per_s"] = task.changes / seconds;
      state.counters["delivered_per_s"] = delivered / seconds;
      if (outcome.mountingTime != 0) {
         state.counters["mounting_cpu_ns"] = static_cast<double>(outcome.mountingTime) / delivered;
      }
      state.counters["delivered_fraction"] = delivered / task.changes / task.clients;
   });
}

void snapshot(benchmark::State& state, MakeSystem const& make) {
   measure(state, make, {.traffic = Traffic::snapshot, .clients = snapshotClients},
           [&](Bench::Outcome const& outcome) {
              state.SetIterationTime(static_cast<double>(outcome.time) / 1e9);
              state.counters["per_client_us"] =
                 static_cast<double>(outcome.time) / 1e3 / snapshotClients;
           });
}

void memory(benchmark::State& state) {
   measure(state, Bench::gantryMemory, {}, [&](Bench::Outcome const& outcome) {
      state.SetIterationTime(1e-9);
      auto const bytes = [&](Bench::MemoryFigure figure) {
         return static_cast<double>(outcome.figures[figure]);
      };
      state.counters["entity_bytes"] = bytes(Bench::entityBytes);
      state.counters["adapter_bytes"] = bytes(Bench::serverAdapterBytes);
      state.counters["mounted_entity_bytes"] = bytes(Bench::clientEntityBytes);
      state.counters["peer_bytes"] = bytes(Bench::peerBytes);
   });
}

/// How many changes a system is given to carry as fast as it can: about half a second's worth.
struct Amounts {
   std::uint32_t toOne;
   std::uint32_t toTwenty;
   std::uint32_t window = 0;
};

void once(std::string const& name, std::function<void(benchmark::State&)> const& body,
          benchmark::TimeUnit unit) {
   benchmark::RegisterBenchmark(name.c_str(), body)->Iterations(1)->UseManualTime()->Unit(unit);
}

void registerSystem(std::string const& name, MakeSystem const& make, Amounts const& amounts,
                    bool isPaced = true) {
   if (isPaced) {
      once(
         "Paced/" + name, [=](benchmark::State& state) { paced(state, make); },
         benchmark::kMicrosecond);
   }
   auto const registerSustained = [&](std::uint32_t clients, std::uint32_t changes) {
      Task const task{.traffic = Traffic::sustained,
                      .clients = clients,
                      .changes = changes,
                      .window = amounts.window};
      once(
         "Sustained" + std::to_string(clients) + "/" + name,
         [=](benchmark::State& state) { sustained(state, make, task); }, benchmark::kNanosecond);
   };
   registerSustained(1, amounts.toOne);
   registerSustained(20, amounts.toTwenty);
   if (isPaced) {
      once(
         "Snapshot/" + name, [=](benchmark::State& state) { snapshot(state, make); },
         benchmark::kMillisecond);
   }
}

std::vector<Bench::Ratio> ratios() {
   using Bench::Ratio;
   return {
      Ratio{"paced change / raw push", "Paced/Gantry", "Paced/Raw", 1.25},
      Ratio{"paced change / Redis", "Paced/Gantry", "Paced/Redis", 0.7},
      Ratio{"sustained change, 1 client", "Sustained1/Gantry", "", 200},
      Ratio{"sustained change, 1 client / Redis", "Sustained1/Gantry", "Sustained1/Redis", 1 / 6.0},
      Ratio{"sustained change, 1 client / OVSDB", "Sustained1/Gantry", "Sustained1/Ovsdb", 0.01},
      Ratio{"sustained change, 20 clients", "Sustained20/Gantry", "", 2000},
      Ratio{"sustained change, 20 clients / Redis", "Sustained20/Gantry", "Sustained20/Redis",
            1 / 4.0},
      Ratio{"sustained change, 20 clients / OVSDB", "Sustained20/Gantry", "Sustained20/Ovsdb",
            0.01},
      Ratio{"100 clients mount a table / raw", "Snapshot/Gantry", "Snapshot/Raw", 5},
      Ratio{"100 clients mount a table / Redis", "Snapshot/Gantry", "Snapshot/Redis", 0.55},
      Ratio{"100 clients mount a table / OVSDB", "Snapshot/Gantry", "Snapshot/Ovsdb", 0.1},
   };
}

} // namespace

int main(int argc, char** argv) {
   registerSystem("Raw", [] { return Bench::raw(false); }, {500'000, 40'000});
   registerSystem(
      "RawGathered", [] { return Bench::raw(true); }, {8'000'000, 800'000}, false);
   registerSystem("Gantry", Bench::gantry, {4'000'000, 400'000, window});
   registerSystem("GantryUnbounded", Bench::gantry, {4'000'000, 400'000}, false);
   once("Memory", memory, benchmark::kNanosecond);
   // The servers of peers run for the whole time, as the peers' own users would have it.
   std::vector<std::unique_ptr<Bench::PeerServer>> peers;
#ifdef GANTRY_BENCH_REDIS
   if (auto server = Bench::redisServer()) {
      auto* const redis = peers.emplace_back(std::move(server)).get();
      registerSystem("Redis", [=] { return redis->system(); }, {300'000, 40'000});
   }
#endif
   if (auto server = Bench::ovsdbServer()) {
      auto* const ovsdb = peers.emplace_back(std::move(server)).get();
      registerSystem("Ovsdb", [=] { return ovsdb->system(); }, {15'000, 4'000});
   }
   return Bench::runWithRatios(argc, argv, ratios());
}
