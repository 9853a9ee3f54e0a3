/// The activity loop: descriptors, signals, and work at the end of a turn.
#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using Fen::ActivityLoop;
using Fen::FileDescriptor;
using Fen::Ptr;
using Log = std::vector<std::string>;

class Watcher : public FileDescriptor::Notifiee {
 public:
   Watcher(Ptr<FileDescriptor> const& watched, std::string name, Log& log)
      : FileDescriptor::Notifiee(watched), name_(std::move(name)), log_(log) {
      isRegisteredNotifieeIs(true);
   }
   void onReadable() override {
      log_.push_back(name_ + " readable");
      if (readable) {
         readable();
      }
   }
   void onWritable() override {
      log_.push_back(name_ + " writable");
      if (writable) {
         writable();
      }
   }
   std::function<void()> readable;
   std::function<void()> writable;

 private:
   std::string name_;
   Log& log_;
};

/// Two connected sockets; closed with the object unless a test closed them.
struct Pair {
   Pair() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0); }
   ~Pair() {
      for (int& each : ends) {
         closeEnd(each);
      }
   }
   static void closeEnd(int& end) {
      if (end >= 0) {
         ::close(end);
         end = -1;
      }
   }
   int ends[2] = {-1, -1};
};

class LoopTest : public testing::Test {
 protected:
   ActivityLoop& loop = ActivityLoop::instance();
   Log log;
};

TEST_F(LoopTest, NothingRan) { EXPECT_FALSE(loop.runOnce(0.0)); }

TEST_F(LoopTest, ReadableByLevel) {
   Pair pair;
   auto const watched = Fen::makePtr<FileDescriptor>(pair.ends[0]);
   auto const watcher = Fen::makePtr<Watcher>(watched, "w", log);
   ASSERT_EQ(::write(pair.ends[1], "x", 1), 1);
   EXPECT_FALSE(loop.runOnce(0.0)); // not wanted yet
   watched->readableWantedIs(true);
   EXPECT_TRUE(loop.runOnce(0.0));
   EXPECT_TRUE(loop.runOnce(0.0));
   char byte;
   ASSERT_EQ(::read(pair.ends[0], &byte, 1), 1);
   EXPECT_FALSE(loop.runOnce(0.0));
   EXPECT_EQ(log, (Log{"w readable", "w readable"}));
   ASSERT_EQ(::write(pair.ends[1], "x", 1), 1);
   watched->readableWantedIs(false);
   EXPECT_FALSE(loop.runOnce(0.0));
}

TEST_F(LoopTest, WritableAndHangUp) {
   Pair pair;
   auto const watched = Fen::makePtr<FileDescriptor>(pair.ends[0]);
   auto const watcher = Fen::makePtr<Watcher>(watched, "w", log);
   watched->writableWantedIs(true);
   EXPECT_TRUE(loop.runOnce(0.0));
   EXPECT_EQ(log, Log{"w writable"});
   watched->writableWantedIs(false);
   EXPECT_FALSE(loop.runOnce(0.0));
   watched->readableWantedIs(true);
   Pair::closeEnd(pair.ends[1]);
   EXPECT_TRUE(loop.runOnce(0.0));
   EXPECT_EQ(log, (Log{"w writable", "w readable"}));
}

TEST_F(LoopTest, TheReadableHandlerMayStopTheWritableOne) {
   Pair pair;
   auto const watched = Fen::makePtr<FileDescriptor>(pair.ends[0]);
   auto const watcher = Fen::makePtr<Watcher>(watched, "w", log);
   watched->readableWantedIs(true);
   watched->writableWantedIs(true);
   watcher->readable = [&] { watched->writableWantedIs(false); };
   ASSERT_EQ(::write(pair.ends[1], "x", 1), 1);
   loop.runOnce(0.0);
   EXPECT_EQ(log, Log{"w readable"});
}

TEST_F(LoopTest, AStaleEventIsDropped) {
   // Both are ready in the same turn, and the first one's handler drops the second one, whose slot
   // and number another file takes at once.
   Pair first;
   Pair second;
   Pair third;
   auto a = Fen::makePtr<FileDescriptor>(first.ends[0]);
   auto b = Fen::makePtr<FileDescriptor>(second.ends[0]);
   auto onA = Fen::makePtr<Watcher>(a, "a", log);
   auto onB = Fen::makePtr<Watcher>(b, "b", log);
   Ptr<FileDescriptor> c;
   Ptr<Watcher> onC;
   auto const replace = [&](Ptr<FileDescriptor>& watched, Ptr<Watcher>& watcher) {
      if (!c) {
         watcher = nullptr;
         watched = nullptr;
         c = Fen::makePtr<FileDescriptor>(third.ends[0]);
         onC = Fen::makePtr<Watcher>(c, "c", log);
         c->readableWantedIs(true);
      }
   };
   onA->readable = [&] { replace(b, onB); };
   onB->readable = [&] { replace(a, onA); };
   a->readableWantedIs(true);
   b->readableWantedIs(true);
   ASSERT_EQ(::write(first.ends[1], "x", 1), 1);
   ASSERT_EQ(::write(second.ends[1], "x", 1), 1);
   loop.runOnce(0.0);
   EXPECT_EQ(log.size(), 1u);
   ASSERT_EQ(::write(third.ends[1], "x", 1), 1);
   onC->readable = [&] {
      char byte;
      EXPECT_EQ(::read(third.ends[0], &byte, 1), 1);
   };
   log.clear();
   loop.runOnce(0.0);
   EXPECT_EQ(std::count(log.begin(), log.end(), "c readable"), 1);
}

