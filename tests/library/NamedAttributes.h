/// Checks of one attribute each: by its name through a handle, and by the accessors that typed code
/// calls, on the same object. A row names an attribute and its accessors, so the compiler checks
/// that they are there; a check goes through everything that a handle can do with it or must
/// refuse. On the test's one thread.
#pragma once

#include "../support/RandomValues.h"

#include <gantry/Gantry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace LibraryTest {

using Fen::GenericIf;
using Fen::Ptr;
using Handle = Ptr<GenericIf>;
using Key = Ptr<GenericIf const>;
using Fen::Access::Accessor;

constexpr unsigned get = GenericIf::operationGet, size = GenericIf::operationSize,
                   version = GenericIf::operationVersion, contains = GenericIf::operationContains,
                   set = GenericIf::operationSet, del = GenericIf::operationDelete;

/// How often each property is tried on one attribute of one object.
constexpr int rounds = 6;

/// The values of the run that goes on; its seed is set by the test.
TestSupport::RandomValues& random();
void randomSeedIs(unsigned seed);

/// One object, with a handle that may change it and one that may not.
struct Subject {
   explicit Subject(Ptr<Fen::PtrInterface> const& of)
      : object(*of), handle(of->fwkType()->genericIf(of.ptr(), false)),
        fixed(of->fwkType()->genericIf(of.ptr(), true)) {}

   Fen::PtrInterface& object;
   Handle handle;
   Handle fixed;
};

struct AttributeRow {
   char const* name;
   void (*check)(Subject const& subject, char const* name);
};

/// An object, and what owns it if anything does.
struct Made {
   Ptr<Fen::PtrInterface> object;
   Ptr<Fen::PtrInterface> owner;
};

/// A type with a way to an object of it, and its attributes in the order of their ids.
struct TypeRow {
   char const* type;
   Made (*make)();
   std::vector<AttributeRow> attributes;
};

/// Those of the types that the library lists, and of those that it shares with others.
std::vector<TypeRow> declarationRows();
std::vector<TypeRow> recordRows();
std::vector<TypeRow> machineRows();
std::vector<TypeRow> sharedRows();

// ---- operations and refusals -------------------------------------------------------------------

inline Handle operate(Handle const& handle, char const* name, unsigned operation,
                      Key const& key = {}, Key const& value = {}) {
   Fen::AttributeId const id = handle->attributeId(name);
   EXPECT_NE(id, 0);
   return handle->attributeOp(GenericIf::AttributeOp(id, operation), key, value);
}

/// The exception that leaves `act`, by its kind and words; empty for none.
template <class Act>
std::string outcome(Act const& act) {
   try {
      act();
   } catch (Fen::Exception const& exception) {
      return std::to_string(static_cast<int>(exception.id())) + " " + exception.text().str();
   }
   return {};
}

template <class Exception, class Act>
void expectRefusal(std::string const& words, Act const& act) {
   try {
      act();
      ADD_FAILURE() << "not refused with: " << words;
   } catch (Exception const& exception) {
      EXPECT_EQ(exception.text().str(), words);
   }
}

void expectNotSupported(Subject const& subject, char const* name,
                        std::initializer_list<unsigned> operations, Key const& key = {});
/// The const handle answers, and refuses whatever is a change, before anything else.
void expectConst(Subject const& subject, char const* name);
/// Of what is no collection: it refuses a key, whatever is to be done.
void expectNoKey(Subject const& subject, char const* name);
/// Of what can only be read: everything else is refused.
void expectOnlyRead(Subject const& subject, char const* name);
/// Of a collection: what is refused whether it can be changed or not.
void expectCollection(Subject const& subject, char const* name, Key const& key);
void expectContains(Subject const& subject, char const* name, Key const& key, bool isThere);
/// The size and all keys of a collection by name.
void expectMembers(Subject const& subject, char const* name, std::uint32_t count);

// ---- accessors ---------------------------------------------------------------------------------

/// Calls an accessor on the subject's object; constants of a type need none.
template <auto F, class... Arguments>
auto call(Subject const& subject, Arguments const&... arguments) {
   if constexpr (std::is_member_function_pointer_v<decltype(F)>) {
      using Owner = typename Accessor<decltype(F)>::Owner;
      return (static_cast<Owner&>(subject.object).*F)(arguments...);
   } else {
      return F();
   }
}

