// Generated machines: birth, reactors of every kind, what they hold, and how they end.

#include <tests/fenc/generated/House.fen.h>

#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace FenTest;
using Fen::Ptr;

class GeneratedMachine : public testing::Test {
 protected:
   GeneratedMachine() {
      house_->tenantIs(ann_);
      house_->guestIs(bob_);
      house_->doorIs("front", "oak", 90);
      house_->inhabitedIs(true);
      machine_ = houseSmFactory(house_, 5, "label");
   }
   std::string take() {
      std::string const log = machine_->log().str();
      machine_->logIs("");
      return log;
   }

   Fen::VirtualTime time_{1000.0};
   Ptr<House> house_ = houseFactory("home");
   Ptr<Resident> ann_ = residentFactory("ann");
   Ptr<Resident> bob_ = residentFactory("bob");
   Ptr<HouseSm> machine_;
};

TEST_F(GeneratedMachine, birthAttachesAndThenInitializes) {
   // The parameter's reactor only registers; the followers run at creation because they say so; the
   // one from a path does not, and the handler of the whole comes last.
   EXPECT_EQ(take(), "tenantAge;tenant;watched:front;initialized;");
   EXPECT_TRUE(machine_->hasNotificationActive());
   EXPECT_EQ(machine_->house(), house_);
   EXPECT_EQ(machine_->limit(), 5u);
   EXPECT_EQ(machine_->mood(), HouseSm::moodTense);
   EXPECT_EQ(stringValue(static_cast<HouseSm::Mood>(9)), "HouseSm::Mood(9)");
   EXPECT_EQ(machine_->tenant(), ann_);
   EXPECT_EQ(machine_->guest(), bob_);
   EXPECT_EQ(machine_->lateResident(), nullptr);
   EXPECT_EQ(machine_->lateTimer(), nullptr);
   EXPECT_DOUBLE_EQ(machine_->watchdog()->timeMin(), 0.0);
}

TEST_F(GeneratedMachine, aParameterThatIsNullLeavesItsReactorOut) {
   Ptr<HouseSm> const machine = HouseSm::HouseSmIs(nullptr, 1, "");
   EXPECT_EQ(machine->house(), nullptr);
   EXPECT_EQ(machine->fenHouse(), nullptr);
   EXPECT_EQ(machine->log(), "initialized;");
}

TEST_F(GeneratedMachine, reactionsToValues) {
   take();
   house_->inhabitedIs(false);
   EXPECT_EQ(take(), "") << "only when true";
   house_->inhabitedIs(true);
   EXPECT_EQ(take(), "inhabited;");
   house_->litIs("hall", true);
   EXPECT_EQ(take(), "lit:hall;");
   bob_->ageIs(3);
   EXPECT_EQ(take(), "guestAge;");
   machine_->fenHouse()->onLitfenImmediate();
   EXPECT_EQ(take(), "lit;");
}

TEST_F(GeneratedMachine, everythingRunsWhenAReactorIsMoved) {
   house_->litIs("hall", true);
   take();
   Ptr<House> const other = houseFactory("other");
   other->doorIs("x", "oak", 1);
   other->litIs("y", true);
   machine_->fenHouse()->notifierIs(other);
   EXPECT_EQ(take(), "tenant;watched:x;door:x;born:x;lit;")
      << "the tenant goes, the doors are the other's; a bool only when it is true";
   EXPECT_EQ(machine_->tenant(), nullptr);
   EXPECT_EQ(machine_->doorWatch("front"), nullptr);
   EXPECT_NE(machine_->doorWatch("x"), nullptr);
   house_->inhabitedIs(false);
   house_->inhabitedIs(true);
   EXPECT_EQ(take(), "");
}

TEST_F(GeneratedMachine, followersFollow) {
   take();
   ann_->ageIs(20);
   EXPECT_EQ(take(), "tenantAge;");
   house_->tenantIs(bob_);
   EXPECT_EQ(take(), "tenantAge;tenant;");
   EXPECT_EQ(machine_->fenTenant()->greetings(), 3u) << "the reactor is the same";
   ann_->ageIs(21);
   EXPECT_EQ(take(), "");
   house_->tenantIs(nullptr);
   EXPECT_EQ(take(), "tenant;");
   EXPECT_EQ(machine_->fenTenant(), nullptr);
   house_->tenantIs(ann_);
   EXPECT_EQ(machine_->fenTenant()->greetings(), 1u) << "a new reactor";
   // What is not followed stays where it was.
   house_->guestIs(ann_);
   EXPECT_EQ(machine_->guest(), bob_);
}

