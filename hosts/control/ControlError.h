/// Why a request at a control socket is refused: a word for programs, one line for people, and what
/// they can do about it.
#pragma once

#include <stdexcept>
#include <string>

namespace Host {

/// The words are part of the protocol, see docs/control.md.
class ControlError : public std::runtime_error {
 public:
   ControlError(char const* word, std::string const& text, std::string hint = "")
      : runtime_error(text), word_(word), hint_(std::move(hint)) {}

   char const* word() const { return word_; }
   /// May be empty.
   std::string const& hint() const { return hint_; }

 private:
   char const* word_;
   std::string hint_;
};

} // namespace Host
