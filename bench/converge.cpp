/// Until a whole network has converged, over TCP on loopback: 200 switches in one process, each
/// with a server of its own and 20 tables of 50 entities, and a controller in another whose service
/// declares the 20 paths. The time is that from the declaration, before the controller knows any
/// switch, until every mount is in its final state. The columns tell
///
///    change_ms   from the first write until one changed attribute of every switch has been heard
///    mount_us    the time for each mount
///    entity_us   the time for each entity that has come
///    cpu_ms      what the controller has used of the processor until all was mounted
///
/// Times are real, of two processes that are pinned to a core each.
#include "Ratios.h"
#include "endtoend/Mounts.h"
#include "endtoend/Processes.h"
#include "fleet/Controller.h"

#include <memory>

namespace {

using Bench::Board;
using Bench::Task;

constexpr std::uint32_t switches = 200;
constexpr std::uint32_t paths = 20;
constexpr std::uint32_t entities = 50;
constexpr std::uint32_t changedRow = 7;
constexpr std::uint32_t changedPath = 3;
constexpr double secondsLimit = 120.0;

static_assert(switches <= Bench::clientsLimit);

/// Places of the board.
enum Figure { changeBegin, changeEnd };

std::string pathName(std::uint32_t path) { return "table" + std::to_string(path); }

/// One switch: a server on a free port and what it serves.
class Switch {
 public:
   explicit Switch(std::uint32_t number) {
      auto const root = Fen::dirFactory("served");
      for (std::uint32_t path = 0; path < paths; ++path) {
         auto const table = Bench::portTableFactory(Fen::Name(pathName(path)));
         for (std::uint32_t row = 0; row < entities; ++row) {
            auto const port = table->portIs(Fen::Name(Bench::rowName(row)));
            port->descriptionIs(Fen::String8(Bench::rowText(row)));
         }
         root->entityPtrIs(table);
         if (path == changedPath) {
            changed_ = table->port(Fen::Name(Bench::rowName(changedRow)));
         }
      }
      server_ =
         Cairn::serverFactory(Fen::format("leaf%u", number), root, Nimet::IpAddr("127.0.0.1"), 0);
   }
   std::uint16_t port() const { return server_->port(); }
   void change() { changed_->descriptionIs("changed"); }

 private:
   Fen::Ptr<Bench::Port> changed_;
   Fen::Ptr<Cairn::Server> server_;
};

/// Counts that the copy of a changed entity was told of.
class Hearer : public Bench::Port::NotifieeConst {
 public:
   Hearer(Fen::Ptr<Bench::Port const> const& port, std::uint32_t& heard)
      : Bench::Port::NotifieeConst(port), heard_(heard) {
      isRegisteredNotifieeIs(true);
   }
   void onDescription() override { ++heard_; }

 private:
   std::uint32_t& heard_;
};

class Convergence : public Bench::System {
 public:
   void write(Task const&, Board& board) override {
      std::vector<std::unique_ptr<Switch>> all;
      for (std::uint32_t number = 0; number < switches; ++number) {
         all.push_back(std::make_unique<Switch>(number));
         board.client[number].last = all.back()->port();
      }
      board.ready = 1;
      Bench::runUntil([&] { return board.heard != 0; });
      board.figures[changeBegin] = Bench::monotonicTime();
      for (auto const& each : all) {
         each->change();
      }
      Bench::runUntil([&] { return board.finished.load(); });
   }

   void mount(Task const&, Board& board) override {
      while (board.ready == 0) {
         Bench::sleepFor(1'000'000);
      }
      // A type is known to a process from its first use on.
      Bench::PortTable::_fwkType();
      Bench::Port::_fwkType();
      Bench::Controlling controller;
      board.begin = Bench::monotonicTime();
      Bench::Nanoseconds const used = Bench::processorTime();
      for (std::uint32_t path = 0; path < paths; ++path) {
         controller.declare(pathName(path), "Bench::PortTable", "rt");
      }
      for (std::uint32_t number = 0; number < switches; ++number) {
         controller.registerSwitch(number, "127.0.0.1",
                                   static_cast<std::uint16_t>(board.client[number].last));
         controller.negotiate(number, 1);
      }
      awaitMounts(controller);
      board.end = Bench::monotonicTime();
      board.mountingTime = Bench::processorTime() - used;
      hearChanges(controller, board);
      board.finished = true;
   }

 private:
   static void awaitMounts(Bench::Controlling const& controller) {
      std::uint32_t mounted = 0;
      Bench::runUntil([&] {
         while (mounted < switches * paths &&
                controller.isMounted(mounted / paths, pathName(mounted % paths))) {
            ++mounted;
         }
         return mounted == switches * paths;
      });
   }

   static void hearChanges(Bench::Controlling const& controller, Board& board) {
      std::uint32_t heard = 0;
      std::vector<Fen::Ptr<Hearer>> hearers;
      for (std::uint32_t number = 0; number < switches; ++number) {
         auto const table =
            Fen::ptrCast<Bench::PortTable>(controller.mounted(number, pathName(changedPath)));
         if (!table || table->portCount() != entities) {
            Bench::fail("a mounted table is not what the switch serves");
         }
         auto const port = table->port(Fen::Name(Bench::rowName(changedRow)));
         hearers.push_back(Fen::makePtr<Hearer>(port, heard));
      }
      board.heard = 1;
      Bench::runUntil([&] { return heard == switches; });
      board.figures[changeEnd] = Bench::monotonicTime();
   }
};

void measure(benchmark::State& state) {
   for (auto _ : state) {
      Convergence convergence;
      Bench::Outcome const outcome =
         Bench::run(convergence, {.traffic = Bench::Traffic::snapshot}, secondsLimit);
      if (!outcome.trouble.empty()) {
         state.SkipWithError(outcome.trouble.c_str());
         return;
      }
      double const time = static_cast<double>(outcome.time);
      state.SetIterationTime(time / 1e9);
      state.counters["change_ms"] =
         static_cast<double>(outcome.figures[changeEnd] - outcome.figures[changeBegin]) / 1e6;
      state.counters["mount_us"] = time / 1e3 / switches / paths;
      state.counters["entity_us"] = time / 1e3 / switches / paths / entities;
      state.counters["cpu_ms"] = static_cast<double>(outcome.mountingTime) / 1e6;
   }
}

} // namespace

int main(int argc, char** argv) {
   std::string const name = "Converge/" + std::to_string(switches) + "/" + std::to_string(paths) +
                            "/" + std::to_string(entities);
   benchmark::RegisterBenchmark(name.c_str(), measure)
      ->Iterations(1)
      ->Repetitions(5)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
   return Bench::runWithRatios(argc, argv, {});
}