TEST_F(GeneratedMachine, followersOfACollection) {
   take();
   Ptr<Door> const side = house_->doorIs("side", "oak", 90);
   EXPECT_EQ(take(), "watched:side;door:side;born:side;");
   Ptr<HouseSm::FenDoorWatch> const watch = machine_->doorWatch("side");
   side->stateIs(doorOpen);
   EXPECT_EQ(watch->openings(), 2u);
   // A known key with another object moves the reactor there.
   house_->doorDel("side");
   EXPECT_EQ(machine_->doorWatch("side"), nullptr);
   EXPECT_TRUE(watch->fenMarkedForDeletion());
   Ptr<Door> const first = Door::DoorIs("z", "oak", 1);
   Ptr<Door> const second = Door::DoorIs("z", "pine", 2);
   Ptr<HouseSm::FenDoorWatch> const moved = machine_->doorWatchIs(first);
   EXPECT_EQ(machine_->doorWatchIs(second), moved);
   EXPECT_EQ(moved->doorWatch(), second);
   EXPECT_EQ(machine_->doorWatchDel("z"), moved);
}

TEST_F(GeneratedMachine, aWalkOutlivesWhatItsReactorWatches) {
   for (char const* name : {"a", "b", "c"}) {
      house_->doorIs(name, "oak", 1);
   }
   // The reactor that the walk stands on loses its door, which goes: the place is found again by
   // the key that the reactor keeps.
   std::uint32_t seen = 0;
   for (auto i = machine_->doorWatchIterator(); i; ++i) {
      ++seen;
      Ptr<HouseSm::FenDoorWatch> const watch = machine_->doorWatch(i.key());
      watch->notifierIs(nullptr);
      house_->doorDel(i.key());
   }
   EXPECT_EQ(seen, 4u);
   EXPECT_EQ(machine_->doorWatchCount(), 0u);
}

TEST_F(GeneratedMachine, lateReactorRegistersAndThenRunsOnlyWhenMoved) {
   take();
   machine_->lateResidentIs(ann_);
   EXPECT_EQ(take(), "");
   machine_->lateResidentIs(ann_);
   EXPECT_EQ(take(), "");
   machine_->lateResidentIs(bob_);
   EXPECT_EQ(take(), "late;");
   machine_->lateResidentDel();
   EXPECT_EQ(machine_->lateResident(), nullptr);
   EXPECT_EQ(take(), "lateEnd:bob;end;");
   bob_->ageIs(77);
   EXPECT_EQ(take(), "guestAge;");
}

TEST_F(GeneratedMachine, aReactorInsideAReactorFollowsToo) {
   take();
   house_->meterIs("water", "cellar", "flow", nullptr);
   ASSERT_NE(machine_->meterWatch("water"), nullptr);
   EXPECT_EQ(machine_->meterWatch("water")->fenReader(), nullptr);
   house_->meter("water")->readerIs(ann_);
   EXPECT_EQ(take(), "reader:ann;");
   ann_->ageIs(41);
   EXPECT_EQ(take(), "tenantAge;reader:ann;");
   Ptr<HouseSm::FenMeterWatch> const watch = machine_->meterWatch("water");
   EXPECT_EQ(watch->fenReader()->fenMeterWatch(), watch.ptr());
   house_->meterDel("water");
   EXPECT_TRUE(watch->fenMarkedForDeletion());
   EXPECT_TRUE(watch->fenReader()->fenMarkedForDeletion());
   ann_->ageIs(42);
   EXPECT_EQ(take(), "tenantAge;");
}

TEST_F(GeneratedMachine, aReactorThatGoesForGoodRunsItsEndOnce) {
   machine_->lateResidentIs(ann_);
   take();
   machine_->lateResidentIs(bob_);
   EXPECT_EQ(take(), "late;") << "moved is not gone";
   Ptr<HouseSm::FenLateResident> const reactor = machine_->fenLateResident();
   machine_->lateResidentDel();
   EXPECT_EQ(take(), "lateEnd:bob;end;") << "what it watched and its machine are still there";
   reactor->fenDoZombieReactors(false);
   reactor->fenDoZombieReactors(true);
   EXPECT_EQ(take(), "") << "the way to the machine has been cut";
   machine_->guestsIs(ann_);
   machine_->guestsIs(bob_);
   machine_->guestsDel("ann");
   EXPECT_EQ(take(), "guestEnd:ann;");
   machine_->guestsDelAll();
   EXPECT_EQ(take(), "guestEnd:bob;");
}

