// Queues: one in the order of keys that may wrap around, one of links that hold anything.
#include "CollectionSupport.h"

#include <gantry/runtime/fen/LinkQueue.h>
#include <gantry/runtime/fen/LinkedQueue.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

namespace {

using CollectionSupport::forSeeds;

/// A member that knows its number before it was cut down to a key.
template <class K>
class Item : public Fen::PtrInterface {
 public:
   explicit Item(std::uint64_t number) : number_(number) { ++alive; }
   ~Item() override {
      --alive;
      if (onEnd) {
         onEnd();
      }
   }
   std::uint64_t number() const { return number_; }
   K fwkQkey() const { return static_cast<K>(number_); }
   Fen::LinkQueueLink& fwkQlink() { return link_; }

   std::function<void()> onEnd;
   static inline int alive = 0;

 private:
   std::uint64_t number_;
   Fen::LinkQueueLink link_;
};

using Wide = Item<unsigned>;
using WideQueue = Fen::LinkQueue<Wide, unsigned>;

constexpr unsigned top = std::numeric_limits<unsigned>::max();

Fen::Ptr<Wide> insert(WideQueue& queue, unsigned key) {
   auto item = Fen::makePtr<Wide>(key);
   queue.newMember(item);
   return item;
}

std::vector<unsigned> keys(WideQueue const& queue) {
   std::vector<unsigned> result;
   for (WideQueue::IteratorConst it(&queue); it; ++it) {
      result.push_back(it->fwkQkey());
   }
   return result;
}

unsigned startKey(WideQueue const& queue, unsigned key) {
   Wide const* const member = queue.startAt(key);
   return member != nullptr ? member->fwkQkey() : 12345;
}
constexpr unsigned none = 12345;

TEST(LinkQueue, EmptyQueue) {
   WideQueue queue;
   EXPECT_EQ(queue.size(), 0u);
   EXPECT_EQ(queue.startAt(0), nullptr);
   EXPECT_EQ(queue.headDel(), nullptr);
   EXPECT_FALSE(WideQueue::Iterator(&queue));
   EXPECT_FALSE(WideQueue::Iterator(&queue, 7));
   EXPECT_FALSE(WideQueue::IteratorConst(nullptr));
}

TEST(LinkQueue, KeepsTheOrderOfKeys) {
   WideQueue queue;
   for (unsigned key : {20u, 40u, 30u, 10u}) {
      insert(queue, key);
   }
   EXPECT_EQ(keys(queue), (std::vector<unsigned>{10, 20, 30, 40}));
   EXPECT_EQ(queue.head()->fwkQkey(), 10u);
   EXPECT_EQ(queue.tail()->fwkQkey(), 40u);
   EXPECT_EQ(queue.version(), 4u);
   EXPECT_EQ(queue.find(30)->fwkQkey(), 30u);
   EXPECT_EQ(queue.find(35), nullptr);
}

TEST(LinkQueue, StartAt) {
   WideQueue queue;
   for (unsigned key : {10u, 20u, 30u}) {
      insert(queue, key);
   }
   EXPECT_EQ(startKey(queue, 10), 10u);
   EXPECT_EQ(startKey(queue, 30), 30u);
   EXPECT_EQ(startKey(queue, 20), 20u);
   EXPECT_EQ(startKey(queue, 5), 10u);
   EXPECT_EQ(startKey(queue, 11), 20u);
   EXPECT_EQ(startKey(queue, 31), none) << "beyond the tail";
}

TEST(LinkQueue, KeysThatWrapAroundKeepTheirOrder) {
   WideQueue queue;
   for (unsigned key : {top - 4, top - 2, top, 3u, 5u}) {
      insert(queue, key);
   }
   std::vector<unsigned> const order{top - 4, top - 2, top, 3, 5};
   EXPECT_EQ(keys(queue), order);
   for (unsigned key : order) {
      EXPECT_EQ(startKey(queue, key), key);
   }
   EXPECT_EQ(startKey(queue, top - 3), top - 2);
   EXPECT_EQ(startKey(queue, 0), 3u) << "behind the place of the wrap";
   EXPECT_EQ(startKey(queue, 4), 5u);
   EXPECT_EQ(startKey(queue, 6), none) << "beyond the tail";
   EXPECT_EQ(startKey(queue, 1000), none);
   queue.memberDel(queue.find(top));
   EXPECT_EQ(startKey(queue, top - 1), 3u) << "the keys fall";
   insert(queue, top - 1);
   insert(queue, 1);
   EXPECT_EQ(keys(queue), (std::vector<unsigned>{top - 4, top - 2, top - 1, 1, 3, 5}));
}

TEST(LinkQueue, HoldsItsMembers) {
   WideQueue queue;
   auto item = insert(queue, 1);
   EXPECT_EQ(item->fenReferenceCount(), 2u);
   auto other = insert(queue, 2);
   EXPECT_EQ(queue.memberDel(other.ptr()), other);
   EXPECT_EQ(queue.memberDel(other.ptr()), nullptr);
   EXPECT_EQ(other->fenReferenceCount(), 1u);
   EXPECT_FALSE(other->fwkQlink().isLinked());
   EXPECT_EQ(queue.tail(), item.ptr());
   EXPECT_EQ(queue.headDel(), item);
   EXPECT_EQ(item->fenReferenceCount(), 1u);
   EXPECT_EQ(queue.head(), nullptr);
   EXPECT_EQ(queue.tail(), nullptr);
}

TEST(LinkQueue, DropsALongQueueWithoutRecursion) {
   {
      WideQueue queue;
      for (unsigned key = 0; key < 200000; ++key) {
         insert(queue, key);
      }
      insert(queue, 200000)->onEnd = [&queue] { EXPECT_TRUE(queue.empty()); };
   }
   EXPECT_EQ(Wide::alive, 0);
}

TEST(LinkQueueDeathTest, MemberIsInOneQueueOnly) {
   WideQueue queue;
   auto item = insert(queue, 1);
   WideQueue other;
   EXPECT_DEATH(other.newMember(item), "member is in no queue");
}

TEST(LinkQueue, WalkSurvivesTheRemovalOfItsMember) {
   WideQueue queue;
   for (unsigned key : {10u, 20u, 30u, 40u}) {
      insert(queue, key);
   }
   WideQueue::Iterator it(&queue, 15);
   EXPECT_EQ(it->fwkQkey(), 20u);
   queue.memberDel(it.ptr());
   EXPECT_EQ(it->fwkQkey(), 20u);
   insert(queue, 25);
   ++it;
   EXPECT_EQ(it->fwkQkey(), 25u);
   insert(queue, 50); // a change that leaves the member: stepped past by its key
   ++it;
   EXPECT_EQ(it->fwkQkey(), 30u);
   queue.deleteAll();
   ++it;
   EXPECT_FALSE(it);
   ++it;
   EXPECT_FALSE(it);
}

// The key of the former head then lies between the tail's and the head's.
TEST(LinkQueue, WalkGoesOnWhenTheHeadOfAWrappedQueueHasGone) {
   WideQueue queue;
   for (unsigned key : {top - 1, top, 0u, 1u}) {
      insert(queue, key);
   }
   WideQueue::Iterator it(&queue);
   queue.headDel();
   ++it;
   ASSERT_TRUE(it);
   EXPECT_EQ(it->fwkQkey(), top);
}

// What is left has not wrapped, and its keys are all above the one that has gone.
TEST(LinkQueue, WalkEndsWhenTheWrappedTailHasGone) {
   WideQueue queue;
   for (unsigned key : {top - 1, top, 0u}) {
      insert(queue, key);
   }
   WideQueue::Iterator it(&queue, 0);
   queue.memberDel(it.ptr());
   ++it;
   EXPECT_FALSE(it);
}

/// Random operations on a queue of keys of one byte, which wrap all the time, against a sorted
/// vector of the numbers before they were cut down.
class Machine {
 public:
   using Small = Item<std::uint8_t>;
   using Queue = Fen::LinkQueue<Small, std::uint8_t>;

