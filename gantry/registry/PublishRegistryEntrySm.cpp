/// What leads to a decision about who is published a path, and what follows from it. The decision
/// itself stands in PublishDecision.cpp.
#include <gantry/common/GantryTrace.h>
#include <gantry/registry/PublishRegistryEntrySm.fen.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void PublishRegistryEntrySm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::handleInitialized");
   if (initialized()) {
      return;
   }
   initializedIs(true);
   handleSwitchConnection();
}

void PublishRegistryEntrySm::doCleanup() {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::doCleanup " << entryName());
   if (!initialized()) {
      return;
   }
   // Parts of a published directory that were made for systems stay: they may hold what a service
   // has put there.
   auto const table = publishedMountsTable();
   for (auto i = table->systemIterator(); i; ++i) {
      doDisconnectSwitch(i->systemId());
   }
}

// ---- what leads to a decision ------------------------------------------------------------------

void PublishRegistryEntrySm::handleReadyToPublish() {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::handleReadyToPublish " << entryName());
   handleSwitchConnection();
}

void PublishRegistryEntrySm::handleSystemFilter() {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::handleSystemFilter " << entryName());
   handleSwitchConnection();
}

void PublishRegistryEntrySm::handleVersionFilter() {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::handleVersionFilter " << entryName());
   handleSwitchConnection();
}

void PublishRegistryEntrySm::FenSystemFilter::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::FenSystemFilter::handleInitialized");
   handleIncludedSystem();
}

void PublishRegistryEntrySm::FenSystemFilter::handleIncludedSystem() {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::FenSystemFilter::handleIncludedSystem");
   auto const filter = systemFilter();
   for (auto i = filter->includedSystemIterator(); i; ++i) {
      handleIncludedSystem(i.key());
   }
}

void PublishRegistryEntrySm::FenSystemFilter::handleIncludedSystem(Fen::String8 system) {
   FEN_TRACE(gantryTrace(), 8,
             "PublishRegistryEntrySm::FenSystemFilter::handleIncludedSystem " << system);
   // Whether it came or went: the decision looks for itself.
   if (Fen::Ptr<PublishRegistryEntrySm> const machine{publishRegistryEntrySm()}) {
      machine->handleSwitchConnection(SystemId(system));
   }
}

void PublishRegistryEntrySm::FenVersionFilter::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::FenVersionFilter::handleInitialized");
   handleIncludedServiceVersion();
}

void PublishRegistryEntrySm::FenVersionFilter::handleIncludedServiceVersion() {
   FEN_TRACE(gantryTrace(), 8,
             "PublishRegistryEntrySm::FenVersionFilter::handleIncludedServiceVersion");
   auto const filter = versionFilter();
   for (auto i = filter->includedServiceVersionIterator(); i; ++i) {
      handleIncludedServiceVersion(i.key());
   }
}

void PublishRegistryEntrySm::FenVersionFilter::handleIncludedServiceVersion(std::uint32_t version) {
   FEN_TRACE(gantryTrace(), 8,
             "PublishRegistryEntrySm::FenVersionFilter::handleIncludedServiceVersion " << version);
   // All systems: which of them negotiated this version is not known here.
   if (Fen::Ptr<PublishRegistryEntrySm> const machine{publishRegistryEntrySm()}) {
      machine->handleSwitchConnection();
   }
}

void PublishRegistryEntrySm::handleSwitchConnection() {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::handleSwitchConnection " << entryName());
   if (!initialized()) {
      return;
   }
   // The table first, for systems that are not registered any more. One that is in both is decided
   // twice, which changes nothing the second time.
   auto const table = publishedMountsTable();
   for (auto i = table->systemIterator(); i; ++i) {
      handleSwitchConnection(i->systemId());
   }
   auto const status = controllerStatus();
   if (!status) {
      return;
   }
   for (auto i = status->registeredSwitchIterator(); i; ++i) {
      handleSwitchConnection(i.key());
   }
}

// ---- what follows from it ----------------------------------------------------------------------

