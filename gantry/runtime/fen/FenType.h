/// Type objects. Each type has one, built at first use and never destroyed, that tells its name,
/// base, attributes and constructor parameters, builds entities by name or from a log, and makes
/// handles for generic access. All of them together are the tree of types.
///
/// Written at load and at first use on the activity loop's thread, only read afterwards.
#pragma once

#include <gantry/runtime/fen/Attribute.h>
#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/StreamAdapter.h>

#include <span>
#include <vector>

namespace Fen {

struct EntityWire;
class GenericIf;
struct ValueForm;
// The classes that types have for reflection, see TypeOf.h and ValueForm.h.
template <class X>
class GenericIfOf;
template <class T>
class GenericIfValue;
template <class X>
class TypeOf;

enum class TypeKind : std::uint8_t { builtin, entity, machine, value, enumeration };

/// A constructor parameter: its name and the name of its type.
struct ParameterDesc {
   char const* name;
   char const* type;
};

/// What a schema says of a type: static data, emitted beside the class.
struct TypeDesc {
   /// With its scope, such as "Controller::MountStatus".
   char const* fullName;
   TypeKind kind;
   /// The base type's object, null when there is no base.
   FenType* (*base)();
   std::span<AttrDesc const> attributes;
   std::span<ParameterDesc const> parameters;
   /// Builds an entity from its name alone; null when the type needs more.
   Ptr<Entity> (*newEntity)(Name const& name);
   /// How entities of this type travel, made by entityWire<Type>(); null for types that do not.
   EntityWire const* wire;
   /// What is done with the type's values, see ValueForm.h; null for entities and machines.
   ValueForm const* form = nullptr;
};

class FenAttr;
class IntrospectionReactor;

class GANTRY_EXPORT FenType : public Entity {
 public:
   /// Makes the type object and enters it in the tree of types. Called once per type, by its
   /// _fwkType(); the description must live for ever.
   static FenType* typeIs(TypeDesc const& description);
   /// The same for an object of a class of its own.
   static FenType* typeIs(FenType* type);
   /// The type of that full name, null when there is none.
   static FenType* type(std::string_view fullName);
   /// Enters a full name in the global tree of type names.
   static void typeNodeIs(char const* fullName);
   /// All types, in the order in which their names were entered.
   static std::vector<FenType*> types();

   String8 fullTypeName() const { return description_.fullName; }
   TypeKind kind() const { return description_.kind; }
   FenType* baseType() const { return base_; }
   bool isA(FenType const* other) const;
   EntityWire const* wire() const { return description_.wire; }
   std::span<AttrDesc const> attributes() const { return description_.attributes; }
   std::span<ParameterDesc const> parameters() const { return description_.parameters; }
   /// The description of one of the type's own attributes, null for another id.
   AttrDesc const* attribute(AttributeId id) const {
      if (id < firstOwnAttributeId) {
         return nullptr;
      }
      auto const index = static_cast<std::size_t>(id - firstOwnAttributeId);
      return index < description_.attributes.size() ? &description_.attributes[index] : nullptr;
   }
   AttrDesc const* attribute(std::string_view name) const;

   /// A new entity of this type, put into `directory` when one is given; null when the type needs
   /// more than a name.
   virtual Ptr<Entity> newEntity(Name const& name, Dir* directory) const;
   /// A new entity whose name and constructor parameters are read from `in`; null when entities of
   /// this type do not travel.
   virtual Ptr<PtrInterface> newEntity(Ptr<NboAttrLog::In> const& in,
                                       PtrInterface::NotifieeConst::Fen_BitSet flags,
                                       unsigned version, PtrInterface* context) const;

   /// The adapter by which an owned entity of this type is streamed, made when there is none.
   virtual Ptr<Entity::FenNboAttrLogSa> childAttrLogIs(Ptr<Entity> const& child,
                                                       Ptr<NboAttrLog::Out> const& out) const;
   /// A handle on what the text says; throws RangeException for a text that says nothing of this
   /// type. A const handle refuses all changes.
   virtual Ptr<GenericIf> genericIf(String8 const& text, bool isConst) const;
   /// A handle on the object; on null when it is null or of another type.
   virtual Ptr<GenericIf> genericIf(PtrInterface* object, bool isConst) const;
   // The queues of what belongs to a type, in declared order.
   virtual std::vector<FenType*> nestedType() const;
   /// The attributes, of any type, whose values or keys are of this type.
   virtual std::vector<Ptr<FenAttr>> referringAttrQ() const;
   virtual std::vector<FenType*> const& derivedTypeQ() const;
   /// Those of the framework that every type has stand around the type's own.
   virtual std::vector<Ptr<FenAttr>> const& attributeQ() const;
   /// The attribute with that id, null when the type has none.
   virtual Ptr<FenAttr> attributeQIdx(AttributeId id) const;
   virtual std::vector<Name> constructorArgNameQ() const;
   /// The names of the types of the constructor parameters, of a value those of its fields.
   virtual std::vector<Name> constructorArgTypeQ() const;

