/// The keyed collection of entities and machines: an intrusive hash map whose members carry the
/// link, whose order of iteration is fixed by the keys alone, and whose iterators stay valid
/// whatever happens to the map while they walk it.
///
/// A map belongs to the object whose collection it is, lives on the activity loop's thread and
/// holds one reference to each member. It notifies nobody by itself: its owner's accessors do.
///
/// A member class T derives from PtrInterface (not virtually) and has `HashMapLink& fwkHmLink()`
/// and, unless HashMapKey<T, K> is specialised, `fwkKey() const`. A member's key must not change
/// while the member is in a map or an iterator stands on it.
#pragma once

#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/HashMapGeneric.h>

#include <new>
#include <type_traits>
#include <utility>

namespace Fen {

/// The hash of a key, without a seed: an integer or enumerator is its own hash, any other key has
/// a member `hash()`.
template <class K>
struct HashOf {
   static std::uint32_t hash(K const& key) {
      if constexpr (std::is_integral_v<K> || std::is_enum_v<K>) {
         if constexpr (sizeof(K) > sizeof(std::uint32_t)) {
            auto const wide = static_cast<std::uint64_t>(key);
            return static_cast<std::uint32_t>(wide ^ (wide >> 32));
         } else {
            return static_cast<std::uint32_t>(key);
         }
      } else {
         return static_cast<std::uint32_t>(key.hash());
      }
   }
};

/// The reversed hash of a key. It turns the low bits of the hash into the bucket number, so that
/// twice as many buckets split each chain in two without reordering it.
template <class K>
std::uint32_t rhashOf(K const& key) {
   return bitReverse(HashOf<K>::hash(key));
}

/// How the key of a member is read; the result is K or K const&.
template <class T, class K>
struct HashMapKey {
   static decltype(auto) key(T const& member) { return member.fwkKey(); }
};

/// The operations on members of type T with keys of type K for the type-blind half. One object per
/// pair of types, made on first use, never destroyed.
template <class T, class K>
class HashMapVTable final : public HashMapVTableGeneric {
 public:
   static HashMapVTable const* instance() {
      static HashMapVTable const* const theInstance =
         new (FenMemPool::allocate(sizeof(HashMapVTable))) HashMapVTable;
      return theInstance;
   }

   std::uint32_t hash(PtrInterface const* member) const override {
      return rhashOf<K>(HashMapKey<T, K>::key(*static_cast<T const*>(member)));
   }
   bool keyEquals(void const* key, PtrInterface const* member) const override {
      return *static_cast<K const*>(key) == HashMapKey<T, K>::key(*static_cast<T const*>(member));
   }
   bool keyLessThan(void const* key, PtrInterface const* member) const override {
      return key == nullptr ||
             *static_cast<K const*>(key) < HashMapKey<T, K>::key(*static_cast<T const*>(member));
   }
   void setNext(PtrInterface* member, PtrInterface* next) const override {
      static_cast<T*>(member)->fwkHmLink().fwkHmNextIs(next);
   }
};

/// A map from keys K to members T. See HashMapGeneric for order, growth and crowding.
template <class T, class K>
class HashMap : public HashMapGeneric {
 public:
   using Member = T;
   using Key = K;
   class IteratorConst;
   class Iterator;

   HashMap() : HashMapGeneric(1) {}
   /// Drops all members without a notification. A walker that outlives what the map belongs to
   /// must hold it; see IteratorConst.
   ~HashMap() {
      if (PtrInterface* const first = firstMember(); first != nullptr) {
         emptyAllBucketsG(HashMapVTable<T, K>::instance(), linkField(first), 0);
      }
   }

   /// The member with this key, null when there is none. The plain pointer is good until the next
   /// change of the map; who keeps it takes a reference.
   T* find(K const& key) const { return find(rhashOf<K>(key), key); }
   /// The same with the reversed hash known, and with anything that K compares with.
   template <class Q>
   T* find(std::uint32_t rhash, Q const& key) const {
      for (PtrInterface* at = bucketHead(bucketOf(rhash)); at != nullptr;) {
         T* const member = static_cast<T*>(at);
         HashMapLink const& link = member->fwkHmLink();
         if (link.rhash() >= rhash) {
            if (link.rhash() > rhash) {
               return nullptr;
            }
            if (HashMapKey<T, K>::key(*member) == key) {
               return member;
            }
         }
         at = link.fwkHmNext();
      }
      return nullptr;
   }

