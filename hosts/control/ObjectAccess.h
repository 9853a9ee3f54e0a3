/// What the commands of the control socket share: an object's attributes by reflection, and keys as
/// people write them.
///
/// Private to the control server. Stateless; on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/AttrAccess.h>

#include <string>
#include <vector>

namespace Host {

using ObjectHandle = Fen::Ptr<Fen::GenericIfPtrInterface>;

inline std::string textOf(Fen::String8 const& text) { return std::string(text.view()); }

/// The attributes of a type, those of its bases first.
std::vector<Fen::AttrDesc const*> attributesOf(Fen::FenType const* type);
/// Null for none of that name.
Fen::AttrDesc const* attributeOf(Fen::FenType const* type, std::string_view name);

inline bool isCollection(Fen::AttrDesc const& attribute) {
   return attribute.access != nullptr && attribute.access->key != nullptr;
}
inline Fen::GenericIf::AttributeOp operation(Fen::AttrDesc const& attribute, unsigned number) {
   return {attribute.id, number};
}

/// A handle on an entity or machine.
ObjectHandle handleOf(Fen::PtrInterface const& object, bool isConst);

/// What a user wrote as a handle. Text needs no quotes.
Fen::Ptr<Fen::GenericIf> parsed(Fen::ValueForm const& form, std::string const& text);
/// The text by which a user names a key: text as it is, all else in its text form without quotes.
std::string keyTextOf(Fen::GenericIf const& key);

/// Calls `visit( key )` for each key of a collection.
template <class Visit>
void eachKey(Fen::GenericIfPtrInterface const& handle, Fen::AttrDesc const& attribute,
             Visit visit) {
   handle.forEachKey(
      attribute.id,
      [](void* context, Fen::Ptr<Fen::GenericIf const> const& key) {
         (*static_cast<Visit*>(context))(key);
      },
      &visit);
}

} // namespace Host