   explicit Machine(std::mt19937& random) : random_(random) {}

   void run(int steps) {
      for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
         step();
         check();
      }
   }

 private:
   static constexpr std::uint64_t span = 100; // keys and walks within less than half of the range

   struct Walk {
      Walk(Queue* queue, std::uint64_t start) : real(queue, static_cast<std::uint8_t>(start)) {}
      Queue::Iterator real;
      Small* current = nullptr;
   };

   std::uint64_t oldest() const {
      std::uint64_t result = model_.empty() ? next_ : model_.front()->number();
      for (auto const& walk : walks_) {
         if (walk->current != nullptr) {
            result = std::min(result, walk->current->number());
         }
      }
      return result;
   }
   bool has(std::uint64_t number) const {
      return std::any_of(model_.begin(), model_.end(),
                         [&](Small const* item) { return item->number() == number; });
   }
   void insertNumber(std::uint64_t number) {
      auto item = Fen::makePtr<Small>(number);
      queue_.newMember(item);
      auto const at = std::find_if(model_.begin(), model_.end(),
                                   [&](Small const* other) { return other->number() > number; });
      model_.insert(at, item.ptr());
   }
   Small* firstFrom(std::uint64_t number) const {
      auto const at = std::find_if(model_.begin(), model_.end(),
                                   [&](Small const* item) { return item->number() >= number; });
      return at == model_.end() ? nullptr : *at;
   }
   /// What startAt promises, with the keys of a wrapped queue laid out in one line.
   Small* start(unsigned key) const {
      if (model_.empty()) {
         return nullptr;
      }
      unsigned const head = model_.front()->fwkQkey();
      unsigned const tail = model_.back()->fwkQkey();
      bool const isWrapped = tail < head;
      if (isWrapped && key > tail && key < head) {
         return nullptr;
      }
      auto const line = [&](unsigned value) {
         return isWrapped && value < head ? value + 256 : value;
      };
      for (Small* item : model_) {
         if (line(item->fwkQkey()) >= line(key)) {
            return item;
         }
      }
      return nullptr;
   }

