/// Where the attribute log is written. Connection::Out is the send buffer of one connection, shared
/// by its channels; NboAttrLog::Out is one channel's way into it. Both live on the activity loop's
/// thread.
///
/// A message is written whole or not at all: nothing of it can be sent before it is ended. Nothing
/// here throws but for want of memory.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/NboAttrLogFrame.h>
#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/fen/String.h>

#include <bit>
#include <cstring>
#include <memory>
#include <span>

namespace Fen {

namespace NboAttrLog {
class Demuxer;
}

/// An entity on one channel: two words. (0, 0) is no entity, and (1, 0) stands in the message that
/// creates the root. The serving side of a mount gives ids whose second word is 0, the mounting
/// side ids whose second word is 1, both counting the first word up from 2 without a gap.
struct EntityId {
   std::uint32_t first = 0;
   std::uint32_t second = 0;

   constexpr std::uint64_t number() const {
      return (static_cast<std::uint64_t>(first) << 32) | second;
   }
   static constexpr EntityId of(std::uint64_t number) {
      // As one word: an id put together in memory from halves is slow to read as a whole.
      return std::bit_cast<EntityId>(std::rotl(number, 32));
   }
   constexpr bool operator==(EntityId const&) const = default;
   constexpr explicit operator bool() const { return first != 0 || second != 0; }
};
constexpr EntityId orphanEntityId{1, 0};

/// Stores in network byte order.
inline void storeBig16(std::uint8_t* at, std::uint16_t value) {
   value = __builtin_bswap16(value);
   std::memcpy(at, &value, sizeof value);
}
inline void storeBig32(std::uint8_t* at, std::uint32_t value) {
   value = __builtin_bswap32(value);
   std::memcpy(at, &value, sizeof value);
}
inline void storeBig64(std::uint8_t* at, std::uint64_t value) {
   value = __builtin_bswap64(value);
   std::memcpy(at, &value, sizeof value);
}
static_assert(std::endian::native == std::endian::little,
              "the stores above turn bytes around, and an id's first word lies in the lower half");
static_assert(EntityId::of(0x100000002) == EntityId{1, 2});

class GANTRY_EXPORT Connection {
 public:
   class Out;
};

/// The bytes that wait to be sent on a connection. It grows as needed; channels stop writing when
/// less than one message's room is left below the cap, and what they hold back goes out when they
/// are flushed. Frames of the connection itself may pass the cap by a small reserve.
class GANTRY_EXPORT Connection::Out : public PtrInterface {
 public:
   /// They enclose the items of a message.
   enum class TransactToken : std::uint8_t { open = 1, close = 3 };

   /// Who sends: told when the first bytes have come to an empty buffer, and when a channel has
   /// something to flush. Sending then and there is not allowed.
   class GANTRY_EXPORT User {
    public:
      virtual void handleOutPending() = 0;

    protected:
      ~User() = default;
   };

   explicit Out(std::size_t cap = NboAttrLog::Limits().send);

   /// Null takes the user away. It is not owned.
   void userIs(User* user) { user_ = user; }
   /// Tells the user that there is work.
   void tellUser() {
      if (user_ != nullptr) {
         user_->handleOutPending();
      }
   }

   /// Whole frames that wait, oldest first; valid until the next write.
   std::span<std::uint8_t const> pending() const {
      return {buffer_.get() + head_, static_cast<std::size_t>(tail_ - head_)};
   }
   /// The first `bytes` of them have been sent.
   void sentIs(std::size_t bytes) {
      FEN_ASSERT(bytes <= tail_ - head_, "what was sent had been written");
      head_ += bytes;
      writtenBefore_ += bytes;
      if (head_ == tail_) {
         head_ = tail_ = 0;
         if (__builtin_expect(capacity_ > keptCapacity, 0)) {
            memoryDel();
         }
      }
   }
   std::size_t cap() const { return cap_; }
   /// The memory that the buffer has, whether it is in use or not.
   std::size_t capacity() const { return capacity_; }
   /// All frames ever written.
   std::uint64_t frames() const { return frames_; }
   std::size_t freeSpace() const {
      std::size_t const waiting = tail_ - head_;
      return waiting < cap_ ? cap_ - waiting : 0;
   }
   /// Whether a message of any length may be begun.
   bool hasSufficientBuffer() const { return tail_ - head_ <= sufficientMark_; }
   /// All bytes ever written, for budgets and counters.
   std::uint64_t written() const { return writtenBefore_ + (tail_ - head_); }

