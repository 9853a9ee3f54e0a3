// The list that holds notifiees without keeping them alive, its iterators under change, and the
// snapshot that notifications walk on.
#include "CollectionSupport.h"

#include <gantry/runtime/fen/ListRaw.h>
#include <gantry/runtime/fen/SnapshotIterator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

namespace {

using CollectionSupport::forSeeds;

class Node : public Fen::PtrInterface {
 public:
   explicit Node(int number) : number_(number) { ++alive; }
   ~Node() override {
      --alive;
      if (onEnd) {
         onEnd();
      }
   }
   int number() const { return number_; }
   Fen::Name name() const { return Fen::Name(Fen::format("node%d", number_)); }
   Node* fwkLrNext() const { return next_; }
   void fwkLrNextIs(Node* next) { next_ = next; }

   std::function<void()> onEnd;
   static inline int alive = 0;

 private:
   int number_;
   Node* next_ = nullptr;
};

using List = Fen::ListRaw<Node>;
static_assert(sizeof(List) == 32, "each entity has one");

using Nodes = std::vector<Fen::Ptr<Node>>;

Nodes makeNodes(int count) {
   Nodes nodes;
   for (int i = 0; i < count; ++i) {
      nodes.push_back(Fen::makePtr<Node>(i));
   }
   return nodes;
}

Nodes fill(List& list, int count) {
   Nodes nodes = makeNodes(count);
   for (auto const& node : nodes) {
      list.newMember(node.ptr());
   }
   return nodes;
}

std::vector<int> numbers(List const& list) {
   std::vector<int> result;
   list.forEachMember([&](Node* node) { result.push_back(node->number()); });
   return result;
}

TEST(ListRaw, EmptyList) {
   List list;
   EXPECT_EQ(list.size(), 0u);
   EXPECT_EQ(list.version(), 0u);
   EXPECT_EQ(list.head(), nullptr);
   EXPECT_EQ(list.tail(), nullptr);
   EXPECT_FALSE(List::LrIterator(&list));
   EXPECT_FALSE(List::LrIteratorConst());
   EXPECT_FALSE(list.strepIterator().moreLeft());
   EXPECT_TRUE(list.strepIterator().strep().empty());
   EXPECT_FALSE(Fen::SnapshotIterator<List>(list));
}

TEST(ListRaw, AppendsWithoutHolding) {
   Nodes nodes;
   List list;
   nodes = fill(list, 3);
   EXPECT_EQ(numbers(list), (std::vector<int>{0, 1, 2}));
   EXPECT_EQ(list.size(), 3u);
   EXPECT_EQ(list.version(), 3u);
   EXPECT_EQ(list.head(), nodes[0].ptr());
   EXPECT_EQ(list.tail(), nodes[2].ptr());
   EXPECT_EQ(nodes[1]->fenReferenceCount(), 1u);
   EXPECT_EQ(List::next(nodes[0].ptr()), nodes[1].ptr());
   EXPECT_EQ(List::next(nodes[2].ptr()), nullptr);
}

TEST(ListRaw, ClearsTheLinkOfANewNode) {
   Nodes nodes = makeNodes(2);
   List list;
   nodes[0]->fwkLrNextIs(nodes[1].ptr());
   list.newMember(nodes[0].ptr());
   EXPECT_EQ(nodes[0]->fwkLrNext(), nullptr);
}

TEST(ListRawDeathTest, TheTailIsNotAppendedAgain) {
   Nodes nodes;
   List list;
   nodes = fill(list, 2);
   EXPECT_DEATH(list.newMember(nodes[1].ptr()), "node is in no list");
}

TEST(ListRaw, RemovesFromEachPlace) {
   Nodes nodes;
   List list;
   nodes = fill(list, 4);
   EXPECT_TRUE(list.memberDel(nodes[1].ptr()));
   EXPECT_EQ(numbers(list), (std::vector<int>{0, 2, 3}));
   EXPECT_EQ(nodes[1]->fwkLrNext(), nullptr);
   EXPECT_TRUE(list.memberDel(nodes[3].ptr()));
   EXPECT_EQ(list.tail(), nodes[2].ptr()) << "the tail moves back";
   EXPECT_TRUE(list.memberDel(nodes[0].ptr()));
   EXPECT_EQ(list.head(), nodes[2].ptr());
   EXPECT_EQ(list.version(), 7u);
   EXPECT_FALSE(list.memberDel(nodes[0].ptr()));
   EXPECT_EQ(list.version(), 7u);
   EXPECT_TRUE(list.memberDel(nodes[2].ptr()));
   EXPECT_EQ(list.size(), 0u);
   EXPECT_EQ(list.head(), nullptr);
   EXPECT_EQ(list.tail(), nullptr);
   list.newMember(nodes[1].ptr());
   EXPECT_EQ(numbers(list), (std::vector<int>{1}));
}

TEST(ListRaw, DeleteAllClearsEveryLink) {
   Nodes nodes;
   List list;
   nodes = fill(list, 4);
   List::LrIterator it(&list);
   list.deleteAll();
   EXPECT_EQ(list.size(), 0u);
   EXPECT_EQ(list.version(), 5u);
   EXPECT_EQ(list.head(), nullptr);
   EXPECT_EQ(list.tail(), nullptr);
   for (auto const& node : nodes) {
      EXPECT_EQ(node->fwkLrNext(), nullptr);
   }
   ++it;
   EXPECT_FALSE(it);
}

TEST(ListRaw, IteratorHoldsItsNodeAndTheOneBefore) {
   Nodes nodes;
   List list;
   nodes = fill(list, 4);
   List::LrIterator it(&list);
   EXPECT_EQ(nodes[0]->fenReferenceCount(), 2u);
   ++it;
   EXPECT_EQ(nodes[0]->fenReferenceCount(), 2u);
   EXPECT_EQ(nodes[1]->fenReferenceCount(), 2u);
   ++it;
   EXPECT_EQ(nodes[0]->fenReferenceCount(), 1u);
   ++it;
   ++it;
   EXPECT_FALSE(it);
   ++it;
   EXPECT_FALSE(it);
}

TEST(ListRaw, IteratorGoesOnBehindTheOneBeforeWhenItsNodeHasGone) {
   Nodes nodes;
   List list;
   nodes = fill(list, 6);
   List::LrIterator it(&list);
   list.memberDel(nodes[0].ptr()); // the first: nothing before it
   ++it;
   EXPECT_EQ(it->number(), 1);
   ++it;
   list.memberDel(nodes[2].ptr());
   list.memberDel(nodes[3].ptr());
   ++it;
   EXPECT_EQ(it->number(), 4);
   auto late = Fen::makePtr<Node>(6);
   list.newMember(late.ptr());
   ++it;
   ++it;
   EXPECT_EQ(it->number(), 6) << "an appended node is seen";
   list.deleteAll();
}

TEST(ListRaw, IteratorBeginsAgainWhenItHasLostItsPlace) {
   Nodes nodes;
   List list;
   nodes = fill(list, 5);
   List::LrIterator it(&list);
   ++it;
   ++it;
   list.memberDel(nodes[1].ptr());
   list.memberDel(nodes[2].ptr());
   ++it;
   EXPECT_EQ(it->number(), 0);
   ++it;
   EXPECT_EQ(it->number(), 3);
}

TEST(ListRaw, IteratorHoldsTheNextNodeBeforeItDropsTheFormer) {
   List list;
   Nodes nodes = fill(list, 4);
   List::LrIterator it(&list);
   ++it;
   ++it; // on 2, holding 1
   list.memberDel(nodes[1].ptr());
   nodes[1]->onEnd = [&] {
      list.memberDel(nodes[3].ptr());
      nodes[3] = nullptr;
   };
   nodes[1] = nullptr;
   ++it; // drops 1, whose end removes and drops 3
   EXPECT_EQ(it->number(), 3);
   ++it;
   EXPECT_EQ(it.ptr(), nullptr);
   list.deleteAll();
}

TEST(ListRaw, RemovalThroughTheIteratorStandsOnTheSuccessor) {
   List list;
   Nodes nodes = fill(list, 8);
   std::vector<int> seen;
   for (List::LrIterator it(&list); it; ++it) {
      seen.push_back(it->number());
      if (it->number() % 2 == 0) {
         EXPECT_NE(it.memberDel(), nullptr);
      }
   }
   EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
   EXPECT_EQ(numbers(list), (std::vector<int>{1, 3, 5, 7}));
   List::LrIterator it(&list);
   list.memberDel(nodes[1].ptr());
   EXPECT_EQ(it.memberDel(), nullptr) << "it had gone already";
   EXPECT_EQ(it->number(), 3);
   ++it;
   EXPECT_EQ(it->number(), 3);
   list.deleteAll();
   EXPECT_EQ(it.memberDel(), nullptr);
   EXPECT_EQ(it.memberDel(), nullptr) << "at the end";
}

TEST(ListRaw, TypeBlindWalk) {
   List list;
   Nodes nodes = fill(list, 3);
   Fen::BaseCollection const& collection = list;
   List::StrepIterator it = list.strepIterator();
   EXPECT_TRUE(collection.iteratorMoreLeft(it));
   EXPECT_EQ(collection.iteratorStrep(it), "node0");
   collection.iteratorIncr(it);
   List::StrepIterator copy(it);
   EXPECT_EQ(copy.strep(), "node1");
   copy.incr();
   EXPECT_EQ(copy.strep(), "node2");
   EXPECT_EQ(it.strep(), "node1");
   EXPECT_EQ(nodes[1]->fenReferenceCount(), 3u) << "each walk holds its place";
   it = copy;
   EXPECT_EQ(it.strep(), "node2");
   copy.incr();
   EXPECT_FALSE(copy.moreLeft());
   EXPECT_TRUE(copy.strep().empty());
   list.deleteAll();
}

TEST(SnapshotIterator, HoldsTheNodesOfThatMoment) {
   for (int count : {1, 8, 9, 100}) { // within the iterator's own memory, and beyond
      List list;
      Nodes nodes = fill(list, count);
      {
         Fen::SnapshotIterator<List> snapshot(list);
         EXPECT_EQ(snapshot.size(), static_cast<std::size_t>(count));
         EXPECT_EQ(snapshot.position(), 0u);
         EXPECT_EQ(nodes[0]->fenReferenceCount(), 2u);
         list.deleteAll();
         nodes.clear();
         EXPECT_EQ(Node::alive, count);
         int expected = 0;
         for (; snapshot; ++snapshot) {
            EXPECT_EQ(snapshot->number(), expected++);
         }
         EXPECT_EQ(expected, count);
         EXPECT_EQ(snapshot.ptr(), nullptr);
         snapshot.positionIs(0);
         EXPECT_EQ(snapshot.ptr(), snapshot[0]);
         snapshot.release(0);
         EXPECT_EQ(snapshot[0], nullptr);
         EXPECT_EQ(Node::alive, count - 1);
         snapshot.release(0);
         EXPECT_EQ(Node::alive, count - 1);
      }
      EXPECT_EQ(Node::alive, 0);
   }
}

/// Random operations against a vector, with several walks whose model is the pair of nodes that
/// they know.
class Machine {
 public:
   explicit Machine(std::mt19937& random) : random_(random), nodes_(makeNodes(30)) {}
   ~Machine() { list_.deleteAll(); }