   void step() {
      switch (random_() % 8) {
      case 0:
      case 1:
         if (std::uint64_t const number = next_ + 1 + random_() % 5; number - oldest() < span) {
            next_ = number;
            insertNumber(number);
         } else if (!walks_.empty()) {
            walks_.erase(walks_.begin());
         }
         break;
      case 2:
         if (std::uint64_t const low = oldest(); low < next_) {
            std::uint64_t const number = low + random_() % (next_ - low);
            if (!has(number)) {
               insertNumber(number);
            }
         }
         break;
      case 3:
         EXPECT_EQ(queue_.headDel().ptr(), model_.empty() ? nullptr : model_.front());
         if (!model_.empty()) {
            model_.erase(model_.begin());
         }
         break;
      case 4:
         if (!model_.empty()) {
            auto const at = model_.begin() + static_cast<long>(random_() % model_.size());
            EXPECT_EQ(queue_.memberDel(*at).ptr(), *at);
            model_.erase(at);
         }
         break;
      case 5:
         if (!model_.empty() && walks_.size() < 4) {
            Small* const item = model_[random_() % model_.size()];
            walks_.push_back(std::make_unique<Walk>(&queue_, item->number()));
            walks_.back()->current = item;
         }
         break;
      default:
         if (!walks_.empty()) {
            auto& walk = *walks_[random_() % walks_.size()];
            std::uint64_t const from = walk.current != nullptr ? walk.current->number() + 1 : 0;
            ++walk.real;
            walk.current = from != 0 ? firstFrom(from) : nullptr;
         }
      }
   }

   void check() {
      EXPECT_EQ(queue_.size(), model_.size());
      std::vector<Small*> real;
      queue_.forEachMember([&](Small* item) { real.push_back(item); });
      EXPECT_EQ(real, model_);
      EXPECT_EQ(queue_.tail(), model_.empty() ? nullptr : model_.back());
      auto const key = static_cast<std::uint8_t>(random_());
      EXPECT_EQ(queue_.startAt(key), start(key));
      for (auto const& walk : walks_) {
         EXPECT_EQ(walk->real.ptr(), walk->current);
      }
   }

   std::mt19937& random_;
   Queue queue_;
   std::vector<Small*> model_;
   std::vector<std::unique_ptr<Walk>> walks_;
   std::uint64_t next_ = 1000;
};