   /// Links a member whose key has the reversed hash `rhash`, and takes a reference to it. Whether
   /// the key is in use is not asked: of two members with one key the later stands behind the
   /// earlier and is not found until that one has gone. Returns how many members the walk along
   /// the chain passed.
   unsigned newMember(Ptr<T> const& member, std::uint32_t rhash) {
      T* const added = member.ptr();
      HashMapLink& addedLink = added->fwkHmLink();
      FEN_ASSERT(addedLink.fwkHmNext() == nullptr, "t->fwkHmNext() == 0");
      // The last member of a chain has a null link too, and is no less in its map.
      FEN_ASSERT(!addedLink.isLinked(), "member is in no other map");
      PtrInterface** place = bucketPlace(bucketOf(rhash));
      unsigned passed = 0;
      for (; *place != nullptr; ++passed) {
         T* const at = static_cast<T*>(*place);
         HashMapLink& link = at->fwkHmLink();
         if (link.rhash() >= rhash &&
             (link.rhash() > rhash || HashMapKey<T, K>::key(*added) < HashMapKey<T, K>::key(*at))) {
            break;
         }
         place = placeOf(link);
      }
      linkAt(place, added, addedLink, rhash);
      if (__builtin_expect(passed > notedWalk, 0)) {
         walkNoted(passed);
      }
      if (__builtin_expect(size() > bucketCount(), 0)) {
         maybeGrowG(HashMapVTable<T, K>::instance(), linkField(added), 0);
      }
      return passed;
   }
   unsigned newMember(Ptr<T> const& member) {
      return newMember(member, rhashOf<K>(HashMapKey<T, K>::key(*member)));
   }

   /// Takes the member with this key out, and shrinks the map unless a deleteAll is on its way.
   /// Null when there is none.
   Ptr<T> memberDel(K const& key) { return memberDel(rhashOf<K>(key), key); }
   template <class Q>
   Ptr<T> memberDel(std::uint32_t rhash, Q const& key) {
      Ptr<T> removed = unlinkWhere(rhash, [rhash, &key](T* at) {
         return at->fwkHmLink().rhash() == rhash && HashMapKey<T, K>::key(*at) == key;
      });
      maybeShrink();
      return removed;
   }
   /// Takes this very member out, as above; null when it is not in this map.
   Ptr<T> deleteMember(T const* member) {
      Ptr<T> removed = unlink(member);
      maybeShrink();
      return removed;
   }

   /// The first member whose (reversed hash, key) is not below the given key's; null if none.
   Ptr<T> startAtHash(K const& key) const { return Ptr<T>(seek<false>(key).member); }

   /// Calls `f( T* )` for each member in order. For callers that change nothing meanwhile, such as
   /// a snapshot; everybody else takes an iterator.
   template <class F>
   void forEachMember(F&& f) const {
      for (int bucket = -1; PtrInterface* at = findNextBucketG(&bucket);) {
         while (at != nullptr) {
            T* const member = static_cast<T*>(at);
            at = member->fwkHmLink().fwkHmNext();
            f(member);
         }
      }
   }

   /// True when the map is not what it should be: a member in the wrong bucket or order, a stale
   /// hash, a wrong size. For tests and debuggers.
   bool auditErrors() const;

   /// The distance from a member's PtrInterface to its link, as the type-blind half needs it.
   static std::ptrdiff_t linkField(PtrInterface* member) {
      return reinterpret_cast<char*>(&static_cast<T*>(member)->fwkHmLink()) -
             reinterpret_cast<char*>(member);
   }

 private:
   /// A member and its bucket; null and -1 for the end.
   struct Seat {
      T* member;
      int bucket;
   };

