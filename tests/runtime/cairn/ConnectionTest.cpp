/// Connections: who shares one, what a server does when its port is taken, how clients come back,
/// and unmounting.
#include "../../support/TcpFixture.h"

#include <memory>

namespace {

using namespace CairnTest;
using namespace Cairn;

Fen::Ptr<Fen::Entity> at(char const* path) { return Fen::Entity::entity(Fen::EntityUriPath(path)); }

class ConnectionTest : public TcpTest {
 protected:
   Want wantAt(char const* target) {
      Want wanted = want();
      wanted.target = target;
      return wanted;
   }
};

TEST_F(ConnectionTest, ManagersShareAConnection) {
   Client a(wantAt("/mnt/a")), b(wantAt("/mnt/b"));
   ASSERT_TRUE(a.ends());
   ASSERT_TRUE(b.ends());
   EXPECT_EQ(server->peers(), 1u);
   Client c(wantAt("/mnt/c"));
   ASSERT_TRUE(c.ends());
   EXPECT_EQ(c.status(), mountStatusSuccess);
   EXPECT_EQ(server->peers(), 1u);
}

TEST_F(ConnectionTest, SocketNameAndSourceTellConnectionsApart) {
   Want other = wantAt("/mnt/b");
   other.sockname = "mgmt";
   Want third = wantAt("/mnt/c");
   third.source = "127.0.0.1";
   Client a(wantAt("/mnt/a")), b(other), c(third);
   ASSERT_TRUE(a.ends());
   ASSERT_TRUE(b.ends());
   ASSERT_TRUE(c.ends());
   EXPECT_EQ(server->peers(), 3u);
}

TEST_F(ConnectionTest, OneThatLeavesDoesNotDisturbTheOthers) {
   Client a(wantAt("/mnt/a"));
   ASSERT_TRUE(a.ends());
   {
      Client b(wantAt("/mnt/b"));
      ASSERT_TRUE(b.ends());
      EXPECT_TRUE(b.unmounts(false));
      EXPECT_FALSE(at("/mnt/b"));
   }
   Want bad = wantAt("/mnt/c");
   bad.path = "leaf1/nothing";
   Client c(bad);
   ASSERT_TRUE(c.ends());
   EXPECT_EQ(c.status(), mountStatusNoSuchPath);
   time.advance(2.0);
   EXPECT_EQ(server->peers(), 1u);
   EXPECT_EQ(a.mounter->heard.size(), 1u);
   EXPECT_TRUE(at("/mnt/a"));
}

TEST_F(ConnectionTest, UnusedConnectionsCloseAfterAWhile) {
   {
      Client a(wantAt("/mnt/a"));
      ASSERT_TRUE(a.ends());
   }
   time.advance(0.9);
   EXPECT_EQ(server->peers(), 1u);
   time.advance(0.2);
   EXPECT_TRUE(runUntil([&] { return server->peers() == 0; }));
}

TEST_F(ConnectionTest, NextMountTakesTheConnectionThatIsStillOpen) {
   std::uint64_t const before = counted("cairn.connects");
   for (int i = 0; i < 3; ++i) {
      Client a(wantAt("/mnt/a"));
      ASSERT_TRUE(a.ends());
      EXPECT_TRUE(a.unmounts(i % 2 == 0));
      time.advance(0.5);
   }
   time.advance(0.9);
   EXPECT_EQ(counted("cairn.connects"), before + 1);
}

TEST_F(ConnectionTest, FullUnmountRemovesTheCopyAndPreservingLeavesIt) {
   {
      Client a(wantAt("/mnt/a"));
      ASSERT_TRUE(a.ends());
      ASSERT_TRUE(at("/mnt/a"));
      EXPECT_TRUE(a.unmounts(true));
      EXPECT_TRUE(a.manager->unmounter()->statePreserving());
      EXPECT_TRUE(at("/mnt/a"));
      // The other flag on the same manager still finds what it has left.
      EXPECT_TRUE(a.unmounts(false));
      EXPECT_FALSE(at("/mnt/a"));
   }
   Client b(wantAt("/mnt/b"));
   ASSERT_TRUE(b.ends());
   b.manager->doCleanup();
   EXPECT_TRUE(at("/mnt/b"));
}

TEST_F(ConnectionTest, PreservedCopyIsAdopted) {
   Fen::Ptr<Fen::Entity> kept;
   {
      Client a(wantAt("/mnt/a"));
      ASSERT_TRUE(a.ends());
      kept = at("/mnt/a");
      EXPECT_TRUE(a.unmounts(true));
   }
   Client b(wantAt("/mnt/a"));
   ASSERT_TRUE(b.ends());
   EXPECT_EQ(b.status(), mountStatusSuccess);
   EXPECT_EQ(at("/mnt/a"), kept);
}

TEST_F(ConnectionTest, UnmountBeforeAnythingHasHappened) {
   Client a(wantAt("/mnt/a"));
   EXPECT_TRUE(a.unmounts(false));
   EXPECT_TRUE(a.mounter->heard.empty());
   EXPECT_FALSE(at("/mnt/a"));
   time.advance(5.0);
   EXPECT_TRUE(a.mounter->heard.empty());
}

TEST_F(ConnectionTest, UnmountWhilePeerIsDown) {
   Want wanted = wantAt("/mnt/a");
   wanted.retries = 1000;
   Client a(wanted);
   ASSERT_TRUE(a.ends());
   server = nullptr;
   time.advance(1.0);
   EXPECT_TRUE(at("/mnt/a"));
   EXPECT_TRUE(a.unmounts(false));
   EXPECT_FALSE(at("/mnt/a"));
}

TEST_F(ConnectionTest, ManagerDroppedWithItsUnmountUnderWay) {
   {
      Client a(wantAt("/mnt/a"));
      ASSERT_TRUE(a.ends());
      a.manager->doUnregisterAll(false);
   }
   EXPECT_TRUE(runUntil([&] { return !at("/mnt/a"); }));
}

TEST_F(ConnectionTest, ManagerDroppedByItsMounter) {
   Client a(wantAt("/mnt/a"));
   a.mounter->then = [&](Fen::Ptr<EntityManager> const&) {
      a.manager->doCleanup();
      a.manager = nullptr;
   };
   ASSERT_TRUE(a.ends());
   EXPECT_TRUE(runUntil([&] {
      time.advance(1.0);
      return server->peers() == 0;
   }));
}

TEST_F(ConnectionTest, ManagerDroppedWithoutCleanup) {
   Client a(wantAt("/mnt/a"));
   a.manager = nullptr;
   time.advance(5.0);
   EXPECT_TRUE(a.mounter->heard.empty());
   EXPECT_EQ(server->peers(), 0u);
}

TEST_F(ConnectionTest, ClientComesBackWhenTheServerDoes) {
   Want wanted = wantAt("/mnt/a");
   wanted.retries = 100;
   Client a(wanted);
   ASSERT_TRUE(a.ends());
   Fen::Ptr<Fen::Entity> const kept = at("/mnt/a");
   server = nullptr;
   time.advance(3.0);
   EXPECT_EQ(at("/mnt/a"), kept);
   EXPECT_EQ(a.mounter->heard.size(), 1u);
   serve();
   EXPECT_TRUE(runUntil([&] {
      time.advance(0.5);
      return server->peers() == 1;
   }));
   EXPECT_EQ(at("/mnt/a"), kept);
   // The mounter has heard of the mount already; a reconnection is not its business.
   EXPECT_EQ(a.mounter->heard.size(), 1u);
}

TEST_F(ConnectionTest, LostConnectionWithoutRetriesFails) {
   Client a(wantAt("/mnt/a"));
   ASSERT_TRUE(a.ends());
   server = nullptr;
   ASSERT_TRUE(a.ends());
   EXPECT_EQ(a.status(), mountStatusConnectionLost);
   EXPECT_NE(a.reason().find("the server is closing"), std::string::npos) << a.reason();
   EXPECT_TRUE(at("/mnt/a"));
}

TEST_F(ConnectionTest, LostConnectionFailsWhenTheTimeIsUsedUp) {
   Want wanted = wantAt("/mnt/a");
   wanted.retries = 1000;
   wanted.timeout = 20.0;
   Client a(wanted);
   ASSERT_TRUE(a.ends());
   time.advance(100.0);
   EXPECT_EQ(a.mounter->heard.size(), 1u);
   server = nullptr;
   time.advance(19.0);
   EXPECT_EQ(a.mounter->heard.size(), 1u);
   time.advance(2.0);
   ASSERT_TRUE(a.ends());
   EXPECT_EQ(a.status(), mountStatusTimedOut);
}

TEST_F(ConnectionTest, SilentServerIsFound) {
   RawListener listener;
   Want wanted = want();
   wanted.port = listener.port();
   wanted.timeout = 0.0;
   Client a(wanted);
   RawPeer peer = listener.accept();
   EXPECT_EQ(peer.hearFrame().first, 32u);
   peer.say(helloReplyFrame());
   EXPECT_EQ(peer.hearFrame().first, 35u);
   time.advance(14.5);
   EXPECT_TRUE(a.mounter->heard.empty());
   time.advance(1.0);
   ASSERT_TRUE(a.ends());
   EXPECT_EQ(a.status(), mountStatusConnectionLost);
   EXPECT_NE(a.reason().find("nothing has come from the peer for 15 seconds"), std::string::npos);
}

TEST_F(ConnectionTest, HeartbeatsKeepAnIdleConnection) {
   Client a(wantAt("/mnt/a"));
   ASSERT_TRUE(a.ends());
   std::uint64_t const notHeard = counted("cairn.bytes_sent") - counted("cairn.bytes_received");
   for (int i = 0; i < 30; ++i) {
      // Each side hears the other's heartbeat before time goes on.
      std::uint64_t const sent = counted("cairn.bytes_sent");
      time.advance(5.0);
      ASSERT_TRUE(runUntil([&] {
         return counted("cairn.bytes_sent") > sent &&
                counted("cairn.bytes_sent") - counted("cairn.bytes_received") == notHeard;
      }));
   }
   EXPECT_EQ(server->peers(), 1u);
   EXPECT_EQ(a.mounter->heard.size(), 1u);
}

TEST_F(ConnectionTest, PortInUse) {
   try {
      serverFactory("leaf1", served, Nimet::IpAddr("127.0.0.1"), port);
      FAIL() << "the port is taken";
   } catch (Fen::RangeException const& exception) {
      EXPECT_EQ(exception.text(),
                Fen::format("127.0.0.1:%u is in use already: choose another port", port));
   }
   EXPECT_THROW(serverFactory("leaf1", served, Nimet::IpAddr("192.0.2.1"), 0), Fen::RangeException);
}

TEST_F(ConnectionTest, StormOfPeers) {
   constexpr int peers = 200;
   std::vector<std::unique_ptr<Client>> clients;
   for (int i = 0; i < peers; ++i) {
      Want wanted = want();
      wanted.target = "/mnt/" + std::to_string(i);
      wanted.sockname = std::to_string(i);
      wanted.retries = 1000;
      wanted.timeout = 0.0;
      clients.push_back(std::make_unique<Client>(wanted));
   }
   auto const allThere = [&] { return server->peers() == peers; };
   for (auto const& client : clients) {
      ASSERT_TRUE(client->ends());
      EXPECT_EQ(client->status(), mountStatusSuccess);
   }
   EXPECT_TRUE(runUntil(allThere));
   for (int restart = 0; restart < 3; ++restart) {
      server = nullptr;
      time.advance(2.0);
      serve();
      EXPECT_TRUE(runUntil([&] {
         time.advance(0.1);
         return allThere();
      }));
   }
   for (auto const& client : clients) {
      EXPECT_EQ(client->mounter->heard.size(), 1u);
   }
}

TEST_F(ConnectionTest, ReconnectionsSpreadInTime) {
   // The same seed gives the same waits; two links do not come back at the same moment.
   server = nullptr;
   Want first = wantAt("/mnt/a"), second = wantAt("/mnt/b");
   second.sockname = "other";
   first.retries = second.retries = 1000;
   Client a(first), b(second);
   time.advance(0.04); // the first attempts have failed
   std::uint64_t last = counted("cairn.connects");
   int together = 0;
   for (int i = 0; i < 1000; ++i) {
      time.advance(0.001);
      std::uint64_t const now = counted("cairn.connects");
      together += now == last + 2 ? 1 : 0;
      last = now;
   }
   EXPECT_LE(together, 1);
}

} // namespace
