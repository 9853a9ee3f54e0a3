/// One mounter's share in its entry's filters: counted for systems, a plain set for versions.
#include <gantry/common/GantryTrace.h>
#include <gantry/registry/MounterConfigSm.fen.h>
#include <gantry/registry/MountsRegistryEntrySm.fen.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

void MounterConfigSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::handleInitialized");
   initializedIs(true);
}

// ---- the group's filters -----------------------------------------------------------------------

void MounterConfigSm::FenSystemFilter::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::FenSystemFilter::handleInitialized");
   initializedIs(true);
}

void MounterConfigSm::FenSystemFilter::handleIncludedSystem() {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::FenSystemFilter::handleIncludedSystem");
   Fen::Ptr<MountFilterSystem const> const filter = systemFilter();
   // What an evaluation sets off may end the mounter, and this reactor with it.
   for (auto i = filter->includedSystemIterator(); i && mounterConfigSm() != nullptr; ++i) {
      handleIncludedSystem(i.key());
   }
}

void MounterConfigSm::FenSystemFilter::handleIncludedSystem(Fen::String8 system) {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::FenSystemFilter::handleIncludedSystem " << system);
   Fen::Ptr<MounterConfigSm> const machine = mounterConfigSm();
   // The group's filter, which need not be the one that is watched; without one nothing is
   // included. A key that holds false takes the way of a removed one, also when it was never
   // counted: it then takes a count that another mounter has put there. Whoever declares filters
   // deletes keys instead of storing false.
   auto const group = machine->mounter()->mountGroupConfig();
   auto const filter = group->systemFilter();
   if (filter && filter->includedSystem(system)) {
      machine->addSystemToConnectionFilter(system);
   } else {
      machine->removeSystemFromConnectionFilter(system);
   }
}

void MounterConfigSm::FenVersionFilter::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::FenVersionFilter::handleInitialized");
   // The second pass over the same versions: a set takes it without harm, and each version has
   // all connections evaluated once more. The other filter is counted and must not do the same.
   handleIncludedServiceVersion();
   initializedIs(true);
}

void MounterConfigSm::FenVersionFilter::handleIncludedServiceVersion() {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::FenVersionFilter::handleIncludedServiceVersion");
   Fen::Ptr<MountFilterServiceVersion const> const filter = versionFilter();
   for (auto i = filter->includedServiceVersionIterator(); i && mounterConfigSm() != nullptr; ++i) {
      handleIncludedServiceVersion(i.key());
   }
}

void MounterConfigSm::FenVersionFilter::handleIncludedServiceVersion(std::uint32_t version) {
   FEN_TRACE(gantryTrace(), 8,
             "MounterConfigSm::FenVersionFilter::handleIncludedServiceVersion"
                << ": version=" << version);
   Fen::Ptr<MounterConfigSm> const machine = mounterConfigSm();
   // The filter that is watched, unlike on the side of the systems: the set belongs to this
   // mounter alone and follows the object that filled it.
   if (versionFilter()->includedServiceVersion(version)) {
      machine->addVersionToVersionFilter(version);
   } else {
      machine->removeVersionFromVersionFilter(version);
   }
}

// ---- the entry's aggregates --------------------------------------------------------------------

void MounterConfigSm::addSystemToConnectionFilter(Fen::String8 system) {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::addSystemToConnectionFilter " << system);
   Fen::Ptr<MountsRegistryEntrySm> const entry = mountsRegistryEntrySm();
   if (!entry) {
      return;
   }
   Fen::Name const remotePath = entry->registryEntry()->remotePath();
   if (entry->fenConnectionFilter(system)) {
      std::uint32_t const count = entry->connectionFilter(system);
      RINGSCRIBE_TRACE(5, "addSystemToConnectionFilter", " inc refCount:", count + 1,
                       " filter:", system, " remotePath:", remotePath);
      FEN_TRACE(gantryTrace(), 5,
                "addSystemToConnectionFilter: Inc RefCount=" << count + 1 << " filter:" << system
                                                             << " for " << remotePath);
      // The answer for that connection is what it was.
      entry->connectionFilterIs(system, count + 1);
      return;
   }
   RINGSCRIBE_TRACE(5, "addSystemToConnectionFilter", " new filter:", system,
                    " remotePath:", remotePath);
   FEN_TRACE(gantryTrace(), 5,
             "addSystemToConnectionFilter: New filter " << system << " for:" << remotePath);
   entry->connectionFilterIs(system, 1);
   // The named connection alone, although the first system of an empty filter ends the wildcard
   // for all the others: those follow at their next event. A mount that stands is not taken down
   // for a declaration that may be half written.
   entry->handleNamedSwitchConnection(system);
}

