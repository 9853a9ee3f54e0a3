/// A serving peer in a process of its own, for tests that kill and stop it. The process is this
/// test program again: before any test runs it sees what it is and serves a rack of ports, whose
/// changes it takes from its standard input. Owned by the test; killed with it.
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace CairnTest {

class PeerProcess {
 public:
   /// Starts a peer with so many ports, p0 and up. Port 0 takes a free one.
   explicit PeerProcess(std::uint16_t port = 0, int ports = 3);
   ~PeerProcess();
   PeerProcess(PeerProcess const&) = delete;
   PeerProcess& operator=(PeerProcess const&) = delete;

   std::uint16_t port() const { return port_; }
   /// Sends a command and waits until the peer has done it: "speed NAME NUMBER", "del NAME".
   void command(std::string const& line);
   /// SIGKILL, and waits for the end.
   void kill();
   void stop();
   void resume();

 private:
   std::string readLine();

   pid_t pid_ = -1;
   int input_ = -1;
   int output_ = -1;
   std::uint16_t port_ = 0;
};

} // namespace CairnTest
