// Attributes, handles and keys.

#include <hosts/control/ObjectAccess.h>

#include <hosts/control/ControlError.h>

#include <algorithm>

namespace Host {

namespace {

/// The text of a value that is one.
class TextReader : public Fen::AttrReader {
 public:
   void boolean(bool) override {}
   void signedNumber(std::int64_t) override {}
   void unsignedNumber(std::uint64_t) override {}
   void real(double) override {}
   void text(Fen::String8 const& value) override { found = textOf(value); }
   void none() override {}

   std::string found;
};

bool isPlainText(Fen::FenType const* type) {
   return type == Fen::typeOf<Fen::String8>() || type == Fen::typeOf<Fen::Name>();
}

} // namespace

std::vector<Fen::AttrDesc const*> attributesOf(Fen::FenType const* type) {
   std::vector<Fen::AttrDesc const*> result;
   if (type->baseType() != nullptr) {
      result = attributesOf(type->baseType());
   }
   for (Fen::AttrDesc const& each : type->attributes()) {
      result.push_back(&each);
   }
   return result;
}

Fen::AttrDesc const* attributeOf(Fen::FenType const* type, std::string_view name) {
   auto const all = attributesOf(type);
   auto const found = std::find_if(
      all.begin(), all.end(), [name](Fen::AttrDesc const* each) { return name == each->name; });
   return found != all.end() ? *found : nullptr;
}

ObjectHandle handleOf(Fen::PtrInterface const& object, bool isConst) {
   return ObjectHandle(dynamic_cast<Fen::GenericIfPtrInterface*>(
      Fen::objectHandle(&object, object.fwkType(), isConst).ptr()));
}

Fen::Ptr<Fen::GenericIf> parsed(Fen::ValueForm const& form, std::string const& text) {
   Fen::FenType const* const type = form.type();
   if (type == nullptr) {
      throw ControlError("notSupported", "values of this type have no text form");
   }
   if (isPlainText(type) && (text.empty() || text.front() != '\'')) {
      return Fen::genericIf(Fen::String8(text));
   }
   if (text.empty() || text.front() != '\'') {
      try {
         // Of a type that is written as one text in quotes, the quotes may be left out.
         return type->genericIf(Fen::valueToStrep(Fen::String8(text)), false);
      } catch (Fen::Exception const&) {
         // It is not written so.
      }
   }
   return type->genericIf(Fen::String8(text), false);
}

std::string keyTextOf(Fen::GenericIf const& key) {
   if (isPlainText(key.fwkType())) {
      TextReader reader;
      key.valueRead(reader);
      return reader.found;
   }
   std::string const text = textOf(key.strRep());
   bool const isQuoted = text.size() > 2 && text.front() == '\'' && text.back() == '\'' &&
                         text.find_first_of("'\\", 1) == text.size() - 1;
   return isQuoted ? text.substr(1, text.size() - 2) : text;
}

} // namespace Host
