/// The connection period, and the pairing of the services' entities.
#include <gantry/common/GantryTrace.h>
#include <gantry/initial/InitialMountSm.fen.h>
#include <gantry/runtime/fen/ActivityManagerConfig.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void InitialMountSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "InitialMountSm::handleInitialized");
   if (initialized()) {
      return;
   }
   initializedIs(true);
   initialSwitchSetIs();
   connectionPeriodIs();
   // Attaching runs the clock's handler, which knows that call by the fresh time of 0.0.
   connectionClockIs(Fen::ActivityManagerConfig::instance()->clock());
   connectionClock()->timeMinIs(Fen::never);
   handlePeer();
   handleServiceMount();
}

double InitialMountSm::heartbeatInterval() const {
   Fen::Ptr<Heartbeat::Config const> const config = heartbeatConfig();
   return config ? config->interval() : 0.0;
}

// ---- the connection period ---------------------------------------------------------------------

void InitialMountSm::handlePeer() {
   FEN_TRACE(gantryTrace(), 8, "InitialMountSm::handlePeer");
   Fen::Ptr<PeerTable const> const peers = peerTable();
   for (auto i = peers->peerIterator(); i; ++i) {
      handlePeer(SystemId(i.key()));
   }
}

void InitialMountSm::handlePeer(SystemId const& id) {
   FEN_TRACE(gantryTrace(), 8, "InitialMountSm::handlePeer: " << id.stringValue());
   if (!peerTable()->fenPeer(id)) {
      return; // it has gone, which neither takes it out of the set nor moves the clock
   }
   if (initialSwitchSet()->initialSwitch(id)) {
      RINGSCRIBE_TRACE(5, "handlePeer", ": already in initial switch set");
      FEN_TRACE(gantryTrace(), 5, "handlePeer: already in initial switch set");
      return;
   }
   initialSwitchSet()->initialSwitchIs(id, true);
   // One deadline for all: whoever is new puts it off. After the period is complete it still moves,
   // and its firing then has no effect.
   double const timeMin = Fen::now() + heartbeatInterval() * timeoutHeartbeatMultiple();
   connectionClock()->timeMinIs(timeMin);
   RINGSCRIBE_TRACE(5, "handlePeer", ": reset timeMin to ", Fen::format("%.12g", timeMin));
   FEN_TRACE(gantryTrace(), 5, "handlePeer: reset timeMin to " << timeMin);
}

void InitialMountSm::handleConnectionTimeout() {
   double const timeMin = connectionClock()->timeMin();
   FEN_TRACE(gantryTrace(), 8,
             "InitialMountSm::handleConnectionTimeout: timeMin="
                << timeMin << " connection period complete=" << connectionPeriod()->complete());
   if (timeMin == 0.0) {
      return; // the call of the attaching
   }
   if (connectionPeriod()->complete()) {
      return;
   }
   RINGSCRIBE_TRACE(5, "handleConnectionTimeout", ": initial switch set complete");
   FEN_TRACE(gantryTrace(), 5, "handleConnectionTimeout: initial switch set complete");
   // The set itself is not marked complete: it goes on to grow, and the groups have theirs.
   connectionPeriod()->completeIs(true);
}

// ---- services ----------------------------------------------------------------------------------

void InitialMountSm::handleServiceMount() {
   FEN_TRACE(gantryTrace(), 8, "InitialMountSm::handleServiceMount");
   if (!initialized()) {
      return;
   }
   Fen::Ptr<Fen::Dir const> const configs = mountConfigDir();
   for (auto i = configs->entityPtrIterator(); i; ++i) {
      handleServiceMount(Fen::Name(i.key()));
   }
}

void InitialMountSm::handleServiceMount(Fen::Name name) {
   FEN_TRACE(gantryTrace(), 8, "InitialMountSm::handleServiceMount: " << name);
   if (!initialized()) {
      return;
   }
   Fen::Ptr<Fen::Entity> const configEntity = mountConfigDir()->entityPtr(name);
   Fen::Ptr<Fen::Entity> const statusEntity = mountStatusDir()->entityPtr(name);
   if (!configEntity || !statusEntity) {
      // Also when one has just gone: what runs for the service runs on.
      return;
   }
   auto const config = Fen::ptrCast<ServiceMountConfig const>(configEntity);
   auto const status = Fen::ptrCast<ServiceMountStatus>(statusEntity);
   bool const isThere = static_cast<bool>(serviceInitialMountSm(name));
   if (config && status) {
      if (!isThere) {
         FEN_TRACE(gantryTrace(), 5,
                   "handleServiceMount: creating serviceInitialMountSm for " << name);
         serviceInitialMountSmIs(config, status, connectionPeriod(), registeredSwitchTable(),
                                 peerTable());
      }
   } else if (isThere) {
      FEN_TRACE(gantryTrace(), 5, "handleServiceMount deleting serviceInitialMountSm for " << name);
      serviceInitialMountSmDel(name);
   }
}

} // namespace Controller
