/// How the frames of a connection are written and read.
#include <gantry/runtime/cairn/ControlFrames.h>

namespace Cairn {

namespace {

using Fen::NboAttrLog::FrameKind;
using Fen::NboAttrLog::Refusal;
using Fen::NboAttrLog::refuse;

/// Texts for people are cut where they are too long; names and paths are checked before.
void putControlText(Fen::Connection::Out& out, Fen::String8 const& text) {
   out.putText(text.view().substr(0, controlTextLimit));
}

Fen::String8 takeControlText(Fen::ByteConnection::In& in) {
   std::string_view const text = in.nextText();
   if (text.size() > controlTextLimit) {
      refuse(Refusal::oversized, "a text of the connection is too long");
   }
   return text;
}

void takeEnd(Fen::ByteConnection::In& in) {
   if (in.left() != 0) {
      refuse(Refusal::malformed, "a frame of the connection has bytes too many");
   }
}

MountStatus takeStatus(Fen::ByteConnection::In& in) {
   std::uint32_t const number = in.nextU32();
   try {
      return MountStatusInstance(number);
   } catch (Fen::RangeException const&) {
      refuse(Refusal::malformed, "a status has no meaning");
   }
}

} // namespace

void putHello(Fen::Connection::Out& out, Hello const& hello) {
   out.frameBegin(FrameKind::hello, 0);
   out.putU32(hello.magic);
   out.putU16(hello.version);
   out.putU32(hello.messageBytes);
   putControlText(out, hello.name);
   if (hello.systemId != Nimet::EthAddr()) {
      for (std::uint8_t const byte : hello.systemId.bytes()) {
         out.putU8(byte);
      }
      out.putU16(hello.servingPort);
   }
   out.frameEnd();
}

void putHelloReply(Fen::Connection::Out& out, HelloReply const& reply) {
   out.frameBegin(FrameKind::helloReply, 0);
   out.putU16(reply.version);
   out.putU32(reply.messageBytes);
   putControlText(out, reply.sysname);
   out.frameEnd();
}

void putHeartbeat(Fen::Connection::Out& out) {
   out.frameBegin(FrameKind::heartbeat, 0);
   out.frameEnd();
}

void putMountRequest(Fen::Connection::Out& out, std::uint32_t channel,
                     MountRequest const& request) {
   out.frameBegin(FrameKind::mountRequest, channel);
   putControlText(out, request.path);
   putControlText(out, request.typeName);
   putControlText(out, request.flags);
   out.frameEnd();
}

void putMountReply(Fen::Connection::Out& out, std::uint32_t channel, MountReply const& reply) {
   out.frameBegin(FrameKind::mountReply, channel);
   out.putU32(reply.status);
   out.putU8(reply.writable ? 1 : 0);
   putControlText(out, reply.reason);
   out.frameEnd();
}

namespace {

void putEnding(Fen::Connection::Out& out, FrameKind kind, std::uint32_t channel,
               Ending const& ending) {
   out.frameBegin(kind, channel);
   out.putU32(ending.status);
   putControlText(out, ending.reason);
   out.frameEnd();
}

} // namespace

void putUnmount(Fen::Connection::Out& out, std::uint32_t channel, Ending const& ending) {
   putEnding(out, FrameKind::unmount, channel, ending);
}

void putGoodbye(Fen::Connection::Out& out, Ending const& ending) {
   putEnding(out, FrameKind::goodbye, 0, ending);
}

Hello takeHello(Fen::ByteConnection::In& in) {
   Hello hello;
   hello.magic = in.nextU32();
   if (hello.magic != protocolMagic) {
      refuse(Refusal::malformed, "the peer does not speak this protocol");
   }
   hello.version = in.nextU16();
   if (hello.version != protocolVersion) {
      // What follows the version may look different in another one.
      return hello;
   }
   hello.messageBytes = in.nextU32();
   hello.name = takeControlText(in);
   if (in.left() != 0) {
      Nimet::EthAddr::Bytes bytes;
      for (std::uint8_t& byte : bytes) {
         byte = in.nextU8();
      }
      hello.systemId = Nimet::EthAddr(bytes);
      hello.servingPort = in.nextU16();
      if (hello.systemId == Nimet::EthAddr()) {
         refuse(Refusal::malformed, "a hello says that it comes from no system");
      }
   }
   takeEnd(in);
   return hello;
}

HelloReply takeHelloReply(Fen::ByteConnection::In& in) {
   HelloReply reply;
   reply.version = in.nextU16();
   if (reply.version != protocolVersion) {
      return reply;
   }
   reply.messageBytes = in.nextU32();
   reply.sysname = takeControlText(in);
   takeEnd(in);
   return reply;
}

void takeHeartbeat(Fen::ByteConnection::In& in) { takeEnd(in); }

MountRequest takeMountRequest(Fen::ByteConnection::In& in) {
   MountRequest request;
   request.path = takeControlText(in);
   request.typeName = takeControlText(in);
   request.flags = takeControlText(in);
   takeEnd(in);
   return request;
}

MountReply takeMountReply(Fen::ByteConnection::In& in) {
   MountReply reply;
   reply.status = takeStatus(in);
   reply.writable = in.nextbool();
   reply.reason = takeControlText(in);
   takeEnd(in);
   return reply;
}

Ending takeEnding(Fen::ByteConnection::In& in) {
   Ending ending;
   ending.status = takeStatus(in);
   ending.reason = takeControlText(in);
   takeEnd(in);
   return ending;
}

} // namespace Cairn
