/// The type object of a system's identity.
#include <gantry/common/SystemId.h>
#include <gantry/runtime/fen/ValueForm.h>

namespace Controller {

namespace {

constexpr Fen::TypeDesc systemIdType = {
   "Controller::SystemId",   Fen::TypeKind::value, nullptr, {}, {}, nullptr, nullptr,
   &Fen::valueForm<SystemId>};

} // namespace

SystemId sequenceToValue(Fen::String8::IteratorConst& at, Fen::String8::IteratorConst const& end,
                         SystemId*) {
   Fen::String8::IteratorConst const begin(at);
   Fen::String8 const text = Fen::sequenceToText(at, end);
   if (!SystemId::isStringValue(text)) {
      Fen::cannotConvert(begin, end, SystemId::_fwkType());
   }
   return SystemId(text);
}

Fen::FenType* SystemId::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(systemIdType);
   return type;
}
static Fen::TypeLoad const loadSystemId(&SystemId::_fwkType);

} // namespace Controller
