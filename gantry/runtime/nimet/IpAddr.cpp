/// Text and type of an IPv4 address.
#include <gantry/runtime/fen/NboAttrLogIn.h>
#include <gantry/runtime/fen/NboAttrLogOut.h>
#include <gantry/runtime/fen/ValueForm.h>
#include <gantry/runtime/nimet/IpAddr.h>

#include <arpa/inet.h>
#include <cstring>
#include <ostream>

namespace Nimet {

namespace {

constexpr Fen::TypeDesc ipAddrType = {
   "Nimet::IpAddr", Fen::TypeKind::value,   nullptr, {}, {}, nullptr,
   nullptr,         &Fen::valueForm<IpAddr>};

} // namespace

IpAddr::IpAddr(Fen::String8 text) {
   in_addr parsed{};
   // A text with a NUL inside ends there for the C library, but is no address.
   if (text.view().find('\0') == std::string_view::npos &&
       ::inet_pton(AF_INET, text.charPtr(), &parsed) == 1) {
      *this = fromNetworkOrder(parsed.s_addr);
   }
}

IpAddr IpAddr::fromNetworkOrder(std::uint32_t value) {
   IpAddr result;
   std::memcpy(result.bytes_.data(), &value, sizeof value);
   return result;
}

Fen::String8 IpAddr::stringValue() const {
   return Fen::format("%u.%u.%u.%u", bytes_[0], bytes_[1], bytes_[2], bytes_[3]);
}

std::uint32_t IpAddr::networkOrderValue() const {
   std::uint32_t value;
   std::memcpy(&value, bytes_.data(), sizeof value);
   return value;
}

std::uint32_t IpAddr::hash() const { return ntohl(networkOrderValue()) * 2654435761u; }

Fen::FenType* IpAddr::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(ipAddrType);
   return type;
}
static Fen::TypeLoad const loadIpAddr(&IpAddr::_fwkType);

std::ostream& operator<<(std::ostream& out, IpAddr const& address) {
   return out << address.stringValue();
}

Fen::String8 valueToStrep(IpAddr const& address) {
   return Fen::valueToStrep(address.stringValue());
}

IpAddr sequenceToValue(Fen::String8::IteratorConst& at, Fen::String8::IteratorConst const& end,
                       IpAddr*) {
   Fen::String8::IteratorConst const begin(at);
   Fen::String8 const text = Fen::sequenceToText(at, end);
   IpAddr const address(text);
   // Only the zero address itself may come out as zero.
   if (address.isZero() && !(text == address.stringValue())) {
      Fen::cannotConvert(begin, end, IpAddr::_fwkType());
   }
   return address;
}

void operator<<(Fen::NboAttrLog::Out& out, IpAddr const& address) {
   out << ntohl(address.networkOrderValue());
}

void operator>>(Fen::NboAttrLog::In& in, IpAddr& address) {
   address = IpAddr::fromNetworkOrder(htonl(in.nextU32()));
}

} // namespace Nimet
