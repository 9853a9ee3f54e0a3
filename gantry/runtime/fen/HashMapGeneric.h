/// The half of the hash map that does not know the type of its members: the bucket array, growing,
/// shrinking, emptying, and searching through a table of operations. HashMap.h is the typed half,
/// whose lookups and walks are compiled inline.
///
/// A map belongs to the object whose collection it is and lives, like all collections, on the
/// activity loop's thread. It holds one reference to each member: the bucket's head holds the first
/// member of a chain, each member's link the next one.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/fen/PtrInterface.h>

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Fen {

/// The bits of a word in reverse order.
constexpr std::uint32_t bitReverse(std::uint32_t word) {
   word = ((word >> 1) & 0x55555555u) | ((word & 0x55555555u) << 1);
   word = ((word >> 2) & 0x33333333u) | ((word & 0x33333333u) << 2);
   word = ((word >> 4) & 0x0f0f0f0fu) | ((word & 0x0f0f0f0fu) << 4);
   return __builtin_bswap32(word);
}

/// What a member of a map carries: the counted link to the next member of its bucket, and its
/// reversed hash, kept so that a walk along a chain rarely needs a key. A member has one link and
/// so is in at most one map at a time. Only maps change a link.
class HashMapLink {
 public:
   HashMapLink() = default;
   HashMapLink(HashMapLink const&) = delete;
   HashMapLink& operator=(HashMapLink const&) = delete;

   /// The next member of the bucket, null for the last one and outside of maps.
   PtrInterface* fwkHmNext() const { return next_; }
   /// Stores the link: takes a reference to `next` and drops the one to the former next member.
   void fwkHmNextIs(PtrInterface* next) {
      if (next != nullptr) {
         next->fenReferenceNew();
      }
      PtrInterface* const former = next_;
      next_ = next;
      if (former != nullptr) {
         former->fenReferenceDel();
      }
   }
   /// The reversed hash under which the member was put into its map.
   std::uint32_t rhash() const { return rhash_; }
   /// True while the member is in a map.
   bool isLinked() const { return linked_ != 0; }

 private:
   friend class HashMapGeneric;

   PtrInterface* next_ = nullptr;
   std::uint32_t rhash_ = 0;
   std::uint32_t linked_ = 0;
};

/// The operations through which HashMapGeneric sees members and keys, in this order.
class GANTRY_EXPORT HashMapVTableGeneric {
 public:
   /// The member's reversed hash, worked out from its key.
   virtual std::uint32_t hash(PtrInterface const* member) const = 0;
   /// True when `key` equals the member's key.
   virtual bool keyEquals(void const* key, PtrInterface const* member) const = 0;
   /// True when `key` is less than the member's key; a null `key` is less than everything.
   virtual bool keyLessThan(void const* key, PtrInterface const* member) const = 0;
   /// Stores the member's link, with reference counting.
   virtual void setNext(PtrInterface* member, PtrInterface* next) const = 0;

 protected:
   HashMapVTableGeneric() = default;
   ~HashMapVTableGeneric() = default;
};

/// The type-blind map.
///
/// Order. A bucket is the top bits of the reversed hash, and each chain is sorted by (reversed
/// hash, key), so the whole map is in one order of (reversed hash, key) that depends on nothing but
/// the keys, whatever the number of buckets.
///
/// Growth. The bucket count is a power of two, at least 1. It doubles when there are more members
/// than buckets, and is halved, as often as needed, when fewer than a quarter of the buckets'
/// number of members are left. Between the two lies a factor of at least two, so that the cost of
/// rehashing is constant per insertion or removal on average. A rehash is one pass over the members
/// in order, cutting chains where the new bucket number changes; nothing is sorted or counted. A
/// map with one bucket keeps it inside itself and owns no memory.
///
/// Names. `linkField` is the distance in bytes from a member's PtrInterface to its HashMapLink;
/// `flags` is 0 in all uses. Operations of a map never throw but for want of memory.
class GANTRY_EXPORT HashMapGeneric {
 public:
   explicit HashMapGeneric(int bucketCount);
   HashMapGeneric(HashMapGeneric const&) = delete;
   HashMapGeneric& operator=(HashMapGeneric const&) = delete;

   /// True while Iterator::deleteAll runs on this map; no shrinking then.
   bool bulkDelete() const { return bulkDelete_ != 0; }
   /// Differs after every insertion and removal.
   int version() const { return static_cast<int>(version_); }
   int size() const { return size_; }
   bool empty() const { return size_ == 0; }
   int bucketCount() const { return bucketCount_; }

   /// Number of members that an insertion may have to pass before the map counts as crowded. With
   /// the load kept at one member per bucket at most, a walk of this length does not happen by
   /// chance to hashed keys (more than 30 is already beyond expectation in any map that fits into
   /// memory). The limit is far above that because an integer's hash is the integer itself, and
   /// honest integers that differ only in their upper bits share a chain; and it is low enough that
   /// filling a chain up to it costs a few milliseconds all in all.
   static constexpr unsigned crowdedWalk = 1024;
   /// True once an insertion had to pass more than crowdedWalk members, until the map has one
   /// bucket again. Whoever takes members from a stranger, such as a connection to a peer, treats
   /// a crowded map as an attack.
   bool crowded() const { return longestWalk() > crowdedWalk; }
   /// The longest walk of an insertion so far, in members passed; walks up to notedWalk count as 0.
   unsigned longestWalk() const {
      return bucketCount_ == 1 ? 0u : static_cast<unsigned>(single_.longestWalk);
   }
   static constexpr unsigned notedWalk = 16;
   /// Number of insertions into any map of the process that had to pass more than crowdedWalk
   /// members. A reader of a stranger's messages compares it before and after a message, without
   /// knowing which collections the message has reached.
   static std::uint64_t crowdedInsertions() { return crowdedInsertions_; }

   /// The member that follows `member`, whose key is `key`, in the map's order; `member` itself
   /// need not be in the map any more. With null for both the first member. Stores its bucket, or
   /// -1 with the result null when there is none.
   PtrInterface* findNextG(HashMapVTableGeneric const* vtable, std::ptrdiff_t linkField,
                           unsigned flags, PtrInterface const* member, int* bucketOut,
                           void const* key) const;
   /// The head of the first non-empty bucket behind *bucket, which may be -1; stores its number, or
   /// -1 with the result null when there is none.
   PtrInterface* findNextBucketG(int* bucket) const {
      for (int at = *bucket + 1; at < bucketCount_; ++at) {
         if (PtrInterface* const head = buckets_[at]; head != nullptr) {
            *bucket = at;
            return head;
         }
      }
      *bucket = -1;
      return nullptr;
   }
   /// Takes the member with this key out; null when there is none. Neither this nor deleteMemberG
   /// shrinks the map: callers call maybeShrinkG behind them unless bulkDelete() is set.
   Ptr<PtrInterface> memberDelG(HashMapVTableGeneric const* vtable, std::ptrdiff_t linkField,
                                unsigned flags, std::uint32_t rhash, void const* key);
   /// Takes this very member out; null when it is not in the map.
   Ptr<PtrInterface> deleteMemberG(HashMapVTableGeneric const* vtable, std::ptrdiff_t linkField,
                                   unsigned flags, std::uint32_t rhash, PtrInterface* member);
   /// Makes the bucket array larger if the members ask for it.
   void maybeGrowG(HashMapVTableGeneric const* vtable, std::ptrdiff_t linkField, unsigned flags);
   /// Makes the bucket array smaller if the members allow it. That counts as a change of the
   /// version, since walkers remember bucket numbers.
   void maybeShrinkG(HashMapVTableGeneric const* vtable, std::ptrdiff_t linkField, unsigned flags);
   /// Drops all members, one by one, with no notification. A member's destructor may look at the
   /// map, which is whole at each moment, but should not insert.
   void emptyAllBucketsG(HashMapVTableGeneric const* vtable, std::ptrdiff_t linkField,
                         unsigned flags);

 protected:
   /// Frees the bucket array. The typed half has emptied the buckets before.
   ~HashMapGeneric();

   /// The number of leading zero bits of the bucket count plus one says how far to shift; for one
   /// bucket that is 32, which in 64 bits gives bucket 0 without a branch.
   int bucketOf(std::uint32_t rhash) const {
      int const shift = std::countl_zero(static_cast<std::uint32_t>(bucketCount_)) + 1;
      return static_cast<int>(static_cast<std::uint64_t>(rhash) >> shift);
   }
   PtrInterface* bucketHead(int bucket) const { return buckets_[bucket]; }
   PtrInterface** bucketPlace(int bucket) { return &buckets_[bucket]; }
   /// Where a link keeps its pointer, for walks that change it.
   static PtrInterface** placeOf(HashMapLink& link) { return &link.next_; }

   /// Links a member before what stands at `place`, and takes a reference to it.
   void linkAt(PtrInterface** place, PtrInterface* member, HashMapLink& link, std::uint32_t rhash) {
      link.rhash_ = rhash;
      link.linked_ = 1;
      link.next_ = *place; // the reference moves from one link to the other
      *place = member;
      member->fenReferenceNew();
      ++size_;
      ++version_;
   }
   /// Unlinks what stands at `place`; the map's reference to it goes to the caller.
   void unlinkAt(PtrInterface** place, HashMapLink& link) {
      *place = link.next_;
      link.next_ = nullptr;
      link.linked_ = 0;
      --size_;
      ++version_;
   }
   void walkNoted(unsigned passed);
   int bulkDeleteIs(int value) { return std::exchange(bulkDelete_, value); }
   bool mayShrink() const {
      return bucketCount_ > 1 && static_cast<std::int64_t>(size_) * 4 < bucketCount_;
   }

 private:
   static HashMapLink& linkOf(PtrInterface const* member, std::ptrdiff_t linkField);
   void rehash(int bucketCount, std::ptrdiff_t linkField);
   PtrInterface** bucketsNew(int bucketCount);

   int bulkDelete_ = 0;
   std::uint32_t version_ = 0; // unsigned: it may wrap around
   int size_ = 0;
   int bucketCount_;
   PtrInterface** buckets_;
   /// The only bucket of a map with one bucket. A map with more has no use for it and keeps there
   /// the longest walk, which a map with one bucket cannot have.
   union {
      PtrInterface* head;
      std::size_t longestWalk;
   } single_;

   static std::uint64_t crowdedInsertions_;
};

} // namespace Fen
