// Places, trees and values of entities as JSON.

#include <hosts/control/EntityText.h>

#include <hosts/support/ValueText.h>

#include <gantry/runtime/fen/AttrAccess.h>
#include <gantry/runtime/fen/Dir.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Host {

namespace {

using AttrDescQ = std::vector<Fen::AttrDesc const*>;

/// Trees are not deeper than this: what goes on is not walked.
constexpr unsigned deepest = 64;

std::string textOf(Fen::String8 const& text) { return std::string(text.view()); }

/// The attributes of a type, those of its bases first.
AttrDescQ attributesOf(Fen::FenType const* type) {
   AttrDescQ result;
   if (type->baseType() != nullptr) {
      result = attributesOf(type->baseType());
   }
   for (Fen::AttrDesc const& each : type->attributes()) {
      result.push_back(&each);
   }
   return result;
}

Fen::AttrDesc const* attributeOf(Fen::FenType const* type, std::string const& name) {
   for (Fen::AttrDesc const* each : attributesOf(type)) {
      if (name == each->name) {
         return each;
      }
   }
   return nullptr;
}

/// One value as JSON.
class JsonReader : public Fen::AttrReader {
 public:
   void boolean(bool value) override { json = value; }
   void signedNumber(std::int64_t value) override { json = value; }
   void unsignedNumber(std::uint64_t value) override { json = value; }
   void real(double value) override {
      // JSON has no infinity.
      json = std::isfinite(value) ? Json(value) : Json();
   }
   void text(Fen::String8 const& value) override { json = textOf(value); }
   void none() override { json = nullptr; }

   Json json;
};

Fen::Ptr<Fen::GenericIfPtrInterface> handleOf(Fen::Entity const& entity, bool isConst) {
   return Fen::Ptr<Fen::GenericIfPtrInterface>(dynamic_cast<Fen::GenericIfPtrInterface*>(
      Fen::objectHandle(&entity, Fen::Entity::_fwkType(), isConst).ptr()));
}

bool isCollection(Fen::AttrDesc const& attribute) {
   return attribute.access != nullptr && attribute.access->key != nullptr;
}

Fen::GenericIf::AttributeOp operation(Fen::AttrDesc const& attribute, unsigned number) {
   return {attribute.id, number};
}

void addValue(Json& json, Fen::Ptr<Fen::GenericIf> const& value) {
   if (!value) {
      json["text"] = "None";
      json["value"] = nullptr;
      return;
   }
   JsonReader reader;
   value->valueRead(reader);
   json["text"] = textOf(value->strRep());
   json["value"] = reader.json;
}

/// The text by which a user names a key: text as it is, all else in its text form.
std::string keyTextOf(Fen::GenericIf const& key) {
   JsonReader reader;
   key.valueRead(reader);
   return reader.json.is_string() ? reader.json.get<std::string>() : textOf(key.strRep());
}

struct MembersContext {
   Fen::GenericIfPtrInterface& handle;
   Fen::AttrDesc const& attribute;
   Json members = Json::array();
};

void memberAdd(void* context, Fen::Ptr<Fen::GenericIf const> const& key) {
   auto& use = *static_cast<MembersContext*>(context);
   Json member{{"key", keyTextOf(*key)}};
   addValue(member, use.handle.attributeOp(operation(use.attribute, Fen::GenericIf::operationGet),
                                           key, nullptr));
   use.members.push_back(std::move(member));
}

Json attributeJson(Fen::GenericIfPtrInterface& handle, Fen::AttrDesc const& attribute) {
   Json json{{"name", attribute.name}, {"type", attribute.valueType}};
   if (isCollection(attribute)) {
      MembersContext context{handle, attribute};
      handle.forEachKey(attribute.id, &memberAdd, &context);
      json["keyType"] = attribute.keyType != nullptr ? attribute.keyType : "";
      json["members"] = std::move(context.members);
   } else {
      addValue(json, handle.attributeOp(operation(attribute, Fen::GenericIf::operationGet), nullptr,
                                        nullptr));
   }
   return json;
}

/// What a user wrote as a handle. Text needs no quotes.
Fen::Ptr<Fen::GenericIf> parsed(Fen::ValueForm const& form, std::string const& text) {
   Fen::FenType const* const type = form.type();
   if (type == nullptr) {
      throw ControlError("notSupported", "values of this type have no text form");
   }
   bool const isText = type == Fen::typeOf<Fen::String8>() || type == Fen::typeOf<Fen::Name>();
   if (isText && (text.empty() || text.front() != '\'')) {
      return Fen::genericIf(Fen::String8(text));
   }
   return type->genericIf(Fen::String8(text), false);
}

Fen::Ptr<Fen::GenericIf> keyOf(ControlPlace const& place, Fen::AttrDesc const& attribute) {
   if (!place.key) {
      return nullptr;
   }
   // The library itself refuses a key where there is none.
   return isCollection(attribute) ? parsed(*attribute.access->key, *place.key)
                                  : Fen::genericIf(Fen::String8(*place.key));
}

Fen::AttrDesc const& requiredAttribute(ControlPlace const& place) {
   Fen::FenType const* const type = place.entity->fwkType();
   Fen::AttrDesc const* const found = attributeOf(type, place.attribute);
   if (found == nullptr) {
      std::string const name = textOf(type->fullTypeName());
      throw ControlError("noAttribute", name + " has no attribute '" + place.attribute + "'",
                         "'gantry types " + name + "' lists them");
   }
   return *found;
}

/// The entities directly below one.
class Members : private Fen::AttrMemberReader {
 public:
   explicit Members(Fen::Entity const& owner) {
      if (auto const* const directory = dynamic_cast<Fen::Dir const*>(&owner)) {
         directory->entityPtrs().forEachMember(
            [this](Fen::Entity* member) { all.emplace_back(member); });
         return;
      }
      for (Fen::AttrDesc const* each : attributesOf(owner.fwkType())) {
         if (each->view != nullptr && each->view->member != nullptr) {
            each->view->members(owner, *this);
         }
      }
   }
   std::vector<Fen::Ptr<Fen::Entity>> all;

