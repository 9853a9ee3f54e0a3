/// Listening, accepting, and who is connected.
#include <gantry/runtime/cairn/CairnTrace.h>
#include <gantry/runtime/cairn/Server.h>
#include <gantry/runtime/cairn/ServerSession.h>
#include <gantry/runtime/fen/Counters.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <vector>

namespace Cairn {

namespace {

/// So many waiting connections are taken in one turn, so that a storm does not stop everything
/// else.
constexpr int acceptsPerTurn = 64;
/// How long to wait before accepting again when the system has no descriptor left.
constexpr double exhaustionPause = 1.0;

} // namespace

PeerPolicy::PeerPolicy() = default;
PeerPolicy::~PeerPolicy() = default;

Server::Server(Fen::Name sysname, Fen::Ptr<Fen::Dir> const& root)
   : sysname_(sysname), root_(root) {}
Server::~Server() = default;

/// The server on a socket.
class TcpServer : public Server, private Socket::User, private ServerSession::User {
 public:
   TcpServer(Fen::Name sysname, Fen::Ptr<Fen::Dir> const& root, Nimet::IpAddr const& address,
             std::uint16_t port)
      : Server(sysname, root), config_(tcpConfig()),
        socket_(Socket::listening(address, port, this)), port_(socket_->localPort()),
        pause_(Fen::makePtr<Pause>(socket_)) {}

   std::uint16_t port() const override { return port_; }
   std::uint32_t peers() const override { return static_cast<std::uint32_t>(sessions_.size()); }

 protected:
   ~TcpServer() override {
      socket_->close();
      while (!sessions_.empty()) {
         Fen::Ptr<ServerSession> const session = sessions_.back();
         sessions_.pop_back();
         session->userDel();
         session->close({mountStatusConnectionLost, "the server is closing"}, "local", false);
      }
   }

 private:
   /// Listens again after a while.
   class Pause : public Fen::Clock::Notifiee {
    public:
      explicit Pause(Fen::Ptr<Socket> const& socket)
         : Fen::Clock::Notifiee(Fen::ActivityFacility::clock()), socket_(socket) {
         isRegisteredNotifieeIs(true);
      }
      void onTime() override { socket_->readableWantedIs(true); }

    private:
      Fen::Ptr<Socket> socket_;
   };

   void handleReadable() override {
      for (int i = 0; i < acceptsPerTurn; ++i) {
         int const descriptor = socket_->accept();
         if (descriptor >= 0) {
            peerIs(descriptor);
         } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return;
         } else if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
            FEN_TRACE(cairnTrace(), 5, "TcpServer::handleReadable: " << std::strerror(errno));
            Fen::Counters::counter("cairn.accept_exhausted").increment();
            socket_->readableWantedIs(false);
            pause_->timeMinIs(Fen::now() + exhaustionPause);
            return;
         }
         // Any other error concerns one connection that is gone already.
      }
   }
   void handleWritable() override {}

   void peerIs(int descriptor) {
      if (sessions_.size() >= config_.peersPerServer) {
         FEN_TRACE(cairnTrace(), 5, "TcpServer::peerIs: more than " << config_.peersPerServer);
         Fen::Counters::counter("cairn.closed.too_many_peers").increment();
         ::close(descriptor);
         return;
      }
      sessions_.push_back(ServerSession::accepted(config_, descriptor, this));
      Fen::Counters::counter("cairn.accepted").increment();
   }

   Fen::Name servedName() const override { return sysname(); }
   Fen::Ptr<Fen::Dir> servedRoot() const override { return root(); }
   bool servedWritable() const override { return writable(); }
   Fen::Ptr<AccessPolicy> servedPolicy() const override { return accessPolicy(); }
   Fen::String8 handlePeer(ServerSession& session) override {
      return peerPolicy() ? peerPolicy()->handlePeer(session.identity()) : Fen::String8();
   }
   void handleSessionClosed(ServerSession& session) override {
      if (peerPolicy() && session.isAdmitted()) {
         peerPolicy()->handlePeerGone(session.identity());
      }
      auto const at = std::find(sessions_.begin(), sessions_.end(), &session);
      if (at != sessions_.end()) {
         std::swap(*at, sessions_.back());
         sessions_.pop_back();
      }
   }

   TcpConfig const config_;
   Fen::Ptr<Socket> socket_;
   std::uint16_t const port_;
   Fen::Ptr<Pause> pause_;
   std::vector<Fen::Ptr<ServerSession>> sessions_;
};

Fen::Ptr<Server> serverFactory(Fen::Name sysname, Fen::Ptr<Fen::Dir> const& root,
                               Nimet::IpAddr const& address, std::uint16_t port) {
   return Fen::makePtr<TcpServer>(sysname, Fen::ValidPtr<Fen::Dir>(root), address, port);
}

} // namespace Cairn
