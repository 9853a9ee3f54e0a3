/// Reading values from text: what was written is read back, and everything else is refused with
/// the column.
#include "HandWrittenEntity.h"

#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/StrepRead.h>
#include <gantry/runtime/nimet/EthAddr.h>
#include <gantry/runtime/nimet/IpAddr.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace {

using Fen::Name;
using Fen::Ptr;
using Fen::sequenceToValue;
using Fen::strepToValue;
using Fen::String8;
using Fen::valueToStrep;

template <class T>
std::string refused(String8 const& text) {
   try {
      strepToValue<T>(text);
   } catch (Fen::RangeException const& exception) {
      return exception.text().str();
   }
   return "taken";
}

template <class T>
void expectBack(T const& value) {
   EXPECT_EQ(strepToValue<T>(valueToStrep(value)), value) << valueToStrep(value);
   T stored{};
   strepToValue<T>(valueToStrep(value), &stored);
   EXPECT_EQ(stored, value);
}

TEST(StrepReadTest, ExtremeNumbers) {
   expectBack(std::numeric_limits<std::int64_t>::min());
   expectBack(std::numeric_limits<std::int64_t>::max());
   expectBack(std::numeric_limits<std::uint64_t>::max());
   expectBack(std::numeric_limits<std::int8_t>::min());
   expectBack(std::numeric_limits<std::uint16_t>::max());
   expectBack(std::numeric_limits<double>::denorm_min());
   expectBack(std::numeric_limits<double>::max());
   expectBack(std::numeric_limits<double>::infinity());
   expectBack(-0.0);
   EXPECT_TRUE(std::isnan(strepToValue<double>(valueToStrep(std::nan("")))));
   expectBack(true);
   expectBack(false);
}

TEST(StrepReadTest, NumbersOutsideTheirType) {
   EXPECT_EQ(refused<std::uint8_t>("256"), "number out of range at column 0 deserializing 256");
   EXPECT_EQ(refused<std::int8_t>("-129"), "number out of range at column 0 deserializing -129");
   EXPECT_EQ(refused<std::uint32_t>("-1"), "number expected at column 0 deserializing -1");
   EXPECT_EQ(refused<std::uint64_t>("18446744073709551616"),
             "number out of range at column 0 deserializing 18446744073709551616");
   EXPECT_EQ(refused<double>("1e999"), "number out of range at column 0 deserializing 1e999");
   EXPECT_EQ(refused<std::uint32_t>(""), "number expected at column 0 deserializing ");
   EXPECT_EQ(refused<std::uint32_t>("5x"), "junk at column 1 deserializing 5x");
   EXPECT_EQ(refused<bool>("true"), "True or False expected at column 0 deserializing true");
}

TEST(StrepReadTest, Texts) {
   expectBack(String8());
   expectBack(String8("it's a \\ \n\t line"));
   expectBack(Name("a/b"));
   expectBack(String8(std::string_view("\0\x01\x7f\xff", 4)));
   EXPECT_EQ(strepToValue<String8>(" \t\n'a'"), "a");
   EXPECT_EQ(strepToValue<String8>("'\\x41\\x7F'"), "A\x7f");
   EXPECT_EQ(refused<String8>("'a' "), "junk at column 3 deserializing 'a' ");
   EXPECT_EQ(refused<String8>("'a"), "closing quote expected at column 2 deserializing 'a");
   EXPECT_EQ(refused<String8>("\"a\""),
             "text in single quotes expected at column 0 deserializing \"a\"");
   EXPECT_EQ(refused<String8>("'\\q'"), "unknown escape at column 2 deserializing '\\q'");
   EXPECT_EQ(refused<String8>("'\\x4'"), "unknown escape at column 2 deserializing '\\x4'");
   EXPECT_EQ(refused<String8>("'\\"), "unknown escape at column 2 deserializing '\\");
}

TEST(StrepReadTest, Tokens) {
   String8 const text("  a :b");
   String8::IteratorConst at(text);
   String8::IteratorConst const end(text, text.length());
   needString(at, end, " a : ");
   EXPECT_EQ(at.position(), 5u);
   needString(at, end, "");
   needString(at, end, "   ");
   EXPECT_EQ(at.position(), 5u);
   try {
      needString(at, end, "c");
      ADD_FAILURE();
   } catch (Fen::RangeException const& exception) {
      EXPECT_EQ(exception.text(), "\"c\" expected at column 5 deserializing   a :b");
   }
   // The end need not be the text's own.
   String8::IteratorConst first(text);
   EXPECT_THROW(needString(first, String8::IteratorConst(text, 2), " a"), Fen::RangeException);
}

