/// State machines: birth, activation, nested machines, and every way to go.
#include "HandWrittenMachine.h"
#include "Listeners.h"

#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

namespace {

using Fen::Ptr;
using Sample::Chassis;
using Sample::ChassisSm;
using Sample::Log;
using Sample::Port;

class MachineTest : public testing::Test {
 protected:
   Fen::VirtualTime time{100.0};
   Ptr<Chassis> chassis = Fen::makePtr<Chassis>("c1");
   Ptr<Port> port(char const* name) { return chassis->portIs(name, "copper", "1"); }
};

TEST_F(MachineTest, BirthScansWhatIsThere) {
   port("p1");
   port("p2");
   chassis->upIs(true);
   auto const machine = Sample::chassisSmFactory(chassis, 10);
   EXPECT_TRUE(machine->initialized());
   EXPECT_EQ(machine->portSms(), 2u);
   // The reactor's constructor registers and runs no handler, though the attribute is set.
   EXPECT_EQ(machine->log(), "");
   EXPECT_EQ(machine->holdTimer()->timeMin(), 0.0);
   EXPECT_EQ(machine->chassis(), chassis);
}

TEST_F(MachineTest, TheFactorysOrder) {
   auto const machine = Sample::chassisSmFactory(chassis, 10);
   EXPECT_EQ(machine->fenWord(), (1u << 29) | 1u);
   EXPECT_TRUE(machine->holdTimer()->hasNotificationActive());
   EXPECT_EQ(chassis->fenNotifiees().size(), 1u);
   machine->handleInitialized();
   EXPECT_EQ(machine->log(), "");
}

TEST_F(MachineTest, HandlersRunOnChanges) {
   auto const machine = Sample::chassisSmFactory(chassis, 10);
   auto const p1 = port("p1");
   EXPECT_TRUE(machine->portSm("p1"));
   chassis->upIs(true);
   chassis->upIs(false);
   EXPECT_EQ(machine->log(), "up;");
   EXPECT_EQ(machine->holdTimer()->timeMin(), 110.0);
   time.advance(9.5);
   EXPECT_EQ(machine->log(), "up;");
   time.advance(0.5);
   EXPECT_EQ(machine->log(), "up;held;");
   EXPECT_EQ(machine->holdTimer()->timeMin(), Fen::never);
   chassis->portDel("p1");
   EXPECT_FALSE(machine->portSm("p1"));
   EXPECT_EQ(p1->fenNotifiees().size(), 0u);
}

TEST_F(MachineTest, FindOrCreateOfNestedMachines) {
   auto const machine = Sample::chassisSmFactory(chassis, 10);
   auto const p1 = port("p1");
   auto const known = machine->portSm("p1");
   EXPECT_EQ(machine->portSmIs("p1", p1), known);
   auto const p2 = Fen::makePtr<Port>("p2", "copper", "1");
   try {
      machine->portSmIs("p1", p2);
      ADD_FAILURE() << "another parameter was taken";
   } catch (Fen::NameInUseException const& refused) {
      EXPECT_EQ(refused.text(),
                "Reinstantiating the pointer interface where constructor parameter attribute _port "
                "has a different value of 'p2' than the current value of 'c1/port/p1' not allowed");
   }
   EXPECT_EQ(machine->portSm("p1"), known);
   EXPECT_EQ(machine->portSms(), 1u);
}

TEST_F(MachineTest, ANestedMachineRemovesItself) {
   auto const machine = Sample::chassisSmFactory(chassis, 10);
   auto const p1 = port("p1");
   p1->speedIs(5);
   EXPECT_EQ(machine->portSms(), 1u);
   p1->speedIs(11);
   EXPECT_EQ(machine->portSms(), 0u);
   EXPECT_FALSE(chassis->port("p1"));
   EXPECT_EQ(p1->fenNotifiees().size(), 0u);
}

TEST_F(MachineTest, ANestedMachineThatRemovesItselfAtBirthStaysClosed) {
   auto const machine = Sample::chassisSmFactory(chassis, 10);
   auto const fast = Fen::makePtr<Port>("p1", "copper", "1");
   fast->speedIs(11);
   // The collection has a port of that name, so that the machine's handler can take it out.
   chassis->newPort("p1", "copper", "1");
   auto const born = machine->newPortSm("p1", fast);
   EXPECT_EQ(machine->portSms(), 0u);
   EXPECT_TRUE(born->fenMarkedForDeletion());
   EXPECT_FALSE(born->hasNotificationActive());
   EXPECT_EQ(fast->fenNotifiees().size(), 0u);
}

TEST_F(MachineTest, ActivationClosesAndOpensEverything) {
   auto const machine = Sample::chassisSmFactory(chassis, 10);
   auto const p1 = port("p1");
   machine->hasNotificationActiveIs(false);
   EXPECT_EQ(chassis->fenNotifiees().size(), 0u);
   EXPECT_EQ(p1->fenNotifiees().size(), 0u);
   chassis->upIs(true);
   EXPECT_EQ(machine->log(), "");
   machine->hasNotificationActiveIs(true);
   machine->hasNotificationActiveIs(true);
   EXPECT_EQ(chassis->fenNotifiees().size(), 1u);
   EXPECT_EQ(p1->fenNotifiees().size(), 1u);
   chassis->upIs(false);
   chassis->upIs(true);
   EXPECT_EQ(machine->log(), "up;");
}

TEST_F(MachineTest, AZombieMachineDoesNothingAndMayComeBack) {
   auto const machine = Sample::chassisSmFactory(chassis, 10);
   auto const p1 = port("p1");
   auto const nested = machine->portSm("p1");
   machine->fenDoZombieReactors(true);
   EXPECT_TRUE(machine->fenMarkedForDeletion());
   EXPECT_TRUE(nested->fenMarkedForDeletion());
   EXPECT_TRUE(machine->holdTimer()->fenMarkedForDeletion());
   chassis->upIs(true);
   machine->holdTimer()->timeMinIs(0.0);
   time.advance(1.0);
   EXPECT_EQ(machine->log(), "");
   machine->fenDoZombieReactors(false);
   EXPECT_FALSE(nested->fenMarkedForDeletion());
   time.advance(1.0);
   EXPECT_EQ(machine->log(), "held;");
   chassis->upIs(false);
   chassis->upIs(true);
   EXPECT_EQ(machine->log(), "held;up;");
}

TEST_F(MachineTest, DestructionDetachesEverything) {
   auto machine = Sample::chassisSmFactory(chassis, 10);
   auto const p1 = port("p1");
   auto const nested = machine->portSm("p1");
   auto const timer = machine->holdTimer();
   timer->timeMinIs(0.0);
   machine = nullptr;
   // Who still holds a part of it has a zombie without a way back.
   EXPECT_TRUE(nested->fenMarkedForDeletion());
   EXPECT_EQ(nested->chassisSm(), nullptr);
   EXPECT_TRUE(timer->fenMarkedForDeletion());
   EXPECT_EQ(timer->chassisSm(), nullptr);
   EXPECT_EQ(chassis->fenNotifiees().size(), 0u);
   EXPECT_EQ(p1->fenNotifiees().size(), 0u);
   chassis->upIs(true);
   p1->speedIs(99);
   time.advance(1.0);
   EXPECT_EQ(chassis->port("p1"), p1);
}

TEST_F(MachineTest, CleanupGoesBeforeTheEnd) {
   auto const machine = Sample::chassisSmFactory(chassis, 10);
   port("p1");
   machine->doCleanup();
   EXPECT_EQ(machine->portSms(), 0u);
   EXPECT_EQ(machine->log(), "cleanup;");
}

/// A machine whose one handler does what the test wants, which is to drop the machine.
class Victim : public Fen::PtrInterface {
 public:
   class OnUp : public Fen::NestedReactor<OnUp, Chassis::Notifiee, Victim> {
    public:
      using NestedReactor::NestedReactor;
      void onUp() override {
         fenRun([](Victim& victim) { victim.handle(); });
      }
      void fenHandleAll() { onUp(); }
   };
   class Timer : public Fen::NestedReactor<Timer, Fen::Clock::Notifiee, Victim> {
    public:
      using NestedReactor::NestedReactor;
      void onTime() override {
         fenRun([](Victim& victim) { victim.handle(); });
      }
      void fenHandleAll() { onTime(); }
   };
   Victim(Ptr<Chassis> const& chassis, Log& log)
      : onUp(Fen::makePtr<OnUp>(chassis, this)),
        timer(Fen::makePtr<Timer>(Fen::ActivityFacility::clock(), this)), log_(log) {}
   void handleInitialized() {}
   void fenDoZombieReactors(bool zombie) {
      if (fenMarkedForDeletion() != zombie) {
         Fen::nestedZombieIs(zombie, onUp, timer);
         fenMarkedForDeletionIs(zombie);
      }
   }
   std::function<void()> then;
   Ptr<OnUp> onUp;
   Ptr<Timer> timer;

