/// How mounts fail: each with its own status and a reason for people, none inside the call that
/// began it.
#include "../../support/TcpFixture.h"

#include <gantry/runtime/fen/FenType.h>

namespace {

using namespace CairnTest;
using namespace Cairn;

class MountFailureTest : public TcpTest {
 protected:
   void expectFailure(Want const& wanted, MountStatus status, std::string const& reason) {
      Client client(wanted);
      ASSERT_TRUE(client.ends());
      EXPECT_EQ(client.status(), status);
      EXPECT_NE(client.reason().find(reason), std::string::npos) << client.reason();
      EXPECT_EQ(client.mounter->heard.size(), 1u);
   }
};

TEST_F(MountFailureTest, NoSuchPath) {
   Want wanted = want();
   wanted.path = "leaf1/nothing";
   expectFailure(wanted, mountStatusNoSuchPath, "there is nothing at 'leaf1/nothing'");
   wanted.path = "leaf2/state";
   expectFailure(wanted, mountStatusNoSuchPath, "this is system 'leaf1', not 'leaf2'");
   wanted.path = "";
   expectFailure(wanted, mountStatusNoSuchPath, "not ''");
   wanted.path = "leaf1/state/deeper/still";
   expectFailure(wanted, mountStatusNoSuchPath, "there is nothing at");
}

TEST_F(MountFailureTest, AnotherType) {
   Fen::Ptr<Mounter> const stranger = Fen::makePtr<Mounter>("stranger");
   state->entityPtrIs(stranger);
   Want wanted = want();
   wanted.path = "leaf1/state/stranger";
   expectFailure(wanted, mountStatusAnotherType,
                 "what is there is a Cairn::Mounter, not a Fen::Dir");
}

TEST_F(MountFailureTest, RefusedBecauseTheTypeDoesNotTravel) {
   state->entityPtrIs(Fen::makePtr<Mounter>("stranger"));
   Want wanted = want();
   wanted.path = "leaf1/state/stranger";
   wanted.type = "Cairn::Mounter";
   expectFailure(wanted, mountStatusRefused, "Cairn::Mounter does not leave its system");
}

TEST_F(MountFailureTest, BadArguments) {
   Want wanted = want();
   wanted.host = "nowhere";
   expectFailure(wanted, mountStatusBadArguments, "no peer can be reached at 'nowhere'");
   wanted = want();
   wanted.port = 0;
   expectFailure(wanted, mountStatusBadArguments, "port 0");
   wanted = want();
   wanted.type = "No::Such";
   expectFailure(wanted, mountStatusBadArguments, "this program knows no type 'No::Such'");
   wanted = want();
   wanted.path = std::string(5000, 'p');
   expectFailure(wanted, mountStatusBadArguments, "more than 4096 bytes");
}

TEST_F(MountFailureTest, TargetUnusable) {
   Want wanted = want();
   wanted.target = "//";
   expectFailure(wanted, mountStatusTargetUnusable, "the target path is empty");
   Fen::root()->entityPtrIs(Fen::makePtr<Mounter>("mnt"));
   wanted.target = "/mnt/leaf1";
   expectFailure(wanted, mountStatusTargetUnusable, "'/mnt' is in the way");
}

TEST_F(MountFailureTest, TwoMountsInOnePlace) {
   Client first(want());
   ASSERT_TRUE(first.ends());
   EXPECT_EQ(first.status(), mountStatusSuccess);
   expectFailure(want(), mountStatusTargetUnusable, "is the place of another mount already");
   EXPECT_EQ(first.mounter->heard.size(), 1u);
}

TEST_F(MountFailureTest, NobodyListens) {
   server = nullptr;
   std::uint64_t const before = counted("cairn.connects");
   expectFailure(want(), mountStatusConnectionLost, "Connection refused");
   EXPECT_EQ(counted("cairn.connects"), before + 1);
}

TEST_F(MountFailureTest, RetriesAreUsedUp) {
   server = nullptr;
   Want wanted = want();
   wanted.retries = 3;
   std::uint64_t const before = counted("cairn.connects");
   Client client(wanted);
   ASSERT_TRUE(runUntil([&] {
      time.advance(0.01);
      return !client.mounter->heard.empty();
   }));
   EXPECT_EQ(client.status(), mountStatusConnectionLost);
   EXPECT_EQ(counted("cairn.connects"), before + 4);
   // Waits of at most 0.1, 0.2 and 0.4 seconds, each shortened by at most half.
   EXPECT_GE(time.time(), 1000.0 + 0.35);
   EXPECT_LE(time.time(), 1000.0 + 0.75);
}

TEST_F(MountFailureTest, WaitsGrowToTheLongest) {
   server = nullptr;
   Want wanted = want();
   wanted.retries = 1000;
   wanted.timeout = 0.0;
   std::uint64_t const before = counted("cairn.connects");
   Client client(wanted);
   time.advance(600.0);
   std::uint64_t const attempts = counted("cairn.connects") - before;
   EXPECT_GE(attempts, 120u);
   EXPECT_LE(attempts, 250u);
   EXPECT_TRUE(client.mounter->heard.empty());
}

TEST_F(MountFailureTest, SourceAddressThatIsNotHere) {
   Want wanted = want();
   wanted.source = "192.0.2.1";
   expectFailure(wanted, mountStatusConnectionLost, "Cannot assign requested address");
}

TEST_F(MountFailureTest, TimedOutWhenNobodyAnswers) {
   RawListener silent;
   Want wanted = want();
   wanted.port = silent.port();
   wanted.timeout = 5.0;
   Client client(wanted);
   RawPeer peer = silent.accept();
   time.advance(4.9);
   EXPECT_TRUE(client.mounter->heard.empty());
   time.advance(0.2);
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusTimedOut);
   EXPECT_NE(client.reason().find("not synchronised within 5 seconds"), std::string::npos);
}

