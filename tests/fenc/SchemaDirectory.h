// What the tests of the schema compiler share: where their schemas lie, and how they are read.
#pragma once

#include <fenc/Compiler.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace FencTest {

inline std::filesystem::path goldenDirectory() {
   return std::filesystem::path(GANTRY_SOURCE_DIR) / "tests/fenc/golden";
}

/// The text of a file, empty when it cannot be read.
inline std::string textOf(std::filesystem::path const& path) {
   std::ifstream in(path, std::ios::binary);
   return std::string(std::istreambuf_iterator<char>(in), {});
}

/// Reads schemas below one directory, and shows them by their import names, so that messages do not
/// depend on where the tree lies.
class SchemaDirectory : public Fenc::Source {
 public:
   explicit SchemaDirectory(std::filesystem::path root) : root_(std::move(root)) {}

   std::optional<File> read(std::string const& importName) override {
      if (!std::filesystem::is_regular_file(root_ / importName)) {
         return std::nullopt;
      }
      return File{textOf(root_ / importName), importName};
   }

 private:
   std::filesystem::path root_;
};

/// One schema in memory.
class OneSchema : public Fenc::Source {
 public:
   explicit OneSchema(std::string text) : text_(std::move(text)) {}

   std::optional<File> read(std::string const& importName) override {
      if (importName != "Test.fen") {
         return std::nullopt;
      }
      return File{text_, importName};
   }

 private:
   std::string text_;
};

inline Fenc::CompileResult compileText(std::string const& text) {
   OneSchema source(text);
   return Fenc::compile({"Test.fen"}, source);
}

} // namespace FencTest
