/// Reactors by themselves: registration, activation, the zombie mark, weak references, and nested
/// reactors that move from one notifier to another.
#include "Listeners.h"

#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/Reactor.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Fen::Ptr;
using Sample::Log;
using Sample::Port;
using Sample::PortListener;

class Machine : public Fen::PtrInterface {
 public:
   Log log;
   std::function<void()> then;
};

/// In the shape that the schema compiler gives a nested reactor.
class Nested : public Fen::NestedReactor<Nested, Port::Notifiee, Machine> {
 public:
   using NestedReactor::NestedReactor;
   void onSpeed() override {
      fenRun([this](Machine& machine) {
         machine.log.push_back("speed " + std::to_string(notifier()->speed()));
         if (machine.then) {
            machine.then();
         }
      });
   }
   void fenHandleAll() { onSpeed(); }
};

class ReactorTest : public testing::Test {
 protected:
   Ptr<Port> port = Fen::makePtr<Port>("p1", "copper", "1");
   Ptr<Port> other = Fen::makePtr<Port>("p2", "copper", "1");
   Ptr<Machine> machine = Fen::makePtr<Machine>();
   Log log;
};

TEST_F(ReactorTest, AFreshReactorIsActiveWithOneReference) {
   class Plain : public Port::Notifiee {};
   auto const plain = Fen::makePtr<Plain>();
   EXPECT_EQ(plain->fenWord(), (1u << 29) | 1u);
   EXPECT_FALSE(plain->isRegisteredNotifiee());
   EXPECT_FALSE(plain->isWeakReference());
   EXPECT_FALSE(plain->notifier());
   EXPECT_EQ(plain->fenReactor(), plain.ptr());
   EXPECT_EQ(plain->fenRawReactor(), plain.ptr());
   EXPECT_FALSE(plain->isStreamAdapter());
}

TEST_F(ReactorTest, AReactorHoldsItsNotifierAndIsNotHeldByIt) {
   auto listener = Fen::makePtr<PortListener>(port, "l", log);
   EXPECT_EQ(port->fenReferenceCount(), 2u);
   EXPECT_EQ(listener->fenReferenceCount(), 1u);
   listener = nullptr;
   EXPECT_EQ(port->fenReferenceCount(), 1u);
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
}

TEST_F(ReactorTest, RegistrationMovesTheGeneration) {
   auto const listener = Fen::makePtr<PortListener>(port, "l", log);
   std::uint32_t const generation = port->fenNotifiees().version();
   listener->isRegisteredNotifieeIs(true);
   EXPECT_EQ(port->fenNotifiees().version(), generation);
   listener->isRegisteredNotifieeIs(false);
   EXPECT_NE(port->fenNotifiees().version(), generation);
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
}

TEST_F(ReactorTest, WithoutANotifierThereIsNothingToJoin) {
   class Plain : public Port::Notifiee {};
   auto const plain = Fen::makePtr<Plain>();
   plain->isRegisteredNotifieeIs(true);
   EXPECT_FALSE(plain->isRegisteredNotifiee());
   plain->notifierIs(port);
   EXPECT_FALSE(plain->isRegisteredNotifiee());
   plain->isRegisteredNotifieeIs(true);
   EXPECT_TRUE(plain->isRegisteredNotifiee());
}

TEST_F(ReactorTest, PlainNotifierIsLeavesTheOldListAndRunsNothing) {
   auto const listener = Fen::makePtr<PortListener>(port, "l", log);
   listener->notifierIs(port);
   EXPECT_TRUE(listener->isRegisteredNotifiee());
   listener->notifierIs(other);
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
   EXPECT_FALSE(listener->isRegisteredNotifiee());
   EXPECT_TRUE(log.empty());
   EXPECT_EQ(listener->notifier(), other);
   listener->notifierIs(nullptr);
   EXPECT_FALSE(listener->notifier());
   EXPECT_EQ(other->fenReferenceCount(), 1u);
}

