/// Names and numbers of the ways in which a mount ends.
#include <gantry/runtime/cairn/MountStatus.h>
#include <gantry/runtime/fen/ValueForm.h>

#include <array>
#include <ostream>

namespace Cairn {

namespace {

constexpr Fen::TypeDesc mountStatusType = {
   "Cairn::MountStatus",        Fen::TypeKind::enumeration, nullptr, {}, {}, nullptr, nullptr,
   &Fen::valueForm<MountStatus>};

constexpr std::array names = {
   "mountStatusNone",           "mountStatusNoSuchPath",    "mountStatusAnotherType",
   "mountStatusRefused",        "mountStatusSuccess",       "mountStatusTimedOut",
   "mountStatusConnectionLost", "mountStatusProtocolError", "mountStatusLimitExceeded",
   "mountStatusTargetUnusable", "mountStatusBadArguments",  "mountStatusWithdrawn"};

} // namespace

Fen::String8 stringValue(MountStatus status) {
   return status < names.size() ? Fen::String8(names[status])
                                : Fen::format("MountStatus(%d)", static_cast<int>(status));
}

Fen::String8 valueToStrep(MountStatus status) { return Fen::valueToStrep(stringValue(status)); }

std::ostream& operator<<(std::ostream& out, MountStatus const& status) {
   return out << stringValue(status);
}

MountStatus MountStatusInstance(unsigned int number) {
   if (number >= names.size()) {
      Fen::throwRangeException("MountStatus");
   }
   return static_cast<MountStatus>(number);
}

MountStatus MountStatusInstance(Fen::String8 const& text) {
   for (std::uint32_t number = 0; number < names.size(); ++number) {
      if (text == names[number]) {
         return static_cast<MountStatus>(number);
      }
   }
   Fen::throwRangeException("MountStatus");
}

MountStatus sequenceToValue(Fen::String8::IteratorConst& at, Fen::String8::IteratorConst const& end,
                            MountStatus* into) {
   MountStatus const value = MountStatusInstance(Fen::sequenceToText(at, end));
   if (into != nullptr) {
      *into = value;
   }
   return value;
}

Fen::FenType* _fwkType_MountStatus() {
   static Fen::FenType* const type = Fen::FenType::typeIs(mountStatusType);
   return type;
}
static Fen::TypeLoad const loadMountStatus(&_fwkType_MountStatus);

} // namespace Cairn
