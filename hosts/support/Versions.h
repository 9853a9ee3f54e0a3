/// The versions of a service that one side supports, and what two sides have in common.
///
/// A plain value, on whatever thread. Held as ranges, so that a peer that claims four thousand
/// million versions costs no more than one that claims two.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Host {

class Versions {
 public:
   /// Both ends are included; the first version is 1, since 0 stands for none.
   struct Range {
      std::uint32_t first;
      std::uint32_t last;
      bool operator==(Range const&) const = default;
   };

   Versions() = default;
   /// From text such as "1-3,5"; nothing for text that is anything else, has more than 100 ranges
   /// or names no version at all.
   static std::optional<Versions> fromText(std::string_view text);

   /// In ascending order, apart from each other.
   std::vector<Range> const& ranges() const { return ranges_; }
   bool isEmpty() const { return ranges_.empty(); }
   /// How many versions there are.
   std::uint64_t count() const;
   bool contains(std::uint32_t version) const;
   /// "1-3,5"; empty for no version.
   std::string text() const;

   bool operator==(Versions const&) const = default;

 private:
   std::vector<Range> ranges_;
};

/// The highest version that both sides support, 0 for none.
std::uint32_t highestCommonVersion(Versions const& one, Versions const& other);

} // namespace Host
