// The listening socket, and who is connected.

#include <hosts/control/ControlServer.h>
#include <hosts/control/ControlSession.h>
#include <hosts/support/Program.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Host {

namespace {

constexpr int waitingClients = 16;
constexpr mode_t nobodyElse = 0177;
constexpr char const* busy =
   "{\"ok\":false,\"error\":\"busy\",\"text\":\"this host serves 16 tools "
   "already\",\"hint\":\"end one of them\"}\n";

sockaddr_un addressOf(std::string const& path) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if (path.empty() || path.size() >= sizeof address.sun_path) {
      throw UserError("--control: '" + path + "' is no path for a socket; give one of 1 to " +
                      std::to_string(sizeof address.sun_path - 1) + " characters");
   }
   std::memcpy(address.sun_path, path.data(), path.size());
   return address;
}

/// Takes away what a host that is no more has left there.
void removeStale(std::string const& path, sockaddr_un const& address) {
   struct stat status {};
   if (::lstat(path.c_str(), &status) != 0) {
      return;
   }
   if (!S_ISSOCK(status.st_mode)) {
      throw UserError("--control: " + path + " is there and is no socket; give another path");
   }
   int const probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
   int const result = ::connect(probe, reinterpret_cast<sockaddr const*>(&address), sizeof address);
   bool const isStale = result != 0 && errno == ECONNREFUSED;
   ::close(probe);
   if (!isStale) {
      throw UserError("--control: " + path + " is used by another host; give another path");
   }
   ::unlink(path.c_str());
}

int listeningAt(std::string const& path) {
   sockaddr_un const address = addressOf(path);
   removeStale(path, address);
   int const descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
   // The mode must be right from the beginning: whoever connects before it is changed stays.
   mode_t const before = ::umask(nobodyElse);
   int const bound =
      ::bind(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address);
   int const reason = errno;
   ::umask(before);
   if (bound != 0 || ::listen(descriptor, waitingClients) != 0) {
      ::close(descriptor);
      throw UserError("--control: " + path + ": " + std::strerror(reason) +
                      "; give a path in a directory that this user may write");
   }
   return descriptor;
}

} // namespace

class ControlServer::Acceptor : public Fen::FileDescriptor::Notifiee {
 public:
   Acceptor(Fen::Ptr<Fen::FileDescriptor> const& watched, ControlServer* server)
      : Notifiee(watched), server_(server) {
      isRegisteredNotifieeIs(true);
   }
   void onReadable() override { server_->accept(); }

 private:
   ControlServer* server_;
};

ControlServer::ControlServer(std::string path, ControlPolicy policy)
   : path_(std::move(path)), commands_(std::move(policy)), descriptor_(listeningAt(path_)),
     watched_(Fen::makePtr<Fen::FileDescriptor>(descriptor_)),
     acceptor_(Fen::makePtr<Acceptor>(watched_, this)) {
   watched_->readableWantedIs(true);
}

ControlServer::~ControlServer() {
   sessions_.clear();
   acceptor_->isRegisteredNotifieeIs(false);
   acceptor_ = nullptr;
   watched_ = nullptr;
   ::close(descriptor_);
   ::unlink(path_.c_str());
}

void ControlServer::accept() {
   // One in each turn: readiness is by level, so the next turn says so again.
   int const descriptor = ::accept4(descriptor_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
   if (descriptor < 0) {
      return;
   }
   auto const living = std::count_if(sessions_.begin(), sessions_.end(),
                                     [](auto const& session) { return !session->isEnded(); });
   if (static_cast<std::size_t>(living) >= mostSessions) {
      ssize_t const ignored = ::send(descriptor, busy, std::strlen(busy), MSG_NOSIGNAL);
      static_cast<void>(ignored);
      ::close(descriptor);
      return;
   }
   sessions_.push_back(std::make_unique<Session>(*this, descriptor));
}

void ControlServer::handleTurnEnd() {
   std::erase_if(sessions_, [](auto const& session) { return session->isEnded(); });
}

} // namespace Host
