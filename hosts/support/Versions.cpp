// Ranges of versions: read, merged, compared.

#include <hosts/support/Versions.h>

#include <algorithm>
#include <charconv>

namespace Host {

namespace {

constexpr std::size_t mostRanges = 100;

/// A number from 1 that takes up the whole text.
std::optional<std::uint32_t> versionOf(std::string_view text) {
   std::uint32_t version = 0;
   auto const [at, error] = std::from_chars(text.data(), text.data() + text.size(), version);
   if (error != std::errc() || at != text.data() + text.size() || version == 0) {
      return std::nullopt;
   }
   return version;
}

std::optional<Versions::Range> rangeOf(std::string_view text) {
   std::size_t const dash = text.find('-');
   auto const first = versionOf(text.substr(0, dash));
   auto const last = dash == std::string_view::npos ? first : versionOf(text.substr(dash + 1));
   if (!first || !last || *first > *last) {
      return std::nullopt;
   }
   return Versions::Range{*first, *last};
}

} // namespace

std::optional<Versions> Versions::fromText(std::string_view text) {
   Versions result;
   std::vector<Range> found;
   for (bool more = true; more;) {
      std::size_t const comma = text.find(',');
      auto const range = rangeOf(text.substr(0, comma));
      if (!range || found.size() == mostRanges) {
         return std::nullopt;
      }
      found.push_back(*range);
      more = comma != std::string_view::npos;
      text.remove_prefix(more ? comma + 1 : text.size());
   }
   std::sort(found.begin(), found.end(),
             [](Range const& left, Range const& right) { return left.first < right.first; });
   for (Range const& each : found) {
      // Beside or inside the one before: both are one range.
      if (!result.ranges_.empty() && each.first - 1 <= result.ranges_.back().last) {
         result.ranges_.back().last = std::max(result.ranges_.back().last, each.last);
      } else {
         result.ranges_.push_back(each);
      }
   }
   return result;
}

std::uint64_t Versions::count() const {
   std::uint64_t count = 0;
   for (Range const& each : ranges_) {
      count += std::uint64_t{each.last} - each.first + 1;
   }
   return count;
}

bool Versions::contains(std::uint32_t version) const {
   return std::any_of(ranges_.begin(), ranges_.end(), [version](Range const& each) {
      return each.first <= version && version <= each.last;
   });
}

std::string Versions::text() const {
   std::string text;
   for (Range const& each : ranges_) {
      text += (text.empty() ? "" : ",") + std::to_string(each.first);
      if (each.last != each.first) {
         text += "-" + std::to_string(each.last);
      }
   }
   return text;
}

std::uint32_t highestCommonVersion(Versions const& one, Versions const& other) {
   std::uint32_t highest = 0;
   for (Versions::Range const& mine : one.ranges()) {
      for (Versions::Range const& theirs : other.ranges()) {
         std::uint32_t const last = std::min(mine.last, theirs.last);
         if (last >= std::max(mine.first, theirs.first)) {
            highest = std::max(highest, last);
         }
      }
   }
   return highest;
}

} // namespace Host