   PtrInterface* firstMember() const {
      int bucket = -1;
      return empty() ? nullptr : findNextBucketG(&bucket);
   }
   Ptr<T> unlink(T const* member) {
      return unlinkWhere(rhashOf<K>(HashMapKey<T, K>::key(*member)),
                         [member](T* at) { return at == member; });
   }
   /// Unlinks the first member of the hash's chain for which `where` holds.
   template <class Where>
   Ptr<T> unlinkWhere(std::uint32_t rhash, Where const& where) {
      PtrInterface** place = bucketPlace(bucketOf(rhash));
      while (*place != nullptr) {
         T* const at = static_cast<T*>(*place);
         HashMapLink& link = at->fwkHmLink();
         if (link.rhash() > rhash) {
            break;
         }
         if (where(at)) {
            unlinkAt(place, link);
            return Ptr<T>::adopt(at);
         }
         place = placeOf(link);
      }
      return {};
   }
   /// The first member not below the key, or, with `behind`, the first one above it.
   template <bool behind>
   Seat seek(K const& key) const {
      std::uint32_t const rhash = rhashOf<K>(key);
      int bucket = bucketOf(rhash);
      for (PtrInterface* at = bucketHead(bucket); at != nullptr;) {
         T* const member = static_cast<T*>(at);
         HashMapLink const& link = member->fwkHmLink();
         if (link.rhash() > rhash ||
             (link.rhash() == rhash && (behind ? key < HashMapKey<T, K>::key(*member)
                                               : !(HashMapKey<T, K>::key(*member) < key)))) {
            return {member, bucket};
         }
         at = link.fwkHmNext();
      }
      auto* const member = static_cast<T*>(findNextBucketG(&bucket));
      return {member, bucket};
   }
   /// The place behind a member that may have left the map. Apart from the walk, which then takes
   /// few instructions, and by value, so that an iterator can live in registers; for the same
   /// reason it says that keys compare without exceptions.
   [[gnu::noinline]] Seat seatBehind(T const& member) const noexcept {
      K const& key = HashMapKey<T, K>::key(member);
      return seek<true>(key);
   }
   void maybeShrink() {
      if (__builtin_expect(mayShrink(), 0) && !bulkDelete()) {
         PtrInterface* const first = firstMember();
         maybeShrinkG(HashMapVTable<T, K>::instance(), first != nullptr ? linkField(first) : 0, 0);
      }
   }
};

template <class T, class K>
bool HashMap<T, K>::auditErrors() const {
   int members = 0;
   T* before = nullptr;
   for (int bucket = 0; bucket < bucketCount(); ++bucket) {
      for (PtrInterface* at = bucketHead(bucket); at != nullptr;) {
         T* const member = static_cast<T*>(at);
         HashMapLink const& link = member->fwkHmLink();
         K const& key = HashMapKey<T, K>::key(*member);
         if (!link.isLinked() || link.rhash() != rhashOf<K>(key) ||
             bucketOf(link.rhash()) != bucket) {
            return true;
         }
         if (before != nullptr) {
            std::uint32_t const rhashBefore = before->fwkHmLink().rhash();
            if (rhashBefore > link.rhash() ||
                (rhashBefore == link.rhash() && key < HashMapKey<T, K>::key(*before))) {
               return true;
            }
         }
         before = member;
         ++members;
         at = link.fwkHmNext();
      }
   }
   return members != size();
}

/// A walk through a map in its order that survives every change of the map. It holds a reference to
/// the member it stands on; when the map has changed since its last step it seeks its place by that
/// member's key. A member that is inserted behind the place is seen, one that is inserted before it
/// is not, a removed one is not visited any more, and nothing is skipped or visited twice.
///
/// The map itself must live as long as its iterators. Where a handler might drop what the map
/// belongs to, the walker holds it, or hands it to the constructor as `owner`: the iterator then
/// holds a reference for its own life.
template <class T, class K>
class HashMap<T, K>::IteratorConst {
 public:
   using Owner = Ptr<PtrInterface const>;

   /// On no map: at the end.
   IteratorConst() = default;
   IteratorConst(IteratorConst const&) = default;
   IteratorConst& operator=(IteratorConst const&) = default;
   /// Inline also on the paths of exceptions: a call there would keep the iterator out of registers
   /// and double the cost of a step.
   [[gnu::always_inline]] ~IteratorConst() {}
   /// At the first member. A null map counts as no map.
   explicit IteratorConst(HashMap const* map, Owner owner = {})
      : owner_(std::move(owner)), map_(map) {
      reset();
   }
   /// At the first member not below `key`, in the map's order.
   IteratorConst(HashMap const* map, K const& key, Owner owner = {})
      : owner_(std::move(owner)), map_(map) {
      if (map_ != nullptr) {
         version_ = map_->version();
         Seat const seat = map_->template seek<false>(key);
         current_ = Ptr<T>(seat.member);
         bucket_ = seat.bucket;
      }
   }

   /// Back to the first member of the map as it is now.
   void reset() {
      if (map_ == nullptr) {
         return;
      }
      bucket_ = -1;
      version_ = map_->version();
      PtrInterface* const first = map_->findNextBucketG(&bucket_);
      // The former member may die here and change the map, which the version then tells.
      current_ = Ptr<T>(static_cast<T*>(first));
   }
   /// On to the next member; nothing happens at the end.
   void advance() {
      if (current_ == nullptr) {
         return;
      }
      if (__builtin_expect(version_ != map_->version(), 0)) {
         Seat const seat = map_->seatBehind(*current_);
         bucket_ = seat.bucket;
         version_ = map_->version();
         // The next member is held before the former one is dropped, which may end that one's life
         // and run its destructor.
         Ptr<T>(seat.member).swap(current_);
         return;
      }
      PtrInterface* next = current_->fwkHmLink().fwkHmNext();
      if (next == nullptr) {
         next = map_->findNextBucketG(&bucket_);
         if (next == nullptr) {
            current_ = nullptr;
            return;
         }
      }
      // With the map unchanged the former member is still in it, and held by it.
      current_->fenReferenceMove(next);
      current_.release();
      current_ = Ptr<T>::adopt(static_cast<T*>(next));
   }
   IteratorConst& operator++() {
      advance();
      return *this;
   }

