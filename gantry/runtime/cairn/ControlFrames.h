/// Private to the library. The frames that belong to a connection rather than to one mount's log:
/// what is in them, and how each is written and read. Plain values, on the activity loop's thread.
///
/// Reading throws ProtocolException for whatever no writer writes: a text beyond the limit, bytes
/// left over, a number without a meaning. docs/wire.md shows the frames byte by byte.
#pragma once

#include <gantry/runtime/cairn/MountStatus.h>
#include <gantry/runtime/fen/NboAttrLogIn.h>
#include <gantry/runtime/fen/NboAttrLogOut.h>
#include <gantry/runtime/nimet/EthAddr.h>

namespace Cairn {

/// "GANT": tells a stranger's connection from a peer's.
constexpr std::uint32_t protocolMagic = 0x47414e54;
constexpr std::uint16_t protocolVersion = 1;
/// The longest text in one of these frames.
constexpr std::size_t controlTextLimit = 4096;

/// The first frame of the connecting side.
struct Hello {
   std::uint32_t magic = protocolMagic;
   std::uint16_t version = protocolVersion;
   /// The longest message that this side takes.
   std::uint32_t messageBytes = Fen::NboAttrLog::messageBytesLimit;
   /// Who connects; may be empty.
   Fen::String8 name;
   /// The system that connects, and the port on which it serves itself, 0 for none. Only a system
   /// that has an id says either.
   Nimet::EthAddr systemId;
   std::uint16_t servingPort = 0;
};

/// The first frame of the serving side.
struct HelloReply {
   std::uint16_t version = protocolVersion;
   std::uint32_t messageBytes = Fen::NboAttrLog::messageBytesLimit;
   /// The serving system: the first component of every path that can be mounted here.
   Fen::String8 sysname;
};

/// Opens a channel; the channel's number is larger than that of every earlier one.
struct MountRequest {
   Fen::String8 path;
   Fen::String8 typeName;
   Fen::String8 flags;
};

/// Answers it. With success the messages of the log follow; else the channel is closed again.
struct MountReply {
   MountStatus status = mountStatusNone;
   bool writable = false;
   Fen::String8 reason;
};

/// The end of a channel, or of the whole connection.
struct Ending {
   MountStatus status = mountStatusNone;
   Fen::String8 reason;
};

GANTRY_EXPORT void putHello(Fen::Connection::Out& out, Hello const& hello);
GANTRY_EXPORT void putHelloReply(Fen::Connection::Out& out, HelloReply const& reply);
GANTRY_EXPORT void putHeartbeat(Fen::Connection::Out& out);
GANTRY_EXPORT void putMountRequest(Fen::Connection::Out& out, std::uint32_t channel,
                                   MountRequest const& request);
GANTRY_EXPORT void putMountReply(Fen::Connection::Out& out, std::uint32_t channel,
                                 MountReply const& reply);
GANTRY_EXPORT void putUnmount(Fen::Connection::Out& out, std::uint32_t channel,
                              Ending const& ending);
GANTRY_EXPORT void putGoodbye(Fen::Connection::Out& out, Ending const& ending);

GANTRY_EXPORT Hello takeHello(Fen::ByteConnection::In& in);
GANTRY_EXPORT HelloReply takeHelloReply(Fen::ByteConnection::In& in);
GANTRY_EXPORT void takeHeartbeat(Fen::ByteConnection::In& in);
GANTRY_EXPORT MountRequest takeMountRequest(Fen::ByteConnection::In& in);
GANTRY_EXPORT MountReply takeMountReply(Fen::ByteConnection::In& in);
GANTRY_EXPORT Ending takeEnding(Fen::ByteConnection::In& in);

} // namespace Cairn
