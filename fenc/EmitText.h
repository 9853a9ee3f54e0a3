// What all emitters share: a buffer of indented lines, and how types of the model read in C++.
#pragma once

#include <fenc/Model.h>

#include <string>
#include <string_view>
#include <vector>

namespace Fenc {

/// Text that grows line by line. Knows nothing of C++ but its indentation.
class EmitText {
 public:
   /// Adds one line at the present depth; an empty one without blanks.
   void line(std::string_view text = {});
   /// Adds a line and goes one level deeper.
   void open(std::string_view text);
   /// Comes one level back and adds a line.
   void close(std::string_view text);
   /// An access label, which stands two columns before its members.
   void label(std::string_view text);
   /// Documentation lines with slashes.
   void documentation(std::vector<std::string> const& lines);
   /// Adds text as it is.
   void verbatim(std::string_view text);
   /// Adds an empty line unless the last one is empty already or opened a block.
   void gap();

   std::string const& text() const { return text_; }

 private:
   std::string text_;
   int depth_ = 0;
   bool opened_ = false;
};

/// A text as a C++ literal with its quotes.
std::string quoted(std::string const& text);

/// The type as an attribute stores it and an accessor returns it, such as "Fen::String8",
/// "Fen::Ptr<Controller::MountSmData const>" or "Controller::MountSm*".
std::string valueType(SignatureType const& type);
std::string valueType(Attribute const& attribute);
/// The type as an operation or a slot takes it: texts and numbers by value, all else by reference.
std::string signatureType(SignatureType const& type);
/// A key as a slot takes it.
std::string slotKeyType(Type const& key);
/// The type as an accessor or constructor takes it: texts by reference, too.
std::string parameterType(Attribute const& attribute);
/// A key as an accessor takes it.
std::string keyParameterType(Type const& key);
/// The initial value of a scalar as it stands behind `=`, empty when the type's own default is
/// meant.
std::string initialValue(Attribute const& attribute);

/// `Fen::Ptr<T>`.
std::string pointerTo(Type const& type, bool constTarget = false);
/// Attributes whose value is a counted pointer.
bool isPointer(Attribute const& attribute);
/// The name of a type as reflection shows it, such as "Fen::String" or "Controller::MountState".
std::string reflectedName(Type const& type);

} // namespace Fenc
