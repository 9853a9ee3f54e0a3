/// What a server does with bytes that no client sends, at each stage of a connection: it closes
/// that one connection with one reason, and everyone else goes on.
#include "../../support/TcpFixture.h"

#include <map>

namespace {

using namespace CairnTest;

class HostilePeerTest : public TcpTest {
 protected:
   /// Says the bytes, and expects the connection cut and counted by that name alone.
   void expectCut(std::string const& bytes, char const* name) {
      SCOPED_TRACE(name);
      std::uint64_t const before = counted(name);
      RawPeer peer = RawPeer::calling(port);
      peer.say(bytes);
      EXPECT_TRUE(peer.isCut());
      EXPECT_EQ(counted(name), before + 1);
      EXPECT_TRUE(runUntil([&] { return server->peers() == 0; }));
   }
   void expectStillServing() {
      Client client(want());
      ASSERT_TRUE(client.ends());
      EXPECT_EQ(client.status(), Cairn::mountStatusSuccess) << client.reason();
   }
   std::string const opened = helloFrame() + mountRequestFrame(1, "leaf1/state");
};

TEST_F(HostilePeerTest, BeforeTheHandshake) {
   expectCut("GET / HTTP/1.1\r\nHost: x\r\n\r\n", "cairn.closed.oversized");
   expectCut(frame(32, 0, "GNAT" + u16(1) + u32(48 * 1024) + text("")), "cairn.closed.malformed");
   expectCut(frame(32, 0, "GANT" + u16(2)), "cairn.closed.version");
   expectCut(frame(32, 0, "GANT" + u16(1) + u32(100) + text("")), "cairn.closed.message_limit");
   expectCut(frame(32, 0, "GANT" + u16(1) + u32(48 * 1024) + text("") + "x"),
             "cairn.closed.malformed");
   expectCut(frame(32, 0, "GANT" + u16(1) + u32(48 * 1024) + u32(99) + "short"),
             "cairn.closed.malformed");
   expectCut(frame(32, 0, "GANT" + u16(1) + u32(48 * 1024) + text(std::string(4097, 'n'))),
             "cairn.closed.oversized");
   expectCut(frame(32, 1, "GANT" + u16(1) + u32(48 * 1024) + text("")), "cairn.closed.malformed");
   expectCut(mountRequestFrame(1, "leaf1/state"), "cairn.closed.out_of_order");
   expectCut(frame(34, 0, ""), "cairn.closed.out_of_order");
   expectCut(frame(1, 1, std::string(24, 'x')), "cairn.closed.out_of_order");
   expectCut(u32(3) + std::string(8, 0), "cairn.closed.malformed");
   expectCut(u32(20 * 1024) + std::string(4, 0), "cairn.closed.oversized");
   expectCut(helloReplyFrame(), "cairn.closed.out_of_order");
   expectCut(frame(99, 0, ""), "cairn.closed.out_of_order");
   expectStillServing();
}

TEST_F(HostilePeerTest, AfterTheHandshake) {
   expectCut(helloFrame() + helloFrame(), "cairn.closed.out_of_order");
   expectCut(helloFrame() + frame(99, 0, ""), "cairn.closed.unknown_frame");
   expectCut(helloFrame() + frame(34, 0, "x"), "cairn.closed.malformed");
   expectCut(helloFrame() + frame(35, 0, text("a") + text("b") + text("c")),
             "cairn.closed.malformed");
   expectCut(helloFrame() + frame(35, 1, text("a") + text("b")), "cairn.closed.malformed");
   expectCut(helloFrame() + mountReplyFrame(1, 4, ""), "cairn.closed.out_of_order");
   expectCut(helloFrame() + frame(37, 1, u32(0) + text("")), "cairn.closed.unknown_channel");
   expectCut(helloFrame() + frame(1, 1, std::string(24, 'x')), "cairn.closed.unknown_channel");
   expectCut(helloFrame() + frame(38, 0, u32(77) + text("")), "cairn.closed.malformed");
   expectCut(helloFrame() + frame(38, 0, u32(0) + text("bye")), "cairn.closed.goodbye");
   expectCut(helloFrame() + u32(49 * 1024) + std::string(4, 0), "cairn.closed.oversized");
   expectStillServing();
}

TEST_F(HostilePeerTest, OnAMount) {
   expectCut(opened + mountRequestFrame(1, "leaf1/state"), "cairn.closed.out_of_order");
   expectCut(opened + frame(37, 1, u32(0) + text("") + "x"), "cairn.closed.malformed");
   expectCut(opened + frame(37, 2, u32(0) + text("")), "cairn.closed.unknown_channel");
   expectStillServing();
}

TEST_F(HostilePeerTest, NoMoreThanAHandshakeIsKeptBeforeIt) {
   expectCut(u32(16 * 1024 - 3) + u32(32u << 24), "cairn.closed.oversized");
   // The longest first frame that is waited for ends where the limit does.
   expectCut(u32(16 * 1024 - 4) + u32(32u << 24) + std::string(16 * 1024 - 8, 'x'),
             "cairn.closed.malformed");
   expectStillServing();
}

TEST_F(HostilePeerTest, SilenceBeforeTheHandshake) {
   std::uint64_t const before = counted("cairn.closed.handshake_timeout");
   RawPeer peer = RawPeer::calling(port);
   ASSERT_TRUE(runUntil([&] { return server->peers() == 1; }));
   time.advance(7.0);
   peer.say("G"); // a trickle does not buy time
   time.advance(7.0);
   EXPECT_EQ(server->peers(), 1u);
   time.advance(1.5);
   EXPECT_EQ(counted("cairn.closed.handshake_timeout"), before + 1);
   EXPECT_TRUE(peer.isCut());
}

TEST_F(HostilePeerTest, SilenceAfterTheHandshake) {
   std::uint64_t const before = counted("cairn.closed.silent");
   RawPeer peer = RawPeer::calling(port);
   peer.say(helloFrame());
   EXPECT_EQ(peer.hearFrame().first, 33u);
   time.advance(14.9);
   EXPECT_EQ(server->peers(), 1u);
   time.advance(0.2);
   EXPECT_EQ(server->peers(), 0u);
   EXPECT_EQ(counted("cairn.closed.silent"), before + 1);
   // Two heartbeats, and the reason.
   EXPECT_EQ(peer.hearFrame().first, 34u);
   EXPECT_EQ(peer.hearFrame().first, 34u);
   EXPECT_EQ(peer.hearFrame().first, 38u);
}

TEST_F(HostilePeerTest, HeartbeatsKeepAConnection) {
   RawPeer peer = RawPeer::calling(port);
   peer.say(helloFrame());
   EXPECT_EQ(peer.hearFrame().first, 33u);
   for (int i = 0; i < 10; ++i) {
      std::uint64_t const received = counted("cairn.bytes_received");
      peer.say(frame(34, 0, ""));
      ASSERT_TRUE(runUntil([&] { return counted("cairn.bytes_received") > received; }));
      time.advance(10.0);
   }
   EXPECT_EQ(server->peers(), 1u);
}

TEST_F(HostilePeerTest, LateFramesOfAnEndedChannelAreIgnored) {
   RawPeer peer = RawPeer::calling(port);
   peer.say(opened + frame(37, 1, u32(0) + text("")) + frame(1, 1, std::string(24, 'x')) +
            frame(37, 1, u32(0) + text("")) + mountRequestFrame(2, "leaf1/nothing"));
   EXPECT_EQ(peer.hearFrame().first, 33u);
   for (;;) {
      auto const [kind, payload] = peer.hearFrame();
      ASSERT_NE(kind, 0u);
      if (kind == 36 && payload.substr(0, 4) == u32(Cairn::mountStatusNoSuchPath)) {
         break;
      }
   }
   EXPECT_EQ(server->peers(), 1u);
}

TEST_F(HostilePeerTest, AskingWithoutReadingIsCut) {
   Cairn::tcpConfig().limits.send = 48 * 1024;
   serve();
   std::uint64_t const before = counted("cairn.closed.send_limit");
   RawPeer peer = RawPeer::calling(port);
   peer.say(helloFrame());
   std::uint32_t channel = 0;
   std::string const wrong(4000, 'x');
   EXPECT_TRUE(runUntil([&] {
      std::string requests;
      for (int i = 0; i < 16; ++i) {
         requests += mountRequestFrame(++channel, wrong);
      }
      peer.say(requests);
      return counted("cairn.closed.send_limit") > before;
   }));
   EXPECT_TRUE(runUntil([&] { return server->peers() == 0; }));
}

TEST_F(HostilePeerTest, OneByteAtATimeIsUnderstood) {
   RawPeer peer = RawPeer::calling(port);
   for (char const byte : opened) {
      std::uint64_t const received = counted("cairn.bytes_received");
      peer.say(std::string(1, byte));
      ASSERT_TRUE(runUntil([&] { return counted("cairn.bytes_received") > received; }));
   }
   EXPECT_EQ(peer.hearFrame().first, 33u);
   EXPECT_EQ(peer.hearFrame().first, 36u);
}

TEST_F(HostilePeerTest, PeersBeyondTheLimitAreTurnedAway) {
   Cairn::tcpConfig().peersPerServer = 2;
   serve();
   RawPeer const first = RawPeer::calling(port), second = RawPeer::calling(port);
   ASSERT_TRUE(runUntil([&] { return server->peers() == 2; }));
   RawPeer third = RawPeer::calling(port);
   EXPECT_TRUE(third.isCut());
   EXPECT_EQ(server->peers(), 2u);
}

TEST_F(HostilePeerTest, MountsBeyondTheLimitAreRefused) {
   Cairn::tcpConfig().mountsPerPeer = 1;
   serve();
   RawPeer peer = RawPeer::calling(port);
   peer.say(opened + mountRequestFrame(2, "leaf1/state"));
   for (;;) {
      auto const [kind, payload] = peer.hearFrame();
      ASSERT_NE(kind, 0u);
      if (kind == 36 && payload.substr(0, 4) == u32(Cairn::mountStatusRefused)) {
         break;
      }
   }
   EXPECT_EQ(server->peers(), 1u);
}

} // namespace
