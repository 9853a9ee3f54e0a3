/// The layout of a trace file, shared by the one who writes it and those who read it. Plain data in
/// the byte order of the machine; docs/trace.md tells the rules under which it is written and read.
#pragma once

#include <cstddef>
#include <cstdint>

namespace RingScribe {

/// A moment read from both clocks: the ticks that messages carry, and the wall clock.
struct TraceAnchor {
   std::uint64_t ticks;
   std::int64_t wallNanoseconds;
};

constexpr char traceMagic[8] = {'R', 'I', 'N', 'G', 'S', 'C', 'R', 'B'};
constexpr std::uint32_t traceVersion = 2;
constexpr std::uint32_t traceByteOrder = 0x01020304;
constexpr std::size_t traceAnchors = 64;

/// The first page of a trace file. Positions count the bytes of all messages ever written and never
/// come back; position P lies at offset P % ringBytes of the ring. The first message stands at
/// position ringBytes, so 0 is the position of no message.
struct TraceHeader {
   char magic[8];
   std::uint32_t version;
   std::uint32_t byteOrder;
   std::uint64_t fileBytes;
   std::uint64_t headerBytes;
   std::uint64_t descriptorBytes;
   std::uint64_t ringBytes;
   std::uint64_t slackBytes;
   std::uint64_t ticksPerSecond;
   TraceAnchor firstAnchor;
   std::uint64_t writerPid;
   std::uint64_t unused0[5];

   /// What changes with every message, in one cache line.
   /// Position of the newest whole message, 0 for none. Before `reserved`, because whoever copies
   /// the header in the order of its bytes must not get a newer one than his `reserved`.
   std::uint64_t last;
   /// Bytes before this position, less ringBytes, may be overwritten already.
   std::uint64_t reserved;
   /// Bytes of the descriptor area that hold whole descriptors.
   std::uint64_t descriptorsEnd;
   /// Sites that found no room in the descriptor area and therefore trace nothing.
   std::uint64_t sitesRefused;
   /// Anchors ever written; anchor N stands in slot N % traceAnchors.
   std::uint64_t anchorCount;
   std::uint64_t unused1[3];

   TraceAnchor anchors[traceAnchors];
};

constexpr std::size_t traceHeaderBytes = 4096;
static_assert(sizeof(TraceHeader) <= traceHeaderBytes);
static_assert(offsetof(TraceHeader, last) == 128);

/// Messages and descriptors begin at multiples of this.
constexpr std::size_t traceUnit = 8;

/// The first bytes of a message; its arguments follow. A string argument is a 16-bit length and the
/// bytes, and the length's top bit says that the string was cut; the others are plain values
/// without alignment.
struct TraceMsgHead {
   std::uint16_t id;
   /// Length of this message with its head, in units; never 0 or 1.
   std::uint8_t units;
   /// Length of the message before this one, in units; 0 in the first message of the file.
   std::uint8_t unitsBefore;
   /// Counts messages, from 0, and wraps.
   std::uint32_t sequence;
   std::uint64_t ticks;
};
static_assert(sizeof(TraceMsgHead) == 16);

constexpr std::size_t traceMsgBytesMax = 255 * traceUnit;
constexpr std::size_t traceArgumentBytesMax = traceMsgBytesMax - sizeof(TraceMsgHead);
constexpr std::uint16_t traceStringCut = 0x8000;
/// Bytes behind the ring into which the one message that starts near its end runs on, so that every
/// message is one piece and the ring needs no filling.
constexpr std::size_t traceSlackBytes = 2048;
static_assert(traceSlackBytes >= traceMsgBytesMax);

/// The first bytes of a descriptor; the file name, the argument letters and the pieces of the text
/// follow. A piece is a 16-bit length and its bytes, or tracePieceArgument for the next argument.
struct TraceDescriptorHead {
   /// Length of this descriptor, a multiple of traceUnit.
   std::uint32_t bytes;
   std::uint32_t line;
   std::uint16_t id;
   std::uint16_t fileLength;
   std::uint8_t letterCount;
   std::uint8_t level;
   std::uint16_t pieceCount;
};
static_assert(sizeof(TraceDescriptorHead) == 16);

constexpr std::uint16_t tracePieceArgument = 0xffff;
/// Ids of described sites run from 1 to one below this.
constexpr std::uint32_t traceIdRefused = 0xffff;

/// Sizes that a trace file may have, in bytes.
constexpr std::size_t traceFileBytesMin = 16 * 1024;
constexpr std::size_t traceFileBytesMax = std::size_t{1} << 30;

} // namespace RingScribe
