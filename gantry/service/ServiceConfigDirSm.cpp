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
   // What services mount comes before what any of them publishes.
   handleServiceMount();
   handleServicePublish();
}

// ---- mounts ------------------------------------------------------------------------------------

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

// ---- publications ------------------------------------------------------------------------------

void ServiceConfigDirSm::handleServicePublish() {
   FEN_TRACE(gantryTrace(), 8, "ServiceConfigDirSm::handleServicePublish");
   if (!initialized()) {
      return;
   }
   Fen::Ptr<Fen::Dir const> const directory = publishConfigDir();
   for (auto i = directory->entityPtrIterator(); i; ++i) {
      handleServicePublish(i.key());
   }
}

void ServiceConfigDirSm::handleServicePublish(Fen::Name serviceName) {
   FEN_TRACE(gantryTrace(), 8, "ServiceConfigDirSm::handleServicePublish: " << serviceName);
   if (!initialized()) {
      return;
   }
   Fen::Ptr<Fen::Entity> const configEntity = publishConfigDir()->entityPtr(serviceName);
   Fen::Ptr<Fen::Entity> const statusEntity = publishStatusDir()->entityPtr(serviceName);
   if (!configEntity || !statusEntity) {
      // Also when one of the two has just gone: as on the mount side, all stays.
      return;
   }
   Fen::Ptr<ServicePublishConfig const> const config(
      dynamic_cast<ServicePublishConfig const*>(configEntity.ptr()));
   Fen::Ptr<ServicePublishStatus> const status(
      dynamic_cast<ServicePublishStatus*>(statusEntity.ptr()));
   if (config && status) {
      if (!servicePublishConfigSm(serviceName)) {
         FEN_TRACE(gantryTrace(), 5,
                   "ServiceConfigDirSm::handleServicePublish creating servicePublishConfigSm for "
                      << serviceName);
         servicePublishConfigSmIs(config, status, publishedMountsTable(), mountsRegistry());
      }
   } else if (servicePublishConfigSm(serviceName)) {
      FEN_TRACE(gantryTrace(), 5,
                "ServiceConfigDirSm::handleServicePublish deleting " << serviceName
                                                                     << " servicePublishConfigSm");
      // Without a clean-up: the registry keeps what the service declared.
      servicePublishConfigSmDel(serviceName);
   } else {
      // The words of the mount side: one search finds all services that are not whole.
      FEN_TRACE(gantryTrace(), 5, "ServiceConfigDirSm::handleServicePublish mounts not complete ");
   }
}

} // namespace Controller
