/// Mounts from peers in other processes, which are killed, stopped and started again.
#include "../../support/TcpFixture.h"
#include "PeerProcess.h"

#include <tests/runtime/cairn/Sample.fen.h>

#include <map>

namespace {

using namespace CairnTest;
using namespace Cairn;

Fen::Ptr<Rack> rackAt(char const* path) {
   return Fen::ptrCast<Rack>(Fen::Entity::entity(Fen::EntityUriPath(path)));
}

Fen::Ptr<Port> portAt(char const* rack, char const* name) {
   Fen::Ptr<Rack> const found = rackAt(rack);
   return found ? found->port(name) : Fen::Ptr<Port>();
}

/// Counts what is told of one rack.
class RackWatcher : public Rack::Notifiee {
 public:
   explicit RackWatcher(Fen::Ptr<Rack> const& rack) : Rack::Notifiee(rack) {
      isRegisteredNotifieeIs(true);
   }
   void onPort(Fen::Name key) override { ++told[key.str()]; }
   std::map<std::string, int> told;
};

class ProcessTest : public TcpTest {
 protected:
   Want wantRack(std::uint16_t peerPort) const {
      Want wanted;
      wanted.port = peerPort;
      wanted.path = "leaf1/rack";
      wanted.type = "CairnTest::Rack";
      wanted.target = "/mnt/rack";
      wanted.retries = 1000;
      wanted.timeout = 0.0;
      Rack::_fwkType();
      return wanted;
   }
   /// Lets virtual time run while real processes do what they do.
   testing::AssertionResult runTimeUntil(std::function<bool()> const& condition) {
      return runUntil([&] {
         time.advance(0.01);
         return condition();
      });
   }
};

TEST_F(ProcessTest, TreeAppearsAndChangesFollow) {
   PeerProcess peer;
   Client client(wantRack(peer.port()));
   ASSERT_TRUE(client.ends());
   ASSERT_EQ(client.status(), mountStatusSuccess) << client.reason();
   ASSERT_TRUE(rackAt("/mnt/rack"));
   EXPECT_EQ(rackAt("/mnt/rack")->name(), "rack");
   ASSERT_TRUE(portAt("/mnt/rack", "p2"));
   EXPECT_EQ(portAt("/mnt/rack", "p2")->speed(), 2u);
   peer.command("speed p2 100");
   EXPECT_TRUE(runUntil([] { return portAt("/mnt/rack", "p2")->speed() == 100; }));
   peer.command("speed p9 7");
   EXPECT_TRUE(runUntil(
      [] { return portAt("/mnt/rack", "p9") && portAt("/mnt/rack", "p9")->speed() == 7; }));
   peer.command("del p0");
   EXPECT_TRUE(runUntil([] { return !portAt("/mnt/rack", "p0"); }));
}

TEST_F(ProcessTest, KilledPeerComesBackAndMembersKeepTheirIdentity) {
   auto peer = std::make_unique<PeerProcess>();
   std::uint16_t const peerPort = peer->port();
   Client client(wantRack(peerPort));
   ASSERT_TRUE(client.ends());
   peer->command("speed extra 5");
   ASSERT_TRUE(runUntil([] { return portAt("/mnt/rack", "extra") != nullptr; }));
   Fen::Ptr<Rack> const rack = rackAt("/mnt/rack");
   Fen::Ptr<Port> const p1 = rack->port("p1");
   peer->kill();
   peer = nullptr;
   EXPECT_EQ(rackAt("/mnt/rack"), rack) << "the tree stays while the peer is away";
   RackWatcher* const watcher = new RackWatcher(rack);
   auto const owner = Fen::Ptr<RackWatcher>::adopt(watcher);
   PeerProcess again(peerPort);
   // Nothing but the difference is told: the member that the peer has no more.
   EXPECT_TRUE(runTimeUntil([] { return !portAt("/mnt/rack", "extra"); }));
   EXPECT_EQ(rackAt("/mnt/rack"), rack);
   EXPECT_EQ(rack->port("p1"), p1);
   EXPECT_EQ(watcher->told, (std::map<std::string, int>{{"extra", 1}}));
   again.command("speed p1 55");
   EXPECT_TRUE(runUntil([&] { return p1->speed() == 55; }));
   EXPECT_EQ(client.mounter->heard.size(), 1u);
}

TEST_F(ProcessTest, KilledPeerWithoutRetriesFails) {
   PeerProcess peer;
   Want wanted = wantRack(peer.port());
   wanted.retries = 0;
   Client client(wanted);
   ASSERT_TRUE(client.ends());
   peer.kill();
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusConnectionLost);
}

TEST_F(ProcessTest, StoppedPeerIsFoundByItsSilence) {
   PeerProcess peer;
   Want wanted = wantRack(peer.port());
   wanted.retries = 0;
   Client client(wanted);
   ASSERT_TRUE(client.ends());
   peer.stop();
   time.advance(14.0);
   EXPECT_EQ(client.mounter->heard.size(), 1u);
   time.advance(1.1);
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusConnectionLost);
   EXPECT_NE(client.reason().find("nothing has come"), std::string::npos) << client.reason();
   EXPECT_TRUE(rackAt("/mnt/rack"));
   EXPECT_TRUE(client.unmounts(false));
   EXPECT_FALSE(rackAt("/mnt/rack"));
}

TEST_F(ProcessTest, StoppedPeerThatGoesOnIsMountedAgain) {
   PeerProcess peer;
   Client client(wantRack(peer.port()));
   ASSERT_TRUE(client.ends());
   std::uint64_t const silent = counted("cairn.closed.silent");
   peer.stop();
   time.advance(15.1);
   EXPECT_EQ(counted("cairn.closed.silent"), silent + 1);
   peer.resume();
   peer.command("speed p0 77");
   EXPECT_TRUE(runTimeUntil([] { return portAt("/mnt/rack", "p0")->speed() == 77; }));
   EXPECT_EQ(client.mounter->heard.size(), 1u);
}

TEST_F(ProcessTest, ManyMountsOfManyPeers) {
   constexpr int peers = 3;
   std::vector<std::unique_ptr<PeerProcess>> processes;
   std::vector<std::unique_ptr<Client>> clients;
   for (int i = 0; i < peers; ++i) {
      processes.push_back(std::make_unique<PeerProcess>(0, 200));
      for (int j = 0; j < 5; ++j) {
         Want wanted = wantRack(processes.back()->port());
         wanted.target = "/mnt/" + std::to_string(i) + "/" + std::to_string(j);
         clients.push_back(std::make_unique<Client>(wanted));
      }
   }
   for (auto const& client : clients) {
      ASSERT_TRUE(client->ends());
      ASSERT_EQ(client->status(), mountStatusSuccess) << client->reason();
      EXPECT_EQ(rackAt(client->want.target.c_str())->port("p199")->speed(), 199u);
   }
}

} // namespace
