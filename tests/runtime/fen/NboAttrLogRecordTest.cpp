// Records on the attribute log: what they own comes and goes with them, keeps its identity where it
// may, and is seen by tools.
#include "NboAttrLogSample.h"

#include <gantry/runtime/fen/AttrView.h>
#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

#include <functional>

using namespace NboAttrLogTest;
using Sample::Chassis;
using Sample::Panel;

namespace {

/// Writes down which parts a panel tells of, and may do something about it.
class PartWatcher final : public Panel::Notifiee {
 public:
   explicit PartWatcher(Fen::Ptr<Panel> const& panel) : Notifiee(panel) {
      isRegisteredNotifieeIs(true);
   }
   void onPart(Fen::Name key) override {
      told += key.str() + " ";
      if (onPartDo) {
         onPartDo(key);
      }
   }
   std::string told;
   std::function<void(Fen::Name)> onPartDo;
};

struct Records : testing::Test {
   void start(Link::Settings const& settings = {}) {
      link = std::make_unique<Link>(settings);
      link->mount(root);
      link->settle();
      copy = link->copy<Panel>();
      ASSERT_TRUE(copy);
      link->keepsFrames = true;
   }
   Fen::Ptr<Panel> root = Fen::makePtr<Panel>("r");
   std::unique_ptr<Link> link;
   Fen::Ptr<Panel> copy;
};

TEST_F(Records, whatIsThereArrivesWithTheFirstSynchronisation) {
   root->partIs("empty");
   root->partIs("full")->partIs("c")->portIs("p", "k", "s")->speedIs(7);
   start();
   ASSERT_EQ(copy->parts(), 2);
   EXPECT_FALSE(copy->part("empty")->part());
   auto const part = copy->part("full")->part();
   ASSERT_TRUE(part);
   EXPECT_EQ(part->name(), "c");
   EXPECT_EQ(part->parent(), copy);
   ASSERT_TRUE(part->port("p"));
   EXPECT_EQ(part->port("p")->speed(), 7u);
   EXPECT_EQ(link->source->entities(), 3u);
   EXPECT_EQ(link->target->entities(), 3u);
}

TEST_F(Records, whatARecordOwnsIsReplacedAndRemoved) {
   root->partIs("k")->partIs("c")->upIs(true);
   start();
   auto const first = copy->part("k")->part();
   root->part("k")->partIs("d");
   link->settle();
   EXPECT_EQ(copy->part("k")->part()->name(), "d");
   EXPECT_FALSE(copy->part("k")->part()->up());
   EXPECT_FALSE(first->parent());
   // The same name again is another entity.
   root->part("k")->partDel();
   root->part("k")->partIs("d")->upIs(true);
   link->settle();
   EXPECT_TRUE(copy->part("k")->part()->up());
   EXPECT_EQ(link->target->entities(), 2u);
   root->partDel("k");
   link->settle();
   EXPECT_EQ(copy->parts(), 0);
   EXPECT_EQ(link->source->entities(), 1u);
   EXPECT_EQ(link->target->entities(), 1u);
}

TEST_F(Records, removingAllLeavesNoAdapterBehind) {
   auto const first = root->partIs("a")->partIs("c");
   auto const record = root->partIs("b");
   record->partIs("d");
   start();
   EXPECT_EQ(link->source->entities(), 3u);
   root->partDelAll();
   EXPECT_EQ(link->source->entities(), 1u);
   EXPECT_FALSE(first->parent());
   // A record that is held here alone belongs to nobody.
   EXPECT_FALSE(record->partIs("e")->parent());
   link->settle();
   EXPECT_EQ(copy->parts(), 0);
   EXPECT_EQ(link->target->entities(), 1u);
}

TEST_F(Records, whatIsStillThereKeepsItsIdentityOverAResynchronisation) {
   root->partIs("stays")->partIs("c")->upIs(true);
   root->partIs("goes")->partIs("c");
   root->partIs("empty");
   root->partIs("emptied")->partIs("c");
   root->partIs("filled");
   root->partIs("renamed")->partIs("c");
   start();
   auto const record = copy->part("stays");
   auto const part = record->part();
   auto const empty = copy->part("empty");
   auto const watcher = Fen::makePtr<PartWatcher>(copy);
   link->cut();
   root->partDel("goes");
   root->partIs("comes")->partIs("c");
   root->part("emptied")->partDel();
   root->part("filled")->partIs("c");
   root->part("renamed")->partIs("d");
   link->mount(root);
   link->settle();
   EXPECT_EQ(copy->part("stays"), record);
   EXPECT_EQ(record->part(), part);
   EXPECT_TRUE(part->up());
   EXPECT_EQ(copy->part("empty"), empty);
   EXPECT_FALSE(record->fenMarkedForDeletion());
   EXPECT_FALSE(copy->part("emptied")->part());
   EXPECT_EQ(copy->part("filled")->part()->name(), "c");
   EXPECT_EQ(copy->part("renamed")->part()->name(), "d");
   EXPECT_FALSE(copy->part("goes"));
   // Reactors hear of records alone, and only of those that came or went.
   EXPECT_EQ(watcher->told, "comes goes ");
   EXPECT_EQ(link->source->entities(), link->target->entities());
}

TEST_F(Records, aRecordThatComesWithWhatItOwnsIsToldOfWhenItIsWhole) {
   start();
   bool whole = false;
   auto const watcher = Fen::makePtr<PartWatcher>(copy);
   watcher->onPartDo = [&](Fen::Name key) { whole = static_cast<bool>(copy->part(key)->part()); };
   link->cut();
   root->partIs("k")->partIs("c");
   link->mount(root);
   link->settle();
   EXPECT_TRUE(whole);
}

TEST_F(Records, aFullOutputKeepsTheLatestState) {
   auto const record = root->partIs("k");
   start({.sendCap = 64 * 1024});
   while (link->sourceBytes->hasSufficientBuffer()) {
      root->set<Panel::AliasAttr>(std::string(10'000, root->alias.view()[0] == 'x' ? 'y' : 'x'));
   }
   record->partIs("a");
   record->partIs("b")->upIs(true);
   root->partIs("l")->partIs("c");
   root->partDel("l");
   EXPECT_TRUE(link->source->flushWanted());
   link->settle();
   EXPECT_EQ(copy->part("k")->part()->name(), "b");
   EXPECT_TRUE(copy->part("k")->part()->up());
   EXPECT_EQ(copy->parts(), 1);
   int creations = 0;
   for (Frame const& frame : link->toTarget) {
      creations += frame.isMessageOf(Panel::PartAttr::id) ? 1 : 0;
   }
   EXPECT_EQ(creations, 1);
}

TEST_F(Records, theWritableSideCreatesAndRemoves) {
   start({.writable = true});
   auto const record = copy->partIs("k");
   auto const part = record->partIs("c");
   part->upIs(true);
   link->settle();
   ASSERT_TRUE(root->part("k"));
   ASSERT_TRUE(root->part("k")->part());
   EXPECT_TRUE(root->part("k")->part()->up());
   root->part("k")->part()->upIs(false);
   link->settle();
   EXPECT_FALSE(part->up());
   EXPECT_EQ(record->part(), part);
   record->partDel();
   link->settle();
   ASSERT_TRUE(root->part("k"));
   EXPECT_FALSE(root->part("k")->part());
   copy->partDel("k");
   link->settle();
   EXPECT_EQ(root->parts(), 0);
   EXPECT_EQ(link->source->entities(), 1u);
}

TEST_F(Records, bothSidesFillTheSameRecord) {
   root->partIs("k");
   start({.writable = true});
   auto const mine = copy->partIs("k")->partIs("c");
   root->partIs("k")->partIs("c");
   link->settle();
   EXPECT_EQ(copy->part("k")->part(), mine);
   root->part("k")->part()->upIs(true);
   link->settle();
   EXPECT_TRUE(mine->up());
   mine->upIs(false);
   link->settle();
   EXPECT_FALSE(root->part("k")->part()->up());
}

TEST_F(Records, aHandlerTakesOutTheRecordThatIsBeingMade) {
   start({.writable = true});
   auto const watcher = Fen::makePtr<PartWatcher>(copy);
   link->cut();
   watcher->onPartDo = [this](Fen::Name key) {
      if (copy->part(key)) {
         copy->partDel(key);
      }
   };
   root->partIs("k")->partIs("c");
   link->mount(root);
   link->settle();
   // The peer is told, since nothing else would ever tell it.
   EXPECT_EQ(copy->parts(), 0);
   EXPECT_EQ(root->parts(), 0);
   EXPECT_EQ(link->source->entities(), 1u);
}

TEST_F(Records, aHandlerEmptiesTheRecordThatIsBeingMade) {
   start({.writable = true});
   auto const watcher = Fen::makePtr<PartWatcher>(copy);
   link->cut();
   watcher->onPartDo = [this](Fen::Name key) { copy->part(key)->partDel(); };
   root->partIs("k")->partIs("c");
   link->mount(root);
   link->settle();
   ASSERT_TRUE(copy->part("k"));
   EXPECT_FALSE(copy->part("k")->part());
   ASSERT_TRUE(root->part("k"));
   EXPECT_FALSE(root->part("k")->part());
   EXPECT_FALSE(link->target->isClosed());
}

TEST_F(Records, aHandlerDropsTheWholeTreeWhileARecordIsMade) {
   start();
   link->cut();
   auto const watcher = Fen::makePtr<PartWatcher>(copy);
   watcher->onPartDo = [this](Fen::Name) { link->directory->entityPtrDel("copy"); };
   root->partIs("k")->partIs("c");
   copy = nullptr;
   link->mount(root);
   link->settle();
   EXPECT_TRUE(link->target->isClosed());
   EXPECT_EQ(link->targetUser.rootGone, 1);
}

TEST_F(Records, whatAPeerHoldsIsCountedAndGivenBack) {
   start();
   std::size_t const before = link->target->budget().used();
   for (int i = 0; i < 40; ++i) {
      root->partIs(Fen::format("k%d", i))->partIs("c");
      root->versionIs(static_cast<std::uint32_t>(i), true);
   }
   link->settle();
   EXPECT_GT(link->target->budget().used(), before + 40 * sizeof(Panel::FenPart));
   // Also what a sweep takes away: the walk over a collection that has become small.
   for (int i = 0; i < 40; ++i) {
      root->partDel(Fen::format("k%d", i));
      root->versionDel(static_cast<std::uint32_t>(i));
      if (i == 20) {
         link->sourceAdapter(*root)->doRemountSelf();
      }
   }
   link->settle();
   EXPECT_EQ(copy->parts(), 0);
   EXPECT_EQ(copy->versions(), 0);
   EXPECT_EQ(link->target->budget().used(), before);
}

TEST_F(Records, whatIsOwnedHasANameInThePath) {
   auto const directory = Fen::dirFactory("records");
   directory->entityPtrIs(root);
   Fen::root()->entityPtrIs(directory);
   auto const dog = root->partIs("cat")->partIs("dog");
   auto const cat = root->partIs("dog")->partIs("cat");
   EXPECT_EQ(dog->fullName(), "/records/r/part/dog");
   EXPECT_EQ(Fen::Entity::entity(Fen::EntityUriPath(dog->fullName())), dog);
   EXPECT_EQ(Fen::Entity::entity(Fen::EntityUriPath(cat->fullName())), cat);
   EXPECT_FALSE(Fen::Entity::entity(Fen::EntityUriPath("/records/r/part/cow")));
   Fen::root()->entityPtrDel("records");
}

class Seen final : public Fen::AttrMemberReader {
 public:
   void entity(Fen::String8 const& key, Fen::Ptr<Fen::Entity> const& member) override {
      all += std::string(key.view()) + "=" + member->name().str() + " ";
   }
   void emptyRecord(Fen::String8 const& key) override { all += std::string(key.view()) + " "; }
   void value(Fen::String8 const&, void const*) override {}
   std::string all;
};

TEST_F(Records, toolsReadThem) {
   root->partIs("a");
   auto const part = root->partIs("b")->partIs("c");
   Fen::AttrDesc const* const attribute = root->fwkType()->attribute(std::string_view("part"));
   ASSERT_NE(attribute, nullptr);
   EXPECT_STREQ(attribute->valueType, "Sample::Chassis");
   EXPECT_STREQ(attribute->keyType, "Fen::Name");
   Seen seen;
   attribute->view->members(*root, seen);
   EXPECT_TRUE(seen.all == "a b=c " || seen.all == "b=c a ") << seen.all;
   Fen::Name const full("b"), empty("a"), absent("x");
   EXPECT_EQ(attribute->view->member(*root, &full), part);
   EXPECT_FALSE(attribute->view->member(*root, &empty));
   EXPECT_FALSE(attribute->view->member(*root, &absent));
   EXPECT_EQ(attribute->view->keyText(&full), "b");
}

/// A reactor that follows a panel without knowing its type.
class Follower final : public Fen::Entity::NotifieeConst {
 public:
   explicit Follower(Fen::Ptr<Panel> const& panel) : NotifieeConst(Kind::generic) {
      fenNotifierStore(panel.ptr());
      isRegisteredNotifieeIs(true);
   }
   void doNotification(Fen::AttributeId id, void const* key) override {
      if (id == Panel::PartAttr::id) {
         told += static_cast<Fen::Name const*>(key)->str() + " ";
      }
   }
   std::string told;
};

TEST_F(Records, onlyGenericReactorsHearOfWhatARecordOwns) {
   auto const watcher = Fen::makePtr<PartWatcher>(root);
   auto const follower = Fen::makePtr<Follower>(root);
   auto const record = root->partIs("k");
   EXPECT_EQ(watcher->told, "k ");
   EXPECT_EQ(follower->told, "k ");
   record->partIs("c");
   record->partIs("c");
   record->partIs("d");
   record->partDel();
   record->partDel();
   EXPECT_EQ(watcher->told, "k ");
   EXPECT_EQ(follower->told, "k k k k ");
   root->partDel("k");
   record->partIs("e");
   EXPECT_EQ(watcher->told, "k k ");
   EXPECT_EQ(follower->told, "k k k k k ");
}

} // namespace