TEST(StrepReadTest, Pointers) {
   auto const chassis = Fen::makePtr<Sample::Chassis>("strepRead");
   Fen::root()->entityPtrIs(chassis);
   auto const port = chassis->portIs("it's", "k", "s");
   expectBack(Ptr<Sample::Chassis>(chassis));
   expectBack(Ptr<Sample::Port>(port));
   expectBack(Ptr<Fen::Entity const>(port));
   expectBack(Ptr<Fen::Dir>(Fen::root()));
   expectBack(Ptr<Sample::Port>());
   EXPECT_EQ(strepToValue<Ptr<Fen::Entity>>("'/strepRead/port/it\\'s'"), port);
   EXPECT_EQ(refused<Ptr<Sample::Port>>("'/strepRead'"),
             "no Sample::Port at column 0 deserializing '/strepRead'");
   EXPECT_EQ(refused<Ptr<Sample::Port>>("'/nowhere'"),
             "no Fen::Entity at column 0 deserializing '/nowhere'");
   // The name of an entity outside the tree could be that of another one within.
   EXPECT_EQ(refused<Ptr<Fen::Entity>>("'strepRead'"),
             "no Fen::Entity at column 0 deserializing 'strepRead'");
   EXPECT_EQ(refused<Ptr<Fen::Entity>>("''"), "no Fen::Entity at column 0 deserializing ''");
   EXPECT_EQ(refused<Ptr<Fen::Entity>>("<0x1000>"),
             "text in single quotes expected at column 0 deserializing <0x1000>");
   EXPECT_EQ(refused<Fen::ValidPtr<Fen::Entity>>("None"), "null ValidPtr");
   Fen::root()->entityPtrDel("strepRead");
}

TEST(StrepReadTest, Addresses) {
   expectBack(Nimet::EthAddr());
   expectBack(Nimet::EthAddr("02:00:00:00:00:ff"));
   expectBack(Nimet::IpAddr());
   expectBack(Nimet::IpAddr("10.1.2.3"));
   EXPECT_EQ(refused<Nimet::EthAddr>("'leaf1'"),
             "no Nimet::EthAddr at column 0 deserializing 'leaf1'");
   EXPECT_EQ(refused<Nimet::IpAddr>("'10.1.2'"),
             "no Nimet::IpAddr at column 0 deserializing '10.1.2'");
}

TEST(StrepReadTest, RandomValues) {
   std::mt19937_64 random(7);
   for (int i = 0; i < 5000; ++i) {
      std::uint64_t const bits = random() >> (random() % 64);
      expectBack(bits);
      expectBack(static_cast<std::int64_t>(bits));
      expectBack(static_cast<std::int16_t>(bits));
      expectBack(static_cast<std::uint8_t>(bits));
      auto const real = std::bit_cast<double>(random());
      if (!std::isnan(real)) {
         expectBack(real);
      }
      std::string text;
      for (std::uint64_t n = random() % 20; n > 0; --n) {
         text += static_cast<char>(random() % 256);
      }
      expectBack(String8(text));
   }
}

/// Whatever the text: a value or RangeException.
template <class T>
void survive(std::string const& text) {
   try {
      strepToValue<T>(String8(text));
   } catch (Fen::RangeException const&) {
   }
}

TEST(StrepReadTest, ReadersSurviveRandomText) {
   std::mt19937 random(11);
   std::string const likely = "'\\xnTrueFals0123456789.e+-None{}(): ,*";
   for (int i = 0; i < 20000; ++i) {
      std::string text;
      for (std::size_t n = random() % 12; n > 0; --n) {
         text += random() % 4 == 0 ? static_cast<char>(random()) : likely[random() % likely.size()];
      }
      survive<String8>(text);
      survive<bool>(text);
      survive<double>(text);
      survive<std::int32_t>(text);
      survive<Ptr<Fen::Entity>>(text);
      survive<Nimet::EthAddr>(text);
   }
}

} // namespace
