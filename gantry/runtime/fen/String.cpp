/// Building, hashing and printing strings.
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/String.h>

#include <bit>
#include <cstdarg>
#include <cstdio>
#include <new>
#include <ostream>
#include <vector>

namespace Fen {

namespace {

constexpr std::uint64_t multiplier = 0x9e3779b97f4a7c15ull; // 2^64 divided by the golden ratio

std::uint64_t mixed(std::uint64_t left, std::uint64_t right) {
   __uint128_t const product = static_cast<__uint128_t>(left) * right;
   return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

std::uint64_t littleEndian(char const* bytes, std::size_t count) {
   std::uint64_t value = 0;
   for (std::size_t i = 0; i < count; ++i) {
      value |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
   }
   return value;
}

std::uint64_t eightBytes(char const* bytes) {
   std::uint64_t value;
   std::memcpy(&value, bytes, sizeof value);
   if constexpr (std::endian::native == std::endian::big) {
      value = __builtin_bswap64(value);
   }
   return value;
}

} // namespace

// A multiply-and-fold hash over eight bytes at a time: every input bit reaches every output bit, so
// that the low bits, which become the bucket number, are as good as the others.
std::uint32_t StringN<unsigned char>::hashOf(std::string_view text) {
   if (text.empty()) {
      return emptyHash;
   }
   std::uint64_t state = multiplier ^ text.size();
   char const* at = text.data();
   std::size_t left = text.size();
   for (; left >= 8; at += 8, left -= 8) {
      state = mixed(state ^ eightBytes(at), multiplier);
   }
   if (left > 0) {
      state = mixed(state ^ littleEndian(at, left), multiplier);
   }
   state = mixed(state, 0xd6e8feb86659fd93ull);
   auto const folded = static_cast<std::uint32_t>(state ^ (state >> 32));
   return folded != 0 ? folded : emptyHash; // 0 says "not computed yet"
}

std::uint32_t StringN<unsigned char>::Data::hashComputed() const {
   std::uint32_t const hash = hashOf({text(), length_});
   hash_.store(hash, std::memory_order_relaxed);
   return hash;
}

StringN<unsigned char>::Data* StringN<unsigned char>::dataNew(std::string_view text) {
   if (text.size() > 0x7fffffff) {
      throwRangeException("string longer than 2 GiB");
   }
   void* memory = ::operator new(sizeof(Data) + text.size() + 1);
   auto* data = new (memory) Data(static_cast<std::uint32_t>(text.size()));
   char* characters = reinterpret_cast<char*>(data + 1);
   std::memcpy(characters, text.data(), text.size());
   characters[text.size()] = '\0';
   return data;
}

void StringN<unsigned char>::dataFree(Data* data) noexcept {
   data->~Data();
   ::operator delete(data);
}

String8& String8::operator+=(String8 const& other) {
   std::string joined;
   joined.reserve(length() + other.length());
   joined.append(view()).append(other.view());
   *this = String8(std::string_view(joined));
   return *this;
}

String8 operator+(String8 const& left, String8 const& right) {
   String8 result(left);
   result += right;
   return result;
}

std::ostream& operator<<(std::ostream& out, StringN<unsigned char> const& text) {
   return out << text.view();
}

String8 format(char const* format, ...) {
   va_list arguments;
   va_start(arguments, format);
   char small[256];
   va_list again;
   va_copy(again, arguments);
   int const length = std::vsnprintf(small, sizeof small, format, arguments);
   va_end(arguments);
   String8 result;
   if (length >= 0 && static_cast<std::size_t>(length) < sizeof small) {
      result = String8(std::string_view(small, static_cast<std::size_t>(length)));
   } else if (length >= 0) {
      std::vector<char> large(static_cast<std::size_t>(length) + 1);
      std::vsnprintf(large.data(), large.size(), format, again);
      result = String8(std::string_view(large.data(), static_cast<std::size_t>(length)));
   }
   va_end(again);
   return result;
}

} // namespace Fen
