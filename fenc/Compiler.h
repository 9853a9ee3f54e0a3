// One run of the schema compiler, from texts to texts: it reads only through the Source that it is
// given, and returns what is to be written. Deterministic, and never throws on any input.
#pragma once

#include <fenc/Writer.h>

#include <optional>
#include <string>
#include <vector>

namespace Fenc {

/// Where schemas come from.
class Source {
 public:
   virtual ~Source() = default;
   struct File {
      std::string text;
      std::string shownName; ///< as messages name it, such as the path that was opened
   };
   /// The schema of this import name, such as "gantry/model/Model.fen"; none when there is none.
   virtual std::optional<File> read(std::string const& importName) = 0;
};

struct CompileResult {
   bool ok = false;
   std::string errors;            ///< lines for standard error; empty when ok
   std::vector<OutputFile> files; ///< two for each schema that was asked for; empty unless ok
   std::vector<std::string> read; ///< shown names of all files that were read, for a depfile
};

/// Compiles the schemas of these import names. Their imports are read too, but not compiled.
CompileResult compile(std::vector<std::string> const& importNames, Source& source);

} // namespace Fenc
