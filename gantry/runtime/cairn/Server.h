/// The serving side: lets peers mount what lies below one directory. Owned by the host that makes
/// it, on the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/AccessPolicy.h>
#include <gantry/runtime/cairn/PeerPolicy.h>
#include <gantry/runtime/cairn/TcpConfig.h>
#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/nimet/IpAddr.h>

#include <cstdint>

namespace Cairn {

/// The first component of a path that a peer mounts must be the server's system name; the rest is
/// looked up below its root directory, empty components left out. The mounted entity and all below
/// it are sent, and then every change, until the peer unmounts, the entity goes or the connection
/// ends.
class GANTRY_EXPORT Server : public Fen::PtrInterface {
 public:
   Fen::Name sysname() const { return sysname_; }
   Fen::Ptr<Fen::Dir> const& root() const { return root_; }
   /// The port on which it listens; for port 0 the one that it got.
   virtual std::uint16_t port() const = 0;
   /// The number of peers that are connected.
   virtual std::uint32_t peers() const = 0;
   /// Whether peers that ask for it may write; at first none may. For mounts from now on.
   bool writable() const { return writable_; }
   void writableIs(bool writable) { writable_ = writable; }
   /// Who may mount what, for mounts from now on; null, as at first, lets everybody mount
   /// everything.
   Fen::Ptr<AccessPolicy> const& accessPolicy() const { return accessPolicy_; }
   void accessPolicyIs(Fen::Ptr<AccessPolicy> const& policy) { accessPolicy_ = policy; }
   /// Who may be a peer; at first everybody. For peers that say hello from now on.
   Fen::Ptr<PeerPolicy> const& peerPolicy() const { return peerPolicy_; }
   void peerPolicyIs(Fen::Ptr<PeerPolicy> const& policy) { peerPolicy_ = policy; }

 protected:
   Server(Fen::Name sysname, Fen::Ptr<Fen::Dir> const& root);
   ~Server() override;

 private:
   Fen::Name sysname_;
   Fen::Ptr<Fen::Dir> root_;
   Fen::Ptr<AccessPolicy> accessPolicy_;
   Fen::Ptr<PeerPolicy> peerPolicy_;
   bool writable_ = false;
};

/// Begins to serve; port 0 takes a free one. The zero address serves on all addresses of the
/// machine. Throws RangeException, with a text for people, when the address and port cannot be
/// served. Dropping the server says goodbye to its peers.
GANTRY_EXPORT Fen::Ptr<Server> serverFactory(Fen::Name sysname, Fen::Ptr<Fen::Dir> const& root,
                                             Nimet::IpAddr const& address, std::uint16_t port);

} // namespace Cairn
