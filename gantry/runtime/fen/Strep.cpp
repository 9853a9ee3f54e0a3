/// Writing built-in values as text.
#include <gantry/runtime/fen/Strep.h>

#include <charconv>

namespace Fen {

String8 valueToStrep(String8 const& text) {
   std::string quoted = "'";
   for (char const c : text.view()) {
      auto const byte = static_cast<unsigned char>(c);
      if (c == '\\' || c == '\'') {
         quoted += '\\';
         quoted += c;
      } else if (c == '\n') {
         quoted += "\\n";
      } else if (c == '\t') {
         quoted += "\\t";
      } else if (byte < 0x20 || byte == 0x7f) {
         quoted += format("\\x%02x", byte).view();
      } else {
         quoted += c;
      }
   }
   return String8(quoted + "'");
}

String8 valueToStrep(bool value) { return value ? "True" : "False"; }

String8 valueToStrep(double value) {
   char text[32];
   auto const end = std::to_chars(text, text + sizeof text, value);
   return std::string_view(text, static_cast<std::size_t>(end.ptr - text));
}

String8 signedToStrep(std::int64_t value) { return std::to_string(value); }
String8 unsignedToStrep(std::uint64_t value) { return std::to_string(value); }

String8 valueToStrepOfRawPtr(PtrInterface const* object) {
   if (object == nullptr) {
      return "None";
   }
   auto const* const entity = dynamic_cast<Entity const*>(object);
   return entity != nullptr ? valueToStrep(entity->fullName())
                            : format("<%p>", static_cast<void const*>(object));
}

String8 valueToStrepOfRawPtr(PtrInterface const* object, FenType const*) {
   return valueToStrepOfRawPtr(object);
}

} // namespace Fen
