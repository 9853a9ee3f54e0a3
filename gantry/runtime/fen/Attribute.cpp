/// The refusals of setters and find-or-create operations, in their words.
#include <gantry/runtime/fen/Attribute.h>

namespace Fen {

void throwNullParameter(char const* attribute, char const* fullPath) {
   // The text ends with a double quote that opens nowhere; tools match it as it stands.
   throwRangeException(String8("null _") + attribute + " parameter to mutator for " + fullPath +
                       " not allowed\"");
}

void throwParameterDiffers(PtrInterface const& member, String8 keyText, char const* parameter,
                           String8 newText, String8 oldText) {
   bool const isEntity = dynamic_cast<Entity const*>(&member) != nullptr;
   String8 const what =
      isEntity ? String8("entity with name ") + keyText : String8("pointer interface");
   throwNameInUseException(String8("Reinstantiating the ") + what +
                           " where constructor parameter attribute _" + parameter +
                           " has a different value of " + newText + " than the current value of " +
                           oldText + " not allowed");
}

} // namespace Fen
