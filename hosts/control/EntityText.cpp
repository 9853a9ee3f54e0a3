// Places, trees and values of entities as JSON.

#include <hosts/control/EntityText.h>

#include <hosts/control/ObjectAccess.h>
#include <hosts/support/ValueText.h>

#include <gantry/runtime/fen/Dir.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Host {

namespace {

/// Trees are not deeper than this: what goes on is not walked.
constexpr unsigned deepest = 64;

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

Json attributeJson(Fen::GenericIfPtrInterface& handle, Fen::AttrDesc const& attribute) {
   Json json{{"name", attribute.name}, {"type", attribute.valueType}};
   if (isCollection(attribute)) {
      Json members = Json::array();
      eachKey(handle, attribute, [&](Fen::Ptr<Fen::GenericIf const> const& key) {
         Json member{{"key", keyTextOf(*key)}};
         addValue(member, handle.attributeOp(operation(attribute, Fen::GenericIf::operationGet),
                                             key, nullptr));
         members.push_back(std::move(member));
      });
      json["keyType"] = attribute.keyType != nullptr ? attribute.keyType : "";
      json["members"] = std::move(members);
   } else {
      addValue(json, handle.attributeOp(operation(attribute, Fen::GenericIf::operationGet), nullptr,
                                        nullptr));
   }
   return json;
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
   Fen::FenType const* const type = place.object->fwkType();
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

std::optional<ControlPlace> wholePlace(std::string const& path, ObjectFinder const& find) {
   ControlPlace place;
   place.object = find(path);
   if (!place.object) {
      return std::nullopt;
   }
   auto const entity = place.entity();
   std::string const name = entity ? textOf(entity->fullName()) : std::string();
   // Only of an entity in the tree does the full name lead back to it.
   place.path = entity && find(name) == place.object ? name : path;
   return place;
}

/// The same place without "[KEY]" at its end, or nothing.
std::optional<ControlPlace> attributePlace(std::string const& text, ObjectFinder const& find) {
   for (std::size_t dot = text.rfind('.'); dot != std::string::npos && dot + 1 < text.size();
        dot = dot == 0 ? std::string::npos : text.rfind('.', dot - 1)) {
      if (auto place = wholePlace(text.substr(0, dot), find)) {
         place->attribute = text.substr(dot + 1);
         return place;
      }
   }
   return std::nullopt;
}

/// What to try instead of a path that leads nowhere.
std::string wayOn(std::string const& text, ObjectFinder const& find, std::string const& top) {
   for (std::size_t slash = text.rfind('/'); slash != std::string::npos && slash > 0;
        slash = text.rfind('/', slash - 1)) {
      std::string const above = text.substr(0, slash);
      auto const object = find(above);
      if (!object) {
         continue;
      }
      std::string const name = text.substr(slash + 1);
      if (attributeOf(object->fwkType(), name) != nullptr) {
         return "for the attribute give '" + above + "." + name + "'";
      }
      return "'gantry tree " + above + " --depth 2' shows what there is";
   }
   return "'gantry tree" + (top == "/" ? "" : " " + top) + "' shows what there is";
}

} // namespace

Fen::Ptr<Fen::Entity> ControlPlace::entity() const {
   return Fen::Ptr<Fen::Entity>(dynamic_cast<Fen::Entity*>(object.ptr()));
}

ControlPlace placeOf(std::string const& text, ObjectFinder const& find, std::string const& top) {
   if (auto const found = wholePlace(text, find)) {
      return *found;
   }
   if (!text.empty() && text.back() == ']') {
      for (std::size_t open = text.find('['); open != std::string::npos;
           open = text.find('[', open + 1)) {
         if (auto found = attributePlace(text.substr(0, open), find)) {
            found->key = text.substr(open + 1, text.size() - open - 2);
            return *found;
         }
      }
   }
   if (auto const found = attributePlace(text, find)) {
      return *found;
   }
   throw ControlError("noPath", "there is nothing at '" + text + "'", wayOn(text, find, top));
}

Json treeOf(Fen::Ptr<Fen::Entity> const& entity, unsigned depth, unsigned limit) {
   unsigned left = limit;
   return treeBelow(*entity, std::min(depth, deepest), left);
}

Json valuesOf(ControlPlace const& place) {
   Json json{{"path", place.path}, {"type", textOf(place.object->fwkType()->fullTypeName())}};
   auto const handle = handleOf(*place.object, true);
   Json list = Json::array();
   if (place.attribute.empty()) {
      for (Fen::AttrDesc const* each : attributesOf(place.object->fwkType())) {
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
   auto const handle = handleOf(*place.object, isConst);
   Fen::GenericIf::AttributeOp const set = operation(attribute, Fen::GenericIf::operationSet);
   Fen::AttrAccess const* const access = attribute.access;
   if (isConst || access == nullptr || (access->set == nullptr && access->create == nullptr)) {
      // It is for the library to refuse this, and it does so before it looks at a value.
      Fen::Ptr<Fen::GenericIf> const key = isConst ? nullptr : keyOf(place, attribute);
      handle->attributeOp(set, key, nullptr);
      return;
   }
   if (isCollection(attribute) && !place.key) {
      throw ControlError("type", "'" + place.attribute + "' is a collection",
                         "give PATH.ATTRIBUTE[KEY]");
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
