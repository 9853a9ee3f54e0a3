// One tree over many channels at once: an entity's adapters are told apart although most of them
// are not among its first notifiees, also while members and channels come and go.
#include "HandWrittenEntity.h"

#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

#include <memory>
#include <random>

using namespace NboAttrLogTest;
using Sample::Chassis;
using Sample::Port;

namespace {

Fen::Name portName(unsigned number) { return Fen::Name("p" + std::to_string(number)); }

struct Tree {
   Tree() {
      for (int i = 0; i < 12; ++i) {
         links.push_back(std::make_unique<Link>());
         links.back()->mount(chassis);
      }
   }
   void settle() {
      for (auto const& each : links) {
         each->settle();
      }
   }
   void expectEqual() {
      for (auto const& each : links) {
         auto const copy = each->copy<Chassis>();
         ASSERT_TRUE(copy);
         ASSERT_EQ(copy->ports(), chassis->ports());
         for (unsigned i = 0; i < portLimit; ++i) {
            auto const original = chassis->port(portName(i));
            auto const port = copy->port(portName(i));
            ASSERT_EQ(static_cast<bool>(port), static_cast<bool>(original)) << i;
            if (original) {
               EXPECT_EQ(port->speed(), original->speed());
               auto const adapter = each->sourceAdapter(*original);
               ASSERT_TRUE(adapter);
               EXPECT_EQ(adapter->demuxer(), each->source.ptr());
               EXPECT_EQ(adapter->entity(), original);
            }
         }
      }
   }

   static constexpr unsigned portLimit = 40;
   Fen::Ptr<Chassis> chassis = Fen::makePtr<Chassis>("c1");
   std::vector<std::unique_ptr<Link>> links;
};

TEST(NboAttrLogChannels, eachChannelFindsItsOwnAdapters) {
   Tree tree;
   for (unsigned i = 0; i < Tree::portLimit; ++i) {
      tree.chassis->portIs(portName(i), "fiber", "1")->speedIs(i);
   }
   tree.settle();
   tree.expectEqual();
}

TEST(NboAttrLogChannels, membersAndChannelsComeAndGo) {
   Tree tree;
   std::minstd_rand random(7);
   for (unsigned round = 0; round < 300; ++round) {
      unsigned const number = static_cast<unsigned>(random()) % Tree::portLimit;
      if (random() % 3 == 0) {
         tree.chassis->portDel(portName(number));
      } else {
         tree.chassis->portIs(portName(number), "fiber", "1")->speedIs(round);
      }
      if (random() % 20 == 0) {
         // Whoever leaves from among the first lets the others move forward.
         auto& link = tree.links[random() % tree.links.size()];
         link = std::make_unique<Link>();
         link->mount(tree.chassis);
      }
      if (random() % 4 == 0) {
         tree.settle();
         tree.expectEqual();
      }
   }
   tree.settle();
   tree.expectEqual();
}

} // namespace
