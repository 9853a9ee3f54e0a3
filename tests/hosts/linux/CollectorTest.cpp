// The collector against a kernel that the test plays: what is asked for and when, and that nothing
// stale stays after changes were dropped.

#include "MessageBuilder.h"

#include <hosts/linux/Collector.h>

#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

namespace Linux {
namespace {

/// One end of a pair of sockets stands for the collector's; the test writes into the other.
class PlayedSocket : public KernelSocket {
 public:
   explicit PlayedSocket(std::string& asked) : asked_(asked) {
      int ends[2];
      if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends) != 0) {
         throw std::system_error(errno, std::generic_category(), "socketpair");
      }
      own_ = ends[0];
      kernel_ = ends[1];
   }
   ~PlayedSocket() override {
      close(own_);
      close(kernel_);
   }
   int descriptor() const override { return own_; }
   std::ptrdiff_t receive(std::span<std::byte> buffer) override {
      if (error != 0) {
         return -std::exchange(error, 0);
      }
      ssize_t const size = recv(own_, buffer.data(), buffer.size(), 0);
      return size < 0 ? 0 : size;
   }
   int request(Table table, std::uint32_t number) override {
      asked_ += "LARNS"[static_cast<int>(table)];
      sequence = number;
      return -std::exchange(refusal, 0);
   }
   void send(MessageBuilder const& builder) const {
      std::span<std::byte const> const buffer = builder.buffer();
      ASSERT_EQ(::send(kernel_, buffer.data(), buffer.size(), 0),
                static_cast<ssize_t>(buffer.size()));
   }

   std::uint32_t sequence = 0;
   int error = 0;
   int refusal = 0;

 private:
   std::string& asked_;
   int own_ = -1;
   int kernel_ = -1;
};

struct CollectorTest : testing::Test {
   CollectorTest()
      : collector(
           model,
           [this](bool hearsChanges) {
              auto socket = std::make_unique<PlayedSocket>(asked);
              (hearsChanges ? changes : requests) = socket.get();
              ++(hearsChanges ? changesOpened : requestsOpened);
              return socket;
           },
           1.0) {}

   /// Runs turns until nothing is left to do, without moving time.
   static void settle() {
      while (Fen::ActivityLoop::instance().runOnce(0)) {
      }
   }
   /// Answers what was asked last, and ends it.
   template <class Fill>
   void answer(Fill const& fill) {
      MessageBuilder builder;
      builder.sequenceIs(requests->sequence);
      fill(builder);
      builder.done();
      requests->send(builder);
      settle();
   }
   void answerNothing() {
      answer([](MessageBuilder&) {});
   }
   void answerAll() {
      answer([](MessageBuilder& builder) { builder.link(2, "eth0"); });
      answerNothing();
      answer([](MessageBuilder& builder) { builder.route({"10.0.0.0", 24, "", 2}); });
      answerNothing();
   }
   template <class Fill>
   void change(Fill const& fill) {
      MessageBuilder builder;
      fill(builder);
      changes->send(builder);
      settle();
   }
   bool has(char const* interface) const {
      return static_cast<bool>(model.interfaces()->interface(interface));
   }

   Fen::VirtualTime time{1000.0};
   std::string asked;
   PlayedSocket* changes = nullptr;
   PlayedSocket* requests = nullptr;
   int changesOpened = 0;
   int requestsOpened = 0;
   Fen::Ptr<Fen::Dir> const root = Fen::dirFactory("leaf1");
   HostModel model{root, {}, [](std::string const&) { return 0u; }};
   Collector collector;
};

TEST_F(CollectorTest, ReadsAllTablesInOrder) {
   EXPECT_EQ(asked, "L");
   EXPECT_FALSE(collector.isComplete());
   answerAll();
   EXPECT_EQ(asked, "LARN");
   EXPECT_TRUE(collector.isComplete());
   EXPECT_TRUE(has("eth0"));
   EXPECT_EQ(model.routes()->routeCount(), 1u);
}

TEST_F(CollectorTest, ChangesWaitWhileATableIsRead) {
   // The change is younger than the list of links, so the list must not undo it.
   change([](MessageBuilder& builder) { builder.linkGone(2, "eth0"); });
   EXPECT_FALSE(has("eth0"));
   answer([](MessageBuilder& builder) { builder.link(2, "eth0"); });
   EXPECT_TRUE(has("eth0"));
   answerNothing();
   answerNothing();
   answerNothing();
   EXPECT_FALSE(has("eth0"));
}

TEST_F(CollectorTest, ChangesApplyAtOnce) {
   answerAll();
   change([](MessageBuilder& builder) { builder.link(3, "eth1"); });
   EXPECT_TRUE(has("eth1"));
   change([](MessageBuilder& builder) { builder.neighbour(3, "10.0.0.2", NUD_STALE); });
   EXPECT_EQ(model.neighbours()->neighbourCount(), 1u);
   EXPECT_EQ(asked, "LARN");
}

