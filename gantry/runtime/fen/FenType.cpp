/// The tree of types.
#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/FenType.h>

#include <map>
#include <string>

namespace Fen {

namespace {

struct TypeTree {
   std::map<std::string, FenType*, std::less<>> byName;
   std::vector<FenType*> inOrder;
};

// Never destroyed: type objects are read until the last code has run.
TypeTree& typeTree() {
   static TypeTree* const theTree = new TypeTree;
   return *theTree;
}

constexpr TypeDesc entityDescription = {"Fen::Entity", TypeKind::entity, nullptr, {}, {},
                                        nullptr,       nullptr};
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

FenType* FenType::typeIs(TypeDesc const& description) {
   auto* const type = new FenType(description);
   type->isNondestructingIs(true);
   typeTree().byName[description.fullName] = type;
   typeTree().inOrder.push_back(type);
   return type;
}

FenType* FenType::type(std::string_view fullName) {
   auto const found = typeTree().byName.find(fullName);
   return found == typeTree().byName.end() ? nullptr : found->second;
}

void FenType::typeNodeIs(char const* fullName) { typeTree().byName.try_emplace(fullName, nullptr); }

std::vector<FenType*> const& FenType::types() { return typeTree().inOrder; }

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

FenType* FenType::_fwkType() {
   static FenType* const type = typeIs(typeDescription);
   return type;
}
FenType* FenType::fwkType() const { return _fwkType(); }

FenType* Entity::_fwkType() {
   static FenType* const type = FenType::typeIs(entityDescription);
   return type;
}

Ptr<FenAttr> FenAttr::attr(FenType* type, std::string_view name) {
   for (Ptr<FenAttr> const& known : type->attributeHandles_) {
      if (name == known->description_.name) {
         return known;
      }
   }
   AttrDesc const* const description = type->attribute(name);
   if (description == nullptr) {
      return nullptr;
   }
   auto handle = makePtr<FenAttr>(type, *description);
   type->attributeHandles_.push_back(handle);
   return handle;
}

} // namespace Fen
