/// How a tool reads attributes of entities whose types it does not know: one table of functions per
/// attribute, made by the templates below from the attribute's traits, and held in its description.
/// Values go to an AttrReader by what they are: truth, number or text.
///
/// For tools, not for hot paths: texts are made for every call. All of it runs on the activity
/// loop's thread, and a reader must not change what it reads.
#pragma once

#include <gantry/runtime/fen/AttributeRules.h>

#include <concepts>
#include <sstream>
#include <type_traits>

namespace Fen {

/// Takes one value.
class GANTRY_EXPORT AttrReader {
 public:
   virtual void boolean(bool value) = 0;
   virtual void signedNumber(std::int64_t value) = 0;
   virtual void unsignedNumber(std::uint64_t value) = 0;
   virtual void real(double value) = 0;
   virtual void text(String8 const& value) = 0;
   /// A reference that leads nowhere.
   virtual void none() = 0;

 protected:
   ~AttrReader() = default;
};

/// Takes the members of a collection, or a single child under an empty key.
class GANTRY_EXPORT AttrMemberReader {
 public:
   /// An owned entity.
   virtual void entity(String8 const& key, Ptr<Entity> const& member) = 0;
   /// A record that owns no entity; one that does is told by what it owns.
   virtual void emptyRecord(String8 const&) {}
   /// A value or a reference; it is read by giving the key to AttrView::memberValue.
   virtual void value(String8 const& key, void const* rawKey) = 0;

 protected:
   ~AttrMemberReader() = default;
};

/// What can be read of one attribute. A function that makes no sense for its kind is null.
struct AttrView {
   /// The value of a scalar, a reference or a constructor parameter.
   void (*value)(Entity const& owner, AttrReader& reader);
   /// All members of a collection in its order, or the child.
   void (*members)(Entity const& owner, AttrMemberReader& reader);
   /// The text of a key as a notification carries it.
   String8 (*keyText)(void const* key);
   /// The owned entity at such a key (ignored for a single child), null when there is none; of a
   /// record what it owns.
   Ptr<Entity> (*member)(Entity const& owner, void const* key);
   /// Reads the value at such a key; false when there is none.
   bool (*memberValue)(Entity const& owner, void const* key, AttrReader& reader);
};

/// Gives a value to a reader by its type; one of no built-in kind as its text form.
template <class T>
void attrRead(T const& value, AttrReader& reader) {
   if constexpr (std::same_as<T, bool>) {
      reader.boolean(value);
   } else if constexpr (std::is_enum_v<T>) {
      std::ostringstream text;
      text << value;
      reader.text(String8(text.str()));
   } else if constexpr (std::signed_integral<T>) {
      reader.signedNumber(value);
   } else if constexpr (std::unsigned_integral<T>) {
      reader.unsignedNumber(value);
   } else if constexpr (std::floating_point<T>) {
      reader.real(value);
   } else if constexpr (std::derived_from<T, String8>) {
      reader.text(value);
   } else if constexpr (requires { value->fullName(); }) {
      value ? reader.text(value->fullName()) : reader.none();
   } else {
      reader.text(valueToStrep(value));
   }
}

/// The text of a key: text as it is, everything else in its text form.
template <class Key>
String8 attrKeyText(Key const& key) {
   if constexpr (std::derived_from<Key, String8>) {
      return key;
   } else if constexpr (std::integral<Key>) {
      return String8(std::to_string(key));
   } else {
      return valueToStrep(key);
   }
}

/// The functions of one attribute.
template <class Attr>
struct AttrViewOf {
   using Owner = typename Attr::Owner;

   static auto& field(Entity const& owner) {
      return Attr::field(const_cast<Owner&>(static_cast<Owner const&>(owner)));
   }
   static void value(Entity const& owner, AttrReader& reader) { attrRead(field(owner), reader); }

   static void child(Entity const& owner, AttrMemberReader& reader) {
      if (auto const& present = field(owner)) {
         reader.entity(String8(), present);
      }
   }
   static Ptr<Entity> childMember(Entity const& owner, void const*) { return field(owner); }
   static String8 noKey(void const*) { return {}; }

   static void owned(Entity const& owner, AttrMemberReader& reader) {
      field(owner).forEachMember([&reader](typename Attr::Member* member) {
         using Key = HashMapKey<typename Attr::Member, typename Attr::Key>;
         reader.entity(attrKeyText<typename Attr::Key>(Key::key(*member)), Ptr<Entity>(member));
      });
   }
   static Ptr<Entity> ownedMember(Entity const& owner, void const* key) {
      return Ptr<Entity>(field(owner).find(*static_cast<typename Attr::Key const*>(key)));
   }
   static void records(Entity const& owner, AttrMemberReader& reader) {
      field(owner).forEachMember([&reader](typename Attr::Member* record) {
         String8 const key = attrKeyText(record->key());
         record->fenChild() ? reader.entity(key, record->fenChild()) : reader.emptyRecord(key);
      });
   }
   static Ptr<Entity> recordMember(Entity const& owner, void const* key) {
      auto const* const record = field(owner).find(*static_cast<typename Attr::Key const*>(key));
      return record != nullptr ? Ptr<Entity>(record->fenChild()) : Ptr<Entity>();
   }
   static String8 keyText(void const* key) {
      return attrKeyText(*static_cast<typename Attr::Key const*>(key));
   }
   static void values(Entity const& owner, AttrMemberReader& reader) {
      field(owner).forEachMember([&reader](typename Attr::Member* member) {
         typename Attr::Key const key(member->key());
         reader.value(attrKeyText(key), &key);
      });
   }
   static bool memberValue(Entity const& owner, void const* key, AttrReader& reader) {
      auto const* member = field(owner).find(*static_cast<typename Attr::Key const*>(key));
      if (member == nullptr) {
         return false;
      }
      attrRead(member->value(), reader);
      return true;
   }

   static constexpr AttrView view() {
      if constexpr (Attr::kind == AttrKind::scalar || Attr::kind == AttrKind::reference) {
         return {&value, nullptr, nullptr, nullptr, nullptr};
      } else if constexpr (Attr::kind == AttrKind::child) {
         return {nullptr, &child, &noKey, &childMember, nullptr};
      } else if constexpr (Attr::kind == AttrKind::ownedCollection) {
         return {nullptr, &owned, &keyText, &ownedMember, nullptr};
      } else if constexpr (Attr::kind == AttrKind::recordCollection) {
         return {nullptr, &records, &keyText, &recordMember, nullptr};
      } else {
         return {nullptr, &values, &keyText, nullptr, &memberValue};
      }
   }
};

template <class Attr>
inline constexpr AttrView attrViewObject = AttrViewOf<Attr>::view();

template <class Attr>
constexpr AttrView const* attrView() {
   return &attrViewObject<Attr>;
}

template <class Owner, auto getter>
inline constexpr AttrView parameterViewObject = {
   [](Entity const& owner, AttrReader& reader) {
      attrRead((static_cast<Owner const&>(owner).*getter)(), reader);
   },
   nullptr, nullptr, nullptr, nullptr};

template <class Owner, auto getter>
constexpr AttrView const* parameterView() {
   return &parameterViewObject<Owner, getter>;
}

} // namespace Fen
