/// Which bytes a terminal may see as they are.
#include <gantry/runtime/ringscribe/TraceText.h>

#include <cstddef>

namespace RingScribe {

namespace {

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

/// Length of the printable character that `text` begins with, 0 when it begins with none.
std::size_t printableLength(std::string_view text) {
   unsigned char const first = static_cast<unsigned char>(text[0]);
   if (first < 0x80) {
      return first >= 0x20 && first != 0x7f ? 1 : 0;
   }
   std::size_t const length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
   if (first < 0xc2 || first > 0xf4 || text.size() < length) {
      return 0;
   }
   unsigned code = first & (0x7fu >> length);
   for (std::size_t i = 1; i < length; ++i) {
      if (!isContinuation(text[i])) {
         return 0;
      }
      code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3fu);
   }
   // Above ASCII come 32 more control characters; then overlong forms, surrogates and what lies
   // beyond the last character are no UTF-8, and U+2028 to U+202E and U+2066 to U+2069 break or
   // turn the line.
   bool const valid = code >= 0xa0 && (length < 3 || code >= 0x800) &&
                      (length < 4 || code >= 0x10000) && code <= 0x10ffff &&
                      (code < 0xd800 || code > 0xdfff);
   bool const turns = (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
   return valid && !turns ? length : 0;
}

} // namespace

void appendPrintable(std::string& to, std::string_view text) {
   constexpr char digits[] = "0123456789abcdef";
   while (!text.empty()) {
      std::size_t const length = printableLength(text);
      if (length != 0) {
         to.append(text.substr(0, length));
         text.remove_prefix(length);
      } else {
         unsigned char const byte = static_cast<unsigned char>(text[0]);
         to.append({'\\', 'x', digits[byte >> 4], digits[byte & 15]});
         text.remove_prefix(1);
      }
   }
}

} // namespace RingScribe