TEST_F(ReactorTest, AnInactiveReactorRemembersTheWish) {
   auto const listener = Fen::makePtr<PortListener>(port, "l", log);
   listener->hasNotificationActiveIs(false);
   EXPECT_FALSE(listener->hasNotificationActive());
   listener->isRegisteredNotifieeIs(false);
   listener->hasNotificationActiveIs(true);
   EXPECT_FALSE(listener->isRegisteredNotifiee());
   listener->hasNotificationActiveIs(false);
   listener->isRegisteredNotifieeIs(true);
   EXPECT_FALSE(listener->isRegisteredNotifiee());
   listener->hasNotificationActiveIs(true);
   EXPECT_TRUE(listener->isRegisteredNotifiee());
   EXPECT_EQ(port->fenNotifiees().size(), 1u);
}

TEST_F(ReactorTest, ZombieProtocol) {
   auto const listener = Fen::makePtr<PortListener>(port, "l", log);
   listener->fenDoZombieReactors(true);
   EXPECT_TRUE(listener->fenMarkedForDeletion());
   EXPECT_FALSE(listener->hasNotificationActive());
   EXPECT_FALSE(listener->isRegisteredNotifiee());
   listener->fenDoZombieReactors(true);
   port->speedIs(10);
   EXPECT_TRUE(log.empty());
   listener->fenDoZombieReactors(false);
   EXPECT_FALSE(listener->fenMarkedForDeletion());
   EXPECT_TRUE(listener->isRegisteredNotifiee());
   port->speedIs(11);
   EXPECT_EQ(log, Log{"l speed 11"});
}

TEST_F(ReactorTest, AWeakReactorLosesItsNotifier) {
   auto const listener = Fen::makePtr<PortListener>(port, "l", log);
   listener->isWeakReferenceIs(true);
   EXPECT_EQ(port->fenReferenceCount(), 1u);
   port = nullptr;
   EXPECT_EQ(log, Log{"l zero"});
   EXPECT_FALSE(listener->notifier());
   EXPECT_FALSE(listener->isRegisteredNotifiee());
}

TEST_F(ReactorTest, AWeakReactorThatIsNotRegisteredLosesItToo) {
   auto const inactive = Fen::makePtr<PortListener>(port, "inactive", log);
   inactive->isWeakReferenceIs(true);
   inactive->hasNotificationActiveIs(false);
   auto const left = Fen::makePtr<PortListener>(port, "left", log);
   left->isWeakReferenceIs(true);
   left->isRegisteredNotifieeIs(false);
   auto const leftBefore = Fen::makePtr<PortListener>(port, "left before", log);
   leftBefore->isRegisteredNotifieeIs(false);
   leftBefore->isWeakReferenceIs(true);
   auto const zombie = Fen::makePtr<PortListener>(port, "zombie", log);
   zombie->isWeakReferenceIs(true);
   zombie->fenDoZombieReactors(true);
   port = nullptr;
   EXPECT_FALSE(inactive->notifier());
   EXPECT_FALSE(left->notifier());
   EXPECT_FALSE(leftBefore->notifier());
   EXPECT_FALSE(zombie->notifier());
   inactive->hasNotificationActiveIs(true);
   left->isRegisteredNotifieeIs(true);
   zombie->fenDoZombieReactors(false);
   EXPECT_FALSE(inactive->isRegisteredNotifiee());
   EXPECT_FALSE(left->isRegisteredNotifiee());
   EXPECT_TRUE(log.empty());
}

TEST_F(ReactorTest, WeakReactorsComeAndGoInAnyOrder) {
   std::vector<Ptr<PortListener>> all;
   for (int i = 0; i < 12; ++i) {
      all.push_back(Fen::makePtr<PortListener>(port, std::to_string(i), log));
      all.back()->isWeakReferenceIs(true);
      all.back()->isRegisteredNotifieeIs(i % 3 == 0);
   }
   all[4]->isRegisteredNotifieeIs(true);
   all[5]->isWeakReferenceIs(false);
   all[7]->notifierIs(other);
   all[8]->notifierIs(nullptr);
   all[1] = nullptr;
   all[11] = nullptr;
   all[5]->isWeakReferenceIs(true);
   port->speedIs(3);
   EXPECT_EQ(log, (Log{"0 speed 3", "3 speed 3", "6 speed 3", "9 speed 3", "4 speed 3"}));
   port = nullptr;
   EXPECT_EQ(all[7]->notifier(), other);
   for (std::size_t const gone : {0u, 2u, 3u, 4u, 5u, 6u, 8u, 9u, 10u}) {
      EXPECT_FALSE(all[gone]->notifier()) << gone;
   }
}

