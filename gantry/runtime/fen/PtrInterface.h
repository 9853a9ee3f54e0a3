/// The root of everything that is reference counted. One word behind the virtual table holds the
/// count and three marks; pointers (Ptr.h) change it, nobody else does.
///
/// Objects live on the activity loop's thread; only the count is safe to change from other threads,
/// and it is changed plainly while the process has one thread.
#pragma once

#include <gantry/runtime/Export.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace Fen {

class FenType;

/// Number of an attribute within its type. Ids below 258 are the framework's, a type's own begin at
/// 258 in declared order.
using AttributeId = std::int32_t;

constexpr AttributeId zeroReferencesAttributeId = 5;
constexpr AttributeId isNondestructingAttributeId = 6;
constexpr AttributeId parentAttributeId = 7;
constexpr AttributeId versionAttributeId = 8;
constexpr AttributeId hasAttrLogAttributeId = 9;
constexpr AttributeId adapterForChannelAttributeId = 10;
constexpr AttributeId keyAttributeId = 11;
constexpr AttributeId nameAttributeId = 12;
constexpr AttributeId fullNameAttributeId = 13;
constexpr AttributeId firstOwnAttributeId = 258;

/// True while the process has one thread, so that counts need no atomic instruction. The C library
/// keeps the flag; its shared pointers use it in the same way.
inline bool singleThreaded() {
#if __has_include(<sys/single_threaded.h>)
   return __libc_single_threaded != 0;
#else
   return false;
#endif
}

/// Memory of small internal objects: members of collections, singletons. One place to change,
/// should the general allocator ever be too slow for them.
class GANTRY_EXPORT FenMemPool {
 public:
   static void* allocate(std::size_t bytes);
   static void free(void* memory) noexcept;
};

/// Frees an array that a collection took from FenMemPool.
GANTRY_EXPORT void memDel(void* memory) noexcept;

/// Gives reference counted objects their allocation.
class GANTRY_EXPORT VFPtrInterface {
 public:
   static void* operator new(std::size_t bytes);
   static void* operator new(std::size_t, void* place) noexcept { return place; }
   static void operator delete(void* memory) noexcept;

 protected:
   VFPtrInterface() = default;
   ~VFPtrInterface() = default;
};

/// A reference counted object. A fresh one holds a count of 1, which its first owner takes over
/// (makePtr). When the count comes down to zero, zeroReferencesIs(true) runs, and unless somebody
/// has taken a reference meanwhile the object is destroyed.
class GANTRY_EXPORT PtrInterface : public VFPtrInterface {
 public:
   class NotifieeConst;

   PtrInterface(PtrInterface const&) = delete;
   PtrInterface& operator=(PtrInterface const&) = delete;

   /// Opens (true) or closes the object for notifications. A machine passes the call on to its
   /// reactors and nested machines, a reactor leaves or rejoins its notifier's list.
   virtual void hasNotificationActiveIs(bool active);
   /// Audit hooks of the framework; nothing in this library reports through them.
   virtual bool fenAuditErrors(unsigned depth) const;
   virtual bool auditErrors(unsigned depth) const;
   /// Takes the object out of reference counting (true) or puts it back. References taken while it
   /// was out are not known to the count, so only objects that live for ever are put out in
   /// practice.
   virtual void isNondestructingIs(bool nondestructing);
   /// Runs when the count has come down to zero; a class with notifiees tells them.
   virtual void zeroReferencesIs(bool zero);
   /// The type object, never null for a type that was made from a schema.
   virtual FenType* fwkType() const;
   /// The type of all reference counted objects, to ask a handle for.
   static FenType* _fwkType();

 protected:
   PtrInterface() = default;
   virtual ~PtrInterface();

