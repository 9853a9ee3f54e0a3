/// What the benchmarks between processes compare. Each call makes a fresh one, owned by the caller.
#pragma once

#include "Processes.h"

#include <memory>

namespace Bench {

/// A server and clients of the library, over TCP on loopback.
std::unique_ptr<System> gantry();
/// The floor: binary messages of 20 bytes over plain sockets, one system call per change and
/// client, or many changes gathered in each.
std::unique_ptr<System> raw(bool gathered);

/// A server of a peer on a loopback port of its own, with its data in a directory that goes with
/// it. Null when the peer is not built in, not installed or does not start.
class PeerServer {
 public:
   virtual ~PeerServer() = default;
   virtual std::unique_ptr<System> system() = 0;
};
std::unique_ptr<PeerServer> redisServer();
std::unique_ptr<PeerServer> ovsdbServer();

/// What each of these processes holds per entity, connection and peer. Writes to the board's
/// figures what the names say, in bytes.
enum MemoryFigure { entityBytes, serverAdapterBytes, clientEntityBytes, peerBytes };
std::unique_ptr<System> gantryMemory();

} // namespace Bench
