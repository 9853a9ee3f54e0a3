/// A queue of reference counted members in the order of an unsigned key that may wrap around, such
/// as a sequence number, and whose iterators survive every change. Intrusive: the member carries
/// the link, and the queue, or the member before, holds the reference. A queue belongs to the
/// object whose attribute it is and lives on the activity loop's thread.
///
/// A member class T derives from PtrInterface and has `K fwkQkey() const` and
/// `LinkQueueLink& fwkQlink()`. A key must not change while the member is in a queue or an iterator
/// stands on it. Keys in a queue differ, and together with those of its iterators they span less
/// than half of K's range, which is what tells a key that has wrapped from one that is old.
#pragma once

#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/Ptr.h>

#include <concepts>
#include <limits>
#include <utility>

namespace Fen {

template <class T, std::unsigned_integral K>
class LinkQueue;

/// What a member of a LinkQueue carries: the counted link to the next member.
class LinkQueueLink {
 public:
   LinkQueueLink() = default;
   LinkQueueLink(LinkQueueLink const&) = delete;
   LinkQueueLink& operator=(LinkQueueLink const&) = delete;

   PtrInterface* fwkQnext() const { return next_; }
   /// True while the member is in a queue.
   bool isLinked() const { return linked_; }

 private:
   template <class T, std::unsigned_integral K>
   friend class LinkQueue;

   PtrInterface* next_ = nullptr;
   bool linked_ = false;
};

/// The queue.
template <class T, std::unsigned_integral K>
class LinkQueue {
 public:
   using Member = T;
   using Key = K;
   class IteratorConstBase;
   class IteratorConst;
   class Iterator;

   LinkQueue() = default;
   LinkQueue(LinkQueue const&) = delete;
   LinkQueue& operator=(LinkQueue const&) = delete;
   ~LinkQueue() { deleteAll(); }

   unsigned size() const { return size_; }
   bool empty() const { return size_ == 0; }
   /// Differs after every insertion and removal.
   unsigned version() const { return version_; }
   T* head() const { return head_; }
   T* tail() const { return tail_; }
   /// The member behind `member`, null for the last one.
   static T* next(T* member) { return static_cast<T*>(member->fwkQlink().fwkQnext()); }

   /// Puts a member into its place and takes a reference: at the tail when its key goes on from the
   /// tail's, wrapped around or not, else before the first member with a later key.
   void newMember(Ptr<T> const& member) {
      T* const added = member.ptr();
      LinkQueueLink& link = added->fwkQlink();
      FEN_ASSERT(!link.linked_, "member is in no queue");
      T* before = tail_;
      if (tail_ != nullptr && isEarlier(added->fwkQkey(), tail_->fwkQkey())) {
         before = nullptr;
         for (T* at = head_; !isEarlier(added->fwkQkey(), at->fwkQkey()); at = next(at)) {
            before = at;
         }
      }
      link.linked_ = true;
      if (before != nullptr) {
         link.next_ = std::exchange(before->fwkQlink().next_, added);
      } else {
         link.next_ = std::exchange(head_, added);
      }
      if (link.next_ == nullptr) {
         tail_ = added;
      }
      added->fenReferenceNew();
      ++size_;
      ++version_;
   }

   /// Takes the first member out; null when there is none.
   Ptr<T> headDel() { return head_ != nullptr ? unlink(nullptr, head_) : Ptr<T>(); }
   /// Takes this very member out; null when it is not in this queue.
   Ptr<T> memberDel(T const* member) {
      T* before = nullptr;
      for (T* at = head_; at != nullptr; before = at, at = next(at)) {
         if (at == member) {
            return unlink(before, at);
         }
      }
      return {};
   }
   /// Drops all members, from the head on. A member's destructor finds the queue whole.
   void deleteAll() {
      while (headDel() != nullptr) {
      }
   }

   /// The member with this key; null when there is none.
   T* find(K const& key) const {
      T* const member = startAt(key);
      return member != nullptr && member->fwkQkey() == key ? member : nullptr;
   }

