/// The type object of a published mount's description.
#include <gantry/common/MountDesc.h>
#include <gantry/runtime/fen/FenType.h>

namespace Controller {

namespace {

constexpr Fen::ParameterDesc mountDescFields[] = {{"controllerdbPath", "Fen::String"},
                                                  {"remotePath", "Fen::String"},
                                                  {"fenType", "Fen::String"},
                                                  {"mountFlags", "Fen::String"},
                                                  {"serviceName", "Fen::String"}};
constexpr Fen::TypeDesc mountDescType = {
   "Controller::MountDesc", Fen::TypeKind::value, nullptr, {}, mountDescFields, nullptr, nullptr};

} // namespace

Fen::FenType* MountDesc::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(mountDescType);
   return type;
}

} // namespace Controller
