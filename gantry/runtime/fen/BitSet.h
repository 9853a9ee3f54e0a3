/// A few flags in one word. A plain value: whoever holds it owns it, on whatever thread.
#pragma once

#include <gantry/runtime/fen/Assert.h>

#include <concepts>
#include <cstdint>
#include <limits>

namespace Fen {

/// N flags in a word W. Flag 0 is the lowest bit; bits from N on are always 0.
template <int N, std::unsigned_integral W = std::uint32_t>
class BitSet {
 public:
   static constexpr int bits = N;
   static_assert(N > 0 && N <= std::numeric_limits<W>::digits);

   constexpr BitSet() = default;
   /// The flags of a word; what lies beyond the last flag is dropped.
   constexpr explicit BitSet(W word) : word_(static_cast<W>(word & mask)) {}

   constexpr W word() const { return word_; }

   constexpr bool bit(int pos) const {
      FEN_ASSERT(pos >= 0 && pos < bits, "pos>=0 && pos<bits");
      return ((word_ >> pos) & 1) != 0;
   }
   constexpr void bitIs(int pos, bool value) {
      FEN_ASSERT(pos >= 0 && pos < bits, "pos>=0 && pos<bits");
      W const flag = static_cast<W>(W{1} << pos);
      word_ = static_cast<W>(value ? word_ | flag : word_ & static_cast<W>(~flag));
   }

   constexpr bool any() const { return word_ != 0; }
   constexpr bool none() const { return word_ == 0; }

   constexpr BitSet operator|(BitSet other) const {
      return BitSet(static_cast<W>(word_ | other.word_));
   }
   constexpr BitSet operator&(BitSet other) const {
      return BitSet(static_cast<W>(word_ & other.word_));
   }
   constexpr BitSet& operator|=(BitSet other) { return *this = *this | other; }
   constexpr BitSet& operator&=(BitSet other) { return *this = *this & other; }
   constexpr bool operator==(BitSet const&) const = default;

 private:
   static constexpr W mask =
      static_cast<W>(std::numeric_limits<W>::max() >> (std::numeric_limits<W>::digits - N));

   W word_ = 0;
};

} // namespace Fen