template <class Value>
Key handleFor(Value const& value) {
   if constexpr (!Fen::IsPointer<Value>::value) {
      // Half of them as a tool makes them: from their text.
      if (random().number(2) == 0) {
         return Fen::typeOf<Value>()->genericIf(Fen::strepOf(value), random().number(2) == 0);
      }
   }
   return Fen::genericIf(value);
}

/// Both handles read what the accessor gives.
template <class Value>
void expectReads(Subject const& subject, char const* name, Value const& value,
                 Key const& key = {}) {
   for (Handle const& handle : {subject.handle, subject.fixed}) {
      Handle const read = operate(handle, name, get, key);
      ASSERT_TRUE(read);
      if constexpr (Fen::IsPointer<Value>::value) {
         Fen::PtrInterface const* const object = value.ptr();
         EXPECT_EQ(read->convertedTo(Fen::PtrInterface::_fwkType()), object);
         EXPECT_EQ(read->isConst(), handle->isConst() || std::is_const_v<typename Value::Element>);
      } else {
         EXPECT_EQ(Fen::valueTaken<Value>(*read), value);
         EXPECT_EQ(read->isConst(), handle->isConst());
      }
      EXPECT_EQ(read->strRep(), Fen::strepOf(value));
   }
}

// ---- single attributes -------------------------------------------------------------------------

/// Constructor parameters, keys, and whatever has no mutator of that kind.
template <auto Get>
void checkFixed(Subject const& subject, char const* name) {
   using Value = typename Accessor<decltype(Get)>::Result;
   expectReads<Value>(subject, name, call<Get>(subject));
   expectOnlyRead(subject, name);
}

template <auto Get, auto Set>
void checkScalar(Subject const& subject, char const* name) {
   using Value = typename Accessor<decltype(Get)>::Result;
   expectNotSupported(subject, name, {size, version, contains, 4, 127, del, 130, 255, 256});
   expectNoKey(subject, name);
   expectConst(subject, name);
   expectRefusal<Fen::TypeException>(name, [&] { operate(subject.handle, name, set); });
   expectRefusal<Fen::TypeException>(
      "List", [&] { operate(subject.handle, name, set, {}, Fen::makePtr<GenericIf::List_>()); });
   for (int i = 0; i < rounds; ++i) {
      Value const before = call<Get>(subject);
      Value const named = random().anyOrNull<Value>();
      std::string const refused =
         outcome([&] { operate(subject.handle, name, set, {}, handleFor(named)); });
      EXPECT_TRUE(call<Get>(subject) == (refused.empty() ? named : before));
      expectReads<Value>(subject, name, call<Get>(subject));
      EXPECT_EQ(outcome([&] { call<Set>(subject, named); }), refused);
      Value const typed = random().anyOrNull<Value>();
      refused.empty() ? call<Set>(subject, typed) : void();
      expectReads<Value>(subject, name, call<Get>(subject));
   }
}

/// A plain pointer reads as the object that it leads to.
template <auto Get>
void checkBack(Subject const& subject, char const* name) {
   Fen::PtrInterface const* const object = call<Get>(subject);
   EXPECT_EQ(operate(subject.handle, name, get)->convertedTo(Fen::PtrInterface::_fwkType()),
             object);
   expectOnlyRead(subject, name);
}

/// A timer reads as the time at which it fires.
template <auto Get>
void checkTimer(Subject const& subject, char const* name) {
   auto const reactor = call<Get>(subject);
   expectReads<double>(subject, name, reactor ? reactor->timeMin() : INFINITY);
   for (int i = 0; reactor && i < rounds; ++i) {
      double const time = random().any<double>();
      reactor->timeMinIs(time);
      expectReads<double>(subject, name, time);
   }
   expectOnlyRead(subject, name);
}

// ---- find-or-create ----------------------------------------------------------------------------

/// The handles on all arguments but the one that is the key.
template <class Tuple>
Key argumentList(Tuple const& arguments, int keyPosition) {
   auto const list = Fen::makePtr<GenericIf::List_>();
   int position = 0;
   std::apply(
      [&](auto const&... each) {
         ((position++ == keyPosition ? void() : list->itemEnq(handleFor(each))), ...);
      },
      arguments);
   return list;
}

template <class... Arguments>
std::tuple<Arguments...> anyArguments(std::tuple<Arguments...>*) {
   return std::tuple<Arguments...>{random().any<Arguments>()...};
}

