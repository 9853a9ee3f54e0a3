// Arbitrary bytes to the schema compiler: it must neither crash nor hang, and its answer is either
// errors or output, never both. It is called below its command line, so it cannot write.

#include <fenc/Compiler.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

/// The input is the schema "Input.fen", which may import itself.
class Input : public Fenc::Source {
 public:
   explicit Input(std::string text) : text_(std::move(text)) {}

   std::optional<File> read(std::string const& importName) override {
      if (importName != "Input.fen") {
         return std::nullopt;
      }
      return File{text_, importName};
   }

 private:
   std::string text_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   Input input(std::string(reinterpret_cast<char const*>(data), size));
   Fenc::CompileResult const result = Fenc::compile({"Input.fen"}, input);
   if (result.ok != result.errors.empty() || result.ok == result.files.empty()) {
      std::abort();
   }
   return 0;
}