/// A connection that fails is closed in its own handler and a new one is opened, which gets the
/// same number, while the loop still holds the old one's watcher.
TEST_F(LoopTest, ANumberThatComesBackInTheHandlerStaysWatched) {
   Pair pair;
   auto watched = Fen::makePtr<FileDescriptor>(pair.ends[0]);
   auto watcher = Fen::makePtr<Watcher>(watched, "old", log);
   watched->readableWantedIs(true);
   Pair::closeEnd(pair.ends[1]);
   int const number = pair.ends[0];
   int again[2] = {-1, -1};
   watcher->readable = [&] {
      watcher = nullptr;
      watched = nullptr;
      Pair::closeEnd(pair.ends[0]);
      ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, again), 0);
      ASSERT_EQ(std::min(again[0], again[1]), number);
      if (again[0] != number) {
         std::swap(again[0], again[1]);
      }
      watched = Fen::makePtr<FileDescriptor>(number);
      watched->readableWantedIs(true);
   };
   loop.runOnce(0.0);
   ASSERT_TRUE(watched);
   watcher = Fen::makePtr<Watcher>(watched, "new", log);
   ASSERT_EQ(::write(again[1], "x", 1), 1);
   EXPECT_TRUE(loop.runOnce(0.0));
   EXPECT_EQ(log, (Log{"old readable", "new readable"}));
   watcher = nullptr;
   watched = nullptr;
   ::close(again[0]);
   ::close(again[1]);
}

TEST_F(LoopTest, WhatCannotBeWatchedIsRefusedEachTime) {
   int const file = ::open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
   int const closed = ::dup(file);
   ::close(closed);
   auto const watched = Fen::makePtr<FileDescriptor>(closed);
   EXPECT_THROW(watched->readableWantedIs(true), Fen::RangeException);
   EXPECT_FALSE(watched->readableWanted());
   EXPECT_THROW(watched->readableWantedIs(true), Fen::RangeException);
   ::close(file);
}

TEST_F(LoopTest, AHandlerMayDropItsDescriptor) {
   Pair pair;
   auto watched = Fen::makePtr<FileDescriptor>(pair.ends[0]);
   auto watcher = Fen::makePtr<Watcher>(watched, "w", log);
   watched->readableWantedIs(true);
   watched->writableWantedIs(true);
   watcher->readable = [&] {
      watcher = nullptr;
      watched = nullptr;
   };
   ASSERT_EQ(::write(pair.ends[1], "x", 1), 1);
   loop.runOnce(0.0);
   EXPECT_EQ(log.front(), "w readable");
   log.clear();
   EXPECT_FALSE(loop.runOnce(0.0));
   EXPECT_TRUE(log.empty());
}

TEST_F(LoopTest, StopEndsRun) {
   Pair pair;
   auto const watched = Fen::makePtr<FileDescriptor>(pair.ends[0]);
   auto const watcher = Fen::makePtr<Watcher>(watched, "w", log);
   watched->readableWantedIs(true);
   ASSERT_EQ(::write(pair.ends[1], "x", 1), 1);
   watcher->readable = [&] {
      if (log.size() == 3) {
         loop.stop();
      }
   };
   loop.run();
   EXPECT_EQ(log.size(), 3u);
}

TEST_F(LoopTest, WaitsForAClockReactorInRealTime) {
   class Stopper : public Fen::Clock::Notifiee {
    public:
      Stopper() : Fen::Clock::Notifiee(Fen::ActivityFacility::clock()) {
         isRegisteredNotifieeIs(true);
      }
      void onTime() override {
         fired = Fen::now();
         ActivityLoop::instance().stop();
      }
      double fired = 0.0;
   };
   auto const stopper = Fen::makePtr<Stopper>();
   double const deadline = Fen::now() + 0.003;
   stopper->timeMinIs(deadline);
   loop.run();
   EXPECT_GE(stopper->fired, deadline);
}

// ---- signals -----------------------------------------------------------------------------------

