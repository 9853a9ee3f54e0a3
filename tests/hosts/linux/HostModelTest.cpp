// Records applied to entities: changes, marks and sweeps, and what must be read again.

#include <hosts/linux/HostModel.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace Linux {
namespace {

struct HostModelTest : testing::Test {
   static LinkRecord link(std::uint32_t index, std::string const& name, bool up = true) {
      LinkRecord record;
      record.index = index;
      record.name = name;
      record.kind = "veth";
      record.mtu = 1500;
      record.adminUp = up;
      record.carrier = up;
      record.operState = up ? 6 : 2;
      return record;
   }
   static AddressRecord address(std::uint32_t index, std::string const& name,
                                bool isVersion4 = true) {
      AddressRecord record;
      record.index = index;
      record.name = name;
      record.isVersion4 = isVersion4;
      return record;
   }
   static RouteRecord route(std::string const& destination, std::string const& gateway,
                            std::uint32_t index, bool isVersion4 = true) {
      RouteRecord record;
      record.isVersion4 = isVersion4;
      record.destination = destination;
      record.kind = "unicast";
      record.table = 254;
      record.nextHops.push_back({gateway, index, 1});
      return record;
   }
   static NeighbourRecord neighbour(std::uint32_t index, std::string const& address) {
      NeighbourRecord record;
      record.index = index;
      record.address = address;
      record.state = "reachable";
      return record;
   }
   std::set<std::string> interfaces() const {
      std::set<std::string> names;
      for (auto i = model.interfaces()->interfaceIterator(); i; ++i) {
         names.insert(std::string(i->name().view()));
      }
      return names;
   }
   std::set<std::string> routes() const {
      std::set<std::string> names;
      for (auto i = model.routes()->routeIterator(); i; ++i) {
         names.insert(std::string(i->name().view()));
      }
      return names;
   }
   using Names = std::set<std::string>;

