/// The kernel's tables that this program follows, as a set.
#pragma once

#include <cstdint>

namespace Linux {

/// In the order in which they are read: what comes later refers to interfaces.
enum class Table : std::uint8_t { links, addresses, routes, neighbours, statistics };

class TableSet {
 public:
   constexpr TableSet() = default;
   constexpr TableSet(Table table) : bits_(bit(table)) {}

   constexpr bool has(Table table) const { return (bits_ & bit(table)) != 0; }
   constexpr bool empty() const { return bits_ == 0; }
   constexpr void del(Table table) { bits_ = static_cast<std::uint8_t>(bits_ & ~bit(table)); }
   constexpr void add(TableSet other) { bits_ = static_cast<std::uint8_t>(bits_ | other.bits_); }
   constexpr TableSet operator|(TableSet other) const {
      other.add(*this);
      return other;
   }
   constexpr bool operator==(TableSet const& other) const = default;

 private:
   static constexpr std::uint8_t bit(Table table) {
      return static_cast<std::uint8_t>(1u << static_cast<unsigned>(table));
   }

   std::uint8_t bits_ = 0;
};

/// Every table that tells state; the counters are sampled beside them.
constexpr TableSet stateTables =
   TableSet(Table::links) | Table::addresses | Table::routes | Table::neighbours;

} // namespace Linux