TEST_F(ReactorTest, TheLastReferenceMayBecomeWeak) {
   auto const listener = Fen::makePtr<PortListener>(port, "l", log);
   port = nullptr;
   EXPECT_TRUE(listener->notifier());
   listener->isWeakReferenceIs(true);
   EXPECT_FALSE(listener->notifier());
   EXPECT_EQ(log, Log{"l zero"});
}

TEST_F(ReactorTest, AnExceptionGoesTheWayOfTheDefaults) {
   class Thrower : public Port::Notifiee {
    public:
      explicit Thrower(Ptr<Port> const& port) : Port::Notifiee(port) {
         isRegisteredNotifieeIs(true);
      }
      void onSpeed() override { throw std::runtime_error("no"); }
   };
   auto const thrower = Fen::makePtr<Thrower>(port);
   std::uint64_t const before = Fen::Counters::value("notification.unhandled_exceptions");
   port->speedIs(1);
   EXPECT_EQ(Fen::Counters::value("notification.unhandled_exceptions"), before + 1);
}

/// Watches a type that it does not know.
class Generic : public Fen::PtrInterface::NotifieeConst {
 public:
   explicit Generic(Ptr<Fen::PtrInterface const> const& watched, Log& log)
      : Fen::PtrInterface::NotifieeConst(Kind::generic), log_(log) {
      notifierIs(watched);
      isRegisteredNotifieeIs(true);
   }
   void onAttribute(Fen::AttributeId id) override { log_.push_back(std::to_string(id)); }
   void onZeroReferences() override { log_.push_back("zero"); }

 private:
   Log& log_;
};

TEST_F(ReactorTest, AGenericReactorIsToldByNumber) {
   auto const generic = Fen::makePtr<Generic>(port, log);
   auto const typed = Fen::makePtr<PortListener>(port, "l", log);
   typed->isWeakReferenceIs(true);
   generic->isWeakReferenceIs(true);
   port->speedIs(1);
   port->labelIs("x");
   EXPECT_EQ(log, (Log{"261", "l speed 1", "262", "l label x"}));
   log.clear();
   port = nullptr;
   EXPECT_EQ(log, (Log{"zero", "l zero"}));
}

// ---- nested reactors ---------------------------------------------------------------------------

TEST_F(ReactorTest, TheConstructorRegistersWithoutAHandler) {
   port->speedIs(5);
   auto const nested = Fen::makePtr<Nested>(port, machine.ptr());
   EXPECT_TRUE(nested->isRegisteredNotifiee());
   EXPECT_TRUE(machine->log.empty());
   port->speedIs(6);
   EXPECT_EQ(machine->log, Log{"speed 6"});
}

TEST_F(ReactorTest, NotifierIsRunsTheHandlersAndThenRegisters) {
   auto const nested = Fen::makePtr<Nested>(nullptr, machine.ptr());
   EXPECT_FALSE(nested->isRegisteredNotifiee());
   port->speedIs(5);
   bool registered = true;
   machine->then = [&] { registered = nested->isRegisteredNotifiee(); };
   nested->notifierIs(port);
   EXPECT_EQ(machine->log, Log{"speed 5"});
   EXPECT_FALSE(registered);
   EXPECT_TRUE(nested->isRegisteredNotifiee());
   nested->notifierIs(port);
   EXPECT_EQ(machine->log, Log{"speed 5"});
   EXPECT_EQ(port->fenNotifiees().size(), 1u);
   nested->notifierIs(other);
   EXPECT_EQ(machine->log, (Log{"speed 5", "speed 0"}));
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
   nested->notifierIs(nullptr);
   EXPECT_EQ(machine->log.size(), 2u);
   EXPECT_EQ(other->fenNotifiees().size(), 0u);
}

