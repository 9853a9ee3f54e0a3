/// A main function's body for benchmarks whose result is a ratio between two of them: it runs all
/// with Google Benchmark's own options and prints, behind the table, each ratio with its goal. A
/// ratio is that of the medians over all repetitions of one run, which take turns by default so
/// that what disturbs the machine disturbs all of them. Times are of the processor, or real ones
/// where the benchmark says so. Header only; the main thread.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace Bench {

struct Ratio {
   std::string what;
   std::string of;
   /// Empty for a goal in nanoseconds.
   std::string to;
   double goal;
};

/// How a time grows with a size: the exponent, by least squares over the three largest sizes.
struct Slope {
   struct Point {
      double size;
      std::string of;
   };
   std::string what;
   /// In order of size.
   std::vector<Point> points;
   double goal;
   /// The times are of one thing each of as many as the size says; what grows is all together.
   bool timesAreEach = false;
};

/// Keeps every run's time. Of repeated runs it prints what sums them up.
class KeepingReporter : public benchmark::ConsoleReporter {
 public:
   void ReportRuns(std::vector<Run> const& runs) override {
      std::vector<Run> printed;
      for (Run const& run : runs) {
         if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
            double const time =
               usesRealTime(run) ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
            times_[run.run_name.function_name].push_back(time);
            if (!run.run_name.args.empty()) {
               times_[run.run_name.function_name + "/" + run.run_name.args].push_back(time);
            }
         }
         if (run.run_type == Run::RT_Aggregate || run.repetitions <= 1 || run.error_occurred) {
            printed.push_back(run);
         }
      }
      ConsoleReporter::ReportRuns(printed);
   }
   /// Median in the benchmark's unit, 0 when it did not run.
   double median(std::string const& name) const {
      auto const found = times_.find(name);
      if (found == times_.end()) {
         return 0;
      }
      std::vector<double> times = found->second;
      std::sort(times.begin(), times.end());
      return times[times.size() / 2];
   }

 private:
   static bool usesRealTime(Run const& run) { return !run.run_name.time_type.empty(); }

   std::map<std::string, std::vector<double>> times_;
};

/// The exponent; 0 when a size did not run.
inline double exponent(Slope const& slope, KeepingReporter const& reporter) {
   std::size_t const count = std::min<std::size_t>(slope.points.size(), 3);
   double x = 0;
   double y = 0;
   double xx = 0;
   double xy = 0;
   for (std::size_t i = slope.points.size() - count; i < slope.points.size(); ++i) {
      double time = reporter.median(slope.points[i].of);
      if (time <= 0) {
         return 0;
      }
      if (slope.timesAreEach) {
         time *= slope.points[i].size;
      }
      double const logSize = std::log(slope.points[i].size);
      x += logSize;
      y += std::log(time);
      xx += logSize * logSize;
      xy += logSize * std::log(time);
   }
   double const n = static_cast<double>(count);
   return (n * xy - x * y) / (n * xx - x * x);
}

inline int runWithRatios(int argc, char** argv, std::vector<Ratio> const& ratios,
                         std::vector<Slope> const& slopes = {}) {
   std::vector<char*> arguments(argv, argv + argc);
   std::string defaults[] = {"--benchmark_repetitions=9", "--benchmark_min_time=0.05",
                             "--benchmark_enable_random_interleaving=true"};
   std::size_t at = argc > 0 ? 1 : 0;
   for (std::string& option : defaults) {
      arguments.insert(arguments.begin() + static_cast<std::ptrdiff_t>(at++), option.data());
   }
   int count = static_cast<int>(arguments.size());
   benchmark::Initialize(&count, arguments.data());
   if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
      return 2;
   }
   KeepingReporter reporter;
   benchmark::RunSpecifiedBenchmarks(&reporter);
   benchmark::Shutdown();
   for (Ratio const& ratio : ratios) {
      double const of = reporter.median(ratio.of);
      double const to = ratio.to.empty() ? 1 : reporter.median(ratio.to);
      if (of > 0 && to > 0) {
         std::printf("%-44s %8.3f%s  goal %.3g: %s\n", ratio.what.c_str(), of / to,
                     ratio.to.empty() ? " ns" : "   ", ratio.goal,
                     of / to <= ratio.goal ? "met" : "MISSED");
      }
   }
   for (Slope const& slope : slopes) {
      double const found = exponent(slope, reporter);
      if (found > 0) {
         std::printf("%-44s %8.3f     goal %.3g: %s\n", ("slope of " + slope.what).c_str(), found,
                     slope.goal, found <= slope.goal ? "met" : "MISSED");
      }
   }
   return 0;
}

} // namespace Bench