TEST_F(MountFailureTest, TimedOutTellsTheLastTrouble) {
   server = nullptr;
   Want wanted = want();
   wanted.retries = 1000;
   wanted.timeout = 5.0;
   Client client(wanted);
   time.advance(5.1);
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusTimedOut);
   EXPECT_NE(client.reason().find("; Connection refused"), std::string::npos) << client.reason();
}

TEST_F(MountFailureTest, HandshakeThatNeverEndsIsALostConnection) {
   RawListener silent;
   Want wanted = want();
   wanted.port = silent.port();
   wanted.timeout = 0.0;
   Client client(wanted);
   RawPeer peer = silent.accept();
   EXPECT_EQ(peer.hearFrame().first, 32u);
   time.advance(15.1);
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusConnectionLost);
   EXPECT_TRUE(peer.isCut());
}

/// A peer that answers with bytes of the test's choice, at each stage.
class WrongServerTest : public MountFailureTest {
 protected:
   void expectStatus(std::string const& afterHello, std::string const& afterRequest,
                     MountStatus status) {
      RawListener listener;
      Want wanted = want();
      wanted.port = listener.port();
      wanted.retries = 5;
      Client client(wanted);
      RawPeer peer = listener.accept();
      EXPECT_EQ(peer.hearFrame().first, 32u);
      peer.say(afterHello);
      if (!afterRequest.empty()) {
         EXPECT_EQ(peer.hearFrame().first, 35u);
         peer.say(afterRequest);
      }
      ASSERT_TRUE(client.ends());
      EXPECT_EQ(client.status(), status) << client.reason();
      EXPECT_FALSE(client.reason().empty());
      EXPECT_FALSE(Fen::Entity::entity(Fen::EntityUriPath("/mnt/leaf1")));
   }
};

TEST_F(WrongServerTest, InsteadOfTheHandshake) {
   expectStatus("HTTP/1.1 400 Bad Request\r\n\r\n", "", mountStatusLimitExceeded);
   expectStatus(frame(33, 0, u16(9)), "", mountStatusProtocolError);
   expectStatus(frame(33, 0, u16(1) + u32(12) + text("leaf1")), "", mountStatusLimitExceeded);
   expectStatus(frame(33, 0, u16(1)), "", mountStatusProtocolError);
   expectStatus(helloFrame(), "", mountStatusProtocolError);
   expectStatus(mountReplyFrame(1, 4, ""), "", mountStatusProtocolError);
   expectStatus(frame(38, 0, u32(mountStatusRefused) + text("go away")), "", mountStatusRefused);
}

TEST_F(WrongServerTest, InsteadOfTheAnswer) {
   expectStatus(helloReplyFrame(), helloReplyFrame(), mountStatusProtocolError);
   expectStatus(helloReplyFrame(), mountReplyFrame(2, 4, ""), mountStatusProtocolError);
   expectStatus(helloReplyFrame(), mountReplyFrame(1, 99, ""), mountStatusProtocolError);
   expectStatus(helloReplyFrame(), frame(1, 1, std::string(24, 'x')), mountStatusProtocolError);
   expectStatus(helloReplyFrame(), frame(2, 1, ""), mountStatusProtocolError);
   expectStatus(helloReplyFrame(), mountRequestFrame(1, "leaf1/state"), mountStatusProtocolError);
   expectStatus(helloReplyFrame(), u32(1u << 30) + u32(0), mountStatusLimitExceeded);
   expectStatus(helloReplyFrame(), mountReplyFrame(1, mountStatusRefused, "no"),
                mountStatusRefused);
   expectStatus(helloReplyFrame(), mountReplyFrame(1, mountStatusNone, "?"), mountStatusRefused);
   expectStatus(helloReplyFrame(), frame(37, 1, u32(mountStatusNoSuchPath) + text("gone")),
                mountStatusNoSuchPath);
   expectStatus(helloReplyFrame(), mountReplyFrame(1, 4, "") + mountReplyFrame(1, 4, ""),
                mountStatusProtocolError);
}

TEST_F(WrongServerTest, GoodbyeOfAPeerThatComesBackIsRetried) {
   RawListener listener;
   Want wanted = want();
   wanted.port = listener.port();
   wanted.retries = 1;
   Client client(wanted);
   {
      RawPeer peer = listener.accept();
      EXPECT_EQ(peer.hearFrame().first, 32u);
      peer.say(frame(38, 0, u32(mountStatusConnectionLost) + text("restarting")));
      EXPECT_TRUE(peer.isCut());
   }
   time.advance(0.2);
   RawPeer peer = listener.accept();
   EXPECT_EQ(peer.hearFrame().first, 32u);
   peer.say(helloReplyFrame());
   EXPECT_EQ(peer.hearFrame().first, 35u);
   peer.say(mountReplyFrame(1, mountStatusRefused, "still no"));
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusRefused);
   EXPECT_EQ(client.reason(), "still no");
}

} // namespace
