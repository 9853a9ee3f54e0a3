/// Private to the library. A TCP socket that never blocks, watched by the activity loop. Owned by
/// the session or server that uses it, on the loop's thread. It may be closed and dropped from
/// inside its user's handlers.
#pragma once

#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/nimet/IpAddr.h>

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

namespace Cairn {

class Socket : public Fen::PtrInterface {
 public:
   /// Who reads and writes. Not owned.
   class User {
    public:
      virtual void handleReadable() = 0;
      virtual void handleWritable() = 0;

    protected:
      ~User() = default;
   };

   /// Takes over a descriptor, which must be non-blocking.
   Socket(int descriptor, User* user);

   /// Begins to connect; null with errno set when that is impossible at once. It becomes writable
   /// when the attempt has ended, and connectError() says how.
   static Fen::Ptr<Socket> connecting(Nimet::IpAddr const& address, std::uint16_t port,
                                      Nimet::IpAddr const& source, User* user);
   /// Listens; port 0 takes a free one. Throws RangeException with a text for people.
   static Fen::Ptr<Socket> listening(Nimet::IpAddr const& address, std::uint16_t port, User* user);

   /// The error of the connection attempt that has ended, 0 when it succeeded.
   int connectError() const;
   /// The port of the local end.
   std::uint16_t localPort() const;
   /// The address of the other end; zero when there is none.
   Nimet::IpAddr peerAddress() const;
   /// The other end as "address:port".
   Fen::String8 peerText() const;

   /// As recv() and send() do: -1 with errno set, EAGAIN when nothing can be done now.
   ssize_t receive(void* bytes, std::size_t count);
   ssize_t send(void const* bytes, std::size_t count);
   /// A waiting connection's descriptor, -1 with errno set.
   int accept();

   void readableWantedIs(bool wanted);
   void writableWantedIs(bool wanted);
   /// Closes the descriptor; the user is not told any more.
   void close();

 protected:
   ~Socket() override;

 private:
   class Watcher;

   int descriptor_;
   User* user_;
   Fen::Ptr<Fen::FileDescriptor> watched_;
   Fen::Ptr<Watcher> watcher_;
};

} // namespace Cairn
