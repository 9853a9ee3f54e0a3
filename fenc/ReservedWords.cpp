// The words that the generated code cannot use as names.

#include <fenc/Parser.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace Fenc {

bool isReservedWord(std::string const& word) {
   static constexpr std::array<std::string_view, 97> words = {
      "alignas",       "alignof",     "and",
      "and_eq",        "asm",         "auto",
      "bitand",        "bitor",       "bool",
      "break",         "case",        "catch",
      "char",          "char16_t",    "char32_t",
      "char8_t",       "class",       "co_await",
      "co_return",     "co_yield",    "compl",
      "concept",       "const",       "const_cast",
      "consteval",     "constexpr",   "constinit",
      "continue",      "decltype",    "default",
      "delete",        "do",          "double",
      "dynamic_cast",  "else",        "enum",
      "explicit",      "export",      "extern",
      "false",         "float",       "for",
      "friend",        "goto",        "if",
      "inline",        "int",         "long",
      "mutable",       "namespace",   "new",
      "noexcept",      "not",         "not_eq",
      "nullptr",       "operator",    "or",
      "or_eq",         "private",     "protected",
      "public",        "register",    "reinterpret_cast",
      "requires",      "return",      "short",
      "signed",        "sizeof",      "static",
      "static_assert", "static_cast", "struct",
      "switch",        "template",    "this",
      "thread_local",  "throw",       "true",
      "try",           "typedef",     "typeid",
      "typename",      "union",       "unsigned",
      "using",         "virtual",     "void",
      "volatile",      "wchar_t",     "while",
      "xor",           "xor_eq",      "errno",
      "assert",        "NULL",        "EOF",
      "stdout"};
   return std::find(words.begin(), words.end(), word) != words.end();
}

} // namespace Fenc
