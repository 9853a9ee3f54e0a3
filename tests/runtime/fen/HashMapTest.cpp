// The rules of the keyed collection one by one: order, growth, lookup, the life of members, and the
// type-blind half.
#include "CollectionSupport.h"

#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/HashMap.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using CollectionSupport::Key;
using Number = CollectionSupport::Member<unsigned>;
using Text = CollectionSupport::Member<Fen::Name>;
using Keyed = CollectionSupport::Member<Key>;
using NumberMap = Fen::HashMap<Number, unsigned>;
using TextMap = Fen::HashMap<Text, Fen::Name>;
using KeyedMap = Fen::HashMap<Keyed, Key>;

std::vector<unsigned> keys(NumberMap const& map) {
   std::vector<unsigned> result;
   for (NumberMap::IteratorConst it(&map); it; ++it) {
      result.push_back(it->fwkKey());
   }
   return result;
}

Fen::Ptr<Number> insert(NumberMap& map, unsigned key) {
   auto member = Fen::makePtr<Number>(key);
   map.newMember(member);
   return member;
}

static_assert(sizeof(NumberMap) == 32, "an empty collection stays small");
static_assert(Fen::bitReverse(1u) == 0x80000000u);
static_assert(Fen::bitReverse(0x12345678u) == 0x1e6a2c48u);
static_assert(Fen::bitReverse(Fen::bitReverse(0xdeadbeefu)) == 0xdeadbeefu);

TEST(HashMap, HashesOfKeys) {
   EXPECT_EQ(Fen::HashOf<unsigned>::hash(77), 77u);
   EXPECT_EQ(Fen::HashOf<int>::hash(-1), 0xffffffffu);
   EXPECT_EQ(Fen::HashOf<std::uint64_t>::hash(0x100000002ull), 3u);
   enum class Color { red, green };
   EXPECT_EQ(Fen::HashOf<Color>::hash(Color::green), 1u);
   EXPECT_EQ(Fen::HashOf<Fen::Name>::hash("ethernet1"), Fen::Name("ethernet1").hash());
   EXPECT_EQ(Fen::HashOf<Fen::String8>::hash("ethernet1"), Fen::Name("ethernet1").hash());
   EXPECT_EQ(Fen::HashOf<Key>::hash(Key{1, 99}), 99u);
   EXPECT_EQ(Fen::rhashOf<unsigned>(1), 0x80000000u);
}

TEST(HashMap, EmptyMap) {
   NumberMap map;
   EXPECT_EQ(map.size(), 0);
   EXPECT_EQ(map.version(), 0);
   EXPECT_EQ(map.bucketCount(), 1);
   EXPECT_FALSE(map.bulkDelete());
   NumberMap::IteratorConst it(&map);
   EXPECT_EQ(it.bucket(), -1);
   EXPECT_FALSE(it.hasBookmark());
   it.advance();
   EXPECT_EQ(it.bucket(), -1);
   NumberMap::IteratorConst fromKey(&map, 5);
   EXPECT_EQ(fromKey.bucket(), -1);
   EXPECT_FALSE(fromKey.hasBookmark());
   EXPECT_EQ(map.startAtHash(5), nullptr);
   EXPECT_EQ(map.find(5), nullptr);
   EXPECT_EQ(map.memberDel(5), nullptr);
   EXPECT_EQ(map.version(), 0);
   EXPECT_THROW(Fen::ValidPtr<Number>(map.startAtHash(5)), Fen::RangeException);
}

TEST(HashMap, IteratorOnNoMapIsAtTheEnd) {
   NumberMap::IteratorConst none;
   EXPECT_FALSE(none.hasBookmark());
   EXPECT_EQ(none.bucket(), -1);
   none.reset();
   none.advance();
   NumberMap::Iterator null(nullptr);
   EXPECT_FALSE(null);
   null.deleteAll();
   EXPECT_EQ(null.memberDel(), nullptr);
}

// The shift of the bucket formula would be that of a whole word with one bucket.
TEST(HashMap, OneBucketHasIndexZero) {
   NumberMap map;
   auto member = insert(map, 0xffffffffu);
   EXPECT_EQ(map.bucketCount(), 1);
   NumberMap::IteratorConst it(&map);
   EXPECT_EQ(it.bucket(), 0);
   EXPECT_EQ(map.find(0xffffffffu), member.ptr());
   EXPECT_EQ(map.find(0), nullptr);
   NumberMap::IteratorConst fromKey(&map, 0);
   EXPECT_EQ(fromKey.bucket(), 0);
   EXPECT_EQ(fromKey->fwkKey(), 0xffffffffu);
}

