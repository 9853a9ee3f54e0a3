// Events of the JSON parser, put together into a tree, with the places at which they happened.

#include <hosts/gantry-controller/JsonDocument.h>

#include <nlohmann/json.hpp>

#include <cstddef>
#include <iterator>

namespace Host {

namespace {

constexpr std::size_t deepest = 32;

/// Follows the characters that the parser takes and remembers where the last token began. The
/// parser reads at most one character beyond a token, which never begins another.
class Follower {
 public:
   void take(char c) {
      if (c == '\n') {
         here_ = {here_.line + 1, 0};
      } else if ((c & 0xc0) != 0x80) {
         ++here_.column;
      }
      if (inText_) {
         inText_ = escaped_ || c != '"';
         escaped_ = !escaped_ && c == '\\';
         return;
      }
      bool const isBlank = c == ' ' || c == '\t' || c == '\n' || c == '\r';
      bool const isMark = c == ',' || c == ':' || c == '}' || c == ']';
      if (!isBlank && !isMark && !inWord_) {
         token_ = here_;
      }
      inText_ = c == '"';
      inWord_ = !isBlank && !isMark && !inText_ && c != '{' && c != '[';
   }
   JsonPlace token() const { return token_; }
   JsonPlace here() const { return here_.column == 0 ? JsonPlace{here_.line, 1} : here_; }

 private:
   JsonPlace here_{1, 0};
   JsonPlace token_;
   bool inText_ = false;
   bool escaped_ = false;
   bool inWord_ = false;
};

/// Hands out characters one by one and tells the follower of each.
class Characters {
 public:
   using value_type = char;
   using difference_type = std::ptrdiff_t;
   using pointer = char const*;
   using reference = char const&;
   using iterator_category = std::input_iterator_tag;

   Characters(char const* at, Follower* follower) : at_(at), follower_(follower) {}
   char const& operator*() const { return *at_; }
   Characters& operator++() {
      follower_->take(*at_++);
      return *this;
   }
   bool operator==(Characters const& other) const { return at_ == other.at_; }
   bool operator!=(Characters const& other) const { return at_ != other.at_; }

 private:
   char const* at_;
   Follower* follower_;
};

/// The parser's text without its own account of place and kind.
std::string plainReason(std::string const& what) {
   std::size_t const column = what.find("column ");
   std::size_t const colon = column == std::string::npos ? column : what.find(": ", column);
   std::size_t const bracket = what.find("] ");
   return colon != std::string::npos     ? what.substr(colon + 2)
          : bracket != std::string::npos ? what.substr(bracket + 2)
                                         : what;
}

class Builder : public nlohmann::json_sax<nlohmann::json> {
 public:
   explicit Builder(Follower const& follower) : follower_(follower) {}

   bool null() override {
      added(JsonKind::null);
      return true;
   }
   bool boolean(bool value) override {
      added(JsonKind::boolean).boolean = value;
      return true;
   }
   bool number_integer(number_integer_t value) override {
      added(JsonKind::number).number = static_cast<double>(value);
      return true;
   }
   bool number_unsigned(number_unsigned_t value) override {
      added(JsonKind::number).number = static_cast<double>(value);
      return true;
   }
   bool number_float(number_float_t value, string_t const&) override {
      added(JsonKind::number).number = value;
      return true;
   }
   bool string(string_t& value) override {
      added(JsonKind::text).text = value;
      return true;
   }
   bool binary(binary_t&) override { return false; }
   bool start_object(std::size_t) override { return opened(JsonKind::object); }
   bool start_array(std::size_t) override { return opened(JsonKind::list); }
   bool end_object() override { return closed(); }
   bool end_array() override { return closed(); }
   bool key(string_t& value) override {
      open_.back()->members.push_back({value, follower_.token(), {}});
      return true;
   }
   bool parse_error(std::size_t, std::string const&,
                    nlohmann::detail::exception const& error) override {
      throw JsonError(follower_.here(), plainReason(error.what()));
   }

   JsonNode root;

 private:
   JsonNode& added(JsonKind kind) {
      JsonNode* node = &root;
      if (!open_.empty() && open_.back()->kind == JsonKind::object) {
         node = &open_.back()->members.back().value;
      } else if (!open_.empty()) {
         node = &open_.back()->elements.emplace_back();
      }
      node->kind = kind;
      node->place = follower_.token();
      return *node;
   }
   bool opened(JsonKind kind) {
      // Nodes stay where they are while they are open: only the innermost one gets members.
      JsonNode& node = added(kind);
      if (open_.size() == deepest) {
         throw JsonError(node.place, "objects and lists are nested too deeply");
      }
      open_.push_back(&node);
      return true;
   }
   bool closed() {
      open_.pop_back();
      return true;
   }

   Follower const& follower_;
   std::vector<JsonNode*> open_;
};

} // namespace

char const* jsonKindText(JsonKind kind) {
   switch (kind) {
   case JsonKind::null:
      return "null";
   case JsonKind::boolean:
      return "true or false";
   case JsonKind::number:
      return "a number";
   case JsonKind::text:
      return "a text";
   case JsonKind::list:
      return "a list";
   case JsonKind::object:
      return "an object";
   }
   return "nothing";
}

JsonNode jsonDocument(std::string_view text) {
   Follower follower;
   Builder builder(follower);
   Characters const begin(text.data(), &follower);
   Characters const end(text.data() + text.size(), &follower);
   nlohmann::json::sax_parse(begin, end, &builder);
   return std::move(builder.root);
}

} // namespace Host
