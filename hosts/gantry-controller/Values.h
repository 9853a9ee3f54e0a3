/// Entities by type and attribute names, as a file describes them.
///
/// Stateless; on the activity loop's thread.
#pragma once

#include <hosts/gantry-controller/Configuration.h>
#include <hosts/gantry-controller/JsonDocument.h>

#include <gantry/runtime/fen/Entity.h>

#include <string>

namespace Host {

/// The text form by which the library reads a value of a JSON node: truth, a number or a text.
/// Empty for any other kind.
std::string valueTextOf(JsonNode const& node);

/// What is wrong with a type that is to be made by name and sent to switches; empty for nothing.
std::string typeFault(std::string const& type);

/// What is wrong with setting an attribute of a type to a value by its text form; empty for
/// nothing. The type must be without fault.
std::string valueFault(std::string const& type, std::string const& attribute,
                       std::string const& text);

/// Makes a fresh entity. The type must be without fault.
Fen::Ptr<Fen::Entity> entityOf(std::string const& name, std::string const& type);

/// Sets the attributes that `after` names; those that only `before` names get the value of a fresh
/// entity. The values must be without fault.
void valuesAre(Fen::Entity& entity, EntityConfiguration const& before,
               EntityConfiguration const& after);

} // namespace Host