TEST_F(GeneratedMachine, aMachineThatGoesRunsTheEndsOfItsReactors) {
   machine_->lateResidentIs(ann_);
   machine_->guestsIs(bob_);
   take();
   machine_->fenDoZombieReactors(true);
   EXPECT_EQ(take(), "lateEnd:ann;end;guestEnd:bob;");
   machine_ = nullptr; // marked already: nothing runs again
}

TEST_F(GeneratedMachine, aNullIsNoMemberOfAReactorCollection) {
   try {
      machine_->guestsIs(nullptr);
      FAIL() << "a null has no key";
   } catch (Fen::RangeException const& exception) {
      EXPECT_EQ(exception.text(), "null _guests parameter to mutator for FenTest::HouseSm::guests "
                                  "not allowed\"");
   }
   EXPECT_EQ(machine_->guestsCount(), 0u);
}

TEST_F(GeneratedMachine, timers) {
   take();
   machine_->watchdog()->timeMinIs(0.0);
   time_.advance(0.0);
   EXPECT_EQ(take(), "watchdog;");
   time_.advance(20.0);
   EXPECT_EQ(take(), "watchdog;watchdog;");
   machine_->lateTimerIs(Fen::ActivityFacility::clock());
   EXPECT_EQ(take(), "lateTimer;") << "attaching runs the handler";
   machine_->lateTimer()->timeMinIs(Fen::now() + 1.0);
   time_.advance(2.0);
   EXPECT_EQ(take(), "lateTimer;");
   machine_->lateTimerDel();
   EXPECT_EQ(machine_->lateTimer(), nullptr);
}

TEST_F(GeneratedMachine, machinesByAKeyOfWhatTheyWatch) {
   Ptr<Door> const side = house_->doorIs("side", "oak", 90);
   Ptr<DoorSm> const doorSm = machine_->doorSm("side");
   ASSERT_NE(doorSm, nullptr);
   EXPECT_EQ(doorSm->houseSm(), machine_.ptr());
   EXPECT_EQ(machine_->doorSmIs(side), doorSm);
   side->stateIs(doorOpen);
   EXPECT_EQ(machine_->doorsSeen(), 1u);
   Ptr<Door> const another = Door::DoorIs("side", "pine", 80);
   try {
      machine_->doorSmIs(another);
      FAIL() << "another door under the same key";
   } catch (Fen::NameInUseException const& exception) {
      EXPECT_EQ(exception.text(),
                "Reinstantiating the pointer interface where constructor parameter attribute "
                "_door has a different value of 'side' than the current value of '" +
                   side->fullName() + "' not allowed");
   }
   EXPECT_EQ(machine_->doorSmCount(), 1u);
}

TEST_F(GeneratedMachine, aHandlerMayDropTheMachineThatRuns) {
   Ptr<Door> const side = house_->doorIs("side", "oak", 90);
   take();
   side->stateIs(doorStuck);
   EXPECT_EQ(take(), "watched:side;state:side;");
   EXPECT_EQ(machine_->doorSm("side"), nullptr);
   side->stateIs(doorOpen);
   EXPECT_EQ(take(), "watched:side;");
}

TEST_F(GeneratedMachine, singleMachineIsReplacedByOneWithOtherParameters) {
   Ptr<HouseSm::CellarSm> const cellar = machine_->cellarSmIs(house_, 3);
   EXPECT_EQ(cellar->bottles("red"), 3u);
   EXPECT_EQ(machine_->cellarSmIs(house_, 3), cellar);
   Ptr<HouseSm::CellarSm> const deeper = machine_->cellarSmIs(house_, 4);
   EXPECT_NE(deeper, cellar);
   EXPECT_TRUE(cellar->fenMarkedForDeletion());
   EXPECT_EQ(cellar->houseSm(), nullptr);
   EXPECT_EQ(machine_->cellarSm(), deeper);
   EXPECT_EQ(machine_->cellarSmDel(), deeper);
   EXPECT_EQ(machine_->cellarSmDel(), nullptr);
}

TEST_F(GeneratedMachine, aMachineMayBeAnEntity) {
   take();
   Ptr<HouseSm::AtticSm> const attic = machine_->atticSmIs("top");
   EXPECT_EQ(take(), "attic:top;");
   EXPECT_EQ(attic->name(), "top");
   EXPECT_EQ(attic->attributeString(258), "houseSm");
   EXPECT_EQ(machine_->atticSmIs("top"), attic);
   EXPECT_NE(machine_->atticSmIs("other"), attic);
   EXPECT_EQ(attic->fwkType()->fullTypeName(), "FenTest::HouseSm::AtticSm");
}