TEST(HashMap, InsertionOrderHasNoEffectOnTheOrderOfIteration) {
   std::vector<unsigned> order{1, 2, 4};
   std::vector<unsigned> const expected{4, 2, 1}; // by the reversed bits
   do {
      NumberMap map;
      for (unsigned key : order) {
         insert(map, key);
      }
      EXPECT_EQ(keys(map), expected);
   } while (std::next_permutation(order.begin(), order.end()));
}

TEST(HashMap, EqualHashesAreOrderedByKey) {
   std::vector<unsigned> order{30, 10, 20};
   std::sort(order.begin(), order.end());
   do {
      KeyedMap map;
      for (unsigned value : order) {
         map.newMember(Fen::makePtr<Keyed>(Key{value, 7}));
      }
      std::vector<unsigned> seen;
      for (KeyedMap::IteratorConst it(&map); it; ++it) {
         seen.push_back(it->fwkKey().value);
         EXPECT_EQ(map.find(it->fwkKey()), it.ptr());
      }
      EXPECT_EQ(seen, (std::vector<unsigned>{10, 20, 30}));
      EXPECT_EQ(map.find(Key{15, 7}), nullptr);
      EXPECT_EQ(map.startAtHash(Key{15, 7})->fwkKey().value, 20u);
      EXPECT_EQ(map.startAtHash(Key{31, 7}), nullptr);
      EXPECT_FALSE(map.auditErrors());
   } while (std::next_permutation(order.begin(), order.end()));
}

TEST(HashMap, OrderDoesNotDependOnTheBucketCount) {
   NumberMap grown;
   for (unsigned key = 0; key < 1000; ++key) {
      insert(grown, key);
   }
   for (unsigned key = 300; key < 1000; ++key) {
      grown.memberDel(key);
   }
   NumberMap fresh;
   for (unsigned key = 300; key-- > 0;) {
      insert(fresh, key);
   }
   EXPECT_NE(grown.bucketCount(), fresh.bucketCount());
   EXPECT_EQ(keys(grown), keys(fresh));
}

TEST(HashMap, NewMemberLinksCountsAndReturnsTheWalk) {
   NumberMap map;
   auto member = Fen::makePtr<Number>(8u);
   EXPECT_EQ(map.newMember(member, Fen::bitReverse(8)), 0u);
   EXPECT_EQ(member->fenReferenceCount(), 2u);
   EXPECT_EQ(map.size(), 1);
   EXPECT_EQ(map.version(), 1);
   EXPECT_TRUE(member->fwkHmLink().isLinked());
   EXPECT_EQ(member->fwkHmLink().rhash(), 0x10000000u);
   auto behind = Fen::makePtr<Number>(1u);
   EXPECT_EQ(map.newMember(behind), 1u);
   EXPECT_EQ(map.version(), 2);
   auto before = Fen::makePtr<Number>(0u);
   EXPECT_EQ(map.newMember(before), 0u);
   EXPECT_EQ(before->fwkHmLink().fwkHmNext(), member.ptr());
   EXPECT_EQ(map.version(), 3);
   EXPECT_EQ(before->fenReferenceCount(), 2u);
   EXPECT_EQ(member->fenReferenceCount(), 2u);
}

// newMember asks nobody whether a key is in use. Both members stay, in order of insertion.
TEST(HashMap, MembersWithOneKeyStandInOrderOfInsertion) {
   NumberMap map;
   auto first = insert(map, 3);
   auto second = insert(map, 3);
   EXPECT_EQ(map.size(), 2);
   EXPECT_EQ(map.find(3), first.ptr());
   EXPECT_EQ(map.memberDel(3), first);
   EXPECT_EQ(map.find(3), second.ptr());
}

using HashMapDeathTest = testing::Test;

TEST(HashMapDeathTest, MemberWithALinkIsNotInserted) {
   NumberMap map;
   auto first = insert(map, 0);
   insert(map, 2); // in one chain with 0 until there are four buckets
   ASSERT_NE(first->fwkHmLink().fwkHmNext(), nullptr);
   NumberMap other;
   EXPECT_DEATH(other.newMember(first), "t->fwkHmNext\\(\\) == 0");
}

TEST(HashMapDeathTest, LastMemberOfAChainIsNotInsertedElsewhere) {
   NumberMap map;
   auto member = insert(map, 0);
   NumberMap other;
   EXPECT_DEATH(other.newMember(member), "member is in no other map");
}

