/// The classes that a type made from a schema has for reflection, `X::_Type` and `X::GenericIf_`:
/// names for the two templates below. They add nothing to the tables but the way from text and from
/// plain pointers to handles of their own class.
#pragma once

#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/GenericIf.h>
#include <gantry/runtime/fen/StrepRead.h>

#include <type_traits>

namespace Fen {

/// A handle on an entity or machine of type X, or on null.
template <class X>
class GANTRY_EXPORT GenericIfOf
   : public std::conditional_t<std::is_base_of_v<Entity, X>, GenericIfEntity,
                               GenericIfPtrInterface> {
   using Base =
      std::conditional_t<std::is_base_of_v<Entity, X>, GenericIfEntity, GenericIfPtrInterface>;

 public:
   GenericIfOf(Ptr<X> const& object, bool isConst) : Base(object, X::_fwkType(), isConst) {}

   Ptr<GenericIf> clone() const override {
      auto const* const object = static_cast<X const*>(this->Base::object().ptr());
      return makePtr<GenericIfOf>(Ptr<X>(const_cast<X*>(object)), this->isConst());
   }

 protected:
   ~GenericIfOf() override = default;
};

/// The type object of an entity or machine.
template <class X>
class GANTRY_EXPORT TypeOf : public FenType {
 public:
   explicit TypeOf(TypeDesc const& description) : FenType(description) { sizeIs(sizeof(X)); }

   Ptr<GenericIf> genericIf(String8 const& text, bool isConst) const override {
      return makePtr<GenericIfOf<X>>(strepToValue<Ptr<X>>(text), isConst);
   }
   Ptr<GenericIf> genericIf(PtrInterface* object, bool isConst) const override {
      return makePtr<GenericIfOf<X>>(Ptr<X>(dynamic_cast<X*>(object)), isConst);
   }
   PtrInterface* objectAt(void const* address) const override {
      return const_cast<X*>(static_cast<X const*>(address));
   }

 protected:
   ~TypeOf() override = default;
};

} // namespace Fen
