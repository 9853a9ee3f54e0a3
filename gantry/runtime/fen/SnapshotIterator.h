/// The members of a collection as they were at one moment. It holds a reference to each, so that
/// whoever walks it may let handlers change the collection freely. A local object of the walker, on
/// the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Ptr.h>

#include <cstddef>
#include <memory>
#include <utility>

namespace Fen {

/// Up to inlineMembers members need no memory but the iterator's own: most objects have few
/// notifiees, and a notification must not allocate for them.
template <class C>
class SnapshotIterator {
 public:
   using Member = typename C::Member;
   static constexpr std::size_t inlineMembers = 8;

   /// Takes a reference to each member of `collection`, in its order, and stands on the first.
   explicit SnapshotIterator(C const& collection) {
      auto const size = static_cast<std::size_t>(collection.size());
      if (size > inlineMembers) {
         more_ = std::make_unique<Member*[]>(size);
         members_ = more_.get();
      }
      collection.forEachMember([this](Member* member) {
         member->fenReferenceNew();
         members_[size_++] = member;
      });
   }
   SnapshotIterator(SnapshotIterator const&) = delete;
   SnapshotIterator& operator=(SnapshotIterator const&) = delete;
   ~SnapshotIterator() {
      for (std::size_t at = 0; at < size_; ++at) {
         release(at);
      }
   }

   /// Number of members in the snapshot, released ones included.
   std::size_t size() const { return size_; }
   std::size_t position() const { return position_; }
   void positionIs(std::size_t position) { position_ = position; }

   /// The member at a place; null when it has been released.
   Member* operator[](std::size_t at) const { return members_[at]; }
   /// Drops the snapshot's reference to the member at a place; nothing happens the second time.
   void release(std::size_t at) {
      if (Member* const member = std::exchange(members_[at], nullptr); member != nullptr) {
         member->fenReferenceDel();
      }
   }

   /// True while the position is on a member of the snapshot.
   bool hasMember() const { return position_ < size_; }
   explicit operator bool() const { return hasMember(); }
   Member* ptr() const { return hasMember() ? members_[position_] : nullptr; }
   Member* operator->() const { return members_[position_]; }
   Member& operator*() const { return *members_[position_]; }
   SnapshotIterator& operator++() {
      ++position_;
      return *this;
   }

 private:
   Member* inline_[inlineMembers];
   std::unique_ptr<Member*[]> more_;
   Member** members_ = inline_;
   std::size_t size_ = 0;
   std::size_t position_ = 0;
};

} // namespace Fen
