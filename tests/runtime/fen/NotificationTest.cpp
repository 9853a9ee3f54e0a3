/// The notification algorithm, reactors and their registration, driven through hand-written
/// entities.
#include "HandWrittenEntity.h"

#include <gantry/runtime/fen/Counters.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Sample::Port;

/// Calls what the test gives it, and writes down its name.
class Listener : public Port::Notifiee {
 public:
   Listener(Fen::Ptr<Port> const& port, std::string name, std::vector<std::string>& log)
      : Port::Notifiee(port), name_(std::move(name)), log_(log) {
      isRegisteredNotifieeIs(true);
   }
   void onSpeed() override {
      log_.push_back(name_);
      if (then) {
         then();
      }
   }
   void onNotificationException(Fen::AttributeId id) override {
      log_.push_back(name_ + " exception " + std::to_string(id));
   }
   void onZeroReferences() override { log_.push_back(name_ + " zero"); }
   void onIsNondestructing() override { log_.push_back(name_ + " nondestructing"); }
   void onParent() override { log_.push_back(name_ + " parent"); }

   std::function<void()> then;

 private:
   std::string name_;
   std::vector<std::string>& log_;
};

using Log = std::vector<std::string>;

class NotificationTest : public testing::Test {
 protected:
   Fen::Ptr<Listener> listener(char const* name) { return Fen::makePtr<Listener>(port, name, log); }
   Fen::Ptr<Port> port = Fen::makePtr<Port>("p1", "copper", "1");
   Log log;
};

TEST_F(NotificationTest, TellsInOrderOfRegistration) {
   auto a = listener("a"), b = listener("b"), c = listener("c");
   port->speedIs(10);
   EXPECT_EQ(log, (Log{"a", "b", "c"}));
}

TEST_F(NotificationTest, EqualValueTellsNobody) {
   auto a = listener("a");
   port->speedIs(0);
   EXPECT_TRUE(log.empty());
   port->speedIs(10);
   port->speedIs(10);
   EXPECT_EQ(log, Log{"a"});
}

TEST_F(NotificationTest, ValueIsStoredBeforeHandlersRun) {
   auto a = listener("a");
   std::uint32_t seen = 0;
   a->then = [&] { seen = port->speed(); };
   port->speedIs(25);
   EXPECT_EQ(seen, 25u);
}

TEST_F(NotificationTest, HandlerThatDropsTheNextNotifieeSkipsIt) {
   auto a = listener("a"), b = listener("b"), c = listener("c");
   a->then = [&] { b = nullptr; };
   port->speedIs(10);
   EXPECT_EQ(log, (Log{"a", "c"}));
}

TEST_F(NotificationTest, UnregisteredButHeldIsStillTold) {
   auto a = listener("a"), b = listener("b");
   a->then = [&] { b->isRegisteredNotifieeIs(false); };
   port->speedIs(10);
   EXPECT_EQ(log, (Log{"a", "b"}));
   port->speedIs(11);
   EXPECT_EQ(log, (Log{"a", "b", "a"}));
}

TEST_F(NotificationTest, TheFirstIsToldEvenWhenOnlyTheSnapshotHoldsIt) {
   // Nothing else holds a registered notifiee that its owner dropped inside an outer walk: here the
   // first one is dropped by itself while it runs, and stays alive until it returns.
   auto a = listener("a");
   Listener* raw = a.ptr();
   a->then = [&, raw] {
      a = nullptr;
      EXPECT_EQ(raw->fenReferenceCount(), 1u);
   };
   port->speedIs(10);
   EXPECT_EQ(log, Log{"a"});
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
}

TEST_F(NotificationTest, AddedByAHandlerIsNotToldOfThisChange) {
   auto a = listener("a");
   Fen::Ptr<Listener> late;
   a->then = [&] {
      if (!late) {
         late = listener("late");
      }
   };
   port->speedIs(10);
   EXPECT_EQ(log, Log{"a"});
   port->speedIs(11);
   EXPECT_EQ(log, (Log{"a", "a", "late"}));
}

TEST_F(NotificationTest, AHandlerThatThrowsStopsNeitherOthersNorTheWriter) {
   auto a = listener("a"), b = listener("b"), c = listener("c");
   b->then = [] { throw std::runtime_error("no"); };
   EXPECT_NO_THROW(port->speedIs(10));
   EXPECT_EQ(log, (Log{"a", "b", "b exception 261", "c"}));
}

