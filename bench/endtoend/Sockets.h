/// Plain loopback sockets and a poll for many of them, for the floors and the clients of peers.
/// Each lives in the process that made it, on its one thread; errors end that process.
#pragma once

#include "Processes.h"

#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Bench {

/// A connected stream. Owns its descriptor.
class Stream {
 public:
   explicit Stream(int descriptor);
   Stream(Stream&& other) noexcept : descriptor_(other.descriptor_) { other.descriptor_ = -1; }
   Stream(Stream const&) = delete;
   Stream& operator=(Stream const&) = delete;
   ~Stream();

   static Stream dialled(std::uint16_t port);
   int descriptor() const { return descriptor_; }
   /// Blocks until all is sent.
   void send(std::string_view bytes) const;
   /// Blocks until something has come, and appends it.
   void receive(std::string& bytes) const;

 private:
   int descriptor_;
};

/// A listening socket on a free port.
class Listener {
 public:
   Listener();
   Listener(Listener const&) = delete;
   Listener& operator=(Listener const&) = delete;
   ~Listener();
   std::uint16_t port() const { return port_; }
   Stream accepted() const;

 private:
   int descriptor_;
   std::uint16_t port_ = 0;
};

/// Blocks until a stream can be read and calls the handler with its place, for ever or until the
/// handler returns false.
void readAll(std::vector<Stream> const& streams, std::function<bool(std::size_t)> const& handler);

/// A port that was free a moment ago.
std::uint16_t freePort();

} // namespace Bench
