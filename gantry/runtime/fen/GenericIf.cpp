/// Handles: the refusals, lists of arguments, and the operations on objects by their tables.
#include <gantry/runtime/fen/AttrAccess.h>
#include <gantry/runtime/fen/GenericIf.h>

namespace Fen {

// ---- refusals ----------------------------------------------------------------------------------

BadIndexAttrException::~BadIndexAttrException() = default;
TypeException::~TypeException() = default;
UnknownAttrException::~UnknownAttrException() = default;

OpNotSupportedException::OpNotSupportedException(String8 attribute, unsigned operation)
   : Exception(Id::opNotSupported, format("%s: operation %u", attribute.charPtr(), operation)),
     attribute_(attribute), operation_(operation) {}
OpNotSupportedException::~OpNotSupportedException() = default;

void GenericIf::throwConstException() {
   Fen::throwConstException("attempting to modify a const instance");
}
void GenericIf::throwBadIndexAttrException(String8 attribute) {
   throw BadIndexAttrException(attribute);
}
void GenericIf::throwOpNotSupportedException(String8 attribute, unsigned operation) {
   throw OpNotSupportedException(attribute, operation);
}
void GenericIf::throwTypeException(String8 what) { throw TypeException(what); }
void GenericIf::throwUnknownAttrException(String8 type) { throw UnknownAttrException(type); }

// ---- any handle --------------------------------------------------------------------------------

GenericIf::~GenericIf() = default;

FenType* GenericIf::fwkType() const { return nullptr; }

void const* GenericIf::convertedTo(FenType const*) const {
   FenType const* const type = fwkType();
   throwTypeException(type != nullptr ? String8(type->name()) : String8());
}

AttributeId GenericIf::attributeId(String8) const { return 0; }

Ptr<GenericIf> GenericIf::attributeOp(AttributeOp const&, Ptr<GenericIf const> const&,
                                      Ptr<GenericIf const> const&) {
   FenType const* const type = fwkType();
   throwUnknownAttrException(type != nullptr ? String8(type->name()) : String8());
}

AttributeId GenericIf::attributeIdOrThrow(String8 name) const {
   AttributeId const id = attributeId(name);
   if (id == 0) {
      throwUnknownAttrException(fwkType()->name());
   }
   return id;
}

Ptr<GenericIf> GenericIf::get(String8 name, Ptr<GenericIf const> const& key) {
   return attributeOp(AttributeOp(attributeIdOrThrow(name), operationGet), key, nullptr);
}

void GenericIf::set(String8 name, Ptr<GenericIf const> const& value) {
   attributeOp(AttributeOp(attributeIdOrThrow(name), operationSet), nullptr, value);
}

// ---- arguments ---------------------------------------------------------------------------------

namespace {

constexpr TypeDesc listDescription = {"Fen::List", TypeKind::builtin, nullptr, {},
                                      {},          nullptr,           nullptr};

} // namespace

GenericIf::List_::~List_() = default;

GenericIf::List_ const& GenericIf::List_::of(Ptr<GenericIf const> const& handle) {
   auto const* const list = dynamic_cast<List_ const*>(handle.ptr());
   if (list == nullptr) {
      throwTypeException("List");
   }
   return *list;
}

FenType* GenericIf::List_::fwkType() const {
   static FenType* const type = FenType::typeIs(listDescription);
   return type;
}

Ptr<GenericIf> GenericIf::List_::clone() const { return makePtr<List_>(items_); }

String8 GenericIf::List_::strRep() const {
   String8 text = "[";
   for (auto const& each : items_) {
      text += text.length() == 1 ? "" : ", ";
      text += each ? each->strRep() : String8("None");
   }
   return text + "]";
}

void GenericIf::List_::valueRead(AttrReader& reader) const { reader.text(strRep()); }

// ---- objects -----------------------------------------------------------------------------------

GenericIfPtrInterface::GenericIfPtrInterface(Ptr<PtrInterface> const& object, FenType* type,
                                             bool isConst)
   : GenericIf(isConst), object_(object), type_(type) {}
GenericIfPtrInterface::~GenericIfPtrInterface() = default;

void const* GenericIfPtrInterface::convertedTo(FenType const* type) const {
   if (type_->isA(type) || type == PtrInterface::_fwkType()) {
      return object_.ptr();
   }
   return GenericIf::convertedTo(type);
}

Ptr<PtrInterface> GenericIfPtrInterface::object() {
   if (isConst()) {
      throwConstException();
   }
   return object_;
}

AttributeId GenericIfPtrInterface::attributeId(String8 name) const {
   Ptr<FenAttr> const attribute = FenAttr::attr(type_, name.view());
   return attribute ? attribute->id() : GenericIf::attributeId(name);
}

namespace {

AttrDesc const* attributeOf(FenType const* type, AttributeId id) {
   for (; type != nullptr; type = type->baseType()) {
      if (AttrDesc const* const found = type->attribute(id)) {
         return found;
      }
   }
   return nullptr;
}

} // namespace

Ptr<GenericIf> GenericIfPtrInterface::attributeOp(AttributeOp const& operation,
                                                  Ptr<GenericIf const> const& key,
                                                  Ptr<GenericIf const> const& value) {
   if (operation.isChange() && isConst()) {
      throwConstException();
   }
   AttrDesc const* const attribute = attributeOf(type_, operation.attributeId());
   if (attribute == nullptr) {
      return frameworkOp(operation, key);
   }
   return tableOp(*attribute, operation, key, value);
}

Ptr<GenericIf> GenericIfPtrInterface::tableOp(AttrDesc const& attribute,
                                              AttributeOp const& operation,
                                              Ptr<GenericIf const> const& key,
                                              Ptr<GenericIf const> const& value) {
   AttrAccess const* const access = attribute.access;
   bool const isCollection = access != nullptr && access->key != nullptr;
   if (key && !isCollection) {
      throwBadIndexAttrException(attribute.name);
   }
   if (access == nullptr) {
      throwOpNotSupportedException(attribute.name, operation.operation());
   }
   if (!object_) {
      throwNullValidPtr();
   }
   if (!isCollection) {
      return singleOp(attribute, operation, value);
   }
   switch (operation.operation()) {
   case operationSize:
      return genericIf(static_cast<std::uint32_t>(access->map(*object_).size()));
   case operationVersion:
      return genericIf(static_cast<std::int32_t>(access->map(*object_).version()));
   case operationGet:
   case operationContains:
   case operationSet:
   case operationDelete:
      break;
   default:
      throwOpNotSupportedException(attribute.name, operation.operation());
   }
   if (!key) {
      throwTypeException("fen_index");
   }
   // The object may go while its notifiees hear of the change.
   Ptr<PtrInterface> const held(object_);
   Ptr<GenericIf> result;
   auto const carryOut = [&](void const* rawKey) {
      result = collectionOp(attribute, operation, rawKey, value);
   };
   access->key->take(*key, valueUse(carryOut));
   return result;
}

Ptr<GenericIf> GenericIfPtrInterface::singleOp(AttrDesc const& attribute,
                                               AttributeOp const& operation,
                                               Ptr<GenericIf const> const& value) {
   AttrAccess const& access = *attribute.access;
   Ptr<PtrInterface> const held(object_);
   Ptr<GenericIf> result;
   if (operation.operation() == operationGet) {
      auto const wrap = [&](void const* present) {
         if (access.value != nullptr) {
            result = access.value->handle(present, isConst());
            return;
         }
         // A plain pointer: only its class knows where in it the counted object is.
         void const* const address = *static_cast<void const* const*>(present);
         FenType const* const type = FenType::type(attribute.valueType);
         if (type != nullptr) {
            result =
               type->genericIf(address != nullptr ? type->objectAt(address) : nullptr, isConst());
         }
      };
      access.read(*held, nullptr, valueUse(wrap));
      return result;
   }
   bool const isSettable = access.set != nullptr || access.create != nullptr;
   if (operation.operation() != operationSet || !isSettable) {
      throwOpNotSupportedException(attribute.name, operation.operation());
   }
   if (!value) {
      throwTypeException(attribute.name);
   }
   if (access.create != nullptr) {
      return access.create(*held, nullptr, List_::of(value).items());
   }
   auto const store = [&](void const* wanted) { access.set(*held, nullptr, wanted); };
   access.value->take(*value, valueUse(store));
   return nullptr;
}

Ptr<GenericIf> GenericIfPtrInterface::collectionOp(AttrDesc const& attribute,
                                                   AttributeOp const& operation, void const* key,
                                                   Ptr<GenericIf const> const& value) {
   AttrAccess const& access = *attribute.access;
   Ptr<GenericIf> result;
   auto const wrap = [&](void const* present) {
      result = access.value->handle(present, isConst());
   };
   auto const ignore = [](void const*) {};
   switch (operation.operation()) {
   case operationGet:
      access.read(*object_, key, valueUse(wrap));
      return result;
   case operationContains:
      return genericIf(access.read(*object_, key, valueUse(ignore)));
   case operationSet:
      if (access.set == nullptr && access.create == nullptr) {
         break;
      }
      if (!value) {
         throwTypeException(attribute.name);
      }
      if (access.create != nullptr) {
         return access.create(*object_, key, List_::of(value).items());
      } else {
         auto const store = [&](void const* wanted) { access.set(*object_, key, wanted); };
         access.value->take(*value, valueUse(store));
         return nullptr;
      }
   case operationDelete:
      if (access.del != nullptr) {
         return access.del(*object_, key);
      }
      break;
   default:
      break;
   }
   throwOpNotSupportedException(attribute.name, operation.operation());
}

Ptr<GenericIf> GenericIfPtrInterface::frameworkOp(AttributeOp const& operation,
                                                  Ptr<GenericIf const> const& key) {
   if (operation.attributeId() != isNondestructingAttributeId) {
      return GenericIf::attributeOp(operation, key, nullptr);
   }
   if (key) {
      throwBadIndexAttrException("isNondestructing");
   }
   if (operation.operation() != operationGet) {
      throwOpNotSupportedException("isNondestructing", operation.operation());
   }
   if (!object_) {
      throwNullValidPtr();
   }
   return genericIf(object_->isNondestructing());
}

Ptr<GenericIf> GenericIfPtrInterface::clone() const {
   return objectHandle(object_.ptr(), type_, isConst());
}

String8 GenericIfPtrInterface::strRep() const { return valueToStrep(object_); }

void GenericIfPtrInterface::valueRead(AttrReader& reader) const {
   auto const* const entity = dynamic_cast<Entity const*>(object_.ptr());
   if (!object_) {
      reader.none();
   } else {
      reader.text(entity != nullptr ? entity->fullName() : strRep());
   }
}

void GenericIfPtrInterface::forEachKey(AttributeId id,
                                       void (*visit)(void* context,
                                                     Ptr<GenericIf const> const& key),
                                       void* context) const {
   AttrDesc const* const attribute = attributeOf(type_, id);
   if (attribute == nullptr || attribute->access == nullptr || attribute->access->walk == nullptr ||
       !object_) {
      return;
   }
   // The keys first: a visitor may change the collection.
   std::vector<Ptr<GenericIf const>> keys;
   auto const keep = [&](void const* key) {
      keys.push_back(attribute->access->key->handle(key, true));
   };
   attribute->access->walk(*object_, valueUse(keep));
   for (auto const& key : keys) {
      visit(context, key);
   }
}

} // namespace Fen
