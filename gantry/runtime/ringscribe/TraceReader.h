/// Reads the messages of a trace file, whole ones only and in order, also while they are written
/// and after the writer was killed at any point. Any bytes at all may stand in the file: they are
/// refused or read, in time and memory bounded by the file's size. Owned by a tool or a test; any
/// one thread.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/ringscribe/TraceLayout.h>
#include <gantry/runtime/ringscribe/TraceSource.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace RingScribe {

/// A file cannot be read as a trace. The text is one line that says why and what to do.
class GANTRY_EXPORT TraceReadError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
   ~TraceReadError() override;
};

/// One message, ready for people.
struct TraceMessage {
   /// Wall-clock time in nanoseconds since 1970.
   std::int64_t wallNanoseconds = 0;
   /// Number of the message in its file, from 0; wraps.
   std::uint32_t sequence = 0;
   /// Place of the site.
   std::string_view file;
   std::uint32_t line = 0;
   /// Level of the site, as of a stream trace; 0 when the site is not described.
   std::uint8_t level = 0;
   /// One line; what a terminal should not see is escaped, and "[...]" stands where a string was
   /// cut.
   std::string text;
};

class GANTRY_EXPORT TraceReader {
 public:
   using Visitor = std::function<void(TraceMessage const&)>;

   /// Begins with the oldest message. `name` stands in front of errors; `source` must outlive the
   /// reader. Raises TraceReadError.
   TraceReader(TraceSource const& source, std::string name);

   /// Gives `visitor` every whole message that has come since the last call, oldest first, and
   /// returns their number. Raises TraceReadError when the file makes no sense.
   std::size_t readNew(Visitor const& visitor);

   /// Messages that were overwritten before readNew came to them, since the first call.
   std::uint64_t lost() const { return lost_; }
   /// Sites that trace nothing because the descriptor area was full.
   std::uint64_t sitesRefused() const { return header_.sitesRefused; }
   std::uint64_t writerPid() const { return header_.writerPid; }

 private:
   struct Site {
      std::string file;
      std::uint32_t line = 0;
      std::uint8_t level = 0;
      std::string letters;
      /// Literal pieces; nothing for an argument.
      std::vector<std::optional<std::string>> pieces;
   };

   [[noreturn]] void fail(std::string const& reason) const;
   void readHeader();
   void checkSizes(std::uint64_t fileBytes) const;
   /// Reads the messages from position `from` up to `to` into the image of the ring.
   void readRing(std::uint64_t from, std::uint64_t to);
   void readPiece(std::uint64_t offset, std::uint64_t bytes);
   /// One try at the new messages among the newest `window` bytes; false when the writer was faster
   /// or nothing there makes sense.
   bool tryRead(std::uint64_t window, Visitor const& visitor, std::size_t& count);
   /// Gives the messages from `from` to `last` to the visitor.
   std::size_t visit(std::uint64_t from, std::uint64_t last, Visitor const& visitor);
   /// The message at `position`, which lies before `end`; nothing when none can be there.
   std::optional<TraceMsgHead> headAt(std::uint64_t position, std::uint64_t end) const;
   /// The oldest message from `floor` on that leads to the one at `last` without a break.
   std::optional<std::uint64_t> oldest(std::uint64_t last, std::uint64_t floor,
                                       std::uint64_t end) const;
   /// True when messages lead without a break from `from` to `last`.
   bool leads(std::uint64_t from, std::uint64_t last, std::uint64_t end) const;
   std::span<std::byte const> argumentsAt(std::uint64_t position, TraceMsgHead const& head) const;

   void readDescriptors();
   void addDescriptor(TraceDescriptorHead const& head, std::span<std::byte const> body);
   void readAnchors();
   std::int64_t wallNanoseconds(std::uint64_t ticks);
   TraceMessage messageOf(TraceMsgHead const& head, std::span<std::byte const> arguments);

   TraceSource const& source_;
   std::string name_;
   TraceHeader header_{};
   bool sizesChecked_ = false;
   std::vector<std::byte> image_;
   std::unordered_map<std::uint16_t, Site> sites_;
   std::uint64_t descriptorsRead_ = 0;
   std::vector<TraceAnchor> anchors_;
   bool started_ = false;
   /// Position of the next message to read, and its number.
   std::uint64_t next_ = 0;
   std::uint32_t nextSequence_ = 0;
   std::uint64_t lost_ = 0;
   std::int64_t lastWallNanoseconds_ = INT64_MIN;
};

} // namespace RingScribe