 private:
   void entity(Fen::String8 const&, Fen::Ptr<Fen::Entity> const& member) override {
      all.push_back(member);
   }
   void value(Fen::String8 const&, void const*) override {}
};

Json treeBelow(Fen::Entity const& entity, unsigned depth, unsigned& left) {
   if (left == 0) {
      throw ControlError("tooLarge", "there is more below this path than one answer may have",
                         "give a longer path or a smaller --depth");
   }
   --left;
   Json json{{"path", textOf(entity.fullName())},
             {"type", textOf(entity.fwkType()->fullTypeName())}};
   Members const members(entity);
   if (depth == 0) {
      json["below"] = members.all.size();
      return json;
   }
   Json list = Json::array();
   for (auto const& each : members.all) {
      list.push_back(treeBelow(*each, depth - 1, left));
   }
   json["members"] = std::move(list);
   return json;
}

/// The same place without "[KEY]" at its end, or nothing.
std::optional<ControlPlace> attributePlace(std::string const& text) {
   for (std::size_t dot = text.rfind('.'); dot != std::string::npos && dot + 1 < text.size();
        dot = dot == 0 ? std::string::npos : text.rfind('.', dot - 1)) {
      ControlPlace place;
      place.entity = Fen::Entity::entity(Fen::EntityUriPath(Fen::String8(text.substr(0, dot))));
      place.attribute = text.substr(dot + 1);
      if (place.entity) {
         return place;
      }
   }
   return std::nullopt;
}

} // namespace

ControlPlace placeOf(std::string const& text) {
   ControlPlace place;
   place.entity = Fen::Entity::entity(Fen::EntityUriPath(Fen::String8(text)));
   if (place.entity) {
      return place;
   }
   if (!text.empty() && text.back() == ']') {
      for (std::size_t open = text.find('['); open != std::string::npos;
           open = text.find('[', open + 1)) {
         if (auto found = attributePlace(text.substr(0, open))) {
            found->key = text.substr(open + 1, text.size() - open - 2);
            return *found;
         }
      }
   }
   if (auto const found = attributePlace(text)) {
      return *found;
   }
   throw ControlError("noPath", "there is nothing at '" + text + "'",
                      "'gantry tree' shows what there is");
}

