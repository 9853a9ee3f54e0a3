/// Who may be a peer of a server: what the policy is told, what a refusal means for both sides, and
/// a policy that does more than decide.
#include "../../support/TcpFixture.h"

namespace {

using namespace CairnTest;
using namespace Cairn;

/// Writes down whom it hears of, and refuses for the reason that a test gives.
class RecordingPolicy : public PeerPolicy {
 public:
   Fen::String8 handlePeer(PeerIdentity const& peer) override {
      heard.push_back("peer " + textOf(peer));
      if (then) {
         then();
      }
      return refusal;
   }
   void handlePeerGone(PeerIdentity const& peer) override {
      heard.push_back("gone " + textOf(peer));
   }

   std::vector<std::string> heard;
   Fen::String8 refusal;
   std::function<void()> then;

 private:
   static std::string textOf(PeerIdentity const& peer) {
      return std::string(peer.name.view()) + " " + std::string(peer.systemId.stringValue().view()) +
             " " + std::string(peer.address.stringValue().view()) + " " +
             std::to_string(peer.servingPort);
   }
};

class PeerPolicyTest : public TcpTest {
 protected:
   PeerPolicyTest() { server->peerPolicyIs(policy); }

   Fen::Ptr<RecordingPolicy> policy = Fen::makePtr<RecordingPolicy>();
};

using Texts = std::vector<std::string>;

TEST_F(PeerPolicyTest, HearsOfASystemThatComesAndGoes) {
   tcpConfig().localName = "leaf2";
   tcpConfig().localSystemId = Nimet::EthAddr("02:00:00:00:00:02");
   tcpConfig().localServingPort = 9002;
   {
      Client client(want());
      ASSERT_TRUE(client.ends());
      EXPECT_EQ(client.status(), mountStatusSuccess);
      EXPECT_EQ(policy->heard, (Texts{"peer leaf2 02:00:00:00:00:02 127.0.0.1 9002"}));
   }
   time.advance(tcpConfig().linger + 1.0);
   ASSERT_TRUE(runUntil([this] { return policy->heard.size() == 2; }));
   EXPECT_EQ(policy->heard[1], "gone leaf2 02:00:00:00:00:02 127.0.0.1 9002");
}

TEST_F(PeerPolicyTest, HearsOfAPeerThatIsNoSystem) {
   Client client(want());
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(policy->heard, (Texts{"peer  00:00:00:00:00:00 127.0.0.1 0"}));
}

TEST_F(PeerPolicyTest, ARefusedPeerHearsTheReason) {
   policy->refusal = "we do not know you";
   std::uint64_t const before = counted("cairn.closed.refused");
   Want wanted = want();
   wanted.retries = 5;
   Client client(wanted);
   ASSERT_TRUE(client.ends());
   // It is of no use to try again.
   EXPECT_EQ(client.status(), mountStatusRefused);
   EXPECT_NE(client.reason().find("we do not know you"), std::string::npos) << client.reason();
   EXPECT_EQ(counted("cairn.closed.refused"), before + 1);
   EXPECT_EQ(server->peers(), 0u);
   // One that was never let in does not go.
   EXPECT_EQ(policy->heard.size(), 1u);
}

TEST_F(PeerPolicyTest, NothingIsServedBeforeTheHello) {
   RawPeer peer = RawPeer::calling(port);
   peer.say(mountRequestFrame(1, "leaf1/state") + helloFrame());
   EXPECT_TRUE(peer.isCut());
   EXPECT_TRUE(policy->heard.empty());
}

TEST_F(PeerPolicyTest, ThePolicyMayTakeTheServerAway) {
   policy->then = [this] { server = nullptr; };
   Client client(want());
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusConnectionLost);
}

TEST_F(PeerPolicyTest, AnotherPolicyCountsForThoseWhoComeLater) {
   Client first(want());
   ASSERT_TRUE(first.ends());
   auto const strict = Fen::makePtr<RecordingPolicy>();
   strict->refusal = "nobody";
   server->peerPolicyIs(strict);
   Want other = want();
   other.target = "/mnt/other";
   other.sockname = "other";
   Client second(other);
   ASSERT_TRUE(second.ends());
   EXPECT_EQ(second.status(), mountStatusRefused);
   EXPECT_EQ(server->peers(), 1u);
}

} // namespace
