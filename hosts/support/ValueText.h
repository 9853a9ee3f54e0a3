/// Values of attributes as text: as JSON, and as people read them.
///
/// Stateless; a writer lives for one value.
#pragma once

#include <gantry/runtime/fen/AttrView.h>

#include <string>
#include <string_view>

namespace Host {

/// A JSON string with its quotes. Bytes that are no UTF-8 become the replacement character.
std::string jsonText(std::string_view text);

/// Text for a terminal: a peer's control characters do not reach it.
std::string plainText(std::string_view text);

/// Appends one value to a text.
class ValueWriter : public Fen::AttrReader {
 public:
   /// `json` writes JSON, else text for people.
   ValueWriter(std::string& out, bool json) : out_(out), json_(json) {}

   void boolean(bool value) override;
   void signedNumber(std::int64_t value) override;
   void unsignedNumber(std::uint64_t value) override;
   void real(double value) override;
   void text(Fen::String8 const& value) override;
   void none() override;

 private:
   std::string& out_;
   bool const json_;
};

/// The value of an attribute; of a collection, the keys of owned members or the values by key.
std::string valueText(Fen::Entity const& entity, Fen::AttrDesc const& attribute, bool json);

/// The value at a key of a collection of values, empty when there is none.
std::string memberText(Fen::Entity const& entity, Fen::AttrDesc const& attribute, void const* key,
                       bool json);

} // namespace Host
