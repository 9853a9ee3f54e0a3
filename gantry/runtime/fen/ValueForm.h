/// What reflection does with the values of one C++ type: one constant table of functions for each
/// type, shared by all attributes of it, and the handle that holds a value.
///
/// Stateless but for the handles; on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/AttrView.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/GenericIf.h>
#include <gantry/runtime/fen/StrepRead.h>

#include <concepts>
#include <type_traits>

namespace Fen {

/// What is done with a value that one function finds and another one uses.
struct ValueUse {
   void (*call)(void* context, void const* value);
   void* context;

   void operator()(void const* value) const { call(context, value); }
};

/// A lambda as a ValueUse; it must outlive the result.
template <class Use>
ValueUse valueUse(Use const& use) {
   return {[](void* context, void const* value) { (*static_cast<Use const*>(context))(value); },
           const_cast<Use*>(&use)};
}

/// The functions of one type. Values are passed by their address.
struct ValueForm {
   /// The type's object, null for a type that nobody has described.
   FenType* (*type)();
   /// A handle on a copy of the value, or on the object that a pointer leads to.
   Ptr<GenericIf> (*handle)(void const* value, bool isConst);
   /// The value that a handle holds; throws TypeException when it is of another type.
   void (*take)(GenericIf const& from, ValueUse const& use);
   String8 (*text)(void const* value);
   /// The value at the iterator, which moves on.
   void (*read)(String8::IteratorConst& at, String8::IteratorConst const& end, ValueUse const& use);
   /// What stands where there is no value: a fresh one, null for a pointer.
   void (*fresh)(ValueUse const& use);
   void (*give)(void const* value, AttrReader& reader);
};

/// The types of attributes that the language itself has, as type objects.
template <class T>
class GANTRY_EXPORT Builtin {
 public:
   static FenType* _fwkType();
};

template <class T>
struct IsPointer : std::false_type {};
template <class T>
struct IsPointer<Ptr<T>> : std::true_type {};

/// The type object of a C++ type.
template <class T>
FenType* typeOf() {
   if constexpr (IsPointer<T>::value) {
      return std::remove_const_t<typename T::Element>::_fwkType();
   } else if constexpr (requires { T::_fwkType(); }) {
      return T::_fwkType();
   } else if constexpr (std::is_enum_v<T>) {
      return FenType::type(TypeName<T>::name);
   } else if constexpr (std::is_arithmetic_v<T> || std::same_as<T, String8>) {
      return Builtin<T>::_fwkType();
   } else {
      return nullptr;
   }
}

/// Writes any value; here also those of a type's own namespace are found.
template <class T>
String8 strepOf(T const& value) {
   return valueToStrep(value);
}

/// Whether a type has a text form to be read from.
template <class T>
concept ReadsText =
   std::is_constructible_v<T, String8::IteratorConst&, String8::IteratorConst const&> ||
   requires(String8::IteratorConst& at, T* tag) {
   { sequenceToValue(at, std::as_const(at), tag) } -> std::convertible_to<T>;
};

template <class T>
T valueTaken(GenericIf const& from);

/// A handle on a value. It has the attribute "value", which gives a copy, and the value's fields,
/// whose ids begin at 258.
template <class T>
class GenericIfValue : public GenericIf {
 public:
   explicit GenericIfValue(T const& value, bool isConst = false)
      : GenericIf(isConst), value_(value) {}

   T const& value() const { return value_; }

   FenType* fwkType() const override { return typeOf<T>(); }
   void const* convertedTo(FenType const* type) const override {
      // A name is a text, and a text can be a name: both are held alike.
      if constexpr (std::derived_from<T, String8>) {
         if (type == Builtin<String8>::_fwkType() || type == Name::_fwkType()) {
            return &value_;
         }
      }
      return type != nullptr && type == fwkType() ? &value_ : GenericIf::convertedTo(type);
   }
   AttributeId attributeId(String8 name) const override {
      AttributeId found = name == "value" ? valueAttributeId : 0;
      eachField(value_, [&](AttributeId id, char const* field, auto&) {
         found = name == field ? id : found;
      });
      return found != 0 ? found : GenericIf::attributeId(name);
   }
   Ptr<GenericIf> attributeOp(AttributeOp const& operation, Ptr<GenericIf const> const& key,
                              Ptr<GenericIf const> const& value) override {
      if (operation.isChange() && isConst()) {
         throwConstException();
      }
      // An enumeration's value is given whatever is asked for: there is nothing else to be done.
      if (operation.attributeId() == valueAttributeId) {
         return clone();
      }
      Ptr<GenericIf> result;
      bool found = false;
      eachField(value_, [&](AttributeId id, char const* name, auto& field) {
         if (id == operation.attributeId()) {
            found = true;
            result = fieldOp(name, field, operation.operation(), key, value);
         }
      });
      return found ? result : GenericIf::attributeOp(operation, key, value);
   }
   Ptr<GenericIf> clone() const override { return makePtr<GenericIfValue>(value_, isConst()); }
   String8 strRep() const override { return strepOf<T>(value_); }
   void valueRead(AttrReader& reader) const override { attrRead<T>(value_, reader); }

