/// What arrives over a TCP mount: values, members, directories, resynchronisation, writing, and
/// readers that are slow.
#include "../../support/TcpFixture.h"

#include <gantry/runtime/fen/String.h>
#include <tests/runtime/cairn/Sample.fen.h>

#include <map>

namespace {

using namespace CairnTest;
using namespace Cairn;

class MountedTreeTest : public TcpTest {
 protected:
   MountedTreeTest() {
      state->entityPtrIs(rack);
      rack->portIs("p1")->speedIs(10);
      rack->portIs("p2");
      rack->primaryIs(rack->port("p2"));
      rack->allowedIs("blue", true);
   }
   Fen::Ptr<Rack> copy() const {
      return Fen::ptrCast<Rack>(Fen::Entity::entity(Fen::EntityUriPath("/mnt/leaf1/rack")));
   }
   Fen::Ptr<Rack> rack = Fen::makePtr<Rack>("rack");
};

TEST_F(MountedTreeTest, AllBelowADirectoryAppears) {
   Client client(want());
   ASSERT_TRUE(client.ends());
   ASSERT_EQ(client.status(), mountStatusSuccess) << client.reason();
   // With success everything is there.
   ASSERT_TRUE(copy());
   EXPECT_EQ(copy()->port("p1")->speed(), 10u);
   EXPECT_EQ(copy()->primary(), copy()->port("p2"));
   EXPECT_TRUE(copy()->allowed("blue"));
   EXPECT_NE(copy(), rack);
}

TEST_F(MountedTreeTest, MountedEntityStandsAtTheTargetUnderItsLocalName) {
   Want wanted = want();
   wanted.path = "leaf1//state/rack/";
   wanted.type = "CairnTest::Rack";
   wanted.target = "mnt/deep/er/here";
   Client client(wanted);
   ASSERT_TRUE(client.ends());
   ASSERT_EQ(client.status(), mountStatusSuccess) << client.reason();
   Fen::Ptr<Fen::Entity> const found = Fen::Entity::entity(Fen::EntityUriPath("/mnt/deep/er/here"));
   ASSERT_TRUE(found);
   EXPECT_EQ(found->name(), "here");
   EXPECT_EQ(found->fullName(), "/mnt/deep/er/here");
}

TEST_F(MountedTreeTest, ChangesFollow) {
   Client client(want());
   ASSERT_TRUE(client.ends());
   rack->port("p1")->speedIs(25);
   rack->portIs("p3")->noteIs("new");
   rack->portDel("p2");
   rack->primaryIs(nullptr);
   rack->allowedDel("blue");
   state->entityPtrIs(Fen::dirFactory("more"));
   EXPECT_TRUE(runUntil(
      [&] { return Fen::Entity::entity(Fen::EntityUriPath("/mnt/leaf1/more")) != nullptr; }));
   EXPECT_EQ(copy()->port("p1")->speed(), 25u);
   EXPECT_EQ(copy()->port("p3")->note(), "new");
   EXPECT_FALSE(copy()->port("p2"));
   EXPECT_FALSE(copy()->primary());
   EXPECT_FALSE(copy()->allowed("blue"));
}

TEST_F(MountedTreeTest, ServerRestartTellsOnlyDifferences) {
   Want wanted = want();
   wanted.retries = 1000;
   Client client(wanted);
   ASSERT_TRUE(client.ends());
   Fen::Ptr<Rack> const kept = copy();
   Fen::Ptr<Port> const p1 = kept->port("p1");
   server = nullptr;
   time.advance(1.0);
   rack->portDel("p2");
   rack->portIs("p4");
   serve();
   EXPECT_TRUE(runUntil([&] {
      time.advance(0.1);
      return copy() && copy()->port("p4") && !copy()->port("p2");
   }));
   EXPECT_EQ(copy(), kept);
   EXPECT_EQ(kept->port("p1"), p1);
   EXPECT_EQ(p1->speed(), 10u);
}

TEST_F(MountedTreeTest, RootThatGoesEndsTheMount) {
   Client client(want());
   ASSERT_TRUE(client.ends());
   served->entityPtrDel("state");
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusNoSuchPath);
   EXPECT_EQ(client.reason(), "what was mounted has been deleted");
}

