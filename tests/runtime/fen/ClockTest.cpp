/// Clock reactors: when they fire, in which order, and what a firing leaves behind.
#include <gantry/runtime/fen/Clock.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Fen::Clock;
using Fen::Ptr;
using Log = std::vector<std::string>;

class Alarm : public Clock::Notifiee {
 public:
   Alarm(Ptr<Clock> const& clock, std::string name, Log& log)
      : Clock::Notifiee(clock), name_(std::move(name)), log_(log) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      log_.push_back(name_);
      if (then) {
         then();
      }
   }
   std::function<void()> then;

 private:
   std::string name_;
   Log& log_;
};

/// On a clock of its own, so that each test says which time it is.
class ClockTest : public testing::Test {
 protected:
   Ptr<Alarm> alarm(char const* name) { return Fen::makePtr<Alarm>(clock, name, log); }
   Ptr<Clock> clock = Fen::makePtr<Clock>();
   Log log;
};

TEST_F(ClockTest, AFreshReactorHoldsZeroAndIsNotArmed) {
   auto const a = alarm("a");
   EXPECT_EQ(a->timeMin(), 0.0);
   EXPECT_EQ(clock->nextTime(), Fen::never);
   EXPECT_EQ(clock->runDue(1e9), 0u);
   EXPECT_TRUE(log.empty());
}

TEST_F(ClockTest, ZeroArmsAFreshReactor) {
   auto const a = alarm("a");
   a->timeMinIs(0.0);
   EXPECT_EQ(clock->nextTime(), 0.0);
   EXPECT_EQ(clock->runDue(5.0), 1u);
   EXPECT_EQ(log, Log{"a"});
}

TEST_F(ClockTest, AFiringIsOneShotAndLeavesInfinity) {
   auto const a = alarm("a");
   double seen = 0.0;
   a->then = [&] { seen = a->timeMin(); };
   a->timeMinIs(3.0);
   clock->runDue(2.9);
   EXPECT_TRUE(log.empty());
   clock->runDue(3.0);
   clock->runDue(99.0);
   EXPECT_EQ(log, Log{"a"});
   EXPECT_EQ(seen, Fen::never);
   EXPECT_EQ(a->timeMin(), Fen::never);
}

TEST_F(ClockTest, TheSameValueArmsAgain) {
   auto const a = alarm("a");
   a->timeMinIs(0.0);
   clock->runDue(1.0);
   a->timeMinIs(0.0);
   a->timeMinIs(0.0);
   EXPECT_EQ(clock->runDue(1.0), 1u);
   EXPECT_EQ(log, (Log{"a", "a"}));
}

TEST_F(ClockTest, InfinityDisarms) {
   auto const a = alarm("a");
   a->timeMinIs(3.0);
   a->timeMinIs(Fen::never);
   EXPECT_EQ(clock->runDue(1e300), 0u);
   EXPECT_EQ(clock->nextNotifiee(), nullptr);
}

TEST_F(ClockTest, OrderIsOfTimesThenOfArming) {
   auto const a = alarm("a"), b = alarm("b"), c = alarm("c"), d = alarm("d");
   d->timeMinIs(2.0);
   c->timeMinIs(1.0);
   a->timeMinIs(2.0);
   b->timeMinIs(2.0);
   d->timeMinIs(2.0); // armed anew: the last of its time
   EXPECT_EQ(clock->nextNotifiee(), c.ptr());
   clock->runDue(2.0);
   EXPECT_EQ(log, (Log{"c", "a", "b", "d"}));
}

TEST_F(ClockTest, ArmingInTheHandlerWaitsForTheNextTurn) {
   auto const a = alarm("a");
   a->then = [&] {
      if (log.size() < 3) {
         a->timeMinIs(0.0);
      }
   };
   a->timeMinIs(0.0);
   EXPECT_EQ(clock->runDue(1.0), 1u);
   EXPECT_EQ(a->timeMin(), 0.0);
   EXPECT_EQ(clock->runDue(1.0), 1u);
   EXPECT_EQ(clock->runDue(1.0), 1u);
   EXPECT_EQ(clock->runDue(1.0), 0u);
   EXPECT_EQ(log.size(), 3u);
}

/// Infinity is stored before the handler runs: what the handler arms must survive it, so that a
/// watchdog goes on.
TEST_F(ClockTest, ReArmingInTheHandlerSurvives) {
   auto const a = alarm("a");
   a->then = [&] { a->timeMinIs(30.0 * static_cast<double>(log.size() + 1)); };
   a->timeMinIs(30.0);
   for (int i = 1; i <= 4; ++i) {
      clock->runDue(30.0 * i);
      EXPECT_EQ(log.size(), static_cast<std::size_t>(i));
   }
   EXPECT_EQ(a->timeMin(), 150.0);
}

