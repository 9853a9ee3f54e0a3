/// How each kind of argument is written and printed.
#include "TraceTestSupport.h"

#include <gantry/runtime/nimet/IpAddr.h>
#include <gantry/runtime/ringscribe/MsgDesc.h>

#include <climits>

namespace {

struct Address {
   unsigned char bytes[4];
};

enum class Narrow : std::uint8_t { seven = 7 };
enum Plain { three = 3 };
enum class Wide : std::uint32_t { most = UINT32_MAX };

} // namespace

template <>
struct RingScribe::Ipv4Trait<Address> {
   static std::uint32_t networkOrder(Address const& address) {
      return std::bit_cast<std::uint32_t>(address.bytes);
   }
};

namespace {

using namespace RingScribe;
using TraceTest::textsOf;
using Texts = std::vector<std::string>;

class TraceFormat : public TraceTest::Trace {};

TEST_F(TraceFormat, StringIsP) {
   traceTo();
   Fen::String8 const framework = "leaf1/linux";
   Fen::Name const name = "eth0";
   std::string const standard = "standard";
   char const* const plain = "plain";
   RINGSCRIBE_TRACE(5, "p ", framework, ",", name, ",", standard, ",", std::string_view("view"),
                    ",", plain, ",", Fen::String8(), ".");
   EXPECT_EQ(textsOf(path()), Texts{"p leaf1/linux,eth0,standard,view,plain,."});
}

TEST_F(TraceFormat, StringsOfEachLength) {
   // The copy goes by hand, with another way for each range of lengths.
   traceTo(1 << 20);
   std::string all;
   for (unsigned i = 0; i < 600; ++i) {
      all += static_cast<char>('!' + i % 90);
   }
   Texts expected;
   for (std::size_t length = 0; length < all.size(); ++length) {
      RINGSCRIBE_TRACE(5, "<", std::string_view(all).substr(0, length), "|",
                       std::string_view(all).substr(all.size() - length), ">");
      expected.push_back("<" + all.substr(0, length) + "|" + all.substr(all.size() - length) + ">");
   }
   EXPECT_EQ(textsOf(path()), expected);
}

TEST_F(TraceFormat, UnsignedWordIsI) {
   traceTo();
   unsigned const big = UINT_MAX;
   RINGSCRIBE_TRACE(5, "i ", 0u, " ", big, " ", 42, " ", std::uint8_t{200}, " ", 'A');
   RINGSCRIBE_TRACE(5, "enumerations ", Narrow::seven, " ", three, " ", Wide::most);
   // The letter says unsigned, so a negative number shows its bits.
   RINGSCRIBE_TRACE(5, "negative ", -1);
   EXPECT_EQ(textsOf(path()), (Texts{"i 0 4294967295 42 200 65", "enumerations 7 3 4294967295",
                                     "negative 4294967295"}));
}

TEST_F(TraceFormat, UnsignedHalfWordIsS) {
   traceTo();
   RINGSCRIBE_TRACE(5, "s ", std::uint16_t{0}, " ", std::uint16_t{9001}, " ", std::uint16_t{65535});
   EXPECT_EQ(textsOf(path()), Texts{"s 0 9001 65535"});
}

TEST_F(TraceFormat, BoolIsB) {
   traceTo();
   bool const yes = true;
   RINGSCRIBE_TRACE(5, "b ", yes, " ", false);
   EXPECT_EQ(textsOf(path()), Texts{"b true false"});
}

TEST_F(TraceFormat, AddressIsCapitalI) {
   traceTo();
   Nimet::IpAddr const framework(Fen::String8("10.1.2.3"));
   RINGSCRIBE_TRACE(5, "I ", Address{{127, 0, 0, 1}}, " ", Address{{192, 168, 10, 254}}, " ",
                    framework);
   EXPECT_EQ(textsOf(path()), Texts{"I 127.0.0.1 192.168.10.254 10.1.2.3"});
}

TEST_F(TraceFormat, MountMessage) {
   traceTo();
   Fen::String8 const remote = "leaf1//linux/interface";
   RINGSCRIBE_TRACE(5, "doMountNow", " mounting ", " remote:", remote, " target:", "mnt/leaf1",
                    " ip:", Address{{10, 0, 0, 1}}, " port:", std::uint16_t{9001},
                    " srcIp: ", Address{{0, 0, 0, 0}});
   EXPECT_EQ(textsOf(path()), Texts{"doMountNow mounting  remote:leaf1//linux/interface "
                                    "target:mnt/leaf1 ip:10.0.0.1 port:9001 srcIp: 0.0.0.0"});
}

TEST_F(TraceFormat, TextAlone) {
   traceTo();
   RINGSCRIBE_TRACE(5, "only text");
   EXPECT_EQ(textsOf(path()), Texts{"only text"});
}

TEST_F(TraceFormat, PlaceOfTheSite) {
   traceTo();
   unsigned const line = __LINE__ + 1;
   RINGSCRIBE_TRACE(8, "here");
   TraceFileSource const source(path());
   TraceReader reader(source, "trace");
   reader.readNew([&](TraceMessage const& message) {
      EXPECT_EQ(message.file, __FILE__);
      EXPECT_EQ(message.line, line);
      EXPECT_EQ(message.level, 8);
   });
}

TEST_F(TraceFormat, WrittenStepByStep) {
   Fen::Ptr<TraceFile> const file = traceTo();
   static std::uint32_t msgId = 0;
   MsgDesc description(file, "hand.cpp", 12);
   msgId = description.msgId();
   EXPECT_NE(msgId, 0u);
   file->msgIdArrIs(&msgId);
   for (Letter letter :
        {Letter::string, Letter::word32, Letter::word16, Letter::flag, Letter::ipv4}) {
      description.formatString().put(letter);
   }
   EXPECT_EQ(description.formatString().letters(), "pisbI");
   description << "a" << Varg() << " b" << Varg() << " c" << Varg() << " d" << Varg() << Varg();
   description.finish();
   for (std::uint32_t i = 0; i < 3; ++i) {
      RingBuf buffer = RingBuf::startMsg(file, msgId);
      put(buffer, std::string(i, 'x'));
      buffer.store(std::uint32_t{70000} + i);
      buffer.store(std::uint16_t{443});
      buffer.store(i == 1);
      buffer.store(std::bit_cast<std::uint32_t>(Address{{1, 2, 3, 4}}));
      buffer.endMsg();
   }
   EXPECT_EQ(textsOf(path()), (Texts{"a b70000 c443 dfalse1.2.3.4", "ax b70001 c443 dtrue1.2.3.4",
                                     "axx b70002 c443 dfalse1.2.3.4"}));
}

TEST_F(TraceFormat, LongStringsAreCutWithAMark) {
   traceTo();
   std::string const fits(traceArgumentBytesMax - 2 - 4, 'f');
   std::string const one(5000, '1');
   std::string const two(3000, '2');
   RINGSCRIBE_TRACE(5, "fits ", fits, " ", 5u);
   RINGSCRIBE_TRACE(5, "one ", one, " number ", 77u);
   RINGSCRIBE_TRACE(5, "two ", one, " and ", two, " short ", "s", std::string_view("hort"),
                    " flag ", true);
   std::size_t const third = (traceArgumentBytesMax - 3 * 2 - 1) / 3;
   EXPECT_EQ(textsOf(path()),
             (Texts{"fits " + fits + " 5",
                    "one " + one.substr(0, traceArgumentBytesMax - 2 - 4) + "[...] number 77",
                    "two " + one.substr(0, third) + "[...] and " + two.substr(0, third) +
                       "[...] short short flag true"}));
}

TEST_F(TraceFormat, LongStringsStepByStep) {
   Fen::Ptr<TraceFile> const file = traceTo();
   static std::uint32_t msgId = 0;
   MsgDesc description(file, "hand.cpp", 1);
   msgId = description.msgId();
   file->msgIdArrIs(&msgId);
   description.formatString().put(Letter::string);
   description.formatString().put(Letter::string);
   description.formatString().put(Letter::word32);
   description << Varg() << "," << Varg() << "," << Varg();
   description.finish();
   RingBuf buffer = RingBuf::startMsg(file, msgId);
   put(buffer, std::string(4000, 'x'));
   put(buffer, std::string(4000, 'y'));
   buffer.store(std::uint32_t{9});
   // More than was declared is left out and harms nothing.
   for (int i = 0; i < 100; ++i) {
      buffer.store(std::uint32_t{9});
      put(buffer, "more");
   }
   buffer.endMsg();
   std::size_t const half = (traceArgumentBytesMax - 2 * 2 - 4) / 2;
   EXPECT_EQ(textsOf(path()),
             Texts{std::string(half, 'x') + "[...]," + std::string(half, 'y') + "[...],9"});
}

TEST_F(TraceFormat, WhatDrivesATerminalIsEscaped) {
   traceTo();
   RINGSCRIBE_TRACE(5, "esc ", std::string_view("\x1b[2J\n\t\x7f", 7), " nul ",
                    std::string_view("\0", 1));
   RINGSCRIBE_TRACE(5, "utf8 ",
                    std::string_view("gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80"));
   RINGSCRIBE_TRACE(5, "bad ",
                    std::string_view("\xc3 \xc0\x80 \xed\xa0\x80 \xf5 \xe2\x80\xae \xc2\x9b"));
   EXPECT_EQ(textsOf(path()),
             (Texts{"esc \\x1b[2J\\x0a\\x09\\x7f nul \\x00",
                    "utf8 gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80",
                    "bad \\xc3 \\xc0\\x80 \\xed\\xa0\\x80 \\xf5 \\xe2\\x80\\xae \\xc2\\x9b"}));
}

} // namespace
