/// The slow halves of reference counting: marks, leaving and rejoining the count, and the end.
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/PtrInterface.h>

#include <new>

namespace Fen {

namespace {

constexpr std::uint32_t lowBits = 0x00ffffff;

} // namespace

void* FenMemPool::allocate(std::size_t bytes) { return ::operator new(bytes); }
void FenMemPool::free(void* memory) noexcept { ::operator delete(memory); }
void memDel(void* memory) noexcept { FenMemPool::free(memory); }

void* VFPtrInterface::operator new(std::size_t bytes) { return ::operator new(bytes); }
void VFPtrInterface::operator delete(void* memory) noexcept { ::operator delete(memory); }

PtrInterface::~PtrInterface() = default;

void PtrInterface::hasNotificationActiveIs(bool active) { fenNotificationActiveMarkIs(active); }
bool PtrInterface::fenAuditErrors(unsigned) const { return false; }
bool PtrInterface::auditErrors(unsigned) const { return false; }
void PtrInterface::zeroReferencesIs(bool) {}
FenType* PtrInterface::fwkType() const { return nullptr; }

void PtrInterface::isNondestructingIs(bool nondestructing) {
   std::uint32_t const old = word();
   if (isUncounted(old) == nondestructing) {
      return;
   }
   if (nondestructing) {
      FEN_ASSERT((old & countMask) <= lowBits, "count fits beside the uncounted mark");
      word_.store((uncountedTopByte << 24) | (old & lowBits), std::memory_order_relaxed);
   } else {
      word_.store(old & lowBits, std::memory_order_relaxed);
   }
}

void PtrInterface::fenMarkedForDeletionIs(bool marked) { markIs(markedForDeletionBit, marked); }

void PtrInterface::markIs(std::uint32_t bit, bool value) {
   if (isUncounted(word())) {
      return;
   }
   if (value) {
      word_.fetch_or(bit, std::memory_order_relaxed);
   } else {
      word_.fetch_and(~bit, std::memory_order_relaxed);
   }
}

void PtrInterface::fenHandleZeroReferences() const {
   auto* self = const_cast<PtrInterface*>(this);
   // One reference for the length of the call: pointers that the handlers make and drop again must
   // not bring the count down to zero under our feet.
   self->word_.fetch_add(1, std::memory_order_relaxed);
   self->zeroReferencesIs(true);
   std::uint32_t const left = self->word_.fetch_sub(1, std::memory_order_acq_rel) - 1;
   if (isUncounted(left) || (left & countMask) != 0) {
      return;
   }
   self->word_.fetch_or(dyingBias, std::memory_order_relaxed);
   delete self;
}

} // namespace Fen