class SignalWatcher : public Fen::Signal::Notifiee {
 public:
   explicit SignalWatcher(Ptr<Fen::Signal> const& signal) : Fen::Signal::Notifiee(signal) {
      isRegisteredNotifieeIs(true);
   }
   void onSignal() override {
      ++arrived;
      if (then) {
         then();
      }
   }
   int arrived = 0;
   std::function<void()> then;
};

TEST_F(LoopTest, ASignalArrivesOnTheLoop) {
   auto const signal = Fen::makePtr<Fen::Signal>(SIGUSR1);
   auto const watcher = Fen::makePtr<SignalWatcher>(signal);
   ASSERT_EQ(::raise(SIGUSR1), 0);
   EXPECT_EQ(watcher->arrived, 0);
   EXPECT_TRUE(loop.runOnce(0.0));
   EXPECT_EQ(watcher->arrived, 1);
   EXPECT_FALSE(loop.runOnce(0.0));
   EXPECT_EQ(watcher->notifier()->number(), SIGUSR1);
}

TEST_F(LoopTest, TheSignalIsGivenBack) {
   sigset_t blocked;
   {
      auto const signal = Fen::makePtr<Fen::Signal>(SIGUSR2);
      sigprocmask(SIG_BLOCK, nullptr, &blocked);
      EXPECT_TRUE(sigismember(&blocked, SIGUSR2));
   }
   sigprocmask(SIG_BLOCK, nullptr, &blocked);
   EXPECT_FALSE(sigismember(&blocked, SIGUSR2));
}

TEST_F(LoopTest, AHandlerMayDropItsSignal) {
   auto signal = Fen::makePtr<Fen::Signal>(SIGUSR1);
   auto watcher = Fen::makePtr<SignalWatcher>(signal);
   watcher->then = [&] {
      watcher = nullptr;
      signal = nullptr;
   };
   ASSERT_EQ(::raise(SIGUSR1), 0);
   EXPECT_TRUE(loop.runOnce(0.0));
   EXPECT_FALSE(signal);
   EXPECT_FALSE(loop.runOnce(0.0));
}

TEST_F(LoopTest, SignalsThatCannotBeTaken) {
   for (int const number : {0, -1, SIGKILL, SIGSTOP, 1000}) {
      EXPECT_THROW(Fen::makePtr<Fen::Signal>(number), Fen::RangeException) << number;
   }
}

// ---- the end of a turn -------------------------------------------------------------------------

class Work : public Fen::TurnEndWork {
 public:
   explicit Work(std::string name, Log& log) : name_(std::move(name)), log_(log) {}
   using TurnEndWork::pendingIs;
   std::function<void()> then;

 protected:
   void handleTurnEnd() override {
      log_.push_back(name_);
      if (then) {
         then();
      }
   }

 private:
   std::string name_;
   Log& log_;
};

TEST_F(LoopTest, TurnsInWhichSomethingRanAreCounted) {
   std::uint64_t const turns = loop.turnTimes().count();
   std::uint64_t const busy = loop.turnTimes().sum();
   loop.runOnce(0.0);
   EXPECT_EQ(loop.turnTimes().count(), turns);
   Work work("work", log);
   work.pendingIs(true);
   loop.runOnce(0.0);
   EXPECT_EQ(loop.turnTimes().count(), turns + 1);
   EXPECT_GT(loop.turnTimes().sum(), busy);
   EXPECT_GT(loop.turnTimes().largest(), 0u);
}

TEST_F(LoopTest, WhatWaitsAtTheBeginningOfATurnIsCounted) {
   Pair pair;
   auto const watched = Fen::makePtr<FileDescriptor>(pair.ends[0]);
   auto const watcher = Fen::makePtr<Watcher>(watched, "w", log);
   watched->readableWantedIs(true);
   ASSERT_EQ(::write(pair.ends[1], "x", 1), 1);
   Work first("first", log);
   Work second("second", log);
   Work late("late", log);
   first.pendingIs(true);
   second.pendingIs(true);
   // What comes within the turn did not wait for it.
   watcher->readable = [&] {
      late.pendingIs(true);
      watched->readableWantedIs(false);
   };
   loop.runOnce(0.0);
   EXPECT_EQ(loop.queueDepth(), 3u);
   EXPECT_GE(loop.largestQueueDepth(), 3u);
   first.pendingIs(true);
   loop.runOnce(0.0);
   EXPECT_EQ(loop.queueDepth(), 1u);
   EXPECT_GE(loop.largestQueueDepth(), 3u);
   loop.runOnce(0.0);
   EXPECT_EQ(loop.queueDepth(), 1u); // nothing ran
}