 protected:
   ~Victim() override {
      fenDoZombieReactors(true);
      Fen::nestedDel(onUp);
      Fen::nestedDel(timer);
      log_.push_back("gone");
   }

 private:
   void handle() {
      log_.push_back("begun");
      then();
      log_.push_back("ended"); // touches the machine after its last owner let go
   }
   Log& log_;
};

TEST_F(MachineTest, DroppedByItsOwnReactor) {
   Log log;
   auto victim = Fen::makePtr<Victim>(chassis, log);
   victim->then = [&] { victim = nullptr; };
   chassis->upIs(true);
   EXPECT_EQ(log, (Log{"begun", "ended", "gone"}));
   EXPECT_EQ(chassis->fenNotifiees().size(), 0u);
   chassis->upIs(false);
   EXPECT_EQ(log.size(), 3u);
}

TEST_F(MachineTest, DroppedByItsOwnTimer) {
   Log log;
   auto victim = Fen::makePtr<Victim>(chassis, log);
   victim->then = [&] { victim = nullptr; };
   victim->timer->timeMinIs(0.0);
   time.advance(0.0);
   EXPECT_EQ(log, (Log{"begun", "ended", "gone"}));
   time.advance(1.0);
   EXPECT_EQ(log.size(), 3u);
}

TEST_F(MachineTest, DroppedWithWhatItWatches) {
   Log log;
   auto victim = Fen::makePtr<Victim>(chassis, log);
   victim->then = [&] {
      chassis = nullptr;
      victim = nullptr;
   };
   chassis->upIs(true);
   EXPECT_EQ(log, (Log{"begun", "ended", "gone"}));
}

TEST_F(MachineTest, DroppedAtAttaching) {
   Log log;
   auto victim = Fen::makePtr<Victim>(nullptr, log);
   auto const reactor = victim->onUp;
   victim->then = [&] { victim = nullptr; };
   reactor->notifierIs(chassis);
   EXPECT_EQ(log, (Log{"begun", "ended", "gone"}));
   EXPECT_EQ(chassis->fenNotifiees().size(), 0u);
}

TEST_F(MachineTest, OneDropsTheNextOfTheSameChange) {
   Log log;
   auto first = Fen::makePtr<Victim>(chassis, log);
   auto second = Fen::makePtr<Victim>(chassis, log);
   first->then = [&] { second = nullptr; };
   second->then = [] { ADD_FAILURE() << "a dropped machine ran"; };
   chassis->upIs(true);
   EXPECT_EQ(log, (Log{"begun", "gone", "ended"}));
}

TEST_F(MachineTest, ACountedPointerToTheMachineInItsOwnDestructor) {
   Log log;
   auto victim = Fen::makePtr<Victim>(chassis, log);
   auto const timer = victim->timer;
   victim->then = [] {};
   victim = nullptr;
   timer->onTime();
   EXPECT_EQ(log, Log{"gone"});
}

} // namespace
