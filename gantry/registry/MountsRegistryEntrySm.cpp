/// One remote path across all connections: what happens when a connection, a mounter or the state
/// of a mount changes. What may be mounted from where stands in MounterEvaluation.cpp, how states
/// reach the services in MountStateRollUp.cpp.
#include <gantry/common/GantryTrace.h>
#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>

#include <limits>

namespace Controller {

void MountsRegistryEntrySm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::handleInitialized");
   // No evaluation: a fresh entry has no mounters, and those that were there before the top machine
   // are evaluated when that one is through with all of them.
   initializedIs(true);
}

// ---- mounters ----------------------------------------------------------------------------------

void MountsRegistryEntrySm::handleMounter() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::handleMounter");
   auto const entry = registryEntry();
   for (auto i = entry->mounterIterator(); i; ++i) {
      handleMounter(i.key());
   }
}

void MountsRegistryEntrySm::handleMounter(Fen::String8 serviceName) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::handleMounter " << serviceName);
   evaluateMounters();
   auto const entry = registryEntry();
   Fen::Name const remotePath = entry->remotePath();
   auto const machine = mounterConfigSm(serviceName);
   if (auto const mounter = entry->mounter(serviceName)) {
      if (machine) {
         return;
      }
      RINGSCRIBE_TRACE(5, "handleMounter", " new mounter remotePath:", remotePath,
                       " service:", serviceName, " group:", mounter->groupName());
      FEN_TRACE(gantryTrace(), 5,
                "handleMounter: New mounter for " << remotePath << " Service:" << serviceName
                                                  << " Group:" << mounter->groupName());
      mounterConfigSmIs(mounter);
      if (entry->mounter(serviceName) != mounter) {
         mounterOvertaken(serviceName);
         return;
      }
   } else {
      if (!machine) {
         return;
      }
      RINGSCRIBE_TRACE(5, "handleMounter", " mounter gone remotePath:", remotePath,
                       " service:", serviceName);
      FEN_TRACE(gantryTrace(), 5,
                "handleMounter: Mounter gone for " << remotePath << " Service:" << serviceName);
      machine->doCleanup();
      mounterConfigSmDel(serviceName);
   }
   handleSwitchConnection();
}

/// The mounter has gone while its filters were taken in, and that was told while its machine had no
/// place yet: what was made for it goes, and whoever wants the path by now comes in its stead.
void MountsRegistryEntrySm::mounterOvertaken(Fen::String8 const& serviceName) {
   while (auto const machine = mounterConfigSm(serviceName)) {
      machine->doCleanup();
      mounterConfigSmDel(serviceName);
   }
   handleMounter(serviceName);
   handleSwitchConnection();
}

// ---- connections -------------------------------------------------------------------------------

void MountsRegistryEntrySm::handleSwitchConnection() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::handleSwitchConnection");
   if (!initialized()) {
      return;
   }
   auto const status = controllerStatus();
   for (auto i = status->registeredSwitchIterator(); i; ++i) {
      handleSwitchConnection(i.key());
   }
}

void MountsRegistryEntrySm::handleSwitchConnection(SystemId const& connectionId) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::handleSwitchConnection " << connectionId);
   // A machine that its owner has dropped in the middle of a walk decides nothing more.
   if (!initialized() || mountsRegistrySm() == nullptr) {
      return;
   }
   auto const status = controllerStatus();
   if (!status->registeredSwitch(connectionId)) {
      RINGSCRIBE_TRACE(5, "handleSwitchConnection", " connection:", connectionId.stringValue(),
                       " switch registered:", false);
      FEN_TRACE(gantryTrace(), 5,
                "handleSwitchConnection: Connection " << connectionId << " switch registered = "
                                                      << "false");
      doDisconnectSwitch(connectionId);
      return;
   }
   auto const switchConfig = status->switchConfig(connectionId);
   FEN_ASSERT(switchConfig, "switchConfig");
   Fen::String8 const connection = mountsRegistrySm()->connectionText(connectionId);
   if (switchConfig->connectionConfig() && canMountFromConnection(connection)) {
      doConnectSwitch(connectionId);
      return;
   }
   RINGSCRIBE_TRACE(5, "handleSwitchConnection", " cannot mount from:", connection);
   FEN_TRACE(gantryTrace(), 5, "handleSwitchConnection: Cannot mount from " << connection);
   doDisconnectSwitch(connectionId);
}

