/// Entities and types as JSON, found by path and name, read and changed by reflection alone.
///
/// Stateless; on the activity loop's thread. Refusals are ControlError, with the library's own
/// words where the library refuses.
#pragma once

#include <hosts/control/ControlError.h>

#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/FenType.h>

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <optional>
#include <string>

namespace Host {

using Json = nlohmann::ordered_json;

/// An entity or machine, perhaps with one of its attributes, perhaps with a key of that.
struct ControlPlace {
   Fen::Ptr<Fen::PtrInterface> object;
   /// That of an entity is its full name.
   std::string path;
   /// Empty for the whole object.
   std::string attribute;
   std::optional<std::string> key;

   /// Null for a machine.
   Fen::Ptr<Fen::Entity> entity() const;
};

/// Finds what stands at a path; null for nothing.
using ObjectFinder = std::function<Fen::Ptr<Fen::PtrInterface>(std::string const& path)>;

/// Reads "PATH", "PATH.ATTRIBUTE" or "PATH.ATTRIBUTE[KEY]". Names may have dots and brackets in
/// them: what is there as it stands comes first. `top` is where people may begin to look, should
/// there be nothing.
ControlPlace placeOf(std::string const& text, ObjectFinder const& find, std::string const& top);

/// The entity and what is below it, to that depth; refuses more than `limit` entities.
Json treeOf(Fen::Ptr<Fen::Entity> const& entity, unsigned depth, unsigned limit);
/// All attributes of the object, or the one.
Json valuesOf(ControlPlace const& place);
/// The attributes of an entity as they come in a stream: their values by name.
Json valuesByName(Fen::Entity const& entity);
/// The value at a key as a notification carries it, null when it has gone; without a key the value.
Json valueOf(Fen::Entity const& entity, Fen::AttrDesc const& attribute, void const* key);

/// Stores what a text says. `isConst` is for what nobody may change from outside: the refusal is
/// then the library's own for such an instance.
void valueIs(ControlPlace const& place, std::string const& text, bool isConst);

/// The names of all types with kind and base, or one type with its attributes.
Json typesOf();
Json typeOfName(std::string const& name);

} // namespace Host
