/// The tree of types.
#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/Introspection.h>
#include <gantry/runtime/fen/ValueForm.h>

#include <map>
#include <string>

namespace Fen {

namespace {

/// Types by full name, and in the order in which the names were entered. A name can be there before
/// its type.
struct TypeTree {
   std::map<std::string, FenType*, std::less<>> byName;
   std::vector<FenType* const*> inOrder;

   FenType*& place(char const* fullName) {
      auto const [at, isNew] = byName.try_emplace(fullName, nullptr);
      if (isNew) {
         inOrder.push_back(&at->second);
      }
      return at->second;
   }
};

// Never destroyed: type objects are read until the last code has run.
TypeTree& typeTree() {
   static TypeTree* const theTree = new TypeTree;
   return *theTree;
}

constexpr TypeDesc entityDescription = {"Fen::Entity", TypeKind::entity, nullptr, {}, {},
                                        nullptr,       nullptr};
constexpr TypeDesc objectDescription = {
   "Fen::PtrInterface", TypeKind::builtin, nullptr, {}, {}, nullptr, nullptr};
constexpr TypeDesc typeDescription = {"Fen::FenType", TypeKind::entity, &Entity::_fwkType, {}, {},
                                      nullptr,        nullptr};

Name shortName(char const* fullName) {
   std::string_view const text(fullName);
   std::size_t const colon = text.rfind(':');
   return colon == std::string_view::npos ? text : text.substr(colon + 1);
}

} // namespace

FenType::FenType(TypeDesc const& description)
   : Entity(shortName(description.fullName)), description_(description),
     base_(description.base != nullptr ? description.base() : nullptr) {}

FenType::~FenType() = default;
FenAttr::~FenAttr() = default;

FenType* FenType::typeIs(TypeDesc const& description) { return typeIs(new FenType(description)); }

FenType* FenType::typeIs(FenType* type) {
   type->isNondestructingIs(true);
   typeTree().place(type->description_.fullName) = type;
   IntrospectionReactor::global().define(type);
   return type;
}

FenType* FenType::type(std::string_view fullName) {
   auto const found = typeTree().byName.find(fullName);
   return found == typeTree().byName.end() ? nullptr : found->second;
}

void FenType::typeNodeIs(char const* fullName) { typeTree().place(fullName); }

std::vector<FenType*> FenType::types() {
   std::vector<FenType*> result;
   for (FenType* const* place : typeTree().inOrder) {
      if (*place != nullptr) {
         result.push_back(*place);
      }
   }
   return result;
}

bool FenType::isA(FenType const* other) const {
   for (FenType const* type = this; type != nullptr; type = type->base_) {
      if (type == other) {
         return true;
      }
   }
   return false;
}

AttrDesc const* FenType::attribute(std::string_view name) const {
   for (AttrDesc const& each : description_.attributes) {
      if (name == each.name) {
         return &each;
      }
   }
   return nullptr;
}

Ptr<Entity> FenType::newEntity(Name const& name, Dir* directory) const {
   if (description_.newEntity == nullptr) {
      return nullptr;
   }
   Ptr<Entity> entity = description_.newEntity(name);
   if (directory != nullptr) {
      directory->entityPtrIs(entity);
   }
   return entity;
}

Ptr<PtrInterface> FenType::newEntity(Ptr<NboAttrLog::In> const& in,
                                     PtrInterface::NotifieeConst::Fen_BitSet, unsigned,
                                     PtrInterface*) const {
   if (description_.wire == nullptr) {
      return nullptr;
   }
   return description_.wire->newEntity(*in, nullptr);
}

Ptr<Entity::FenNboAttrLogSa> FenType::childAttrLogIs(Ptr<Entity> const& child,
                                                     Ptr<NboAttrLog::Out> const& out) const {
   if (!child || !child->fwkType()->isA(this)) {
      return nullptr;
   }
   return child->fenNboAttrLogSaIs({}, 0, out, nullptr);
}

// ---- handles -----------------------------------------------------------------------------------

Ptr<GenericIf> FenType::genericIf(String8 const& text, bool isConst) const {
   String8::IteratorConst at(text);
   String8::IteratorConst const end(text, text.length());
   if (ValueForm const* const form = description_.form) {
      Ptr<GenericIf> handle;
      auto const keep = [&](void const* value) { handle = form->handle(value, isConst); };
      form->read(at, end, valueUse(keep));
      requireTextEnd(at, end);
      return handle;
   }
   String8::IteratorConst const begin(at);
   Ptr<PtrInterface> const object = sequenceToValueOfPtr(at, end);
   requireTextEnd(at, end);
   if (object && !object->fwkType()->isA(this)) {
      cannotConvert(begin, end, this);
   }
   return genericIf(object.ptr(), isConst);
}

Ptr<GenericIf> FenType::genericIf(PtrInterface* object, bool isConst) const {
   FenType* const self = const_cast<FenType*>(this);
   FenType const* const type = object != nullptr ? object->fwkType() : nullptr;
   PtrInterface* const typed = type != nullptr && type->isA(this) ? object : nullptr;
   if (isEntity_) {
      return makePtr<GenericIfEntity>(Ptr<Entity>(dynamic_cast<Entity*>(typed)), self, isConst);
   }
   return makePtr<GenericIfPtrInterface>(Ptr<PtrInterface>(typed), self, isConst);
}

PtrInterface* FenType::objectAt(void const*) const { return nullptr; }

Ptr<GenericIf> objectHandle(PtrInterface const* object, FenType const* type, bool isConst) {
   FenType const* const own = object != nullptr ? object->fwkType() : nullptr;
   if (own == nullptr && type == nullptr) {
      return nullptr;
   }
   return (own != nullptr ? own : type)->genericIf(const_cast<PtrInterface*>(object), isConst);
}

// ---- queues ------------------------------------------------------------------------------------

std::vector<FenType*> FenType::nestedType() const {
   std::vector<FenType*> result;
   for (FenType* const each : types()) {
      if (each->scope() == this) {
         result.push_back(each);
      }
   }
   return result;
}

std::vector<Ptr<FenAttr>> FenType::referringAttrQ() const {
   std::vector<Ptr<FenAttr>> result;
   for (FenType* const type : types()) {
      for (Ptr<FenAttr> const& each : type->attributeQ_) {
         if (each->valueType() == this || each->keyType() == this) {
            result.push_back(each);
         }
      }
   }
   return result;
}

std::vector<FenType*> const& FenType::derivedTypeQ() const { return derivedTypeQ_; }
std::vector<Ptr<FenAttr>> const& FenType::attributeQ() const { return attributeQ_; }

Ptr<FenAttr> FenType::attributeQIdx(AttributeId id) const {
   for (Ptr<FenAttr> const& each : attributeQ_) {
      if (each->id() == id) {
         return each;
      }
   }
   return nullptr;
}

std::vector<Name> FenType::constructorArgNameQ() const {
   std::vector<Name> result;
   for (Ptr<FenAttr> const& each : constructorArgQ_) {
      result.push_back(each->name());
   }
   return result;
}

std::vector<Name> FenType::constructorArgTypeQ() const {
   std::vector<Name> result;
   for (Ptr<FenAttr> const& each : constructorArgQ_) {
      result.emplace_back(each->description().valueType);
   }
   return result;
}

void FenType::attributeQEnq(Ptr<FenAttr> const& attribute) { attributeQ_.push_back(attribute); }
void FenType::constructorArgQEnq(Ptr<FenAttr> const& parameter) {
   constructorArgQ_.push_back(parameter);
}
void FenType::typeFlagsIs(unsigned flags) { typeFlags_ = flags; }
void FenType::sizeIs(std::size_t size) { size_ = size; }
void FenType::valAttrIs(Ptr<FenAttr> const& attribute) { valAttr_ = attribute; }
void FenType::defaultCollectionIs(Ptr<FenAttr> const& attribute) { defaultCollection_ = attribute; }
void FenType::scopeIs(FenType* scope) { scope_ = scope; }
Ptr<FenAttr> FenType::valAttr() const { return valAttr_; }
Ptr<FenAttr> FenType::defaultCollection() const { return defaultCollection_; }

FenType* FenType::scope() const {
   // By its name: a nested type may be made before the one around it.
   std::string_view const fullName(description_.fullName);
   std::size_t const colon = fullName.rfind("::");
   return scope_ != nullptr || colon == std::string_view::npos ? scope_
                                                               : type(fullName.substr(0, colon));
}

FenType* FenType::_fwkType() {
   static FenType* const type = typeIs(typeDescription);
   return type;
}
FenType* FenType::fwkType() const { return _fwkType(); }

FenType* Entity::_fwkType() {
   static FenType* const type = FenType::typeIs(entityDescription);
   return type;
}

FenType* PtrInterface::_fwkType() {
   static FenType* const type = FenType::typeIs(objectDescription);
   return type;
}

// ---- attributes --------------------------------------------------------------------------------

FenAttr::FenAttrIntrospectionFlags::FenAttrIntrospectionFlags(unsigned value) : value_(value) {
   if (value > highest) {
      throwRangeException("FenAttrIntrospectionFlags::value > 0x3f not allowed");
   }
}

Ptr<FenAttr> FenAttr::attr(FenType* type, std::string_view name) {
   for (; type != nullptr; type = type->baseType()) {
      for (Ptr<FenAttr> const& each : type->attributeQ()) {
         if (name == each->description_.name) {
            return each;
         }
      }
   }
   return nullptr;
}

Ptr<FenAttr> FenAttr::attrIs(FenType* type, char const* name, char const* typeName) {
   auto const description = plainDesc(0, name, AttrKind::constructorParameter, typeName, nullptr);
   return makePtr<FenAttr>(type, description, isConstructorParameter, FenAttrIntrospectionFlags());
}

FenType* FenAttr::valueType() const {
   return description_.valueType != nullptr ? FenType::type(description_.valueType) : nullptr;
}
FenType* FenAttr::keyType() const {
   return description_.keyType != nullptr ? FenType::type(description_.keyType) : nullptr;
}

} // namespace Fen
