// Positions in schema files, and the collection of errors that one run of the schema compiler
// finds.
//
// Owned by the Compiler of one run, used on one thread only. The order of printing depends on the
// positions alone, so that the same input gives the same text in every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Fenc {

/// A place in a schema file. Lines and columns count from 1; a column is one Unicode character.
struct Position {
   std::uint32_t file = 0;
   std::uint32_t line = 1;
   std::uint32_t column = 1;
};

struct Diagnostic {
   Position at;
   std::string text;
};

/// Collects errors. Never throws and never prints.
class Diagnostics {
 public:
   /// The errors that are kept; what comes behind them says nothing new about a broken file.
   static constexpr std::size_t limit = 100;

   /// Adds an error. A second one at the same place is dropped, since it follows from the first.
   void error(Position at, std::string text);

   /// Registers a file under the name that messages show, and returns its number.
   std::uint32_t fileIs(std::string shownName);

   bool any() const { return !entries_.empty(); }
   std::vector<Diagnostic> const& entries() const { return entries_; }

   /// All errors as `file:line:column: error: text` lines, ordered by file, line and column.
   std::string text() const;

 private:
   std::vector<std::string> files_;
   std::vector<Diagnostic> entries_;
};

} // namespace Fenc
