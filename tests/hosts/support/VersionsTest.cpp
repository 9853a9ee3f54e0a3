// Versions of a service as text, and what two sides have in common.

#include <hosts/support/Versions.h>

#include <gtest/gtest.h>

#include <random>

namespace Host {
namespace {

std::string readBack(std::string_view text) {
   auto const read = Versions::fromText(text);
   return read ? read->text() : "refused";
}

TEST(Versions, ReadsAndWrites) {
   EXPECT_EQ(readBack("1"), "1");
   EXPECT_EQ(readBack("1-3,5"), "1-3,5");
   EXPECT_EQ(readBack("5,1-3"), "1-3,5");
   EXPECT_EQ(readBack("1,2,3"), "1-3");
   EXPECT_EQ(readBack("1-5,2-3,4-7"), "1-7");
   EXPECT_EQ(readBack("7-7"), "7");
   EXPECT_EQ(readBack("1-4294967295"), "1-4294967295");
   EXPECT_EQ(readBack("4294967295,4294967294"), "4294967294-4294967295");
}

TEST(Versions, RefusesWhatIsNoVersion) {
   for (char const* text : {"", "0", "0-3", "3-1", "-1", "1-", "-", "1--2", "one", "1,", ",1",
                            "1,,2", " 1", "1 ", "1.5", "4294967296", "1-4294967296", "+1"}) {
      EXPECT_EQ(readBack(text), "refused") << text;
   }
   std::string many = "1";
   for (unsigned i = 1; i < 100; ++i) {
      many += "," + std::to_string(2 * i + 1);
   }
   EXPECT_NE(readBack(many), "refused");
   EXPECT_EQ(readBack(many + ",1001"), "refused");
}

TEST(Versions, CountsAndContains) {
   Versions const versions = *Versions::fromText("1-3,5");
   EXPECT_EQ(versions.count(), 4u);
   EXPECT_TRUE(versions.contains(1) && versions.contains(3) && versions.contains(5));
   EXPECT_FALSE(versions.contains(0) || versions.contains(4) || versions.contains(6));
   EXPECT_EQ(Versions::fromText("1-4294967295")->count(), 4294967295u);
   EXPECT_TRUE(Versions().isEmpty());
}

TEST(Versions, HighestInCommon) {
   auto const common = [](char const* one, char const* other) {
      return highestCommonVersion(*Versions::fromText(one), *Versions::fromText(other));
   };
   EXPECT_EQ(common("1-3", "2-5"), 3u);
   EXPECT_EQ(common("1-3", "4"), 0u);
   EXPECT_EQ(common("1,5", "1-4"), 1u);
   EXPECT_EQ(common("1-4294967295", "7"), 7u);
   EXPECT_EQ(highestCommonVersion(Versions(), *Versions::fromText("1")), 0u);
}

TEST(Versions, HighestInCommonAgreesWithTheSets) {
   std::mt19937 random(7);
   for (int i = 0; i < 2000; ++i) {
      std::string texts[2];
      for (std::string& text : texts) {
         for (unsigned n = 0; n < 1 + random() % 3; ++n) {
            unsigned const first = 1 + static_cast<unsigned>(random() % 12);
            text += (text.empty() ? "" : ",") + std::to_string(first) + "-" +
                    std::to_string(first + random() % 3);
         }
      }
      Versions const one = *Versions::fromText(texts[0]), other = *Versions::fromText(texts[1]);
      std::uint32_t highest = 0;
      for (std::uint32_t version = 1; version < 20; ++version) {
         highest = one.contains(version) && other.contains(version) ? version : highest;
      }
      EXPECT_EQ(highestCommonVersion(one, other), highest) << texts[0] << " and " << texts[1];
   }
}

} // namespace
} // namespace Host
