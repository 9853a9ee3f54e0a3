/// Growing, shrinking, emptying and searching of hash maps without knowing their members' type.
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/HashMapGeneric.h>

#include <algorithm>

namespace Fen {

namespace {

constexpr int largestBucketCount = 1 << 30;

} // namespace

std::uint64_t HashMapGeneric::crowdedInsertions_ = 0;

HashMapGeneric::HashMapGeneric(int bucketCount)
   : bucketCount_(bucketCount), buckets_(bucketsNew(bucketCount)) {}

HashMapGeneric::~HashMapGeneric() {
   if (bucketCount_ > 1) {
      memDel(buckets_);
   }
}

HashMapLink& HashMapGeneric::linkOf(PtrInterface const* member, std::ptrdiff_t linkField) {
   auto* const bytes = reinterpret_cast<char*>(const_cast<PtrInterface*>(member));
   return *reinterpret_cast<HashMapLink*>(bytes + linkField);
}

PtrInterface** HashMapGeneric::bucketsNew(int bucketCount) {
   FEN_ASSERT(bucketCount > 0 && std::has_single_bit(static_cast<unsigned>(bucketCount)),
              "bucket count is a power of two");
   if (bucketCount == 1) {
      single_.head = nullptr;
      return &single_.head;
   }
   auto const count = static_cast<std::size_t>(bucketCount);
   auto** const buckets =
      static_cast<PtrInterface**>(FenMemPool::allocate(count * sizeof(PtrInterface*)));
   std::fill_n(buckets, count, nullptr);
   single_.longestWalk = 0;
   return buckets;
}

PtrInterface* HashMapGeneric::findNextG(HashMapVTableGeneric const* vtable,
                                        std::ptrdiff_t linkField, unsigned,
                                        PtrInterface const* member, int* bucketOut,
                                        void const* key) const {
   *bucketOut = -1;
   if (key == nullptr) {
      return findNextBucketG(bucketOut);
   }
   std::uint32_t const rhash = vtable->hash(member);
   *bucketOut = bucketOf(rhash);
   for (PtrInterface* at = buckets_[*bucketOut]; at != nullptr;) {
      HashMapLink const& link = linkOf(at, linkField);
      if (link.rhash() > rhash || (link.rhash() == rhash && vtable->keyLessThan(key, at))) {
         return at;
      }
      at = link.fwkHmNext();
   }
   return findNextBucketG(bucketOut);
}

Ptr<PtrInterface> HashMapGeneric::memberDelG(HashMapVTableGeneric const* vtable,
                                             std::ptrdiff_t linkField, unsigned flags,
                                             std::uint32_t rhash, void const* key) {
   for (PtrInterface* at = buckets_[bucketOf(rhash)]; at != nullptr;) {
      HashMapLink const& link = linkOf(at, linkField);
      if (link.rhash() > rhash) {
         break;
      }
      if (link.rhash() == rhash && vtable->keyEquals(key, at)) {
         return deleteMemberG(vtable, linkField, flags, rhash, at);
      }
      at = link.fwkHmNext();
   }
   return {};
}

Ptr<PtrInterface> HashMapGeneric::deleteMemberG(HashMapVTableGeneric const* vtable,
                                                std::ptrdiff_t linkField, unsigned,
                                                std::uint32_t rhash, PtrInterface* member) {
   int const bucket = bucketOf(rhash);
   PtrInterface* before = nullptr;
   for (PtrInterface* at = buckets_[bucket]; at != nullptr && at != member;) {
      HashMapLink const& link = linkOf(at, linkField);
      if (link.rhash() > rhash) {
         return {};
      }
      before = at;
      at = link.fwkHmNext();
   }
   PtrInterface* const found =
      before != nullptr ? linkOf(before, linkField).fwkHmNext() : buckets_[bucket];
   if (found == nullptr) {
      return {};
   }
   Ptr<PtrInterface> removed(found);
   HashMapLink& link = linkOf(found, linkField);
   if (before != nullptr) {
      vtable->setNext(before, link.fwkHmNext());
   } else {
      // The bucket's reference is counted as a link's is: the next one's is taken first.
      Ptr<PtrInterface> next(link.fwkHmNext());
      buckets_[bucket] = next.release();
      found->fenReferenceDel();
   }
   link.linked_ = 0;
   --size_;
   ++version_;
   vtable->setNext(found, nullptr);
   return removed;
}

void HashMapGeneric::maybeGrowG(HashMapVTableGeneric const*, std::ptrdiff_t linkField, unsigned) {
   int wanted = bucketCount_;
   while (wanted < size_ && wanted < largestBucketCount) {
      wanted *= 2;
   }
   if (wanted != bucketCount_) {
      rehash(wanted, linkField);
   }
}

void HashMapGeneric::maybeShrinkG(HashMapVTableGeneric const*, std::ptrdiff_t linkField, unsigned) {
   int wanted = bucketCount_;
   while (wanted > 1 && static_cast<std::int64_t>(size_) * 4 < wanted) {
      wanted /= 2;
   }
   if (wanted != bucketCount_) {
      rehash(wanted, linkField);
      ++version_;
   }
}

// One pass in order. Members keep their order, so each new chain is a run of neighbours: `place` is
// where the next member of the present run goes, and is closed with null when the run ends. Every
// reference moves from one place to another, so nothing is counted.
void HashMapGeneric::rehash(int bucketCount, std::ptrdiff_t linkField) {
   PtrInterface** const oldBuckets = buckets_;
   int const oldCount = bucketCount_;
   PtrInterface* const oldSingle = oldCount == 1 ? single_.head : nullptr;
   std::size_t const walk = oldCount == 1 ? 0 : single_.longestWalk;
   buckets_ = bucketsNew(bucketCount);
   bucketCount_ = bucketCount;
   if (bucketCount > 1) {
      single_.longestWalk = walk;
   }
   int last = -1;
   PtrInterface** place = nullptr;
   for (int i = 0; i < oldCount; ++i) {
      for (PtrInterface* at = oldCount == 1 ? oldSingle : oldBuckets[i]; at != nullptr;) {
         HashMapLink& link = linkOf(at, linkField);
         PtrInterface* const next = link.next_;
         if (int const bucket = bucketOf(link.rhash_); bucket != last) {
            last = bucket;
            place = &buckets_[bucket];
         }
         *place = at;
         link.next_ = nullptr;
         place = &link.next_;
         at = next;
      }
   }
   if (oldCount > 1) {
      memDel(oldBuckets);
   }
}

void HashMapGeneric::emptyAllBucketsG(HashMapVTableGeneric const* vtable, std::ptrdiff_t linkField,
                                      unsigned) {
   // From the beginning each time a pass has ended with members left: a destructor that takes other
   // members out may have changed the number of buckets.
   while (size_ != 0) {
      for (int bucket = -1; findNextBucketG(&bucket) != nullptr; --bucket) {
         auto member = Ptr<PtrInterface>::adopt(buckets_[bucket]);
         HashMapLink& link = linkOf(member.ptr(), linkField);
         Ptr<PtrInterface> next(link.fwkHmNext());
         buckets_[bucket] = next.release();
         link.linked_ = 0;
         --size_;
         ++version_;
         vtable->setNext(member.ptr(), nullptr);
      }
   }
}

void HashMapGeneric::walkNoted(unsigned passed) {
   if (bucketCount_ > 1 && passed > single_.longestWalk) {
      single_.longestWalk = passed;
   }
   if (passed > crowdedWalk) {
      ++crowdedInsertions_;
   }
}

} // namespace Fen
