// Random operations on a keyed collection, with several walks under way, against a model: a sorted
// map of the same (reversed hash, key) order, in which a walk is nothing but the place of its key.
#include "CollectionSupport.h"

#include <gantry/runtime/fen/HashMap.h>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace {

using CollectionSupport::forSeeds;
using CollectionSupport::Key;
using CollectionSupport::Member;

/// Keys of three kinds: integers with few and many low bits, texts, and such that collide.
unsigned makeKey(std::mt19937& random, unsigned const*) {
   unsigned const value = static_cast<unsigned>(random() % 300);
   return random() % 2 == 0 ? value : value << 20;
}
Fen::Name makeKey(std::mt19937& random, Fen::Name const*) {
   return Fen::Name(Fen::format("key%u", static_cast<unsigned>(random() % 300)));
}
Key makeKey(std::mt19937& random, Key const*) {
   unsigned const value = static_cast<unsigned>(random() % 300);
   return Key{value, value % 5};
}

template <class K>
class Machine {
 public:
   using T = Member<K>;
   using Map = Fen::HashMap<T, K>;
   using Place = std::pair<std::uint32_t, K>;
   struct PlaceLess {
      bool operator()(Place const& left, Place const& right) const {
         return left.first != right.first ? left.first < right.first : left.second < right.second;
      }
   };
   using Model = std::map<Place, T*, PlaceLess>;

   /// The real walk and the model's, which knows the key it stands on.
   class Walk : public Map::Iterator {
    public:
      using Map::Iterator::deleteNotify;
      Walk(Machine* machine, Map* map) : Map::Iterator(map), machine_(machine) {}
      Walk(Machine* machine, Map* map, K const& key) : Map::Iterator(map, key), machine_(machine) {}
      void deleteNotify(Fen::Ptr<T> const& member) const override { machine_->deleted(member); }
      std::optional<Place> place;
      bool deleted = false;

    private:
      Machine* machine_;
   };

   explicit Machine(std::mt19937& random) : random_(random) {}

