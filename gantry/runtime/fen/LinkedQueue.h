/// A queue of anything that can be pointed at: each place is a link object of its own, so a member
/// may stand in any number of queues. Reflection keeps its generic lists in it. A queue belongs to
/// whoever made it and lives on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Ptr.h>

#include <cstddef>
#include <utility>

namespace Fen {

/// The link object that fits all uses so far: what it holds, and the next link.
template <class T, class Pointer = Ptr<T>>
class LinkedQueueLink {
 public:
   explicit LinkedQueueLink(Pointer const& member) : member_(member) {}
   LinkedQueueLink(LinkedQueueLink const&) = delete;
   LinkedQueueLink& operator=(LinkedQueueLink const&) = delete;

   static void* operator new(std::size_t bytes) { return FenMemPool::allocate(bytes); }
   static void operator delete(void* memory) noexcept { FenMemPool::free(memory); }

   Pointer const& member() const { return member_; }
   LinkedQueueLink* next() const { return next_; }
   void nextIs(LinkedQueueLink* next) { next_ = next; }

 private:
   Pointer member_;
   LinkedQueueLink* next_ = nullptr;
};

/// The queue. `Link` is a link object as above, `Pointer` says how it holds a T: a Ptr keeps the
/// members alive, a plain pointer does not.
template <class Link, class T, class Pointer = Ptr<T>>
class LinkedQueue {
 public:
   using Member = T;
   class IteratorConst;

   LinkedQueue() = default;
   LinkedQueue(LinkedQueue const& other) { append(other); }
   virtual ~LinkedQueue() { deleteAll(); }
   /// Holds what `other` holds, in its order, through links of its own.
   LinkedQueue& operator=(LinkedQueue const& other) {
      if (this != &other) {
         LinkedQueue copy(other);
         std::swap(head_, copy.head_);
         std::swap(tail_, copy.tail_);
         std::swap(size_, copy.size_);
      }
      return *this;
   }

   unsigned size() const { return size_; }
   bool empty() const { return size_ == 0; }
   Link* head() const { return head_; }
   Link* tail() const { return tail_; }

   /// Appends a member.
   void newMember(Pointer const& member) {
      auto* const link = new Link(member);
      if (tail_ != nullptr) {
         tail_->nextIs(link);
      } else {
         head_ = link;
      }
      tail_ = link;
      ++size_;
   }
   /// Takes the first member out, which must be there.
   Pointer headDel() {
      Pointer member = head_->member();
      unlink(nullptr, head_);
      return member;
   }
   /// Takes out the first link that holds this member. Without one, onDeleteMemberNotFound hears of
   /// it and the result is false.
   bool memberDel(Pointer const& member) {
      Pointer const held = member; // the argument may stand in the link that goes
      Link* before = nullptr;
      for (Link* at = head_; at != nullptr; before = at, at = at->next()) {
         if (at->member() == held) {
            unlink(before, at);
            return true;
         }
      }
      onDeleteMemberNotFound(held);
      return false;
   }
   /// Drops all members, from the head on. A member's destructor finds the queue whole.
   void deleteAll() {
      while (head_ != nullptr) {
         headDel();
      }
   }
   bool has(Pointer const& member) const {
      Link const* at = head_;
      while (at != nullptr && !(at->member() == member)) {
         at = at->next();
      }
      return at != nullptr;
   }

   /// Called when a member was to be deleted that the queue does not hold. Not an error here: an
   /// owner for which it is one overrides this.
   virtual void onDeleteMemberNotFound(Pointer const& member) { static_cast<void>(member); }

 private:
   void append(LinkedQueue const& other) {
      for (Link* at = other.head_; at != nullptr; at = at->next()) {
         newMember(at->member());
      }
   }
   void unlink(Link* before, Link* link) {
      if (before != nullptr) {
         before->nextIs(link->next());
      } else {
         head_ = link->next();
      }
      if (tail_ == link) {
         tail_ = before;
      }
      --size_;
      delete link;
   }

   Link* head_ = nullptr;
   Link* tail_ = nullptr;
   unsigned size_ = 0;
};

/// A walk through a queue whose present link stays in it for as long as the walk stands there;
/// links in front of and behind it may come and go.
template <class Link, class T, class Pointer>
class LinkedQueue<Link, T, Pointer>::IteratorConst {
 public:
   explicit IteratorConst(LinkedQueue const* queue)
      : at_(queue != nullptr ? queue->head() : nullptr) {}

   explicit operator bool() const { return at_ != nullptr; }
   Pointer const& operator*() const { return at_->member(); }
   T* operator->() const { return &*at_->member(); }
   IteratorConst& operator++() {
      if (at_ != nullptr) {
         at_ = at_->next();
      }
      return *this;
   }

 private:
   Link const* at_;
};

} // namespace Fen
