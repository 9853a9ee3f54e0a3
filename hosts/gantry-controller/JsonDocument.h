/// A JSON text as a tree in which everything knows its line and column, so that what is wrong with
/// its meaning can be shown in its place as well as what is wrong with its form.
///
/// Plain values, on whatever thread.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Host {

/// A place in a text; lines and columns count from 1, columns in characters.
struct JsonPlace {
   unsigned line = 1;
   unsigned column = 1;
};

enum class JsonKind { null, boolean, number, text, list, object };

struct JsonMember;

struct JsonNode {
   JsonKind kind = JsonKind::null;
   JsonPlace place;
   bool boolean = false;
   double number = 0.0;
   std::string text;
   std::vector<JsonNode> elements;
   /// In the order of the text. A key may be there twice; it is for the reader to refuse that.
   std::vector<JsonMember> members;
};

struct JsonMember {
   std::string key;
   JsonPlace place;
   JsonNode value;
};

/// The text is no JSON, or deeper than any sensible one.
class JsonError : public std::runtime_error {
 public:
   JsonError(JsonPlace at, std::string const& text) : runtime_error(text), place(at) {}
   JsonPlace const place;
};

/// "an object", "a text" and so on.
char const* jsonKindText(JsonKind kind);

/// Reads a whole text; throws JsonError.
JsonNode jsonDocument(std::string_view text);

} // namespace Host
