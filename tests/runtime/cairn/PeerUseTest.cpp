/// What connections hold, seen from both of their ends, which here are in one process.
#include "../../support/TcpFixture.h"

#include <gantry/runtime/cairn/PeerUse.h>

#include <string>

namespace {

using namespace CairnTest;
using namespace Cairn;

class PeerUseTest : public TcpTest {
 protected:
   /// The one connection as one of its ends sees it.
   static PeerUse use(bool isServed) {
      PeerUse found;
      unsigned ends = 0;
      for (PeerUse const& each : peerUses()) {
         if (each.isServed == isServed) {
            found = each;
            ++ends;
         }
      }
      EXPECT_EQ(ends, 1u);
      return found;
   }
};

TEST_F(PeerUseTest, NothingIsConnected) { EXPECT_TRUE(peerUses().empty()); }

TEST_F(PeerUseTest, BothEndsKnowTheMount) {
   tcpConfig().localName = "tester";
   Client client(want());
   ASSERT_TRUE(client.ends());
   PeerUse const source = use(false);
   EXPECT_EQ(source.name, "leaf1");
   EXPECT_EQ(source.address, Fen::format("127.0.0.1:%u", port));
   PeerUse const peer = use(true);
   EXPECT_EQ(peer.name, "tester");
   EXPECT_EQ(std::string(peer.address.view()).find("127.0.0.1:"), 0u);
   for (PeerUse const& each : {source, peer}) {
      EXPECT_EQ(each.mounts, 1u);
      EXPECT_EQ(each.entities, 1u);
      EXPECT_GT(each.memoryBytes, 0u);
   }
}

TEST_F(PeerUseTest, GrowsWithTheTreeAndShrinksAgain) {
   Client client(want());
   ASSERT_TRUE(client.ends());
   PeerUse const before = use(false);
   for (unsigned i = 0; i < 100; ++i) {
      state->entityPtrIs(Fen::dirFactory(Fen::Name("d" + std::to_string(i))));
   }
   ASSERT_TRUE(runUntil([] { return use(false).entities == 101; }));
   EXPECT_EQ(use(true).entities, 101u);
   EXPECT_GT(use(false).memoryBytes, before.memoryBytes + 100 * sizeof(void*));
   state->entityPtrDelAll();
   ASSERT_TRUE(runUntil([] { return use(false).entities == 1; }));
   EXPECT_EQ(use(true).entities, 1u);
   ASSERT_TRUE(client.unmounts(false));
   ASSERT_TRUE(runUntil([] { return use(true).mounts == 0; }));
   EXPECT_EQ(use(false).mounts, 0u);
}

TEST_F(PeerUseTest, WhatAPeerDoesNotReadIsQueued) {
   RawPeer deaf = RawPeer::calling(port);
   deaf.say(helloFrame() + mountRequestFrame(1, "leaf1/state"));
   ASSERT_TRUE(runUntil([] { return peerUses().size() == 1 && use(true).mounts == 1; }));
   std::string const name(30000, 'x');
   ASSERT_TRUE(runUntil([&] {
      for (unsigned i = 0; i < 20; ++i) {
         Fen::Name const next(name + std::to_string(i));
         state->entityPtrIs(Fen::dirFactory(next));
         state->entityPtrDel(next);
      }
      return use(true).queuedBytes > 0;
   }));
   EXPECT_GE(use(true).memoryBytes, use(true).queuedBytes);
}

TEST_F(PeerUseTest, RefusalsByAPeerAreCountedByReason) {
   std::uint64_t const before = counted("cairn.refused_by_peers.mountStatusNoSuchPath");
   Want nothing = want();
   nothing.path = "leaf1/nothing";
   Client client(nothing);
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(counted("cairn.refused_by_peers.mountStatusNoSuchPath"), before + 1);
}

TEST_F(PeerUseTest, FramesAreCountedOnBothSides) {
   Client client(want());
   ASSERT_TRUE(client.ends());
   std::uint64_t const sent = counted("cairn.frames_sent");
   std::uint64_t const received = counted("cairn.frames_received");
   state->entityPtrIs(Fen::dirFactory("d"));
   ASSERT_TRUE(runUntil([&] { return counted("cairn.frames_received") > received; }));
   EXPECT_GT(counted("cairn.frames_sent"), sent);
}

} // namespace
