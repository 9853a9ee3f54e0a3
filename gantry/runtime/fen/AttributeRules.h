/// What a type says of its attributes at run time, and the rules by which attributes change.
///
/// A schema-made entity has one small struct per attribute, its traits: owner, types, id, where the
/// value is stored and which slot of the notifiee is called. Everything else is here, once:
/// setters, find-or-create, deletion, notification, and the description that the wire and
/// reflection read.
///
/// Traits of an attribute, as generated:
///
///    struct FenMountStateAttr {
///       using Owner = MountStatus;
///       using Value = MountState;
///       static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
///       static constexpr Fen::AttributeId id = 259;
///       static constexpr char const* name = "mountState";
///       static Value& field(Owner& owner) { return owner.mountState_; }
///       static void tell(Fen::PtrInterface::NotifieeConst& notifiee);   // calls onMountState()
///    };
///
/// A collection has Key and Member (the stored object's type) as well, `field` gives its HashMap,
/// and `tell` takes the key.
#pragma once

#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/HashMap.h>
#include <gantry/runtime/fen/Strep.h>

#include <concepts>
#include <utility>

namespace Fen {

enum class AttrKind : std::uint8_t {
   /// The entity's own name. Fixed.
   key,
   /// A constructor parameter. Fixed.
   constructorParameter,
   /// A plain value.
   scalar,
   /// A counted reference to an entity that somebody else owns; may be null.
   reference,
   /// One owned entity, or none.
   child,
   /// Values by key, in members of type ValueMember.
   valueCollection,
   /// Values that carry their own key.
   keyedValueCollection,
   /// Counted references by key.
   referenceCollection,
   /// Owned entities by key.
   ownedCollection,
   /// Records by key, each of which owns one entity, or none (RecordMember.h).
   recordCollection,
   /// Read through another attribute or computed; no storage.
   computed,
};

/// The name of a member that gets it from its key: the text itself, or the key's text form.
template <class Key>
Name keyName(Key const& key) {
   if constexpr (std::convertible_to<Key, Name>) {
      return key;
   } else {
      return Name(key.stringValue());
   }
}

/// A member of a collection of values or references: a key and what it stands for.
template <class KeyType, class ValueType>
class ValueMember : public PtrInterface {
 public:
   using Key = KeyType;
   using Value = ValueType;

   ValueMember(Key const& key, Value const& value) : key_(key), value_(value) {}

   Key const& fwkKey() const { return key_; }
   Key const& key() const { return key_; }
   Value const& value() const { return value_; }
   void fenValueIs(Value const& value) { value_ = value; }
   HashMapLink& fwkHmLink() { return link_; }
   HashMapLink const& fwkHmLink() const { return link_; }