TEST(HashMapDeathTest, BucketCountIsAPowerOfTwo) {
   class Map : public Fen::HashMapGeneric {
    public:
      using HashMapGeneric::HashMapGeneric;
   };
   EXPECT_DEATH(Map(3), "bucket count is a power of two");
   EXPECT_EQ(Map(8).bucketCount(), 8);
}

TEST(HashMap, FindByAnythingThatComparesWithTheKey) {
   TextMap map;
   auto member = Fen::makePtr<Text>("ethernet1");
   map.newMember(member);
   std::string_view const text = "ethernet1";
   auto const rhash = Fen::bitReverse(Fen::String8::hashOf(text));
   EXPECT_EQ(map.find(rhash, text), member.ptr());
   EXPECT_EQ(map.find(rhash, std::string_view("ethernet2")), nullptr);
   EXPECT_EQ(map.memberDel(rhash, text), member);
}

TEST(HashMap, RemovalHandsOverTheReference) {
   NumberMap map;
   auto const member = insert(map, 5);
   {
      Fen::Ptr<Number> const removed = map.memberDel(5);
      EXPECT_EQ(removed, member);
      EXPECT_EQ(member->fenReferenceCount(), 2u);
   }
   EXPECT_EQ(member->fenReferenceCount(), 1u);
   EXPECT_EQ(map.version(), 2);
   EXPECT_EQ(member->fwkHmLink().fwkHmNext(), nullptr);
   EXPECT_FALSE(member->fwkHmLink().isLinked());
   EXPECT_EQ(map.memberDel(5), nullptr);
   EXPECT_EQ(map.deleteMember(member.ptr()), nullptr);
   EXPECT_EQ(map.version(), 2);
   map.newMember(member);
   EXPECT_EQ(map.deleteMember(member.ptr()), member);
   auto const twin = insert(map, 5);
   EXPECT_EQ(map.deleteMember(member.ptr()), nullptr) << "another member with the key";
   EXPECT_EQ(map.find(5), twin.ptr());
}

TEST(HashMap, GrowsWhenThereAreMoreMembersThanBuckets) {
   NumberMap map;
   for (unsigned key = 0; key < 1000; ++key) {
      insert(map, key * 7919u);
      EXPECT_GE(map.bucketCount(), map.size());
      EXPECT_LE(map.bucketCount(), std::max(1, 2 * (map.size() - 1)));
      EXPECT_EQ(map.version(), static_cast<int>(key) + 1);
      ASSERT_FALSE(map.auditErrors());
   }
}

TEST(HashMap, ShrinksWhenLessThanAQuarterIsUsedButNotAtOnceAgain) {
   NumberMap map;
   for (unsigned key = 0; key < 1024; ++key) {
      insert(map, key);
   }
   EXPECT_EQ(map.bucketCount(), 1024);
   for (unsigned key = 1023; key >= 256; --key) {
      map.memberDel(key);
   }
   EXPECT_EQ(map.bucketCount(), 1024);
   map.memberDel(255);
   EXPECT_EQ(map.bucketCount(), 512);
   for (int i = 0; i < 10; ++i) {
      insert(map, 255);
      EXPECT_EQ(map.bucketCount(), 512);
      map.memberDel(255);
      EXPECT_EQ(map.bucketCount(), 512);
   }
   EXPECT_FALSE(map.auditErrors());
   while (!map.empty()) {
      map.memberDel(static_cast<unsigned>(map.size()) - 1);
   }
   EXPECT_EQ(map.bucketCount(), 1);
}

TEST(HashMap, StartAtHash) {
   NumberMap map;
   // By reversed bits: 4, 2, 6, 1, in four buckets: 4 in the first, 2 and 6 in the second, 1 in the
   // third.
   for (unsigned key : {1u, 2u, 4u, 6u}) {
      insert(map, key);
   }
   ASSERT_EQ(map.bucketCount(), 4);
   ASSERT_EQ(keys(map), (std::vector<unsigned>{4, 2, 6, 1}));
   EXPECT_EQ(map.startAtHash(2)->fwkKey(), 2u) << "the key itself";
   EXPECT_EQ(map.startAtHash(0)->fwkKey(), 4u) << "the next one of the chain";
   EXPECT_EQ(map.startAtHash(10)->fwkKey(), 6u) << "between two of a chain";
   EXPECT_EQ(map.startAtHash(14)->fwkKey(), 1u) << "the end of a chain leads to the next bucket";
   EXPECT_EQ(map.startAtHash(5), nullptr) << "behind the last member";
   EXPECT_EQ(map.startAtHash(3), nullptr) << "in an empty bucket behind the last member";
}

