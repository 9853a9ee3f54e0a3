/// Reading builtin values, pointers and the frame of values that consist of fields.
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/StrepRead.h>

#include <charconv>
#include <string>

namespace Fen {

namespace {

using At = String8::IteratorConst;

bool atEnd(At const& at, At const& end) { return at.position() >= end.position(); }

std::string_view rest(At const& at, At const& end) {
   return at.text().view().substr(at.position(), end.position() - at.position());
}

void moveBy(At& at, std::size_t characters) {
   at.positionIs(at.position() + static_cast<std::uint32_t>(characters));
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }

void skipBlanks(At& at, At const& end) {
   while (!atEnd(at, end) && isBlank(*at)) {
      ++at;
   }
}

/// `what` at the iterator's column, with the whole text. Texts may hold any byte, also a NUL, so
/// they are put together and not formatted.
[[noreturn]] void refuse(std::string const& what, At const& at) {
   throwRangeException(String8(
      what +
      std::string(
         format(" at column %lld deserializing ", static_cast<long long>(at.position())).view()) +
      at.text().str()));
}

int hexDigit(char c) {
   if (c >= '0' && c <= '9') {
      return c - '0';
   }
   char const lower = static_cast<char>(c | 0x20);
   return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// The character that an escape stands for; `at` is behind the backslash and moves behind it.
char escaped(At& at, At const& end) {
   std::string_view const text = rest(at, end);
   At const begin(at);
   if (!text.empty()) {
      moveBy(at, 1);
      switch (text[0]) {
      case '\\':
      case '\'':
         return text[0];
      case 'n':
         return '\n';
      case 't':
         return '\t';
      case 'x':
         if (text.size() >= 3 && hexDigit(text[1]) >= 0 && hexDigit(text[2]) >= 0) {
            moveBy(at, 2);
            return static_cast<char>(hexDigit(text[1]) * 16 + hexDigit(text[2]));
         }
         break;
      default:
         break;
      }
   }
   refuse("unknown escape", begin);
}

template <class Number>
Number numberRead(At& at, At const& end) {
   skipBlanks(at, end);
   std::string_view const text = rest(at, end);
   Number number{};
   auto const read = std::from_chars(text.data(), text.data() + text.size(), number);
   if (read.ec == std::errc::result_out_of_range) {
      refuse("number out of range", at);
   }
   if (read.ec != std::errc()) {
      refuse("number expected", at);
   }
   moveBy(at, static_cast<std::size_t>(read.ptr - text.data()));
   return number;
}

bool wordTaken(At& at, At const& end, std::string_view word) {
   if (rest(at, end).substr(0, word.size()) != word) {
      return false;
   }
   moveBy(at, word.size());
   return true;
}

} // namespace

void needString(At& at, At const& end, String8 const& token) {
   for (char const wanted : token.view()) {
      if (wanted == ' ') {
         skipBlanks(at, end);
      } else if (!atEnd(at, end) && *at == wanted) {
         ++at;
      } else {
         refuse("\"" + token.str() + "\" expected", at);
      }
   }
}

void requireTextEnd(At const& at, At const& end) {
   if (!atEnd(at, end)) {
      refuse("junk", at);
   }
}

void cannotConvert(At const& at, At const&, FenType const* type) {
   std::string const name = type != nullptr ? type->fullTypeName().str() : std::string("value");
   refuse("no " + name, at);
}

String8 sequenceToText(At& at, At const& end) {
   skipBlanks(at, end);
   if (atEnd(at, end) || *at != '\'') {
      refuse("text in single quotes expected", at);
   }
   ++at;
   std::string text;
   while (!atEnd(at, end) && *at != '\'') {
      char const c = *at;
      ++at;
      text += c == '\\' ? escaped(at, end) : c;
   }
   if (atEnd(at, end)) {
      refuse("closing quote expected", at);
   }
   ++at;
   return String8(text);
}

std::int64_t sequenceToSigned(At& at, At const& end, std::int64_t lowest, std::int64_t highest) {
   At const begin(at);
   auto const number = numberRead<std::int64_t>(at, end);
   if (number < lowest || number > highest) {
      refuse("number out of range", begin);
   }
   return number;
}

std::uint64_t sequenceToUnsigned(At& at, At const& end, std::uint64_t highest) {
   At const begin(at);
   auto const number = numberRead<std::uint64_t>(at, end);
   if (number > highest) {
      refuse("number out of range", begin);
   }
   return number;
}

bool sequenceToValue(At& at, At const& end, bool*) {
   skipBlanks(at, end);
   if (wordTaken(at, end, "True")) {
      return true;
   }
   if (!wordTaken(at, end, "False")) {
      refuse("True or False expected", at);
   }
   return false;
}

double sequenceToValue(At& at, At const& end, double*) { return numberRead<double>(at, end); }

Ptr<PtrInterface> sequenceToValueOfPtr(At& at, At const& end) {
   skipBlanks(at, end);
   if (wordTaken(at, end, "None")) {
      return nullptr;
   }
   At const begin(at);
   String8 const path = sequenceToText(at, end);
   // The name of an entity outside the tree has no slash in front, and what has the same name in
   // the root directory is another one.
   bool const isInTree = path.view().substr(0, 1) == "/";
   Ptr<Entity> const entity = isInTree ? Entity::entity(EntityUriPath(path)) : Ptr<Entity>();
   if (!entity) {
      cannotConvert(begin, end, Entity::_fwkType());
   }
   return entity;
}

void sequenceToFields(At& at, At const& end, char const* typeName, FieldReader* reader,
                      void* value) {
   std::string const fullName(typeName);
   std::string const shortName = fullName.substr(fullName.rfind(':') + 1);
   for (std::string const& token : {std::string(" Value"), std::string(" ("), " '" + fullName + "'",
                                    std::string(" ,"), std::string(" **"), std::string(" {")}) {
      needString(at, end, token);
   }
   for (bool first = true;; first = false) {
      needString(at, end, " ");
      if (atEnd(at, end)) {
         throwRangeException(String8("premature end of value type " + shortName));
      }
      if (*at == '}') {
         break;
      }
      if (!first) {
         needString(at, end, ", ");
      }
      String8 const key = sequenceToText(at, end);
      needString(at, end, " : ");
      if (!reader(at, end, key, value)) {
         throwRangeException(String8(shortName + " has no such attribute: ") + key);
      }
   }
   needString(at, end, "} ");
   needString(at, end, ") ");
}

} // namespace Fen
