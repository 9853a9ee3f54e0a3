/// How a reader finds what is whole in a ring that somebody may be writing.
#include <gantry/runtime/ringscribe/TraceReader.h>

#include <gantry/runtime/ringscribe/MsgDesc.h>
#include <gantry/runtime/ringscribe/TraceClock.h>
#include <gantry/runtime/ringscribe/TraceText.h>

#include <algorithm>
#include <cstring>

namespace RingScribe {

namespace {

/// Positions above this are no positions; below it they add without running over.
constexpr std::uint64_t positionMax = std::uint64_t{1} << 62;
/// How often a reader that the writer laps tries again, each time for half as many messages.
constexpr unsigned triesMax = 16;

} // namespace

TraceReadError::~TraceReadError() = default;

TraceReader::TraceReader(TraceSource const& source, std::string name)
   : source_(source), name_(std::move(name)) {
   std::uint64_t const fileBytes = source_.bytes();
   char magic[sizeof traceMagic];
   if (!source_.read(0, std::as_writable_bytes(std::span(magic))) ||
       std::memcmp(magic, traceMagic, sizeof magic) != 0) {
      fail("not a trace file; name the file that a host traces to");
   }
   if (fileBytes < traceHeaderBytes) {
      fail("truncated trace file; copy the whole file and try again");
   }
   readHeader();
   checkSizes(fileBytes);
   sizesChecked_ = true;
   next_ = header_.ringBytes;
}

void TraceReader::fail(std::string const& reason) const {
   throw TraceReadError(name_ + ": " + reason);
}

void TraceReader::readHeader() {
   TraceHeader now;
   if (!source_.read(0, std::as_writable_bytes(std::span(&now, 1)))) {
      fail("truncated trace file; copy the whole file and try again");
   }
   // The sizes never change; all that is done with the rest relies on them.
   if (sizesChecked_ && std::memcmp(&now, &header_, offsetof(TraceHeader, firstAnchor)) != 0) {
      fail("trace file was overwritten while it was read; try again");
   }
   header_ = now;
}

void TraceReader::checkSizes(std::uint64_t fileBytes) const {
   if (header_.byteOrder != traceByteOrder) {
      fail("trace file of a machine with another byte order; read it on such a machine");
   }
   if (header_.version != traceVersion) {
      fail("trace file of version " + std::to_string(header_.version) +
           "; read it with the tool of the host that wrote it");
   }
   if (fileBytes < header_.fileBytes) {
      fail("truncated trace file of " + std::to_string(fileBytes) + " bytes instead of " +
           std::to_string(header_.fileBytes) + "; copy the whole file and try again");
   }
   // Each is bounded first, so that the sum cannot run over.
   bool const sizesFit =
      fileBytes == header_.fileBytes && fileBytes <= traceFileBytesMax &&
      header_.headerBytes == traceHeaderBytes && header_.slackBytes == traceSlackBytes &&
      header_.descriptorBytes <= fileBytes && header_.descriptorBytes % traceUnit == 0 &&
      header_.ringBytes <= fileBytes && header_.ringBytes % traceUnit == 0 &&
      header_.ringBytes >= 2 * traceSlackBytes && header_.ticksPerSecond != 0 &&
      header_.headerBytes + header_.descriptorBytes + header_.ringBytes + header_.slackBytes <=
         fileBytes;
   if (!sizesFit) {
      fail("damaged trace file, its sizes do not fit; remove it and restart its host");
   }
}

void TraceReader::readPiece(std::uint64_t offset, std::uint64_t bytes) {
   std::uint64_t const ring = header_.headerBytes + header_.descriptorBytes;
   if (!source_.read(ring + offset, std::span(image_).subspan(offset, bytes))) {
      fail("truncated trace file; copy the whole file and try again");
   }
}

void TraceReader::readRing(std::uint64_t from, std::uint64_t to) {
   image_.resize(header_.ringBytes + header_.slackBytes);
   std::uint64_t const start = from % header_.ringBytes;
   std::uint64_t const bytes = std::min(to - from, header_.ringBytes);
   // The message that starts last before the ring's end runs on into the slack; the others that
   // are wanted stand at the ring's start.
   readPiece(start, std::min(bytes, image_.size() - start));
   if (start + bytes > header_.ringBytes) {
      readPiece(0, start + bytes - header_.ringBytes);
   }
}

std::optional<TraceMsgHead> TraceReader::headAt(std::uint64_t position, std::uint64_t end) const {
   TraceMsgHead head;
   std::memcpy(&head, image_.data() + position % header_.ringBytes, sizeof head);
   std::uint64_t const bytes = head.units * traceUnit;
   if (bytes < sizeof head || bytes > end - position) {
      return std::nullopt;
   }
   return head;
}

std::optional<std::uint64_t> TraceReader::oldest(std::uint64_t last, std::uint64_t floor,
                                                 std::uint64_t end) const {
   std::optional<TraceMsgHead> head = headAt(last, end);
   if (!head) {
      return std::nullopt;
   }
   std::uint64_t position = last;
   while (head->unitsBefore != 0) {
      std::uint64_t const before = position - head->unitsBefore * traceUnit;
      if (before < floor) {
         break;
      }
      std::optional<TraceMsgHead> const earlier = headAt(before, position);
      if (!earlier || earlier->units != head->unitsBefore ||
          earlier->sequence + 1 != head->sequence) {
         break;
      }
      position = before;
      head = earlier;
   }
   return position;
}

bool TraceReader::leads(std::uint64_t from, std::uint64_t last, std::uint64_t end) const {
   std::uint64_t position = from;
   std::uint32_t sequence = nextSequence_;
   std::uint8_t before = 0;
   while (position <= last) {
      std::optional<TraceMsgHead> const head = headAt(position, position < last ? last : end);
      if (!head || head->sequence != sequence ||
          (position != from && head->unitsBefore != before)) {
         return false;
      }
      if (position == last) {
         return true;
      }
      before = head->units;
      ++sequence;
      position += head->units * traceUnit;
   }
   return false;
}

std::size_t TraceReader::visit(std::uint64_t from, std::uint64_t last, Visitor const& visitor) {
   std::size_t count = 0;
   std::uint64_t position = from;
   while (position <= last) {
      TraceMsgHead head;
      std::byte const* const start = image_.data() + position % header_.ringBytes;
      std::memcpy(&head, start, sizeof head);
      if (count == 0 && started_) {
         lost_ += static_cast<std::uint32_t>(head.sequence - nextSequence_);
      }
      started_ = true;
      position += head.units * traceUnit;
      next_ = position;
      nextSequence_ = head.sequence + 1;
      ++count;
      visitor(messageOf(head, {start + sizeof head, head.units * traceUnit - sizeof head}));
   }
   return count;
}

bool TraceReader::tryRead(std::uint64_t window, Visitor const& visitor, std::size_t& count) {
   readHeader();
   std::uint64_t const last = header_.last;
   std::uint64_t const reserved = header_.reserved;
   std::uint64_t const ringBytes = header_.ringBytes;
   if (last == 0) {
      // Seen from its very first message on.
      started_ = true;
      return true;
   }
   if (started_ && last < next_) {
      return true;
   }
   if (last % traceUnit != 0 || last < ringBytes || last > positionMax || reserved <= last ||
       reserved > positionMax) {
      return false;
   }
   std::uint64_t const end = std::min(reserved, last + traceMsgBytesMax);
   std::uint64_t from = std::max(reserved - ringBytes, end - std::min(window, ringBytes));
   from = std::max(from, next_);
   if (from > last) {
      return false;
   }
   readRing(from, end);
   readHeader();
   if (header_.reserved < ringBytes || header_.reserved > positionMax) {
      return false;
   }
   // What the writer may have overwritten while it was copied does not count.
   std::uint64_t const floor = std::max(from, header_.reserved - ringBytes);
   if (last < floor) {
      return false;
   }
   std::optional<std::uint64_t> start;
   if (started_ && next_ >= floor && leads(next_, last, end)) {
      start = next_;
   } else {
      start = oldest(last, floor, end);
   }
   if (!start) {
      return false;
   }
   readDescriptors();
   readAnchors();
   count = visit(*start, last, visitor);
   return true;
}

std::size_t TraceReader::readNew(Visitor const& visitor) {
   readHeader();
   TraceHeader const before = header_;
   std::uint64_t window = header_.ringBytes;
   for (unsigned attempt = 0; attempt < triesMax; ++attempt) {
      std::size_t count = 0;
      if (tryRead(window, visitor, count)) {
         return count;
      }
      window = std::max<std::uint64_t>(window / 2, traceMsgBytesMax);
   }
   if (header_.last == before.last && header_.reserved == before.reserved) {
      fail("damaged trace file, its newest message makes no sense; remove it and restart its host");
   }
   return 0;
}

void TraceReader::readDescriptors() {
   std::uint64_t const end = std::min(header_.descriptorsEnd, header_.descriptorBytes);
   if (end <= descriptorsRead_) {
      return;
   }
   std::vector<std::byte> bytes(end - descriptorsRead_);
   if (!source_.read(header_.headerBytes + descriptorsRead_, bytes)) {
      fail("truncated trace file; copy the whole file and try again");
   }
   descriptorsRead_ = end;
   std::span<std::byte const> rest(bytes);
   TraceDescriptorHead head;
   while (rest.size() >= sizeof head) {
      std::memcpy(&head, rest.data(), sizeof head);
      if (head.bytes < sizeof head || head.bytes > rest.size()) {
         return;
      }
      addDescriptor(head, rest.subspan(sizeof head, head.bytes - sizeof head));
      rest = rest.subspan(head.bytes);
   }
}

void TraceReader::addDescriptor(TraceDescriptorHead const& head, std::span<std::byte const> body) {
   std::string_view rest(reinterpret_cast<char const*>(body.data()), body.size());
   if (head.fileLength + std::size_t{head.letterCount} > rest.size()) {
      return;
   }
   Site site;
   site.line = head.line;
   site.level = head.level;
   appendPrintable(site.file, rest.substr(0, head.fileLength));
   rest.remove_prefix(head.fileLength);
   site.letters = rest.substr(0, head.letterCount);
   rest.remove_prefix(head.letterCount);
   for (unsigned i = 0; i < head.pieceCount; ++i) {
      std::uint16_t length;
      if (rest.size() < sizeof length) {
         return;
      }
      std::memcpy(&length, rest.data(), sizeof length);
      rest.remove_prefix(sizeof length);
      if (length == tracePieceArgument) {
         site.pieces.emplace_back();
         continue;
      }
      if (length > rest.size()) {
         return;
      }
      appendPrintable(site.pieces.emplace_back(std::in_place).value(), rest.substr(0, length));
      rest.remove_prefix(length);
   }
   sites_.insert_or_assign(head.id, std::move(site));
}

} // namespace RingScribe