void MountsRegistryEntrySm::handleNamedSwitchConnection(Fen::String8 connection) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::handleNamedSwitchConnection " << connection);
   handleSwitchConnection(SystemId(connection));
}

// ---- mounting ----------------------------------------------------------------------------------

void MountsRegistryEntrySm::doConnectSwitch(SystemId const& connectionId) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::doConnectSwitch " << connectionId);
   if (!initialized()) {
      return;
   }
   auto const switchConfig = controllerStatus()->switchConfig(connectionId);
   FEN_ASSERT(switchConfig, "switchConfig");
   FEN_ASSERT(switchConfig->connectionConfig(), "switchConfig->connectionConfig()");
   Fen::Name const remotePath = registryEntry()->remotePath();
   if (auto const mount = mountSm(connectionId)) {
      RINGSCRIBE_TRACE(5, "doConnectSwitch", " remounting:", remotePath,
                       " from:", connectionId.stringValue());
      FEN_TRACE(gantryTrace(), 5,
                "doConnectSwitch: ReMounting " << remotePath << " from:" << connectionId);
      // Also a mount that is in perfect order: nobody here knows whether the client behind the
      // connection is still the one that it was mounted from. The mount's machine decides what a
      // remount means in its state.
      mount->doRemount();
      return;
   }
   RINGSCRIBE_TRACE(5, "doConnectSwitch", " mounting:", remotePath,
                    " from:", connectionId.stringValue());
   FEN_TRACE(gantryTrace(), 5,
             "doConnectSwitch: Mounting " << remotePath << " from:" << connectionId);
   newMount(connectionId);
}

namespace {

/// What the machine of a mount takes for seconds: whole ones, the rest cut off. Zero asks for no
/// limit, but less than a second is not zero; it is cut to a mount that times out at once, which
/// shows the mistake. Numbers that no unsigned number can hold become the nearest.
std::uint32_t mountTimeoutOf(double seconds) {
   constexpr std::uint32_t noLimit = 0x7FFFFFFF;
   if (seconds == 0.0) {
      return noLimit;
   }
   constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
   if (seconds >= static_cast<double>(most)) {
      return most;
   }
   return seconds > 0.0 ? static_cast<std::uint32_t>(seconds) : 0;
}

std::uint32_t reconnectRetriesOf(std::uint32_t retries) {
   constexpr std::uint32_t forEver = 0xFFFFFFFF;
   return retries == 0 ? forEver : retries;
}

} // namespace

void MountsRegistryEntrySm::newMount(SystemId const& connectionId) {
   auto const entry = registryEntry();
   MountsRegistry const& registry = *entry->registry();
   auto const prefixDir =
      Fen::Entity::entity(Fen::EntityUriPath(entry->targetPath()), registry.rootDir());
   FEN_ASSERT(prefixDir, "prefixDir");
   // A subtree for each peer, so that peers never meet in one place.
   auto const directory = Fen::ptrCast<Fen::Dir>(prefixDir);
   auto const connectionTargetDir =
      directory ? directory->entryIs(connectionId.stringValue()) : nullptr;
   FEN_ASSERT(connectionTargetDir, "connectionTargetDir");
   mountSmDataIs(connectionId, Fen::String8());
   mountSmIs(connectionId, controllerStatus()->switchConfig(connectionId)->connectionConfig(),
             registry.remoteRootPath(), entry->name(), connectionTargetDir->fullName(),
             entry->fenType(), entry->mountFlags(), reconnectRetriesOf(registry.reconnectRetries()),
             mountTimeoutOf(registry.mountTimeout()), mountSmData(connectionId));
}

