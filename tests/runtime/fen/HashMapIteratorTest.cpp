// Walks through a keyed collection while it changes: what the iterators promise, case by case.
#include "CollectionSupport.h"

#include <gantry/runtime/fen/HashMap.h>
#include <gantry/runtime/fen/SnapshotIterator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <vector>

namespace {

using Number = CollectionSupport::Member<unsigned>;
using NumberMap = Fen::HashMap<Number, unsigned>;

Fen::Ptr<Number> insert(NumberMap& map, unsigned key) {
   auto member = Fen::makePtr<Number>(key);
   map.newMember(member);
   return member;
}

void insertUpTo(NumberMap& map, unsigned count) {
   for (unsigned key = 0; key < count; ++key) {
      insert(map, key);
   }
}

std::vector<unsigned> keys(NumberMap const& map) {
   std::vector<unsigned> result;
   map.forEachMember([&](Number* member) { result.push_back(member->fwkKey()); });
   return result;
}

std::vector<unsigned> rest(NumberMap::IteratorConst& it) {
   std::vector<unsigned> result;
   for (; it; ++it) {
      result.push_back(it->fwkKey());
   }
   return result;
}

/// An owner's iterator: hears of each member that is deleted through it.
class NumberIterator : public NumberMap::Iterator {
 public:
   using Iterator::deleteNotify;
   using Iterator::Iterator;
   void deleteNotify(Fen::Ptr<Number> const& member) const override { onDelete(member); }
   std::function<void(Fen::Ptr<Number> const&)> onDelete = [](Fen::Ptr<Number> const&) {};
};

/// An object with a collection, as an entity is.
class Owner : public Fen::PtrInterface {
 public:
   ~Owner() override { ++ended; }
   NumberMap map;
   static inline int ended = 0;
};

TEST(HashMapIterator, VisitsAllInOrderAndHoldsOneReference) {
   NumberMap map;
   insertUpTo(map, 100);
   std::vector<unsigned> seen;
   for (NumberMap::IteratorConst it(&map); it; ++it) {
      EXPECT_EQ(it->fenReferenceCount(), 2u);
      EXPECT_TRUE(it.hasBookmark());
      EXPECT_EQ(it.key(), it->fwkKey());
      seen.push_back(it->fwkKey());
   }
   EXPECT_EQ(seen, keys(map));
   map.forEachMember([](Number* member) { EXPECT_EQ(member->fenReferenceCount(), 1u); });
}

TEST(HashMapIterator, StartsAtTheFirstMemberNotBelowAKey) {
   NumberMap map;
   for (unsigned key : {1u, 2u, 4u, 6u}) { // in the order 4, 2, 6, 1
      insert(map, key);
   }
   NumberMap::IteratorConst at(&map, 2);
   EXPECT_EQ(rest(at), (std::vector<unsigned>{2, 6, 1}));
   NumberMap::IteratorConst between(&map, 10);
   EXPECT_EQ(rest(between), (std::vector<unsigned>{6, 1}));
   NumberMap::IteratorConst nextBucket(&map, 14);
   EXPECT_EQ(rest(nextBucket), (std::vector<unsigned>{1}));
   NumberMap::IteratorConst end(&map, 5);
   EXPECT_FALSE(end.hasBookmark());
   EXPECT_EQ(end.bucket(), -1);
}

TEST(HashMapIterator, ResetStartsAgainWithTheMapAsItIsNow) {
   NumberMap map;
   insertUpTo(map, 10);
   NumberMap::IteratorConst it(&map);
   while (it) {
      ++it;
   }
   EXPECT_EQ(it.bucket(), -1);
   map.memberDel(0);
   insert(map, 32);
   it.reset();
   EXPECT_EQ(rest(it), keys(map));
}

TEST(HashMapIterator, GrowthKeepsTheRestOfTheOrder) {
   NumberMap map;
   insertUpTo(map, 64);
   std::vector<unsigned> const before = keys(map);
   std::vector<unsigned> seen;
   NumberMap::IteratorConst it(&map);
   for (std::size_t i = 0; i < 20; ++i, ++it) {
      seen.push_back(it->fwkKey());
   }
   for (unsigned key = 0; key < 2000;
        ++key) { // all of them before the place: hash 0 in the low bits
      insert(map, (key + 1) << 16);
   }
   EXPECT_EQ(map.bucketCount(), 4096);
   for (; it; ++it) {
      if (it->fwkKey() < 64) {
         seen.push_back(it->fwkKey());
      }
   }
   EXPECT_EQ(seen, before);
}

TEST(HashMapIterator, ShrinkingKeepsTheRestOfTheOrder) {
   NumberMap map;
   insertUpTo(map, 1024);
   std::vector<unsigned> const before = keys(map);
   NumberMap::IteratorConst it(&map);
   for (int i = 0; i < 100; ++i) {
      ++it;
   }
   std::vector<unsigned> expected{before[100]};
   for (std::size_t i = 0; i < before.size(); ++i) {
      if (i % 20 == 19) {
         if (i > 100) {
            expected.push_back(before[i]);
         }
      } else if (i != 100) {
         map.memberDel(before[i]);
      }
   }
   EXPECT_LT(map.bucketCount(), 1024);
   EXPECT_EQ(rest(it), expected);
}

TEST(HashMapIterator, SeesWhatIsInsertedBehindItsPlaceAlone) {
   NumberMap map;
   insert(map, 4);
   insert(map, 1);
   NumberMap::IteratorConst it(&map); // on 4; by reversed bits 0 comes before it, 2 and 3 behind
   insert(map, 0);
   insert(map, 2);
   insert(map, 3);
   EXPECT_EQ(rest(it), (std::vector<unsigned>{4, 2, 1, 3}));
}

TEST(HashMapIterator, SeeksByKeyWhenTheCurrentMemberWasRemoved) {
   NumberMap map;
   insertUpTo(map, 8);
   std::vector<unsigned> const order = keys(map);
   NumberMap::IteratorConst it(&map);
   ++it;
   ASSERT_EQ(it->fwkKey(), order[1]);
   map.memberDel(order[1]);
   EXPECT_EQ(it->fwkKey(), order[1]) << "the iterator keeps it alive";
   ++it;
   EXPECT_EQ(it->fwkKey(), order[2]);
   map.memberDel(order[2]);
   map.memberDel(order[3]);
   ++it;
   EXPECT_EQ(it->fwkKey(), order[4]);
}

TEST(HashMapIterator, GoesOnBehindAMemberThatWasRemovedAndInsertedAgain) {
   NumberMap map;
   insertUpTo(map, 8);
   std::vector<unsigned> const order = keys(map);
   NumberMap::IteratorConst it(&map);
   auto const member = map.memberDel(order[0]);
   map.newMember(member);
   EXPECT_EQ(rest(it), order);
}

TEST(HashMapIterator, GoesOnBehindAMemberThatMovedToAnotherMap) {
   NumberMap map;
   NumberMap other;
   insertUpTo(map, 8);
   insertUpTo(other, 3);
   std::vector<unsigned> const order = keys(map);
   NumberMap::IteratorConst it(&map);
   ++it;
   other.memberDel(order[1]);
   other.newMember(map.memberDel(order[1]));
   EXPECT_EQ(rest(it), (std::vector<unsigned>(order.begin() + 1, order.end())));
}

TEST(HashMapIterator, ComesToTheEndWhenAllMembersHaveGone) {
   NumberMap map;
   insertUpTo(map, 50);
   NumberMap::IteratorConst it(&map);
   ++it;
   NumberMap::Iterator(&map).deleteAll();
   EXPECT_EQ(Number::alive, 1);
   ++it;
   EXPECT_FALSE(it.hasBookmark());
   EXPECT_EQ(it.bucket(), -1);
   EXPECT_EQ(Number::alive, 0);
}

TEST(HashMapIterator, HoldsTheNextMemberBeforeItDropsTheFormer) {
   NumberMap map;
   insertUpTo(map, 8);
   std::vector<unsigned> const order = keys(map);
   NumberMap::IteratorConst it(&map);
   {
      auto const first = map.memberDel(order[0]);
      first->onEnd = [&] { map.memberDel(order[1]); };
   }
   ++it; // the last reference to the first member goes, and its destructor removes the next one
   EXPECT_EQ(it->fwkKey(), order[1]);
   ++it;
   EXPECT_EQ(it->fwkKey(), order[2]);
}

TEST(HashMapIterator, KeepsTheOwnerOfTheMapAliveWhenAsked) {
   Owner::ended = 0;
   auto owner = Fen::makePtr<Owner>();
   insertUpTo(owner->map, 10);
   {
      NumberMap::Iterator it(&owner->map, owner);
      owner = nullptr;
      int count = 0;
      for (; it; ++it) {
         ++count;
      }
      EXPECT_EQ(count, 10);
      EXPECT_EQ(Owner::ended, 0);
   }
   EXPECT_EQ(Owner::ended, 1);
   EXPECT_EQ(Number::alive, 0);
}

TEST(HashMapIterator, DeleteThroughTheIteratorStandsOnTheSuccessor) {
   NumberMap map;
   insertUpTo(map, 8);
   std::vector<unsigned> const order = keys(map);
   std::vector<unsigned> notified;
   NumberIterator it(&map);
   it.onDelete = [&](Fen::Ptr<Number> const& member) {
      EXPECT_EQ(map.find(member->fwkKey()), nullptr);
      notified.push_back(member->fwkKey());
   };
   std::vector<unsigned> seen;
   for (; it; ++it) {
      seen.push_back(it->fwkKey());
      if (it->fwkKey() % 2 == 0) {
         it.memberDel();
      }
   }
   EXPECT_EQ(seen, order);
   EXPECT_EQ(notified, (std::vector<unsigned>{0, 4, 2, 6}));
   EXPECT_EQ(keys(map), (std::vector<unsigned>{1, 5, 3, 7}));
}

TEST(HashMapIterator, DeletingAMemberThatHasGoneNotifiesNobody) {
   NumberMap map;
   insertUpTo(map, 3);
   NumberIterator it(&map);
   it.onDelete = [](Fen::Ptr<Number> const&) { FAIL(); };
   map.memberDel(it->fwkKey());
   EXPECT_EQ(it.memberDel(), nullptr);
   EXPECT_EQ(map.size(), 2);
}

TEST(HashMapIterator, ConstFormOfTheNotificationServesAsWell) {
   class ConstIterator : public NumberMap::Iterator {
    public:
      using Iterator::deleteNotify;
      using Iterator::Iterator;
      void deleteNotify(Fen::Ptr<Number const> const&) const override { ++count; }
      mutable int count = 0;
   };
   NumberMap map;
   insertUpTo(map, 5);
   ConstIterator it(&map);
   it.deleteAll();
   EXPECT_EQ(it.count, 5);
}

TEST(HashMapDeleteAll, NotifiesBetweenTheDeletionsAndShrinksOnce) {
   NumberMap map;
   insertUpTo(map, 64);
   std::vector<unsigned> const order = keys(map);
   std::vector<unsigned> notified;
   NumberIterator it(&map);
   it.onDelete = [&](Fen::Ptr<Number> const& member) {
      EXPECT_TRUE(map.bulkDelete());
      EXPECT_EQ(map.bucketCount(), 64);
      EXPECT_EQ(member->fenReferenceCount(), 1u);
      notified.push_back(member->fwkKey());
      EXPECT_EQ(static_cast<std::size_t>(map.size()), order.size() - notified.size());
      EXPECT_EQ(map.find(member->fwkKey()), nullptr);
   };
   it.deleteAll();
   EXPECT_EQ(notified, order);
   EXPECT_FALSE(map.bulkDelete());
   EXPECT_EQ(map.bucketCount(), 1);
   EXPECT_EQ(map.version(), 129) << "64 insertions, 64 removals and the shrinking";
   EXPECT_FALSE(it.hasBookmark());
   EXPECT_EQ(Number::alive, 0);
}

TEST(HashMapDeleteAll, DeletesAMemberThatAHandlerInserts) {
   NumberMap map;
   insertUpTo(map, 16);
   unsigned next = 1000;
   int count = 0;
   NumberIterator it(&map);
   it.onDelete = [&](Fen::Ptr<Number> const&) {
      ++count;
      if (next < 1100) {
         insert(map, next++); // some behind, some before the place
      }
   };
   it.deleteAll();
   EXPECT_EQ(count, 116);
   EXPECT_TRUE(map.empty());
   EXPECT_EQ(map.bucketCount(), 1);
}

TEST(HashMapDeleteAll, DeletesAlsoWhatLiesBeforeItsPlace) {
   NumberMap map;
   insertUpTo(map, 16);
   std::vector<unsigned> const order = keys(map);
   std::vector<unsigned> notified;
   NumberIterator it(&map, order[10]);
   it.onDelete = [&](Fen::Ptr<Number> const& member) { notified.push_back(member->fwkKey()); };
   it.deleteAll();
   std::vector<unsigned> expected(order.begin() + 10, order.end());
   expected.insert(expected.end(), order.begin(), order.begin() + 10);
   EXPECT_EQ(notified, expected);
}

TEST(HashMapDeleteAll, HandlerThatDeletesOthersIsNotRepeated) {
   NumberMap map;
   insertUpTo(map, 32);
   std::vector<unsigned> const order = keys(map);
   int notified = 0;
   int removed = 0;
   NumberIterator it(&map);
   it.onDelete = [&](Fen::Ptr<Number> const& member) {
      ++notified;
      auto const at = std::find(order.begin(), order.end(), member->fwkKey()) - order.begin();
      if (at + 1 < 32 && map.memberDel(order[static_cast<std::size_t>(at) + 1]) != nullptr) {
         ++removed; // the one on which the iterator stands already
      }
   };
   it.deleteAll();
   EXPECT_EQ(notified, 16);
   EXPECT_EQ(removed, 16);
   EXPECT_TRUE(map.empty());
}

TEST(HashMapDeleteAll, HandlerMayReplaceTheSuccessorByAnotherMemberOfItsKey) {
   NumberMap map;
   insertUpTo(map, 8);
   std::vector<unsigned> const order = keys(map);
   std::vector<unsigned> notified;
   NumberIterator it(&map);
   it.onDelete = [&](Fen::Ptr<Number> const& member) {
      notified.push_back(member->fwkKey());
      if (member->fwkKey() == order[0]) {
         map.memberDel(order[1]);
         insert(map, order[1]);
      }
   };
   it.deleteAll();
   EXPECT_EQ(notified.size(), 8u);
   EXPECT_TRUE(map.empty());
   EXPECT_EQ(Number::alive, 0);
}

TEST(HashMapDeleteAll, HandlerMayDeleteAllItself) {
   NumberMap map;
   insertUpTo(map, 32);
   int count = 0;
   NumberIterator it(&map);
   it.onDelete = [&](Fen::Ptr<Number> const&) {
      if (++count == 5) {
         NumberIterator inner(&map);
         inner.onDelete = [&](Fen::Ptr<Number> const&) {
            ++count;
            EXPECT_TRUE(map.bulkDelete());
         };
         inner.deleteAll();
         EXPECT_TRUE(map.bulkDelete()) << "the outer one is still on its way";
         EXPECT_EQ(map.bucketCount(), 32);
         insert(map, 77);
      }
   };
   it.deleteAll();
   EXPECT_EQ(count, 33);
   EXPECT_FALSE(map.bulkDelete());
   EXPECT_EQ(map.bucketCount(), 1);
}

TEST(HashMapDeleteAll, HandlerMayDropTheOwnerThatTheIteratorHolds) {
   Owner::ended = 0;
   auto owner = Fen::makePtr<Owner>();
   insertUpTo(owner->map, 10);
   {
      NumberIterator it(&owner->map, owner);
      it.onDelete = [&](Fen::Ptr<Number> const&) { owner = nullptr; };
      it.deleteAll();
      EXPECT_EQ(Owner::ended, 0);
   }
   EXPECT_EQ(Owner::ended, 1);
   EXPECT_EQ(Number::alive, 0);
}

TEST(HashMapDeleteAll, ExceptionOfAHandlerLeavesTheMapWhole) {
   NumberMap map;
   insertUpTo(map, 10);
   NumberIterator it(&map);
   it.onDelete = [](Fen::Ptr<Number> const&) { throw std::runtime_error("handler"); };
   EXPECT_THROW(it.deleteAll(), std::runtime_error);
   EXPECT_FALSE(map.bulkDelete());
   EXPECT_EQ(map.size(), 9);
   EXPECT_FALSE(map.auditErrors());
}

TEST(HashMapDeleteAll, MayEndInAnotherWalkOnTheSameMap) {
   NumberMap map;
   insertUpTo(map, 16);
   std::vector<unsigned> const order = keys(map);
   NumberMap::IteratorConst walker(&map);
   std::vector<unsigned> seen;
   NumberIterator it(&map);
   it.onDelete = [&](Fen::Ptr<Number> const&) {
      if (walker) {
         seen.push_back(walker->fwkKey());
         ++walker;
      }
   };
   it.deleteAll();
   EXPECT_EQ(seen.front(), order[0]);
   EXPECT_FALSE(walker);
}

TEST(SnapshotIterator, HoldsTheMembersOfAMapInItsOrder) {
   NumberMap map;
   insertUpTo(map, 20);
   std::vector<unsigned> const order = keys(map);
   {
      Fen::SnapshotIterator<NumberMap> snapshot(map);
      NumberMap::Iterator(&map).deleteAll();
      EXPECT_EQ(Number::alive, 20);
      std::vector<unsigned> seen;
      for (; snapshot; ++snapshot) {
         seen.push_back(snapshot->fwkKey());
      }
      EXPECT_EQ(seen, order);
   }
   EXPECT_EQ(Number::alive, 0);
}

} // namespace
