/// What declared mounts cost a controller without a network: S switches times P paths, with a mount
/// client that answers in the next turn of the loop. A row for each fleet tells the time of one
/// mount from its declaration to its final state, and beside it
///
///    bytes          of the heap for one live mount: all that came with its declaration
///    connection_ns  the evaluation of one path when a connection of the live fleet speaks up
///    remount_ns     and until each of its mounts is in its final state again
///    filter_ns      the evaluation of one path and connection when a filter changes for all
///    refilter_ns    and until each mount of the fleet is in its final state again
///
/// Unqualified rows tell the evaluation of one path and connection that does not qualify: since
/// nothing has been negotiated, since a filter of systems or one of versions keeps it out, or since
/// the switch is not registered.
/// Behind the table stand the goals, how the time of all mounts grows with the switches as an
/// exponent (1 is in proportion), and the curve over the paths of a group, which rises: each state
/// of a mount is rolled up by a walk over the paths of its group. Times are of the processor.
#include "Ratios.h"
#include "fleet/Controller.h"
#include "fleet/PromptBackend.h"

#include <gantry/runtime/fen/VirtualTime.h>

#include <ctime>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <memory>

namespace {

constexpr unsigned switchCounts[] = {100, 1'000, 10'000};
constexpr unsigned pathCounts[] = {1, 10, 100};
/// In proportion, but for the caches that a large fleet does not fit into.
constexpr double slopeGoal = 1.3;
constexpr double bytesGoal = 4096;
constexpr double mountGoal = 10'000;
constexpr double unqualifiedGoal = 150;

double processorNanoseconds() {
   timespec now{};
   ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
   return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

template <class Work>
double nanosecondsOf(Work const& work) {
   double const start = processorNanoseconds();
   work();
   return processorNanoseconds() - start;
}

double heapBytes() {
   struct mallinfo2 const now = mallinfo2();
   return static_cast<double>(now.uordblks + now.hblkhd);
}

/// What the machine has to give; 0 where it does not say.
double availableBytes() {
   std::ifstream file("/proc/meminfo");
   std::string name;
   double kilobytes = 0;
   while (file >> name) {
      if (name == "MemAvailable:" && file >> kilobytes) {
         return kilobytes * 1024;
      }
   }
   return 0;
}

enum class Gate { open, noVersion, bySystem, byVersion, unregistered };

/// Time, a mount client and a controller that knows so many switches. Nothing is declared.
class Fleet {
 public:
   Fleet(unsigned switches, Gate gate) : gate_(gate) {
      Cairn::backendIs(Fen::makePtr<Bench::PromptBackend>());
      controller_ = std::make_unique<Bench::Controlling>();
      for (unsigned number = 0; number < switches; ++number) {
         strangers_.push_back(Bench::Controlling::id(number + switches));
         controller_->registerSwitch(number, Fen::format("10.%u.%u.1", number >> 8, number & 255),
                                     9000);
         if (gate != Gate::noVersion) {
            controller_->negotiate(number, 1);
         }
      }
      auto const group = controller_->group();
      versions_ = controller_->config()->versionFilterIs("versions");
      versions_->includedServiceVersionIs(gate == Gate::byVersion ? 2 : 1, true);
      if (gate == Gate::bySystem) {
         auto const systems = controller_->config()->systemFilterIs("systems");
         systems->includedSystemIs("nobody", true);
         group->systemFilterIs(systems);
      } else {
         group->versionFilterIs(versions_);
      }
      settle();
   }
   ~Fleet() {
      controller_ = nullptr;
      Cairn::backendIs(nullptr);
   }
   Fleet(Fleet const&) = delete;
   Fleet& operator=(Fleet const&) = delete;

   Bench::Controlling& controller() { return *controller_; }
   void settle() { time_.advance(0.0); }
   void declare(unsigned paths) {
      for (unsigned path = 0; path < paths; ++path) {
         controller_->declare("state/path" + std::to_string(path), "Fen::Dir", "r");
      }
   }
   void changeFilter(unsigned version) { versions_->includedServiceVersionIs(version, true); }
   /// Has every path decide again, for all switches.
   void evaluateAll() {
      auto const& machine = controller_->machine();
      for (auto entry = machine->mountsRegistryEntrySmIterator(); entry; ++entry) {
         if (gate_ == Gate::unregistered) {
            for (Controller::SystemId const& stranger : strangers_) {
               entry->handleSwitchConnection(stranger);
            }
         } else {
            entry->handleSwitchConnection();
         }
      }
   }

 private:
   Gate const gate_;
   /// As many systems that are not registered.
   std::vector<Controller::SystemId> strangers_;
   Fen::VirtualTime time_{1000.0};
   std::unique_ptr<Bench::Controlling> controller_;
   Fen::Ptr<Controller::MountFilterServiceVersion> versions_;
};

struct Size {
   unsigned switches;
   unsigned paths;
   double mounts() const { return static_cast<double>(switches) * paths; }
   std::string name() const { return std::to_string(switches) + "/" + std::to_string(paths); }
};

/// What one mount of each fleet took, in nanoseconds and bytes.
struct Found {
   double time;
   double bytes;
};
std::map<std::string, std::vector<Found>> foundOf;

double median(std::string const& name, double Found::*figure) {
   std::vector<double> figures;
   for (Found const& found : foundOf[name]) {
      figures.push_back(found.*figure);
   }
   std::sort(figures.begin(), figures.end());
   return figures.empty() ? 0 : figures[figures.size() / 2];
}

void measureFleet(benchmark::State& state, Size const& size) {
   if (availableBytes() < 1.5 * bytesGoal * size.mounts()) {
      state.SkipWithError("the machine has not got the memory");
      return;
   }
   for (auto _ : state) {
      Fleet fleet(size.switches, Gate::open);
      auto const mounted = [&] {
         return fleet.controller().mountsIn(Controller::mountStateMounted) ==
                static_cast<std::size_t>(size.mounts());
      };
      double const before = heapBytes();
      double const time = nanosecondsOf([&] {
         fleet.declare(size.paths);
         fleet.settle();
      });
      double const bytes = (heapBytes() - before) / size.mounts();
      bool good = mounted();
      double const connection = nanosecondsOf([&] { fleet.controller().negotiate(0, 1); });
      double const remount = connection + nanosecondsOf([&] { fleet.settle(); });
      good = good && mounted();
      double const filter = nanosecondsOf([&] { fleet.changeFilter(2); });
      double const refilter = filter + nanosecondsOf([&] { fleet.settle(); });
      if (!good || !mounted()) {
         state.SkipWithError("not everything is mounted");
         return;
      }
      state.SetIterationTime(time / size.mounts() / 1e9);
      state.counters["bytes"] = bytes;
      state.counters["connection_ns"] = connection / size.paths;
      state.counters["remount_ns"] = remount / size.paths;
      state.counters["filter_ns"] = filter / size.mounts();
      state.counters["refilter_ns"] = refilter / size.mounts();
      foundOf[size.name()].push_back({time / size.mounts(), bytes});
   }
}

void measureUnqualified(benchmark::State& state, Size const& size, Gate gate) {
   Fleet fleet(size.switches, gate);
   fleet.declare(size.paths);
   fleet.settle();
   if (gate != Gate::unregistered &&
       fleet.controller().mountsIn(Controller::mountStateMounted) != 0) {
      state.SkipWithError("something qualifies");
      return;
   }
   // A fleet that is small is evaluated until there is something to measure.
   unsigned const rounds = 1 + static_cast<unsigned>(100'000 / size.mounts());
   for (auto _ : state) {
      double const time = nanosecondsOf([&] {
         for (unsigned round = 0; round < rounds; ++round) {
            fleet.evaluateAll();
         }
      });
      state.SetIterationTime(time / rounds / size.mounts() / 1e9);
   }
}

void once(std::string const& name, std::function<void(benchmark::State&)> const& body,
          int repetitions) {
   benchmark::RegisterBenchmark(name.c_str(), body)
      ->Iterations(1)
      ->Repetitions(repetitions)
      ->UseManualTime()
      ->Unit(benchmark::kNanosecond);
}

void printBytes() {
   for (unsigned const paths : pathCounts) {
      for (unsigned const switches : switchCounts) {
         std::string const name = Size{switches, paths}.name();
         if (double const bytes = median(name, &Found::bytes); bytes > 0) {
            std::printf("%-44s %8.0f b   goal %.0f: %s\n", ("memory of a mount, " + name).c_str(),
                        bytes, bytesGoal, bytes <= bytesGoal ? "met" : "MISSED");
         }
      }
   }
}

/// The price of the roll-up: for each number of switches, a mount by the number of paths.
void printCurves() {
   for (unsigned const switches : switchCounts) {
      std::string curve;
      for (unsigned const paths : pathCounts) {
         double const time = median(Size{switches, paths}.name(), &Found::time);
         if (time > 0) {
            curve +=
               "  P=" + std::to_string(paths) + ": " + std::to_string(std::lround(time)) + " ns";
         }
      }
      if (!curve.empty()) {
         std::printf("%-44s%s\n", ("a mount over P, S = " + std::to_string(switches)).c_str(),
                     curve.c_str());
      }
   }
}

} // namespace

int main(int argc, char** argv) {
   std::vector<Bench::Ratio> ratios;
   std::vector<Bench::Slope> slopes;
   for (unsigned const paths : pathCounts) {
      Bench::Slope slope{"all mounts at P=" + std::to_string(paths), {}, slopeGoal, true};
      for (unsigned const switches : switchCounts) {
         Size const size{switches, paths};
         std::string const name = "Mount/" + size.name();
         once(
            name, [size](benchmark::State& state) { measureFleet(state, size); },
            size.mounts() > 50'000 ? 1 : 3);
         ratios.push_back({"time of a mount, " + size.name(), name, "", mountGoal});
         slope.points.push_back({static_cast<double>(switches), name});
      }
      slopes.push_back(slope);
   }
   struct Kind {
      char const* name;
      Gate gate;
   };
   for (Kind const& kind :
        {Kind{"NoVersion", Gate::noVersion}, Kind{"BySystem", Gate::bySystem},
         Kind{"ByVersion", Gate::byVersion}, Kind{"Unregistered", Gate::unregistered}}) {
      for (unsigned const switches : switchCounts) {
         Size const size{switches, 10};
         std::string const name = "Unqualified" + std::string(kind.name) + "/" + size.name();
         once(
            name,
            [size, gate = kind.gate](benchmark::State& state) {
               measureUnqualified(state, size, gate);
            },
            3);
         ratios.push_back({"an evaluation, " + name.substr(11), name, "", unqualifiedGoal});
      }
   }
   int const result = Bench::runWithRatios(argc, argv, ratios, slopes);
   printBytes();
   printCurves();
   return result;
}