TEST_F(GeneratedMachine, entitiesThatItOwns) {
   Ptr<KeyRing> const ring = machine_->ledgerIs(Address("main", 1), ann_);
   EXPECT_EQ(machine_->ledgerIs(Address("main", 1), ann_), ring);
   EXPECT_NE(machine_->ledgerIs(Address("main", 2), ann_), ring);
   Ptr<Resident> const cid = machine_->residentIs("cid");
   EXPECT_EQ(machine_->residentIs("cid"), cid);
   Ptr<HouseSm::FenResidentSm> const watch = machine_->residentSm("cid");
   ASSERT_NE(watch, nullptr) << "comes with its member";
   cid->ageIs(9);
   EXPECT_EQ(watch->birthdays(), 1u);
   EXPECT_EQ(machine_->residentDel("cid"), cid);
   EXPECT_EQ(machine_->residentSm("cid"), nullptr) << "goes with its member";
   cid->ageIs(10);
   EXPECT_EQ(watch->birthdays(), 1u);
   machine_->residentIs("dan");
   machine_->residentIs("eve");
   machine_->residentDelAll();
   EXPECT_EQ(machine_->residentCount() + machine_->residentSmCount(), 0u);
}

TEST_F(GeneratedMachine, valuesByKeyAreStoredWithoutANotification) {
   machine_->tallyIs("a", 2);
   machine_->tallyIs("a", 3);
   EXPECT_EQ(machine_->tally("a"), 3u);
   EXPECT_EQ(machine_->tally("b"), 0u);
   EXPECT_EQ(machine_->tallyCount(), 1u);
   EXPECT_EQ(machine_->tallyDel("a")->value(), 3u);
   machine_->friend_Is(1, ann_);
   EXPECT_EQ(machine_->friend_(1), ann_);
   machine_->friend_Is(1, nullptr);
   EXPECT_EQ(machine_->friend_Count(), 0u);
}

TEST_F(GeneratedMachine, closedMachineHearsNothing) {
   take();
   machine_->hasNotificationActiveIs(false);
   house_->litIs("a", true);
   ann_->ageIs(5);
   EXPECT_EQ(take(), "");
   machine_->hasNotificationActiveIs(true);
   house_->litIs("b", true);
   EXPECT_EQ(take(), "lit:b;");
}

TEST_F(GeneratedMachine, nothingRunsInAZombie) {
   take();
   Ptr<HouseSm::FenHouse> const reactor = machine_->fenHouse();
   machine_->fenDoZombieReactors(true);
   house_->litIs("a", true);
   reactor->onInhabited();
   machine_->watchdog()->onTime();
   EXPECT_EQ(take(), "");
}

TEST_F(GeneratedMachine, theEndCutsOffWhatOthersHold) {
   house_->doorIs("side", "oak", 90);
   Ptr<HouseSm::FenHouse> const reactor = machine_->fenHouse();
   Ptr<HouseSm::FenTenant> const tenant = machine_->fenTenant();
   Ptr<DoorSm> const doorSm = machine_->doorSm("side");
   machine_ = nullptr;
   EXPECT_EQ(reactor->houseSm(), nullptr);
   EXPECT_EQ(tenant->houseSm(), nullptr);
   EXPECT_EQ(doorSm->houseSm(), nullptr);
   house_->inhabitedIs(false);
   house_->inhabitedIs(true);
   house_->door("side")->stateIs(doorOpen);
   ann_->ageIs(50);
}

TEST_F(GeneratedMachine, tables) {
   EXPECT_EQ(machine_->fwkType()->fullTypeName(), "FenTest::HouseSm");
   EXPECT_EQ(HouseSm::_fwkType()->attribute("limit")->id, 258);
   EXPECT_EQ(HouseSm::_fwkType()->attribute("label")->id, 259);
   EXPECT_EQ(HouseSm::_fwkType()->attribute("house")->id, 260);
   EXPECT_EQ(HouseSm::_fwkType_Mood()->fullTypeName(), "FenTest::HouseSm::Mood");
   EXPECT_EQ(HouseSm::MoodInstance(3u), HouseSm::moodTense);
   EXPECT_THROW(HouseSm::MoodInstance(1u), Fen::RangeException);
}

} // namespace
