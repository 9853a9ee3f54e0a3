// Fuzzes the text form of a mounter's name: any text is refused with RangeException, or gives a
// name that is written and read back as itself.

#include <gantry/model/MountsRegistry.fen.h>
#include <gantry/runtime/fen/StrepRead.h>

#include <cstdlib>
#include <string_view>

using Controller::MounterName;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   Fen::String8 const text(std::string_view(reinterpret_cast<char const*>(data), size));
   try {
      auto const name = Fen::strepToValue<MounterName>(text);
      if (!(Fen::strepToValue<MounterName>(valueToStrep(name)) == name)) {
         std::abort();
      }
   } catch (Fen::RangeException const&) {
   }
   return 0;
}
