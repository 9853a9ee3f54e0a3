/// The text form of built-in values, as exceptions and tools show them.
#include "HandWrittenEntity.h"

#include <gantry/runtime/fen/Strep.h>

#include <gtest/gtest.h>

#include <limits>

namespace {

using Fen::Name;
using Fen::Ptr;
using Fen::String8;
using Fen::valueToStrep;

TEST(StrepTest, Text) {
   EXPECT_EQ(valueToStrep(String8("plain")), "'plain'");
   EXPECT_EQ(valueToStrep(String8()), "''");
   EXPECT_EQ(valueToStrep(Name("eth0")), "'eth0'");
   EXPECT_EQ(valueToStrep("a literal is text"), "'a literal is text'");
   EXPECT_EQ(valueToStrep(String8("it's \\ \n\t")), "'it\\'s \\\\ \\n\\t'");
   EXPECT_EQ(valueToStrep(String8(std::string_view("\0\x01\x1f\x7f", 4))),
             "'\\x00\\x01\\x1f\\x7f'");
   EXPECT_EQ(valueToStrep(String8("\r\"")), "'\\x0d\"'");
   EXPECT_EQ(valueToStrep(String8("gr\xc3\xbc\xc3\x9f")), "'gr\xc3\xbc\xc3\x9f'");
}

TEST(StrepTest, Booleans) {
   EXPECT_EQ(valueToStrep(true), "True");
   EXPECT_EQ(valueToStrep(false), "False");
}

TEST(StrepTest, Numbers) {
   EXPECT_EQ(valueToStrep(0), "0");
   EXPECT_EQ(valueToStrep(-7), "-7");
   EXPECT_EQ(valueToStrep(std::uint16_t{65535}), "65535");
   EXPECT_EQ(valueToStrep(std::uint8_t{65}), "65");
   EXPECT_EQ(valueToStrep(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
   EXPECT_EQ(valueToStrep(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
   EXPECT_EQ(valueToStrep(0.25), "0.25");
   EXPECT_EQ(valueToStrep(-1.5), "-1.5");
   EXPECT_EQ(valueToStrep(0.1), "0.1");
}

TEST(StrepTest, Pointers) {
   EXPECT_EQ(valueToStrep(Ptr<Sample::Port>()), "None");
   EXPECT_EQ(valueToStrep(static_cast<Sample::Port*>(nullptr)), "None");
   auto const chassis = Fen::makePtr<Sample::Chassis>("c1");
   EXPECT_EQ(valueToStrep(chassis), "'c1'");
   EXPECT_EQ(valueToStrep(chassis->portIs("it's", "copper", "1")), "'c1/port/it\\'s'");
   EXPECT_EQ(valueToStrep(Ptr<Fen::Entity const>(chassis)), "'c1'");
   EXPECT_EQ(Fen::valueToStrepOfRawPtr(chassis.ptr()), "'c1'");
}

} // namespace
