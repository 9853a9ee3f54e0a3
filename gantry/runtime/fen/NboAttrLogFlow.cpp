/// The dirty state of an entity on a channel.
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/NboAttrLogFlow.h>

#include <algorithm>

namespace Fen::NboAttrLog {

CollectionFlow::~CollectionFlow() = default;

FlowOut::FlowOut(std::size_t attributes) : dirty_(attributes / 64 + 1) {}
FlowOut::~FlowOut() = default;

bool FlowOut::hasDirtyAttributes() const {
   if (valueAttribute_ != 0 || !pendingAborts_.empty()) {
      return true;
   }
   if (std::any_of(dirty_.begin(), dirty_.end(), [](std::uint64_t word) { return word != 0; })) {
      return true;
   }
   return std::any_of(collections_.begin(), collections_.end(),
                      [](auto const& each) { return each.second->isDirty(); });
}

CollectionFlow* FlowOut::collection(AttributeId id) const {
   for (auto const& each : collections_) {
      if (each.first == id) {
         return each.second.get();
      }
   }
   return nullptr;
}

CollectionFlow& FlowOut::collectionIs(AttributeId id, std::unique_ptr<CollectionFlow> flow) {
   return *collections_.emplace_back(id, std::move(flow)).second;
}

void FlowOut::collectionDel(AttributeId id) {
   std::erase_if(collections_, [id](auto const& each) { return each.first == id; });
}

void FlowOut::valueEnq(AttributeId id, String8::IteratorConst const& place) {
   FEN_ASSERT(valueAttribute_ == 0, "!rsc->valueIter()");
   valueAttribute_ = id;
   value_ = place;
}

String8::IteratorConst FlowOut::valueDeq() {
   valueAttribute_ = 0;
   return std::exchange(value_, {});
}

} // namespace Fen::NboAttrLog