   void run(int steps) {
      for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
         step();
         check();
      }
   }

 private:
   K newKey() { return makeKey(random_, static_cast<K const*>(nullptr)); }
   static Place placeOf(K const& key) { return {Fen::rhashOf<K>(key), key}; }

   void insert() {
      K const key = newKey();
      if (model_.contains(placeOf(key))) {
         return;
      }
      auto member = Fen::makePtr<T>(key);
      map_.newMember(member);
      model_.emplace(placeOf(key), member.ptr());
   }

   void remove() {
      K const key = newKey();
      std::uint32_t const rhash = Fen::rhashOf<K>(key);
      auto const at = model_.find(placeOf(key));
      T* const expected = at == model_.end() ? nullptr : at->second;
      auto const* const vtable = Fen::HashMapVTable<T, K>::instance();
      auto const field = map_.empty() ? 0 : Map::linkField(model_.begin()->second);
      switch (random_() % 3) {
      case 0:
         EXPECT_EQ(map_.memberDel(key).ptr(), expected);
         break;
      case 1:
         if (expected != nullptr) {
            EXPECT_EQ(map_.deleteMember(expected).ptr(), expected);
         }
         break;
      default:
         EXPECT_EQ(map_.memberDelG(vtable, field, 0, rhash, &key).ptr(), expected);
         map_.maybeShrinkG(vtable, field, 0);
      }
      if (expected != nullptr) {
         model_.erase(at);
      }
   }

   void reinsert() {
      K const key = newKey();
      if (auto const member = map_.memberDel(key); member != nullptr) {
         map_.newMember(member);
      }
   }

   void walkNew() {
      if (walks_.size() > 5) {
         walks_.erase(walks_.begin() + static_cast<long>(random_() % walks_.size()));
      }
      typename Model::iterator at = model_.begin();
      if (random_() % 2 == 0) {
         walks_.push_back(std::make_unique<Walk>(this, &map_));
      } else {
         K const key = newKey();
         at = model_.lower_bound(placeOf(key));
         EXPECT_EQ(map_.startAtHash(key).ptr(), at == model_.end() ? nullptr : at->second);
         walks_.push_back(std::make_unique<Walk>(this, &map_, key));
      }
      stand(*walks_.back(), at);
   }
   void stand(Walk& walk, typename Model::iterator at) {
      walk.place.reset();
      if (at != model_.end()) {
         walk.place = at->first;
         EXPECT_EQ(walk.ptr(), at->second);
      } else {
         EXPECT_FALSE(walk.hasBookmark());
         EXPECT_EQ(walk.bucket(), -1);
      }
   }
   void advance(Walk& walk) {
      ++walk;
      if (walk.deleted) {
         walk.deleted = false; // stays on the successor
      } else if (walk.place) {
         stand(walk, model_.upper_bound(*walk.place));
      }
   }
   void deleteThrough(Walk& walk) {
      if (!walk.place) {
         return;
      }
      auto const next = model_.upper_bound(*walk.place);
      auto const at = model_.find(*walk.place);
      T* const expected = at != model_.end() && at->second == walk.ptr() ? at->second : nullptr;
      int const before = deleted_;
      handler_ = nullptr;
      EXPECT_EQ(walk.memberDel().ptr(), expected);
      EXPECT_EQ(deleted_, before + (expected != nullptr ? 1 : 0));
      walk.deleted = true;
      stand(walk, next);
   }

   void deleteAll() {
      auto left = random_() % 40;
      handler_ = [this, left]() mutable {
         if (left > 0) {
            --left;
            switch (random_() % 4) {
            case 0:
               insert();
               break;
            case 1:
               remove();
               break;
            case 2:
               reinsert();
               break;
            default:
               if (!walks_.empty()) {
                  advance(*walks_[random_() % walks_.size()]);
               }
            }
         }
      };
      Walk all(this, &map_);
      all.deleteAll();
      handler_ = nullptr;
      EXPECT_TRUE(map_.empty());
      EXPECT_TRUE(model_.empty());
      EXPECT_EQ(map_.bucketCount(), 1);
   }
   /// Called by a walk for what has been deleted through it.
   void deleted(Fen::Ptr<T> const& member) {
      ++deleted_;
      EXPECT_EQ(model_.erase(placeOf(member->fwkKey())), 1u);
      EXPECT_EQ(map_.size(), static_cast<int>(model_.size()));
      if (handler_) {
         handler_();
      }
   }

   void step() {
      unsigned const kind = static_cast<unsigned>(random_() % 100);
      if (random_() % 500 == 0) {
         growing_ = !growing_;
      }
      if (kind < (growing_ ? 40u : 15u)) {
         insert();
      } else if (kind < 55) {
         remove();
      } else if (kind < 58) {
         reinsert();
      } else if (kind < 64) {
         walkNew();
      } else if (kind < 70 && !walks_.empty()) {
         deleteThrough(*walks_[random_() % walks_.size()]);
      } else if (kind < 72 && !walks_.empty()) {
         auto& walk = *walks_[random_() % walks_.size()];
         walk.reset();
         walk.deleted = false;
         stand(walk, model_.begin());
      } else if (kind == 72 && random_() % 20 == 0) {
         deleteAll();
      } else if (!walks_.empty()) {
         advance(*walks_[random_() % walks_.size()]);
      }
   }

   void check() {
      EXPECT_FALSE(map_.auditErrors());
      EXPECT_EQ(map_.size(), static_cast<int>(model_.size()));
      K const key = newKey();
      auto const at = model_.find(placeOf(key));
      EXPECT_EQ(map_.find(key), at == model_.end() ? nullptr : at->second);
      if (random_() % 50 == 0) {
         auto expected = model_.begin();
         for (typename Map::IteratorConst it(&map_); it; ++it, ++expected) {
            EXPECT_EQ(it.ptr(), expected->second);
         }
         EXPECT_EQ(expected, model_.end());
      }
   }

   std::mt19937& random_;
   Map map_;
   Model model_;
   std::vector<std::unique_ptr<Walk>> walks_;
   std::function<void()> handler_;
   int deleted_ = 0;
   bool growing_ = true;
};

TEST(HashMapProperty, IntegerKeys) {
   forSeeds(30, [](std::mt19937& random) { Machine<unsigned>(random).run(3000); });
   EXPECT_EQ(Member<unsigned>::alive, 0);
}

TEST(HashMapProperty, NameKeys) {
   forSeeds(30, [](std::mt19937& random) { Machine<Fen::Name>(random).run(3000); });
   EXPECT_EQ(Member<Fen::Name>::alive, 0);
}

TEST(HashMapProperty, CollidingKeys) {
   forSeeds(30, [](std::mt19937& random) { Machine<Key>(random).run(3000); });
   EXPECT_EQ(Member<Key>::alive, 0);
}

} // namespace
