/// Type objects. Each type made from a schema has one, built at first use and never destroyed, that
/// tells its name, base, attributes and constructor parameters, and builds entities by name.
///
/// Written at load and at first use on the activity loop's thread, only read afterwards.
#pragma once

#include <gantry/runtime/fen/Attribute.h>
#include <gantry/runtime/fen/Entity.h>

#include <span>
#include <vector>

namespace Fen {

struct EntityWire;

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
};

class GANTRY_EXPORT FenAttr;

class GANTRY_EXPORT FenType : public Entity {
 public:
   /// Makes the type object and enters it in the tree of types. Called once per type, by its
   /// _fwkType(); the description must live for ever.
   static FenType* typeIs(TypeDesc const& description);
   /// The type of that full name, null when there is none.
   static FenType* type(std::string_view fullName);
   /// Enters a full name in the global tree of type names.
   static void typeNodeIs(char const* fullName);
   /// All types, in the order in which they were made.
   static std::vector<FenType*> const& types();

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

   static FenType* _fwkType();
   FenType* fwkType() const override;

   explicit FenType(TypeDesc const& description);

 protected:
   ~FenType() override;

 private:
   friend class FenAttr;

   TypeDesc const& description_;
   FenType* base_;
   std::vector<Ptr<FenAttr>> attributeHandles_;
};

/// One attribute of a type as an object: what tools and refusals name it by.
class GANTRY_EXPORT FenAttr : public PtrInterface {
 public:
   FenAttr(FenType* type, AttrDesc const& description) : type_(type), description_(description) {}

   /// The attribute of that name in the type, null when it has none. The same object every time.
   static Ptr<FenAttr> attr(FenType* type, std::string_view name);

   AttributeId id() const { return description_.id; }
   Name name() const { return description_.name; }
   FenType* type() const { return type_; }
   AttrDesc const& description() const { return description_; }

 protected:
   ~FenAttr() override;

 private:
   FenType* type_;
   AttrDesc const& description_;
};

} // namespace Fen