TEST_F(ClockTest, CancelledByAnEarlierOneOfTheSameTurn) {
   auto const a = alarm("a"), b = alarm("b"), c = alarm("c");
   a->then = [&] { b->timeMinIs(Fen::never); };
   for (auto const& each : {a, b, c}) {
      each->timeMinIs(1.0);
   }
   EXPECT_EQ(clock->runDue(1.0), 2u);
   EXPECT_EQ(log, (Log{"a", "c"}));
}

TEST_F(ClockTest, DeletedByAnEarlierOneOfTheSameTurn) {
   auto const a = alarm("a"), c = alarm("c");
   auto b = alarm("b");
   a->then = [&] { b = nullptr; };
   a->timeMinIs(1.0);
   b->timeMinIs(1.0);
   c->timeMinIs(1.0);
   EXPECT_EQ(clock->runDue(1.0), 2u);
   EXPECT_EQ(log, (Log{"a", "c"}));
}

TEST_F(ClockTest, DeferredByAnEarlierOneOfTheSameTurn) {
   auto const a = alarm("a"), b = alarm("b");
   a->then = [&] { b->timeMinIs(2.0); };
   a->timeMinIs(1.0);
   b->timeMinIs(1.0);
   EXPECT_EQ(clock->runDue(1.0), 1u);
   EXPECT_EQ(clock->runDue(2.0), 1u);
   EXPECT_EQ(log, (Log{"a", "b"}));
}

TEST_F(ClockTest, InactivatedByAnEarlierOneOfTheSameTurn) {
   auto const a = alarm("a"), b = alarm("b");
   a->then = [&] { b->hasNotificationActiveIs(false); };
   a->timeMinIs(1.0);
   b->timeMinIs(1.0);
   EXPECT_EQ(clock->runDue(1.0), 1u);
   EXPECT_EQ(b->timeMin(), 1.0);
   // Its time has passed meanwhile: it fires when it is back.
   b->hasNotificationActiveIs(true);
   EXPECT_EQ(clock->runDue(1.0), 1u);
   EXPECT_EQ(log, (Log{"a", "b"}));
}

TEST_F(ClockTest, InactiveReactorsWait) {
   auto const a = alarm("a");
   a->hasNotificationActiveIs(false);
   a->timeMinIs(1.0);
   EXPECT_EQ(clock->nextTime(), Fen::never);
   EXPECT_EQ(clock->runDue(9.0), 0u);
   a->hasNotificationActiveIs(true);
   EXPECT_EQ(clock->runDue(9.0), 1u);
}

TEST_F(ClockTest, DeletesItselfInItsHandler) {
   auto a = alarm("a");
   a->then = [&] { a = nullptr; };
   a->timeMinIs(1.0);
   EXPECT_EQ(clock->runDue(1.0), 1u);
   EXPECT_FALSE(a);
}

TEST_F(ClockTest, AnExceptionStopsNobody) {
   auto const a = alarm("a"), b = alarm("b");
   a->then = [] { throw std::runtime_error("no"); };
   a->timeMinIs(1.0);
   b->timeMinIs(1.0);
   std::uint64_t const before = Fen::Counters::value("notification.unhandled_exceptions");
   EXPECT_EQ(clock->runDue(1.0), 2u);
   EXPECT_EQ(log, (Log{"a", "b"}));
   EXPECT_EQ(Fen::Counters::value("notification.unhandled_exceptions"), before + 1);
}

TEST_F(ClockTest, UnregisteredOnesDoNotFire) {
   auto const a = alarm("a");
   a->timeMinIs(1.0);
   a->isRegisteredNotifieeIs(false);
   EXPECT_EQ(clock->runDue(9.0), 0u);
   a->isRegisteredNotifieeIs(true);
   EXPECT_EQ(clock->runDue(9.0), 1u);
}

TEST_F(ClockTest, AWeakReactorOutlivesItsClock) {
   auto const a = alarm("a");
   a->isWeakReferenceIs(true);
   a->timeMinIs(1.0);
   clock = nullptr;
   EXPECT_FALSE(a->notifier());
   a->timeMinIs(2.0);
   EXPECT_EQ(a->timeMin(), 2.0);
}

TEST_F(ClockTest, ManyTimersAgainstSorting) {
   std::mt19937 random(20);
   std::vector<Ptr<Alarm>> alarms;
   std::vector<std::pair<double, int>> expected;
   for (int i = 0; i < 500; ++i) {
      alarms.push_back(alarm(std::to_string(i).c_str()));
   }
   std::vector<double> times(500, Fen::never);
   std::vector<int> armings(500);
   int arming = 0;
   for (int step = 0; step < 3000; ++step) {
      auto const which = random() % 500;
      times[which] = random() % 5 == 0 ? Fen::never : static_cast<double>(random() % 60);
      armings[which] = ++arming;
      alarms[which]->timeMinIs(times[which]);
   }
   std::vector<int> order;
   for (int i = 0; i < 500; ++i) {
      if (times[static_cast<std::size_t>(i)] < Fen::never) {
         order.push_back(i);
      }
   }
   std::sort(order.begin(), order.end(), [&](int left, int right) {
      auto const l = static_cast<std::size_t>(left), r = static_cast<std::size_t>(right);
      return times[l] != times[r] ? times[l] < times[r] : armings[l] < armings[r];
   });
   clock->runDue(100.0);
   Log names;
   for (int const each : order) {
      names.push_back(std::to_string(each));
   }
   EXPECT_EQ(log, names);
}