   /// True while the iterator stands on a member, whose key then marks its place.
   bool hasBookmark() const { return current_ != nullptr; }
   explicit operator bool() const { return hasBookmark(); }
   T const* operator->() const { return current_.ptr(); }
   T const& operator*() const { return *current_; }
   /// The member, null at the end.
   T const* ptr() const { return current_.ptr(); }
   /// The member's key; only where the iterator stands on a member.
   decltype(auto) key() const { return HashMapKey<T, K>::key(*current_); }
   /// The number of the member's bucket when the iterator came to it, -1 at the end.
   int bucket() const { return bucket_; }

 protected:
   Owner owner_; // first, so that it goes last
   HashMap const* map_ = nullptr;
   Ptr<T> current_;
   int bucket_ = -1;
   int version_ = 0;
};

/// An iterator that may change members and delete them. The owner of a collection derives its own
/// from it, with deleteNotify overridden to tell its notifiees that the member has gone.
template <class T, class K>
class HashMap<T, K>::Iterator : public HashMap<T, K>::IteratorConst {
   using Base = typename HashMap<T, K>::IteratorConst;

 public:
   using typename Base::Owner;

   Iterator() = default;
   Iterator(Iterator const&) = default;
   Iterator& operator=(Iterator const&) = default;
   virtual ~Iterator() = default;
   explicit Iterator(HashMap* map, Owner owner = {}) : Base(map, std::move(owner)) {}
   Iterator(HashMap* map, K const& key, Owner owner = {}) : Base(map, key, std::move(owner)) {}

   T* operator->() const { return this->current_.ptr(); }
   T& operator*() const { return *this->current_; }
   T* ptr() const { return this->current_.ptr(); }

   void reset() {
      deleted_ = false;
      Base::reset();
   }
   /// Stays where it is when the member that it stood on has been deleted through it, because it
   /// stands on the successor already; else goes on.
   Iterator& operator++() {
      if (__builtin_expect(deleted_, 0)) {
         deleted_ = false;
      } else {
         this->advance();
      }
      return *this;
   }

   /// Deletes the member that the iterator stands on, and notifies; the iterator then stands on
   /// the successor, where the next ++ leaves it. Returns the member; null at the end, or when the
   /// member had gone from the map by other means (which is then not notified again).
   Ptr<T> memberDel() {
      Ptr<T> const member = unlinkCurrent();
      if (member != nullptr) {
         map()->maybeShrink();
         deleteNotify(member);
      }
      return member;
   }

   /// Deletes all members of the map, from the place of the iterator on and then from the
   /// beginning until none is left, so that a member which a handler inserts meanwhile is deleted
   /// too. Each is notified when it has left the map and before the next one leaves it. The map
   /// shrinks once, at the end. A handler that always inserts again keeps this going for ever.
   void deleteAll() {
      if (this->map_ == nullptr) {
         return;
      }
      BulkDelete const bulkDelete(map());
      for (;; this->Base::reset()) {
         while (this->hasBookmark()) {
            if (Ptr<T> const member = unlinkCurrent(); member != nullptr) {
               deleteNotify(member);
            }
         }
         if (map()->empty()) {
            break;
         }
      }
      deleted_ = false;
   }

   /// Called for each member that is deleted through the iterator. The owner overrides one of the
   /// two; the other then has to be kept visible by a using-declaration. The plain iterator tells
   /// nobody.
   virtual void deleteNotify(Ptr<T> const& member) const { deleteNotify(Ptr<T const>(member)); }
   virtual void deleteNotify(Ptr<T const> const&) const {}

 private:
   /// Says for its life that members go in bulk. A handler may start another deleteAll on the same
   /// map: the inner one leaves the mark to the outer one, which shrinks.
   class BulkDelete {
    public:
      explicit BulkDelete(HashMap* map) : map_(map), outer_(map->bulkDeleteIs(1)) {}
      BulkDelete(BulkDelete const&) = delete;
      BulkDelete& operator=(BulkDelete const&) = delete;
      ~BulkDelete() {
         map_->bulkDeleteIs(outer_);
         map_->maybeShrink();
      }

    private:
      HashMap* map_;
      int outer_;
   };

   HashMap* map() const { return const_cast<HashMap*>(this->map_); }
   /// Moves on to the successor and takes the former member out; null when it had gone already.
   Ptr<T> unlinkCurrent() {
      Ptr<T> const member = this->current_;
      if (member == nullptr) {
         return {};
      }
      this->advance();
      deleted_ = true;
      return map()->unlink(member.ptr());
   }

   bool deleted_ = false;
};

} // namespace Fen
