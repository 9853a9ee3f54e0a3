/// How generic code reads and changes one attribute of an entity or machine: a constant table of
/// functions for each attribute, made by the templates below from its accessors, and held in its
/// description. Keys and values are passed by their addresses; what can be done with them is in the
/// tables of their types (ValueForm.h).
///
/// Changes go through the same accessors that typed code uses, so every rule of theirs holds. All
/// of it runs on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/AttrWireBase.h>
#include <gantry/runtime/fen/Clock.h>
#include <gantry/runtime/fen/TypeOf.h>
#include <gantry/runtime/fen/ValueForm.h>

#include <optional>
#include <tuple>
#include <utility>
#include <vector>

namespace Fen {

/// What can be done with an attribute. A function that makes no sense for it is null.
struct AttrAccess {
   using Arguments = std::vector<Ptr<GenericIf const>>;

   /// Of the value; null for a back pointer, whose type is found by its name.
   ValueForm const* value;
   /// Of the key; null for what is no collection.
   ValueForm const* key;
   /// Gives the present value to `use`, of a collection the one at the key or else a fresh one.
   /// Returns whether there is one.
   bool (*read)(PtrInterface const& owner, void const* key, ValueUse const& use);
   void (*set)(PtrInterface& owner, void const* key, void const* value);
   /// Find-or-create of something owned, from its arguments behind the key.
   Ptr<GenericIf> (*create)(PtrInterface& owner, void const* key, Arguments const& arguments);
   /// Returns what was removed, when that is an object with a type.
   Ptr<GenericIf> (*del)(PtrInterface& owner, void const* key);
   /// Of a collection.
   HashMapGeneric const& (*map)(PtrInterface const& owner);
   /// Gives each key of a collection to `use`, in the collection's order.
   void (*walk)(PtrInterface const& owner, ValueUse const& use);
};

namespace Access {

// ---- what accessors are like -------------------------------------------------------------------

template <class T>
struct Accessor;
template <class Class, class Result_, class... Arguments_>
struct Accessor<Result_ (Class::*)(Arguments_...)> {
   using Owner = Class;
   using Result = std::decay_t<Result_>;
   using Arguments = std::tuple<std::decay_t<Arguments_>...>;
};
template <class Class, class Result_, class... Arguments_>
struct Accessor<Result_ (Class::*)(Arguments_...) const>
   : Accessor<Result_ (Class::*)(Arguments_...)> {};
template <class Result_>
struct Accessor<Result_ (*)()> {
   using Owner = PtrInterface;
   using Result = std::decay_t<Result_>;
};

template <auto Get>
decltype(auto) got(PtrInterface const& owner) {
   using Owner = typename Accessor<decltype(Get)>::Owner;
   if constexpr (std::is_member_function_pointer_v<decltype(Get)>) {
      return (static_cast<Owner const&>(owner).*Get)();
   } else {
      return Get();
   }
}

template <class Owner>
Owner& mutableOwner(PtrInterface const& owner) {
   return const_cast<Owner&>(static_cast<Owner const&>(owner));
}

/// Whether arguments of that type can come from handles: no plain pointers.
template <class Tuple>
struct Takeable;
template <class... Arguments>
struct Takeable<std::tuple<Arguments...>>
   : std::bool_constant<(!std::is_pointer_v<Arguments> && ...)> {};

// ---- single attributes -------------------------------------------------------------------------

template <auto Get>
bool read(PtrInterface const& owner, void const*, ValueUse const& use) {
   auto const& value = got<Get>(owner);
   use(&value);
   return true;
}

/// What has only a getter: names, constructor parameters, what is computed.
template <auto Get>
struct Getter {
   static constexpr AttrAccess table() {
      using Value = typename Accessor<decltype(Get)>::Result;
      return {&valueForm<Value>, nullptr, &read<Get>, nullptr, nullptr, nullptr, nullptr, nullptr};
   }
};

/// Values and references.
template <auto Get, auto Set>
struct Scalar {
   using Owner = typename Accessor<decltype(Set)>::Owner;
   using Value = typename Accessor<decltype(Get)>::Result;

