/// A 48-bit Ethernet address as a value: copied freely, compared by its bytes, on whatever thread.
/// The zero value stands for no address.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Attribute.h>

#include <array>
#include <compare>
#include <cstdint>
#include <iosfwd>

namespace Nimet {

/// Three 16-bit words that hold the six bytes in their order, so that the object's memory is the
/// address as it stands on the wire.
class GANTRY_EXPORT EthAddr {
 public:
   using Bytes = std::array<std::uint8_t, 6>;

   EthAddr() = default;
   explicit EthAddr(Fen::String8 text) { stringValueIs(text); }
   explicit EthAddr(Bytes const& bytes);

   /// Takes six pairs of hexadecimal digits with colons between, in either case. Any other text
   /// gives the zero value, without an exception: this is called from notifications.
   void stringValueIs(Fen::String8 text);
   /// Whether stringValueIs() would take the text.
   static bool isStringValue(Fen::String8 const& text);
   /// The six bytes in lower-case hexadecimal with colons between; stringValueIs() takes it back.
   Fen::String8 stringValue() const;
   Bytes bytes() const;
   /// The same for equal addresses in every process.
   std::uint32_t hash() const;
   bool operator!() const { return *this == EthAddr(); }

   bool operator==(EthAddr const& other) const = default;
   /// The order of the six bytes.
   std::strong_ordering operator<=>(EthAddr const& other) const {
      return bytes() <=> other.bytes();
   }

   static Fen::FenType* _fwkType();

 private:
   std::array<std::uint16_t, 3> word_{};
};

static_assert(sizeof(EthAddr) == 6);

/// The text form.
GANTRY_EXPORT std::ostream& operator<<(std::ostream& out, EthAddr const& address);
GANTRY_EXPORT Fen::String8 valueToStrep(EthAddr const& address);
/// Takes what valueToStrep() wrote; a text that is no address is refused with RangeException, since
/// here, unlike in a notification, somebody is told.
GANTRY_EXPORT EthAddr sequenceToValue(Fen::String8::IteratorConst& at,
                                      Fen::String8::IteratorConst const& end, EthAddr*);
/// The log form: the six bytes in their order.
GANTRY_EXPORT void operator<<(Fen::NboAttrLog::Out& out, EthAddr const& address);
GANTRY_EXPORT void operator>>(Fen::NboAttrLog::In& in, EthAddr& address);

} // namespace Nimet

template <>
struct Fen::TypeName<Nimet::EthAddr> {
   static constexpr char const* name = "Nimet::EthAddr";
};
