/// The type object of a published mount's description.
#include <gantry/common/MountDesc.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/NboAttrLogForm.h>

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

void operator<<(Fen::NboAttrLog::Out& out, MountDesc const& description) {
   out << description.controllerdbPath();
   out << description.remotePath();
   out << description.fenType();
   out << description.mountFlags();
   out << description.serviceName();
}

void operator>>(Fen::NboAttrLog::In& in, MountDesc& description) {
   Fen::String8 const controllerdbPath = in.nextString();
   Fen::String8 const remotePath = in.nextString();
   Fen::String8 const fenType = in.nextString();
   Fen::String8 const mountFlags = in.nextString();
   Fen::String8 const serviceName = in.nextString();
   description = MountDesc(controllerdbPath, remotePath, fenType, mountFlags, serviceName);
}

std::size_t fenHeldBytes(MountDesc const& description) {
   using Text = Fen::NboAttrLog::LogForm<Fen::String8>;
   return Text::held(description.controllerdbPath()) + Text::held(description.remotePath()) +
          Text::held(description.fenType()) + Text::held(description.mountFlags()) +
          Text::held(description.serviceName());
}

} // namespace Controller