template <auto Create>
auto anyArgumentsOf() {
   return anyArguments(static_cast<typename Accessor<decltype(Create)>::Arguments*>(nullptr));
}

template <auto Create, class Tuple>
auto create(Subject const& subject, Tuple const& arguments) {
   return std::apply([&](auto const&... each) { return call<Create>(subject, each...); },
                     arguments);
}

inline void const* objectOf(Handle const& handle) {
   return handle ? handle->convertedTo(Fen::PtrInterface::_fwkType()) : nullptr;
}

void expectListRefused(Subject const& subject, char const* name, Key const& key, Key const& list);

/// One owned object or none.
template <auto Get, auto Create>
void checkChild(Subject const& subject, char const* name) {
   using Value = typename Accessor<decltype(Get)>::Result;
   expectReads<Value>(subject, name, call<Get>(subject));
   expectNotSupported(subject, name, {size, version, contains, 4, 127, del, 130, 255});
   expectNoKey(subject, name);
   expectConst(subject, name);
   for (int i = 0; i < rounds; ++i) {
      auto const arguments = anyArgumentsOf<Create>();
      Key const list = argumentList(arguments, -1);
      expectListRefused(subject, name, {}, list);
      Handle const made = operate(subject.handle, name, set, {}, list);
      Value const named = call<Get>(subject);
      ASSERT_TRUE(named);
      EXPECT_EQ(objectOf(made), static_cast<Fen::PtrInterface const*>(named.ptr()));
      expectReads<Value>(subject, name, named);
      // The same arguments find it again, whichever way they are given.
      EXPECT_TRUE(create<Create>(subject, arguments) == named);
      EXPECT_EQ(objectOf(operate(subject.handle, name, set, {}, list)), objectOf(made));
      create<Create>(subject, anyArgumentsOf<Create>());
      expectReads<Value>(subject, name, call<Get>(subject));
   }
}

// ---- collections -------------------------------------------------------------------------------

/// Values or references by key. `KeyOf` is null, or reads the key from a value that carries it.
template <auto Get, auto Set, auto Del, auto Count, auto KeyOf>
struct ValuesCheck {
   using KeyType = std::tuple_element_t<0, typename Accessor<decltype(Get)>::Arguments>;
   using Value = typename Accessor<decltype(Get)>::Result;
   static constexpr bool isKeyed = !std::is_same_v<decltype(KeyOf), std::nullptr_t>;

   static KeyType keyFor([[maybe_unused]] Value const& value) {
      if constexpr (isKeyed) {
         return (value.*KeyOf)();
      } else {
         return random().any<KeyType>();
      }
   }
   static void typedSet(Subject const& subject, [[maybe_unused]] KeyType const& key,
                        Value const& value) {
      if constexpr (isKeyed) {
         call<Set>(subject, value);
      } else {
         call<Set>(subject, key, value);
      }
   }
   /// Reads the same by name and by accessor, and is there. A null reference is never there.
   static void expectMember(Subject const& subject, char const* name, KeyType const& key,
                            Value const& value) {
      std::uint32_t const count = call<Count>(subject);
      bool isThere = true;
      if constexpr (Fen::IsPointer<Value>::value) {
         isThere = static_cast<bool>(value);
      }
      EXPECT_TRUE(call<Get>(subject, key) == value);
      expectReads<Value>(subject, name, value, handleFor(key));
      expectContains(subject, name, handleFor(key), isThere);
      EXPECT_EQ(call<Count>(subject), count) << "asking adds nothing";
   }
   static void expectAbsent(Subject const& subject, char const* name, KeyType const& key) {
      EXPECT_TRUE(call<Get>(subject, key) == Value{});
      expectReads<Value>(subject, name, Value{}, handleFor(key));
      expectContains(subject, name, handleFor(key), false);
   }
   static void expectOtherKeyRefused(Subject const& subject, char const* name, Value const& value) {
      Value const other = random().any<Value>();
      if (isKeyed && !(keyFor(other) == keyFor(value))) {
         std::uint32_t const count = call<Count>(subject);
         expectRefusal<Fen::TypeException>("fen_index", [&] {
            operate(subject.handle, name, set, handleFor(keyFor(other)), handleFor(value));
         });
         EXPECT_EQ(call<Count>(subject), count);
      }
   }

