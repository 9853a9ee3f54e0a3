// The order and the form of the errors of one run.

#include <fenc/Diagnostics.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace Fenc {

void Diagnostics::error(Position at, std::string text) {
   if (entries_.size() >= limit) {
      return;
   }
   for (Diagnostic const& entry : entries_) {
      if (entry.at.file == at.file && entry.at.line == at.line && entry.at.column == at.column) {
         return;
      }
   }
   entries_.push_back({at, std::move(text)});
}

std::uint32_t Diagnostics::fileIs(std::string shownName) {
   files_.push_back(std::move(shownName));
   return static_cast<std::uint32_t>(files_.size() - 1);
}

std::string Diagnostics::text() const {
   std::vector<Diagnostic> sorted = entries_;
   std::stable_sort(sorted.begin(), sorted.end(), [](Diagnostic const& a, Diagnostic const& b) {
      return std::tie(a.at.file, a.at.line, a.at.column) <
             std::tie(b.at.file, b.at.line, b.at.column);
   });
   std::string result;
   for (Diagnostic const& entry : sorted) {
      result += entry.at.file < files_.size() ? files_[entry.at.file] : std::string("fenc");
      result += ':' + std::to_string(entry.at.line) + ':' + std::to_string(entry.at.column);
      result += ": error: " + entry.text + '\n';
   }
   if (entries_.size() >= limit) {
      result += "fenc: too many errors, the rest is not shown\n";
   }
   return result;
}

} // namespace Fenc
