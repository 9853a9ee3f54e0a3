/// The walk that fills the tree of types.
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/Introspection.h>

#include <algorithm>

namespace Fen {

namespace {

using Flags = FenAttr::FenAttrIntrospectionFlags;

/// A function of the framework that every entity has.
constexpr AttrDesc framework(AttributeId id, char const* name, char const* valueType) {
   return plainDesc(id, name, AttrKind::computed, valueType, nullptr);
}

constexpr AttrDesc isNondestructing =
   framework(isNondestructingAttributeId, "isNondestructing", "bool");
constexpr AttrDesc adapterForChannel =
   framework(adapterForChannelAttributeId, "fenNboAttrLogSaForMsgChannel", "Fen::Entity");
constexpr AttrDesc hasAttrLog = framework(hasAttrLogAttributeId, "fenHasAttrLogInterface", "bool");
constexpr AttrDesc key = framework(keyAttributeId, "fwkKey", "Fen::Name");
constexpr AttrDesc value = framework(1, "value", nullptr);

/// By its name: the root's own type object is being made when it is defined.
bool isEntityRoot(FenType const* type) {
   return std::string_view(type->description().fullName) == Entity::fenFullTypeName;
}

bool isCollection(AttrKind kind) {
   return kind == AttrKind::valueCollection || kind == AttrKind::keyedValueCollection ||
          kind == AttrKind::referenceCollection || kind == AttrKind::ownedCollection ||
          kind == AttrKind::recordCollection;
}

unsigned attrFlagsOf(AttrDesc const& attribute) {
   switch (attribute.kind) {
   case AttrKind::key:
   case AttrKind::constructorParameter:
      return FenAttr::isConstructorParameter;
   case AttrKind::scalar:
   case AttrKind::reference:
      return FenAttr::isMutable;
   case AttrKind::child:
      return FenAttr::isMutable | FenAttr::isOwning;
   case AttrKind::ownedCollection:
   case AttrKind::recordCollection:
      return FenAttr::isMutable | FenAttr::isCollection | FenAttr::isOwning;
   case AttrKind::computed:
      return attribute.keyType != nullptr ? unsigned(FenAttr::isCollection) : 0u;
   default:
      return FenAttr::isMutable | FenAttr::isCollection;
   }
}

Flags introspectionFlagsOf(AttrDesc const& attribute) {
   Flags flags;
   if (attribute.kind == AttrKind::computed) {
      flags = flags | Flags::isFunction_();
   }
   if (attribute.kind == AttrKind::reference || attribute.kind == AttrKind::referenceCollection) {
      flags = flags | Flags::isIndependentDomainAttr_();
   }
   if (isCollection(attribute.kind) || attribute.keyType != nullptr) {
      flags = flags | Flags::hasInternalIndex_();
   }
   return flags;
}

} // namespace

IntrospectionReactor& IntrospectionReactor::global() {
   // Never destroyed: the tree of types is read until the last code has run.
   static IntrospectionReactor* const theReactor = new IntrospectionReactor;
   return *theReactor;
}

void IntrospectionReactor::handleNameSpace(Name name) {
   if (std::find(nameSpaces_.begin(), nameSpaces_.end(), name) == nameSpaces_.end()) {
      nameSpaces_.push_back(name);
   }
}

void IntrospectionReactor::handleType(FenType* type, FenType* base) {
   FEN_ASSERT(type_ == nullptr, "type_ == nullptr");
   type_ = type;
   if (base != nullptr) {
      base->derivedTypeQEnq(type);
   }
}

void IntrospectionReactor::handleScopeExit() { type_ = nullptr; }

void IntrospectionReactor::handleAttr(Ptr<FenAttr> const& parameter) {
   FEN_ASSERT(type_ != nullptr && !parameter_, "type_ != nullptr && !parameter_");
   parameter_ = parameter;
   type_->constructorArgQEnq(parameter);
}

void IntrospectionReactor::handleAttrContextExit() { parameter_ = nullptr; }

Ptr<FenAttr> IntrospectionReactor::defNoninstantiatingAttr(FenType* type,
                                                           AttrDesc const& description,
                                                           unsigned attrFlags,
                                                           Flags const& introspectionFlags) {
   auto const attribute = makePtr<FenAttr>(type, description, attrFlags, introspectionFlags);
   type->attributeQEnq(attribute);
   return attribute;
}

void IntrospectionReactor::frameworkAttributesBefore(FenType* type) {
   defNoninstantiatingAttr(type, isNondestructing, 0, Flags::isFunction_());
   if (isEntityRoot(type)) {
      // Every entity has it from there.
      defNoninstantiatingAttr(type, adapterForChannel, 0, Flags::isFunction_());
   }
   defNoninstantiatingAttr(type, hasAttrLog, 0, Flags::isFunction_());
}

void IntrospectionReactor::frameworkAttributesBehind(FenType* type) {
   defNoninstantiatingAttr(type, key, 0, Flags::isFunction_());
}

void IntrospectionReactor::constructorParameters(FenType* type) {
   for (ParameterDesc const& each : type->parameters()) {
      handleAttr(FenAttr::attrIs(type, each.name, each.type));
      handleAttrContextExit();
   }
}

void IntrospectionReactor::ownAttributes(FenType* type) {
   for (AttrDesc const& each : type->attributes()) {
      defNoninstantiatingAttr(type, each, attrFlagsOf(each), introspectionFlagsOf(each));
      if (each.kind == AttrKind::ownedCollection && !type->defaultCollection()) {
         type->defaultCollectionIs(FenAttr::attr(type, each.name));
      }
   }
}

/// Values: one attribute for each field, or the value itself.
void IntrospectionReactor::fieldAttributes(FenType* type) {
   AttributeId id = firstOwnAttributeId;
   for (ParameterDesc const& field : type->parameters()) {
      auto const description = plainDesc(id++, field.name, AttrKind::scalar, field.type, nullptr);
      defNoninstantiatingAttr(type, description, FenAttr::isMutable, Flags());
   }
   if (type->parameters().empty()) {
      AttrDesc description = value;
      description.valueType = type->description().fullName;
      type->valAttrIs(defNoninstantiatingAttr(type, description, 0, Flags()));
   }
}

void IntrospectionReactor::define(FenType* type) {
   std::string_view const fullName(type->description().fullName);
   if (std::size_t const colon = fullName.find("::"); colon != std::string_view::npos) {
      handleNameSpace(fullName.substr(0, colon));
   }
   handleType(type, type->baseType());
   bool const isObject = type->kind() == TypeKind::entity || type->kind() == TypeKind::machine;
   FenType* root = type;
   while (root->baseType() != nullptr) {
      root = root->baseType();
   }
   type->isEntityIs(isEntityRoot(root));
   type->hasGenericIfSupportIs(true);
   constructorParameters(type);
   if (!isObject) {
      fieldAttributes(type);
      handleScopeExit();
      return;
   }
   frameworkAttributesBefore(type);
   ownAttributes(type);
   frameworkAttributesBehind(type);
   handleScopeExit();
}

} // namespace Fen
