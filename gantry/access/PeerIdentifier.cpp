/// Identity by registration and address.
#include <gantry/access/PeerIdentifier.h>

namespace Controller {

PeerIdentifier::~PeerIdentifier() = default;
RegisteredPeers::~RegisteredPeers() = default;

SystemId RegisteredPeers::identified(Cairn::PeerIdentity const& peer) const {
   SystemId const id(peer.systemId.stringValue());
   Fen::Ptr<ControllerRegistration::SwitchConfig const> const config =
      controllerStatus_->switchConfig(id);
   bool const registered =
      id != SystemId() && !peer.address.isZero() && controllerStatus_->registeredSwitch(id) &&
      config && config->connectionConfig() && config->connectionConfig()->ip() == peer.address;
   return registered ? id : SystemId();
}

} // namespace Controller
