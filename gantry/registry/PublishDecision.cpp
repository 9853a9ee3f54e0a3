/// Whether a path is published to a system: registered, reachable, with a negotiated version,
/// through both filters, and ready.
#include <gantry/common/GantryTrace.h>
#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/registry/PublishRegistryEntrySm.fen.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void PublishRegistryEntrySm::handleSwitchConnection(SystemId const& connectionId) {
   Fen::String8 const connection = connectionId.stringValue();
   FEN_TRACE(gantryTrace(), 8,
             "PublishRegistryEntrySm::handleSwitchConnection " << entryName() << " " << connection);
   if (!initialized() || fenMarkedForDeletion()) {
      return; // one that was dropped in the middle of a walk leaves the rest as it is
   }
   auto const status = controllerStatus();
   if (!status || !status->registeredSwitch(connectionId)) {
      doDisconnectSwitch(connectionId);
      return;
   }
   auto const switchConfig = status->switchConfig(connectionId);
   FEN_ASSERT(switchConfig, "switchConfig");
   Fen::Ptr<PublishRegistryEntry> const entry = publishEntry();
   if (entry->isPrefixPath()) {
      // Whether the entry is ready or not: a service fills the systems' parts of a directory before
      // it says that the directory is ready.
      addSwitchToPublishEntryDir(connectionId);
   }
   if (switchConfig->connectionConfig() && canPublishToConnection(connection) &&
       entry->readyToPublish()) {
      doConnectSwitch(connectionId);
      return;
   }
   RINGSCRIBE_TRACE(5, "handleSwitchConnection", " Cannot publish:", entryName(),
                    " to:", connection);
   FEN_TRACE(gantryTrace(), 5, "handleSwitchConnection: Cannot publish to " << connection);
   doDisconnectSwitch(connectionId);
}

// The messages below are what people and scripts search for. They keep their words, also the class
// that one of them names, which is the machine of the mount side, and the blanks that some lack.

bool PublishRegistryEntrySm::canPublishToConnection(Fen::String8 connection) const {
   FEN_TRACE(gantryTrace(), 8, "PublishRegistryEntrySm::canPublishToConnection " << connection);
   Fen::Ptr<PublishRegistryEntry> const entry = publishEntry();
   // Before any filter, and without a wildcard: a system that does not know the service is
   // published nothing of it.
   if (negotiatedVersion(connection) == 0) {
      RINGSCRIBE_TRACE(5, "canPublishToConnection", " no version negotiated:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "canPublishToConnection"
                   << " Connection:" << connection << " no version negotiated yet");
      return false;
   }
   if (!entry->versionFilter()) {
      RINGSCRIBE_TRACE(5, "canPublishToConnection", "no versionFilter for ", entryName(),
                       " connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "MountsRegistryEntrySm::canPublishToConnection"
                   << " no versionFilter for " << entryName()
                   << " using wildcard versionFilter for connection: " << connection);
   } else if (!hasVersion(connection, negotiatedVersion(connection))) {
      return false;
   }
   if (!entry->systemFilter()) {
      RINGSCRIBE_TRACE(5, "canPublishToConnection", " no systemfilter for ", entryName(),
                       " connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "canPublishToConnection"
                   << " no systemfilter for " << entryName()
                   << " using wildcard systemfilter for connection: " << connection);
      return true;
   }
   // By the value: a member that holds false lets nothing through, and neither does a filter
   // without members. Only no filter at all is a wildcard.
   if (entry->systemFilter()->includedSystem(connection)) {
      RINGSCRIBE_TRACE(5, "canPublishToConnection", " matched systemFilter",
                       " connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "canPublishToConnection"
                   << " Connection:" << connection << ": yes, in systemFilter");
      return true;
   }
   RINGSCRIBE_TRACE(5, "canPublishToConnection", " no matched system for connection: ", connection);
   FEN_TRACE(gantryTrace(), 5,
             "canPublishToConnection"
                << "Connection: " << connection << ": not found in systemfilter");
   return false;
}

bool PublishRegistryEntrySm::hasVersion(Fen::String8 connection, std::uint32_t version) const {
   FEN_TRACE(gantryTrace(), 8,
             "PublishRegistryEntrySm::hasVersion " << connection << " " << version);
   Fen::String8 const service = publishEntry()->serviceName();
   auto const filter = publishEntry()->versionFilter();
   FEN_ASSERT(filter, "publishEntry()->versionFilter()");
   if (filter->includedServiceVersion(version)) {
      RINGSCRIBE_TRACE(5, "hasVersion", " matched version: ", version, " service:", service,
                       " connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "hasVersion"
                   << " matched negotiated version " << version << " for " << service << " "
                   << connection);
      return true;
   }
   RINGSCRIBE_TRACE(5, "hasVersion", " version not in filter:", version, " service:", service,
                    " connection:", connection);
   FEN_TRACE(gantryTrace(), 5,
             "hasVersion"
                << " negotiated version " << version << " not in filter for " << service << " "
                << connection);
   return false;
}

/// The version of the entry's service on the connection; 0, which is none, also without an owner.
std::uint32_t PublishRegistryEntrySm::negotiatedVersion(Fen::String8 const& connection) const {
   MountsRegistrySm const* const owner = mountsRegistrySm();
   return owner != nullptr ? owner->negotiatedServiceVersionForConnection(
                                publishEntry()->serviceName(), connection)
                           : 0;
}

} // namespace Controller
