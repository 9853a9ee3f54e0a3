/// The type objects of the language's own types.
#include <gantry/runtime/fen/ValueForm.h>

namespace Fen {

namespace {

template <class T>
constexpr TypeDesc builtinDescription = {TypeName<T>::name, TypeKind::builtin, nullptr,      {}, {},
                                         nullptr,           nullptr,           &valueForm<T>};

} // namespace

template <class T>
FenType* Builtin<T>::_fwkType() {
   static FenType* const type = FenType::typeIs(builtinDescription<T>);
   return type;
}

FenType* Name::_fwkType() {
   static FenType* const type = FenType::typeIs(builtinDescription<Name>);
   return type;
}

template class Builtin<bool>;
template class Builtin<std::int8_t>;
template class Builtin<std::int16_t>;
template class Builtin<std::int32_t>;
template class Builtin<std::int64_t>;
template class Builtin<std::uint8_t>;
template class Builtin<std::uint16_t>;
template class Builtin<std::uint32_t>;
template class Builtin<std::uint64_t>;
template class Builtin<double>;
template class Builtin<String8>;

namespace {

/// Attributes name these types by their names: they are there from load.
struct BuiltinTypesLoad {
   BuiltinTypesLoad() {
      Builtin<bool>::_fwkType();
      Builtin<std::int8_t>::_fwkType();
      Builtin<std::int16_t>::_fwkType();
      Builtin<std::int32_t>::_fwkType();
      Builtin<std::int64_t>::_fwkType();
      Builtin<std::uint8_t>::_fwkType();
      Builtin<std::uint16_t>::_fwkType();
      Builtin<std::uint32_t>::_fwkType();
      Builtin<std::uint64_t>::_fwkType();
      Builtin<double>::_fwkType();
      Builtin<String8>::_fwkType();
      Name::_fwkType();
   }
} const builtinTypesLoad;

} // namespace

} // namespace Fen