// ---- virtual time ------------------------------------------------------------------------------

class VirtualTimeTest : public testing::Test {
 protected:
   Ptr<Alarm> alarm(char const* name) {
      return Fen::makePtr<Alarm>(Fen::ActivityFacility::clock(), name, log);
   }
   Log log;
};

TEST_F(VirtualTimeTest, NowFollowsIt) {
   double const real = Fen::now();
   {
      Fen::VirtualTime time(1000.0);
      EXPECT_EQ(Fen::now(), 1000.0);
      time.advance(2.5);
      EXPECT_EQ(Fen::now(), 1002.5);
      EXPECT_EQ(time.time(), 1002.5);
      EXPECT_EQ(Fen::VirtualTime::current(), &time);
   }
   EXPECT_EQ(Fen::VirtualTime::current(), nullptr);
   EXPECT_GE(Fen::now(), real);
}

TEST_F(VirtualTimeTest, EachFiresAtItsOwnDeadline) {
   Fen::VirtualTime time(10.0);
   auto const a = alarm("a"), b = alarm("b");
   std::vector<double> times;
   a->then = [&] {
      times.push_back(Fen::now());
      if (times.size() < 4) {
         a->timeMinIs(Fen::now() + 2.0);
      }
   };
   b->then = [&] { times.push_back(Fen::now()); };
   a->timeMinIs(11.0);
   b->timeMinIs(12.0);
   time.advance(4.0);
   EXPECT_EQ(log, (Log{"a", "b", "a"}));
   EXPECT_EQ(times, (std::vector<double>{11.0, 12.0, 13.0}));
   EXPECT_EQ(Fen::now(), 14.0);
   time.advance(1.0);
   EXPECT_EQ(times.back(), 15.0);
}

TEST_F(VirtualTimeTest, ThePastIsNow) {
   Fen::VirtualTime time(10.0);
   auto const a = alarm("a");
   double seen = 0.0;
   a->then = [&] { seen = Fen::now(); };
   a->timeMinIs(0.0);
   time.advance(0.0);
   EXPECT_EQ(seen, 10.0);
}

TEST_F(VirtualTimeTest, RunsTurnsUntilQuiet) {
   Fen::VirtualTime time(10.0);
   auto const a = alarm("a"), b = alarm("b");
   int rounds = 0;
   a->then = [&] { b->timeMinIs(0.0); };
   b->then = [&] {
      if (++rounds < 50) {
         a->timeMinIs(0.0);
      }
   };
   a->timeMinIs(0.0);
   time.advance(0.0);
   EXPECT_EQ(rounds, 50);
   EXPECT_EQ(Fen::now(), 10.0);
}

TEST_F(VirtualTimeTest, ManyQuietDeadlinesAreNoBusyLoop) {
   // More firings in one advance than the turns that a busy reactor is given.
   Fen::VirtualTime time(0.0);
   auto const a = alarm("a");
   std::uint64_t fired = 0;
   class Ticker : public Clock::Notifiee {
    public:
      explicit Ticker(std::uint64_t& count)
         : Clock::Notifiee(Fen::ActivityFacility::clock()), count_(count) {
         isRegisteredNotifieeIs(true);
      }
      void onTime() override {
         ++count_;
         timeMinIs(Fen::now() + 1.0);
      }

    private:
      std::uint64_t& count_;
   };
   auto const ticker = Fen::makePtr<Ticker>(fired);
   ticker->timeMinIs(1.0);
   EXPECT_NO_THROW(time.advance(100500.0));
   EXPECT_EQ(fired, 100500u);
}

class BusyAlarm : public Clock::Notifiee {
 public:
   explicit BusyAlarm(double every)
      : Clock::Notifiee(Fen::ActivityFacility::clock()), every_(every) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      ++fired;
      timeMinIs(every_);
   }
   int fired = 0;

 private:
   double every_;
};

TEST_F(VirtualTimeTest, ABusyReactorIsNamed) {
   Fen::VirtualTime time(10.0);
   auto const later = alarm("later");
   later->timeMinIs(11.0);
   auto const busy = Fen::makePtr<BusyAlarm>(0.0);
   busy->timeMinIs(0.0);
   try {
      time.advance(5.0);
      ADD_FAILURE() << "never quiet, and it returned";
   } catch (Fen::RangeException const& refused) {
      EXPECT_NE(refused.text().str().find("100000 turns"), std::string::npos) << refused.text();
      EXPECT_NE(refused.text().str().find("BusyAlarm"), std::string::npos) << refused.text();
   }
   EXPECT_EQ(busy->fired, 100000);
   EXPECT_TRUE(log.empty());
}

} // namespace
