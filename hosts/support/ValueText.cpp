// JSON and plain texts of values.

#include <hosts/support/ValueText.h>

#include <cmath>
#include <cstdio>

namespace Host {

namespace {

/// The bytes of the UTF-8 character at the start of `text`, 0 when there is none.
std::size_t characterBytes(std::string_view text) {
   auto const byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
   unsigned char const lead = byte(0);
   std::size_t const size = lead < 0x80                   ? 1
                            : lead >= 0xc2 && lead < 0xe0 ? 2
                            : lead >= 0xe0 && lead < 0xf0 ? 3
                            : lead >= 0xf0 && lead < 0xf5 ? 4
                                                          : 0;
   if (size == 0 || size > text.size()) {
      return 0;
   }
   for (std::size_t i = 1; i < size; ++i) {
      if ((byte(i) & 0xc0) != 0x80) {
         return 0;
      }
   }
   // Longer forms than needed, halves of pairs, and what lies beyond the last character.
   bool const refused =
      size > 2 && ((lead == 0xe0 && byte(1) < 0xa0) || (lead == 0xed && byte(1) >= 0xa0) ||
                   (lead == 0xf0 && byte(1) < 0x90) || (lead == 0xf4 && byte(1) >= 0x90));
   return refused ? 0 : size;
}

std::string escaped(unsigned character) {
   char text[8];
   std::snprintf(text, sizeof text, "\\u%04x", character & 0xffffu);
   return text;
}

/// The members of a collection as a list: of values in JSON an object.
class ListWriter : public Fen::AttrMemberReader {
 public:
   ListWriter(std::string& out, Fen::Entity const& entity, Fen::AttrDesc const& attribute,
              bool json)
      : out_(out), entity_(entity), attribute_(attribute), json_(json) {}

   void entity(Fen::String8 const& key, Fen::Ptr<Fen::Entity> const& member) override {
      Fen::String8 const name = key.empty() ? Fen::String8(member->name()) : key;
      separate();
      out_ += json_ ? jsonText(name.view()) : plainText(name.view());
   }
   void emptyRecord(Fen::String8 const& key) override {
      separate();
      out_ += json_ ? jsonText(key.view()) : plainText(key.view());
   }
   void value(Fen::String8 const& key, void const* rawKey) override {
      separate();
      out_ += (json_ ? jsonText(key.view()) + ":" : plainText(key.view()) + "=") +
              memberText(entity_, attribute_, rawKey, json_);
   }

 private:
   void separate() {
      out_ += first_ ? "" : json_ ? "," : ", ";
      first_ = false;
   }

   std::string& out_;
   Fen::Entity const& entity_;
   Fen::AttrDesc const& attribute_;
   bool const json_;
   bool first_ = true;
};

} // namespace

std::string jsonText(std::string_view text) {
   std::string out = "\"";
   while (!text.empty()) {
      std::size_t const size = characterBytes(text);
      auto const lead = static_cast<unsigned char>(text[0]);
      if (size == 0) {
         out += "\\ufffd";
      } else if (lead == '"' || lead == '\\') {
         out += {'\\', text[0]};
      } else if (lead < 0x20 || lead == 0x7f) {
         out += escaped(lead);
      } else {
         out += text.substr(0, size);
      }
      text.remove_prefix(size == 0 ? 1 : size);
   }
   return out + "\"";
}

std::string plainText(std::string_view text) {
   std::string out(text);
   for (char& c : out) {
      auto const byte = static_cast<unsigned char>(c);
      c = byte < 0x20 || byte == 0x7f ? '?' : c;
   }
   return out;
}

void ValueWriter::boolean(bool value) {
   out_ += json_ ? (value ? "true" : "false") : (value ? "yes" : "no");
}
void ValueWriter::signedNumber(std::int64_t value) { out_ += std::to_string(value); }
void ValueWriter::unsignedNumber(std::uint64_t value) { out_ += std::to_string(value); }
void ValueWriter::real(double value) {
   // JSON has no infinity.
   if (json_ && !std::isfinite(value)) {
      out_ += "null";
      return;
   }
   char text[40];
   std::snprintf(text, sizeof text, "%.15g", value);
   out_ += text;
}
void ValueWriter::text(Fen::String8 const& value) {
   out_ += json_ ? jsonText(value.view()) : plainText(value.view());
}
void ValueWriter::none() { out_ += json_ ? "null" : ""; }

std::string valueText(Fen::Entity const& entity, Fen::AttrDesc const& attribute, bool json) {
   std::string out;
   if (attribute.view == nullptr) {
      return out;
   }
   if (attribute.view->value != nullptr) {
      ValueWriter writer(out, json);
      attribute.view->value(entity, writer);
      return out;
   }
   bool const isObject = attribute.view->memberValue != nullptr;
   out += !json ? "" : isObject ? "{" : "[";
   ListWriter writer(out, entity, attribute, json);
   attribute.view->members(entity, writer);
   out += !json ? "" : isObject ? "}" : "]";
   return out;
}

std::string memberText(Fen::Entity const& entity, Fen::AttrDesc const& attribute, void const* key,
                       bool json) {
   std::string out;
   ValueWriter writer(out, json);
   return attribute.view->memberValue(entity, key, writer) ? out : std::string();
}

} // namespace Host