TEST_F(NotificationTest, AnExceptionFromTheExceptionHandlerEndsThere) {
   class Thrower : public Port::Notifiee {
    public:
      explicit Thrower(Fen::Ptr<Port> const& port) : Port::Notifiee(port) {
         isRegisteredNotifieeIs(true);
      }
      void onSpeed() override { throw std::runtime_error("first"); }
      void onNotificationException(Fen::AttributeId) override {
         throw std::runtime_error("second");
      }
   };
   auto thrower = Fen::makePtr<Thrower>(port);
   auto after = listener("after");
   std::uint64_t const before =
      Fen::Counters::value("notification.exceptions_from_exception_handlers");
   EXPECT_NO_THROW(port->speedIs(10));
   EXPECT_EQ(log, Log{"after"});
   EXPECT_EQ(Fen::Counters::value("notification.exceptions_from_exception_handlers"), before + 1);
}

TEST_F(NotificationTest, ManyListenersThatDropEachOther) {
   std::vector<Fen::Ptr<Listener>> all;
   for (int i = 0; i < 40; ++i) {
      all.push_back(listener(("l" + std::to_string(i)).c_str()));
   }
   all[0]->then = [&] {
      for (std::size_t i = 1; i < 40; i += 2) {
         all[i] = nullptr;
      }
   };
   port->speedIs(10);
   EXPECT_EQ(log.size(), 20u);
   EXPECT_EQ(port->fenNotifiees().size(), 20u);
}

TEST_F(NotificationTest, TheNotifierMayBeDroppedByAHandler) {
   // A weak listener, so that nothing but the test holds the port.
   auto a = listener("a"), b = listener("b");
   a->isWeakReferenceIs(true);
   b->isWeakReferenceIs(true);
   a->then = [&] { port = nullptr; };
   port->speedIs(10);
   EXPECT_EQ(log, (Log{"a", "b", "a zero", "b zero"}));
   EXPECT_FALSE(a->notifier());
   EXPECT_FALSE(a->isRegisteredNotifiee());
}

TEST_F(NotificationTest, ActivationDoesNotRegisterTwice) {
   auto a = listener("a");
   a->hasNotificationActiveIs(true);
   a->isRegisteredNotifieeIs(true);
   EXPECT_EQ(port->fenNotifiees().size(), 1u);
   port->speedIs(10);
   EXPECT_EQ(log, Log{"a"});
}

TEST_F(NotificationTest, InactiveReactorLeavesAndComesBackAtTheEnd) {
   auto a = listener("a"), b = listener("b");
   a->hasNotificationActiveIs(false);
   EXPECT_FALSE(a->isRegisteredNotifiee());
   port->speedIs(10);
   a->hasNotificationActiveIs(true);
   port->speedIs(11);
   EXPECT_EQ(log, (Log{"b", "b", "a"}));
}

TEST_F(NotificationTest, ReactorThatWasNotRegisteredStaysSoOverActivation) {
   auto a = listener("a");
   a->isRegisteredNotifieeIs(false);
   a->hasNotificationActiveIs(false);
   a->hasNotificationActiveIs(true);
   EXPECT_FALSE(a->isRegisteredNotifiee());
}

TEST_F(NotificationTest, ZeroReferencesMayBeSavedByAHandler) {
   auto a = listener("a");
   a->isWeakReferenceIs(true);
   class Saver : public Port::Notifiee {
    public:
      Saver(Fen::Ptr<Port> const& watched, Fen::Ptr<Port>& saved)
         : Port::Notifiee(watched), saved_(saved) {
         isRegisteredNotifieeIs(true);
         isWeakReferenceIs(true);
      }
      void onZeroReferences() override { saved_ = notifier(); }

    private:
      Fen::Ptr<Port>& saved_;
   };
   Fen::Ptr<Port> saved;
   auto saver = Fen::makePtr<Saver>(port, saved);
   port = nullptr;
   ASSERT_TRUE(saved);
   EXPECT_EQ(saved->fenReferenceCount(), 1u);
   EXPECT_EQ(saved->name(), "p1");
   EXPECT_EQ(log, Log{"a zero"});
   saver = nullptr;
}

TEST_F(NotificationTest, IsNondestructingTellsOnceAndStopsCounting) {
   auto a = listener("a");
   port->isNondestructingIs(true);
   port->isNondestructingIs(true);
   EXPECT_EQ(log, Log{"a nondestructing"});
   std::uint32_t const word = port->fenWord();
   EXPECT_EQ(word >> 24, 0x1fu);
   Fen::Ptr<Port> const copy = port;
   EXPECT_EQ(port->fenWord(), word);
   port->isNondestructingIs(false);
   port->fenReferenceNew(); // for the copy, which was not counted
}

} // namespace
