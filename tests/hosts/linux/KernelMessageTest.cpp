// Reading of rtnetlink messages: what they say, and that no truncated or senseless one does harm.

#include "MessageBuilder.h"

#include <hosts/linux/KernelMessage.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace Linux {
namespace {

/// Keeps what it is given.
class Heard : public KernelSink {
 public:
   void linkIs(LinkRecord const& record) override { links.push_back(record); }
   void linkDel(std::uint32_t index) override { linksGone.push_back(index); }
   void addressIs(AddressRecord const& record) override { addresses.push_back(record); }
   void addressDel(AddressRecord const& record) override { addressesGone.push_back(record); }
   void routeIs(RouteRecord const& record) override { routes.push_back(record); }
   void routeDel(RouteRecord const& record) override { routesGone.push_back(record); }
   void neighbourIs(NeighbourRecord const& record) override { neighbours.push_back(record); }
   void neighbourDel(NeighbourRecord const& record) override { neighboursGone.push_back(record); }
   void statisticsIs(StatisticsRecord const& record) override { statistics.push_back(record); }

   std::vector<LinkRecord> links;
   std::vector<std::uint32_t> linksGone;
   std::vector<AddressRecord> addresses, addressesGone;
   std::vector<RouteRecord> routes, routesGone;
   std::vector<NeighbourRecord> neighbours, neighboursGone;
   std::vector<StatisticsRecord> statistics;
};

struct KernelMessage : testing::Test {
   BufferSummary read(std::uint32_t sequence = 0) {
      return readBuffer(builder.buffer(), sequence, heard);
   }
   MessageBuilder builder;
   Heard heard;
};

TEST_F(KernelMessage, Link) {
   builder.link(7, "eth0", IFF_UP, RTM_NEWLINK, 9000, 3);
   builder.linkGone(8, "eth1");
   EXPECT_EQ(read().malformed, 0u);
   ASSERT_EQ(heard.links.size(), 1u);
   LinkRecord const& link = heard.links[0];
   EXPECT_EQ(link.index, 7u);
   EXPECT_EQ(link.name, "eth0");
   EXPECT_EQ(link.kind, "veth");
   EXPECT_EQ(link.hardwareAddress, "02:00:00:00:00:07");
   EXPECT_EQ(link.controller, 3u);
   EXPECT_EQ(link.mtu, 9000u);
   EXPECT_TRUE(link.adminUp);
   EXPECT_FALSE(link.carrier);
   EXPECT_EQ(link.operState, 2u);
   EXPECT_EQ(heard.linksGone, std::vector<std::uint32_t>{8});
}

TEST_F(KernelMessage, LinkOfAnotherFamilyIsNoLink) {
   ifinfomsg fixed{};
   fixed.ifi_family = AF_BRIDGE;
   fixed.ifi_index = 4;
   builder.begin(RTM_DELLINK, fixed);
   builder.end();
   EXPECT_EQ(read().malformed, 0u);
   EXPECT_TRUE(heard.linksGone.empty());
}

TEST_F(KernelMessage, LinkWithBadName) {
   builder.link(7, "");
   builder.link(7, "sixteen-letters!");
   builder.link(0, "eth0");
   EXPECT_EQ(read().malformed, 3u);
   EXPECT_TRUE(heard.links.empty());
}

TEST_F(KernelMessage, OperStateBeyondTheKnown) {
   ifinfomsg fixed{};
   fixed.ifi_index = 4;
   builder.begin(RTM_NEWLINK, fixed);
   builder.text(IFLA_IFNAME, "a");
   mnl_attr_put_u8(builder.message(), IFLA_OPERSTATE, 200);
   builder.end();
   read();
   ASSERT_EQ(heard.links.size(), 1u);
   EXPECT_EQ(heard.links[0].operState, 0u);
}

TEST_F(KernelMessage, Addresses) {
   builder.interfaceAddress(2, "10.0.0.1", 24);
   builder.interfaceAddress(2, "fe80::1", 64, RTM_DELADDR);
   EXPECT_EQ(read().malformed, 0u);
   ASSERT_EQ(heard.addresses.size(), 1u);
   EXPECT_EQ(heard.addresses[0].name, "10.0.0.1/24");
   EXPECT_EQ(heard.addresses[0].peer, "");
   EXPECT_TRUE(heard.addresses[0].isVersion4);
   ASSERT_EQ(heard.addressesGone.size(), 1u);
   EXPECT_EQ(heard.addressesGone[0].name, "fe80::1/64");
}

TEST_F(KernelMessage, PointToPointAddressNamesBothEnds) {
   ifaddrmsg fixed{};
   fixed.ifa_family = AF_INET;
   fixed.ifa_prefixlen = 32;
   fixed.ifa_index = 2;
   builder.begin(RTM_NEWADDR, fixed);
   builder.address(IFA_LOCAL, "10.0.0.1");
   builder.address(IFA_ADDRESS, "10.0.0.2");
   builder.end();
   read();
   ASSERT_EQ(heard.addresses.size(), 1u);
   EXPECT_EQ(heard.addresses[0].name, "10.0.0.1 peer 10.0.0.2/32");
   EXPECT_EQ(heard.addresses[0].peer, "10.0.0.2");
}

TEST_F(KernelMessage, AddressOfWrongLengthOrPrefix) {
   ifaddrmsg fixed{};
   fixed.ifa_family = AF_INET6;
   fixed.ifa_index = 2;
   builder.begin(RTM_NEWADDR, fixed);
   builder.address(IFA_ADDRESS, "10.0.0.1");
   builder.end();
   builder.interfaceAddress(2, "10.0.0.1", 33);
   builder.interfaceAddress(0, "10.0.0.1", 24);
   EXPECT_EQ(read().malformed, 3u);
   EXPECT_TRUE(heard.addresses.empty());
}

TEST_F(KernelMessage, Routes) {
   builder.route({"10.1.0.0", 16, "10.0.0.9", 2, 100}, RTM_NEWROUTE, NLM_F_REPLACE);
   builder.route({"", 0, "10.0.0.9", 2}, RTM_DELROUTE);
   builder.route({"", 0, "fe80::1", 2, 0, RTN_UNICAST, false});
   EXPECT_EQ(read().malformed, 0u);
   ASSERT_EQ(heard.routes.size(), 2u);
   RouteRecord const& route = heard.routes[0];
   EXPECT_EQ(route.destination, "10.1.0.0/16");
   EXPECT_EQ(route.kind, "unicast");
   EXPECT_EQ(route.metric, 100u);
   EXPECT_EQ(route.table, 254u);
   EXPECT_EQ(route.protocol, "boot");
   EXPECT_TRUE(route.replaces);
   ASSERT_EQ(route.nextHops.size(), 1u);
   EXPECT_EQ(route.nextHops[0].gateway, "10.0.0.9");
   EXPECT_EQ(route.nextHops[0].index, 2u);
   EXPECT_EQ(heard.routes[1].destination, "::/0");
   ASSERT_EQ(heard.routesGone.size(), 1u);
   EXPECT_EQ(heard.routesGone[0].destination, "default");
}

TEST_F(KernelMessage, RouteWithSeveralNextHops) {
   builder.multipath({"10.1.0.0", 16, "", 2}, "10.0.0.8", "10.0.0.9");
   EXPECT_EQ(read().malformed, 0u);
   ASSERT_EQ(heard.routes.size(), 1u);
   ASSERT_EQ(heard.routes[0].nextHops.size(), 2u);
   EXPECT_EQ(heard.routes[0].nextHops[1].gateway, "10.0.0.9");
   EXPECT_EQ(heard.routes[0].nextHops[1].index, 2u);
   EXPECT_EQ(heard.routes[0].nextHops[1].weight, 1u);
}

TEST_F(KernelMessage, NextHopsThatLieAboutTheirLength) {
   for (int const length : {0, 7, 60000}) {
      builder.clear();
      builder.routeBegin({"10.1.0.0", 16, "", 0});
      rtnexthop hop{};
      hop.rtnh_len = static_cast<unsigned short>(length);
      mnl_attr_put(builder.message(), RTA_MULTIPATH, sizeof hop, &hop);
      builder.end();
      EXPECT_EQ(read().malformed, 1u) << length;
   }
   EXPECT_TRUE(heard.routes.empty());
}

TEST_F(KernelMessage, CachedRoutesAndMulticastFamiliesAreNoRoutes) {
   rtmsg fixed{};
   fixed.rtm_family = AF_INET6;
   fixed.rtm_flags = RTM_F_CLONED;
   builder.begin(RTM_NEWROUTE, fixed);
   builder.end();
   fixed.rtm_family = RTNL_FAMILY_IPMR;
   fixed.rtm_flags = 0;
   builder.begin(RTM_NEWROUTE, fixed);
   builder.end();
   EXPECT_EQ(read().malformed, 0u);
   EXPECT_TRUE(heard.routes.empty());
}

TEST_F(KernelMessage, Neighbours) {
   builder.neighbour(2, "10.0.0.2", NUD_REACHABLE);
   builder.neighbour(2, "224.0.0.1", NUD_NOARP);
   builder.neighbour(2, "fe80::2", NUD_STALE, RTM_DELNEIGH);
   builder.neighbour(2, "10.0.0.3", NUD_REACHABLE, RTM_NEWNEIGH, AF_BRIDGE);
   EXPECT_EQ(read().malformed, 0u);
   ASSERT_EQ(heard.neighbours.size(), 2u);
   EXPECT_EQ(heard.neighbours[0].address, "10.0.0.2");
   EXPECT_EQ(heard.neighbours[0].state, "reachable");
   EXPECT_FALSE(heard.neighbours[0].isPlaceholder);
   EXPECT_TRUE(heard.neighbours[1].isPlaceholder);
   ASSERT_EQ(heard.neighboursGone.size(), 1u);
}

TEST_F(KernelMessage, Statistics) {
   builder.statistics(2, 12345);
   if_stats_msg fixed{};
   builder.begin(RTM_NEWSTATS, fixed);
   builder.number(IFLA_STATS_LINK_64, 1);
   builder.end();
   EXPECT_EQ(read().malformed, 1u);
   ASSERT_EQ(heard.statistics.size(), 1u);
   EXPECT_EQ(heard.statistics[0].index, 2u);
   EXPECT_EQ(heard.statistics[0].rxBytes, 12345u);
}

TEST_F(KernelMessage, EndOfADump) {
   builder.sequenceIs(5);
   builder.link(7, "eth0");
   builder.done();
   BufferSummary summary = read(5);
   EXPECT_TRUE(summary.dumpEnded);
   EXPECT_FALSE(summary.dumpInterrupted);
   EXPECT_EQ(summary.error, 0);
   EXPECT_EQ(heard.links.size(), 1u);

   // The rest of an answer that was given up means nothing.
   summary = read(6);
   EXPECT_FALSE(summary.dumpEnded);
   EXPECT_EQ(heard.links.size(), 1u);

   builder.clear();
   builder.done(-EINVAL);
   summary = read(5);
   EXPECT_TRUE(summary.dumpEnded);
   EXPECT_EQ(summary.error, EINVAL);
}

TEST_F(KernelMessage, InterruptedDumpAndErrors) {
   ifinfomsg fixed{};
   fixed.ifi_index = 4;
   builder.begin(RTM_NEWLINK, fixed, NLM_F_MULTI | NLM_F_DUMP_INTR);
   builder.text(IFLA_IFNAME, "a");
   builder.end();
   EXPECT_TRUE(read().dumpInterrupted);

   for (auto const& [error, expected] :
        {std::pair{-EOPNOTSUPP, EOPNOTSUPP}, {INT32_MIN, 4095}, {0, 0}, {12, 0}}) {
      builder.clear();
      nlmsgerr refusal{};
      refusal.error = error;
      builder.begin(NLMSG_ERROR, refusal);
      builder.end();
      BufferSummary const summary = read();
      EXPECT_EQ(summary.error, expected);
      EXPECT_FALSE(summary.dumpEnded);
   }
}

TEST_F(KernelMessage, FixedPartsCutShort) {
   for (int const type : {RTM_NEWLINK, RTM_NEWADDR, RTM_NEWROUTE, RTM_NEWNEIGH, RTM_NEWSTATS,
                          RTM_DELLINK, RTM_DELROUTE}) {
      builder.clear();
      builder.begin(static_cast<std::uint16_t>(type), std::uint16_t{1});
      builder.end();
      EXPECT_EQ(read().malformed, 1u) << type;
   }
   builder.clear();
   builder.begin(NLMSG_ERROR, std::uint16_t{1});
   builder.message()->nlmsg_len = NLMSG_LENGTH(sizeof(std::uint16_t));
   builder.end();
   EXPECT_EQ(read().malformed, 1u);
}

void buildOneOfEach(MessageBuilder& builder) {
   builder.link(7, "eth0", IFF_UP, RTM_NEWLINK, 9000, 3);
   builder.interfaceAddress(2, "10.0.0.1", 24);
   builder.multipath({"10.1.0.0", 16, "", 2}, "10.0.0.8", "10.0.0.9");
   builder.route({"2001:db8::", 32, "fe80::1", 2, 0, RTN_UNICAST, false});
   builder.neighbour(2, "10.0.0.2", NUD_REACHABLE);
   builder.statistics(2, 12345);
   builder.done();
}

// Each buffer is copied to memory of exactly its size, so that AddressSanitizer sees a step beyond.
TEST_F(KernelMessage, EveryTruncation) {
   buildOneOfEach(builder);
   std::span<std::byte const> const whole = builder.buffer();
   for (std::size_t size = 0; size <= whole.size(); ++size) {
      std::vector<std::byte> const part(whole.begin(), whole.begin() + static_cast<long>(size));
      BufferSummary const summary = readBuffer(part, 0, heard);
      EXPECT_LE(summary.malformed, 1u);
   }
}

TEST_F(KernelMessage, RandomDamage) {
   buildOneOfEach(builder);
   std::span<std::byte const> const whole = builder.buffer();
   std::mt19937 random(20230606);
   for (int round = 0; round < 20000; ++round) {
      std::vector<std::byte> damaged(whole.begin(), whole.end());
      for (int i = 0; i < 4; ++i) {
         damaged[random() % damaged.size()] = static_cast<std::byte>(random());
      }
      readBuffer(damaged, 0, heard);
      heard = Heard();
   }
}

} // namespace
} // namespace Linux
