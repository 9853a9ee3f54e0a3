/// Random sequences of what a host can do, on the library and on the naive model side by side:
/// after every single event the statuses, the registry, all machines, the mounts, the client's
/// calls and the local tree are the same in both. GANTRY_TEST_LONG multiplies the number of seeds.
///
/// A failure names its seed, which is also the parameter of the test, and prints the shortest
/// sequence found that still fails.
#include "Twins.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace RegistryTest {
namespace {

struct Failure {
   std::size_t events = 0;
   std::string difference;
};

/// The first event after which the worlds differ, and how.
std::optional<Failure> failureOf(std::uint32_t seed, Events const& events, Twins::Seen* seen) {
   Twins twins(seed);
   for (std::size_t at = 0; at < events.size(); ++at) {
      twins.apply(events[at]);
      if (std::string const difference = twins.difference(); !difference.empty()) {
         return Failure{at + 1, difference};
      }
   }
   if (seen != nullptr) {
      for (std::size_t state = 0; state < seen->size(); ++state) {
         (*seen)[state] += twins.seen()[state];
      }
   }
   twins.dropMachines();
   if (std::string const difference = twins.difference(); !difference.empty()) {
      return Failure{events.size(), "after the machines were dropped, " + difference};
   }
   return std::nullopt;
}

/// Leaves out whatever can be left out while the sequence still fails, first in large pieces.
Events shortened(std::uint32_t seed, Events events) {
   for (std::size_t piece = events.size() / 2; piece > 0; piece /= 2) {
      for (std::size_t from = 0; from + piece <= events.size();) {
         Events fewer = events;
         auto const begin = fewer.begin() + static_cast<std::ptrdiff_t>(from);
         fewer.erase(begin, begin + static_cast<std::ptrdiff_t>(piece));
         if (auto const failure = failureOf(seed, fewer, nullptr)) {
            fewer.resize(failure->events);
            events = std::move(fewer);
         } else {
            from += piece;
         }
      }
   }
   return events;
}

std::string report(std::uint32_t seed, Events const& all, Failure const& failure) {
   Events const events = shortened(
      seed, Events(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(failure.events)));
   std::ostringstream text;
   text << "seed " << seed << " fails after these events:\n";
   for (Event const& event : events) {
      text << "   " << event << "\n";
   }
   auto const shorter = failureOf(seed, events, nullptr);
   text << (shorter ? shorter->difference : failure.difference);
   return text.str();
}

constexpr unsigned batches = 24;
constexpr unsigned seedsPerBatch = 8;
constexpr std::size_t eventsPerSeed = 240;

unsigned longFactor() {
   char const* const text = std::getenv("GANTRY_TEST_LONG");
   return text == nullptr ? 1 : 20 * static_cast<unsigned>(std::max(1, std::atoi(text)));
}

class RandomEvents : public testing::TestWithParam<unsigned> {};

TEST_P(RandomEvents, LibraryAndModelStayTheSame) {
   Twins::Seen seen{};
   for (unsigned round = 0; round < seedsPerBatch * longFactor(); ++round) {
      // A batch's seeds do not depend on how many there are.
      std::uint32_t const seed = GetParam() + batches * round;
      Events const events = eventsOf(seed, eventsPerSeed);
      if (auto const failure = failureOf(seed, events, &seen)) {
         FAIL() << report(seed, events, *failure);
      }
   }
   // The sequences are worth something only while mounts come to every state.
   for (std::size_t state = 0; state < seen.size(); ++state) {
      EXPECT_GT(seen[state], 20u) << stringValue(static_cast<Controller::MountState>(state));
   }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomEvents, testing::Range(0u, batches));

} // namespace
} // namespace RegistryTest
