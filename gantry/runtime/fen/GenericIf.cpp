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

namespace {

bool isSupported(AttrAccess const& access, unsigned operation) {
   switch (operation) {
   case GenericIf::operationGet:
      return true;
   case GenericIf::operationSize:
   case GenericIf::operationVersion:
   case GenericIf::operationContains:
      return access.key != nullptr;
   case GenericIf::operationSet:
      return access.set != nullptr || access.create != nullptr;
   case GenericIf::operationDelete:
      return access.del != nullptr;
   default:
      return false;
   }
}

} // namespace

PtrInterface& GenericIfPtrInterface::target() const {
   if (!object_) {
      throwNullValidPtr();
   }
   return *object_;
}

Ptr<GenericIf> GenericIfPtrInterface::tableOp(AttrDesc const& attribute,
                                              AttributeOp const& operation,
                                              Ptr<GenericIf const> const& key,
                                              Ptr<GenericIf const> const& value) {
   AttrAccess const* const access = attribute.access;
   unsigned const number = operation.operation();
   bool const isCollection = access != nullptr && access->key != nullptr;
   bool const concernsMember = number != operationSize && number != operationVersion;
   if (key && !isCollection) {
      throwBadIndexAttrException(attribute.name);
   }
   if (access == nullptr || !isSupported(*access, number)) {
      throwOpNotSupportedException(attribute.name, number);
   }
   if (isCollection && concernsMember && !key) {
      throwTypeException("fen_index");
   }
   if (number == operationSet && !value) {
      throwTypeException(attribute.name);
   }
   // The object may go while its notifiees hear of the change.
   Ptr<PtrInterface> const held(object_);
   if (!concernsMember) {
      HashMapGeneric const& members = access->map(target());
      return number == operationSize ? genericIf(static_cast<std::uint32_t>(members.size()))
                                     : genericIf(static_cast<std::int32_t>(members.version()));
   }
   if (!isCollection) {
      return memberOp(attribute, number, nullptr, value);
   }
   Ptr<GenericIf> result;
   auto const carryOut = [&](void const* rawKey) {
      result = memberOp(attribute, number, rawKey, value);
   };
   access->key->take(*key, valueUse(carryOut));
   return result;
}

Ptr<GenericIf> GenericIfPtrInterface::memberOp(AttrDesc const& attribute, unsigned operation,
                                               void const* key, Ptr<GenericIf const> const& value) {
   AttrAccess const& access = *attribute.access;
   Ptr<GenericIf> result;
   auto const wrap = [&](void const* present) { result = presentHandle(attribute, present); };
   auto const ignore = [](void const*) {};
   auto const store = [&](void const* wanted) { access.set(target(), key, wanted); };
   switch (operation) {
   case operationGet:
      access.read(target(), key, valueUse(wrap));
      return result;
   case operationContains:
      return genericIf(access.read(target(), key, valueUse(ignore)));
   case operationDelete:
      return access.del(target(), key);
   default:
      break;
   }
   if (access.create != nullptr) {
      return access.create(target(), key, List_::of(value).items());
   }
   access.value->take(*value, valueUse(store));
   return nullptr;
}

Ptr<GenericIf> GenericIfPtrInterface::presentHandle(AttrDesc const& attribute,
                                                    void const* present) const {
   if (attribute.access->value != nullptr) {
      return attribute.access->value->handle(present, isConst());
   }
   // A plain pointer: only its class knows where in it the counted object is.
   void const* const address = *static_cast<void const* const*>(present);
   FenType const* const type = FenType::type(attribute.valueType);
   if (type == nullptr) {
      return nullptr;
   }
   return type->genericIf(address != nullptr ? type->objectAt(address) : nullptr, isConst());
}

Ptr<GenericIf> GenericIfPtrInterface::frameworkOp(AttributeOp const& operation,
                                                  Ptr<GenericIf const> const& key) {
   // Types of machines list the attributes of the framework as those of entities do.
   Ptr<FenAttr> const listed = type_->attributeQIdx(operation.attributeId());
   if (!listed) {
      return GenericIf::attributeOp(operation, key, nullptr);
   }
   if (key) {
      throwBadIndexAttrException(listed->name());
   }
   if (operation.operation() != operationGet || listed->id() != isNondestructingAttributeId) {
      throwOpNotSupportedException(listed->name(), operation.operation());
   }
   return genericIf(target().isNondestructing(), isConst());
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
