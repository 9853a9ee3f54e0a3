/// What can be set on connections of the mount client and server. One record per process, on the
/// activity loop's thread; a connection or server takes the values as they stand when it is made.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/NboAttrLogFrame.h>
#include <gantry/runtime/fen/String.h>
#include <gantry/runtime/nimet/EthAddr.h>

#include <cstddef>
#include <cstdint>

namespace Cairn {

/// Times are in seconds on the loop's clock, sizes in bytes.
struct TcpConfig {
   /// What one peer may make this process hold.
   Fen::NboAttrLog::Limits limits = {};
   /// A heartbeat is sent when nothing else has been sent for so long.
   double heartbeatInterval = 5.0;
   /// A peer from which nothing has come for so long is gone, and so is one that has not got
   /// through the handshake after it.
   double silenceLimit = 15.0;
   /// How long one attempt to connect may take.
   double connectTimeout = 10.0;
   /// The wait before a connection is tried again: the first one, then twice as long each time up
   /// to the longest. Each wait is shortened at random by up to half, so that many clients of one
   /// peer do not come back all at once.
   double firstRetryDelay = 0.1;
   double longestRetryDelay = 5.0;
   /// How long a connection that nobody uses any more stays open for the next mount.
   double linger = 1.0;
   /// Where the random part of the waits begins; 0 takes a start of its own in each process.
   std::uint32_t seed = 0;
   /// How much is read from and flushed to one peer in one turn of the loop. The number of messages
   /// is bounded with it, since none has less than eight bytes.
   std::size_t bytesPerTurn = 128 * 1024;
   /// Mounts that one connection may carry at a time.
   std::uint32_t mountsPerPeer = 4096;
   /// Connections that one server holds at a time.
   std::uint32_t peersPerServer = 4096;
   /// The name that this process tells its peers.
   Fen::String8 localName = {};
   /// The system that this process is, and the port on which it serves; told to the peers that it
   /// connects to. Zero for a process that is no system.
   Nimet::EthAddr localSystemId = {};
   std::uint16_t localServingPort = 0;
};

GANTRY_EXPORT TcpConfig& tcpConfig();

} // namespace Cairn