   /// A frame: begun, filled by the puts below, ended.
   void frameBegin(NboAttrLog::FrameKind kind, std::uint32_t channel) {
      frameBegin(kind, channel, 0);
   }
   /// The same with room for the first `bytes` of the payload, which the caller fills.
   std::uint8_t* frameBegin(NboAttrLog::FrameKind kind, std::uint32_t channel, std::size_t bytes) {
      std::uint8_t* const at = room(NboAttrLog::frameHeaderBytes + bytes);
      storeBig32(at + 4, (static_cast<std::uint32_t>(kind) << 24) | channel);
      frame_ = tail_;
      tail_ += NboAttrLog::frameHeaderBytes + bytes;
      return at + NboAttrLog::frameHeaderBytes;
   }
   /// Ends the frame. One that has grown beyond the limit of a message is taken back, counted as
   /// "wire.oversized_messages" and answered with false.
   bool frameEnd() {
      std::size_t const length = tail_ - frame_;
      if (__builtin_expect(length > NboAttrLog::messageBytesLimit, 0)) {
         frameTooLong();
         return false;
      }
      storeBig32(buffer_.get() + frame_, static_cast<std::uint32_t>(length - 4));
      frameDone();
      return true;
   }
   /// Takes an unfinished frame back.
   void frameAbandon() { tail_ = frame_; }

   /// Space for `bytes` behind what is written; stored() or frameStored() says how many were used.
   std::uint8_t* room(std::size_t bytes) {
      if (__builtin_expect(capacity_ - tail_ < bytes, 0)) {
         makeRoom(bytes);
      }
      return buffer_.get() + tail_;
   }
   /// So many bytes of room() have been filled, within a frame.
   void stored(std::size_t bytes) { tail_ += bytes; }
   /// A whole frame of known length, its header included, has been stored in room().
   void frameStored(std::size_t bytes) {
      frame_ = tail_;
      tail_ += bytes;
      frameDone();
   }

   void putU8(std::uint8_t value) {
      *room(1) = value;
      ++tail_;
   }
   void putU16(std::uint16_t value) {
      storeBig16(room(2), value);
      tail_ += 2;
   }
   void putU32(std::uint32_t value) {
      storeBig32(room(4), value);
      tail_ += 4;
   }
   void putU64(std::uint64_t value) {
      storeBig64(room(8), value);
      tail_ += 8;
   }
   /// Plain bytes. More than a message takes are left out; frameEnd() then refuses the frame.
   void putBytes(void const* bytes, std::size_t count) {
      count = withinLimit(count);
      std::uint8_t* const at = room(count);
      // Called, not expanded: short copies of unknown length are slow as string instructions.
      std::memcpy(at, bytes, count);
      tail_ += count;
   }
   void putText(std::string_view text) {
      std::size_t const count = withinLimit(text.size());
      std::uint8_t* const at = room(4 + count);
      storeBig32(at, static_cast<std::uint32_t>(text.size()));
      std::memcpy(at + 4, text.data(), count);
      tail_ += 4 + count;
   }
   /// Where the next byte goes, counted from the beginning of the frame.
   std::size_t frameSize() const { return tail_ - frame_; }

 protected:
   ~Out() override;

 private:
   /// An empty buffer larger than this gives its memory back.
   static constexpr std::size_t keptCapacity = 64 * 1024;

   static std::size_t withinLimit(std::size_t count) {
      return __builtin_expect(count > NboAttrLog::messageBytesLimit, 0)
                ? NboAttrLog::messageBytesLimit
                : count;
   }
   void makeRoom(std::size_t bytes);
   void memoryDel();
   void frameTooLong();
   void frameDone() {
      ++frames_;
      // A frame that found the buffer empty wakes the sender.
      if (frame_ == head_) {
         tellUser();
      }
   }

