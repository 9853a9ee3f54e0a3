/// Text, hash and type of an Ethernet address.
#include <gantry/runtime/fen/NboAttrLogIn.h>
#include <gantry/runtime/fen/NboAttrLogOut.h>
#include <gantry/runtime/fen/ValueForm.h>
#include <gantry/runtime/nimet/EthAddr.h>

#include <bit>
#include <ostream>
#include <string_view>

namespace Nimet {

namespace {

constexpr Fen::TypeDesc ethAddrType = {
   "Nimet::EthAddr", Fen::TypeKind::value,    nullptr, {}, {}, nullptr,
   nullptr,          &Fen::valueForm<EthAddr>};

/// The value of a hexadecimal digit, -1 for any other character.
constexpr int digitValue(char digit) {
   if (digit >= '0' && digit <= '9') {
      return digit - '0';
   }
   char const lower = static_cast<char>(digit | 0x20);
   return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Two digits for each byte and a colon, which the last one has not.
constexpr std::size_t step = 3;
constexpr std::size_t textLength = std::tuple_size_v<EthAddr::Bytes> * step - 1;

/// Reads "02:00:00:00:00:01"; false for anything else.
bool readBytes(std::string_view text, EthAddr::Bytes& bytes) {
   if (text.size() != textLength) {
      return false;
   }
   for (std::size_t i = 0; i < bytes.size(); ++i) {
      int const high = digitValue(text[i * step]);
      int const low = digitValue(text[i * step + 1]);
      bool const separated = i + 1 == bytes.size() || text[i * step + 2] == ':';
      if (high < 0 || low < 0 || !separated) {
         return false;
      }
      bytes[i] = static_cast<std::uint8_t>(high * 16 + low);
   }
   return true;
}

} // namespace

EthAddr::EthAddr(Bytes const& bytes) : word_(std::bit_cast<std::array<std::uint16_t, 3>>(bytes)) {}

void EthAddr::stringValueIs(Fen::String8 text) {
   Bytes bytes{};
   *this = readBytes(text.view(), bytes) ? EthAddr(bytes) : EthAddr();
}

bool EthAddr::isStringValue(Fen::String8 const& text) {
   Bytes bytes{};
   return readBytes(text.view(), bytes);
}

Fen::String8 EthAddr::stringValue() const {
   // By hand: evaluations of connections make this text by the million, as a key.
   constexpr std::string_view digits = "0123456789abcdef";
   std::array<char, textLength> text{};
   std::size_t at = 0;
   for (std::uint8_t const byte : bytes()) {
      if (at != 0) {
         text[at++] = ':';
      }
      text[at++] = digits[byte >> 4];
      text[at++] = digits[byte & 15];
   }
   return Fen::String8(std::string_view(text.data(), text.size()));
}

EthAddr::Bytes EthAddr::bytes() const { return std::bit_cast<Bytes>(word_); }

std::uint32_t EthAddr::hash() const {
   // From the bytes and not from the words, so that the order of a collection does not depend on
   // the machine. Addresses of one network differ in their last bytes: multiplication spreads them.
   std::uint64_t value = 0;
   for (std::uint8_t const byte : bytes()) {
      value = (value << 8) | byte;
   }
   value *= 0x9e3779b97f4a7c15u;
   return static_cast<std::uint32_t>(value >> 32);
}

Fen::FenType* EthAddr::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(ethAddrType);
   return type;
}
static Fen::TypeLoad const loadEthAddr(&EthAddr::_fwkType);

std::ostream& operator<<(std::ostream& out, EthAddr const& address) {
   return out << address.stringValue();
}

Fen::String8 valueToStrep(EthAddr const& address) {
   return Fen::valueToStrep(address.stringValue());
}

EthAddr sequenceToValue(Fen::String8::IteratorConst& at, Fen::String8::IteratorConst const& end,
                        EthAddr*) {
   Fen::String8::IteratorConst const begin(at);
   Fen::String8 const text = Fen::sequenceToText(at, end);
   if (!EthAddr::isStringValue(text)) {
      Fen::cannotConvert(begin, end, EthAddr::_fwkType());
   }
   return EthAddr(text);
}

void operator<<(Fen::NboAttrLog::Out& out, EthAddr const& address) {
   EthAddr::Bytes const bytes = address.bytes();
   out.bytes().putBytes(bytes.data(), bytes.size());
}

void operator>>(Fen::NboAttrLog::In& in, EthAddr& address) {
   EthAddr::Bytes bytes;
   for (std::uint8_t& byte : bytes) {
      byte = in.nextU8();
   }
   address = EthAddr(bytes);
}

} // namespace Nimet