void PublishRegistryEntrySm::doConnectSwitch(SystemId const& connectionId) {
   Fen::String8 const connection = connectionId.stringValue();
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::doConnectSwitch " << connection);
   auto const switchConfig = controllerStatus()->switchConfig(connectionId);
   FEN_ASSERT(switchConfig, "switchConfig");
   if (!switchConfig->connectionConfig() || !canPublishToConnection(connection)) {
      // Decided once more, so that nobody publishes by calling this alone.
      RINGSCRIBE_TRACE(5, "doConnectSwitch", " Cannot publish to:", connection);
      FEN_TRACE(gantryTrace(), 5, "doConnectSwitch: Cannot publish to " << connection);
      return;
   }
   Fen::Ptr<PublishRegistryEntry> const entry = publishEntry();
   auto const record = publishedMountsTable()->systemIs(connectionId);
   Fen::String8 const path = publishedPath(connection);
   if (entry->isPrefixPath()) {
      RINGSCRIBE_TRACE(5, "doConnectSwitch", " publishing ssm:", path, " to:", entry->remotePath(),
                       " type: ", entry->fenType(), " service: ", entry->serviceName());
      FEN_TRACE(gantryTrace(), 5,
                "doConnectSwitch"
                   << " Creating switch specific mount: "
                   << (rootDir() ? rootDir()->name() : Fen::Name()) << " " << path
                   << " to:" << entry->remotePath() << " of type:" << entry->fenType()
                   << " for service: " << entry->serviceName());
   } else {
      RINGSCRIBE_TRACE(5, "doConnectSwitch", " publishing:", path, " to:", entry->remotePath(),
                       " on:", connection, " type: ", entry->fenType(),
                       " service: ", entry->serviceName());
      FEN_TRACE(gantryTrace(), 5,
                "doConnectSwitch"
                   << " Publishing " << entryName() << " to:" << entry->remotePath()
                   << " on: " << connection << " of type:" << entry->fenType()
                   << " for service: " << entry->serviceName());
   }
   // The peer's path is the same for all systems: only the local one has the system's part.
   MountDesc const mdesc(path, entry->remotePath(), entry->fenType(), "rt", entry->serviceName());
   FEN_ASSERT(!!mdesc, "!!mdesc");
   record->publishedMountIs(mdesc);
}

void PublishRegistryEntrySm::doDisconnectSwitch(SystemId const& connectionId) {
   Fen::String8 const connection = connectionId.stringValue();
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::doDisconnectSwitch " << connection);
   if (!initialized()) {
      return;
   }
   auto const record = publishedMountsTable()->system(connectionId);
   if (!record) {
      return;
   }
   Fen::String8 const path = publishedPath(connection);
   if (!!record->publishedMount(path)) {
      RINGSCRIBE_TRACE(5, "doDisconnectSwitch", " un-publishing:", path, " from:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "doDisconnectSwitch"
                   << " Unpublishing " << path << " from " << connection);
      record->publishedMountDel(path);
   }
   // A record lives as long as anything is published to its system, by whichever entry.
   if (record->publishedMountCount() == 0) {
      FEN_TRACE(gantryTrace(), 5,
                "doDisconnectSwitch"
                   << " All published mounts gone for " << connection);
      publishedMountsTable()->systemDel(connectionId);
   }
}

void PublishRegistryEntrySm::addSwitchToPublishEntryDir(SystemId const& connectionId) {
   Fen::String8 const connection = connectionId.stringValue();
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::addSwitchToPublishEntryDir " << connection);
   FEN_ASSERT(publishEntry()->isPrefixPath(), "publishEntry()->isPrefixPath()");
   auto const switchConfig = controllerStatus()->switchConfig(connectionId);
   if (!switchConfig || !switchConfig->connectionConfig() || !canPublishToConnection(connection)) {
      RINGSCRIBE_TRACE(5, "addSwitchToPublishEntryDir", " Cannot publish to:", connection);
      FEN_TRACE(gantryTrace(), 5, "addSwitchToPublishEntryDir: Cannot publish to " << connection);
      return;
   }
   auto const publishEntryDir =
      Fen::ptrCast<Fen::Dir>(Fen::Entity::entity(Fen::EntityUriPath(entryName()), rootDir()));
   FEN_ASSERT(publishEntryDir,
              "publishEntryDir && \"Publish path doesn't exist or its type is not Fen::Dir\"");
   // The place is held until it is filled.
   if (auto const place = publishEntryDir->entryIs(connection)) {
      publishEntryDir->entityIs(connection, publishEntry()->fenType());
      publishEntryDir->entityRef(connection);
   } else {
      RINGSCRIBE_TRACE(8, "addSwitchToPublishEntryDir", "could not create subdir ",
                       publishedPath(connection));
      FEN_TRACE(gantryTrace(), 8,
                "addSwitchToPublishEntryDir"
                   << "could not create subdir " << publishedPath(connection));
   }
}

/// The path of the entry, for a directory with the system's part behind it.
Fen::String8 PublishRegistryEntrySm::publishedPath(Fen::String8 const& connection) const {
   Fen::String8 const path = entryName();
   return publishEntry()->isPrefixPath() ? path + "/" + connection : path;
}

Fen::Ptr<Fen::Dir> PublishRegistryEntrySm::rootDir() const {
   MountsRegistry const* const registry = publishEntry()->registry();
   return registry != nullptr ? registry->rootDir() : nullptr;
}

} // namespace Controller
