/// The state of one mount as it is reported upward. A plain number, on whatever thread.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Attribute.h>

#include <cstdint>
#include <iosfwd>

namespace Controller {

/// Read and compared by number. Failed and mounted are final.
enum MountState : std::uint32_t {
   /// Nothing is mounted and no mount is under way.
   mountStateUnmounted = 0,
   /// An unmount that keeps the local copy has finished; the next mount is awaited.
   mountStatePending = 1,
   mountStateMounting = 2,
   /// The last attempt failed.
   mountStateFailed = 3,
   mountStateMounted = 4,
   mountStateUnmounting = 5,
};

/// The enumerator's name; a number without a name gives a text with that number, since a value from
/// a peer is stored as it came.
GANTRY_EXPORT Fen::String8 stringValue(MountState state);
GANTRY_EXPORT Fen::String8 valueToStrep(MountState state);
GANTRY_EXPORT std::ostream& operator<<(std::ostream& out, MountState const& state);
/// The value with this number or this text; throws RangeException for any other.
GANTRY_EXPORT MountState MountStateInstance(unsigned int number);
GANTRY_EXPORT MountState MountStateInstance(Fen::String8 const& text);
/// Reads the text form, and stores the value unless `into` is null.
GANTRY_EXPORT MountState sequenceToValue(Fen::String8::IteratorConst& at,
                                         Fen::String8::IteratorConst const& end, MountState* into);
GANTRY_EXPORT Fen::FenType* _fwkType_MountState();
/// The value with this number, for the attribute log, which finds it by the type.
inline MountState fenInstance(unsigned int number, MountState const*) {
   return MountStateInstance(number);
}

} // namespace Controller

template <>
struct Fen::TypeName<Controller::MountState> {
   static constexpr char const* name = "Controller::MountState";
};
