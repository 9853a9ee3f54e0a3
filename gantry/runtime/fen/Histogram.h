/// How often numbers of each size have come, on a logarithmic scale of fixed size: each power of
/// two has sixteen steps. So a quantile is at most one sixteenth above the true one, whatever came,
/// and adding a number costs a few instructions and no memory.
///
/// Owned by whoever counts; one thread.
#pragma once

#include <gantry/runtime/Export.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace Fen {

class GANTRY_EXPORT Histogram {
 public:
   void add(std::uint64_t value) {
      ++counts_[placeOf(value)];
      ++count_;
      sum_ += value;
      largest_ = std::max(largest_, value);
   }
   std::uint64_t count() const { return count_; }
   std::uint64_t sum() const { return sum_; }
   /// Exact; 0 when nothing has come.
   std::uint64_t largest() const { return largest_; }
   /// A number that this part of all, from 0 to 1, does not exceed: the upper end of the step in
   /// which the true quantile lies, and never more than the largest. 0 when nothing has come.
   std::uint64_t quantile(double part) const;

 private:
   static constexpr unsigned stepBits = 4;
   static constexpr std::uint64_t steps = 1u << stepBits;
   /// Numbers from this power of two on share the last step.
   static constexpr unsigned largestPower = 44;
   static constexpr std::size_t places = (largestPower - stepBits + 1) * steps;

   static std::size_t placeOf(std::uint64_t value) {
      if (value < steps) {
         return static_cast<std::size_t>(value);
      }
      auto const power = static_cast<unsigned>(std::bit_width(value)) - 1;
      if (power >= largestPower) {
         return places - 1;
      }
      std::uint64_t const step = (value >> (power - stepBits)) - steps;
      return static_cast<std::size_t>((power - stepBits + 1) * steps + step);
   }
   static std::uint64_t upperEnd(std::size_t place);

   std::array<std::uint64_t, places> counts_{};
   std::uint64_t count_ = 0;
   std::uint64_t sum_ = 0;
   std::uint64_t largest_ = 0;
};

} // namespace Fen
