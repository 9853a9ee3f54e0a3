/// The top of the registry: its sources, its children, and the one question that all of them ask.
#include <gantry/common/GantryTrace.h>
#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void MountsRegistrySm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistrySm::handleInitialized");
   if (initialized()) {
      return;
   }
   initializedIs(true);
   // The entries that were there before this machine have not looked at any connection yet.
   handleSwitchConnection();
}

// ---- what is wanted ----------------------------------------------------------------------------

void MountsRegistrySm::handleMountEntry() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistrySm::handleMountEntry");
   auto const registry = mountsRegistry();
   if (!registry) {
      return;
   }
   // The machines are not walked: one whose entry has gone is removed by the event of its key, so
   // that every removal passes through one place.
   for (auto i = registry->mountEntryIterator(); i; ++i) {
      handleMountEntry(i.key());
   }
}

void MountsRegistrySm::handleMountEntry(Fen::String8 remotePath) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistrySm::handleMountEntry " << remotePath);
   auto const entry = mountsRegistry()->mountEntry(remotePath);
   auto const machine = mountsRegistryEntrySm(remotePath);
   if (!entry) {
      if (machine) {
         RINGSCRIBE_TRACE(8, "handleMountEntry", " deleting registry entry sm for:", remotePath);
         FEN_TRACE(gantryTrace(), 8,
                   "MountsRegistrySm::handleMountEntry"
                      << " Deleting registry entry sm for :" << remotePath);
         machine->doCleanup();
         mountsRegistryEntrySmDel(remotePath);
      }
      return;
   }
   if (machine) {
      // Whatever it follows: an entry that was removed and added again before anybody was told
      // keeps its machine, and the machine the entry that it was made for.
      return;
   }
   mountsRegistryEntrySmIs(entry, controllerStatus(), serviceMountStatusDir(),
                           allClientsServiceStatusDir());
}

// ---- what is published -------------------------------------------------------------------------

void MountsRegistrySm::handlePublishEntry() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistrySm::handlePublishEntry");
   auto const registry = mountsRegistry();
   if (!registry) {
      return;
   }
   for (auto i = registry->publishEntryIterator(); i; ++i) {
      handlePublishEntry(i.key());
   }
}

void MountsRegistrySm::handlePublishEntry(Fen::String8 controllerdbPath) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistrySm::handlePublishEntry " << controllerdbPath);
   auto const pe = mountsRegistry()->publishEntry(controllerdbPath);
   auto const preSm = publishRegistryEntrySm(controllerdbPath);
   if (!pe) {
      if (preSm) {
         RINGSCRIBE_TRACE(8, "handlePublishEntry", " deleting publish sm for:", controllerdbPath);
         FEN_TRACE(gantryTrace(), 8,
                   "MountsRegistrySm::handlePublishEntry"
                      << " Deleting publish sm for: " << controllerdbPath);
         preSm->doCleanup();
         publishRegistryEntrySmDel(controllerdbPath);
      }
      return;
   }
   FEN_ASSERT(!preSm || pe->serviceName() == preSm->publishEntry()->serviceName(),
              "!preSm || pe->serviceName() == preSm->publishEntry()->serviceName()");
   // Unlike on the mount side this is asked for also when there is a machine: one that follows
   // another entry than the registry's is refused by its parameters.
   publishRegistryEntrySmIs(pe, controllerStatus(), publishedMountsTable());
   if (mountsRegistry()->publishEntry(controllerdbPath) != pe) {
      publishOvertaken(controllerdbPath);
   }
}

/// The entry has gone while its machine was born, and that was told while the machine had no place
/// yet: the machine goes, and that of the key's entry of now, if there is one, comes in its stead.
void MountsRegistrySm::publishOvertaken(Fen::String8 const& controllerdbPath) {
   while (auto const preSm = publishRegistryEntrySm(controllerdbPath)) {
      preSm->doCleanup();
      publishRegistryEntrySmDel(controllerdbPath);
   }
   handlePublishEntry(controllerdbPath);
}

// ---- connections -------------------------------------------------------------------------------

void MountsRegistrySm::handleSwitchConnection() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistrySm::handleSwitchConnection");
   for (auto i = mountsRegistryEntrySmIterator(); i; ++i) {
      i->handleSwitchConnection();
   }
   for (auto i = publishRegistryEntrySmIterator(); i; ++i) {
      i->handleSwitchConnection();
   }
}

