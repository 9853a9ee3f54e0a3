/// How a site is described: the bytes of a descriptor, as TraceLayout.h tells them.
#include <gantry/runtime/ringscribe/MsgDesc.h>

#include <gantry/runtime/fen/Assert.h>

#include <algorithm>
#include <cstring>
#include <span>

namespace RingScribe {

namespace {

constexpr std::size_t lengthMax = tracePieceArgument - 1;

std::size_t letterBytes(Letter letter) {
   switch (letter) {
   case Letter::string:
   case Letter::word16:
      return 2;
   case Letter::word32:
   case Letter::ipv4:
      return 4;
   case Letter::flag:
      return 1;
   }
   return 0;
}

void append16(std::string& to, std::size_t value) {
   std::uint16_t const word = static_cast<std::uint16_t>(value);
   to.append(reinterpret_cast<char const*>(&word), sizeof word);
}

} // namespace

void MsgFormatString::put(Letter letter) {
   FEN_ASSERT(letters_.size() < traceArgumentsMax, "a trace message has at most 16 arguments");
   letters_.push_back(static_cast<char>(letter));
   fixedBytes_ += letterBytes(letter);
   stringCount_ += letter == Letter::string ? 1 : 0;
}

MsgDesc::MsgDesc(Fen::Ptr<TraceFile> const& traceFile, char const* file, std::uint32_t line)
   : traceFile_(traceFile), file_(file), line_(line), msgId_(traceFile->msgIdNew()) {}

MsgDesc& MsgDesc::operator<<(std::string_view piece) {
   piece = piece.substr(0, lengthMax);
   append16(pieces_, piece.size());
   pieces_.append(piece);
   ++pieceCount_;
   return *this;
}

MsgDesc& MsgDesc::operator<<(Varg) {
   append16(pieces_, tracePieceArgument);
   ++pieceCount_;
   return *this;
}

void MsgDesc::finish() {
   std::string_view const letters = formatString_.letters();
   std::string_view const file = file_.substr(0, lengthMax);
   TraceDescriptorHead head{};
   std::size_t const bytes = sizeof head + file.size() + letters.size() + pieces_.size();
   head.bytes = static_cast<std::uint32_t>((bytes + traceUnit - 1) & ~(traceUnit - 1));
   head.line = line_;
   head.id = static_cast<std::uint16_t>(msgId_);
   head.fileLength = static_cast<std::uint16_t>(file.size());
   head.letterCount = static_cast<std::uint8_t>(letters.size());
   head.level = level_;
   head.pieceCount = pieceCount_;
   std::string whole(reinterpret_cast<char const*>(&head), sizeof head);
   whole.append(file).append(letters).append(pieces_).resize(head.bytes);
   if (traceFile_->msgIdIsRefused(msgId_) ||
       !traceFile_->descriptorIs(std::as_bytes(std::span(whole)))) {
      traceFile_->msgIdRefused(msgId_);
      return;
   }
   if (formatString_.stringCount() != 0) {
      traceFile_->stringBytesMaxIs(msgId_, (traceArgumentBytesMax - formatString_.fixedBytes()) /
                                              formatString_.stringCount());
   }
}

} // namespace RingScribe
