/// Network addresses: text and back, what is no address, order and hash.
#include <gantry/runtime/nimet/EthAddr.h>
#include <gantry/runtime/nimet/IpAddr.h>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cstring>
#include <sstream>

namespace {

using Nimet::EthAddr;
using Nimet::IpAddr;

TEST(IpAddrTest, ZeroValueIsNoAddress) {
   EXPECT_TRUE(!IpAddr());
   EXPECT_TRUE(IpAddr().isZero());
   EXPECT_EQ(IpAddr().stringValue(), "0.0.0.0");
   EXPECT_EQ(IpAddr().networkOrderValue(), 0u);
}

TEST(IpAddrTest, TextAndBack) {
   for (char const* text : {"127.0.0.1", "10.0.255.3", "255.255.255.255"}) {
      EXPECT_EQ(IpAddr(text).stringValue(), text);
      std::ostringstream stream;
      stream << IpAddr(text);
      EXPECT_EQ(stream.str(), text);
   }
}

TEST(IpAddrTest, TextThatIsNoAddressGivesTheZeroValue) {
   for (char const* text : {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "a.b.c.d", " 1.2.3.4",
                            "1.2.3.4 ", "::1", "1.2.3.-4", "1..2.3"}) {
      EXPECT_EQ(IpAddr(text), IpAddr()) << text;
   }
   EXPECT_EQ(IpAddr(Fen::String8(std::string_view("1.2.3.4\0x", 9))), IpAddr());
}

TEST(IpAddrTest, NetworkOrder) {
   EXPECT_EQ(IpAddr("1.2.3.4").networkOrderValue(), htonl(0x01020304));
   EXPECT_EQ(IpAddr::fromNetworkOrder(htonl(0x7f000001)).stringValue(), "127.0.0.1");
}

TEST(IpAddrTest, OrderIsThatOfTheAddresses) {
   EXPECT_LT(IpAddr("9.255.0.0"), IpAddr("10.0.0.0"));
   EXPECT_LT(IpAddr("10.0.0.1"), IpAddr("10.0.0.2"));
   EXPECT_EQ(IpAddr("10.0.0.1").hash(), IpAddr("10.0.0.1").hash());
   EXPECT_NE(IpAddr("10.0.0.1").hash(), IpAddr("10.0.0.2").hash());
   EXPECT_EQ(valueToStrep(IpAddr("10.0.0.1")), "'10.0.0.1'");
}

TEST(EthAddrTest, TextAndBack) {
   EthAddr const address("02:00:00:0a:Bc:fF");
   EXPECT_EQ(address.stringValue(), "02:00:00:0a:bc:ff");
   EXPECT_EQ(EthAddr(address.stringValue()), address);
   EXPECT_EQ(address.bytes(), (EthAddr::Bytes{2, 0, 0, 0x0a, 0xbc, 0xff}));
   std::ostringstream stream;
   stream << address;
   EXPECT_EQ(stream.str(), "02:00:00:0a:bc:ff");
}

TEST(EthAddrTest, MemoryIsTheSixBytes) {
   EthAddr const address("01:02:03:04:05:06");
   unsigned char memory[6];
   std::memcpy(memory, &address, sizeof memory);
   EXPECT_EQ(0, std::memcmp(memory, "\1\2\3\4\5\6", 6));
}

TEST(EthAddrTest, TextThatIsNoAddressGivesTheZeroValue) {
   EthAddr address("02:00:00:00:00:01");
   for (char const* text :
        {"", "02:00:00:00:00", "02:00:00:00:00:01:", "02-00-00-00-00-01", "0g:00:00:00:00:01",
         "2:0:0:0:0:1", "02:00:00:00:00:0 ", "020000000001", "02:00:00:00:00:01 "}) {
      address.stringValueIs("02:00:00:00:00:01");
      address.stringValueIs(text);
      EXPECT_EQ(address, EthAddr()) << text;
   }
   EXPECT_TRUE(!address);
}

TEST(EthAddrTest, OrderIsThatOfTheBytes) {
   EXPECT_LT(EthAddr("01:ff:00:00:00:00"), EthAddr("02:00:00:00:00:00"));
   EXPECT_LT(EthAddr("00:01:ff:00:00:00"), EthAddr("00:02:00:00:00:00"));
   EXPECT_NE(EthAddr("02:00:00:00:00:01").hash(), EthAddr("02:00:00:00:00:02").hash());
}

} // namespace
