/// How a mount ended. A plain number, on whatever thread.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Attribute.h>

#include <cstdint>
#include <iosfwd>

namespace Cairn {

/// 4 is success, all others are failures.
enum MountStatus : std::uint32_t {
   /// Not ended. Never reported.
   mountStatusNone = 0,
   /// The peer has nothing at the path, or is not the system that the path begins with.
   mountStatusNoSuchPath = 1,
   /// What the peer has at the path is of another type than the one asked for.
   mountStatusAnotherType = 2,
   /// The peer does not allow what was asked for.
   mountStatusRefused = 3,
   mountStatusSuccess = 4,
   /// The time for the mount was used up.
   mountStatusTimedOut = 5,
   /// The peer could not be reached, or the connection was lost more often than was to be retried.
   mountStatusConnectionLost = 6,
   /// The peer sent what the protocol forbids.
   mountStatusProtocolError = 7,
   /// A limit on memory or on the size of what the peer sends was exceeded.
   mountStatusLimitExceeded = 8,
   /// The place at which the mount was to appear is taken by something else or cannot be made.
   mountStatusTargetUnusable = 9,
   /// The arguments name no peer: the address or the port is missing.
   mountStatusBadArguments = 10,
   /// The peer has taken back what it had granted.
   mountStatusWithdrawn = 11,
};

/// The enumerator's name; a number without a name gives a text with that number.
GANTRY_EXPORT Fen::String8 stringValue(MountStatus status);
GANTRY_EXPORT Fen::String8 valueToStrep(MountStatus status);
GANTRY_EXPORT std::ostream& operator<<(std::ostream& out, MountStatus const& status);
/// The value with this number or this text; throws RangeException for any other.
GANTRY_EXPORT MountStatus MountStatusInstance(unsigned int number);
GANTRY_EXPORT MountStatus MountStatusInstance(Fen::String8 const& text);
/// Reads the text form, and stores the value unless `into` is null.
GANTRY_EXPORT MountStatus sequenceToValue(Fen::String8::IteratorConst& at,
                                          Fen::String8::IteratorConst const& end,
                                          MountStatus* into);
GANTRY_EXPORT Fen::FenType* _fwkType_MountStatus();

} // namespace Cairn

template <>
struct Fen::TypeName<Cairn::MountStatus> {
   static constexpr char const* name = "Cairn::MountStatus";
};
