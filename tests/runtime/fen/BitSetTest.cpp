// Flags in a word: values, bounds and the word they make.
#include <gantry/runtime/fen/BitSet.h>

#include <gtest/gtest.h>

namespace {

using Flags = Fen::BitSet<27, std::uint32_t>;

TEST(BitSet, FlagsAreTheBitsOfTheWord) {
   static_assert(sizeof(Flags) == 4);
   Flags flags;
   EXPECT_TRUE(flags.none());
   for (int pos = 0; pos < 27; ++pos) {
      EXPECT_FALSE(flags.bit(pos));
      flags.bitIs(pos, true);
      EXPECT_TRUE(flags.bit(pos));
      EXPECT_EQ(flags.word(), (1u << (pos + 1)) - 1);
   }
   flags.bitIs(3, true);
   EXPECT_EQ(flags.word(), 0x07ffffffu);
   flags.bitIs(0, false);
   flags.bitIs(26, false);
   EXPECT_EQ(flags.word(), 0x03fffffeu);
   flags.bitIs(26, false);
   EXPECT_EQ(flags.word(), 0x03fffffeu);
   EXPECT_TRUE(flags.any());
}

TEST(BitSet, BitsBeyondTheLastFlagAreDropped) {
   EXPECT_EQ(Flags(0xffffffffu).word(), 0x07ffffffu);
   EXPECT_EQ((Fen::BitSet<32, std::uint32_t>(0xffffffffu).word()), 0xffffffffu);
   EXPECT_EQ((Fen::BitSet<1, std::uint8_t>(3).word()), 1);
}

TEST(BitSet, Combines) {
   Flags left;
   left.bitIs(1, true);
   Flags right;
   right.bitIs(26, true);
   EXPECT_EQ((left | right).word(), 0x04000002u);
   EXPECT_TRUE((left & right).none());
   left |= right;
   EXPECT_TRUE(left.bit(26));
   left &= right;
   EXPECT_EQ(left, right);
}

TEST(BitSet, WideWord) {
   Fen::BitSet<64, std::uint64_t> flags;
   flags.bitIs(63, true);
   EXPECT_EQ(flags.word(), 1ull << 63);
   EXPECT_TRUE(flags.bit(63));
}

TEST(BitSetDeathTest, PositionOutside) {
   Flags flags;
   EXPECT_DEATH(flags.bitIs(27, true), "pos>=0 && pos<bits");
   EXPECT_DEATH(flags.bitIs(-1, true), "pos>=0 && pos<bits");
   EXPECT_DEATH(static_cast<void>(flags.bit(27)), "pos>=0 && pos<bits");
   EXPECT_DEATH(static_cast<void>(flags.bit(-1)), "pos>=0 && pos<bits");
}

} // namespace
