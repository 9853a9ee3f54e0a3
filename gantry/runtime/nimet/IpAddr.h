/// An IPv4 address as a value: copied freely, compared by content, on whatever thread. The zero
/// value stands for no address.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Attribute.h>

#include <array>
#include <compare>
#include <cstdint>
#include <iosfwd>

namespace Nimet {

class GANTRY_EXPORT IpAddr {
 public:
   IpAddr() = default;
   /// From dotted text such as "127.0.0.1". Text that is no address gives the zero value, without
   /// an exception: addresses arrive in notifications, where nobody could catch one.
   explicit IpAddr(Fen::String8 text);
   /// From the four bytes in network order, as sockets and the trace ring hold them.
   static IpAddr fromNetworkOrder(std::uint32_t value);

   /// Dotted text; "0.0.0.0" for the zero value.
   Fen::String8 stringValue() const;
   /// The four bytes in network order.
   std::uint32_t networkOrderValue() const;
   bool isZero() const { return *this == IpAddr(); }
   bool operator!() const { return isZero(); }
   std::uint32_t hash() const;

   auto operator<=>(IpAddr const&) const = default;

   static Fen::FenType* _fwkType();

 private:
   std::array<std::uint8_t, 4> bytes_{};
};

/// The dotted text.
GANTRY_EXPORT std::ostream& operator<<(std::ostream& out, IpAddr const& address);
GANTRY_EXPORT Fen::String8 valueToStrep(IpAddr const& address);
/// Takes what valueToStrep() wrote; a text that is no address is refused with RangeException, since
/// here, unlike in a notification, somebody is told.
GANTRY_EXPORT IpAddr sequenceToValue(Fen::String8::IteratorConst& at,
                                     Fen::String8::IteratorConst const& end, IpAddr*);
/// The log form: the four bytes in network order.
GANTRY_EXPORT void operator<<(Fen::NboAttrLog::Out& out, IpAddr const& address);
GANTRY_EXPORT void operator>>(Fen::NboAttrLog::In& in, IpAddr& address);

} // namespace Nimet

template <>
struct Fen::TypeName<Nimet::IpAddr> {
   static constexpr char const* name = "Nimet::IpAddr";
};
