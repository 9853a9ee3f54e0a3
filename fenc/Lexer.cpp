// The lexer of the schema language: one pass over bytes that were found to be UTF-8 first.

#include <fenc/Lexer.h>

#include <cstddef>
#include <utility>

namespace Fenc {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isWordStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isWord(char c) { return isWordStart(c) || isDigit(c); }
bool isContinuation(unsigned char c) { return (c & 0xC0u) == 0x80u; }

/// Length of the well-formed UTF-8 sequence at `offset`, 0 when there is none. Overlong forms,
/// surrogates and values above U+10FFFF are not well formed.
std::size_t sequenceLength(std::string_view text, std::size_t offset) {
   auto byte = [&](std::size_t i) {
      return offset + i < text.size() ? static_cast<unsigned char>(text[offset + i]) : 0u;
   };
   unsigned const first = byte(0);
   if (first < 0x80u) {
      return 1;
   }
   std::size_t const length = first >= 0xC2u && first <= 0xDFu   ? 2
                              : first >= 0xE0u && first <= 0xEFu ? 3
                              : first >= 0xF0u && first <= 0xF4u ? 4
                                                                 : 0;
   for (std::size_t i = 1; i < length; ++i) {
      if (!isContinuation(static_cast<unsigned char>(byte(i)))) {
         return 0;
      }
   }
   bool const overlong = (first == 0xE0u && byte(1) < 0xA0u) || (first == 0xF0u && byte(1) < 0x90u);
   bool const beyond = (first == 0xEDu && byte(1) > 0x9Fu) || (first == 0xF4u && byte(1) > 0x8Fu);
   return overlong || beyond ? 0 : length;
}

class Lexer {
 public:
   Lexer(std::string_view text, std::uint32_t file, Diagnostics& diagnostics)
      : text_(text), diagnostics_(diagnostics) {
      at_.file = file;
   }

   std::vector<Token> run() {
      if (encodingIsValid()) {
         while (next()) {
         }
      }
      Token end;
      end.at = at_;
      end.documentation = std::move(documentation_);
      tokens_.push_back(std::move(end));
      return std::move(tokens_);
   }

 private:
   char peek(std::size_t ahead = 0) const {
      return offset_ + ahead < text_.size() ? text_[offset_ + ahead] : '\0';
   }
   bool atEnd() const { return offset_ >= text_.size(); }
   bool startsWith(std::string_view prefix) const {
      return text_.substr(offset_, prefix.size()) == prefix;
   }

   void skip(std::size_t count = 1) {
      for (; count > 0 && !atEnd(); --count) {
         char const c = text_[offset_++];
         if (c == '\n') {
            ++at_.line;
            at_.column = 1;
         } else if (!isContinuation(static_cast<unsigned char>(c))) {
            ++at_.column;
         }
      }
   }

   /// A file that is not UTF-8 throughout is not read at all: what a wrong byte was meant to be
   /// cannot be told, and it would reach the generated code.
   bool encodingIsValid() {
      while (!atEnd()) {
         std::size_t const length = sequenceLength(text_, offset_);
         if (length == 0) {
            diagnostics_.error(at_, "the file is not valid UTF-8 here");
            return false;
         }
         skip(length);
      }
      offset_ = 0;
      at_.line = 1;
      at_.column = 1;
      return true;
   }

   void push(TokenKind kind, std::string text, Position at) {
      tokens_.push_back({kind, std::move(text), at, std::move(documentation_)});
      documentation_.clear();
   }

   bool next() {
      while (!atEnd() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r')) {
         skip();
      }
      if (atEnd()) {
         return false;
      }
      if (startsWith("//")) {
         lineComment();
      } else if (startsWith("/*")) {
         blockComment();
      } else if (startsWith("%{")) {
         verbatim();
      } else if (isWordStart(peek())) {
         word();
      } else if (isDigit(peek())) {
         number();
      } else if (peek() == '"') {
         quoted();
      } else if (peek() == '<' && headerMayFollow()) {
         header();
      } else {
         punctuation();
      }
      return true;
   }

   void lineComment() {
      bool const isDocumentation = startsWith("///") && !startsWith("////");
      skip(isDocumentation ? 3 : 2);
      std::size_t const begin = offset_;
      while (!atEnd() && peek() != '\n') {
         skip();
      }
      if (isDocumentation) {
         std::string line(text_.substr(begin, offset_ - begin));
         if (!line.empty() && line.back() == '\r') {
            line.pop_back();
         }
         // A backslash at the end would join the next line of the generated code to the comment.
         while (!line.empty() && (line.back() == '\\' || line.back() == ' ')) {
            line.pop_back();
         }
         if (!line.empty() && line.front() == ' ') {
            line.erase(0, 1);
         }
         documentation_.push_back(std::move(line));
      }
   }