TEST(LinkQueueProperty, RandomOperationsOnKeysThatWrap) {
   forSeeds(30, [](std::mt19937& random) { Machine(random).run(3000); });
   EXPECT_EQ(Item<std::uint8_t>::alive, 0);
}

// ---- LinkedQueue

using Link = Fen::LinkedQueueLink<Wide>;

class CountingQueue : public Fen::LinkedQueue<Link, Wide> {
 public:
   void onDeleteMemberNotFound(Fen::Ptr<Wide> const& member) override { notFound = member; }
   Fen::Ptr<Wide> notFound;
};

std::vector<unsigned> keys(Fen::LinkedQueue<Link, Wide> const& queue) {
   std::vector<unsigned> result;
   for (CountingQueue::IteratorConst it(&queue); it; ++it) {
      result.push_back(it->fwkQkey());
   }
   return result;
}

TEST(LinkedQueue, HoldsMembersInOrderOfArrival) {
   CountingQueue queue;
   EXPECT_TRUE(queue.empty());
   auto one = Fen::makePtr<Wide>(1u);
   auto two = Fen::makePtr<Wide>(2u);
   queue.newMember(two);
   queue.newMember(one);
   queue.newMember(two);
   EXPECT_EQ(keys(queue), (std::vector<unsigned>{2, 1, 2}));
   EXPECT_EQ(two->fenReferenceCount(), 3u);
   EXPECT_EQ(queue.tail()->member(), two);
   EXPECT_TRUE(queue.has(one));
   EXPECT_EQ(queue.headDel(), two);
   EXPECT_EQ(queue.size(), 2u);
   queue.deleteAll();
   EXPECT_EQ(queue.size(), 0u);
   EXPECT_EQ(queue.tail(), nullptr);
   EXPECT_EQ(two->fenReferenceCount(), 1u);
}

TEST(LinkedQueue, DeletesTheFirstLinkOfAMemberOrTellsThatThereIsNone) {
   CountingQueue queue;
   std::vector<Fen::Ptr<Wide>> items;
   for (unsigned key = 0; key < 4; ++key) {
      items.push_back(Fen::makePtr<Wide>(key));
      queue.newMember(items.back());
   }
   EXPECT_TRUE(queue.memberDel(items[3]));
   EXPECT_EQ(queue.tail()->member(), items[2]);
   EXPECT_TRUE(queue.memberDel(queue.head()->member())) << "the argument lies in the link";
   EXPECT_EQ(keys(queue), (std::vector<unsigned>{1, 2}));
   EXPECT_EQ(queue.notFound, nullptr);
   EXPECT_FALSE(queue.memberDel(items[0]));
   EXPECT_EQ(queue.notFound, items[0]);
   Fen::LinkedQueue<Link, Wide> plain;
   EXPECT_FALSE(plain.memberDel(items[0])) << "not an error by itself";
}

TEST(LinkedQueue, AssignmentCopiesTheLinks) {
   Fen::LinkedQueue<Link, Wide> queue;
   Fen::LinkedQueue<Link, Wide> other;
   queue.newMember(Fen::makePtr<Wide>(9u));
   for (unsigned key : {1u, 2u, 3u}) {
      other.newMember(Fen::makePtr<Wide>(key));
   }
   queue = other;
   EXPECT_EQ(keys(queue), (std::vector<unsigned>{1, 2, 3}));
   other.headDel();
   EXPECT_EQ(keys(queue), (std::vector<unsigned>{1, 2, 3}));
   auto& same = queue;
   queue = same;
   EXPECT_EQ(queue.size(), 3u);
   Fen::LinkedQueue<Link, Wide> const copy(queue);
   EXPECT_EQ(keys(copy), keys(queue));
}

TEST(LinkedQueue, PlainPointersAreNotHeld) {
   Fen::LinkedQueue<Fen::LinkedQueueLink<Wide, Wide*>, Wide, Wide*> queue;
   auto item = Fen::makePtr<Wide>(1u);
   queue.newMember(item.ptr());
   EXPECT_EQ(item->fenReferenceCount(), 1u);
   EXPECT_TRUE(queue.has(item.ptr()));
}

} // namespace