 public:
   bool hasNotificationActive() const { return (word() & notificationActiveBit) != 0; }
   bool isNondestructing() const { return isUncounted(word()); }
   /// The zombie mark: set on what is about to go, tested by every reactor before it runs, and used
   /// as the mark of a mark-and-sweep over collection members.
   bool fenMarkedForDeletion() const { return (word() & markedForDeletionBit) != 0; }
   void fenMarkedForDeletionIs(bool marked);
   /// The number of references, without the marks. Meaningless for an uncounted object.
   std::uint32_t fenReferenceCount() const { return word() & countMask; }
   /// Whether the object's destruction has begun: what its last reference left behind may still
   /// call it.
   bool fenIsDying() const { return !isNondestructing() && (word() & dyingBias) != 0; }
   /// The whole word, for tests and debuggers.
   std::uint32_t fenWord() const { return word(); }

   /// Takes a reference. Called by the pointers only.
   void fenReferenceNew() const {
      std::uint32_t const now = word(); // once: the compiler does not merge two atomic loads
      if (isUncounted(now)) {
         return;
      }
      if (singleThreaded()) {
         word_.store(now + 1, std::memory_order_relaxed);
      } else {
         word_.fetch_add(1, std::memory_order_relaxed);
      }
   }

   /// Drops a reference, and with the last one usually the object. Called by the pointers only.
   void fenReferenceDel() const {
      std::uint32_t const now = word();
      if (isUncounted(now)) {
         return;
      }
      std::uint32_t left;
      if (singleThreaded()) {
         left = now - 1;
         word_.store(left, std::memory_order_relaxed);
      } else {
         left = word_.fetch_sub(1, std::memory_order_acq_rel) - 1;
      }
      if (__builtin_expect((left & ~(notificationActiveBit | markedForDeletionBit)) == 0, 0)) {
         fenHandleZeroReferences();
      }
   }

   /// Moves a pointer's reference from this object to `other`, where somebody else is known to hold
   /// this object too, so that nothing can end here: the step of a walk from a member of a
   /// collection to the next.
   void fenReferenceMove(PtrInterface const* other) const {
      if (singleThreaded()) {
         if (std::uint32_t const taken = other->word(); !isUncounted(taken)) {
            other->word_.store(taken + 1, std::memory_order_relaxed);
         }
         if (std::uint32_t const left = word(); !isUncounted(left)) {
            word_.store(left - 1, std::memory_order_relaxed);
         }
      } else {
         other->fenReferenceNew();
         fenReferenceDel();
      }
   }

   /// Drops a reference that was counted when it was taken, which the caller has seen to. That is
   /// right also when the object has left the count since: its word keeps the count for its return.
   void fenCountedReferenceDel() const {
      std::uint32_t left;
      if (singleThreaded()) {
         left = word() - 1;
         word_.store(left, std::memory_order_relaxed);
      } else {
         left = word_.fetch_sub(1, std::memory_order_acq_rel) - 1;
      }
      if (__builtin_expect((left & ~(notificationActiveBit | markedForDeletionBit)) == 0, 0)) {
         fenHandleZeroReferences();
      }
   }

   static constexpr std::uint32_t countMask = 0x1fffffff;
   static constexpr std::uint32_t notificationActiveBit = 1u << 29;
   static constexpr std::uint32_t markedForDeletionBit = 1u << 31;
   /// A top byte of exactly this value says: not counted. Marks beside it would change that byte
   /// and make the object counted, which is why marks are not stored on an uncounted word.
   static constexpr std::uint32_t uncountedTopByte = 0x1f;

 protected:
   void fenNotificationActiveMarkIs(bool active) { markIs(notificationActiveBit, active); }

 private:
   /// Added to the count of an object whose destruction has begun. Handlers that run from inside a
   /// destructor may make pointers to the dying object and drop them; with this bias the count
   /// cannot come down to zero a second time.
   static constexpr std::uint32_t dyingBias = 1u << 28;

   static constexpr bool isUncounted(std::uint32_t word) {
      return (word >> 24) == uncountedTopByte;
   }
   // Where a pointer is tested for null after it was followed, g++ 12 sees a load from null here.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wstringop-overflow"
#endif
   std::uint32_t word() const { return word_.load(std::memory_order_relaxed); }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
   void markIs(std::uint32_t bit, bool value);
   void fenHandleZeroReferences() const;

   mutable std::atomic<std::uint32_t> word_{1};
};

} // namespace Fen
