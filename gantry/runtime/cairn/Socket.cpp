/// Sockets on the loop.
#include <gantry/runtime/cairn/Socket.h>

#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Cairn {

namespace {

/// As many as the system allows: a server takes back all of its peers at once after a restart.
constexpr int backlog = 4096;

sockaddr_in socketAddress(Nimet::IpAddr const& address, std::uint16_t port) {
   sockaddr_in result{};
   result.sin_family = AF_INET;
   result.sin_port = htons(port);
   result.sin_addr.s_addr = address.networkOrderValue();
   return result;
}

int newSocket() { return ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); }

bool bindTo(int descriptor, sockaddr_in const& address) {
   return ::bind(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
}

/// Changes are gathered by the turn already: waiting for more in the kernel only adds delay.
void noDelay(int descriptor) {
   int const on = 1;
   ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

[[noreturn]] void throwListenError(Nimet::IpAddr const& address, std::uint16_t port, int error) {
   Fen::String8 const place = Fen::format("%s:%u", address.stringValue().charPtr(), port);
   switch (error) {
   case EADDRINUSE:
      Fen::throwRangeException(place + " is in use already: choose another port");
   case EADDRNOTAVAIL:
      Fen::throwRangeException(place + " cannot be served: this machine has no such address");
   case EACCES:
      Fen::throwRangeException(place + " cannot be served: choose a port above 1023");
   default:
      Fen::throwRangeException(place + " cannot be served: " + std::strerror(error));
   }
}

} // namespace

/// Passes readiness on to the user while there is one.
class Socket::Watcher : public Fen::FileDescriptor::Notifiee {
 public:
   Watcher(Fen::Ptr<Fen::FileDescriptor> const& watched, Socket* socket)
      : Fen::FileDescriptor::Notifiee(watched), socket_(socket) {
      isRegisteredNotifieeIs(true);
   }
   void onReadable() override {
      if (socket_ != nullptr && socket_->user_ != nullptr) {
         Fen::Ptr<Socket> const running(socket_);
         running->user_->handleReadable();
      }
   }
   void onWritable() override {
      if (socket_ != nullptr && socket_->user_ != nullptr) {
         Fen::Ptr<Socket> const running(socket_);
         running->user_->handleWritable();
      }
   }
   void socketDel() { socket_ = nullptr; }

 private:
   Socket* socket_;
};

Socket::Socket(int descriptor, User* user)
   : descriptor_(descriptor), user_(user), watched_(Fen::makePtr<Fen::FileDescriptor>(descriptor)),
     watcher_(Fen::makePtr<Watcher>(watched_, this)) {}

Socket::~Socket() { close(); }

void Socket::close() {
   if (descriptor_ < 0) {
      return;
   }
   user_ = nullptr;
   watcher_->socketDel();
   watcher_->isRegisteredNotifieeIs(false);
   // The loop may hold the watched descriptor for the rest of this turn: it must be out of the
   // kernel's set before the number can belong to another file.
   watched_->readableWantedIs(false);
   watched_->writableWantedIs(false);
   watcher_ = nullptr;
   watched_ = nullptr;
   ::close(descriptor_);
   descriptor_ = -1;
}

Fen::Ptr<Socket> Socket::connecting(Nimet::IpAddr const& address, std::uint16_t port,
                                    Nimet::IpAddr const& source, User* user) {
   int const descriptor = newSocket();
   if (descriptor < 0) {
      return nullptr;
   }
   noDelay(descriptor);
   sockaddr_in const peer = socketAddress(address, port);
   bool const bound = source.isZero() || bindTo(descriptor, socketAddress(source, 0));
   if (!bound ||
       (::connect(descriptor, reinterpret_cast<sockaddr const*>(&peer), sizeof peer) != 0 &&
        errno != EINPROGRESS)) {
      int const error = errno;
      ::close(descriptor);
      errno = error;
      return nullptr;
   }
   auto socket = Fen::makePtr<Socket>(descriptor, user);
   socket->writableWantedIs(true);
   return socket;
}

Fen::Ptr<Socket> Socket::listening(Nimet::IpAddr const& address, std::uint16_t port, User* user) {
   int const descriptor = newSocket();
   if (descriptor < 0) {
      throwListenError(address, port, errno);
   }
   int const on = 1;
   ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
   if (!bindTo(descriptor, socketAddress(address, port)) || ::listen(descriptor, backlog) != 0) {
      int const error = errno;
      ::close(descriptor);
      throwListenError(address, port, error);
   }
   auto socket = Fen::makePtr<Socket>(descriptor, user);
   socket->readableWantedIs(true);
   return socket;
}

int Socket::connectError() const {
   int error = 0;
   socklen_t size = sizeof error;
   if (::getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
      return errno;
   }
   return error;
}

std::uint16_t Socket::localPort() const {
   sockaddr_in address{};
   socklen_t size = sizeof address;
   ::getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size);
   return ntohs(address.sin_port);
}

namespace {

/// The other end of a connection; of another family when there is none.
sockaddr_in peerOf(int descriptor) {
   sockaddr_in address{};
   socklen_t size = sizeof address;
   if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      address.sin_family = AF_UNSPEC;
   }
   return address;
}

} // namespace

Nimet::IpAddr Socket::peerAddress() const {
   sockaddr_in const address = peerOf(descriptor_);
   return address.sin_family == AF_INET ? Nimet::IpAddr::fromNetworkOrder(address.sin_addr.s_addr)
                                        : Nimet::IpAddr();
}

Fen::String8 Socket::peerText() const {
   sockaddr_in const address = peerOf(descriptor_);
   if (address.sin_family != AF_INET) {
      return "unknown";
   }
   auto const ip = Nimet::IpAddr::fromNetworkOrder(address.sin_addr.s_addr);
   return Fen::format("%s:%u", ip.stringValue().charPtr(), ntohs(address.sin_port));
}

ssize_t Socket::receive(void* bytes, std::size_t count) {
   ssize_t got;
   do {
      got = ::recv(descriptor_, bytes, count, 0);
   } while (got < 0 && errno == EINTR);
   return got;
}

ssize_t Socket::send(void const* bytes, std::size_t count) {
   ssize_t sent;
   do {
      sent = ::send(descriptor_, bytes, count, MSG_NOSIGNAL);
   } while (sent < 0 && errno == EINTR);
   return sent;
}

int Socket::accept() {
   int const descriptor = ::accept4(descriptor_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
   if (descriptor >= 0) {
      noDelay(descriptor);
   }
   return descriptor;
}

void Socket::readableWantedIs(bool wanted) {
   if (watched_) {
      watched_->readableWantedIs(wanted);
   }
}

void Socket::writableWantedIs(bool wanted) {
   if (watched_) {
      watched_->writableWantedIs(wanted);
   }
}

} // namespace Cairn