   void run(int steps) {
      for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
         step();
         check();
      }
   }

 private:
   struct Walk {
      explicit Walk(List* list) : real(list) {}
      List::LrIterator real;
      Node* current = nullptr;
      Node* previous = nullptr;
      bool deleted = false;
   };
   using Place = std::vector<Node*>::iterator;

   std::size_t pick(std::size_t count) { return random_() % count; }
   Place place(Node* node) { return std::find(model_.begin(), model_.end(), node); }
   bool has(Node* node) { return place(node) != model_.end(); }
   Node* head() { return model_.empty() ? nullptr : model_.front(); }
   Node* behind(Node* node) {
      auto const at = place(node) + 1;
      return at == model_.end() ? nullptr : *at;
   }

   void advance(Walk& walk) {
      ++walk.real;
      if (walk.deleted) {
         walk.deleted = false;
         return;
      }
      move(walk);
   }
   void move(Walk& walk) {
      if (walk.current == nullptr) {
         return;
      }
      if (has(walk.current)) {
         walk.previous = walk.current;
         walk.current = behind(walk.current);
      } else if (walk.previous != nullptr && has(walk.previous)) {
         walk.current = behind(walk.previous);
      } else {
         walk.previous = nullptr;
         walk.current = head();
      }
   }
   void deleteThrough(Walk& walk) {
      if (walk.current == nullptr) {
         EXPECT_EQ(walk.real.memberDel(), nullptr);
         return;
      }
      walk.deleted = true;
      Node* const node = walk.current;
      if (!has(node)) {
         EXPECT_EQ(walk.real.memberDel(), nullptr);
         move(walk);
         return;
      }
      EXPECT_EQ(walk.real.memberDel().ptr(), node);
      walk.current = behind(node);
      model_.erase(place(node));
   }

