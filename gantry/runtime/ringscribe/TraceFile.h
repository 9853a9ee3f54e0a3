/// The ring of trace messages in a file: what the host makes with traceFileFactory and puts into
/// theTraceFile. The file has a fixed size and is mapped, so a message costs neither a lock nor a
/// system call, and what was written survives the writer's death at any point.
///
/// One process writes a file, on one thread: the activity loop's. Signal handlers must not trace.
/// A process that forks keeps tracing; its child starts with tracing off.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/fen/String.h>
#include <gantry/runtime/ringscribe/TraceLayout.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace RingScribe {

/// A trace file could not be made. The text is one line that names the file and what to do.
class GANTRY_EXPORT TraceFileError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
   ~TraceFileError() override;
};

class GANTRY_EXPORT TraceFile : public Fen::PtrInterface {
 public:
   /// Makes the file, see traceFileFactory.
   TraceFile(Fen::String8 path, std::size_t bytes);

   Fen::String8 path() const { return path_; }
   /// Size of the whole file in bytes.
   std::size_t bytes() const { return bytes_; }
   /// Bytes that messages share before the oldest are overwritten.
   std::size_t ringBytes() const { return static_cast<std::size_t>(ringEnd_ - ring_); }
   /// Sites that trace nothing because the descriptor area was full.
   std::uint64_t sitesRefused() const;

   /// Registers where a site keeps its identifier. The identifier goes back to zero when this file
   /// goes, or when another file is first traced to, so that the site describes itself anew. The
   /// address must stay valid until then.
   void msgIdArrIs(std::uint32_t* msgId);
   std::size_t msgIdArrCount() const { return msgIdArr_.size(); }

   /// The ids of this file carry its generation in their upper half, so that an identifier taken
   /// for another file is told apart without looking anywhere.
   std::uint32_t generation() const { return generation_; }
   /// True when `msgId` was taken for this file and its site is described.
   bool msgIdIsCurrent(std::uint32_t msgId) const {
      // One comparison for zero, for another file's identifier and for a refused site.
      return (msgId ^ generation_) - 1 < traceIdRefused - 1;
   }
   /// True when `msgId` belongs to a site of this file that found no room for its description.
   bool msgIdIsRefused(std::uint32_t msgId) const {
      return (msgId ^ generation_) == traceIdRefused;
   }

   ~TraceFile() override;

 private:
   friend class MsgDesc;
   friend class RingBuf;

   std::uint32_t msgIdNew();
   bool descriptorIs(std::span<std::byte const> descriptor);
   void msgIdRefused(std::uint32_t msgId);
   void msgIdArrDel();
   /// Makes this the file that sites have their identifiers from.
   void currentIs();
   void stringBytesMaxIs(std::uint32_t msgId, std::size_t bytes);
   /// Bytes that each string of a site's message may have when its length is not known beforehand.
   std::size_t stringBytesMax(std::uint32_t msgId) const;
   void layOut();
   void calibrate();
   /// Notes both clocks in the file. Runs about once a second, from within a message.
   void anchorIs(TraceAnchor anchor);
   void anchorNow();

   // What every message needs, in the order of need; the rest follows.
   TraceHeader* header_ = nullptr;
   std::uint64_t position_ = 0;
   char* at_ = nullptr;
   char* ringEnd_ = nullptr;
   std::uint64_t anchorTicks_ = 0;
   std::uint64_t anchorInterval_ = 0;
   std::uint32_t sequence_ = 0;
   std::uint32_t generation_ = 0;
   std::uint8_t unitsBefore_ = 0;

   char* ring_ = nullptr;
   char* descriptors_ = nullptr;
   std::uint32_t lastIndex_ = 0;
   std::size_t bytes_ = 0;
   int descriptor_ = -1;
   Fen::String8 path_;
   std::vector<std::uint32_t*> msgIdArr_;
   std::vector<std::uint16_t> stringBytesMax_;
   /// Where messages go that have no place in the ring.
   std::vector<char> scratch_;
};

/// The file that all sites trace to; null, as at the start, turns tracing off. Set by the host at
/// any time on the activity loop's thread; null again after the library's static destructors.
extern GANTRY_EXPORT Fen::Ptr<TraceFile> theTraceFile;

/// Makes a trace file of exactly `bytes` bytes, from 16 KiB to 1 GiB, with everything in it, for
/// the owner alone (mode 0600). An earlier trace file of that path is replaced as a whole: whoever
/// still reads it keeps it. Raises TraceFileError when the file cannot be made, when `path` is
/// something else than a trace file, or when a living process still traces to it. A file system in
/// memory, such as /run or /dev/shm, keeps the disk out of the writer's way.
GANTRY_EXPORT Fen::Ptr<TraceFile> traceFileFactory(Fen::String8 path, std::size_t bytes);

} // namespace RingScribe