void MountsRegistryEntrySm::doDisconnectSwitch(SystemId const& connectionId) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::doDisconnectSwitch " << connectionId);
   if (!initialized()) {
      return;
   }
   auto const mount = mountSm(connectionId);
   if (!mount) {
      RINGSCRIBE_TRACE(5, "doDisconnectSwitch",
                       " already unmounted connection:", connectionId.stringValue());
      FEN_TRACE(gantryTrace(), 5,
                "doDisconnectSwitch: Already unmounted "
                   << "Connection:" << connectionId);
      // Status that a machine long gone has left behind.
      updateMountersStatus(connectionId, mountStateUnmounted);
      return;
   }
   Fen::String8 const connection = connectionId.stringValue();
   RINGSCRIBE_TRACE(5, "doDisconnectSwitch", " unmounting:", registryEntry()->remotePath(),
                    " from:", connection);
   FEN_TRACE(gantryTrace(), 5,
             "doDisconnectSwitch: UnMounting " << registryEntry()->remotePath()
                                               << " from:" << connection);
   // The status follows the state that the mount reports.
   if (preserveMountsOnDisconnect(connection)) {
      RINGSCRIBE_TRACE(5, "doDisconnectSwitch", " state-preserving unmount");
      FEN_TRACE(gantryTrace(), 5, "doDisconnectSwitch: unmount is state-preserving");
      mount->doStatePreservingUnmount();
   } else {
      RINGSCRIBE_TRACE(5, "doDisconnectSwitch", " full unmount");
      FEN_TRACE(gantryTrace(), 5, "doDisconnectSwitch: unmount is not state-preserving");
      mount->doUnmount();
   }
}

bool MountsRegistryEntrySm::preserveMountsOnDisconnect(Fen::String8 connection) {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::preserveMountsOnDisconnect " << connection);
   auto const entry = registryEntry();
   for (auto i = entry->mounterIterator(); i; ++i) {
      auto const group = i->mountGroupConfig();
      if (!group || !group->preserveMountsOnDisconnect()) {
         continue;
      }
      // The version filter is not asked: the version has gone with the connection.
      auto const filter = group->systemFilter();
      if (!filter || filter->includedSystem(connection)) {
         RINGSCRIBE_TRACE(8, "preserveMountsOnDisconnect", " preserving for group:", group->name(),
                          " service:", i->serviceName());
         FEN_TRACE(gantryTrace(), 8,
                   "MountsRegistryEntrySm::preserveMountsOnDisconnect: mounter for group "
                      << group->name() << " and service " << i->serviceName() << " has preserve=1");
         // One decides for all, since all share the one mount of the connection.
         return true;
      }
   }
   return false;
}

// ---- the state of a mount ----------------------------------------------------------------------

void MountsRegistryEntrySm::FenMountSmDataSm::handleMountState() {
   SystemId const connectionId = fwkKey();
   MountState const newState = mountSmData()->mountState();
   RINGSCRIBE_TRACE(8, "handleMountState", " connection:", connectionId.stringValue(),
                    " oldMountState:", oldMountstate(), " newMountState:", newState);
   FEN_TRACE(gantryTrace(), 8,
             "MountsRegistryEntrySm::FenMountSmDataSm::handleMountState"
                << " oldMountState=" << oldMountstate() << " newMountState=" << newState);
   Fen::Ptr<MountsRegistryEntrySm> const entry = mountsRegistryEntrySm();
   entry->updateMountersStatus(connectionId, newState);
   if (oldMountstate() == mountStateUnmounted || newState != mountStateUnmounted) {
      oldMountstateIs(newState);
      return;
   }
   auto const mount = entry->mountSm(connectionId);
   FEN_ASSERT(mount, "mountsRegistryEntrySm()->mountSm( connectionId )");
   RINGSCRIBE_TRACE(8, "handleMountState", " deleting mountSm:", connectionId.stringValue());
   FEN_TRACE(gantryTrace(), 8,
             "MountsRegistryEntrySm::FenMountSmDataSm::handleMountState"
                << ": Deleting mountSm for " << connectionId);
   mount->doCleanup();
   entry->mountSmDel(connectionId);
   // Takes this reactor along: nothing of it is touched from here on.
   entry->mountSmDataDel(connectionId);
}

// ---- end of life -------------------------------------------------------------------------------

void MountsRegistryEntrySm::doCleanup() {
   FEN_TRACE(gantryTrace(), 8, "MountsRegistryEntrySm::doCleanup");
   // There is no list of what to unmount: with the mounters gone no connection qualifies, and each
   // evaluation ends in an unmount.
   handleSwitchConnection();
}

} // namespace Controller