   /// The first member, in the order of the queue, whose key is not before the given one; null when
   /// the key is beyond the tail's. When the keys wrap around inside the queue, the keys between
   /// the tail's and the head's, which then are no key of a place in it, count as beyond the tail.
   T* startAt(K const& key) const {
      if (head_ == nullptr || head_->fwkQkey() == key) {
         return head_;
      }
      if (tail_->fwkQkey() == key) {
         return tail_;
      }
      bool const isWrapped = tail_->fwkQkey() < head_->fwkQkey();
      bool const isAboveTail = key > tail_->fwkQkey();
      if (isWrapped ? isAboveTail && key < head_->fwkQkey() : isAboveTail) {
         return nullptr;
      }
      // Of a wrapped queue the keys from the head's up come first, then those from zero up to the
      // tail's. A key of the second part is looked for behind the place where the keys fall; a
      // key of the first part above all that are there stops at that place.
      bool passFall = isWrapped && !isAboveTail;
      K before = head_->fwkQkey();
      for (T* at = head_; at != nullptr; at = next(at)) {
         K const atKey = at->fwkQkey();
         bool const falls = atKey < before;
         if (falls && !passFall) {
            return at;
         }
         passFall = passFall && !falls;
         if (!passFall && atKey >= key) {
            return at;
         }
         before = atKey;
      }
      return nullptr;
   }

   /// Calls `f( T* )` for each member in order. For callers that change nothing meanwhile.
   template <class F>
   void forEachMember(F&& f) const {
      for (T* at = head_; at != nullptr; at = next(at)) {
         f(at);
      }
   }

 private:
   /// True when `key` comes before `other`, by the shorter way around the range.
   static bool isEarlier(K key, K other) {
      auto const ahead = static_cast<K>(other - key);
      return ahead != 0 && ahead <= std::numeric_limits<K>::max() / 2;
   }
   /// The first member that comes after `key`, which need not be in the queue any more. Not by
   /// startAt: that takes a key which has left the queue at the head for one beyond the tail, or
   /// the other way round, when the keys of what is left have wrapped or no longer do.
   T* startBehind(K const& key) const {
      T* at = head_;
      while (at != nullptr && !isEarlier(key, at->fwkQkey())) {
         at = next(at);
      }
      return at;
   }
   Ptr<T> unlink(T* before, T* member) {
      LinkQueueLink& link = member->fwkQlink();
      auto* const following = static_cast<T*>(std::exchange(link.next_, nullptr));
      link.linked_ = false;
      if (before != nullptr) {
         before->fwkQlink().next_ = following;
      } else {
         head_ = following;
      }
      if (tail_ == member) {
         tail_ = before;
      }
      --size_;
      ++version_;
      return Ptr<T>::adopt(member);
   }

   T* head_ = nullptr;
   T* tail_ = nullptr;
   unsigned size_ = 0;
   unsigned version_ = 0;
};

/// A walk through a queue that survives every change of it. It holds a reference to the member it
/// stands on, and when the queue has changed since its last step it seeks its place by that
/// member's key. The queue must outlive it.
template <class T, std::unsigned_integral K>
class LinkQueue<T, K>::IteratorConstBase {
 public:
   /// On no queue: at the end.
   IteratorConstBase() = default;
   explicit IteratorConstBase(LinkQueue const* queue) : queue_(queue) {
      if (queue_ != nullptr) {
         stand(queue_->head());
      }
   }
   IteratorConstBase(LinkQueue const* queue, K const& key) : queue_(queue) {
      if (queue_ != nullptr) {
         stand(queue_->startAt(key));
      }
   }

   /// On to the next member; nothing happens at the end.
   void advance() {
      if (current_ == nullptr) {
         return;
      }
      if (version_ == queue_->version()) {
         stand(next(current_.ptr()));
         return;
      }
      stand(queue_->startBehind(current_->fwkQkey()));
   }

   explicit operator bool() const { return current_ != nullptr; }

 protected:
   void stand(T* member) {
      version_ = queue_->version();
      Ptr<T>(member).swap(current_); // the former one may die here and change the queue
   }

   LinkQueue const* queue_ = nullptr;
   Ptr<T> current_;
   unsigned version_ = 0;
};

/// A walk that only reads.
template <class T, std::unsigned_integral K>
class LinkQueue<T, K>::IteratorConst : public LinkQueue<T, K>::IteratorConstBase {
 public:
   using IteratorConstBase::IteratorConstBase;
   T const* operator->() const { return this->current_.ptr(); }
   T const& operator*() const { return *this->current_; }
   T const* ptr() const { return this->current_.ptr(); }
   IteratorConst& operator++() {
      this->advance();
      return *this;
   }
};

/// A walk that may change members.
template <class T, std::unsigned_integral K>
class LinkQueue<T, K>::Iterator : public LinkQueue<T, K>::IteratorConstBase {
 public:
   Iterator() = default;
   explicit Iterator(LinkQueue* queue) : IteratorConstBase(queue) {}
   Iterator(LinkQueue* queue, K const& key) : IteratorConstBase(queue, key) {}
   T* operator->() const { return this->current_.ptr(); }
   T& operator*() const { return *this->current_; }
   T* ptr() const { return this->current_.ptr(); }
   Iterator& operator++() {
      this->advance();
      return *this;
   }
};

} // namespace Fen
