// Lines, literals, and the spelling of types.

#include <fenc/EmitText.h>

namespace Fenc {

namespace {

constexpr std::size_t widest = 100;

/// Where a line that is too long is broken: behind the last comma or operator outside texts that
/// still leaves it narrow enough, else behind a parenthesis; 0 when there is no such place.
std::size_t breakOf(std::string_view text, std::size_t room) {
   bool const isPlain = text.substr(0, 2) != "//" && text.substr(0, 1) != "#";
   std::size_t comma = 0, parenthesis = 0;
   bool inText = false;
   for (std::size_t i = 0; isPlain && i + 1 < text.size() && i < room; ++i) {
      if (text[i] == '"' && (i == 0 || text[i - 1] != '\\')) {
         inText = !inText;
      }
      if (inText) {
         continue;
      }
      bool const isAnd = i > 1 && text.substr(i - 2, 4) == " && ";
      if ((text[i] == ',' && text[i + 1] == ' ') || isAnd) {
         comma = i + 1;
      } else if (text[i] == '(' && text[i + 1] != ')') {
         parenthesis = i + 1;
      }
   }
   return comma != 0 ? comma : parenthesis;
}

} // namespace

void EmitText::line(std::string_view text) {
   opened_ = false;
   std::size_t indent = static_cast<std::size_t>(depth_) * 3;
   bool isFirst = true;
   while (indent + text.size() > widest) {
      std::size_t const at = breakOf(text, widest - indent);
      if (at == 0) {
         break;
      }
      text_.append(indent, ' ');
      text_ += text.substr(0, at);
      text_ += '\n';
      text.remove_prefix(text[at] == ' ' ? at + 1 : at);
      indent += isFirst ? 3 : 0;
      isFirst = false;
   }
   if (!text.empty()) {
      text_.append(indent, ' ');
      text_ += text;
   }
   text_ += '\n';
}

void EmitText::open(std::string_view text) {
   line(text);
   ++depth_;
   opened_ = true;
}

void EmitText::close(std::string_view text) {
   --depth_;
   line(text);
}

void EmitText::label(std::string_view text) {
   text_.append(static_cast<std::size_t>(depth_) * 3 - 2, ' ');
   text_ += text;
   text_ += '\n';
   opened_ = true;
}

void EmitText::documentation(std::vector<std::string> const& lines) {
   for (std::string const& each : lines) {
      line(each.empty() ? "///" : "/// " + each);
   }
}

void EmitText::verbatim(std::string_view text) {
   opened_ = false;
   text_ += text;
}

void EmitText::gap() {
   bool const isOpen = opened_;
   bool const isEmpty = text_.size() > 1 && text_.compare(text_.size() - 2, 2, "\n\n") == 0;
   if (!isOpen && !isEmpty && !text_.empty()) {
      line();
   }
}

std::string quoted(std::string const& text) {
   std::string result = "\"";
   for (char const c : text) {
      switch (c) {
      case '"':
      case '\\':
         result += '\\';
         result += c;
         break;
      case '\n':
         result += "\\n";
         break;
      case '\t':
         result += "\\t";
         break;
      default: {
         unsigned const byte = static_cast<unsigned char>(c);
         if (byte < 0x20u || byte == 0x7Fu || (c == '?' && result.back() == '?')) {
            // Octal escapes end after three digits, whatever follows. A second question mark is
            // one as well, so that no trigraph arises.
            result += '\\';
            result += static_cast<char>('0' + (byte >> 6));
            result += static_cast<char>('0' + ((byte >> 3) & 7u));
            result += static_cast<char>('0' + (byte & 7u));
         } else {
            result += c;
         }
      }
      }
   }
   return result + '"';
}

std::string pointerTo(Type const& type, bool constTarget) {
   return "Fen::Ptr<" + type.cppName + (constTarget ? " const>" : ">");
}

std::string valueType(SignatureType const& type) {
   switch (type.kind) {
   case AttributeKind::back:
      return type.type->cppName + (type.constTarget ? " const*" : "*");
   case AttributeKind::reference:
      return pointerTo(*type.type, type.constTarget);
   default:
      return type.type->cppName;
   }
}

bool isPointer(Attribute const& attribute) {
   switch (attribute.kind) {
   case AttributeKind::reference:
   case AttributeKind::owned:
   case AttributeKind::reactor:
      return true;
   case AttributeKind::through:
   case AttributeKind::computed:
      return attribute.type->kind == TypeKind::entity || attribute.type->kind == TypeKind::machine;
   default:
      return false;
   }
}

namespace {

SignatureType signatureOf(Attribute const& attribute) {
   AttributeKind const kind = attribute.kind == AttributeKind::back ? AttributeKind::back
                              : isPointer(attribute)                ? AttributeKind::reference
                                                                    : AttributeKind::scalar;
   return {attribute.type, kind, attribute.constTarget};
}

} // namespace

std::string valueType(Attribute const& attribute) { return valueType(signatureOf(attribute)); }

namespace {

bool isText(Type const& type) { return type.shape == Shape::text; }

std::string parameterType(SignatureType const& type, bool textsByValue) {
   bool const isPlain =
      type.type->kind == TypeKind::enumeration || type.type->kind == TypeKind::builtin;
   bool const byValue =
      type.kind == AttributeKind::back ||
      (type.kind == AttributeKind::scalar && isPlain && (textsByValue || !isText(*type.type)));
   return valueType(type) + (byValue ? "" : " const&");
}

} // namespace

std::string signatureType(SignatureType const& type) { return parameterType(type, true); }

std::string slotKeyType(Type const& key) {
   return parameterType(SignatureType{&key, AttributeKind::scalar, false}, true);
}

std::string parameterType(Attribute const& attribute) {
   return parameterType(signatureOf(attribute), false);
}

std::string keyParameterType(Type const& key) {
   return parameterType(SignatureType{&key, AttributeKind::scalar, false}, false);
}

std::string initialValue(Attribute const& attribute) {
   if (!attribute.initial) {
      Type const& type = *attribute.type;
      if (type.kind == TypeKind::enumeration) {
         // Attributes start at number zero, whether or not the enumeration names it.
         return type.cppName + "(0)";
      }
      return type.shape == Shape::boolean   ? "false"
             : type.shape == Shape::integer ? "0"
             : type.shape == Shape::real    ? "0.0"
                                            : "";
   }
   Literal const& literal = *attribute.initial;
   if (literal.kind == LiteralSyntax::Kind::text) {
      return quoted(literal.text);
   }
   if (literal.enumeration != nullptr) {
      Type const* const outer = literal.enumeration->outer;
      std::string const scope =
         outer != nullptr ? outer->cppName : literal.enumeration->namespaceName;
      return scope + "::" + literal.text;
   }
   return literal.text;
}

std::string reflectedName(Type const& type) {
   struct Row {
      char const* cppName;
      char const* shown;
   };
   static constexpr Row rows[] = {
      {"std::int8_t", "Fen::S8"},      {"std::int16_t", "Fen::S16"},  {"std::int32_t", "Fen::S32"},
      {"std::int64_t", "Fen::S64"},    {"std::uint8_t", "Fen::U8"},   {"std::uint16_t", "Fen::U16"},
      {"std::uint32_t", "Fen::U32"},   {"std::uint64_t", "Fen::U64"}, {"double", "Fen::Double"},
      {"Fen::String8", "Fen::String"},
   };
   for (Row const& row : rows) {
      if (type.cppName == row.cppName) {
         return row.shown;
      }
   }
   return type.cppName;
}

} // namespace Fenc
