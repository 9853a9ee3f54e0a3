/// The text form of built-in values. It reads like a Python literal: text in single quotes with
/// escapes, True and False, numbers in decimal, None for a null pointer, an entity's full name in
/// quotes for a pointer to it.
#pragma once

#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/String.h>

#include <concepts>
#include <cstdint>

namespace Fen {

GANTRY_EXPORT String8 valueToStrep(String8 const& text);
/// Literals are texts too; without this one they would be taken for booleans.
inline String8 valueToStrep(char const* text) { return valueToStrep(String8(text)); }
GANTRY_EXPORT String8 valueToStrep(bool value);
GANTRY_EXPORT String8 valueToStrep(double value);
GANTRY_EXPORT String8 signedToStrep(std::int64_t value);
GANTRY_EXPORT String8 unsignedToStrep(std::uint64_t value);
/// None, the full name of an entity in quotes, or an address that nobody reads back.
GANTRY_EXPORT String8 valueToStrepOfRawPtr(PtrInterface const* object);
/// The same for an object that is known to be of that type.
GANTRY_EXPORT String8 valueToStrepOfRawPtr(PtrInterface const* object, FenType const* type);

template <std::integral Integer>
requires(!std::same_as<Integer, bool>) String8 valueToStrep(Integer value) {
   if constexpr (std::signed_integral<Integer>) {
      return signedToStrep(value);
   } else {
      return unsignedToStrep(value);
   }
}

template <class T>
String8 valueToStrep(Ptr<T> const& pointer) {
   return valueToStrepOfRawPtr(pointer.ptr());
}
template <class T>
requires std::derived_from<T, PtrInterface> String8 valueToStrep(T* pointer) {
   return valueToStrepOfRawPtr(pointer);
}

} // namespace Fen
