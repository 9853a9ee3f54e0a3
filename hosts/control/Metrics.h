/// The numbers of a process as they are given to tools: each with a name, a kind, what it means,
/// and a sample for each combination of its labels. docs/control.md has the table of all of them.
///
/// Made for one answer; on the activity loop's thread.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Host {

using Json = nlohmann::ordered_json;

class Metrics {
 public:
   enum class Kind { counter, gauge };
   using Labels = std::vector<std::pair<char const*, std::string>>;

   /// Begins a metric; the samples that follow are its.
   void metric(char const* name, Kind kind, char const* help) {
      metricIs(name, kind == Kind::counter ? "counter" : "gauge", help);
   }
   void sample(std::uint64_t value, Labels const& labels = {}) { sampleIs(value, labels); }
   /// A metric with quantiles, from 0 to 1, of so many values with that sum.
   void summary(char const* name, char const* help, std::uint64_t count, double sum,
                std::vector<std::pair<double, double>> const& quantiles);

   Json const& json() const { return all_; }

 private:
   void metricIs(char const* name, char const* kind, char const* help);
   void sampleIs(Json value, Labels const& labels);

   Json all_ = Json::array();
};

/// What every process counts: its loop, its peers and what it refused.
void processMetrics(Metrics& metrics);

/// The mounts of a host in each state, by the name of the state.
void mountMetric(Metrics& metrics, std::map<std::string, std::uint64_t> const& mounts);

/// Whether processMetrics() shows the counter of that name; one that ends in a dot stands for all
/// that begin so.
bool isShownCounter(std::string_view name);

} // namespace Host
