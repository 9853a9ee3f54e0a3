/// From the mount groups of one service to their machines.
#include <gantry/common/GantryTrace.h>
#include <gantry/initial/ServiceInitialMountSm.fen.h>

namespace Controller {

// Runs once, from the birth, and needs no guard: `initialized` stays false for good.
void ServiceInitialMountSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "ServiceInitialMountSm::handleInitialized");
   handleMountGroupConfig();
}

void ServiceInitialMountSm::handleMountGroupConfig() {
   FEN_TRACE(gantryTrace(), 8, "ServiceInitialMountSm::handleMountGroupConfig");
   Fen::Ptr<ServiceMountConfig const> const config = serviceMountConfig();
   for (auto i = config->mountGroupConfigIterator(); i; ++i) {
      handleMountGroupConfig(Fen::Name(i.key()));
   }
}

void ServiceInitialMountSm::handleMountGroupConfig(Fen::Name name) {
   FEN_TRACE(gantryTrace(), 8, "ServiceInitialMountSm::handleMountGroupConfig: " << name);
   if (!serviceMountConfig()->mountGroupConfig(name)) {
      // What the group has reported stays in the status: the machine goes, the answer does not.
      mountGroupInitialMountSmDel(name);
      return;
   }
   FEN_TRACE(gantryTrace(), 5, "handleMountGroupConfig: adding mountGroupInitialMountSm");
   mountGroupInitialMountSmIs(name, serviceMountStatus(), connectionPeriod(),
                              registeredSwitchTable(), peerTable());
}

} // namespace Controller
