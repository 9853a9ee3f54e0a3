// Reads the tokens of one schema file into its syntax tree.
//
// Reports every statement that it cannot read and goes on behind it. Names are checked against the
// reserved words here; what they mean is the Resolver's business.
#pragma once

#include <fenc/Diagnostics.h>
#include <fenc/Lexer.h>
#include <fenc/Syntax.h>

#include <memory>
#include <vector>

namespace Fenc {

/// Never throws and never returns null; what could not be read is missing from the tree.
std::unique_ptr<FileSyntax> parse(std::vector<Token> const& tokens, Diagnostics& diagnostics);

/// True for a word that no declared name may be: a keyword of C++, in which the code is written.
bool isReservedWord(std::string const& word);

} // namespace Fenc
