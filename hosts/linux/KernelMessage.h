/// Reads rtnetlink messages into records. Every length is checked against what was received, so
/// that a truncated or senseless message costs one count and nothing else.
///
/// Stateless functions; any thread.
#pragma once

#include <hosts/linux/KernelRecord.h>

#include <cstddef>
#include <cstdint>
#include <span>

struct nlmsghdr;

namespace Linux {

/// What one received buffer held, besides the records that went to the sink.
struct BufferSummary {
   /// The dump with the given sequence number has ended.
   bool dumpEnded = false;
   /// Something changed while the kernel wrote the dump, so that entries may be missing.
   bool dumpInterrupted = false;
   /// The positive error number with which the kernel refused the request, 0 for none.
   int error = 0;
   /// Messages that could not be read.
   std::uint32_t malformed = 0;
};

/// Reads all messages in `buffer` and gives their records to `sink`. Of answers to requests only
/// those with `sequence` count; 0 takes whatever comes, as for events. The buffer must be aligned
/// to 4 bytes.
BufferSummary readBuffer(std::span<std::byte const> buffer, std::uint32_t sequence,
                         KernelSink& sink);

/// Reads one message; false when it cannot be read. Messages of other kinds, other families and
/// the kernel's caches are passed over and count as read.
bool readMessage(nlmsghdr const* message, KernelSink& sink);

} // namespace Linux
