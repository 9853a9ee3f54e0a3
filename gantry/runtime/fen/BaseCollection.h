/// What reflection needs of a collection whose members' type it does not know: a walk over the text
/// forms of the members. Lives, like all collections, on the activity loop's thread.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/String.h>

#include <cstddef>
#include <new>

namespace Fen {

/// The type-blind face of a collection.
class GANTRY_EXPORT BaseCollection {
 public:
   /// A walk through some collection. It has room for the collection's own iterator, on which the
   /// collection's virtual operations work. The collection must outlive it.
   class GANTRY_EXPORT StrepIterator {
    public:
      static constexpr std::size_t spaceBytes = 64;

      /// A walk of `collection` that starts where its own iterator `start` stands.
      template <class It>
      StrepIterator(BaseCollection const& collection, It const& start) : collection_(&collection) {
         static_assert(sizeof(It) <= spaceBytes && alignof(It) <= alignof(std::max_align_t));
         new (space_) It(start);
      }
      StrepIterator(StrepIterator const& other) : collection_(other.collection_) {
         collection_->iteratorSpaceCopy(*this, other);
      }
      StrepIterator& operator=(StrepIterator const& other) {
         if (this != &other) {
            collection_->iteratorDelete(*this);
            collection_ = other.collection_;
            collection_->iteratorSpaceCopy(*this, other);
         }
         return *this;
      }
      ~StrepIterator() { collection_->iteratorDelete(*this); }

      /// True while the walk stands on a member.
      bool moreLeft() const { return collection_->iteratorMoreLeft(*this); }
      /// On to the next member.
      void incr() { collection_->iteratorIncr(*this); }
      /// The text form of the member that the walk stands on, empty at the end.
      String8 strep() const { return collection_->iteratorStrep(*this); }

      /// The collection's own iterator.
      template <class It>
      It& iterator() {
         return *std::launder(reinterpret_cast<It*>(space_));
      }
      template <class It>
      It const& iterator() const {
         return *std::launder(reinterpret_cast<It const*>(space_));
      }
      void* space() { return space_; }

    private:
      BaseCollection const* collection_;
      alignas(std::max_align_t) std::byte space_[spaceBytes];
   };

   virtual ~BaseCollection() = default;
   virtual bool iteratorMoreLeft(StrepIterator const& iterator) const = 0;
   virtual void iteratorIncr(StrepIterator& iterator) const = 0;
   /// Ends the life of the iterator in the space.
   virtual void iteratorDelete(StrepIterator& iterator) const = 0;
   virtual String8 iteratorStrep(StrepIterator const& iterator) const = 0;
   /// Makes a copy of `from`'s iterator in the space of `to`, which holds none.
   virtual void iteratorSpaceCopy(StrepIterator& to, StrepIterator const& from) const = 0;

 protected:
   BaseCollection() = default;
   BaseCollection(BaseCollection const&) = default;
   BaseCollection& operator=(BaseCollection const&) = default;
};

/// The members' type of a collection of reference counted objects. Without data of its own.
template <class T>
class BaseRefCollection {
 public:
   using Member = T;
};

} // namespace Fen
