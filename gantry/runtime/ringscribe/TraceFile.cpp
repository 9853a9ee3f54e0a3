/// The writing side of a trace file: its layout, its clock, and the identifiers of sites.
#include <gantry/runtime/ringscribe/TraceFile.h>

#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/TraceClock.h>
#include <gantry/runtime/ringscribe/TracePath.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace RingScribe {

constinit Fen::Ptr<TraceFile> theTraceFile;

namespace {

/// Destroyed before theTraceFile, which it leaves null: whoever traces from a static destructor
/// that runs still later finds tracing off and not a file that is gone.
struct TracingEnd {
   ~TracingEnd() { theTraceFile = nullptr; }
} const tracingEnd;

/// The file that the sites' identifiers belong to.
TraceFile* currentFile = nullptr;
std::uint16_t lastGeneration = 0;

/// A child that ran on in its parent's ring would tear the parent's messages.
void handleFork() { theTraceFile = nullptr; }

std::uint32_t generationNew() {
   static int const registered = pthread_atfork(nullptr, nullptr, handleFork);
   static_cast<void>(registered);
   if (++lastGeneration == 0) {
      ++lastGeneration;
   }
   return std::uint32_t{lastGeneration} << 16;
}

} // namespace

TraceFileError::~TraceFileError() = default;

TraceFile::TraceFile(Fen::String8 path, std::size_t bytes)
   : bytes_(bytes), path_(path), scratch_(traceMsgBytesMax) {
   std::string const name = path.str();
   if (bytes < traceFileBytesMin || bytes > traceFileBytesMax) {
      throw TraceFileError("cannot make the trace file " + name + " of " + std::to_string(bytes) +
                           " bytes: choose a size from " + std::to_string(traceFileBytesMin) +
                           " to " + std::to_string(traceFileBytesMax));
   }
   TracePath newFile(name, bytes);
   header_ = static_cast<TraceHeader*>(newFile.map());
   try {
      layOut();
      newFile.publish();
   } catch (...) {
      munmap(header_, bytes_);
      throw;
   }
   descriptor_ = newFile.release();
   generation_ = generationNew();
}

TraceFile::~TraceFile() {
   msgIdArrDel();
   if (currentFile == this) {
      currentFile = nullptr;
   }
   munmap(header_, bytes_);
   close(descriptor_);
}

void TraceFile::layOut() {
   std::size_t const descriptorBytes =
      std::clamp<std::size_t>(bytes_ / 8, 2048, std::size_t{1} << 20) & ~(traceUnit - 1);
   std::size_t const ringBytes =
      (bytes_ - traceHeaderBytes - descriptorBytes - traceSlackBytes) & ~(traceUnit - 1);
   char* const start = reinterpret_cast<char*>(header_);
   descriptors_ = start + traceHeaderBytes;
   ring_ = descriptors_ + descriptorBytes;
   ringEnd_ = ring_ + ringBytes;
   at_ = ring_;
   position_ = ringBytes;

   TraceHeader& header = *header_;
   std::memcpy(header.magic, traceMagic, sizeof header.magic);
   header.version = traceVersion;
   header.byteOrder = traceByteOrder;
   header.fileBytes = bytes_;
   header.headerBytes = traceHeaderBytes;
   header.descriptorBytes = descriptorBytes;
   header.ringBytes = ringBytes;
   header.slackBytes = traceSlackBytes;
   header.writerPid = static_cast<std::uint64_t>(getpid());
   header.reserved = position_;
   calibrate();
}

void TraceFile::calibrate() {
#if defined(__x86_64__)
   // Two readings a millisecond apart give the counter's rate well enough for the second until the
   // next anchor; readers take better rates from anchors that are farther apart.
   constexpr std::int64_t apart = 1'000'000;
   TraceAnchor const first = traceAnchorNow();
   std::uint64_t const start = nanosecondsNow(CLOCK_MONOTONIC);
   while (nanosecondsNow(CLOCK_MONOTONIC) - start < apart) {
   }
   TraceAnchor const second = traceAnchorNow();
   std::int64_t const elapsed = second.wallNanoseconds - first.wallNanoseconds;
   double const seconds = static_cast<double>(elapsed < apart ? apart : elapsed) /
                          static_cast<double>(nanosecondsPerSecond);
   header_->ticksPerSecond =
      static_cast<std::uint64_t>(static_cast<double>(second.ticks - first.ticks) / seconds);
#else
   TraceAnchor const second = traceAnchorNow();
   header_->ticksPerSecond = nanosecondsPerSecond;
#endif
   header_->ticksPerSecond = std::max<std::uint64_t>(header_->ticksPerSecond, 1);
   header_->firstAnchor = second;
   anchorInterval_ = header_->ticksPerSecond;
   anchorIs(second);
}

void TraceFile::anchorIs(TraceAnchor anchor) {
   anchorTicks_ = anchor.ticks;
   std::uint64_t const count = header_->anchorCount;
   header_->anchors[count % traceAnchors] = anchor;
   std::atomic_ref(header_->anchorCount).store(count + 1, std::memory_order_release);
}

void TraceFile::anchorNow() { anchorIs(traceAnchorNow()); }

std::uint64_t TraceFile::sitesRefused() const { return header_->sitesRefused; }

void TraceFile::msgIdArrIs(std::uint32_t* msgId) {
   FEN_ASSERT(msgId != nullptr, "msgId");
   msgIdArr_.push_back(msgId);
}

void TraceFile::msgIdArrDel() {
   for (std::uint32_t* msgId : msgIdArr_) {
      *msgId = 0;
   }
   msgIdArr_.clear();
}

void TraceFile::currentIs() {
   if (currentFile != this) {
      if (currentFile != nullptr) {
         currentFile->msgIdArrDel();
      }
      currentFile = this;
   }
}

std::uint32_t TraceFile::msgIdNew() {
   currentIs();
   if (lastIndex_ + 1 >= traceIdRefused) {
      return generation_ | traceIdRefused;
   }
   return generation_ | ++lastIndex_;
}

bool TraceFile::descriptorIs(std::span<std::byte const> descriptor) {
   std::uint64_t const end = header_->descriptorsEnd;
   if (descriptor.size() > header_->descriptorBytes - end) {
      return false;
   }
   std::memcpy(descriptors_ + end, descriptor.data(), descriptor.size());
   std::atomic_ref(header_->descriptorsEnd)
      .store(end + descriptor.size(), std::memory_order_release);
   return true;
}

void TraceFile::msgIdRefused(std::uint32_t msgId) {
   for (std::uint32_t* registered : msgIdArr_) {
      if (*registered == msgId) {
         *registered = generation_ | traceIdRefused;
      }
   }
   std::atomic_ref(header_->sitesRefused)
      .store(header_->sitesRefused + 1, std::memory_order_release);
}

void TraceFile::stringBytesMaxIs(std::uint32_t msgId, std::size_t bytes) {
   std::size_t const index = msgId ^ generation_;
   if (stringBytesMax_.size() <= index) {
      stringBytesMax_.resize(index + 1);
   }
   stringBytesMax_[index] = static_cast<std::uint16_t>(bytes);
}

std::size_t TraceFile::stringBytesMax(std::uint32_t msgId) const {
   std::size_t const index = msgId ^ generation_;
   return index < stringBytesMax_.size() ? stringBytesMax_[index] : 0;
}

Fen::Ptr<TraceFile> traceFileFactory(Fen::String8 path, std::size_t bytes) {
   return Fen::makePtr<TraceFile>(path, bytes);
}

} // namespace RingScribe