 protected:
   ~GenericIfValue() override = default;

 private:
   /// All texts are held alike.
   using Stored = std::conditional_t<std::derived_from<T, String8>, Name, T>;

   template <class Value, class Visit>
   static void eachField([[maybe_unused]] Value& value, [[maybe_unused]] Visit const& visit) {
      if constexpr (HasFields<T>) {
         AttributeId id = firstOwnAttributeId;
         T::fenEachField(value, [&](char const* name, auto& field) { visit(id++, name, field); });
      }
   }
   template <class Field>
   Ptr<GenericIf> fieldOp(char const* name, Field& field, unsigned operation,
                          Ptr<GenericIf const> const& key, Ptr<GenericIf const> const& value) {
      if (key) {
         throwBadIndexAttrException(name);
      }
      if (operation == operationGet) {
         return makePtr<GenericIfValue<Field>>(field, isConst());
      }
      if (operation != operationSet) {
         throwOpNotSupportedException(name, operation);
      }
      if (!value) {
         throwTypeException(name);
      }
      field = valueTaken<Field>(*value);
      return nullptr;
   }

   Stored value_;
};

/// The value that a handle holds, as a T.
template <class T>
T valueTaken(GenericIf const& from) {
   if constexpr (IsPointer<T>::value) {
      auto const* const object = static_cast<PtrInterface const*>(from.convertedTo(typeOf<T>()));
      auto const* const typed = dynamic_cast<typename T::Element const*>(object);
      if constexpr (!std::is_const_v<typename T::Element>) {
         // A const handle must not come back as a pointer that may write.
         if (object != nullptr && from.isConst()) {
            GenericIf::throwConstException();
         }
      }
      return T(const_cast<typename T::Element*>(typed));
   } else {
      return *static_cast<T const*>(from.convertedTo(typeOf<T>()));
   }
}

/// A handle on an object by its own type, on null by the type that is asked for.
GANTRY_EXPORT Ptr<GenericIf> objectHandle(PtrInterface const* object, FenType const* type,
                                          bool isConst);

template <class T>
struct ValueFormOf {
   static Ptr<GenericIf> handle(void const* value, bool isConst) {
      T const& typed = *static_cast<T const*>(value);
      if constexpr (IsPointer<T>::value) {
         return objectHandle(typed.ptr(), typeOf<T>(),
                             isConst || std::is_const_v<typename T::Element>);
      } else {
         return makePtr<GenericIfValue<T>>(typed, isConst);
      }
   }
   static void take(GenericIf const& from, ValueUse const& use) {
      T const value = valueTaken<T>(from);
      use(&value);
   }
   static String8 text(void const* value) { return strepOf<T>(*static_cast<T const*>(value)); }
   static void read(String8::IteratorConst& at, String8::IteratorConst const& end,
                    ValueUse const& use) {
      if constexpr (ReadsText<T>) {
         T const value = sequenceToValue<T>(at, end);
         use(&value);
      } else {
         cannotConvert(at, end, typeOf<T>());
      }
   }
   static void fresh(ValueUse const& use) {
      T const value{};
      use(&value);
   }
   static void give(void const* value, AttrReader& reader) {
      attrRead(*static_cast<T const*>(value), reader);
   }
};

template <class T>
inline constexpr ValueForm valueForm = {&typeOf<T>,
                                        &ValueFormOf<T>::handle,
                                        &ValueFormOf<T>::take,
                                        &ValueFormOf<T>::text,
                                        &ValueFormOf<T>::read,
                                        &ValueFormOf<T>::fresh,
                                        &ValueFormOf<T>::give};

/// A handle on a value, for code that has one.
template <class T>
Ptr<GenericIf> genericIf(T const& value, bool isConst = false) {
   return ValueFormOf<T>::handle(&value, isConst);
}

} // namespace Fen