void MountsRegistrySm::handleSwitchConnection(SystemId const& connectionId) {
   RINGSCRIBE_TRACE(8, "handleSwitchConnection", " connection:", connectionId.stringValue());
   FEN_TRACE(gantryTrace(), 8, "MountsRegistrySm::handleSwitchConnection " << connectionId);
   for (auto i = mountsRegistryEntrySmIterator(); i; ++i) {
      i->handleSwitchConnection(connectionId);
   }
   for (auto i = publishRegistryEntrySmIterator(); i; ++i) {
      i->handleSwitchConnection(connectionId);
   }
   // Only now: whoever reads the table finds a switch gone from it when the mounts have been asked
   // to go, never before.
   auto const status = controllerStatus();
   if (status && status->registeredSwitch(connectionId)) {
      registeredSwitchTable()->systemIs(connectionId, true);
   } else {
      registeredSwitchTable()->systemDel(connectionId);
   }
}

Fen::String8 MountsRegistrySm::connectionText(SystemId const& connectionId) {
   if (text_.empty() || textOf_ != connectionId) {
      textOf_ = connectionId;
      text_ = connectionId.stringValue();
   }
   return text_;
}

// ---- clients -----------------------------------------------------------------------------------

void MountsRegistrySm::handleClientStatus() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistrySm::handleClientStatus");
   auto const clients = allClientsServiceStatusDir();
   FEN_ASSERT(clients, "allClientsServiceStatusDir()");
   for (Fen::Dir::Members::IteratorConst i(&clients->entityPtrs(), clients); i; ++i) {
      handleClientStatus(i.key());
   }
}

void MountsRegistrySm::handleClientStatus(Fen::Name id) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistrySm::handleClientStatus " << id);
   auto const clients = allClientsServiceStatusDir();
   FEN_ASSERT(clients, "allClientsServiceStatusDir()");
   auto const client = clients->entityPtr(id);
   if (!client) {
      if (auto const machine = connectionServiceStatusDirSm(id)) {
         RINGSCRIBE_TRACE(5, "handleClientStatus", " client gone:", id);
         machine->doCleanup();
         connectionServiceStatusDirSmDel(id);
      }
      return;
   }
   // The directory is the host's, and may hold what is no client.
   if (auto const services = Fen::ptrCast<ServiceStatusDir>(client)) {
      connectionServiceStatusDirSmIs(id, services);
   }
}

void MountsRegistrySm::handleServiceVersion(Fen::String8 serviceName, Fen::String8 connection) {
   RINGSCRIBE_TRACE(8, "handleServiceVersion", " service:", serviceName,
                    " connection:", connection);
   FEN_TRACE(gantryTrace(), 8,
             "MountsRegistrySm::handleServiceVersion"
                << " service:" << serviceName << " connection:" << connection);
   if (fenIsDying()) {
      // The clients go with this machine and say so; dropping it must not move a single mount.
      return;
   }
   // The whole connection: an entry is gated by the versions of all services that want it, and
   // nobody here knows which entries those are.
   handleSwitchConnection(SystemId(connection));
}

std::uint32_t
MountsRegistrySm::negotiatedServiceVersionForConnection(Fen::String8 serviceName,
                                                        Fen::String8 connection) const {
   auto const clients = allClientsServiceStatusDir();
   auto const services =
      Fen::ptrCast<ServiceStatusDir>(clients ? clients->entityPtr(connection) : nullptr);
   if (!services) {
      RINGSCRIBE_TRACE(5, "negotiatedServiceVersionForConnection",
                       " no service status dir:", connection, " service:", serviceName);
      FEN_TRACE(gantryTrace(), 5,
                "negotiatedServiceVersionForConnection: no serviceStatusDir for "
                   << connection << " for service " << serviceName);
      return 0;
   }
   auto const service = services->service(serviceName);
   auto const versionStatus = service ? service->versionStatus() : nullptr;
   // A finished negotiation is what wakes the listener; what counts is that its result is good.
   if (versionStatus && service->enabled() && versionStatus->versionCompatible()) {
      std::uint32_t const version = versionStatus->negotiatedVersion().version();
      RINGSCRIBE_TRACE(5, "negotiatedServiceVersionForConnection", " negotiated version:", version,
                       " connection:", connection, " service:", serviceName);
      FEN_TRACE(gantryTrace(), 5,
                "negotiatedServiceVersionForConnection: negotiated service version for "
                   << connection << " for service " << serviceName << " = " << version);
      return version;
   }
   RINGSCRIBE_TRACE(5, "negotiatedServiceVersionForConnection",
                    " no version negotiated:", connection, " service:", serviceName);
   FEN_TRACE(gantryTrace(), 5,
             "negotiatedServiceVersionForConnection: no version negotiated for "
                << connection << " for service " << serviceName);
   return 0;
}

} // namespace Controller