 private:
   HashMapLink link_;
   Key key_;
   Value value_;
};

/// Tells the owner's notifiees of a changed scalar, reference or child.
template <class Attr>
void attrNotify(typename Attr::Owner& owner) {
   owner.fenNotify(Attr::id, nullptr,
                   [](PtrInterface::NotifieeConst& notifiee) { Attr::tell(notifiee); });
}

/// Tells the owner's notifiees that the member at `key` came, went or changed.
template <class Attr>
void attrNotify(typename Attr::Owner& owner, typename Attr::Key const& key) {
   // The key may live in a member that a handler drops.
   typename Attr::Key const kept(key);
   owner.fenNotify(Attr::id, &kept,
                   [&kept](PtrInterface::NotifieeConst& notifiee) { Attr::tell(notifiee, kept); });
}

/// Holds the owner for the length of a change whose first steps may run handlers already, when a
/// member is told of its parent or when the last reference to a former value goes.
template <class Owner>
Ptr<Owner> ownerHeld(Owner& owner) {
   return Ptr<Owner>(&owner);
}

/// Setter of a scalar or a reference: an equal value changes nothing and tells nobody.
template <class Attr>
void scalarIs(typename Attr::Owner& owner, typename Attr::Value const& value) {
   auto& field = Attr::field(owner);
   if (field == value) {
      return;
   }
   if constexpr (Attr::kind == AttrKind::reference) {
      auto const held = ownerHeld(owner);
      field = value;
      attrNotify<Attr>(owner);
   } else {
      field = value;
      attrNotify<Attr>(owner);
   }
}

/// Throws the range exception for a null where the schema allows none.
[[noreturn]] GANTRY_EXPORT void throwNullParameter(char const* attribute, char const* fullPath);

/// Raises NameInUseException for a member that exists with another constructor parameter.
[[noreturn]] GANTRY_EXPORT void throwParameterDiffers(PtrInterface const& member, String8 keyText,
                                                      char const* parameter, String8 newText,
                                                      String8 oldText);

/// Compares one constructor parameter of an existing member with the one that is asked for.
template <class Value>
void requireSameParameter(Entity const& member, char const* parameter, Value const& current,
                          Value const& wanted) {
   if (!(current == wanted)) {
      throwParameterDiffers(member, valueToStrep(member.name()), parameter, valueToStrep(wanted),
                            valueToStrep(current));
   }
}
template <class Value>
void requireSameParameter(PtrInterface const& member, char const* parameter, Value const& current,
                          Value const& wanted) {
   if (!(current == wanted)) {
      throwParameterDiffers(member, String8(), parameter, valueToStrep(wanted),
                            valueToStrep(current));
   }
}

// ---- one owned entity ------------------------------------------------------------------------

/// Find-or-create of a single owned child: one with that name and equal constructor parameters is
/// returned and nobody is told; different parameters throw NameInUseException and change nothing.
/// One of another name gives way: it loses its parent, then the change is told once.
template <class Attr, class... Parameters>
Ptr<typename Attr::Member> childIs(typename Attr::Owner& owner, Name const& name,
                                   Parameters const&... parameters) {
   auto const held = ownerHeld(owner);
   auto& field = Attr::field(owner);
   if (field && field->name() == name) {
      Ptr<typename Attr::Member> const found(field);
      if constexpr (requires { found->fenParametersMatch(parameters...); }) {
         found->fenParametersMatch(parameters...);
      }
      return found;
   }
   auto child = makePtr<typename Attr::Member>(name, parameters...);
   // A handler of the one that goes may put another one in.
   while (auto const former = std::exchange(field, nullptr)) {
      former->parentIs(nullptr);
   }
   field = child;
   child->parentAttrIdIs(Attr::id);
   child->parentIs(Ptr<Entity>(&owner));
   attrNotify<Attr>(owner);
   return child;
}

/// Puts a fresh child in the place of the present one, whose parent is cleared; tells nobody of the
/// attribute.
template <class Attr>
Ptr<typename Attr::Member> newChild(typename Attr::Owner& owner,
                                    Ptr<typename Attr::Member> const& child) {
   auto& field = Attr::field(owner);
   if (field) {
      field->parentIs(nullptr);
   }
   field = child;
   child->parentAttrIdIs(Attr::id);
   child->parentIs(Ptr<Entity>(&owner));
   return child;
}

/// Clears the child's parent without telling anybody: the owner is going.
template <class Attr>
void childOrphan(typename Attr::Owner& owner) {
   if (auto const& child = Attr::field(owner)) {
      child->fenParentGone();
   }
}

/// Takes the child out, clears its parent, tells, and returns it; null without notification when
/// there is none.
template <class Attr>
Ptr<typename Attr::Member> childDel(typename Attr::Owner& owner) {
   auto const held = ownerHeld(owner);
   Ptr<typename Attr::Member> child = std::exchange(Attr::field(owner), nullptr);
   if (child) {
      child->parentIs(nullptr);
      attrNotify<Attr>(owner);
   }
   return child;
}

// ---- collections of values and of references ---------------------------------------------------

/// The value at a key, a default-constructed one when the key is absent.
template <class Attr>
typename Attr::Member::Value memberValue(typename Attr::Owner const& owner,
                                         typename Attr::Key const& key) {
   auto const* member = Attr::field(const_cast<typename Attr::Owner&>(owner)).find(key);
   return member != nullptr ? member->value() : typename Attr::Member::Value();
}

/// Creates the member, with no look-up and no notification.
template <class Attr>
Ptr<typename Attr::Member> newValueMember(typename Attr::Owner& owner,
                                          typename Attr::Key const& key,
                                          typename Attr::Member::Value const& value) {
   auto member = makePtr<typename Attr::Member>(key, value);
   Attr::field(owner).newMember(member);
   return member;
}

/// Stores a value at a key: an equal one changes nothing, else it is stored or the member is made,
/// and the notifiees are told.
template <class Attr>
void valueMemberIs(typename Attr::Owner& owner, typename Attr::Key const& key,
                   typename Attr::Member::Value const& value) {
   auto const held = ownerHeld(owner);
   if (Ptr<typename Attr::Member> const member = Attr::field(owner).find(key)) {
      if (member->value() == value) {
         return;
      }
      // The key may live in what the former value was the last to hold.
      typename Attr::Key const kept(key);
      member->fenValueIs(value);
      attrNotify<Attr>(owner, kept);
   } else {
      newValueMember<Attr>(owner, key, value);
      attrNotify<Attr>(owner, key);
   }
}

/// Removes the value at a key and tells; null without notification when there is none.
template <class Attr>
Ptr<typename Attr::Member> valueMemberDel(typename Attr::Owner& owner,
                                          typename Attr::Key const& key);

/// The same for references: a null deletes the member.
template <class Attr>
void referenceMemberIs(typename Attr::Owner& owner, typename Attr::Key const& key,
                       typename Attr::Member::Value const& value) {
   if (value) {
      valueMemberIs<Attr>(owner, key, value);
   } else {
      valueMemberDel<Attr>(owner, key);
   }
}

template <class Attr>
Ptr<typename Attr::Member> valueMemberDel(typename Attr::Owner& owner,
                                          typename Attr::Key const& key) {
   auto const held = ownerHeld(owner);
   typename Attr::Key const kept(key);
   Ptr<typename Attr::Member> member = Attr::field(owner).memberDel(kept);
   if (member) {
      attrNotify<Attr>(owner, kept);
   }
   return member;
}

// ---- collections of owned entities -------------------------------------------------------------

/// Creates the member, inserts it and becomes its parent, with no look-up; tells nobody of the
/// collection's attribute.
template <class Attr>
Ptr<typename Attr::Member> newOwnedMember(typename Attr::Owner& owner,
                                          Ptr<typename Attr::Member> const& member) {
   Attr::field(owner).newMember(member);
   member->parentAttrIdIs(Attr::id);
   member->parentIs(Ptr<Entity>(&owner));
   return member;
}

/// Find-or-create: an existing member with equal constructor parameters is returned and nobody is
/// told; different ones throw NameInUseException and change nothing. `create` makes the member.
template <class Attr, class Create, class... Parameters>
Ptr<typename Attr::Member> ownedMemberIs(typename Attr::Owner& owner, typename Attr::Key const& key,
                                         Create const& create, Parameters const&... parameters) {
   auto const held = ownerHeld(owner);
   if (auto* existing = Attr::field(owner).find(key)) {
      Ptr<typename Attr::Member> const found(existing);
      found->fenParametersMatch(parameters...);
      return found;
   }
   Ptr<typename Attr::Member> const member = create();
   attrNotify<Attr>(owner, key);
   return member;
}

template <class Attr>
Ptr<typename Attr::Member> ownedMemberDel(typename Attr::Owner& owner,
                                          typename Attr::Key const& key) {
   auto const held = ownerHeld(owner);
   typename Attr::Key const kept(key);
   Ptr<typename Attr::Member> member = Attr::field(owner).memberDel(kept);
   if (member) {
      member->parentIs(nullptr);
      attrNotify<Attr>(owner, kept);
   }
   return member;
}

/// Tells of a member's presence or absence: the parent is the owner while the member is still in
/// the collection, else null; then the notification.
template <class Attr>
void ownedMemberNotify(typename Attr::Owner& owner, typename Attr::Key const& key,
                       Ptr<typename Attr::Member> const& member) {
   auto const held = ownerHeld(owner);
   typename Attr::Key const kept(key);
   if (member) {
      bool const present = Attr::field(owner).find(kept) == member.ptr();
      member->parentIs(present ? Ptr<Entity>(&owner) : Ptr<Entity>());
   }
   attrNotify<Attr>(owner, kept);
}

/// Clears the parent of every member without telling anybody: the owner is going.
template <class Attr>
void ownedMembersOrphan(typename Attr::Owner& owner) {
   Attr::field(owner).forEachMember([](typename Attr::Member* member) { member->fenParentGone(); });
}

// ---- descriptions ------------------------------------------------------------------------------

struct AttrAccess;
struct AttrView;
struct AttrWire;

/// One attribute as the wire, reflection and path look-ups see it. Static data, one per attribute.
struct AttrDesc {
   AttributeId id;
   char const* name;
   AttrKind kind;
   /// Names of the value's and, for a collection, of the key's type, such as "Fen::String8".
   char const* valueType;
   char const* keyType;
   /// How the attribute travels; null for what stays on this node.
   AttrWire const* wire;
   /// The owned entity at a key given as text (ignored for a single child); null elsewhere.
   Ptr<Entity> (*member)(Entity const& owner, String8 const& key);
   /// How a tool that does not know the type reads the attribute, see AttrView.h; null where there
   /// is nothing to read.
   AttrView const* view = nullptr;
   /// How generic code reads and changes it, see AttrAccess.h; null where only typed code can.
   AttrAccess const* access = nullptr;
};

/// The name of a type in descriptions. Value types and enumerations made from a schema specialise
/// it.
template <class T>
struct TypeName;
template <>
struct TypeName<bool> {
   static constexpr char const* name = "bool";
};
template <>
struct TypeName<std::uint8_t> {
   static constexpr char const* name = "Fen::U8";
};
template <>
struct TypeName<std::int8_t> {
   static constexpr char const* name = "Fen::S8";
};
template <>
struct TypeName<std::int16_t> {
   static constexpr char const* name = "Fen::S16";
};
template <>
struct TypeName<std::uint16_t> {
   static constexpr char const* name = "Fen::U16";
};
template <>
struct TypeName<std::uint32_t> {
   static constexpr char const* name = "Fen::U32";
};
template <>
struct TypeName<std::uint64_t> {
   static constexpr char const* name = "Fen::U64";
};
template <>
struct TypeName<std::int32_t> {
   static constexpr char const* name = "Fen::S32";
};
template <>
struct TypeName<std::int64_t> {
   static constexpr char const* name = "Fen::S64";
};
template <>
struct TypeName<double> {
   static constexpr char const* name = "Fen::Double";
};
template <>
struct TypeName<String8> {
   static constexpr char const* name = "Fen::String";
};
template <>
struct TypeName<Name> {
   static constexpr char const* name = "Fen::Name";
};
template <class T>
requires std::derived_from<T, PtrInterface>
struct TypeName<T> {
   static constexpr char const* name = T::fenFullTypeName;
};
template <class T>
struct TypeName<Ptr<T>> {
   static constexpr char const* name = TypeName<std::remove_const_t<T>>::name;
};

/// The owned entity that an attribute leads to, for path look-ups: null unless the attribute owns
/// entities under keys that are text.
template <class Attr>
Ptr<Entity> attrMember(Entity const& owner, String8 const& key) {
   auto& typed = const_cast<typename Attr::Owner&>(static_cast<typename Attr::Owner const&>(owner));
   if constexpr (Attr::kind == AttrKind::child) {
      return Attr::field(typed);
   } else if constexpr (Attr::kind == AttrKind::recordCollection) {
      // A path names entities, and a record's key need not be the name of what it owns.
      auto const* const likely = Attr::field(typed).find(typename Attr::Key(key));
      if (likely != nullptr && likely->fenChild() && likely->fenChild()->name() == key) {
         return likely->fenChild();
      }
      Ptr<Entity> found;
      Attr::field(typed).forEachMember([&](typename Attr::Member* record) {
         if (!found && record->fenChild() && record->fenChild()->name() == key) {
            found = record->fenChild();
         }
      });
      return found;
   } else {
      return Ptr<Entity>(Attr::field(typed).find(typename Attr::Key(key)));
   }
}

template <class Owner, class Value>
constexpr AttrDesc keyDesc(AttributeId id, char const* name) {
   return {id, name, AttrKind::key, TypeName<Value>::name, nullptr, nullptr, nullptr};
}
/// How a tool reads a parameter by its getter. Defined in AttrView.h.
template <class Owner, auto getter>
constexpr AttrView const* parameterView();

template <class Owner, class Value, auto getter>
constexpr AttrDesc parameterDesc(AttributeId id, char const* name) {
   return {id,      name,    AttrKind::constructorParameter, TypeName<Value>::name, nullptr,
           nullptr, nullptr, parameterView<Owner, getter>()};
}
/// An attribute that only reflection knows: of a machine, or without a notification of its own.
constexpr AttrDesc plainDesc(AttributeId id, char const* name, AttrKind kind, char const* valueType,
                             char const* keyType) {
   return {id, name, kind, valueType, keyType, nullptr, nullptr};
}
template <class Attr, class Member>
constexpr AttrDesc ownedPlaceDesc() {
   AttrDesc description = {
      Attr::id, Attr::name, Attr::kind, TypeName<Member>::name, TypeName<typename Attr::Key>::name,
      nullptr,  nullptr};
   if constexpr (std::is_constructible_v<typename Attr::Key, String8>) {
      description.member = &attrMember<Attr>;
   }
   return description;
}
template <class Attr>
constexpr AttrDesc attrPlaceDesc() {
   if constexpr (Attr::kind == AttrKind::scalar || Attr::kind == AttrKind::reference) {
      return {Attr::id, Attr::name, Attr::kind, TypeName<typename Attr::Value>::name,
              nullptr,  nullptr,    nullptr};
   } else if constexpr (Attr::kind == AttrKind::child) {
      return {Attr::id, Attr::name, Attr::kind,       TypeName<typename Attr::Member>::name,
              nullptr,  nullptr,    &attrMember<Attr>};
   } else if constexpr (Attr::kind == AttrKind::ownedCollection) {
      return ownedPlaceDesc<Attr, typename Attr::Member>();
   } else if constexpr (Attr::kind == AttrKind::recordCollection) {
      return ownedPlaceDesc<Attr, typename Attr::Member::Child>();
   } else {
      return {Attr::id,
              Attr::name,
              Attr::kind,
              TypeName<typename Attr::Member::Value>::name,
              TypeName<typename Attr::Key>::name,
              nullptr,
              nullptr};
   }
}

/// How a tool reads an attribute. Defined in AttrView.h.
template <class Attr>
constexpr AttrView const* attrView();

/// How it travels; null for what stays on this node. Defined in AttrWire.h.
template <class Attr>
constexpr AttrWire const* attrWire();

template <class Attr>
constexpr AttrDesc attrDesc() {
   AttrDesc description = attrPlaceDesc<Attr>();
   description.wire = attrWire<Attr>();
   description.view = attrView<Attr>();
   return description;
}

/// Builds an entity that needs nothing but its name.
template <class Type>
Ptr<Entity> newEntityByName(Name const& name) {
   return makePtr<Type>(name);
}

} // namespace Fen