   Fen::Ptr<Fen::Dir> const root = Fen::dirFactory("leaf1");
   HostModel model{root, {}, [](std::string const& name) { return name == "eth0" ? 10000u : 0u; }};
};

TEST_F(HostModelTest, StandsInTheTree) {
   EXPECT_EQ(model.interfaces()->fullName(), "leaf1/linux/interface");
   EXPECT_EQ(model.host()->fullName(), "leaf1/linux/host");
   model.hostSample();
   EXPECT_EQ(model.host()->system(), "Linux");
   EXPECT_FALSE(model.host()->kernel().empty());
}

TEST_F(HostModelTest, InterfaceComesChangesAndGoes) {
   LinkRecord record = link(2, "eth0");
   record.statistics = StatisticsRecord{2, 1, 2, 3, 4, 5, 6, 7, 8};
   model.linkIs(record);
   EXPECT_TRUE(model.againDel().empty());
   Fen::Ptr<Interface> const eth0 = model.interfaces()->interface("eth0");
   ASSERT_TRUE(eth0);
   EXPECT_EQ(eth0->index(), 2u);
   EXPECT_EQ(eth0->operState(), operUp);
   EXPECT_EQ(eth0->speed(), 10000u);
   EXPECT_EQ(eth0->rxBytes(), 1u);
   EXPECT_EQ(eth0->txDropped(), 8u);

   model.linkIs(link(2, "eth0", false));
   EXPECT_EQ(model.interfaces()->interface("eth0").ptr(), eth0.ptr());
   EXPECT_EQ(eth0->operState(), operDown);
   EXPECT_FALSE(eth0->adminUp());
   EXPECT_EQ(eth0->rxBytes(), 1u);
   // A link that goes down takes routes with it that nobody tells of.
   EXPECT_EQ(model.againDel(), TableSet(Table::routes));

   model.linkDel(2);
   EXPECT_EQ(interfaces(), Names());
   EXPECT_TRUE(model.againDel().has(Table::routes));
   model.linkDel(2);
   EXPECT_TRUE(model.againDel().empty());
}

class Watcher : public InterfaceDir::NotifieeConst {
 public:
   explicit Watcher(Fen::Ptr<InterfaceDir const> const& directory) : NotifieeConst(directory) {
      isRegisteredNotifieeIs(true);
   }
   void onInterface(Fen::Name key) override {
      Fen::Ptr<Interface> const interface = notifier()->interface(key);
      told += std::string(key.view()) + (interface ? "=" + std::to_string(interface->mtu()) : "-");
   }
   std::string told;
};

TEST_F(HostModelTest, IsCompleteWhenItIsTold) {
   auto const watcher = Fen::makePtr<Watcher>(model.interfaces());
   model.linkIs(link(2, "eth0"));
   model.linkDel(2);
   EXPECT_EQ(watcher->told, "eth0=1500eth0-");
}

TEST_F(HostModelTest, RenamedInterfaceIsAnotherOne) {
   model.linkIs(link(2, "eth0"));
   model.addressIs(address(2, "10.0.0.1/24"));
   model.linkIs(link(2, "wan"));
   EXPECT_EQ(interfaces(), Names{"wan"});
   TableSet const again = model.againDel();
   EXPECT_TRUE(again.has(Table::addresses) && again.has(Table::routes) &&
               again.has(Table::neighbours));
}

TEST_F(HostModelTest, NameThatPassedOnLeavesItsOldHolder) {
   model.linkIs(link(2, "eth0"));
   model.linkIs(link(3, "eth0"));
   EXPECT_EQ(interfaces(), Names{"eth0"});
   EXPECT_EQ(model.interfaces()->interface("eth0")->index(), 3u);
   EXPECT_TRUE(model.againDel().has(Table::links));
   model.linkDel(2);
   EXPECT_EQ(interfaces(), Names{"eth0"});
}

TEST_F(HostModelTest, ControllerByNameInAnyOrder) {
   LinkRecord port = link(3, "port1");
   port.controller = 5;
   model.linkIs(port);
   EXPECT_EQ(model.interfaces()->interface("port1")->controller(), "");
   model.linkIs(link(5, "bridge0"));
   EXPECT_EQ(model.interfaces()->interface("port1")->controller(), "bridge0");
   model.linkDel(5);
   EXPECT_EQ(model.interfaces()->interface("port1")->controller(), "");
}

TEST_F(HostModelTest, SweepTakesWhatWasNotSeenAgain) {
   model.linkIs(link(2, "eth0"));
   model.linkIs(link(3, "eth1"));
   model.addressIs(address(2, "10.0.0.1/24"));
   model.addressIs(address(2, "10.0.0.2/24"));
   Fen::Ptr<Interface> const eth0 = model.interfaces()->interface("eth0");
   Fen::Ptr<Address> const kept = eth0->address("10.0.0.2/24");

   model.dumpBegin(Table::links);
   model.linkIs(link(2, "eth0"));
   model.dumpEnd(Table::links, true);
   EXPECT_EQ(interfaces(), Names{"eth0"});
   EXPECT_EQ(model.interfaces()->interface("eth0").ptr(), eth0.ptr());

   model.dumpBegin(Table::addresses);
   model.addressIs(address(2, "10.0.0.2/24"));
   model.dumpEnd(Table::addresses, true);
   EXPECT_FALSE(eth0->address("10.0.0.1/24"));
   EXPECT_EQ(eth0->address("10.0.0.2/24").ptr(), kept.ptr());
}

TEST_F(HostModelTest, InterruptedDumpSweepsNothing) {
   model.linkIs(link(2, "eth0"));
   model.routeIs(route("10.0.0.0/24", "", 2));
   for (Table const table : {Table::links, Table::routes}) {
      model.dumpBegin(table);
      model.dumpEnd(table, false);
   }
   EXPECT_EQ(interfaces(), Names{"eth0"});
   EXPECT_EQ(routes().size(), 1u);
   // The next complete one does.
   model.dumpBegin(Table::routes);
   model.dumpEnd(Table::routes, true);
   EXPECT_EQ(routes().size(), 0u);
}

TEST_F(HostModelTest, AddressGoesAndMayTakeRoutesWithIt) {
   model.linkIs(link(2, "eth0"));
   model.addressIs(address(2, "10.0.0.1/24"));
   model.addressIs(address(2, "fe80::1/64", false));
   model.againDel();
   model.addressDel(address(2, "fe80::1/64", false));
   EXPECT_TRUE(model.againDel().empty());
   model.addressDel(address(2, "10.0.0.1/24"));
   EXPECT_EQ(model.againDel(), TableSet(Table::routes));
   EXPECT_EQ(model.interfaces()->interface("eth0")->addressCount(), 0u);
}

TEST_F(HostModelTest, WhatBelongsToNoInterfaceIsLeftOut) {
   model.addressIs(address(9, "10.0.0.1/24"));
   model.routeIs(route("10.0.0.0/24", "", 9));
   model.neighbourIs(neighbour(9, "10.0.0.2"));
   EXPECT_EQ(routes(), Names());
   EXPECT_EQ(model.neighbours()->neighbourCount(), 0u);
}

TEST_F(HostModelTest, OnlyWantedInterfaces) {
   HostModel some{Fen::dirFactory("leaf2"), {"eth0"}, [](std::string const&) { return 0u; }};
   some.linkIs(link(2, "eth0"));
   some.linkIs(link(3, "eth1"));
   some.routeIs(route("10.0.0.0/24", "", 3));
   EXPECT_EQ(some.interfaces()->interfaceCount(), 1u);
   EXPECT_EQ(some.routes()->routeCount(), 0u);
   some.linkIs(link(2, "eth2"));
   EXPECT_EQ(some.interfaces()->interfaceCount(), 0u);
}

TEST_F(HostModelTest, RouteNames) {
   model.linkIs(link(2, "eth0"));
   model.linkIs(link(3, "eth1"));
   model.routeIs(route("10.0.0.0/24", "", 2));
   model.routeIs(route("10.0.0.0/24", "", 3));
   RouteRecord other = route("default", "10.0.0.1", 2);
   other.metric = 100;
   model.routeIs(other);
   other.table = 7;
   other.nextHops.push_back({"10.0.0.2", 3, 2});
   model.routeIs(other);
   RouteRecord hole;
   hole.destination = "10.9.0.0/16";
   hole.kind = "blackhole";
   hole.table = 254;
   model.routeIs(hole);
   EXPECT_EQ(routes(), (Names{"10.0.0.0/24 dev eth0", "10.0.0.0/24 dev eth1",
                              "default via 10.0.0.1 dev eth0 metric 100",
                              "default via 10.0.0.1 dev eth0 and 1 more metric 100 table 7",
                              "blackhole 10.9.0.0/16"}));
   auto const wide =
      model.routes()->route("default via 10.0.0.1 dev eth0 and 1 more metric 100 table 7");
   EXPECT_EQ(wide->nextHopCount(), 2u);
   EXPECT_EQ(wide->nextHop("10.0.0.2 eth1")->weight(), 2u);
}

TEST_F(HostModelTest, ReplacedRouteGoes) {
   model.linkIs(link(2, "eth0"));
   model.routeIs(route("default", "10.0.0.1", 2));
   RouteRecord replacing = route("default", "10.0.0.2", 2);
   replacing.replaces = true;
   model.routeIs(replacing);
   EXPECT_EQ(routes(), Names{"default via 10.0.0.2 dev eth0"});
   EXPECT_TRUE(model.againDel().empty());
}

TEST_F(HostModelTest, UncertainReplacementIsReadAgain) {
   model.linkIs(link(2, "eth0"));
   model.routeIs(route("default", "10.0.0.1", 2));
   model.routeIs(route("default", "10.0.0.2", 2));
   RouteRecord replacing = route("default", "10.0.0.3", 2);
   replacing.replaces = true;
   model.routeIs(replacing);
   EXPECT_EQ(model.againDel(), TableSet(Table::routes));

   // While the table is read there is no doubt: what is not named goes at the end.
   model.dumpBegin(Table::routes);
   model.routeIs(route("default", "10.0.0.3", 2));
   model.dumpEnd(Table::routes, true);
   EXPECT_TRUE(model.againDel().empty());
   EXPECT_EQ(routes(), Names{"default via 10.0.0.3 dev eth0"});
}

TEST_F(HostModelTest, Version6RouteGainsAndLosesANextHop) {
   model.linkIs(link(2, "eth0"));
   model.routeIs(route("2001:db8::/32", "fe80::1", 2, false));
   RouteRecord both = route("2001:db8::/32", "fe80::1", 2, false);
   both.nextHops.push_back({"fe80::2", 2, 1});
   model.routeIs(both);
   EXPECT_EQ(routes(), Names{"2001:db8::/32 via fe80::1 dev eth0 and 1 more"});
   model.againDel();
   // The kernel names only what has gone.
   model.routeDel(route("2001:db8::/32", "fe80::2", 2, false));
   EXPECT_EQ(model.againDel(), TableSet(Table::routes));
   model.routeDel(both);
   EXPECT_EQ(routes(), Names());
   model.routeDel(both);
   EXPECT_TRUE(model.againDel().empty());
}

TEST_F(HostModelTest, NextHopsFollow) {
   model.linkIs(link(2, "eth0"));
   RouteRecord both = route("default", "10.0.0.1", 2);
   both.nextHops.push_back({"10.0.0.2", 2, 1});
   model.routeIs(both);
   both.nextHops[1].gateway = "10.0.0.3";
   model.routeIs(both);
   auto const held = model.routes()->route("default via 10.0.0.1 dev eth0 and 1 more");
   ASSERT_TRUE(held);
   EXPECT_EQ(held->nextHopCount(), 2u);
   EXPECT_TRUE(held->nextHop("10.0.0.3 eth0"));
}

TEST_F(HostModelTest, Neighbours) {
   model.linkIs(link(2, "eth0"));
   NeighbourRecord record = neighbour(2, "10.0.0.2");
   model.neighbourIs(record);
   Fen::Ptr<Neighbour> const held = model.neighbours()->neighbour("10.0.0.2 eth0");
   ASSERT_TRUE(held);
   EXPECT_EQ(held->interface(), "eth0");
   record.state = "stale";
   record.hardwareAddress = "02:00:00:00:00:01";
   model.neighbourIs(record);
   EXPECT_EQ(held->state(), "stale");
   EXPECT_EQ(held->hardwareAddress(), "02:00:00:00:00:01");

   model.neighbourIs(neighbour(2, "10.0.0.3"));
   model.dumpBegin(Table::neighbours);
   model.neighbourIs(record);
   model.dumpEnd(Table::neighbours, true);
   EXPECT_EQ(model.neighbours()->neighbourCount(), 1u);

   record.isPlaceholder = true;
   model.neighbourIs(record);
   EXPECT_EQ(model.neighbours()->neighbourCount(), 0u);
}

TEST_F(HostModelTest, StatisticsOfUnknownInterfaceAreNothing) {
   model.statisticsIs({9, 1, 1, 1, 1, 1, 1, 1, 1});
   model.linkIs(link(2, "eth0"));
   model.statisticsIs({2, 11, 1, 1, 1, 1, 1, 1, 1});
   EXPECT_EQ(model.interfaces()->interface("eth0")->rxBytes(), 11u);
}

} // namespace
} // namespace Linux
