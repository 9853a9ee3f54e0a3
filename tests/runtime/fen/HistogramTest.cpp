/// Quantiles on a logarithmic scale, against the exact ones.
#include <gantry/runtime/fen/Histogram.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

using Fen::Histogram;

TEST(HistogramTest, NothingHasCome) {
   Histogram const histogram;
   EXPECT_EQ(histogram.count(), 0u);
   EXPECT_EQ(histogram.largest(), 0u);
   EXPECT_EQ(histogram.quantile(0.5), 0u);
   EXPECT_EQ(histogram.quantile(1.0), 0u);
}

TEST(HistogramTest, SmallNumbersAreExact) {
   Histogram histogram;
   for (std::uint64_t value = 0; value < 10; ++value) {
      histogram.add(value);
   }
   EXPECT_EQ(histogram.quantile(0.0), 0u);
   EXPECT_EQ(histogram.quantile(0.5), 4u);
   EXPECT_EQ(histogram.quantile(0.9), 8u);
   EXPECT_EQ(histogram.quantile(1.0), 9u);
   EXPECT_EQ(histogram.sum(), 45u);
}

TEST(HistogramTest, NumbersBeyondTheScaleAreTheLargest) {
   Histogram histogram;
   histogram.add(~std::uint64_t{0});
   histogram.add(std::uint64_t{1} << 60);
   EXPECT_EQ(histogram.quantile(0.5), ~std::uint64_t{0});
   EXPECT_EQ(histogram.largest(), ~std::uint64_t{0});
}

/// Of numbers of all sizes, no quantile is below the true one or more than a sixteenth above it.
TEST(HistogramTest, QuantilesAreExactToASixteenth) {
   std::mt19937_64 random(7);
   for (unsigned round = 0; round < 200; ++round) {
      Histogram histogram;
      std::vector<std::uint64_t> all(1 + random() % 300);
      for (std::uint64_t& each : all) {
         each = random() >> (21 + random() % 43);
         histogram.add(each);
      }
      std::sort(all.begin(), all.end());
      EXPECT_EQ(histogram.largest(), all.back());
      for (double const part : {0.01, 0.5, 0.9, 0.99, 1.0}) {
         auto const rank =
            static_cast<std::size_t>(std::ceil(part * static_cast<double>(all.size())));
         std::uint64_t const exact = all[rank - 1];
         EXPECT_GE(histogram.quantile(part), exact);
         EXPECT_LE(histogram.quantile(part), exact + exact / 16);
      }
   }
}

} // namespace