TEST_F(ReactorTest, ANotifierOfAnotherTypeIsNone) {
   auto const nested = Fen::makePtr<Nested>(port, machine.ptr());
   nested->notifierIs(Fen::makePtr<Sample::Chassis>("c"));
   EXPECT_FALSE(nested->notifier());
   EXPECT_TRUE(machine->log.empty());
}

TEST_F(ReactorTest, AHandlerMayMoveItsReactorOn) {
   auto const nested = Fen::makePtr<Nested>(nullptr, machine.ptr());
   machine->then = [&] {
      if (nested->notifier() == port) {
         nested->notifierIs(other);
      }
   };
   nested->notifierIs(port);
   EXPECT_EQ(nested->notifier(), other);
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
   EXPECT_EQ(other->fenNotifiees().size(), 1u);
   EXPECT_EQ(machine->log, (Log{"speed 0", "speed 0"}));
}

TEST_F(ReactorTest, AHandlerThatThrowsAtAttachingLeavesItsReactorRegistered) {
   auto const nested = Fen::makePtr<Nested>(port, machine.ptr());
   machine->then = [] { throw std::runtime_error("no"); };
   EXPECT_THROW(nested->notifierIs(other), std::runtime_error);
   machine->then = nullptr;
   EXPECT_EQ(nested->notifier(), other);
   EXPECT_TRUE(nested->isRegisteredNotifiee());
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
   other->speedIs(4);
   EXPECT_EQ(machine->log, (Log{"speed 0", "speed 4"}));
   // One that throws after it has moved the reactor on has moved it.
   machine->then = [&] {
      if (nested->notifier() == port) {
         machine->then = nullptr;
         nested->notifierIs(other);
         throw std::runtime_error("no");
      }
   };
   EXPECT_THROW(nested->notifierIs(port), std::runtime_error);
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
   EXPECT_EQ(other->fenNotifiees().size(), 1u);
}

TEST_F(ReactorTest, AZombieIsMovedWithoutAHandler) {
   auto const nested = Fen::makePtr<Nested>(port, machine.ptr());
   nested->fenDoZombieReactors(true);
   nested->notifierIs(other);
   EXPECT_TRUE(machine->log.empty());
   EXPECT_FALSE(nested->isRegisteredNotifiee());
   nested->onSpeed();
   EXPECT_TRUE(machine->log.empty());
}

TEST_F(ReactorTest, AReactorWhoseMachineHasGoneDoesNothing) {
   auto const nested = Fen::makePtr<Nested>(port, machine.ptr());
   nested->fenMachineDel();
   port->speedIs(9);
   nested->onSpeed();
   EXPECT_TRUE(machine->log.empty());
   EXPECT_EQ(nested->fenMachine(), nullptr);
}

TEST_F(ReactorTest, AHandlerMayDropReactorAndMachine) {
   auto nested = Fen::makePtr<Nested>(port, machine.ptr());
   Machine* const raw = machine.ptr();
   raw->then = [&, raw] {
      Fen::nestedDel(nested);
      machine = nullptr;
      EXPECT_EQ(raw->fenReferenceCount(), 1u);
   };
   port->speedIs(9);
   EXPECT_FALSE(nested);
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
   EXPECT_EQ(port->fenReferenceCount(), 1u);
}

TEST_F(ReactorTest, AHandlerMayDropItsReactorAtAttaching) {
   auto nested = Fen::makePtr<Nested>(nullptr, machine.ptr());
   machine->then = [&] { Fen::nestedDel(nested); };
   Nested* const raw = nested.ptr();
   raw->notifierIs(port);
   EXPECT_FALSE(nested);
   EXPECT_EQ(port->fenNotifiees().size(), 0u);
}

} // namespace