   static void run(Subject const& subject, char const* name) {
      expectCollection(subject, name, handleFor(random().any<KeyType>()));
      for (int i = 0; i < rounds; ++i) {
         Value const value = random().anyOrNull<Value>();
         KeyType const key = keyFor(value);
         expectOtherKeyRefused(subject, name, value);
         expectRefusal<Fen::TypeException>(
            name, [&] { operate(subject.handle, name, set, handleFor(key)); });
         std::uint32_t const count = call<Count>(subject);
         std::string const versionBefore = operate(subject.handle, name, version)->strRep().str();
         EXPECT_FALSE(operate(subject.handle, name, set, handleFor(key), handleFor(value)));
         EXPECT_EQ(operate(subject.handle, name, version)->strRep() != versionBefore.c_str(),
                   call<Count>(subject) != count);
         expectMember(subject, name, key, value);
         Value const typed = random().anyOrNull<Value>();
         KeyType const typedKey = isKeyed ? keyFor(typed) : key;
         typedSet(subject, typedKey, typed);
         expectMember(subject, name, typedKey, typed);
         expectMembers(subject, name, call<Count>(subject));
         if (random().number(2) == 0) {
            EXPECT_FALSE(operate(subject.handle, name, del, handleFor(typedKey)));
            expectAbsent(subject, name, typedKey);
            EXPECT_FALSE(operate(subject.handle, name, del, handleFor(typedKey)));
         } else if (random().number(2) == 0) {
            call<Del>(subject, typedKey);
            expectAbsent(subject, name, typedKey);
         }
      }
   }
};

/// Owned objects by key. `Position` is where the key stands among the arguments, -1 when it is a
/// part of one of them.
template <auto Get, auto Create, auto Del, auto Count, int Position>
struct OwnedCheck {
   using KeyType = std::tuple_element_t<0, typename Accessor<decltype(Get)>::Arguments>;
   using Value = typename Accessor<decltype(Get)>::Result;

   /// The key under which the arguments find or make a member; nothing when one that is there
   /// already was made of others.
   template <class Tuple>
   static std::optional<KeyType> keyFor(Subject const& subject, char const* name,
                                        Tuple const& arguments) {
      if constexpr (Position >= 0) {
         return KeyType(std::get<static_cast<std::size_t>(Position)>(arguments));
      } else {
         Value made;
         if (!outcome([&] { made = create<Create>(subject, arguments); }).empty()) {
            return std::nullopt;
         }
         KeyType const key = Fen::HashMapKey<typename Value::Element, KeyType>::key(*made);
         call<Del>(subject, key);
         expectContains(subject, name, handleFor(key), false);
         return key;
      }
   }
   /// Where the key is a part of an object, there is no key without the object.
   static void expectNullRefused(Subject const& subject, char const* name) {
      auto arguments = anyArgumentsOf<Create>();
      if constexpr (Position < 0) {
         auto& first = std::get<0>(arguments);
         if constexpr (Fen::IsPointer<std::decay_t<decltype(first)>>::value) {
            first = {};
            std::string const typed = outcome([&] { create<Create>(subject, arguments); });
            EXPECT_NE(typed.find("null _"), std::string::npos) << typed;
            EXPECT_NE(typed.find(" parameter to mutator for Controller::"), std::string::npos);
            EXPECT_EQ(typed.substr(typed.size() - 13), " not allowed\"");
            Key const key = handleFor(random().any<KeyType>());
            EXPECT_EQ(outcome([&] {
                         operate(subject.handle, name, set, key, argumentList(arguments, -1));
                      }),
                      typed);
         }
      }
   }
   static void expectMember(Subject const& subject, char const* name, KeyType const& key,
                            Handle const& made) {
      Value const member = call<Get>(subject, key);
      ASSERT_TRUE(member);
      EXPECT_EQ(objectOf(made), static_cast<Fen::PtrInterface const*>(member.ptr()));
      expectReads<Value>(subject, name, member, handleFor(key));
      expectContains(subject, name, handleFor(key), true);
      expectMembers(subject, name, call<Count>(subject));
   }
   static void expectAbsent(Subject const& subject, char const* name, KeyType const& key) {
      EXPECT_FALSE(call<Get>(subject, key));
      expectReads<Value>(subject, name, Value(), handleFor(key));
      expectContains(subject, name, handleFor(key), false);
      EXPECT_EQ(operate(subject.handle, name, del, handleFor(key))->strRep(), "None");
      EXPECT_FALSE(call<Del>(subject, key));
   }
   /// The same key with other parameters: by name it goes as it goes by the accessor.
   template <class Tuple>
   static void expectSameFate(Subject const& subject, char const* name, Tuple const& arguments) {
      if constexpr (Position >= 0) {
         auto other = anyArgumentsOf<Create>();
         constexpr auto at = static_cast<std::size_t>(Position);
         std::get<at>(other) = std::get<at>(arguments);
         Key const key = handleFor(KeyType(std::get<at>(other)));
         std::string const typed = outcome([&] { create<Create>(subject, other); });
         EXPECT_EQ(outcome([&] {
                      operate(subject.handle, name, set, key, argumentList(other, Position));
                   }),
                   typed);
         EXPECT_EQ(typed.find("Reinstantiating the ") != std::string::npos, !typed.empty());
      }
   }
   static void expectOtherKeyRefused(Subject const& subject, char const* name, Key const& list,
                                     KeyType const& key) {
      KeyType const other = random().any<KeyType>();
      if (Position < 0 && !(other == key)) {
         std::uint32_t const count = call<Count>(subject);
         expectRefusal<Fen::TypeException>(
            "fen_index", [&] { operate(subject.handle, name, set, handleFor(other), list); });
         EXPECT_EQ(call<Count>(subject), count);
      }
   }