   static void set(PtrInterface& owner, void const*, void const* value) {
      (static_cast<Owner&>(owner).*Set)(*static_cast<Value const*>(value));
   }
   static constexpr AttrAccess table() {
      return {&valueForm<Value>, nullptr, &read<Get>, &set, nullptr, nullptr, nullptr, nullptr};
   }
};

/// A plain pointer. Its class need not be known here, so only its address is passed on.
template <auto Get>
struct Back {
   static bool readAddress(PtrInterface const& owner, void const*, ValueUse const& use) {
      void const* const address = got<Get>(owner);
      use(&address);
      return true;
   }
   static constexpr AttrAccess table() {
      return {nullptr, nullptr, &readAddress, nullptr, nullptr, nullptr, nullptr, nullptr};
   }
};

/// A reactor on the clock reads as the time at which it fires: infinity when it is not armed or
/// not there.
template <auto Get>
struct Timer {
   static bool readTime(PtrInterface const& owner, void const*, ValueUse const& use) {
      auto const reactor = got<Get>(owner);
      double const time = reactor ? reactor->timeMin() : never;
      use(&time);
      return true;
   }
   static constexpr AttrAccess table() {
      return {&valueForm<double>, nullptr, &readTime, nullptr, nullptr, nullptr, nullptr, nullptr};
   }
};

// ---- find-or-create ----------------------------------------------------------------------------

constexpr int noPosition = -1;

/// Calls an accessor with arguments of which the one at `Position` is the key. Without a position
/// the key is a part of an argument, which `KeyOf` reads; it must be the one that is asked for.
template <auto Create, class Key, int Position, auto KeyOf = nullptr>
struct Creation {
   using Owner = typename Accessor<decltype(Create)>::Owner;
   using Tuple = typename Accessor<decltype(Create)>::Arguments;
   static constexpr std::size_t count = std::tuple_size_v<Tuple>;
   static constexpr bool isPossible = Takeable<Tuple>::value;

   template <std::size_t N>
   static std::tuple_element_t<N, Tuple> argument([[maybe_unused]] void const* key,
                                                  AttrAccess::Arguments const& arguments) {
      using Argument = std::tuple_element_t<N, Tuple>;
      constexpr auto index = static_cast<int>(N);
      if constexpr (index == Position) {
         return Argument(*static_cast<Key const*>(key));
      } else {
         constexpr std::size_t at = Position != noPosition && index > Position ? N - 1 : N;
         if (!arguments[at]) {
            GenericIf::throwTypeException("List");
         }
         return valueTaken<Argument>(*arguments[at]);
      }
   }
   template <std::size_t... N>
   static auto called(Owner& owner, [[maybe_unused]] void const* key,
                      [[maybe_unused]] AttrAccess::Arguments const& arguments,
                      std::index_sequence<N...>) {
      // Braces: the arguments are taken in order, and all before the call.
      Tuple values{argument<N>(key, arguments)...};
      if constexpr (!std::is_null_pointer_v<decltype(KeyOf)>) {
         if (!(KeyOf(std::get<N>(values)...) == *static_cast<Key const*>(key))) {
            GenericIf::throwTypeException("fen_index");
         }
      }
      return (owner.*Create)(std::get<N>(values)...);
   }
   static Ptr<GenericIf> create(PtrInterface& owner, void const* key,
                                AttrAccess::Arguments const& arguments) {
      if (arguments.size() != count - (Position != noPosition ? 1 : 0)) {
         GenericIf::throwTypeException("List");
      }
      auto const made =
         called(static_cast<Owner&>(owner), key, arguments, std::make_index_sequence<count>());
      return genericIf(made);
   }
   static constexpr auto function() -> decltype(AttrAccess::create) {
      if constexpr (isPossible) {
         return &create;
      } else {
         return nullptr;
      }
   }
};

/// One owned object or none.
template <auto Get, auto Create>
struct Child {
   static constexpr AttrAccess table() {
      return {&valueForm<typename Accessor<decltype(Get)>::Result>, nullptr, &read<Get>, nullptr,
              Creation<Create, void, noPosition>::function(),       nullptr, nullptr,    nullptr};
   }
};

// ---- collections -------------------------------------------------------------------------------

/// What all collections have, found through the attribute's traits.
template <class Attr>
struct Members {
   using Owner = typename Attr::Owner;
   using Key = typename Attr::Key;
   using Member = typename Attr::Member;

   static auto const& members(PtrInterface const& owner) {
      return Attr::field(mutableOwner<Owner>(owner));
   }
   static Member* find(PtrInterface const& owner, void const* key) {
      return members(owner).find(*static_cast<Key const*>(key));
   }
   static HashMapGeneric const& map(PtrInterface const& owner) { return members(owner); }
   static void walk(PtrInterface const& owner, ValueUse const& use) {
      members(owner).forEachMember([&use](Member* member) {
         Key const key(HashMapKey<Member, Key>::key(*member));
         use(&key);
      });
   }
};

/// Values, or counted references, by key.
template <class Attr, auto Set, auto Del>
struct Values : Members<Attr> {
   using Base = Members<Attr>;
   using Value = typename Attr::Member::Value;

