/// Where the attribute log is read: a view of one received frame. Every read is checked; one that
/// goes beyond the frame or finds a form that no writer writes throws
/// ProtocolException( malformed ). The view owns no bytes. On the activity loop's thread.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/NboAttrLogFrame.h>
#include <gantry/runtime/fen/NboAttrLogOut.h>

#include <bit>
#include <cstring>

namespace Fen {

inline std::uint16_t loadBig16(std::uint8_t const* at) {
   std::uint16_t value;
   std::memcpy(&value, at, sizeof value);
   return __builtin_bswap16(value);
}
inline std::uint32_t loadBig32(std::uint8_t const* at) {
   std::uint32_t value;
   std::memcpy(&value, at, sizeof value);
   return __builtin_bswap32(value);
}
inline std::uint64_t loadBig64(std::uint8_t const* at) {
   std::uint64_t value;
   std::memcpy(&value, at, sizeof value);
   return __builtin_bswap64(value);
}

class GANTRY_EXPORT ByteConnection {
 public:
   class In;
};

class GANTRY_EXPORT ByteConnection::In : public PtrInterface {
 public:
   In() = default;
   In(std::uint8_t* bytes, std::size_t count) { bytesAre(bytes, count); }

   /// The bytes to read from now on; they may be written to (see NboAttrLog::In).
   void bytesAre(std::uint8_t* bytes, std::size_t count) {
      begin_ = bytes;
      at_ = bytes;
      end_ = bytes + count;
   }

   std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }
   std::size_t position() const { return static_cast<std::size_t>(at_ - begin_); }
   /// Moves within what may be read.
   void positionIs(std::size_t position) {
      if (position > static_cast<std::size_t>(end_ - begin_)) {
         runOut();
      }
      at_ = begin_ + position;
   }

   bool nextbool() {
      std::uint8_t const value = *next(1);
      if (__builtin_expect(value > 1, 0)) {
         wrongForm();
      }
      return value != 0;
   }
   std::uint8_t nextU8() { return *next(1); }
   std::uint16_t nextU16() { return loadBig16(next(2)); }
   std::uint32_t nextU32() { return loadBig32(next(4)); }
   std::uint64_t nextU64() { return loadBig64(next(8)); }
   std::int32_t nextint() { return static_cast<std::int32_t>(nextU32()); }
   std::int64_t nextS64() { return static_cast<std::int64_t>(nextU64()); }
   double nextdouble() { return std::bit_cast<double>(nextU64()); }
   /// Text with its length in front, as a view of the frame.
   std::string_view nextText() {
      std::uint32_t const length = nextU32();
      return {reinterpret_cast<char const*>(next(length)), length};
   }
   String8 nextString() { return String8(nextText()); }

 protected:
   ~In() override;
   std::uint8_t* bytesAt(std::size_t position) { return begin_ + position; }
   /// Takes the next `bytes`.
   std::uint8_t const* next(std::size_t bytes) {
      if (__builtin_expect(left() < bytes, 0)) {
         runOut();
      }
      return std::exchange(at_, at_ + bytes);
   }

 private:
   friend class ConnectionInSizeAnchor;

   [[noreturn]] void runOut() const;
   [[noreturn]] void wrongForm() const;

   std::uint8_t* begin_ = nullptr;
   std::uint8_t const* at_ = nullptr;
   std::uint8_t const* end_ = nullptr;
};

/// Limits reading to the next `bytes` for its life.
class ConnectionInSizeAnchor {
 public:
   ConnectionInSizeAnchor(ByteConnection::In& in, std::size_t bytes) : in_(in), end_(in.end_) {
      if (bytes > in.left()) {
         in.runOut();
      }
      in.end_ = in.at_ + bytes;
   }
   ConnectionInSizeAnchor(ConnectionInSizeAnchor const&) = delete;
   ConnectionInSizeAnchor& operator=(ConnectionInSizeAnchor const&) = delete;
   ~ConnectionInSizeAnchor() { in_.end_ = end_; }

 private:
   ByteConnection::In& in_;
   std::uint8_t const* end_;
};

namespace NboAttrLog {

/// The input of one channel.
class GANTRY_EXPORT In : public ByteConnection::In {
 public:
   explicit In(Demuxer* demuxer = nullptr) : demuxer_(demuxer) {}
   In(std::uint8_t* bytes, std::size_t count) : ByteConnection::In(bytes, count) {}

   Demuxer* demuxer() const { return demuxer_; }
   /// The header of a message as it stands, whatever its fields say.
   MsgHeader nextHeader() {
      std::uint8_t const* const at = next(messageHeaderBytes);
      MsgHeader header;
      header.entityId = EntityId::of(loadBig64(at));
      header.attributeId = static_cast<std::int32_t>(loadBig32(at + 8));
      header.firstFlag = at[12];
      header.reservedWord = loadBig32(at + 13);
      header.recordKind = loadBig32(at + 17);
      header.lastFlag = at[21];
      return header;
   }
   EntityId nextEntityId() { return EntityId::of(nextU64()); }
   /// Writes an entity id over the one that was read at `position`.
   void entityIdOverwrite(std::size_t position, EntityId id) {
      storeBig64(bytesAt(position), id.number());
   }
   /// The entity that the next id stands for on this channel, null for id 0. Throws
   /// AttrLogEntityException "Entity is the wrong type" when it is not a T, and
   /// ProtocolException( unknownEntity ) for an id that was never given. An id whose entity has
   /// gone meanwhile gives null, and `gone` is set when the caller wants to know.
   template <class T>
   Ptr<T> nextEntity(bool* gone = nullptr) {
      Ptr<Entity> const entity = nextAnyEntity(gone);
      Ptr<T> typed = ptrCast<T>(entity);
      if (entity && !typed) {
         throwWrongType();
      }
      return typed;
   }

 protected:
   ~In() override;

 private:
   Ptr<Entity> nextAnyEntity(bool* gone);
   [[noreturn]] static void throwWrongType();

   Demuxer* demuxer_ = nullptr;
};

inline void operator>>(In& in, bool& value) { value = in.nextbool(); }
inline void operator>>(In& in, std::uint8_t& value) { value = in.nextU8(); }
inline void operator>>(In& in, std::uint16_t& value) { value = in.nextU16(); }
inline void operator>>(In& in, std::uint32_t& value) { value = in.nextU32(); }
inline void operator>>(In& in, std::int32_t& value) { value = in.nextint(); }
inline void operator>>(In& in, std::uint64_t& value) { value = in.nextU64(); }
inline void operator>>(In& in, std::int64_t& value) { value = in.nextS64(); }
inline void operator>>(In& in, double& value) { value = in.nextdouble(); }
inline void operator>>(In& in, String8& text) { text = in.nextString(); }
inline void operator>>(In& in, Name& text) { text = in.nextString(); }

} // namespace NboAttrLog
} // namespace Fen
