/// The pairing of configurations and statuses by name.
#include <gantry/common/GantryTrace.h>
#include <gantry/service/ServiceConfigDirSm.fen.h>

namespace Controller {

void ServiceConfigDirSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "ServiceConfigDirSm::handleInitialized");
   if (initialized()) {
      return;
   }
   initializedIs(true);
   handleServiceMount();
}

void ServiceConfigDirSm::handleServiceMount() {
   FEN_TRACE(gantryTrace(), 8, "ServiceConfigDirSm::handleServiceMount");
   if (!initialized()) {
      return;
   }
   Fen::Ptr<Fen::Dir const> const directory = mountConfigDir();
   for (auto i = directory->entityPtrIterator(); i; ++i) {
      handleServiceMount(i.key());
   }
}

void ServiceConfigDirSm::handleServiceMount(Fen::Name serviceName) {
   FEN_TRACE(gantryTrace(), 8, "ServiceConfigDirSm::handleServiceMount: " << serviceName);
   if (!initialized()) {
      return;
   }
   Fen::Ptr<Fen::Entity> const configEntity = mountConfigDir()->entityPtr(serviceName);
   Fen::Ptr<Fen::Entity> const statusEntity = mountStatusDir()->entityPtr(serviceName);
   if (!configEntity || !statusEntity) {
      // Also when one of the two has just gone: the machine and what it put into the registry stay.
      // A service withdraws by deleting its groups; its entities may go and come with a restart
      // without a mount being touched.
      return;
   }
   Fen::Ptr<ServiceMountConfig const> const config(
      dynamic_cast<ServiceMountConfig const*>(configEntity.ptr()));
   Fen::Ptr<ServiceMountStatus> const status(dynamic_cast<ServiceMountStatus*>(statusEntity.ptr()));
   if (config && status) {
      if (!serviceMountConfigSm(serviceName)) {
         FEN_TRACE(gantryTrace(), 5,
                   "ServiceConfigDirSm::handleServiceMount creating serviceMountConfigSm for "
                      << serviceName);
         serviceMountConfigSmIs(config, status, mountsRegistry());
      }
   } else if (serviceMountConfigSm(serviceName)) {
      FEN_TRACE(gantryTrace(), 5,
                "ServiceConfigDirSm::handleServiceMount deleting " << serviceName
                                                                   << " serviceMountConfigSm");
      // Without a clean-up: the registry keeps what the service declared.
      serviceMountConfigSmDel(serviceName);
   } else {
      FEN_TRACE(gantryTrace(), 5, "ServiceConfigDirSm::handleServiceMount mounts not complete ");
   }
}

} // namespace Controller
