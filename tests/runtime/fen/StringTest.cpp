/// Strings, names and what printf's rules make of them.
#include <gantry/runtime/fen/String.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <unordered_set>

namespace {

using Fen::Name;
using Fen::String8;

TEST(StringTest, EmptyAndNullAreTheSame) {
   String8 const null;
   String8 const empty("");
   String8 const fromNull(static_cast<char const*>(nullptr));
   EXPECT_EQ(null, empty);
   EXPECT_EQ(null, fromNull);
   EXPECT_EQ(null.length(), 0u);
   EXPECT_TRUE(empty.empty());
   EXPECT_TRUE(!null);
   EXPECT_FALSE(static_cast<bool>(empty));
   EXPECT_STREQ(null.charPtr(), "");
   EXPECT_EQ(null.hash(), empty.hash());
   EXPECT_TRUE(null == "");
   EXPECT_TRUE(null == static_cast<char const*>(nullptr));
   EXPECT_FALSE(String8("a") == static_cast<char const*>(nullptr));
}

TEST(StringTest, HashIsTheTextsAlone) {
   std::string text;
   for (int length = 0; length < 40; ++length) {
      String8 const one(text);
      String8 const other(std::string_view(text.data(), text.size()));
      EXPECT_EQ(one.hash(), other.hash());
      EXPECT_EQ(one.hash(), one.hash());
      EXPECT_EQ(one.hash(), Name(one).hash());
      EXPECT_NE(one.hash(), 0u);
      text += static_cast<char>('a' + length % 26);
   }
}

/// The order of every collection rests on these numbers: a change of them is a change of the order
/// in which peers of other versions see members.
TEST(StringTest, HashHasNoSeed) {
   std::uint32_t const again = String8("linux/interface").hash();
   EXPECT_EQ(String8(std::string("linux/") + "interface").hash(), again);
   EXPECT_NE(String8("linux/interfacf").hash(), again);
}

TEST(StringTest, HashSpreads) {
   std::unordered_set<std::uint32_t> hashes;
   std::unordered_set<std::uint32_t> low;
   for (int i = 0; i < 4096; ++i) {
      std::uint32_t const hash = Fen::format("eth%d", i).hash();
      hashes.insert(hash);
      low.insert(hash & 0xfff);
   }
   EXPECT_EQ(hashes.size(), 4096u);
   EXPECT_GT(low.size(), 2300u); // 2589 expected of a random function
}

TEST(StringTest, CopiesShareTheText) {
   String8 const text("shared");
   String8 const copy = text;
   EXPECT_EQ(text.charPtr(), copy.charPtr());
   Name const name(text);
   EXPECT_EQ(name.charPtr(), text.charPtr());
}

TEST(StringTest, AppendingLeavesOthersAlone) {
   String8 text("one");
   String8 const before = text;
   text += " two";
   EXPECT_EQ(text, "one two");
   EXPECT_EQ(before, "one");
   text += text;
   EXPECT_EQ(text, "one twoone two");
   text = "assigned";
   EXPECT_EQ(text, "assigned");
   EXPECT_EQ(String8("a") + "b" + String8("c"), "abc");
   EXPECT_EQ(String8() + String8(), "");
}

TEST(StringTest, EmbeddedNulsAreText) {
   std::string_view const raw("a\0b", 3);
   String8 const text(raw);
   EXPECT_EQ(text.length(), 3u);
   EXPECT_EQ(text.view(), raw);
   EXPECT_NE(text, String8("a"));
   EXPECT_NE(text.hash(), String8("a").hash());
   EXPECT_EQ((text + text).length(), 6u);
   EXPECT_LT(String8("a"), text);
}

TEST(StringTest, OrderIsOfUnsignedBytes) {
   EXPECT_LT(String8("a"), String8("b"));
   EXPECT_LT(String8("a"), String8("aa"));
   EXPECT_LT(String8(), String8("a"));
   EXPECT_LT(String8("z"), String8("\x80"));
   EXPECT_FALSE(String8("a") < String8("a"));
}

TEST(StringTest, Format) {
   EXPECT_EQ(Fen::format("%s/%d %5.2f", "eth", 3, 1.5), "eth/3  1.50");
   EXPECT_EQ(Fen::format("%s", ""), "");
   std::string const large(1000, 'x');
   EXPECT_EQ(Fen::format("<%s>", large.c_str()).view(), "<" + large + ">");
   // Around the size of the first buffer.
   for (std::size_t length = 253; length < 259; ++length) {
      EXPECT_EQ(Fen::format("%s", std::string(length, 'y').c_str()).length(), length);
   }
}

TEST(StringTest, StreamsAsItStands) {
   std::ostringstream out;
   out << String8("it's") << Name(" here");
   EXPECT_EQ(out.str(), "it's here");
}

TEST(StringTest, IteratorKeepsTheText) {
   String8::IteratorConst place;
   {
      String8 const text("walk");
      place = String8::IteratorConst(text, 1);
   }
   EXPECT_EQ(*place, 'a');
   ++place;
   EXPECT_EQ(place.rest(), "lk");
   EXPECT_EQ(place.left(), 2u);
   place.positionIs(4);
   EXPECT_TRUE(place.atEnd());
}

TEST(StringTest, MoveLeavesTheOtherValid) {
   String8 text("moved");
   String8 const taken = std::move(text);
   EXPECT_EQ(taken, "moved");
   text = "again";
   EXPECT_EQ(text, "again");
}

} // namespace
