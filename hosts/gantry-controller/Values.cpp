// The way from text to attributes, through the library's reflection.

#include <hosts/gantry-controller/Values.h>

#include <gantry/runtime/fen/Attribute.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/GenericIf.h>
#include <gantry/runtime/fen/Strep.h>

#include <cmath>

namespace Host {

namespace {

constexpr double largestWhole = 9007199254740992.0; // 2 to the 53rd: exact in a double

void valueIs(Fen::Entity& entity, std::string const& attribute, std::string const& text) {
   Fen::AttrDesc const* const description = entity.fwkType()->attribute(attribute);
   Fen::FenType const* const type = Fen::FenType::type(description->valueType);
   entity.fwkType()
      ->genericIf(&entity, false)
      ->set(Fen::String8(attribute), type->genericIf(Fen::String8(text), false));
}

/// The text form of an attribute as it stands.
std::string valueOf(Fen::Entity& entity, std::string const& attribute) {
   return std::string(
      entity.fwkType()->genericIf(&entity, false)->get(Fen::String8(attribute))->strRep().view());
}

} // namespace

std::string valueTextOf(JsonNode const& node) {
   switch (node.kind) {
   case JsonKind::boolean:
      return node.boolean ? "True" : "False";
   case JsonKind::number: {
      bool const isWhole =
         std::trunc(node.number) == node.number && std::abs(node.number) <= largestWhole;
      return isWhole ? std::to_string(static_cast<long long>(node.number))
                     : std::string(Fen::format("%.17g", node.number).view());
   }
   case JsonKind::text:
      return std::string(Fen::valueToStrep(Fen::String8(node.text)).view());
   default:
      return {};
   }
}

std::string typeFault(std::string const& type) {
   Fen::FenType const* const found = Fen::FenType::type(type);
   if (found == nullptr) {
      return "'" + type + "' is no type that this program knows";
   }
   if (found->wire() == nullptr || !found->newEntity(Fen::Name("probe"), nullptr)) {
      return "'" + type + "' cannot be published: it is no entity that is made by a name alone";
   }
   return {};
}

std::string valueFault(std::string const& type, std::string const& attribute,
                       std::string const& text) {
   Fen::FenType const* const found = Fen::FenType::type(type);
   Fen::AttrDesc const* const description = found->attribute(attribute);
   if (description == nullptr || description->kind != Fen::AttrKind::scalar) {
      return "'" + type + "' has no attribute '" + attribute + "' that is a single value";
   }
   try {
      Fen::Ptr<Fen::Entity> const probe = found->newEntity(Fen::Name("probe"), nullptr);
      valueIs(*probe, attribute, text);
   } catch (Fen::Exception const&) {
      return text + " is no " + description->valueType;
   }
   return {};
}

Fen::Ptr<Fen::Entity> entityOf(std::string const& name, std::string const& type) {
   return Fen::FenType::type(type)->newEntity(Fen::Name(name), nullptr);
}

void valuesAre(Fen::Entity& entity, EntityConfiguration const& before,
               EntityConfiguration const& after) {
   Fen::Ptr<Fen::Entity> const fresh = entityOf("fresh", after.type);
   for (auto const& [attribute, text] : before.values) {
      if (!after.values.contains(attribute)) {
         valueIs(entity, attribute, valueOf(*fresh, attribute));
      }
   }
   for (auto const& [attribute, text] : after.values) {
      valueIs(entity, attribute, text);
   }
}

} // namespace Host
