/// How attributes travel: one object without state for each attribute, made by the templates below
/// from the attribute's traits, and held in its description. The algorithms of sending, resuming,
/// synchronising and receiving are here and in AttrWire.cpp, once for all types.
///
/// All of it runs on the activity loop's thread, called by the entity's adapter.
#pragma once

#include <gantry/runtime/fen/AttrWireItem.h>
#include <gantry/runtime/fen/AttrWireOwned.h>
#include <gantry/runtime/fen/AttrWireRecord.h>

namespace Fen {

/// The wire of a type's entities, null for a type that does not say what it is constructed from.
template <class Type>
constexpr EntityWire const* entityWire() {
   if constexpr (AttrLog::Constructible<Type>) {
      return &AttrLog::entityWireOf<Type>;
   } else {
      return nullptr;
   }
}

/// The wire of an attribute, null when it stays on its node.
template <class Attr>
constexpr AttrWire const* attrWire() {
   using namespace AttrLog;
   if constexpr (Attr::kind == AttrKind::scalar) {
      if constexpr (std::derived_from<typename Attr::Value, String8>) {
         return &wireObject<TextWire<Attr>>;
      } else if constexpr (Travels<typename Attr::Value>) {
         return &wireObject<ScalarWire<Attr>>;
      } else {
         return nullptr;
      }
   } else if constexpr (Attr::kind == AttrKind::reference) {
      if constexpr (PointsAtEntity<typename Attr::Value>) {
         return &wireObject<ReferenceWire<Attr>>;
      } else {
         return nullptr;
      }
   } else if constexpr (Attr::kind == AttrKind::child) {
      if constexpr (Constructible<typename Attr::Member>) {
         return &wireObject<ChildWire<Attr>>;
      } else {
         return nullptr;
      }
   } else if constexpr (!Travels<typename Attr::Key>) {
      return nullptr;
   } else if constexpr (Attr::kind == AttrKind::ownedCollection) {
      if constexpr (Constructible<typename Attr::Member>) {
         return &wireObject<OwnedCollectionWire<Attr, OwnedMemberPlace<Attr>>>;
      } else {
         return nullptr;
      }
   } else if constexpr (Attr::kind == AttrKind::recordCollection) {
      if constexpr (Constructible<typename Attr::Member::Child>) {
         return &wireObject<RecordCollectionWire<Attr>>;
      } else {
         return nullptr;
      }
   } else if constexpr (Attr::kind == AttrKind::referenceCollection) {
      if constexpr (PointsAtEntity<typename Attr::Member::Value>) {
         return &wireObject<ReferenceCollectionWire<Attr>>;
      } else {
         return nullptr;
      }
   } else if constexpr (!Travels<typename Attr::Member::Value>) {
      return nullptr;
   } else if constexpr (Attr::kind == AttrKind::valueCollection) {
      return &wireObject<ValueCollectionWire<Attr, false>>;
   } else if constexpr (KeyInValue<Attr>) {
      return &wireObject<ValueCollectionWire<Attr, true>>;
   } else {
      return nullptr;
   }
}

} // namespace Fen
