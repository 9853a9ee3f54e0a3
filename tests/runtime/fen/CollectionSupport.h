// What the tests of the collections share: members that count themselves, keys that collide, and
// random numbers whose seed is printed. Header only; used by one test program, on one thread.
#pragma once

#include <gantry/runtime/fen/HashMap.h>
#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/fen/String.h>

#include <gtest/gtest.h>

#include <compare>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>

namespace CollectionSupport {

/// A key with a hash of one's choice.
struct Key {
   unsigned value = 0;
   unsigned hashValue = 0;
   unsigned hash() const { return hashValue; }
   bool operator==(Key const& other) const { return value == other.value; }
   bool operator<(Key const& other) const { return value < other.value; }
};

/// A member of a map. Counts how many there are; runs `onEnd` in its destructor.
template <class K>
class Member : public Fen::PtrInterface {
 public:
   explicit Member(K key) : key_(key) { ++alive; }
   ~Member() override {
      --alive;
      if (onEnd) {
         onEnd();
      }
   }
   K const& fwkKey() const { return key_; }
   Fen::HashMapLink& fwkHmLink() { return link_; }

   std::function<void()> onEnd;
   static inline int alive = 0;

 private:
   K key_;
   Fen::HashMapLink link_;
};

/// How many times more than usual a random test runs, from the environment.
inline int longFactor() {
   char const* const text = std::getenv("GANTRY_TEST_LONG");
   int const factor = text != nullptr ? std::atoi(text) : 1;
   return factor > 1 ? factor : 1;
}

/// Calls `run( random )` for each of `rounds` seeds; a failure tells its seed, and with
/// GANTRY_TEST_SEED set that one seed is run alone.
template <class Run>
void forSeeds(unsigned rounds, Run run) {
   if (char const* const text = std::getenv("GANTRY_TEST_SEED"); text != nullptr) {
      std::mt19937 random(static_cast<unsigned>(std::strtoul(text, nullptr, 10)));
      run(random);
      return;
   }
   for (unsigned seed = 1; seed <= rounds * static_cast<unsigned>(longFactor()); ++seed) {
      SCOPED_TRACE("GANTRY_TEST_SEED=" + std::to_string(seed));
      std::mt19937 random(seed);
      run(random);
      if (testing::Test::HasFailure()) {
         return;
      }
   }
}

} // namespace CollectionSupport
