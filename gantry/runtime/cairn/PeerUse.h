/// What the connections of this process hold, peer by peer. Plain values, made when they are asked
/// for; on the activity loop's thread.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/String.h>

#include <cstddef>
#include <vector>

namespace Cairn {

/// One connection.
struct PeerUse {
   /// Who the peer says that it is; may be empty.
   Fen::String8 name = {};
   /// Where it is: address and port.
   Fen::String8 address = {};
   /// The peer mounts from this process; else this process mounts from the peer.
   bool isServed = false;
   /// Written and not yet taken by the system.
   std::size_t queuedBytes = 0;
   /// What is held for the peer, about: buffers, channels with their ids, adapters and queues, and
   /// the entities that the peer has made here. What is kept of single changes that found no room
   /// is not in it.
   std::size_t memoryBytes = 0;
   /// Mounts that were granted, and the entities that have an id on one of them.
   std::size_t mounts = 0;
   std::size_t entities = 0;
};

/// All connections on which both sides have said who they are, in no order. Costs in proportion to
/// the connections and the mounts on them.
GANTRY_EXPORT std::vector<PeerUse> peerUses();

} // namespace Cairn
