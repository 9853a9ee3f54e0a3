/// Which system a peer is. The one place to replace when peers can prove who they are: everything
/// behind it works with system ids. Made by the host, on the activity loop's thread.
#pragma once

#include <gantry/model/Registration.fen.h>
#include <gantry/runtime/cairn/PeerPolicy.h>

namespace Controller {

class GANTRY_EXPORT PeerIdentifier : public Fen::PtrInterface {
 public:
   /// The system that a peer is; zero when it is none that is known.
   virtual SystemId identified(Cairn::PeerIdentity const& peer) const = 0;

 protected:
   ~PeerIdentifier() override;
};

/// Takes a peer for the system that it claims to be when that system is registered and its
/// connection comes from the address at which the system was registered. Whoever can send from that
/// address can be that system.
class GANTRY_EXPORT RegisteredPeers : public PeerIdentifier {
 public:
   explicit RegisteredPeers(
      Fen::Ptr<ControllerRegistration::ControllerStatus const> const& controllerStatus)
      : controllerStatus_(controllerStatus) {}

   SystemId identified(Cairn::PeerIdentity const& peer) const override;

 protected:
   ~RegisteredPeers() override;

 private:
   Fen::Ptr<ControllerRegistration::ControllerStatus const> controllerStatus_;
};

} // namespace Controller
