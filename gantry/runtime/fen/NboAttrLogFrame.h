/// The frames of a connection and the limits that its peers are held to. Constants and plain
/// values; no thread, no state.
///
/// A connection carries frames in both directions, everything in network byte order:
///
///    u32 length    of what follows this field, at least 4
///    u8  kind      a FrameKind
///    u24 channel   the mount that the frame is about, 0 for the connection itself
///    ...           length - 4 bytes of payload
///
/// docs/wire.md shows each kind byte by byte.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/String.h>

#include <cstddef>
#include <cstdint>

namespace Fen::NboAttrLog {

/// What a frame is. 1 to 15 belong to the attribute log of the frame's channel; 32 and up to the
/// connection that carries the channels, which also decides their payloads.
enum class FrameKind : std::uint8_t {
   /// One message of the attribute log: header, token 1, items, token 3.
   message = 1,
   /// Begin, end or abort of an attribute that takes several messages.
   transaction = 2,
   /// The first full synchronisation of the channel is complete.
   synchronised = 3,

   hello = 32,
   helloReply = 33,
   heartbeat = 34,
   mountRequest = 35,
   mountReply = 36,
   unmount = 37,
   goodbye = 38,
};

constexpr bool isLogFrame(FrameKind kind) { return static_cast<std::uint8_t>(kind) < 16; }

/// Length, kind and channel.
constexpr std::size_t frameHeaderBytes = 8;
/// What the length field counts beside the payload.
constexpr std::size_t frameKindBytes = 4;
constexpr std::uint32_t largestChannel = 0xffffff;
/// The header of a message: entity id, attribute id, first flag, reserved word, record kind, last
/// flag.
constexpr std::size_t messageHeaderBytes = 22;
/// A whole message frame without its items: both headers and both tokens.
constexpr std::size_t messageOverheadBytes = frameHeaderBytes + messageHeaderBytes + 2;

/// No message is longer, frame header included, and none is begun with less room than this.
constexpr std::size_t messageBytesLimit = 48 * 1024;

/// The record kind of a message that creates a collection member or single child.
constexpr std::uint32_t createRecordKind = 151;
/// The attribute ids of the log's own messages.
constexpr std::int32_t syncModeAttributeId = 135;
constexpr std::int32_t orphanAttributeId = 136;
constexpr std::int32_t listRecordAttributeId = 144;

/// What a peer may make this process hold, and how its trees may look. All in bytes unless said.
struct Limits {
   /// One frame, both ways.
   std::size_t message = messageBytesLimit;
   /// Bytes received and not yet taken apart.
   std::size_t receive = 64 * 1024;
   /// Bytes written and not yet sent.
   std::size_t send = 1024 * 1024;
   /// Bytes received in all before the handshake is through.
   std::size_t handshake = 16 * 1024;
   /// Bytes held by the entities that one peer has created.
   std::size_t tree = 16 * 1024 * 1024;
   /// Entities one below the other, the root of the mount counted.
   unsigned depth = 64;
};

/// Why a connection or a mount was refused. Each is counted as "wire.refused." and its name.
enum class Refusal : std::uint8_t {
   /// A length, flag, token or item that no writer writes.
   malformed,
   /// A frame or a value beyond the limit of a message.
   oversized,
   unknownFrame,
   unknownChannel,
   /// A message about an entity that was never created on this channel.
   unknownEntity,
   unknownAttribute,
   unknownType,
   /// The root is not of the type that was asked for.
   wrongType,
   /// A reference to an entity of another type than its attribute takes.
   wrongEntity,
   /// An entity id that stands for another entity already.
   duplicateEntity,
   /// A message that has no place at this moment.
   outOfOrder,
   /// A key in a form that its collection does not have.
   badKey,
   tooDeep,
   treeLimit,
   /// Keys made to collide.
   crowded,
   /// A write from the reading side of a read-only mount.
   readOnly,
   /// The local side cannot take what was sent, such as a root without a place.
   notApplicable,
};

/// The name by which a refusal is counted and traced.
GANTRY_EXPORT char const* refusalName(Refusal refusal);

/// A peer broke the rules of the log. Whoever reads the connection closes it with this reason.
class GANTRY_EXPORT ProtocolException : public InternalException {
 public:
   ProtocolException(Refusal refusal, String8 text);
   ~ProtocolException() override;

   Refusal refusal() const { return refusal_; }

 private:
   Refusal refusal_;
};

/// Throws a ProtocolException and counts it.
[[noreturn]] GANTRY_EXPORT void refuse(Refusal refusal, String8 text);

/// The memory that one peer's entities hold here: one for each connection, shared by its channels.
class TreeBudget : public PtrInterface {
 public:
   explicit TreeBudget(std::size_t limit) : limit_(limit) {}

   std::size_t used() const { return used_; }
   std::size_t limit() const { return limit_; }
   /// Takes bytes. Throws ProtocolException( treeLimit ) beyond the limit, taking nothing.
   void take(std::size_t bytes) {
      if (__builtin_expect(bytes > limit_ - used_, 0)) {
         refuseMore();
      }
      used_ += bytes;
   }
   void give(std::size_t bytes) { used_ -= bytes < used_ ? bytes : used_; }

 private:
   [[noreturn]] GANTRY_EXPORT void refuseMore() const;

   std::size_t limit_;
   std::size_t used_ = 0;
};

} // namespace Fen::NboAttrLog