   struct Free {
      void operator()(std::uint8_t* memory) const;
   };
   std::unique_ptr<std::uint8_t[], Free> buffer_;
   std::size_t capacity_ = 0;
   std::size_t head_ = 0;
   std::size_t tail_ = 0;
   std::size_t frame_ = 0;
   std::size_t const cap_;
   std::size_t const sufficientMark_;
   std::uint64_t writtenBefore_ = 0;
   std::uint64_t frames_ = 0;
   User* user_ = nullptr;
};

/// Writes as much of the text as one message takes, and moves the place on.
GANTRY_EXPORT void operator<<(Ptr<Connection::Out> const& out, String8::IteratorConst& place);

namespace NboAttrLog {

/// The fixed part of a message. The order of the fields is the order on the wire.
struct MsgHeader {
   EntityId entityId;
   std::int32_t attributeId = 0;
   std::uint8_t firstFlag = 1;
   std::uint32_t reservedWord = 0;
   std::uint32_t recordKind = 0;
   std::uint8_t lastFlag = 0;
};

/// One channel's way into the connection's buffer.
class GANTRY_EXPORT Out : public PtrInterface {
 public:
   Out(Ptr<Connection::Out> const& bytes, std::uint32_t channel, Demuxer* demuxer)
      : bytes_(bytes), channel_(channel), demuxer_(demuxer) {}

   Connection::Out& bytes() const { return *bytes_; }
   Ptr<Connection::Out> const& connectionOut() const { return bytes_; }
   std::uint32_t channel() const { return channel_; }
   /// The channel's log, null once it has gone.
   Demuxer* demuxer() const { return demuxer_; }
   bool hasSufficientBuffer() const { return bytes_->hasSufficientBuffer(); }
   /// Every output of this library is one channel of many on a connection.
   bool isMsgChannel() const { return true; }

   /// Begins a message.
   void nextHeaderIs(MsgHeader const& header) {
      std::uint8_t* const at = bytes_->frameBegin(FrameKind::message, channel_, messageHeaderBytes);
      storeBig64(at, header.entityId.number());
      storeBig32(at + 8, static_cast<std::uint32_t>(header.attributeId));
      at[12] = header.firstFlag;
      storeBig32(at + 13, header.reservedWord);
      storeBig32(at + 17, header.recordKind);
      at[21] = header.lastFlag;
   }
   void transactTokenIs(Connection::Out::TransactToken token) {
      bytes_->putU8(static_cast<std::uint8_t>(token));
   }
   /// Ends it: false when it had grown too long and was taken back.
   bool messageEnd() { return bytes_->frameEnd(); }
   void messageAbandon() { bytes_->frameAbandon(); }
   /// Which section of an orphan creation comes next: 1 the type, 3 the name and the constructor
   /// parameters, 4 the id. The sections have no bytes of their own.
   void currentPayloadSectionIs(unsigned section) { section_ = section; }
   unsigned currentPayloadSection() const { return section_; }

 protected:
   ~Out() override;

 private:
   friend class Demuxer;

   Ptr<Connection::Out> bytes_;
   std::uint32_t channel_;
   unsigned section_ = 0;
   Demuxer* demuxer_;
};

inline void operator<<(Out& out, bool value) { out.bytes().putU8(value ? 1 : 0); }
inline void operator<<(Out& out, std::uint8_t value) { out.bytes().putU8(value); }
inline void operator<<(Out& out, std::uint16_t value) { out.bytes().putU16(value); }
inline void operator<<(Out& out, std::uint32_t value) { out.bytes().putU32(value); }
inline void operator<<(Out& out, std::int32_t value) {
   out.bytes().putU32(static_cast<std::uint32_t>(value));
}
inline void operator<<(Out& out, std::uint64_t value) { out.bytes().putU64(value); }
inline void operator<<(Out& out, std::int64_t value) {
   out.bytes().putU64(static_cast<std::uint64_t>(value));
}
inline void operator<<(Out& out, double value) {
   out.bytes().putU64(std::bit_cast<std::uint64_t>(value));
}
inline void operator<<(Out& out, String8 const& text) { out.bytes().putText(text.view()); }
inline void operator<<(Out& out, EntityId id) { out.bytes().putU64(id.number()); }

} // namespace NboAttrLog
} // namespace Fen
