/// What bench/wire.cpp and its peers share: the texts that are sent, the buffer that they go
/// through and what is read from it. Each peer is a file of its own, built where it is installed,
/// that registers its benchmarks PEERNumber and PEERText. Constants; the main thread.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace BenchWire {

/// Texts as they occur in attributes of interfaces; too long to be kept within a std::string.
inline std::array<std::string, 8> const texts = {
   "Ethernet48/1-desc-aa", "Ethernet48/2-desc-bb", "Ethernet48/3-desc-cc", "Ethernet48/4-desc-dd",
   "Ethernet48/5-desc-ee", "Ethernet48/6-desc-ff", "Ethernet48/7-desc-gg", "Ethernet48/8-desc-hh"};

alignas(16) inline std::uint8_t buffer[512];

struct Decoded {
   std::uint64_t entity = 0;
   std::uint32_t attribute = 0;
   std::uint32_t number = 0;
   std::string_view text;
};

} // namespace BenchWire
