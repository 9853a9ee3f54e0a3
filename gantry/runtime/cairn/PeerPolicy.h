/// Who may be a peer of a server at all, before it asks for anything; what it may mount then, the
/// AccessPolicy says. Made by the host, owned by the server that uses it, on the activity loop's
/// thread.
#pragma once

#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/fen/String.h>
#include <gantry/runtime/nimet/EthAddr.h>
#include <gantry/runtime/nimet/IpAddr.h>

namespace Cairn {

/// A peer of a server, by its connection and by what it says of itself. Nothing but the address is
/// more than a claim.
struct PeerIdentity {
   /// Where its connection comes from.
   Nimet::IpAddr address;
   /// What it calls itself; may be empty.
   Fen::String8 name;
   /// The system that it claims to be; zero when it claims to be none.
   Nimet::EthAddr systemId;
   /// The port on which it says that it serves; 0 for none.
   std::uint16_t servingPort = 0;
};

/// Called from within the peer's session, and may do there what it likes.
class GANTRY_EXPORT PeerPolicy : public Fen::PtrInterface {
 public:
   /// A peer has said hello. An empty text lets it in; any other is told to it as the reason, and
   /// it is counted as "cairn.closed.refused".
   virtual Fen::String8 handlePeer(PeerIdentity const& peer) = 0;
   /// A peer that was let in is gone. Not called when the server itself goes.
   virtual void handlePeerGone(PeerIdentity const& peer) = 0;

 protected:
   PeerPolicy();
   ~PeerPolicy() override;
};

} // namespace Cairn
