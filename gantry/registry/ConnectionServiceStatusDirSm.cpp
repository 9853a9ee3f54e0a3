/// The listener on one client's negotiations: each change has the connection evaluated again.
#include <gantry/common/GantryTrace.h>
#include <gantry/registry/ConnectionServiceStatusDirSm.fen.h>
#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void ConnectionServiceStatusDirSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "ConnectionServiceStatusDirSm::handleInitialized");
   initializedIs(true);
}

void ConnectionServiceStatusDirSm::doCleanup() {
   RINGSCRIBE_TRACE(8, "ConnectionServiceStatusDirSm", " cleanup connection:", name());
   FEN_TRACE(gantryTrace(), 8, "ConnectionServiceStatusDirSm::doCleanup " << name());
   // All connections, although only this one has lost its versions: each service of the client says
   // the same again for this connection alone when its reactor goes.
   if (Fen::Ptr<MountsRegistrySm> const registry = mountsRegistrySm()) {
      registry->handleSwitchConnection();
   }
}

// ---- one service -------------------------------------------------------------------------------

void ConnectionServiceStatusDirSm::FenServiceStatus::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "ConnectionServiceStatusDirSm::FenServiceStatus::handleInitialized");
   // Without a look at `initialized`: a service that comes without a version status has to have its
   // connection evaluated, too, since its version may just have gone.
   handleVersionStatus();
}

void ConnectionServiceStatusDirSm::FenServiceStatus::handleVersionStatus() {
   Fen::Ptr<ConnectionServiceStatusDirSm> const client = connectionServiceStatusDirSm();
   Fen::Name const service = serviceStatus()->name();
   RINGSCRIBE_TRACE(8, "handleVersionStatus", " connection:", client->name(), " service:", service);
   FEN_TRACE(gantryTrace(), 8,
             "ConnectionServiceStatusDirSm::FenServiceStatus::handleVersionStatus "
                << client->name() << " " << service);
   if (Fen::Ptr<MountsRegistrySm> const registry = client->mountsRegistrySm()) {
      registry->handleServiceVersion(service, client->name());
   }
}

void ConnectionServiceStatusDirSm::FenServiceStatus::doCleanup() {
   FEN_TRACE(gantryTrace(), 8, "ConnectionServiceStatusDirSm::FenServiceStatus::doCleanup");
   // The service has left the directory, so its version is gone for whoever asks now.
   handleVersionStatus();
}

} // namespace Controller
