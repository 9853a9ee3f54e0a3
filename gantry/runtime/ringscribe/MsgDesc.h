/// The description of one message site: where it stands, which arguments its messages carry and the
/// text that they are printed in. Made on a site's first use, written into the descriptor area of
/// the trace file by finish(), then dropped. Lives on the activity loop's thread.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/ringscribe/TraceFile.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace RingScribe {

/// The kinds of argument, by the letters in which a descriptor names them.
enum class Letter : char {
   string = 'p',
   word32 = 'i',
   word16 = 's',
   flag = 'b',
   ipv4 = 'I',
};

/// Stands for the next argument in a message's text.
struct Varg {};

/// Arguments that one message may have.
constexpr std::size_t traceArgumentsMax = 16;

/// The arguments of a message, as letters.
class GANTRY_EXPORT MsgFormatString {
 public:
   /// Adds an argument behind those there are; at most traceArgumentsMax.
   void put(Letter letter);
   std::string_view letters() const { return letters_; }
   /// Bytes of a message without the bytes of its strings.
   std::size_t fixedBytes() const { return fixedBytes_; }
   std::size_t stringCount() const { return stringCount_; }

 private:
   std::string letters_;
   std::size_t fixedBytes_ = 0;
   std::size_t stringCount_ = 0;
};

class GANTRY_EXPORT MsgDesc {
 public:
   /// Takes the site's identifier from the file. `file` and `line` say where the site stands.
   MsgDesc(Fen::Ptr<TraceFile> const& traceFile, char const* file, std::uint32_t line);
   MsgDesc(MsgDesc const&) = delete;
   MsgDesc& operator=(MsgDesc const&) = delete;

   /// The identifier, never zero.
   std::uint32_t msgId() const { return msgId_; }
   /// From 0, for what everybody has to see, to 9; without a word 0.
   void levelIs(std::uint8_t level) { level_ = level; }
   MsgFormatString& formatString() { return formatString_; }
   /// Adds a literal piece of the text.
   MsgDesc& operator<<(std::string_view piece);
   /// Adds a place for the next argument.
   MsgDesc& operator<<(Varg);
   /// Writes the description into the file. When there is no room, the identifiers that were
   /// registered with it become those of a refused site, and the file counts the site.
   void finish();

 private:
   Fen::Ptr<TraceFile> traceFile_;
   std::string_view file_;
   std::uint32_t line_;
   std::uint32_t msgId_;
   std::uint8_t level_ = 0;
   std::uint16_t pieceCount_ = 0;
   MsgFormatString formatString_;
   std::string pieces_;
};

} // namespace RingScribe
