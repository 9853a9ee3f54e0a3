// A root and all below it over a link in memory: first synchronisation, changes, adoption.
#include "HandWrittenEntity.h"

#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

using namespace NboAttrLogTest;
using Sample::Chassis;
using Sample::Port;

namespace {

TEST(NboAttrLogMount, everythingBelowTheRootArrives) {
   auto const chassis = Fen::makePtr<Chassis>("c1");
   chassis->upIs(true);
   auto const port = chassis->portIs("p1", "fiber", "1");
   port->speedIs(1000);
   port->labelIs("uplink");
   chassis->portIs("p2", "copper", "2");
   chassis->primaryIs(port);
   chassis->consoleIs("con", "serial", "0")->speedIs(9600);
   chassis->allowedIs("alice", true);
   chassis->allowedIs("bob", false);
   chassis->peerIs(7, port);
   Link link;
   link.mount(chassis);
   link.settle();

   EXPECT_EQ(link.targetUser.synchronised, 1);
   EXPECT_EQ(link.sourceUser.synchronised, 1);
   auto const copy = link.copy<Chassis>();
   ASSERT_TRUE(copy);
   EXPECT_TRUE(copy->up());
   ASSERT_EQ(copy->ports(), 2u);
   EXPECT_EQ(copy->port("p1")->speed(), 1000u);
   EXPECT_EQ(copy->port("p1")->label(), "uplink");
   EXPECT_EQ(copy->port("p2")->kind(), "copper");
   EXPECT_EQ(copy->port("p2")->slot(), "2");
   EXPECT_EQ(copy->primary(), copy->port("p1"));
   ASSERT_TRUE(copy->console());
   EXPECT_EQ(copy->console()->name(), "con");
   EXPECT_EQ(copy->console()->speed(), 9600u);
   EXPECT_TRUE(copy->allowed("alice"));
   EXPECT_FALSE(copy->allowed("bob"));
   EXPECT_EQ(copy->peer(7), copy->port("p1"));
}

TEST(NboAttrLogMount, changesFollow) {
   auto const chassis = Fen::makePtr<Chassis>("c1");
   Link link;
   link.mount(chassis);
   link.settle();
   auto const copy = link.copy<Chassis>();
   chassis->upIs(true);
   auto const port = chassis->portIs("p1", "fiber", "1");
   port->labelIs("x");
   chassis->primaryIs(port);
   chassis->peerIs(1, port);
   chassis->allowedIs("alice", true);
   link.settle();
   EXPECT_TRUE(copy->up());
   ASSERT_TRUE(copy->port("p1"));
   EXPECT_EQ(copy->port("p1")->label(), "x");
   EXPECT_EQ(copy->primary(), copy->port("p1"));
   EXPECT_TRUE(copy->peer(1));
   chassis->primaryIs(nullptr);
   chassis->peerDel(1);
   chassis->allowedDel("alice");
   chassis->portDel("p1");
   link.settle();
   EXPECT_FALSE(copy->primary());
   EXPECT_FALSE(copy->peer(1));
   EXPECT_FALSE(copy->allowedIterator());
   EXPECT_EQ(copy->ports(), 0u);
   EXPECT_EQ(link.target->entities(), 1u);
   EXPECT_EQ(link.source->entities(), 1u);
}

TEST(NboAttrLogMount, directoriesWithMembersOfAnyType) {
   auto const root = Fen::dirFactory("root");
   auto const below = Fen::dirFactory("below");
   root->entityPtrIs(below);
   below->entityPtrIs(Fen::makePtr<Chassis>("c1"));
   root->entityPtrIs(Fen::makePtr<Port>("p", "k", "s"));
   Link link;
   link.mount(root);
   link.settle();
   auto const copy = link.copy<Fen::Dir>();
   ASSERT_TRUE(copy);
   auto const belowCopy = Fen::ptrCast<Fen::Dir>(copy->entityPtr("below"));
   ASSERT_TRUE(belowCopy);
   EXPECT_TRUE(Fen::ptrCast<Chassis>(belowCopy->entityPtr("c1")));
   EXPECT_EQ(Fen::ptrCast<Port>(copy->entityPtr("p"))->slot(), "s");
   root->entityPtrDel("p");
   below->entityPtrIs(Fen::makePtr<Chassis>("c2"));
   link.settle();
   EXPECT_FALSE(copy->entityPtr("p"));
   EXPECT_TRUE(belowCopy->entityPtr("c2"));
}

} // namespace