TEST_F(MountedTreeTest, CopyThatIsDeletedHereEndsTheMount) {
   Client client(want());
   ASSERT_TRUE(client.ends());
   Fen::entityDel(Fen::EntityUriPath("/mnt/leaf1"));
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusTargetUnusable);
   EXPECT_NE(client.reason().find("was deleted while it was mounted"), std::string::npos);
   EXPECT_EQ(rack->portCount(), 2u) << "the peer's tree stays";
}

TEST_F(MountedTreeTest, UnmountInMidSynchronisation) {
   for (int i = 0; i < 20000; ++i) {
      rack->portIs("p" + std::to_string(i))->noteIs("some text that takes room");
   }
   Want wanted = want();
   Client client(wanted);
   ASSERT_TRUE(runUntil([&] { return copy() && copy()->portCount() > 10; }));
   EXPECT_LT(copy()->portCount(), 20000u);
   EXPECT_TRUE(client.unmounts(false));
   EXPECT_FALSE(Fen::Entity::entity(Fen::EntityUriPath("/mnt/leaf1")));
   EXPECT_TRUE(client.mounter->heard.empty());
}

TEST_F(MountedTreeTest, WritingNeedsTheFlagAndTheServersWord) {
   struct Case {
      char const* flags;
      bool serverAllows;
      bool writes;
   };
   for (Case const& each :
        {Case{"r", true, false}, Case{"rw", false, false}, Case{"rw", true, true}}) {
      SCOPED_TRACE(std::string(each.flags) + (each.serverAllows ? " allowed" : " not allowed"));
      server->writableIs(each.serverAllows);
      rack->port("p1")->speedIs(1);
      Want wanted = want();
      wanted.flags = each.flags;
      Client client(wanted);
      ASSERT_TRUE(client.ends());
      ASSERT_EQ(client.status(), mountStatusSuccess) << client.reason();
      if (each.writes) {
         copy()->port("p1")->speedIs(99);
         EXPECT_TRUE(runUntil([&] { return rack->port("p1")->speed() == 99; }));
      } else {
         copy()->port("p1")->speedIs(99);
         // What this side sent would have arrived before the answer to a mount that follows it.
         Want next = want();
         next.target = "/mnt/next";
         Client after(next);
         ASSERT_TRUE(after.ends());
         EXPECT_EQ(rack->port("p1")->speed(), 1u);
         EXPECT_TRUE(after.unmounts(false));
      }
      EXPECT_TRUE(client.unmounts(false));
   }
}

TEST_F(MountedTreeTest, TreeBeyondItsLimitIsCut) {
   Cairn::tcpConfig().limits.tree = 100 * 1024;
   for (int i = 0; i < 5000; ++i) {
      rack->portIs("q" + std::to_string(i));
   }
   Want wanted = want();
   wanted.retries = 1000;
   std::uint64_t const before = counted("cairn.closed.tree_limit");
   Client client(wanted);
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), mountStatusLimitExceeded) << client.reason();
   EXPECT_EQ(counted("cairn.closed.tree_limit"), before + 1);
   EXPECT_TRUE(client.unmounts(false));
}

TEST_F(MountedTreeTest, SlowReaderHoldsBackTheLatestValueOnly) {
   serve();
   RawPeer reader = RawPeer::calling(port);
   reader.say(helloFrame() + mountRequestFrame(1, "leaf1/state/rack", "CairnTest::Rack"));
   EXPECT_EQ(reader.hearFrame().first, 33u);
   EXPECT_EQ(reader.hearFrame().first, 36u);
   std::string const note(1000, 'n');
   // Far more than kernel and buffers hold, on one attribute.
   for (int i = 0; i < 20000; ++i) {
      rack->port("p1")->noteIs(note + std::to_string(i));
      Fen::ActivityLoop::instance().runOnce(0.0);
   }
   EXPECT_EQ(server->peers(), 1u);
   rack->port("p1")->noteIs("the last");
   std::size_t heard = 0;
   std::string all;
   EXPECT_TRUE(runUntil([&] {
      all = reader.hearFrame().second;
      heard += all.size();
      return all.find("the last") != std::string::npos;
   }));
   EXPECT_LT(heard, 20000u * 1000u);
}

} // namespace