TEST_F(LoopTest, WorkRunsOnceAtTheEndOfTheTurn) {
   Pair pair;
   auto const watched = Fen::makePtr<FileDescriptor>(pair.ends[0]);
   auto const watcher = Fen::makePtr<Watcher>(watched, "w", log);
   watched->readableWantedIs(true);
   Work work("work", log);
   watcher->readable = [&] {
      work.pendingIs(true);
      work.pendingIs(true);
      watched->readableWantedIs(false);
   };
   ASSERT_EQ(::write(pair.ends[1], "x", 1), 1);
   EXPECT_TRUE(loop.runOnce(0.0));
   EXPECT_EQ(log, (Log{"w readable", "work"}));
   EXPECT_FALSE(work.isPending());
   EXPECT_FALSE(loop.runOnce(0.0));
}

TEST_F(LoopTest, WorkFromOutsideATurnRunsAtTheEndOfTheNext) {
   Pair pair;
   auto const watched = Fen::makePtr<FileDescriptor>(pair.ends[0]);
   auto const watcher = Fen::makePtr<Watcher>(watched, "w", log);
   watched->readableWantedIs(true);
   ASSERT_EQ(::write(pair.ends[1], "x", 1), 1);
   Work work("work", log);
   work.pendingIs(true);
   EXPECT_TRUE(work.isPending());
   EXPECT_TRUE(loop.runOnce(3600.0));
   EXPECT_EQ(log, (Log{"w readable", "work"}));
}

TEST_F(LoopTest, PendingWorkDoesNotWait) {
   Work work("work", log);
   work.pendingIs(true);
   EXPECT_TRUE(loop.runOnce(3600.0));
   EXPECT_EQ(log, Log{"work"});
}

TEST_F(LoopTest, WorkThatAsksAgainRunsInTheNextTurn) {
   Work work("work", log);
   work.then = [&] {
      if (log.size() < 3) {
         work.pendingIs(true);
      }
   };
   work.pendingIs(true);
   loop.runOnce(0.0);
   EXPECT_EQ(log.size(), 1u);
   EXPECT_TRUE(work.isPending());
   loop.runOnce(3600.0);
   EXPECT_EQ(log.size(), 2u);
   loop.runOnce(3600.0);
   EXPECT_EQ(log.size(), 3u);
   EXPECT_FALSE(loop.runOnce(0.0));
}

TEST_F(LoopTest, CancelledWorkDoesNotRun) {
   Work first("first", log);
   Work second("second", log);
   Work third("third", log);
   first.then = [&] { second.pendingIs(false); };
   first.pendingIs(true);
   second.pendingIs(true);
   third.pendingIs(true);
   loop.runOnce(0.0);
   EXPECT_EQ(log, (Log{"first", "third"}));
   second.pendingIs(true);
   second.pendingIs(false);
   EXPECT_FALSE(loop.runOnce(0.0));
}

TEST_F(LoopTest, WorkThatGoesWhileItIsPending) {
   auto first = std::make_unique<Work>("first", log);
   auto second = std::make_unique<Work>("second", log);
   auto waiting = std::make_unique<Work>("waiting", log);
   first->then = [&] {
      second = nullptr;
      waiting->pendingIs(true);
      waiting = nullptr;
      first->pendingIs(true);
      first->pendingIs(false);
   };
   first->pendingIs(true);
   second->pendingIs(true);
   loop.runOnce(0.0);
   EXPECT_EQ(log, Log{"first"});
   EXPECT_FALSE(loop.runOnce(0.0));
}

TEST_F(LoopTest, WorkThatThrowsStopsNothing) {
   Work first("first", log);
   Work second("second", log);
   first.then = [] { throw std::runtime_error("no"); };
   first.pendingIs(true);
   second.pendingIs(true);
   std::uint64_t const before = Fen::Counters::value("loop.exceptions_from_turn_end_work");
   EXPECT_NO_THROW(loop.runOnce(0.0));
   EXPECT_EQ(log, (Log{"first", "second"}));
   EXPECT_EQ(Fen::Counters::value("loop.exceptions_from_turn_end_work"), before + 1);
   EXPECT_FALSE(loop.runOnce(0.0));
}

TEST_F(LoopTest, EndlessWorkIsNotBlamedOnAClockReactor) {
   Fen::VirtualTime time(0.0);
   class Idle : public Fen::Clock::Notifiee {
    public:
      Idle() : Fen::Clock::Notifiee(Fen::ActivityFacility::clock()) {
         isRegisteredNotifieeIs(true);
      }
   };
   auto const idle = Fen::makePtr<Idle>();
   idle->timeMinIs(1000.0);
   Log ignored;
   Work work("work", ignored);
   work.then = [&] { work.pendingIs(true); };
   work.pendingIs(true);
   try {
      time.advance(1.0);
      ADD_FAILURE() << "never quiet, and it returned";
   } catch (Fen::RangeException const& refused) {
      EXPECT_EQ(refused.text().str().find("Idle"), std::string::npos) << refused.text();
   }
}

} // namespace