   static void run(Subject const& subject, char const* name) {
      expectCollection(subject, name, handleFor(random().any<KeyType>()));
      expectNullRefused(subject, name);
      for (int i = 0; i < rounds; ++i) {
         auto const arguments = anyArgumentsOf<Create>();
         std::optional<KeyType> const found = keyFor(subject, name, arguments);
         if (!found) {
            continue;
         }
         KeyType const& key = *found;
         Key const list = argumentList(arguments, Position);
         bool const isNew = !call<Get>(subject, key);
         expectOtherKeyRefused(subject, name, list, key);
         if (isNew) {
            expectAbsent(subject, name, key);
            expectListRefused(subject, name, handleFor(key), list);
            EXPECT_FALSE(call<Get>(subject, key));
            expectMember(subject, name, key,
                         operate(subject.handle, name, set, handleFor(key), list));
         }
         expectSameFate(subject, name, arguments);
         // Find: the accessor and the name give the same member again.
         if (isNew && outcome([&] { create<Create>(subject, arguments); }).empty()) {
            EXPECT_TRUE(create<Create>(subject, arguments) == call<Get>(subject, key));
            expectMember(subject, name, key,
                         operate(subject.handle, name, set, handleFor(key), list));
         }
         if (random().number(2) == 0) {
            Value const held = call<Get>(subject, key);
            Handle const gone = operate(subject.handle, name, del, handleFor(key));
            EXPECT_EQ(objectOf(gone), static_cast<Fen::PtrInterface const*>(held.ptr()));
            expectAbsent(subject, name, key);
         } else if (random().number(2) == 0) {
            EXPECT_TRUE(call<Del>(subject, key));
            expectAbsent(subject, name, key);
         }
      }
   }
};

/// Records by key, each of which reads as the entity that it owns.
template <auto Get, auto Create, auto Del, auto Count, auto Child, auto ChildIs>
void checkRecords(Subject const& subject, char const* name) {
   using KeyType = std::tuple_element_t<0, typename Accessor<decltype(Get)>::Arguments>;
   using Value = typename Accessor<decltype(Child)>::Result;
   expectCollection(subject, name, handleFor(random().any<KeyType>()));
   for (int i = 0; i < rounds; ++i) {
      KeyType const key = random().any<KeyType>();
      Key const list = argumentList(std::tuple(random().any<Fen::Name>()), -1);
      expectListRefused(subject, name, handleFor(key), list);
      Handle const made = operate(subject.handle, name, set, handleFor(key), list);
      auto const record = call<Get>(subject, key);
      ASSERT_TRUE(record);
      EXPECT_EQ(objectOf(made), static_cast<Fen::PtrInterface const*>(((*record).*Child)().ptr()));
      expectReads<Value>(subject, name, ((*record).*Child)(), handleFor(key));
      // A record that owns nothing is there all the same.
      KeyType const empty = random().any<KeyType>();
      if (!call<Get>(subject, empty)) {
         call<Create>(subject, empty);
         expectContains(subject, name, handleFor(empty), true);
         expectReads<Value>(subject, name, Value(), handleFor(empty));
         expectReads<Value>(subject, name,
                            ((*call<Get>(subject, empty)).*ChildIs)(random().any<Fen::Name>()),
                            handleFor(empty));
      }
      expectMembers(subject, name, call<Count>(subject));
      operate(subject.handle, name, del, handleFor(key));
      EXPECT_FALSE(call<Get>(subject, key));
      call<Del>(subject, empty);
      expectContains(subject, name, handleFor(empty), false);
   }
}

