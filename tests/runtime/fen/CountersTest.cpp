/// The registry of counters and gauges.
#include <gantry/runtime/fen/Counters.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using Fen::Counters;

TEST(CountersTest, MadeOnFirstUse) {
   EXPECT_EQ(Counters::value("test.first_use"), 0u);
   Fen::Counter& counter = Counters::counter("test.first_use");
   EXPECT_EQ(counter.value(), 0u);
   EXPECT_EQ(&Counters::counter("test.first_use"), &counter);
}

TEST(CountersTest, CountsAndGauges) {
   Fen::Counter& counter = Counters::counter("test.counts");
   counter.increment();
   counter.increment(41);
   EXPECT_EQ(Counters::value("test.counts"), 42u);
   Counters::counter("test.gauge").valueIs(7);
   Counters::counter("test.gauge").valueIs(3);
   EXPECT_EQ(Counters::value("test.gauge"), 3u);
}

TEST(CountersTest, AddressesStay) {
   Fen::Counter& counter = Counters::counter("test.address");
   for (int i = 0; i < 1000; ++i) {
      Counters::counter("test.address." + std::to_string(i));
   }
   EXPECT_EQ(&Counters::counter("test.address"), &counter);
}

TEST(CountersTest, AskingForAValueMakesNoCounter) {
   Counters::value("test.never_made");
   Counters::forEach(
      [](std::string_view name, std::uint64_t) { EXPECT_NE(name, "test.never_made"); });
}

TEST(CountersTest, WalkedInOrderOfName) {
   Counters::counter("test.order.b").valueIs(2);
   Counters::counter("test.order.a").valueIs(1);
   std::vector<std::string> names;
   std::uint64_t sum = 0;
   Counters::forEach([&](std::string_view name, std::uint64_t value) {
      if (name.starts_with("test.order.")) {
         names.emplace_back(name);
         sum = sum * 10 + value;
      }
   });
   EXPECT_EQ(names, (std::vector<std::string>{"test.order.a", "test.order.b"}));
   EXPECT_EQ(sum, 12u);
}

TEST(CountersTest, AnyThreadMayCount) {
   Fen::Counter& counter = Counters::counter("test.threads");
   auto const count = [&counter] {
      for (int i = 0; i < 10000; ++i) {
         counter.increment();
      }
   };
   std::thread first(count);
   std::thread second(count);
   first.join();
   second.join();
   EXPECT_EQ(counter.value(), 20000u);
}

} // namespace
