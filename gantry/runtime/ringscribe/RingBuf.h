/// One message on its way into the ring: startMsg, the arguments in order, endMsg. A value on the
/// stack of the site; between startMsg and endMsg nothing else may trace. Nothing here allocates,
/// takes a lock or enters the kernel.
#pragma once

#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/ringscribe/TraceClock.h>
#include <gantry/runtime/ringscribe/TraceFile.h>

#include <atomic>
#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace RingScribe {

/// Copies `bytes` bytes. By hand, because g++ 12 turns a memcpy whose length it knows to be small
/// into `rep movsq`, which takes 30 ns to start.
inline void copyText(char* to, char const* from, std::size_t bytes) {
   if (bytes >= 16) {
      if (__builtin_expect(bytes > 256, 0)) {
         asm("" : "+r"(bytes)); // a length of which the compiler knows nothing: a plain call
         std::memcpy(to, from, bytes);
         return;
      }
      std::size_t done = 0;
      do {
         std::memcpy(to + done, from + done, 16);
         done += 16;
      } while (done + 16 <= bytes);
      std::memcpy(to + bytes - 16, from + bytes - 16, 16);
   } else if (bytes >= 8) {
      std::memcpy(to, from, 8);
      std::memcpy(to + bytes - 8, from + bytes - 8, 8);
   } else if (bytes >= 4) {
      std::memcpy(to, from, 4);
      std::memcpy(to + bytes - 4, from + bytes - 4, 4);
   } else if (bytes != 0) {
      to[0] = from[0];
      to[bytes / 2] = from[bytes / 2];
      to[bytes - 1] = from[bytes - 1];
   }
}

class GANTRY_EXPORT RingBuf {
 public:
   /// Begins a message of the site with this identifier. Its length need not be known: strings that
   /// do not fit are cut. A refused site, or an identifier of another file, writes to nowhere.
   static RingBuf startMsg(Fen::Ptr<TraceFile> const& traceFile, std::uint32_t msgId);
   /// The same for `argumentBytes` bytes of arguments, not more than traceArgumentBytesMax, of a
   /// site whose identifier is current.
   static RingBuf startMsg(TraceFile& traceFile, std::uint32_t msgId, std::size_t argumentBytes) {
      return RingBuf(traceFile, msgId,
                     (sizeof(TraceMsgHead) + argumentBytes + traceUnit - 1) & ~(traceUnit - 1));
   }

   /// Writes a plain value. What no longer fits is left out.
   template <class T>
   requires std::integral<T>
   void store(T value) {
      if (at_ + sizeof value <= end_) {
         std::memcpy(at_, &value, sizeof value);
         at_ += sizeof value;
      }
   }
   /// Writes a string, cut to what a string of this message may have.
   void storeText(std::string_view text) { storeText(text, stringBytesMax_); }
   void storeText(std::string_view text, std::size_t bytesMax) {
      if (at_ + sizeof(std::uint16_t) > end_) {
         return;
      }
      std::size_t const room = static_cast<std::size_t>(end_ - at_) - sizeof(std::uint16_t);
      std::size_t length = text.size();
      std::uint16_t cut = 0;
      if (__builtin_expect(length > bytesMax || length > room, 0)) {
         length = bytesMax < room ? bytesMax : room;
         cut = traceStringCut;
      }
      std::uint16_t const word = static_cast<std::uint16_t>(length | cut);
      std::memcpy(at_, &word, sizeof word);
      copyText(at_ + sizeof word, text.data(), length);
      at_ += sizeof word + length;
   }

   /// The same without a look at the room, for messages whose length startMsg was told.
   template <std::integral T>
   void storeKnown(T value) {
      std::memcpy(at_, &value, sizeof value);
      at_ += sizeof value;
   }
   void storeTextKnown(std::string_view text) {
      storeKnown(static_cast<std::uint16_t>(text.size()));
      copyText(at_, text.data(), text.size());
      at_ += text.size();
   }

   /// Makes the message whole: from here on readers see it, whatever happens to the writer.
   void endMsg() {
      if (__builtin_expect(discarded_, 0)) {
         return;
      }
      std::size_t const bytes =
         (static_cast<std::size_t>(at_ - begin_) + traceUnit - 1) & ~(traceUnit - 1);
      std::uint64_t const end = file_->position_ + bytes;
      finish(bytes);
      // What was set aside and not used holds older messages still.
      std::atomic_ref(file_->header_->reserved).store(end, std::memory_order_release);
   }
   /// The same for a message whose length startMsg was told, and which has that length.
   void endMsgKnown() { finish(static_cast<std::size_t>(end_ - begin_)); }

 private:
   RingBuf(TraceFile& traceFile, std::uint32_t msgId, std::size_t bytes)
      : file_(&traceFile), begin_(traceFile.at_), at_(begin_ + sizeof(TraceMsgHead)),
        end_(begin_ + bytes), msgId_(static_cast<std::uint16_t>(msgId)) {
      std::uint64_t const ticks = traceTicks();
      // First say that older messages are going, then overwrite them: readers ask afterwards.
      std::atomic_ref(traceFile.header_->reserved)
         .store(traceFile.position_ + bytes, std::memory_order_relaxed);
      std::atomic_thread_fence(std::memory_order_release);
      std::memcpy(begin_ + offsetof(TraceMsgHead, ticks), &ticks, sizeof ticks);
      if (__builtin_expect(ticks - traceFile.anchorTicks_ >= traceFile.anchorInterval_, 0)) {
         traceFile.anchorNow();
      }
   }
   explicit RingBuf(TraceFile& traceFile);

   void finish(std::size_t bytes) {
      TraceFile& file = *file_;
      // The head's first word in one store, laid out as TraceMsgHead says.
      std::uint64_t word;
      if constexpr (std::endian::native == std::endian::little) {
         word = std::uint64_t{msgId_} | std::uint64_t{bytes / traceUnit} << 16 |
                std::uint64_t{file.unitsBefore_} << 24 | std::uint64_t{file.sequence_} << 32;
      } else {
         word = std::uint64_t{msgId_} << 48 | std::uint64_t{bytes / traceUnit} << 40 |
                std::uint64_t{file.unitsBefore_} << 32 | file.sequence_;
      }
      std::memcpy(begin_, &word, sizeof word);
      std::atomic_ref(file.header_->last).store(file.position_, std::memory_order_release);
      file.position_ += bytes;
      file.unitsBefore_ = static_cast<std::uint8_t>(bytes / traceUnit);
      ++file.sequence_;
      char* next = begin_ + bytes;
      if (next >= file.ringEnd_) {
         next -= file.ringEnd_ - file.ring_;
      }
      file.at_ = next;
   }

   TraceFile* file_;
   char* begin_;
   char* at_;
   char* end_;
   std::size_t stringBytesMax_ = traceArgumentBytesMax;
   std::uint16_t msgId_;
   bool discarded_ = false;
};

/// Writes a string argument.
inline void put(RingBuf& buffer, std::string_view text) { buffer.storeText(text); }

} // namespace RingScribe
