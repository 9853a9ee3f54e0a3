/// The type object of a system's identity.
#include <gantry/common/SystemId.h>
#include <gantry/runtime/fen/FenType.h>

namespace Controller {

namespace {

constexpr Fen::TypeDesc systemIdType = {"Controller::SystemId",
                                        Fen::TypeKind::value,
                                        &Nimet::EthAddr::_fwkType,
                                        {},
                                        {},
                                        nullptr,
                                        nullptr};

} // namespace

Fen::FenType* SystemId::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(systemIdType);
   return type;
}

} // namespace Controller
