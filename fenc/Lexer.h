// Splits the text of a schema file into tokens.
//
// A pure function of the text: it checks the encoding, drops comments, keeps documentation
// comments (`///`) with the token that they stand before, and reports what it cannot read. It
// never stops early, so that the parser can report more of the same file.
#pragma once

#include <fenc/Diagnostics.h>

#include <string>
#include <string_view>
#include <vector>

namespace Fenc {

enum class TokenKind {
   identifier,
   integer,
   real,
   string,      ///< `text` holds the characters between the quotes, escapes resolved
   header,      ///< `<path>` behind `include` or `from`; `text` holds the path with its brackets
   verbatim,    ///< `%{ ... %}`; `text` holds what stands between
   punctuation, ///< one of `{ } ( ) [ ] : ; , . = =>  -> :: -`
   end,
};

struct Token {
   TokenKind kind = TokenKind::end;
   std::string text;
   Position at;
   std::vector<std::string> documentation; ///< the `///` lines before the token, without slashes
};

/// Never throws. The last token is always of kind `end`.
std::vector<Token> tokenize(std::string_view text, std::uint32_t file, Diagnostics& diagnostics);

} // namespace Fenc