TEST(HashMap, DestructorDropsMembersWithoutRecursion) {
   ASSERT_EQ(Keyed::alive, 0);
   {
      KeyedMap map;
      for (unsigned value = 200000; value-- > 0;) { // each in front of one long chain
         map.newMember(Fen::makePtr<Keyed>(Key{value, 1}));
      }
      EXPECT_EQ(Keyed::alive, 200000);
      EXPECT_FALSE(map.crowded());
   }
   EXPECT_EQ(Keyed::alive, 0);
}

TEST(HashMap, DestructorOfAMemberMayTakeOutOthersOfADyingMap) {
   {
      NumberMap map;
      for (unsigned key = 0; key < 64; ++key) {
         insert(map, key)->onEnd = [&map, key] {
            EXPECT_FALSE(map.auditErrors());
            map.memberDel((key + 1) % 64);
         };
      }
   }
   EXPECT_EQ(Number::alive, 0);
}

TEST(HashMap, CrowdedWhenKeysCollideBeyondReason) {
   std::uint64_t const before = Fen::HashMapGeneric::crowdedInsertions();
   KeyedMap map;
   unsigned const limit = Fen::HashMapGeneric::crowdedWalk;
   for (unsigned value = 0; value <= limit; ++value) {
      EXPECT_EQ(map.newMember(Fen::makePtr<Keyed>(Key{value, 5})), value);
   }
   EXPECT_FALSE(map.crowded());
   EXPECT_EQ(map.longestWalk(), limit);
   EXPECT_EQ(Fen::HashMapGeneric::crowdedInsertions(), before);
   map.newMember(Fen::makePtr<Keyed>(Key{limit + 1, 5}));
   EXPECT_TRUE(map.crowded());
   EXPECT_EQ(Fen::HashMapGeneric::crowdedInsertions(), before + 1);
   for (unsigned value = 0; value < 3000; ++value) {
      map.newMember(Fen::makePtr<Keyed>(Key{value, value * 0x9e3779b9u}));
   }
   EXPECT_TRUE(map.crowded()) << "it stays so while the map grows";
   KeyedMap::Iterator(&map).deleteAll();
   EXPECT_FALSE(map.crowded()) << "an empty map is as good as new";
   EXPECT_EQ(map.longestWalk(), 0u);
}

TEST(HashMap, HonestKeysNeverCrowd) {
   TextMap map;
   for (int i = 0; i < 20000; ++i) {
      map.newMember(Fen::makePtr<Text>(Fen::Name(Fen::format("interface/%d/state", i))));
   }
   EXPECT_EQ(map.longestWalk(), 0u);
   NumberMap numbers;
   for (unsigned key = 0; key < 20000; ++key) {
      insert(numbers, key);
   }
   EXPECT_EQ(numbers.longestWalk(), 0u);
}

TEST(HashMapGeneric, VTable) {
   auto const* const vtable = Fen::HashMapVTable<Number, unsigned>::instance();
   EXPECT_EQ(vtable, (Fen::HashMapVTable<Number, unsigned>::instance()));
   auto member = Fen::makePtr<Number>(6u);
   auto other = Fen::makePtr<Number>(7u);
   unsigned const five = 5;
   unsigned const six = 6;
   EXPECT_EQ(vtable->hash(member.ptr()), Fen::bitReverse(6));
   EXPECT_TRUE(vtable->keyEquals(&six, member.ptr()));
   EXPECT_FALSE(vtable->keyEquals(&five, member.ptr()));
   EXPECT_TRUE(vtable->keyLessThan(&five, member.ptr()));
   EXPECT_FALSE(vtable->keyLessThan(&six, member.ptr()));
   EXPECT_TRUE(vtable->keyLessThan(nullptr, member.ptr()));
   vtable->setNext(member.ptr(), other.ptr());
   EXPECT_EQ(member->fwkHmLink().fwkHmNext(), other.ptr());
   EXPECT_EQ(other->fenReferenceCount(), 2u);
   vtable->setNext(member.ptr(), other.ptr());
   EXPECT_EQ(other->fenReferenceCount(), 2u);
   vtable->setNext(member.ptr(), nullptr);
   EXPECT_EQ(other->fenReferenceCount(), 1u);
}

