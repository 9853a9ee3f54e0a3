/// The state of each mount on its way up into the status of every service that wants the path:
/// ServiceMountStatus, SystemStatus, ServiceMountGroupStatus, MountStatus.
#include <gantry/common/GantryTrace.h>
#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>

namespace Controller {

namespace {

/// The key of the group's status. A mounter without a group reports under the name that it was
/// declared with.
Fen::Name groupKey(Mounter const& mounter) {
   auto const group = mounter.mountGroupConfig();
   return group ? group->name() : Fen::Name(mounter.groupName());
}

} // namespace

void MountsRegistryEntrySm::updateMountersStatus(SystemId const& connectionId, MountState state) {
   RINGSCRIBE_TRACE(8, "updateMountersStatus", " mountState:", state,
                    " connection:", connectionId.stringValue());
   FEN_TRACE(gantryTrace(), 8,
             "MountsRegistryEntrySm::updateMountersStatus"
                << " Mount state:" << state << " Connection:" << connectionId);
   auto const entry = registryEntry();
   for (auto i = entry->mounterIterator(); i; ++i) {
      updateMounterStatus(i.ptr(), connectionId, state);
   }
}

void MountsRegistryEntrySm::updateMounterStatus(Fen::Ptr<Mounter> const& mounter,
                                                SystemId const& connectionId, MountState state) {
   FEN_TRACE(gantryTrace(), 8,
             "MountsRegistryEntrySm::updateMounterStatus " << mounter->serviceName() << " "
                                                           << connectionId << " " << state);
   MountsRegistrySm* const registry = mountsRegistrySm();
   Fen::String8 const connection =
      registry != nullptr ? registry->connectionText(connectionId) : connectionId.stringValue();
   auto const serviceMountStatus = mounter->serviceMountStatus();
   FEN_ASSERT(serviceMountStatus, "serviceMountStatus");
   if (state != mountStateUnmounted && mounterIsInterestedInConnection(mounter, connection)) {
      setMountStatus(mounter, connection, state);
   } else {
      // Also while the mount lives on for others: a service that has lost its interest sees it no
      // longer, from the next change of the state on.
      removeMountStatus(mounter, connection, state);
   }
}

void MountsRegistryEntrySm::setMountStatus(Fen::Ptr<Mounter> const& mounter,
                                           Fen::String8 const& connection, MountState state) {
   auto const entry = registryEntry();
   Fen::Name const group = groupKey(*mounter);
   auto const groupStatus =
      mounter->serviceMountStatus()->systemStatusIs(connection)->serviceMountGroupStatusIs(group);
   auto const mountStatus = groupStatus->mountStatusIs(mounter->mountConfig()->name());
   RINGSCRIBE_TRACE(5, "updateMounterStatus", " mountState:", state, " connection:", connection,
                    " service:", mounter->serviceName(), " group:", group,
                    " remotePath:", entry->remotePath());
   FEN_TRACE(gantryTrace(), 5,
             "updateMounterStatus: Mount state:"
                << state << " Connection:" << connection << " Service:" << mounter->serviceName()
                << " MountGroup:" << group << " Remote path:" << entry->remotePath());
   if (state == mountStateMounted) {
      // Written before the state, so that who hears of the state finds the path; and never cleared,
      // since a preserved tree is still to be found there.
      mountStatus->mountedPathIs(entry->targetPath() + "/" + connection);
   }
   mountStatus->mountStateIs(state);
   updateMountGroupMountState(mounter->mountGroupConfig(), groupStatus, state);
}

void MountsRegistryEntrySm::removeMountStatus(Fen::Ptr<Mounter> const& mounter,
                                              Fen::String8 const& connection, MountState state) {
   auto const serviceMountStatus = mounter->serviceMountStatus();
   auto const systemStatus = serviceMountStatus->systemStatus(connection);
   if (!systemStatus) {
      RINGSCRIBE_TRACE(5, "updateMounterStatus", " no system status connection:", connection);
      FEN_TRACE(gantryTrace(), 5,
                "updateMounterStatus: no system status for connection: " << connection);
      return;
   }
   Fen::Name const group = groupKey(*mounter);
   Fen::Name const name = mounter->mountConfig()->name();
   Fen::Name const remotePath = registryEntry()->remotePath();
   RINGSCRIBE_TRACE(5, "updateMounterStatus", " mountState:", state, " connection:", connection,
                    " service:", mounter->serviceName(), " group:", group,
                    " remotePath:", remotePath);
   FEN_TRACE(gantryTrace(), 5,
             "updateMounterStatus: Mount state:"
                << state << " Connection:" << connection << " Service:" << mounter->serviceName()
                << " MountGroup:" << group << " Remote path:" << remotePath);
   auto const groupStatus = systemStatus->serviceMountGroupStatus(group);
   if (!groupStatus) {
      RINGSCRIBE_TRACE(5, "updateMounterStatus", " no mount group status:", group);
      FEN_TRACE(gantryTrace(), 5, "updateMounterStatus: no mount group status for: " << group);
      return;
   }
   RINGSCRIBE_TRACE(5, "updateMounterStatus", " deleting mountStatus:", name);
   FEN_TRACE(gantryTrace(), 5, "updateMounterStatus: Deleting mountStatus for : " << name);
   groupStatus->mountStatusDel(name);
   // What is left of the group keeps the state that it had: it is rolled up again with the next
   // state of one of its mounts.
   if (groupStatus->mountStatusCount() != 0) {
      return;
   }
   RINGSCRIBE_TRACE(5, "updateMounterStatus", " deleting mount group status:", group);
   FEN_TRACE(gantryTrace(), 5, "updateMounterStatus: Deleting mount group status for " << group);
   systemStatus->serviceMountGroupStatusDel(group);
   if (systemStatus->serviceMountGroupStatusCount() != 0) {
      return;
   }
   RINGSCRIBE_TRACE(5, "updateMounterStatus", " deleting systemStatus connection:", connection,
                    " mountState:", state, " service:", mounter->serviceName(),
                    " remotePath:", remotePath);
   FEN_TRACE(gantryTrace(), 5,
             "updateMounterStatus: Deleting systemStatus for "
                << " Connection:" << connection << " Mount state:" << state
                << " Service:" << mounter->serviceName() << " Remote path:" << remotePath);
   serviceMountStatus->systemStatusDel(connection);
}

void MountsRegistryEntrySm::updateMountGroupMountState(
   Fen::Ptr<ServiceMountGroupConfig const> const& mountGroupConfig,
   Fen::Ptr<ServiceMountGroupStatus> const& groupStatus, MountState newState) {
   FEN_TRACE(gantryTrace(), 8,
             "MountsRegistryEntrySm::updateMountGroupMountState " << groupStatus->name() << " "
                                                                  << newState);
   MountState groupState = newState;
   // The first member that decides ends the walk: a large group is rolled up with every state of
   // every mount, and most walks are short. So what the group shows depends on the order of its
   // mounts, and a failed one prevails only over what stands behind it. Whoever needs all failures
   // reads the mounts.
   if (mountGroupConfig) {
      for (auto i = mountGroupConfig->mountConfigIterator(); i; ++i) {
         auto const mountStatus = groupStatus->mountStatus(i.key());
         if (mountStatus && mountStatus->mountState() == mountStateFailed) {
            groupState = mountStateFailed;
            break;
         }
         if (!mountStatus || mountStatus->mountState() != newState) {
            groupState = mountStateUnmounted;
            break;
         }
      }
   }
   RINGSCRIBE_TRACE(5, "updateMountGroupMountState", " group:", groupStatus->name(),
                    " mountState:", groupState);
   groupStatus->mountStateIs(groupState);
}

} // namespace Controller
