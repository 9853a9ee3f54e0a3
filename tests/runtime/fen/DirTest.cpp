/// Directories: members, places, creation by type name, and deletion with all below.
#include "Listeners.h"

#include <gtest/gtest.h>

namespace {

using Fen::Dir;
using Fen::Entity;
using Fen::EntityUriPath;
using Fen::Ptr;
using Sample::Chassis;
using Sample::DirListener;
using Sample::Log;

class DirTest : public testing::Test {
 protected:
   void SetUp() override {
      Chassis::_fwkType();
      Sample::Port::_fwkType();
      Dir::_fwkType();
   }
   void TearDown() override { Fen::root()->entityPtrDelAll(); }
   Ptr<DirListener> listener(Ptr<Dir> const& directory, char const* name) {
      return Fen::makePtr<DirListener>(directory, name, log);
   }
   Ptr<Dir> dir = Fen::dirFactory("d");
   Log log;
};

TEST_F(DirTest, PutsAnEntityInUnderItsOwnName) {
   auto const told = listener(dir, "d");
   auto chassis = Fen::makePtr<Chassis>("c1");
   EXPECT_EQ(dir->entityPtrIs(chassis), chassis);
   EXPECT_EQ(dir->entityPtr("c1"), chassis);
   EXPECT_EQ(dir->entityRef("c1"), chassis);
   EXPECT_EQ(chassis->parent(), dir);
   EXPECT_EQ(chassis->parentAttrId(), Dir::entityPtrAttributeId);
   EXPECT_EQ(chassis->parentAttr(), "entityPtr");
   EXPECT_EQ(log, Log{"d c1 here"});
}

TEST_F(DirTest, TheSameEntityAgainChangesNothing) {
   auto const chassis = Fen::makePtr<Chassis>("c1");
   dir->entityPtrIs(chassis);
   auto const told = listener(dir, "d");
   EXPECT_EQ(dir->entityPtrIs(chassis), chassis);
   EXPECT_TRUE(log.empty());
   EXPECT_EQ(dir->entityPtrs().size(), 1);
}

TEST_F(DirTest, Refusals) {
   dir->entityPtrIs(Fen::makePtr<Chassis>("c1"));
   auto const told = listener(dir, "d");
   EXPECT_THROW(dir->entityPtrIs(nullptr), Fen::RangeException);
   EXPECT_THROW(dir->entityPtrIs(Fen::makePtr<Chassis>("c1")), Fen::NameInUseException);
   EXPECT_THROW(dir->entityPtrIs(dir), Fen::RangeException);
   auto below = Fen::dirFactory("below");
   dir->entityPtrIs(below);
   EXPECT_THROW(below->entityPtrIs(dir), Fen::RangeException);
   auto other = Fen::dirFactory("other");
   EXPECT_THROW(other->entityPtrIs(below), Fen::RangeException);
   EXPECT_EQ(other->entityPtrs().size(), 0);
   EXPECT_EQ(log, Log{"d below here"});
}

TEST_F(DirTest, TakesAMemberOut) {
   auto const chassis = Fen::makePtr<Chassis>("c1");
   dir->entityPtrIs(chassis);
   auto const told = listener(dir, "d");
   EXPECT_EQ(dir->entityPtrDel("c1"), chassis);
   EXPECT_FALSE(chassis->parent());
   EXPECT_FALSE(dir->entityPtr("c1"));
   EXPECT_FALSE(dir->entityPtrDel("c1"));
   EXPECT_EQ(log, Log{"d c1 gone"});
}

TEST_F(DirTest, DelAllTellsOfEachAndTakesWhatHandlersPutIn) {
   for (char const* name : {"a", "b", "c"}) {
      dir->entityPtrIs(Fen::dirFactory(name));
   }
   auto const told = listener(dir, "d");
   bool inserted = false;
   told->then = [&](std::string const&) {
      if (!inserted) {
         inserted = true;
         dir->entityPtrIs(Fen::dirFactory("late"));
      }
   };
   dir->entityPtrDelAll();
   EXPECT_EQ(dir->entityPtrs().size(), 0);
   EXPECT_EQ(log.size(), 5u); // three gone, late here and gone
}

TEST_F(DirTest, NotifySetsTheParentOfWhatIsInside) {
   auto const chassis = Fen::makePtr<Chassis>("c1");
   dir->entityPtrIs(chassis);
   auto const told = listener(dir, "d");
   dir->entityPtrNotify("c1", chassis);
   EXPECT_EQ(chassis->parent(), dir);
   auto const stranger = Fen::makePtr<Chassis>("c2");
   stranger->parentIs(dir);
   dir->entityPtrNotify("c2", stranger);
   EXPECT_FALSE(stranger->parent());
   dir->entityPtrNotify("c3", nullptr);
   EXPECT_EQ(log, (Log{"d c1 here", "d c2 gone", "d c3 gone"}));
}

TEST_F(DirTest, AnEmptySlotIsInvisible) {
   auto const told = listener(dir, "d");
   auto const slot = dir->entryIs("x");
   ASSERT_TRUE(slot);
   EXPECT_EQ(slot->name(), "x");
   EXPECT_EQ(slot->fullName(), "d/x");
   EXPECT_FALSE(slot->entityRef());
   EXPECT_FALSE(dir->entry("x"));
   EXPECT_FALSE(dir->entityPtr("x"));
   EXPECT_EQ(dir->entityPtrs().size(), 0);
   EXPECT_TRUE(log.empty());
   EXPECT_EQ(dir->entryIs("x"), slot);
}

TEST_F(DirTest, AFilledSlotIsVisible) {
   auto const told = listener(dir, "d");
   auto const slot = dir->entryIs("x");
   auto const made = dir->entityIs("x", "Sample::Chassis");
   ASSERT_TRUE(made);
   EXPECT_EQ(made->fwkType(), Chassis::_fwkType());
   EXPECT_EQ(slot->entityRef(), made);
   EXPECT_EQ(dir->entry("x"), slot);
   EXPECT_EQ(dir->entityPtr("x"), made);
   EXPECT_EQ(made->parent(), dir);
   EXPECT_EQ(log, Log{"d x here"});
   EXPECT_EQ(dir->entryIs("x"), slot);
}

TEST_F(DirTest, SlotsBelowTheRoot) {
   EXPECT_EQ(Fen::root()->entryIs("x")->fullName(), "/x");
   Fen::root()->entityPtrIs(dir);
   EXPECT_EQ(dir->entryIs("x")->fullName(), "/d/x");
}

TEST_F(DirTest, BadNamesHaveNoSlot) {
   EXPECT_FALSE(dir->entryIs(""));
   EXPECT_FALSE(dir->entryIs("a/b"));
   EXPECT_FALSE(dir->entityIs("", "Fen::Dir"));
   EXPECT_FALSE(dir->entityIs("a/b", "Fen::Dir"));
}

TEST_F(DirTest, AHeldSlotOutlivesItsEntityAndItsDirectory) {
   auto const slot = dir->entryIs("x");
   dir->entityIs("x", "Fen::Dir");
   dir->entityPtrDel("x");
   // The place is empty again and still the same.
   EXPECT_FALSE(slot->entityRef());
   EXPECT_EQ(slot->fullName(), "d/x");
   EXPECT_EQ(dir->entryIs("x"), slot);
   dir->entityIs("x", "Fen::Dir");
   EXPECT_TRUE(slot->entityRef());
   dir->entityPtrDel("x");
   dir = nullptr;
   EXPECT_FALSE(slot->entityRef());
   EXPECT_EQ(slot->fullName(), "x");
}

TEST_F(DirTest, EntityIsReturnsTheOccupantOfTheSameType) {
   auto const made = dir->entityIs("x", "Fen::Dir");
   auto const told = listener(dir, "d");
   EXPECT_EQ(dir->entityIs("x", "Fen::Dir"), made);
   EXPECT_FALSE(dir->entityIs("x", "Sample::Chassis"));
   EXPECT_FALSE(dir->entityIs("y", "No::Type"));
   // A type that needs more than its name.
   EXPECT_FALSE(dir->entityIs("y", "Sample::Port"));
   EXPECT_FALSE(dir->entityPtr("y"));
   EXPECT_TRUE(log.empty());
}

TEST_F(DirTest, OrderOfWalksIsOfTheNamesAlone) {
   auto other = Fen::dirFactory("other");
   for (int i = 0; i < 50; ++i) {
      dir->entityPtrIs(Fen::dirFactory(Fen::format("e%d", i)));
      other->entityPtrIs(Fen::dirFactory(Fen::format("e%d", 49 - i)));
   }
   Log mine;
   Log others;
   dir->entityPtrs().forEachMember([&](Entity* each) { mine.push_back(each->name().str()); });
   other->entityPtrs().forEachMember([&](Entity* each) { others.push_back(each->name().str()); });
   EXPECT_EQ(mine, others);
}

TEST_F(DirTest, EntityDelEmptiesFromBelow) {
   Fen::root()->entityPtrIs(dir);
   auto inner = Fen::dirFactory("inner");
   dir->entityPtrIs(inner);
   inner->entityPtrIs(Fen::makePtr<Chassis>("c1"));
   auto const atRoot = listener(Fen::root(), "root");
   auto const atDir = listener(dir, "d");
   auto const atInner = listener(inner, "inner");
   Fen::entityDel(EntityUriPath("/d"));
   EXPECT_EQ(log, (Log{"inner c1 gone", "d inner gone", "root d gone"}));
   EXPECT_FALSE(inner->parent());
   EXPECT_FALSE(dir->parent());
   EXPECT_FALSE(Entity::entity(EntityUriPath("/d")));
}

TEST_F(DirTest, EntityDelOfALeaf) {
   Fen::root()->entityPtrIs(dir);
   auto const chassis = Fen::makePtr<Chassis>("c1");
   dir->entityPtrIs(chassis);
   chassis->portIs("p1", "copper", "1");
   auto const told = listener(dir, "d");
   Fen::entityDel(EntityUriPath("/d/c1"));
   EXPECT_EQ(log, Log{"d c1 gone"});
   EXPECT_EQ(chassis->ports(), 1u);
}

TEST_F(DirTest, EntityDelOfWhatIsNoMemberOfADirectory) {
   auto const chassis = Fen::makePtr<Chassis>("c1");
   Fen::root()->entityPtrIs(chassis);
   auto const port = chassis->portIs("p1", "copper", "1");
   Fen::entityDel(EntityUriPath("/c1/port/p1"));
   EXPECT_EQ(chassis->port("p1"), port);
   Fen::entityDel(EntityUriPath("/nowhere"));
   Fen::entityDel(EntityUriPath("/"));
   EXPECT_EQ(Fen::root()->entityPtrs().size(), 1);
}

TEST_F(DirTest, EntityDelWithAHandlerThatDropsAndRecreates) {
   Fen::root()->entityPtrIs(dir);
   auto inner = Fen::dirFactory("inner");
   dir->entityPtrIs(inner);
   auto const told = listener(dir, "d");
   Ptr<Entity> replacement;
   told->then = [&](std::string const&) {
      if (!replacement) {
         Fen::root()->entityPtrDel("d");
         replacement = Fen::root()->entityIs("d", "Fen::Dir");
      }
   };
   Fen::entityDel(EntityUriPath("/d"));
   // What took the name meanwhile is another entity, and stays.
   EXPECT_EQ(Fen::root()->entityPtr("d"), replacement);
}

TEST_F(DirTest, AHandlerMayDropTheDirectory) {
   auto const told = listener(dir, "d");
   told->isWeakReferenceIs(true);
   Ptr<Chassis> const chassis = Fen::makePtr<Chassis>("c1");
   class Dropper : public Chassis::Notifiee {
    public:
      Dropper(Ptr<Chassis> const& watched, Ptr<Dir>& victim)
         : Chassis::Notifiee(watched), victim_(victim) {
         isRegisteredNotifieeIs(true);
      }
      void onParent() override { victim_ = nullptr; }

    private:
      Ptr<Dir>& victim_;
   };
   auto const dropper = Fen::makePtr<Dropper>(chassis, dir);
   Dir* const raw = dir.ptr();
   raw->entityPtrIs(chassis);
   EXPECT_EQ(log, Log{"d c1 here"});
   EXPECT_FALSE(dir);
   EXPECT_FALSE(chassis->parent());
}

} // namespace
