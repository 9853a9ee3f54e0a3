/// Connecting, the handshake's second half, and answers to mount requests.
#include <gantry/runtime/cairn/CairnTrace.h>
#include <gantry/runtime/cairn/ClientMount.h>
#include <gantry/runtime/cairn/ClientSession.h>
#include <gantry/runtime/cairn/Link.h>

#include <cerrno>
#include <cstring>

namespace Cairn {

namespace {

using Fen::NboAttrLog::FrameKind;
using Fen::NboAttrLog::Refusal;
using Fen::NboAttrLog::refuse;

} // namespace

ClientSession::ClientSession(TcpConfig const& config, Fen::String8 peer, Link* link)
   : Session(config, peer, false), link_(link) {}

ClientSession::~ClientSession() = default;

void ClientSession::connect(Nimet::IpAddr const& address, std::uint16_t port,
                            Nimet::IpAddr const& source) {
   Fen::Ptr<Socket> const socket = Socket::connecting(address, port, source, socketUser());
   if (socket) {
      socketIs(socket);
   } else {
      close({mountStatusConnectionLost, std::strerror(errno)}, "connect_error", false);
   }
}

void ClientSession::handleConnected() {
   if (int const error = socket()->connectError(); error != 0) {
      close({mountStatusConnectionLost, std::strerror(error)}, "connect_error", false);
      return;
   }
   connected_ = true;
   socket()->writableWantedIs(false);
   socket()->readableWantedIs(true);
   helloSend();
}

void ClientSession::helloSend() {
   Hello hello;
   hello.name = config().localName;
   hello.systemId = config().localSystemId;
   hello.servingPort = config().localServingPort;
   putHello(out(), hello);
}

bool ClientSession::mountIs(Fen::Ptr<ClientMount> const& mount) {
   if (highestChannel() == Fen::NboAttrLog::largestChannel) {
      return false;
   }
   std::uint32_t const number = highestChannel() + 1;
   channelIs(mount, number);
   mount->sessionIs(*this, number);
   return true;
}

void ClientSession::handleControl(FrameKind kind, std::uint32_t channel,
                                  Fen::ByteConnection::In& in) {
   switch (kind) {
   case FrameKind::helloReply: {
      if (isEstablished()) {
         refuse(Refusal::outOfOrder, "a second answer to the hello");
      }
      HelloReply const reply = takeHelloReply(in);
      if (!peerFits(reply.version, reply.messageBytes)) {
         return;
      }
      peerNameIs(reply.sysname);
      establishedIs();
      FEN_TRACE(cairnTrace(), 5, "ClientSession::handleControl: " << peer() << " is connected");
      if (link_ != nullptr) {
         link_->handleEstablished();
      }
      break;
   }
   case FrameKind::mountReply:
      takeReply(channel, takeMountReply(in));
      break;
   case FrameKind::hello:
   case FrameKind::mountRequest:
      refuse(Refusal::outOfOrder, "a frame that only the mounting side sends");
   default:
      refuse(Refusal::unknownFrame,
             Fen::format("a frame of unknown kind %u", static_cast<unsigned>(kind)));
   }
}

void ClientSession::takeReply(std::uint32_t number, MountReply const& reply) {
   if (number > highestChannel()) {
      refuse(Refusal::unknownChannel, "the answer to a mount that was never asked for");
   }
   Fen::Ptr<Channel> const found = channel(number);
   if (!found) {
      return; // unmounted before the answer came
   }
   if (found->log()) {
      refuse(Refusal::outOfOrder, "a second answer to a mount");
   }
   if (reply.status != mountStatusSuccess) {
      channelForget(*found);
   }
   // The mounting side's channels are its mounts.
   static_cast<ClientMount&>(*found).replyIs(reply);
}

void ClientSession::handleClosed(Ending const& ending, bool fatal) {
   if (link_ != nullptr) {
      Fen::Ptr<Link> const running(link_);
      running->handleSessionClosed(ending, fatal);
   }
}

} // namespace Cairn