   void step() {
      Node* const node = nodes_[pick(nodes_.size())].ptr();
      switch (random_() % 8) {
      case 0:
      case 1:
         if (!has(node)) {
            list_.newMember(node);
            model_.push_back(node);
         }
         break;
      case 2:
         EXPECT_EQ(list_.memberDel(node), has(node));
         std::erase(model_, node);
         break;
      case 3:
         if (walks_.size() > 4) {
            walks_.erase(walks_.begin() + static_cast<long>(pick(walks_.size())));
         }
         walks_.push_back(std::make_unique<Walk>(&list_));
         walks_.back()->current = head();
         break;
      case 4:
         if (!walks_.empty()) {
            deleteThrough(*walks_[pick(walks_.size())]);
         }
         break;
      case 5:
         if (random_() % 30 == 0) {
            list_.deleteAll();
            model_.clear();
         }
         break;
      default:
         if (!walks_.empty()) {
            advance(*walks_[pick(walks_.size())]);
         }
      }
   }

   void check() {
      EXPECT_EQ(list_.size(), model_.size());
      EXPECT_EQ(list_.head(), head());
      EXPECT_EQ(list_.tail(), model_.empty() ? nullptr : model_.back());
      std::vector<Node*> real;
      list_.forEachMember([&](Node* node) { real.push_back(node); });
      EXPECT_EQ(real, model_);
      for (auto const& walk : walks_) {
         EXPECT_EQ(walk->real.ptr(), walk->current);
      }
   }

   std::mt19937& random_;
   Nodes nodes_;
   List list_;
   std::vector<Node*> model_;
   std::vector<std::unique_ptr<Walk>> walks_;
};

TEST(ListRawProperty, RandomOperationsAndWalks) {
   forSeeds(30, [](std::mt19937& random) { Machine(random).run(3000); });
   EXPECT_EQ(Node::alive, 0);
}

} // namespace
