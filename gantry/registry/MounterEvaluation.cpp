/// Whether a path may be mounted from a connection, for the entry as a whole and for each of its
/// mounters. The two answers combine the filters differently, on purpose: the entry has one mount
/// for all services and must find it acceptable to the sum of their filters, while a service's
/// status shows a mount that any of its filters speaks for.
#include <gantry/common/GantryTrace.h>
#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void MountsRegistryEntrySm::evaluateMounters() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::evaluateMounters");
   wildCardMountIs(false);
   auto const entry = registryEntry();
   for (auto i = entry->mounterIterator(); i; ++i) {
      auto const group = i->mountGroupConfig();
      if (group && (group->systemFilter() || group->versionFilter())) {
         continue;
      }
      RINGSCRIBE_TRACE(5, "evaluateMounters", " wildcard mount requested:", entry->remotePath(),
                       " service:", i->serviceName(), " group:", i->groupName());
      FEN_TRACE(gantryTrace(), 5,
                "evaluateMounters: Wildcard mount requested for "
                   << entry->remotePath() << " by Service:" << i->serviceName()
                   << " Group:" << i->groupName());
      // One unfiltered group opens the entry for all its other mounters, too.
      wildCardMountIs(true);
      return;
   }
}

bool MountsRegistryEntrySm::anyVersionNegotiated(Fen::String8 const& connection) {
   auto const entry = registryEntry();
   for (auto i = entry->mounterIterator(); i; ++i) {
      MountsRegistrySm const* const registry = mountsRegistrySm();
      if (registry != nullptr &&
          registry->negotiatedServiceVersionForConnection(i->serviceName(), connection) != 0) {
         return true;
      }
   }
   return false;
}

bool MountsRegistryEntrySm::canMountFromConnection(Fen::String8 connection) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::canMountFromConnection " << connection);
   // No more than a gate: the version may be one of a service other than the one whose filter
   // matches below.
   if (!anyVersionNegotiated(connection)) {
      RINGSCRIBE_TRACE(5, "canMountFromConnection", " no version negotiated:", connection);
      FEN_TRACE(gantryTrace(), 5, "canMountFromConnection: no version negotiated yet");
      return false;
   }
   if (wildCardMount()) {
      RINGSCRIBE_TRACE(5, "canMountFromConnection", " wildcard mount:", connection);
      FEN_TRACE(gantryTrace(), 5, "canMountFromConnection: yes, wildcard mount");
      return true;
   }
   // Versions and systems are an AND over all mounters, and an OR within each kind.
   Fen::Name const remotePath = registryEntry()->remotePath();
   if (versionFilterCount() == 0) {
      RINGSCRIBE_TRACE(5, "canMountFromConnection", " no version filter:", remotePath,
                       " connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "canMountFromConnection: no versionFilter specified for "
                   << remotePath << " while mounting from connection: " << connection);
   } else if (connectionMatchesVersionFilter(connection)) {
      RINGSCRIBE_TRACE(5, "canMountFromConnection", " in version filter:", connection);
      FEN_TRACE(gantryTrace(), 5, "canMountFromConnection: yes, in versionFilter");
   } else {
      RINGSCRIBE_TRACE(5, "canMountFromConnection", " not in version filter:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "canMountFromConnection: Connection:" << connection << ": not in versionFilter");
      return false;
   }
   if (connectionFilterCount() == 0) {
      RINGSCRIBE_TRACE(5, "canMountFromConnection", " no connection filter:", remotePath,
                       " connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "canMountFromConnection: no connectionFilter for "
                   << remotePath
                   << " using wildcard connectionFilter for connection: " << connection);
      return true;
   }
   bool const isIncluded = connectionFilter(connection) != 0;
   RINGSCRIBE_TRACE(5, "canMountFromConnection", " connection:", connection,
                    " in connection filter:", isIncluded);
   FEN_TRACE(gantryTrace(), 5,
             "canMountFromConnection"
                << (isIncluded ? ": yes, in connectionFilter" : ": not in connectionFilter"));
   return isIncluded;
}

bool MountsRegistryEntrySm::connectionMatchesVersionFilter(Fen::String8 connection) {
   FEN_TRACE(gantryTrace(), 8,
             "MountsRegistryEntrySm::connectionMatchesVersionFilter " << connection);
   for (auto i = versionFilterIterator(); i; ++i) {
      if (matchingServiceVersionFilter(i.key(), connection)) {
         return true;
      }
   }
   return false;
}

bool MountsRegistryEntrySm::matchingServiceVersionFilter(Fen::String8 serviceName,
                                                         Fen::String8 connection) {
   FEN_TRACE(gantryTrace(), 8,
             "MountsRegistryEntrySm::matchingServiceVersionFilter " << serviceName << " "
                                                                    << connection);
   auto const filter = versionFilter(serviceName);
   if (!filter) {
      RINGSCRIBE_TRACE(5, "matchingServiceVersionFilter",
                       " no version filter service:", serviceName);
      FEN_TRACE(gantryTrace(), 5,
                "matchingServiceVersionFilter: no version filter for service " << serviceName);
      return false;
   }
   MountsRegistrySm const* const registry = mountsRegistrySm();
   std::uint32_t const negotiated =
      registry != nullptr ? registry->negotiatedServiceVersionForConnection(serviceName, connection)
                          : 0;
   if (negotiated == 0) {
      RINGSCRIBE_TRACE(5, "matchingServiceVersionFilter",
                       " no negotiated version service:", serviceName, " connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "matchingServiceVersionFilter: no negotiated version for " << serviceName << " for "
                                                                           << connection);
      return false;
   }
   for (auto i = filter->versionIterator(); i; ++i) {
      RINGSCRIBE_TRACE(5, "matchingServiceVersionFilter", " supported version:", i.key(),
                       " service:", serviceName, " connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "matchingServiceVersionFilter: Supported version for "
                   << serviceName << " for " << connection << " " << i.key());
   }
   // Checked, never chosen: the version is the one that the peers have agreed on already.
   if (filter->fenVersion(negotiated)) {
      RINGSCRIBE_TRACE(5, "matchingServiceVersionFilter",
                       " matched negotiated version:", negotiated, " service:", serviceName,
                       " connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "matchingServiceVersionFilter: matched negotiated version "
                   << negotiated << " for " << serviceName << " for " << connection);
      return true;
   }
   RINGSCRIBE_TRACE(5, "matchingServiceVersionFilter",
                    " negotiated version not in filter:", negotiated, " service:", serviceName,
                    " connection:", connection);
   FEN_TRACE(gantryTrace(), 5,
             "matchingServiceVersionFilter: negotiated version "
                << negotiated << " not in filter for " << serviceName << " for " << connection);
   return false;
}

bool MountsRegistryEntrySm::mounterIsInterestedInConnection(Fen::Ptr<Mounter const> const& mounter,
                                                            Fen::String8 connection) {
   FEN_TRACE(gantryTrace(), 8,
             "MountsRegistryEntrySm::mounterIsInterestedInConnection " << mounter->serviceName()
                                                                       << " " << connection);
   auto const group = mounter->mountGroupConfig();
   if (!group || (!group->systemFilter() && !group->versionFilter())) {
      return true;
   }
   // An OR, unlike the decision whether to mount at all.
   if (group->systemFilter() && group->systemFilter()->includedSystem(connection)) {
      return true;
   }
   // The group's own filter only says whether versions matter to it; what is compared is the set
   // that the entry keeps for the service, which is the one that the mount was decided by.
   return group->versionFilter() &&
          matchingServiceVersionFilter(mounter->serviceName(), connection);
}

} // namespace Controller