void MounterConfigSm::removeSystemFromConnectionFilter(Fen::String8 system) {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::removeSystemFromConnectionFilter " << system);
   Fen::Ptr<MountsRegistryEntrySm> const entry = mountsRegistryEntrySm();
   if (!entry || !entry->fenConnectionFilter(system)) {
      return;
   }
   std::uint32_t const refCount = entry->connectionFilter(system);
   Fen::Name const remotePath = entry->registryEntry()->remotePath();
   if (refCount == 1) {
      RINGSCRIBE_TRACE(5, "removeSystemFromConnectionFilter", " deleting filter:", system,
                       " remotePath:", remotePath);
      FEN_TRACE(gantryTrace(), 5,
                "removeSystemFromConnectionFilter: Deleting filter " << system
                                                                     << " for:" << remotePath);
      entry->connectionFilterDel(system);
      // As when one is added: the last one opens the entry to all others, at their next event.
      entry->handleNamedSwitchConnection(system);
      return;
   }
   RINGSCRIBE_TRACE(5, "removeSystemFromConnectionFilter", " dec refCount:", refCount - 1,
                    " filter:", system, " remotePath:", remotePath);
   FEN_TRACE(gantryTrace(), 5,
             "removeSystemFromConnectionFilter: Dec RefCount=" << refCount - 1 << " filter:"
                                                               << system << " for " << remotePath);
   FEN_ASSERT(refCount > 1, "refCount > 1");
   entry->connectionFilterIs(system, refCount - 1);
}

void MounterConfigSm::addVersionToVersionFilter(std::uint32_t version) {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::addVersionToVersionFilter " << version);
   Fen::Ptr<MountsRegistryEntrySm> const entry = mountsRegistryEntrySm();
   if (!entry) {
      return;
   }
   entry->versionFilterIs(mounter()->serviceName())->versionIs(version, true);
   entry->handleSwitchConnection();
}

void MounterConfigSm::removeVersionFromVersionFilter(std::uint32_t version) {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::removeVersionFromVersionFilter " << version);
   Fen::Ptr<MountsRegistryEntrySm> const entry = mountsRegistryEntrySm();
   if (!entry) {
      return;
   }
   Fen::String8 const service = mounter()->serviceName();
   // Made when it is absent, and deleted again below: an empty set would refuse every version,
   // where no set accepts all.
   auto const filter = entry->versionFilterIs(service);
   filter->versionDel(version);
   if (filter->versionCount() == 0) {
      entry->versionFilterDel(service);
   }
   entry->handleSwitchConnection();
}

// ---- end of life -------------------------------------------------------------------------------

void MounterConfigSm::doCleanup() {
   FEN_TRACE(gantryTrace(), 8, "MounterConfigSm::doCleanup");
   Fen::Ptr<Mounter> const going = mounter();
   if (auto const group = going->mountGroupConfig()) {
      // Every key, also one that holds false and was never counted: see handleIncludedSystem().
      if (auto const filter = group->systemFilter()) {
         for (auto i = filter->includedSystemIterator(); i; ++i) {
            removeSystemFromConnectionFilter(i.key());
         }
      }
      if (auto const filter = group->versionFilter()) {
         for (auto i = filter->includedServiceVersionIterator(); i; ++i) {
            removeVersionFromVersionFilter(i.key());
         }
      }
   }
   Fen::Name const name = going->mountConfig()->name();
   Fen::Ptr<ServiceMountStatus> const status = going->serviceMountStatus();
   if (status->mountedPathPrefix(name)) {
      status->mountedPathPrefixDel(name);
   }
   // Both walks delete what they stand on.
   for (auto i = status->systemStatusIterator(); i; ++i) {
      Fen::Ptr<SystemStatus> const systemStatus = status->systemStatus(i.key());
      if (!systemStatus) {
         continue; // a reader of the status took it out
      }
      cleanSystemStatus(systemStatus, name);
      if (systemStatus->serviceMountGroupStatusCount() == 0) {
         RINGSCRIBE_TRACE(5, "doCleanup", " deleting system status:", systemStatus->name());
         FEN_TRACE(gantryTrace(), 5,
                   "doCleanup: Deleting system status for " << systemStatus->name());
         status->systemStatusDel(systemStatus->name());
      }
   }
}

/// Takes the mount out of every group of one system, not of the mounter's own alone: a service that
/// moves a mount to another group leaves the state of the former group behind.
void MounterConfigSm::cleanSystemStatus(Fen::Ptr<SystemStatus> const& systemStatus,
                                        Fen::Name const& name) {
   for (auto i = systemStatus->serviceMountGroupStatusIterator(); i; ++i) {
      auto const groupStatus = systemStatus->serviceMountGroupStatus(i.key());
      if (!groupStatus) {
         continue;
      }
      if (groupStatus->mountStatus(name)) {
         RINGSCRIBE_TRACE(5, "doCleanup", " deleting mount status:", name);
         FEN_TRACE(gantryTrace(), 5, "doCleanup: Deleting mount status for " << name);
         groupStatus->mountStatusDel(name);
      }
      if (groupStatus->mountStatusCount() == 0) {
         RINGSCRIBE_TRACE(5, "doCleanup", " deleting mount group status:", groupStatus->name());
         FEN_TRACE(gantryTrace(), 5,
                   "doCleanup: Deleting mount group status for " << groupStatus->name());
         systemStatus->serviceMountGroupStatusDel(groupStatus->name());
      }
   }
}

} // namespace Controller
