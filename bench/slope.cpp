/// Whether cost grows in proportion: the time until all is mounted, between two processes over
/// loopback, for one table of 1 to 100,000 members, for 1 to 1,000 mounts over one connection, and
/// for mounts from 1 to 200 peers. Behind the table stands the slope of each, the exponent with
/// which the time grows over the larger sizes: 1 is a cost in proportion to the size, 2 one in
/// proportion to its square. Small sizes show what a mount costs at all.
#include "Ratios.h"
#include "endtoend/Slopes.h"

#include <memory>

namespace {

using Bench::Task;
using Bench::Traffic;

constexpr double secondsLimit = 120.0;

struct Series {
   char const* name;
   std::unique_ptr<Bench::System> (*make)(std::uint32_t size);
   std::vector<std::uint32_t> sizes;
};

std::vector<Series> const& allSeries() {
   static std::vector<Series> const series = {
      {"Members", Bench::mountMembers, {1, 10, 100, 1'000, 10'000, 100'000}},
      {"Mounts", Bench::mountMounts, {1, 10, 100, 1'000}},
      {"Peers", Bench::mountPeers, {1, 2, 20, 200}},
   };
   return series;
}

std::string nameOf(Series const& series, std::uint32_t size) {
   return std::string(series.name) + "/" + std::to_string(size);
}

void measure(benchmark::State& state, Series const& series, std::uint32_t size) {
   for (auto _ : state) {
      auto const system = series.make(size);
      Bench::Outcome const outcome =
         Bench::run(*system, {.traffic = Traffic::snapshot}, secondsLimit);
      if (!outcome.trouble.empty()) {
         state.SkipWithError(outcome.trouble.c_str());
         return;
      }
      double const nanoseconds = static_cast<double>(outcome.time);
      state.SetIterationTime(nanoseconds / 1e9);
      state.counters["each_us"] = nanoseconds / 1e3 / size;
   }
}

} // namespace

int main(int argc, char** argv) {
   std::vector<Bench::Slope> slopes;
   for (Series const& series : allSeries()) {
      Bench::Slope slope{series.name, {}, 1.15};
      for (std::uint32_t const size : series.sizes) {
         std::string const name = nameOf(series, size);
         slope.points.push_back({static_cast<double>(size), name});
         benchmark::RegisterBenchmark(
            name.c_str(),
            [&series, size](benchmark::State& state) { measure(state, series, size); })
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
      }
      slopes.push_back(slope);
   }
   return Bench::runWithRatios(argc, argv, {}, slopes);
}
