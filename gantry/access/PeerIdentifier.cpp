/// Identity by registration and address.
#include <gantry/access/PeerIdentifier.h>

namespace Controller {

PeerIdentifier::~PeerIdentifier() = default;
RegisteredPeers::~RegisteredPeers() = default;

SystemId RegisteredPeers::identified(Fen::String8 const& claimedName,
                                     Nimet::IpAddr const& address) const {
   SystemId const id(claimedName);
   // Only the one text that a system id has: a peer is known by exactly one name.
   if (id == SystemId() || id.stringValue() != claimedName || address.isZero()) {
      return {};
   }
   Fen::Ptr<ControllerRegistration::SwitchConfig const> const config =
      controllerStatus_->switchConfig(id);
   bool const registered = controllerStatus_->registeredSwitch(id) && config &&
                           config->connectionConfig() &&
                           config->connectionConfig()->ip() == address;
   return registered ? id : SystemId();
}

} // namespace Controller