   static bool readMember(PtrInterface const& owner, void const* key, ValueUse const& use) {
      auto const* const member = Base::find(owner, key);
      member != nullptr ? use(&member->value()) : valueForm<Value>.fresh(use);
      return member != nullptr;
   }
   static void set(PtrInterface& owner, void const* key, void const* value) {
      auto& typed = static_cast<typename Base::Owner&>(owner);
      auto const& typedKey = *static_cast<typename Base::Key const*>(key);
      auto const& typedValue = *static_cast<Value const*>(value);
      if constexpr (AttrLog::KeyInValue<Attr>) {
         // Such a value stands at the key that it carries, and nowhere else.
         if (!(Attr::keyOf(typedValue) == typedKey)) {
            GenericIf::throwTypeException("fen_index");
         }
         (typed.*Set)(typedValue);
      } else {
         (typed.*Set)(typedKey, typedValue);
      }
   }
   static Ptr<GenericIf> del(PtrInterface& owner, void const* key) {
      (static_cast<typename Base::Owner&>(owner).*
       Del)(*static_cast<typename Base::Key const*>(key));
      return nullptr;
   }
   static constexpr AttrAccess table() {
      return {&valueForm<Value>, &valueForm<typename Base::Key>,
              &readMember,       &set,
              nullptr,           &del,
              &Base::map,        &Base::walk};
   }
};

/// Owned objects by key.
template <class Attr, auto Create, auto Del, int Position, auto KeyOf = nullptr>
struct Owned : Members<Attr> {
   using Base = Members<Attr>;

   static bool readMember(PtrInterface const& owner, void const* key, ValueUse const& use) {
      Ptr<typename Base::Member> const member(Base::find(owner, key));
      use(&member);
      return static_cast<bool>(member);
   }
   static Ptr<GenericIf> del(PtrInterface& owner, void const* key) {
      return genericIf((static_cast<typename Base::Owner&>(owner).*
                        Del)(*static_cast<typename Base::Key const*>(key)));
   }
   static constexpr AttrAccess table() {
      return {&valueForm<Ptr<typename Base::Member>>,
              &valueForm<typename Base::Key>,
              &readMember,
              nullptr,
              Creation<Create, typename Base::Key, Position, KeyOf>::function(),
              &del,
              &Base::map,
              &Base::walk};
   }
};

/// Records by key: each reads as the entity that it owns, and is made with that entity's name.
template <class Attr, auto Create, auto Del, auto Get, auto GetIs>
struct Records : Members<Attr> {
   using Base = Members<Attr>;

   static bool readMember(PtrInterface const& owner, void const* key, ValueUse const& use) {
      auto const* const record = Base::find(owner, key);
      using Value = typename Accessor<decltype(Get)>::Result;
      Value const value = record != nullptr ? (record->*Get)() : Value();
      use(&value);
      return record != nullptr;
   }
   static Ptr<GenericIf> create(PtrInterface& owner, void const* key,
                                AttrAccess::Arguments const& arguments) {
      if (arguments.size() != 1 || !arguments[0]) {
         GenericIf::throwTypeException("List");
      }
      Name const name = valueTaken<Name>(*arguments[0]);
      auto const record = (static_cast<typename Base::Owner&>(owner).*
                           Create)(*static_cast<typename Base::Key const*>(key));
      return genericIf(((*record).*GetIs)(name));
   }
   static Ptr<GenericIf> del(PtrInterface& owner, void const* key) {
      (static_cast<typename Base::Owner&>(owner).*
       Del)(*static_cast<typename Base::Key const*>(key));
      return nullptr;
   }
   static constexpr AttrAccess table() {
      return {&valueForm<typename Accessor<decltype(Get)>::Result>,
              &valueForm<typename Base::Key>,
              &readMember,
              nullptr,
              &create,
              &del,
              &Base::map,
              &Base::walk};
   }
};

/// Reactors of a machine by key: each reads as what it watches.
template <class Attr>
struct Reactors : Members<Attr> {
   using Base = Members<Attr>;
   using Value = decltype(std::declval<typename Base::Member const&>().notifier());

   static bool readMember(PtrInterface const& owner, void const* key, ValueUse const& use) {
      auto const* const reactor = Base::find(owner, key);
      Value const value = reactor != nullptr ? reactor->notifier() : Value();
      use(&value);
      return reactor != nullptr;
   }
   static constexpr AttrAccess table() {
      return {&valueForm<Value>, &valueForm<typename Base::Key>,
              &readMember,       nullptr,
              nullptr,           nullptr,
              &Base::map,        &Base::walk};
   }
};

template <class Kind>
inline constexpr AttrAccess tableOf = Kind::table();

} // namespace Access

/// A description with the way to its attribute.
template <class Kind>
constexpr AttrDesc accessible(AttrDesc description) {
   description.access = &Access::tableOf<Kind>;
   return description;
}

} // namespace Fen
