/// How a reader turns a message's bytes into text and its ticks into wall-clock time.
#include <gantry/runtime/ringscribe/MsgDesc.h>
#include <gantry/runtime/ringscribe/TraceClock.h>
#include <gantry/runtime/ringscribe/TraceReader.h>
#include <gantry/runtime/ringscribe/TraceText.h>

#include <algorithm>
#include <cstring>

namespace RingScribe {

namespace {

/// Takes the arguments of one message off its bytes, in order.
class Arguments {
 public:
   explicit Arguments(std::span<std::byte const> bytes) : rest_(bytes) {}

   /// Appends the next argument. Returns false when there are no bytes for it.
   bool append(std::string& to, char letter) {
      switch (static_cast<Letter>(letter)) {
      case Letter::string:
         return appendString(to);
      case Letter::word32:
         return appendNumber<std::uint32_t>(to);
      case Letter::word16:
         return appendNumber<std::uint16_t>(to);
      case Letter::flag: {
         std::uint8_t value;
         if (!take(&value, sizeof value)) {
            return false;
         }
         to += value != 0 ? "true" : "false";
         return true;
      }
      case Letter::ipv4: {
         std::uint8_t bytes[4];
         if (!take(bytes, sizeof bytes)) {
            return false;
         }
         for (unsigned i = 0; i < 4; ++i) {
            to += (i != 0 ? "." : "") + std::to_string(bytes[i]);
         }
         return true;
      }
      }
      return false;
   }

 private:
   bool take(void* into, std::size_t bytes) {
      if (rest_.size() < bytes) {
         return false;
      }
      std::memcpy(into, rest_.data(), bytes);
      rest_ = rest_.subspan(bytes);
      return true;
   }

   template <class T>
   bool appendNumber(std::string& to) {
      T value;
      if (!take(&value, sizeof value)) {
         return false;
      }
      to += std::to_string(value);
      return true;
   }

   bool appendString(std::string& to) {
      std::uint16_t word;
      if (!take(&word, sizeof word)) {
         return false;
      }
      std::size_t const length = word & ~unsigned{traceStringCut};
      if (length > rest_.size()) {
         return false;
      }
      appendPrintable(to, {reinterpret_cast<char const*>(rest_.data()), length});
      rest_ = rest_.subspan(length);
      if ((word & traceStringCut) != 0) {
         to += "[...]";
      }
      return true;
   }

   std::span<std::byte const> rest_;
};

/// Ticks a second between two anchors, or `nominal` when the wall clock was set between them.
double rateBetween(TraceAnchor const& from, TraceAnchor const& to, double nominal) {
   double const ticks = static_cast<double>(to.ticks) - static_cast<double>(from.ticks);
   double const wall =
      static_cast<double>(to.wallNanoseconds) - static_cast<double>(from.wallNanoseconds);
   if (ticks <= 0 || wall <= 0) {
      return nominal;
   }
   double const rate = ticks / wall * static_cast<double>(nanosecondsPerSecond);
   return rate > nominal * 0.999 && rate < nominal * 1.001 ? rate : nominal;
}

/// `anchor` and `ticks` may be anything at all: the result is then as meaningless, but a number.
std::int64_t wallFrom(TraceAnchor const& anchor, std::uint64_t ticks, double rate) {
   constexpr double most = 9e18;
   double const apart = static_cast<double>(static_cast<std::int64_t>(ticks - anchor.ticks)) *
                        (static_cast<double>(nanosecondsPerSecond) / rate);
   std::int64_t const nanoseconds = static_cast<std::int64_t>(std::clamp(apart, -most, most));
   std::int64_t result;
   if (__builtin_add_overflow(anchor.wallNanoseconds, nanoseconds, &result)) {
      return anchor.wallNanoseconds;
   }
   return result;
}

} // namespace

void TraceReader::readAnchors() {
   anchors_.assign(1, header_.firstAnchor);
   std::uint64_t const count = header_.anchorCount;
   // The slot that the writer fills next may be half filled.
   std::uint64_t const oldest = count < traceAnchors ? 0 : count - traceAnchors + 1;
   for (std::uint64_t i = oldest; i < count; ++i) {
      anchors_.push_back(header_.anchors[i % traceAnchors]);
   }
}

std::int64_t TraceReader::wallNanoseconds(std::uint64_t ticks) {
   double const nominal = static_cast<double>(header_.ticksPerSecond);
   std::size_t at = anchors_.size() - 1;
   while (at != 0 && static_cast<std::int64_t>(ticks - anchors_[at].ticks) < 0) {
      --at;
   }
   // Between two anchors their own rate leads from one to the other; behind the newest the best is
   // that of the whole time so far.
   double const rate = at + 1 < anchors_.size()
                          ? rateBetween(anchors_[at], anchors_[at + 1], nominal)
                          : rateBetween(anchors_.front(), anchors_.back(), nominal);
   std::int64_t wall = wallFrom(anchors_[at], ticks, rate);
   // Rates differ a little from anchor to anchor; that must not make time run backward. Only when
   // the wall clock was really set back it may.
   std::int64_t back;
   if (!__builtin_sub_overflow(lastWallNanoseconds_, wall, &back) && back > 0 && back < 1'000'000) {
      wall = lastWallNanoseconds_;
   }
   lastWallNanoseconds_ = wall;
   return wall;
}

TraceMessage TraceReader::messageOf(TraceMsgHead const& head,
                                    std::span<std::byte const> arguments) {
   TraceMessage message;
   message.wallNanoseconds = wallNanoseconds(head.ticks);
   message.sequence = head.sequence;
   auto const found = sites_.find(head.id);
   if (found == sites_.end()) {
      message.text = "message of site " + std::to_string(head.id) + ", which is not described";
      return message;
   }
   Site const& site = found->second;
   message.file = site.file;
   message.line = site.line;
   message.level = site.level;
   Arguments values(arguments);
   std::size_t letter = 0;
   for (std::optional<std::string> const& piece : site.pieces) {
      if (piece) {
         message.text += *piece;
      } else if (letter == site.letters.size() ||
                 !values.append(message.text, site.letters[letter++])) {
         message.text += "[damaged]";
         break;
      }
   }
   return message;
}

} // namespace RingScribe
