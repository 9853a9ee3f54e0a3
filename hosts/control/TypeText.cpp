// Types as JSON.

#include <hosts/control/EntityText.h>

#include <nlohmann/json.hpp>

namespace Host {

namespace {

char const* kindText(Fen::TypeKind kind) {
   switch (kind) {
   case Fen::TypeKind::builtin:
      return "builtin";
   case Fen::TypeKind::entity:
      return "entity";
   case Fen::TypeKind::machine:
      return "machine";
   case Fen::TypeKind::value:
      return "value";
   case Fen::TypeKind::enumeration:
      return "enumeration";
   }
   return "unknown";
}

Json typeHead(Fen::FenType const& type) {
   Json json{{"name", std::string(type.fullTypeName().view())}, {"kind", kindText(type.kind())}};
   if (type.baseType() != nullptr) {
      json["base"] = std::string(type.baseType()->fullTypeName().view());
   }
   return json;
}

Json attributeHead(Fen::FenAttr const& attribute) {
   Fen::AttrDesc const& description = attribute.description();
   unsigned const flags = attribute.attrFlags();
   Json json{{"id", description.id},
             {"name", description.name},
             {"type", description.valueType != nullptr ? description.valueType : ""}};
   if (description.keyType != nullptr) {
      json["keyType"] = description.keyType;
   }
   json["isConstructorParameter"] = (flags & Fen::FenAttr::isConstructorParameter) != 0;
   json["isMutable"] = (flags & Fen::FenAttr::isMutable) != 0;
   json["isCollection"] = (flags & Fen::FenAttr::isCollection) != 0;
   json["isOwning"] = (flags & Fen::FenAttr::isOwning) != 0;
   return json;
}

} // namespace

Json typesOf() {
   Json list = Json::array();
   for (Fen::FenType const* each : Fen::FenType::types()) {
      list.push_back(typeHead(*each));
   }
   return Json{{"types", std::move(list)}};
}

Json typeOfName(std::string const& name) {
   Fen::FenType const* const type = Fen::FenType::type(name);
   if (type == nullptr) {
      throw ControlError("noType", "there is no type '" + name + "'",
                         "'gantry types' lists those that there are");
   }
   Json json = typeHead(*type);
   Json parameters = Json::array();
   for (Fen::ParameterDesc const& each : type->parameters()) {
      parameters.push_back({{"name", each.name}, {"type", each.type}});
   }
   json["parameters"] = std::move(parameters);
   Json attributes = Json::array();
   for (Fen::Ptr<Fen::FenAttr> const& each : type->attributeQ()) {
      attributes.push_back(attributeHead(*each));
   }
   json["attributes"] = std::move(attributes);
   return Json{{"type", std::move(json)}};
}

} // namespace Host
