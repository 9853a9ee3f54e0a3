/// Loopback only.
#include "Sockets.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Bench {

namespace {

sockaddr_in loopback(std::uint16_t port) {
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_port = htons(port);
   address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
   return address;
}

void withoutDelay(int descriptor) {
   int const on = 1;
   setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

} // namespace

Stream::Stream(int descriptor) : descriptor_(descriptor) { withoutDelay(descriptor); }

Stream::~Stream() {
   if (descriptor_ >= 0) {
      close(descriptor_);
   }
}

Stream Stream::dialled(std::uint16_t port) {
   int const descriptor = socket(AF_INET, SOCK_STREAM, 0);
   sockaddr_in const address = loopback(port);
   if (connect(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0) {
      fail("connect");
   }
   return Stream(descriptor);
}

void Stream::send(std::string_view bytes) const {
   while (!bytes.empty()) {
      ssize_t const sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent < 0 && errno != EINTR) {
         fail("send");
      }
      bytes.remove_prefix(sent > 0 ? static_cast<std::size_t>(sent) : 0);
   }
}

void Stream::receive(std::string& bytes) const {
   static char buffer[1 << 18];
   ssize_t got;
   do {
      got = recv(descriptor_, buffer, sizeof buffer, 0);
   } while (got < 0 && errno == EINTR);
   if (got <= 0) {
      fail("receive");
   }
   bytes.append(buffer, static_cast<std::size_t>(got));
}

Listener::Listener() : descriptor_(socket(AF_INET, SOCK_STREAM, 0)) {
   sockaddr_in address = loopback(0);
   socklen_t size = sizeof address;
   if (bind(descriptor_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
       listen(descriptor_, 512) != 0 ||
       getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      fail("listen");
   }
   port_ = ntohs(address.sin_port);
}

Listener::~Listener() { close(descriptor_); }

Stream Listener::accepted() const {
   int const descriptor = accept(descriptor_, nullptr, nullptr);
   if (descriptor < 0) {
      fail("accept");
   }
   return Stream(descriptor);
}

void readAll(std::vector<Stream> const& streams, std::function<bool(std::size_t)> const& handler) {
   int const poll = epoll_create1(0);
   for (std::size_t i = 0; i < streams.size(); ++i) {
      epoll_event event{};
      event.events = EPOLLIN;
      event.data.u64 = i;
      epoll_ctl(poll, EPOLL_CTL_ADD, streams[i].descriptor(), &event);
   }
   for (bool more = true; more;) {
      epoll_event events[64];
      int const count = epoll_wait(poll, events, 64, -1);
      for (int i = 0; i < count && more; ++i) {
         more = handler(static_cast<std::size_t>(events[i].data.u64));
      }
   }
   close(poll);
}

std::uint16_t freePort() { return Listener().port(); }

} // namespace Bench
