/// Reading values from their text form, the way back from Strep.h: what a writer wrote, its reader
/// takes, and what a reader takes wrongly it refuses with RangeException and the column.
///
/// Every type reads itself through sequenceToValue( at, end, X* ), found by its arguments, or by a
/// constructor from a pair of text iterators; both leave `at` behind what they took. A reader
/// begins with optional white space (blank, tab, newline). Stateless, on whatever thread, except
/// that a pointer is read by looking its path up in the process's tree.
#pragma once

#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/Strep.h>

#include <concepts>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace Fen {

/// Requires the token at `at` and moves behind it. A blank in the token stands for optional white
/// space, every other character for itself.
GANTRY_EXPORT void needString(String8::IteratorConst& at, String8::IteratorConst const& end,
                              String8 const& token);
/// Throws RangeException "junk at column ..." unless the text has been used up.
GANTRY_EXPORT void requireTextEnd(String8::IteratorConst const& at,
                                  String8::IteratorConst const& end);
/// The text at `at` is well formed but no value of that type, which may be null for an unknown one.
[[noreturn]] GANTRY_EXPORT void cannotConvert(String8::IteratorConst const& at,
                                              String8::IteratorConst const& end,
                                              FenType const* type);

// ---- builtin types -----------------------------------------------------------------------------

/// Text in single quotes with the escapes that its writer uses.
GANTRY_EXPORT String8 sequenceToText(String8::IteratorConst& at, String8::IteratorConst const& end);
/// A number in decimal within the limits; the name is the type's, for the refusal.
GANTRY_EXPORT std::int64_t sequenceToSigned(String8::IteratorConst& at,
                                            String8::IteratorConst const& end, std::int64_t lowest,
                                            std::int64_t highest);
GANTRY_EXPORT std::uint64_t sequenceToUnsigned(String8::IteratorConst& at,
                                               String8::IteratorConst const& end,
                                               std::uint64_t highest);
GANTRY_EXPORT bool sequenceToValue(String8::IteratorConst& at, String8::IteratorConst const& end,
                                   bool*);
GANTRY_EXPORT double sequenceToValue(String8::IteratorConst& at, String8::IteratorConst const& end,
                                     double*);
inline String8 sequenceToValue(String8::IteratorConst& at, String8::IteratorConst const& end,
                               String8*) {
   return sequenceToText(at, end);
}
inline Name sequenceToValue(String8::IteratorConst& at, String8::IteratorConst const& end, Name*) {
   return sequenceToText(at, end);
}
template <std::integral Integer>
requires(!std::same_as<Integer, bool>) Integer
   sequenceToValue(String8::IteratorConst& at, String8::IteratorConst const& end, Integer*) {
   using Limits = std::numeric_limits<Integer>;
   if constexpr (std::signed_integral<Integer>) {
      return static_cast<Integer>(sequenceToSigned(at, end, Limits::min(), Limits::max()));
   } else {
      return static_cast<Integer>(sequenceToUnsigned(at, end, Limits::max()));
   }
}

// ---- pointers ----------------------------------------------------------------------------------

/// None, or the full name of an entity of the process's tree in quotes; a name that leads nowhere
/// is refused. The addresses that stand for objects outside the tree are never read back: whoever
/// can give a text could make the process follow any address.
GANTRY_EXPORT Ptr<PtrInterface> sequenceToValueOfPtr(String8::IteratorConst& at,
                                                     String8::IteratorConst const& end);

/// An object of another type is refused, null stays null.
template <class T>
Ptr<T> sequenceToValue(String8::IteratorConst& at, String8::IteratorConst const& end, Ptr<T>*) {
   String8::IteratorConst const begin(at);
   Ptr<PtrInterface> const object = sequenceToValueOfPtr(at, end);
   Ptr<T> const result(dynamic_cast<T*>(object.ptr()));
   if (object && !result) {
      cannotConvert(begin, end, std::remove_const_t<T>::_fwkType());
   }
   return result;
}
/// Null raises "null ValidPtr".
template <class T>
ValidPtr<T> sequenceToValue(String8::IteratorConst& at, String8::IteratorConst const& end,
                            ValidPtr<T>*) {
   return ValidPtr<T>(sequenceToValue(at, end, static_cast<Ptr<T>*>(nullptr)));
}

// ---- any type ----------------------------------------------------------------------------------

/// A value from the text at the iterator, which moves on.
template <class X>
X sequenceToValue(String8::IteratorConst& at, String8::IteratorConst const& end) {
   if constexpr (std::is_constructible_v<X, String8::IteratorConst&,
                                         String8::IteratorConst const&>) {
      return X(at, end);
   } else {
      return sequenceToValue(at, end, static_cast<X*>(nullptr));
   }
}

/// A value from a text, all of it.
template <class X>
X strepToValue(String8 const& text) {
   String8::IteratorConst at(text);
   String8::IteratorConst const end(text, text.length());
   X value = sequenceToValue<X>(at, end);
   requireTextEnd(at, end);
   return value;
}
/// The same, stored in `*into` as well unless that is null. A refused text stores nothing.
template <class X>
X strepToValue(String8 const& text, X* into) {
   X value = strepToValue<X>(text);
   if (into != nullptr) {
      *into = value;
   }
   return value;
}

/// A value that consists of fields: it shows them all to a visitor, in declared order.
template <class X>
concept HasFields = requires(X& value) {
   X::fenEachField(value, [](char const*, auto&) {});
};

template <HasFields X>
void sequenceToFields(String8::IteratorConst& at, String8::IteratorConst const& end,
                      char const* typeName, X& value);

/// The value of the attribute that `key` names. What a value of several fields does not mention
/// stays as it is in `preset`.
template <class X>
X deserializeAttr(String8::IteratorConst& at, String8::IteratorConst const& end, X const& preset,
                  [[maybe_unused]] String8 const& key) {
   if constexpr (HasFields<X>) {
      X value(preset);
      sequenceToFields(at, end, X::_fwkType()->fullTypeName().charPtr(), value);
      return value;
   } else {
      return sequenceToValue<X>(at, end);
   }
}

/// Reads the value of the field that `key` names into the value of fields at `value`; false when
/// it has no such field.
using FieldReader = bool(String8::IteratorConst& at, String8::IteratorConst const& end,
                         String8 const& key, void* value);

/// The frame of "Value('Type', ** {'field': ..., ...})". Fields come in any order; one that is not
/// mentioned keeps its value, of one that comes twice the last is taken.
GANTRY_EXPORT void sequenceToFields(String8::IteratorConst& at, String8::IteratorConst const& end,
                                    char const* typeName, FieldReader* reader, void* value);

template <HasFields X>
bool sequenceToField(String8::IteratorConst& at, String8::IteratorConst const& end,
                     String8 const& key, void* value) {
   bool found = false;
   X::fenEachField(*static_cast<X*>(value), [&](char const* name, auto& field) {
      if (!found && key == name) {
         found = true;
         field = deserializeAttr(at, end, field, key);
      }
   });
   return found;
}

template <HasFields X>
void sequenceToFields(String8::IteratorConst& at, String8::IteratorConst const& end,
                      char const* typeName, X& value) {
   sequenceToFields(at, end, typeName, &sequenceToField<X>, &value);
}

} // namespace Fen