   // Set while the tree of types is filled.
   virtual void typeFlagsIs(unsigned flags);
   /// In bytes, 0 when it is not known.
   virtual void sizeIs(std::size_t size);
   /// The attribute that holds a value's own content.
   virtual void valAttrIs(Ptr<FenAttr> const& attribute);
   /// The attribute whose members a tool shows when it is not told which; null for none.
   virtual void defaultCollectionIs(Ptr<FenAttr> const& attribute);
   virtual void scopeIs(FenType* scope);
   /// The object of this type whose own address is given, which may differ from that of its base;
   /// null for types that are no classes of objects.
   virtual PtrInterface* objectAt(void const* address) const;
   void derivedTypeQEnq(FenType* type) { derivedTypeQ_.push_back(type); }
   void attributeQEnq(Ptr<FenAttr> const& attribute);
   void constructorArgQEnq(Ptr<FenAttr> const& parameter);
   void isEntityIs(bool isEntity) { isEntity_ = isEntity; }
   void hasGenericIfSupportIs(bool supported) { hasGenericIfSupport_ = supported; }

   unsigned typeFlags() const { return typeFlags_; }
   std::size_t size() const { return size_; }
   Ptr<FenAttr> valAttr() const;
   Ptr<FenAttr> defaultCollection() const;
   /// The type that this one is nested in, null when there is none.
   FenType* scope() const;
   bool isEntity() const { return isEntity_; }
   bool hasGenericIfSupport() const { return hasGenericIfSupport_; }
   ValueForm const* form() const { return description_.form; }
   TypeDesc const& description() const { return description_; }

   static FenType* _fwkType();
   FenType* fwkType() const override;

   explicit FenType(TypeDesc const& description);

 protected:
   ~FenType() override;

 private:
   TypeDesc const& description_;
   FenType* base_;
   std::vector<Ptr<FenAttr>> attributeQ_;
   std::vector<Ptr<FenAttr>> constructorArgQ_;
   std::vector<FenType*> derivedTypeQ_;
   Ptr<FenAttr> valAttr_;
   Ptr<FenAttr> defaultCollection_;
   FenType* scope_ = nullptr;
   std::size_t size_ = 0;
   unsigned typeFlags_ = 0;
   bool isEntity_ = false;
   bool hasGenericIfSupport_ = false;
};

/// Makes a type object when the file that holds one of these is loaded, so that the type is found
/// by its name before anybody has a value or object of it.
struct TypeLoad {
   explicit TypeLoad(FenType* (*type)()) { type(); }
};

/// One attribute of a type as an object: what tools and refusals name it by.
class GANTRY_EXPORT FenAttr : public PtrInterface {
 public:
   /// How an attribute is to be read, for tools. A set of marks.
   class GANTRY_EXPORT FenAttrIntrospectionFlags {
    public:
      static constexpr unsigned highest = 0x3f;

      FenAttrIntrospectionFlags() = default;
      /// Throws RangeException above `highest`.
      explicit FenAttrIntrospectionFlags(unsigned value);

      unsigned value() const { return value_; }
      bool contains(FenAttrIntrospectionFlags other) const {
         return (value_ & other.value_) == other.value_;
      }
      bool operator==(FenAttrIntrospectionFlags const& other) const = default;
      friend FenAttrIntrospectionFlags operator|(FenAttrIntrospectionFlags left,
                                                 FenAttrIntrospectionFlags right) {
         return FenAttrIntrospectionFlags(left.value_ | right.value_);
      }

      /// Computed rather than stored.
      static FenAttrIntrospectionFlags isFunction_() { return FenAttrIntrospectionFlags(0x1); }
      /// Leads to what is owned elsewhere.
      static FenAttrIntrospectionFlags isIndependentDomainAttr_() {
         return FenAttrIntrospectionFlags(0x2);
      }
      /// A collection, which finds its members by key.
      static FenAttrIntrospectionFlags hasInternalIndex_() {
         return FenAttrIntrospectionFlags(0x4);
      }

    private:
      unsigned value_ = 0;
   };

   /// What can be done with an attribute. A set of marks.
   enum AttrFlags : unsigned {
      isConstructorParameter = 0x1,
      isMutable = 0x2,
      isCollection = 0x4,
      isOwning = 0x8,
   };

   FenAttr(FenType* type, AttrDesc const& description, unsigned flags,
           FenAttrIntrospectionFlags introspectionFlags)
      : type_(type), description_(description), flags_(flags),
        introspectionFlags_(introspectionFlags) {}

   /// The attribute of that name in the type or its bases, null when there is none. The same object
   /// every time.
   static Ptr<FenAttr> attr(FenType* type, std::string_view name);
   /// A constructor parameter of the type, which has no id of its own: the attribute of its name,
   /// where there is one, is another object.
   static Ptr<FenAttr> attrIs(FenType* type, char const* name, char const* typeName);

   AttributeId id() const { return description_.id; }
   Name name() const { return description_.name; }
   /// The type that declares it.
   FenType* type() const { return type_; }
   AttrDesc const& description() const { return description_; }
   /// The types of its values and, of a collection, of its keys; null for one that nobody has
   /// described, which the names tell all the same.
   FenType* valueType() const;
   FenType* keyType() const;
   unsigned attrFlags() const { return flags_; }
   FenAttrIntrospectionFlags introspectionFlags() const { return introspectionFlags_; }

 protected:
   ~FenAttr() override;

 private:
   FenType* const type_;
   AttrDesc const description_;
   unsigned const flags_;
   FenAttrIntrospectionFlags const introspectionFlags_;
};

} // namespace Fen