TEST_F(CollectorTest, LinkThatGoesDownHasRoutesReadAgainAndOnceMoreLater) {
   answerAll();
   asked.clear();
   change([](MessageBuilder& builder) { builder.link(2, "eth0", 0); });
   EXPECT_EQ(asked, "R");
   answerNothing();
   EXPECT_EQ(model.routes()->routeCount(), 0u);
   time.advance(1.0);
   EXPECT_EQ(asked, "RR");
   answerNothing();
   EXPECT_EQ(asked, "RRS");
   answerNothing();
   time.advance(1.0);
   EXPECT_EQ(asked, "RRSS");
}

TEST_F(CollectorTest, DroppedChangesLeadToANewSocketAndASweep) {
   answerAll();
   MessageBuilder old;
   old.link(3, "old");
   std::uint64_t const overruns = Fen::Counters::value("linux.overruns");
   changes->send(old);
   changes->error = ENOBUFS;
   settle();
   EXPECT_EQ(Fen::Counters::value("linux.overruns"), overruns + 1);
   EXPECT_EQ(changesOpened, 2);
   EXPECT_EQ(asked, "LARNL");
   // What waited when changes were dropped is never applied: its end may be among the dropped.
   answer([](MessageBuilder& builder) { builder.link(4, "eth4"); });
   answerNothing();
   answerNothing();
   answerNothing();
   EXPECT_FALSE(has("old"));
   EXPECT_FALSE(has("eth0"));
   EXPECT_TRUE(has("eth4"));
   EXPECT_EQ(model.routes()->routeCount(), 0u);
   change([](MessageBuilder& builder) { builder.link(5, "eth5"); });
   EXPECT_TRUE(has("eth5"));
}

TEST_F(CollectorTest, InterruptedDumpIsReadAgainBeforeAnythingIsSwept) {
   answerAll();
   asked.clear();
   change([](MessageBuilder& builder) { builder.link(2, "eth0", 0); });
   auto const interrupted = [](MessageBuilder& builder) {
      ifinfomsg fixed{};
      builder.begin(RTM_NEWLINK, fixed, NLM_F_DUMP_INTR);
      builder.end();
   };
   answer(interrupted);
   EXPECT_EQ(asked, "RR");
   EXPECT_EQ(model.routes()->routeCount(), 1u);
   answer(interrupted);
   answer(interrupted);
   answer(interrupted);
   // It changes faster than it can be read; changes are not held up for ever.
   EXPECT_EQ(asked, "RRRR");
   change([](MessageBuilder& builder) { builder.link(3, "eth1"); });
   EXPECT_TRUE(has("eth1"));
   time.advance(1.0);
   EXPECT_EQ(asked, "RRRRR");
   answerNothing();
   EXPECT_EQ(model.routes()->routeCount(), 0u);
}

TEST_F(CollectorTest, LostAnswerIsAskedForThroughAnotherSocket) {
   requests->error = ENOBUFS;
   MessageBuilder builder;
   builder.done();
   requests->send(builder);
   settle();
   EXPECT_EQ(requestsOpened, 2);
   EXPECT_EQ(asked, "LL");
   answerAll();
   EXPECT_TRUE(collector.isComplete());
}

TEST_F(CollectorTest, AnswerThatStopsComingIsAskedForAgain) {
   time.advance(1.0);
   EXPECT_EQ(requestsOpened, 1);
   time.advance(1.0);
   EXPECT_EQ(requestsOpened, 2);
   EXPECT_EQ(asked, "LL");
}

TEST_F(CollectorTest, CountersAreSampled) {
   answerAll();
   time.advance(1.0);
   EXPECT_EQ(asked, "LARNS");
   answer([](MessageBuilder& builder) { builder.statistics(2, 4711); });
   EXPECT_EQ(model.interfaces()->interface("eth0")->rxBytes(), 4711u);
   // Nobody knows what an interface is that only counts.
   EXPECT_EQ(model.interfaces()->interfaceCount(), 1u);
}

TEST_F(CollectorTest, OldKernelCountsInItsLinks) {
   answerAll();
   time.advance(1.0);
   EXPECT_EQ(asked, "LARNS");
   MessageBuilder builder;
   builder.sequenceIs(requests->sequence);
   nlmsgerr refusal{};
   refusal.error = -EOPNOTSUPP;
   builder.begin(NLMSG_ERROR, refusal);
   builder.end();
   requests->send(builder);
   settle();
   time.advance(1.0);
   EXPECT_EQ(asked, "LARNSL");
}

TEST_F(CollectorTest, RefusedTableIsTriedAgainLater) {
   requests->refusal = EPERM;
   // Addresses are refused at once when they are asked for.
   answer([](MessageBuilder& builder) { builder.link(2, "eth0"); });
   EXPECT_EQ(asked, "LAR");
   answerNothing();
   answerNothing();
   EXPECT_TRUE(collector.isComplete());
   time.advance(1.0);
   EXPECT_EQ(asked, "LARNA");
}

TEST_F(CollectorTest, MalformedMessagesAreCounted) {
   answerAll();
   std::uint64_t const before = Fen::Counters::value("linux.malformed");
   change([](MessageBuilder& builder) {
      builder.link(7, "");
      builder.link(8, "eth8");
   });
   EXPECT_EQ(Fen::Counters::value("linux.malformed"), before + 1);
   EXPECT_TRUE(has("eth8"));
}

} // namespace
} // namespace Linux