   void blockComment() {
      Position const start = at_;
      skip(2);
      while (!atEnd() && !startsWith("*/")) {
         skip();
      }
      if (atEnd()) {
         diagnostics_.error(start, "unterminated comment");
         return;
      }
      skip(2);
   }

   void verbatim() {
      Position const start = at_;
      skip(2);
      std::size_t const begin = offset_;
      while (!atEnd() && !startsWith("%}")) {
         skip();
      }
      if (atEnd()) {
         diagnostics_.error(start, "unterminated verbatim block, '%}' is missing");
         return;
      }
      std::string text(text_.substr(begin, offset_ - begin));
      skip(2);
      push(TokenKind::verbatim, std::move(text), start);
   }

   void word() {
      Position const start = at_;
      std::size_t const begin = offset_;
      while (isWord(peek())) {
         skip();
      }
      push(TokenKind::identifier, std::string(text_.substr(begin, offset_ - begin)), start);
   }

   void number() {
      Position const start = at_;
      std::size_t const begin = offset_;
      TokenKind kind = TokenKind::integer;
      if (peek() == '0' && (peek(1) == 'x' || peek(1) == 'X')) {
         skip(2);
      }
      while (isWord(peek())) {
         skip();
      }
      if (peek() == '.' && isDigit(peek(1))) {
         kind = TokenKind::real;
         skip();
         while (isDigit(peek())) {
            skip();
         }
         if (isWordStart(peek())) {
            diagnostics_.error(at_, "a number may not run into a word");
            while (isWord(peek())) {
               skip();
            }
         }
      }
      std::string text(text_.substr(begin, offset_ - begin));
      if (kind == TokenKind::integer && !isInteger(text)) {
         diagnostics_.error(start, "'" + text + "' is not a number");
         text.assign(1, '0');
      }
      push(kind, std::move(text), start);
   }

   static bool isInteger(std::string const& text) {
      bool const hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
      if (!hex && text.size() > 1 && text[0] == '0') {
         return false; // would be octal in the generated code
      }
      for (std::size_t i = hex ? 2 : 0; i < text.size(); ++i) {
         char const c = text[i];
         bool const hexLetter = (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
         if (!isDigit(c) && !(hex && hexLetter)) {
            return false;
         }
      }
      return true;
   }

   void quoted() {
      Position const start = at_;
      skip();
      std::string text;
      while (!atEnd() && peek() != '"' && peek() != '\n') {
         if (peek() == '\\') {
            escape(text);
         } else {
            text += peek();
            skip();
         }
      }
      if (peek() != '"' || atEnd()) {
         diagnostics_.error(start, "unterminated text, '\"' is missing");
      } else {
         skip();
      }
      push(TokenKind::string, std::move(text), start);
   }

   void escape(std::string& text) {
      Position const start = at_;
      skip();
      char const c = peek();
      if (c == '"' || c == '\\') {
         text += c;
      } else if (c == 'n') {
         text += '\n';
      } else if (c == 't') {
         text += '\t';
      } else {
         diagnostics_.error(start, "unknown escape, a text may hold \\\", \\\\, \\n and \\t");
      }
      if (c != '\n') {
         skip();
      }
   }

   /// `<` opens a header's name only where one can stand, so that the language may use it.
   bool headerMayFollow() const {
      return !tokens_.empty() && tokens_.back().kind == TokenKind::identifier &&
             (tokens_.back().text == "include" || tokens_.back().text == "from");
   }

   void header() {
      Position const start = at_;
      std::size_t const begin = offset_;
      while (!atEnd() && peek() != '>' && peek() != '\n') {
         skip();
      }
      if (atEnd() || peek() != '>') {
         diagnostics_.error(start, "unterminated header name, '>' is missing");
         push(TokenKind::header, "<>", start);
         return;
      }
      skip();
      push(TokenKind::header, std::string(text_.substr(begin, offset_ - begin)), start);
   }

   void punctuation() {
      Position const start = at_;
      for (std::string_view two : {"=>", "->", "::"}) {
         if (startsWith(two)) {
            skip(2);
            push(TokenKind::punctuation, std::string(two), start);
            return;
         }
      }
      if (std::string_view("{}()[]:;,.=-").find(peek()) != std::string_view::npos) {
         std::string text(1, peek());
         skip();
         push(TokenKind::punctuation, std::move(text), start);
         return;
      }
      diagnostics_.error(start, "unexpected character");
      skip(sequenceLength(text_, offset_));
   }

   std::string_view text_;
   Diagnostics& diagnostics_;
   std::size_t offset_ = 0;
   Position at_;
   std::vector<Token> tokens_;
   std::vector<std::string> documentation_;
};

} // namespace

std::vector<Token> tokenize(std::string_view text, std::uint32_t file, Diagnostics& diagnostics) {
   return Lexer(text, file, diagnostics).run();
}

} // namespace Fenc