TEST(HashMapGeneric, WalksAndRemovesLikeTheTypedHalf) {
   auto const* const vtable = Fen::HashMapVTable<Number, unsigned>::instance();
   NumberMap map;
   std::vector<Fen::Ptr<Number>> members;
   for (unsigned key = 0; key < 100; ++key) {
      members.push_back(insert(map, key * key));
   }
   auto const field = NumberMap::linkField(members[0].ptr());
   std::vector<unsigned> seen;
   int bucket = 77;
   Fen::PtrInterface* at = map.findNextG(vtable, field, 0, nullptr, &bucket, nullptr);
   while (at != nullptr) {
      auto const* const member = static_cast<Number*>(at);
      EXPECT_EQ(bucket, NumberMap::IteratorConst(&map, member->fwkKey()).bucket());
      seen.push_back(member->fwkKey());
      at = map.findNextG(vtable, field, 0, at, &bucket, &member->fwkKey());
   }
   EXPECT_EQ(bucket, -1);
   EXPECT_EQ(seen, keys(map));

   int const version = map.version();
   unsigned const absent = 3;
   EXPECT_EQ(map.memberDelG(vtable, field, 0, Fen::bitReverse(absent), &absent), nullptr);
   EXPECT_EQ(map.version(), version);
   unsigned const key = 49;
   EXPECT_EQ(map.memberDelG(vtable, field, 0, Fen::bitReverse(key), &key), members[7]);
   EXPECT_EQ(map.version(), version + 1);
   EXPECT_EQ(members[7]->fenReferenceCount(), 1u);
   EXPECT_FALSE(members[7]->fwkHmLink().isLinked());
   EXPECT_EQ(map.deleteMemberG(vtable, field, 0, Fen::bitReverse(key), members[7].ptr()), nullptr);
   EXPECT_EQ(map.deleteMemberG(vtable, field, 0, Fen::bitReverse(64), members[8].ptr()),
             members[8]);
   EXPECT_EQ(map.size(), 98);
   EXPECT_FALSE(map.auditErrors());

   map.emptyAllBucketsG(vtable, field, 0);
   EXPECT_EQ(map.size(), 0);
   EXPECT_EQ(members[0]->fenReferenceCount(), 1u);
   EXPECT_EQ(map.bucketCount(), 128) << "emptying alone does not shrink";
   map.maybeShrinkG(vtable, field, 0);
   EXPECT_EQ(map.bucketCount(), 1);
   map.maybeGrowG(vtable, field, 0);
   EXPECT_EQ(map.bucketCount(), 1);
}

TEST(HashMapGeneric, NextBucket) {
   NumberMap map;
   for (unsigned key : {1u, 2u, 4u, 6u}) {
      insert(map, key);
   }
   int bucket = -1;
   EXPECT_EQ(static_cast<Number*>(map.findNextBucketG(&bucket))->fwkKey(), 4u);
   EXPECT_EQ(bucket, 0);
   EXPECT_EQ(static_cast<Number*>(map.findNextBucketG(&bucket))->fwkKey(), 2u);
   EXPECT_EQ(bucket, 1);
   EXPECT_EQ(static_cast<Number*>(map.findNextBucketG(&bucket))->fwkKey(), 1u);
   EXPECT_EQ(bucket, 2);
   EXPECT_EQ(map.findNextBucketG(&bucket), nullptr);
   EXPECT_EQ(bucket, -1);
}

// A walker that has taken over the version remembers a bucket number, which shrinking makes wrong.
TEST(HashMapGeneric, ShrinkingApartFromRemovalChangesTheVersion) {
   auto const* const vtable = Fen::HashMapVTable<Number, unsigned>::instance();
   NumberMap map;
   std::vector<Fen::Ptr<Number>> members;
   for (unsigned key = 0; key < 64; ++key) {
      members.push_back(insert(map, key));
   }
   auto const field = NumberMap::linkField(members[0].ptr());
   for (unsigned key = 8; key < 64; ++key) {
      map.memberDelG(vtable, field, 0, Fen::bitReverse(key), &key);
   }
   NumberMap::IteratorConst it(&map);
   std::vector<unsigned> const expected = keys(map);
   int const version = map.version();
   map.maybeShrinkG(vtable, field, 0);
   EXPECT_EQ(map.bucketCount(), 32);
   EXPECT_NE(map.version(), version);
   std::vector<unsigned> seen;
   for (; it; ++it) {
      seen.push_back(it->fwkKey());
   }
   EXPECT_EQ(seen, expected);
}

} // namespace
