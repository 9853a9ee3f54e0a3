// Fuzzes the readers of all types that the process knows: the first byte chooses the type, the rest
// is the text. A text is refused with RangeException, or gives a value whose own text is read back
// as the same.

#include <gantry/Gantry.h>

#include <cstdlib>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   static std::vector<Fen::FenType*> const types = Fen::FenType::types();
   if (size == 0) {
      return 0;
   }
   Fen::FenType const* const type = types[data[0] % types.size()];
   Fen::String8 const text(std::string_view(reinterpret_cast<char const*>(data) + 1, size - 1));
   try {
      auto const handle = type->genericIf(text, false);
      Fen::String8 const written = handle->strRep();
      if (!(type->genericIf(written, true)->strRep() == written)) {
         std::abort();
      }
   } catch (Fen::RangeException const&) {
   }
   return 0;
}
