/// The machine of one service's mounts: it pairs the groups with machines.
#include <gantry/common/GantryTrace.h>
#include <gantry/service/ServiceMountConfigSm.fen.h>

namespace Controller {

void ServiceMountConfigSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "ServiceMountConfigSm::handleInitialized");
   if (initialized()) {
      return;
   }
   initializedIs(true);
   handleMountGroupConfig();
}

void ServiceMountConfigSm::handleMountGroupConfig() {
   FEN_TRACE(gantryTrace(), 8, "ServiceMountConfigSm::handleMountGroupConfig");
   if (!initialized()) {
      return;
   }
   Fen::Ptr<ServiceMountConfig const> const config = serviceMountConfig();
   for (auto i = config->mountGroupConfigIterator(); i; ++i) {
      handleMountGroupConfig(i.key());
   }
}

void ServiceMountConfigSm::handleMountGroupConfig(Fen::Name groupName) {
   FEN_TRACE(gantryTrace(), 8, "ServiceMountConfigSm::handleMountGroupConfig: " << groupName);
   if (!initialized()) {
      return;
   }
   if (auto const group = serviceMountConfig()->mountGroupConfig(groupName)) {
      mountGroupSmIs(group, serviceMountStatus(), mountsRegistry());
   } else if (auto const groupSm = mountGroupSm(groupName)) {
      // The mounts are withdrawn while the machine is still whole.
      groupSm->doCleanup();
      mountGroupSmDel(groupName);
   }
}

} // namespace Controller