Json treeOf(Fen::Ptr<Fen::Entity> const& entity, unsigned depth, unsigned limit) {
   unsigned left = limit;
   return treeBelow(*entity, std::min(depth, deepest), left);
}

Json valuesOf(ControlPlace const& place) {
   Json json{{"path", textOf(place.entity->fullName())},
             {"type", textOf(place.entity->fwkType()->fullTypeName())}};
   auto const handle = handleOf(*place.entity, true);
   Json list = Json::array();
   if (place.attribute.empty()) {
      for (Fen::AttrDesc const* each : attributesOf(place.entity->fwkType())) {
         if (each->access != nullptr) {
            list.push_back(attributeJson(*handle, *each));
         }
      }
      json["attributes"] = std::move(list);
      return json;
   }
   Fen::AttrDesc const& attribute = requiredAttribute(place);
   if (!place.key) {
      json["attribute"] = attributeJson(*handle, attribute);
      return json;
   }
   Json one{{"name", attribute.name}, {"type", attribute.valueType}, {"key", *place.key}};
   Fen::Ptr<Fen::GenericIf> const key = keyOf(place, attribute);
   auto const contained = handle->attributeOp(
      operation(attribute, isCollection(attribute) ? Fen::GenericIf::operationContains
                                                   : Fen::GenericIf::operationGet),
      key, nullptr);
   if (!Fen::valueTaken<bool>(*contained)) {
      throw ControlError("noKey", "'" + place.attribute + "' has no member at '" + *place.key + "'",
                         "leave the key out to see all members");
   }
   addValue(one,
            handle->attributeOp(operation(attribute, Fen::GenericIf::operationGet), key, nullptr));
   json["attribute"] = std::move(one);
   return json;
}

Json valuesByName(Fen::Entity const& entity) {
   Json json = Json::object();
   for (Fen::AttrDesc const* each : attributesOf(entity.fwkType())) {
      if (each->view != nullptr) {
         json[each->name] = Json::parse(valueText(entity, *each, true), nullptr, false);
      }
   }
   return json;
}

Json valueOf(Fen::Entity const& entity, Fen::AttrDesc const& attribute, void const* key) {
   JsonReader reader;
   if (attribute.view->value != nullptr) {
      attribute.view->value(entity, reader);
   } else if (attribute.view->memberValue == nullptr || key == nullptr ||
              !attribute.view->memberValue(entity, key, reader)) {
      reader.json = nullptr;
   }
   return reader.json;
}

void valueIs(ControlPlace const& place, std::string const& text, bool isConst) {
   if (place.attribute.empty()) {
      throw ControlError("noAttribute", "an entity as a whole cannot be set",
                         "give PATH.ATTRIBUTE");
   }
   Fen::AttrDesc const& attribute = requiredAttribute(place);
   auto const handle = handleOf(*place.entity, isConst);
   Fen::GenericIf::AttributeOp const set = operation(attribute, Fen::GenericIf::operationSet);
   Fen::AttrAccess const* const access = attribute.access;
   if (isConst || access == nullptr || (access->set == nullptr && access->create == nullptr)) {
      // It is for the library to refuse this, and it does so before it looks at a value.
      Fen::Ptr<Fen::GenericIf> const key = isConst ? nullptr : keyOf(place, attribute);
      handle->attributeOp(set, key, nullptr);
      return;
   }
   Fen::Ptr<Fen::GenericIf> const key = keyOf(place, attribute);
   if (access->set == nullptr || attribute.kind == Fen::AttrKind::ownedCollection) {
      throw ControlError("notSupported",
                         "'" + place.attribute + "' holds entities, which are not made by a text",
                         "set an attribute of one of them");
   }
   handle->attributeOp(set, key, parsed(*access->value, text));
}

} // namespace Host