/// Reactors by key, each of which reads as what it watches; they come and go by typed code alone.
template <auto Get, auto Attach, auto Del, auto Count>
void checkReactors(Subject const& subject, char const* name) {
   using KeyType = std::tuple_element_t<0, typename Accessor<decltype(Get)>::Arguments>;
   using Watched = std::tuple_element_t<0, typename Accessor<decltype(Attach)>::Arguments>;
   Key const some = handleFor(random().any<KeyType>());
   expectCollection(subject, name, some);
   expectNotSupported(subject, name, {set, del}, some);
   // That it cannot be changed is said before a key or a value is missed.
   expectNotSupported(subject, name, {set, del});
   for (int i = 0; i < rounds; ++i) {
      auto const reactor = call<Attach>(subject, random().any<Watched>());
      ASSERT_TRUE(reactor);
      KeyType const key(reactor->fwkKey());
      bool const isThere = static_cast<bool>(call<Get>(subject, key));
      expectContains(subject, name, handleFor(key), isThere);
      expectReads<Watched>(subject, name, isThere ? reactor->notifier() : Watched(),
                           handleFor(key));
      expectMembers(subject, name, call<Count>(subject));
      if (random().number(2) == 0) {
         call<Del>(subject, key);
         expectReads<Watched>(subject, name, Watched(), handleFor(key));
      }
   }
}

// ---- objects -----------------------------------------------------------------------------------

/// An entity that nobody owns.
template <class Entity>
Made entity() {
   return {random().any<Ptr<Entity>>(), nullptr};
}

template <class Machine, class... Arguments>
Ptr<Machine> madeBy(Ptr<Machine> (*factory)(Arguments...)) {
   return std::apply(factory,
                     anyArguments(static_cast<std::tuple<std::decay_t<Arguments>...>*>(nullptr)));
}

/// A machine that nobody owns.
template <auto Factory>
Made machine() {
   return {madeBy(Factory), nullptr};
}

/// What a machine of that factory owns, made by its accessor.
template <auto OwnerFactory, auto Create>
Made owned() {
   auto const owner = madeBy(OwnerFactory);
   return {create<Create>(Subject(owner), anyArgumentsOf<Create>()), owner};
}

/// What an entity owns.
template <class Owner, auto Create>
Made ownedByEntity() {
   auto const owner = random().any<Ptr<Owner>>();
   return {create<Create>(Subject(owner), anyArgumentsOf<Create>()), owner};
}

} // namespace LibraryTest

// Rows by the name of an attribute of the type T.
#define FIXED(x)                                                                                   \
   { #x, &LibraryTest::checkFixed < &T::x> }
#define SCALAR(x)                                                                                  \
   { #x, &LibraryTest::checkScalar < &T::x, &T::x##Is> }
#define BACK(x)                                                                                    \
   { #x, &LibraryTest::checkBack < &T::x> }
#define TIMER(x)                                                                                   \
   { #x, &LibraryTest::checkTimer < &T::x> }
#define CHILD(x)                                                                                   \
   { #x, &LibraryTest::checkChild < &T::x, &T::x##Is> }
#define VALUES(x)                                                                                  \
   { #x, &LibraryTest::ValuesCheck < &T::x, &T::x##Is, &T::x##Del, &T::x##Count, nullptr> ::run }
#define KEYED(x, keyOf)                                                                            \
   { #x, &LibraryTest::ValuesCheck < &T::x, &T::x##Is, &T::x##Del, &T::x##Count, keyOf> ::run }
#define OWNED(x, position)                                                                         \
   { #x, &LibraryTest::OwnedCheck < &T::x, &T::x##Is, &T::x##Del, &T::x##Count, position> ::run }
#define RECORDS(x, Record)                                                                         \
   {                                                                                               \
#x, &LibraryTest::checkRecords < &T::x, &T::x##Is, &T::x##Del, &T::x##Count, &T::Record::x,  \
         &T::Record::x##Is>                                                                        \
   }
#define REACTORS(x)                                                                                \
   { #x, &LibraryTest::checkReactors < &T::x, &T::x##Is, &T::x##Del, &T::x##Count> }
