/// Names and numbers of the states of a mount.
#include <gantry/common/MountState.h>
#include <gantry/runtime/fen/ValueForm.h>

#include <array>
#include <ostream>

namespace Controller {

namespace {

constexpr Fen::TypeDesc mountStateType = {
   "Controller::MountState",   Fen::TypeKind::enumeration, nullptr, {}, {}, nullptr, nullptr,
   &Fen::valueForm<MountState>};

constexpr std::array names = {"mountStateUnmounted", "mountStatePending", "mountStateMounting",
                              "mountStateFailed",    "mountStateMounted", "mountStateUnmounting"};

} // namespace

Fen::String8 stringValue(MountState state) {
   return state < names.size() ? Fen::String8(names[state])
                               : Fen::format("MountState(%d)", static_cast<int>(state));
}

Fen::String8 valueToStrep(MountState state) { return Fen::valueToStrep(stringValue(state)); }

std::ostream& operator<<(std::ostream& out, MountState const& state) {
   return out << stringValue(state);
}

MountState MountStateInstance(unsigned int number) {
   if (number >= names.size()) {
      Fen::throwRangeException("MountState");
   }
   return static_cast<MountState>(number);
}

MountState MountStateInstance(Fen::String8 const& text) {
   for (std::uint32_t number = 0; number < names.size(); ++number) {
      if (text == names[number]) {
         return static_cast<MountState>(number);
      }
   }
   Fen::throwRangeException("MountState");
}

MountState sequenceToValue(Fen::String8::IteratorConst& at, Fen::String8::IteratorConst const& end,
                           MountState* into) {
   MountState const value = MountStateInstance(Fen::sequenceToText(at, end));
   if (into != nullptr) {
      *into = value;
   }
   return value;
}

Fen::FenType* _fwkType_MountState() {
   static Fen::FenType* const type = Fen::FenType::typeIs(mountStateType);
   return type;
}
static Fen::TypeLoad const loadMountState(&_fwkType_MountState);

} // namespace Controller
