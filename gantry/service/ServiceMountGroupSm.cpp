/// The machine of one mount group: a mount that is declared becomes an entry of the registry, a
/// mounter in it, and the directories of its target path.
#include <gantry/common/GantryTrace.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>
#include <gantry/service/CreateDirPath.h>
#include <gantry/service/ServiceMountConfigSm.fen.h>

namespace Controller {

void ServiceMountGroupSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "ServiceMountGroupSm::handleInitialized");
   if (initialized()) {
      return;
   }
   initializedIs(true);
   handleMountConfig();
}

void ServiceMountGroupSm::handleMountConfig() {
   FEN_TRACE(gantryTrace(), 8, "ServiceMountGroupSm::handleMountConfig");
   if (!initialized()) {
      return;
   }
   Fen::Ptr<ServiceMountGroupConfig const> const group = mountGroupConfig();
   for (auto i = group->mountConfigIterator(); i; ++i) {
      handleMountConfig(i.key());
   }
}

void ServiceMountGroupSm::handleMountConfig(Fen::Name remotePath) {
   FEN_TRACE(gantryTrace(), 8, "ServiceMountGroupSm::handleMountConfig: " << remotePath);
   if (!initialized()) {
      return;
   }
   if (mountGroupConfig()->mountConfig(remotePath)) {
      addMountConfig(remotePath);
   } else {
      removeMountConfig(remotePath);
   }
}

void ServiceMountGroupSm::doCleanup() {
   FEN_TRACE(gantryTrace(), 8, "ServiceMountGroupSm::doCleanup");
   Fen::Ptr<ServiceMountGroupConfig const> const group = mountGroupConfig();
   for (auto i = group->mountConfigIterator(); i; ++i) {
      removeMountConfig(i.key());
   }
}

MounterName ServiceMountGroupSm::requester() const {
   Fen::String8 serviceName;
   if (serviceMountConfigSm() != nullptr && serviceMountConfigSm()->serviceMountConfig()) {
      serviceName = serviceMountConfigSm()->serviceMountConfig()->serviceName();
   }
   return MounterName(serviceName, mountGroupConfig()->serviceMountGroupName());
}

// ---- adding ------------------------------------------------------------------------------------

void ServiceMountGroupSm::addMountConfig(Fen::Name remotePath) {
   FEN_TRACE(gantryTrace(), 8, "ServiceMountGroupSm::addMountConfig: " << remotePath);
   MounterName const mounterName = requester();
   Fen::String8 const service = mounterName.serviceName();
   Fen::String8 const group = mounterName.groupName();
   Fen::Ptr<MountConfig const> const mountConfig = mountGroupConfig()->mountConfig(remotePath);
   Fen::Ptr<MountsRegistryEntry> mre = mountsRegistry()->mountEntry(remotePath);
   mre = mre ? sharedEntry(mre, *mountConfig, mounterName) : newEntry(*mountConfig, mounterName);
   FEN_ASSERT(mre, "mre");
   if (mre->mounter(service)) {
      // The check is by service alone: all groups of a service share its one mounter, and the first
      // group that asked names it.
      FEN_TRACE(gantryTrace(), 5,
                "addMountConfig"
                   << " Service:" << service << " has already requested a mount for "
                   << remotePath);
      return;
   }
   Fen::String8 const prefix = mre->targetPath();
   RINGSCRIBE_TRACE(5, "addMountConfig", " add mounter", " service:", service, " group:", group,
                    " rpath:", remotePath, " path prefix:", prefix);
   FEN_TRACE(gantryTrace(), 5,
             "addMountConfig"
                << ": Add mounter:"
                << " Service: " << service << ". Group: " << group
                << ". Remote path: " << remotePath << ". Mounted path prefix: " << prefix);
   serviceMountStatus()->mountedPathPrefixIs(remotePath, prefix);
   mre->mounterIs(mounterName, mountConfig, mountGroupConfig(), serviceMountStatus());
}

Fen::Ptr<MountsRegistryEntry>
ServiceMountGroupSm::sharedEntry(Fen::Ptr<MountsRegistryEntry> const& mre,
                                 MountConfig const& mountConfig, MounterName const& mounterName) {
   Fen::Name const remotePath = mre->remotePath();
   RINGSCRIBE_TRACE(5, "addMountConfig", " dup registry entry",
                    " service:", mounterName.serviceName(), " group:", mounterName.groupName(),
                    " rpath:", remotePath);
   FEN_TRACE(gantryTrace(), 5,
             "addMountConfig"
                << ": Duplicate registry entry:"
                << " Service:" << mounterName.serviceName() << ". Group:" << mounterName.groupName()
                << ". Remote path:" << remotePath);
   FEN_ASSERT(mre->fenType() == mountConfig.fencType(),
              "mre->fenType() == mountConfig->fencType()");
   FEN_ASSERT(mre->mountFlags() == mountConfig.mountFlags(),
              "mre->mountFlags() == mountConfig->mountFlags()");
   // Where this requester wants the mount is not compared and has no effect: there is one mount for
   // all, in the place of the first, and everybody reads that place from the prefix.
   return mre;
}

Fen::Ptr<MountsRegistryEntry> ServiceMountGroupSm::newEntry(MountConfig const& mountConfig,
                                                            MounterName const& mounterName) {
   Fen::Name const remotePath = mountConfig.remotePath();
   Fen::String8 targetPath = mountConfig.targetMountPath();
   if (!targetPath) {
      targetPath = mountsRegistry()->registryDirPath() + "/" + remotePath;
      doCreateDirPath(mountsRegistry()->registryDir(), remotePath);
   } else {
      doCreateDirPath(mountsRegistry()->rootDir(), targetPath);
   }
   RINGSCRIBE_TRACE(5, "addMountConfig", " add registry entry",
                    " service:", mounterName.serviceName(), " group:", mounterName.groupName(),
                    " rpath:", remotePath, " tpath:", targetPath);
   FEN_TRACE(gantryTrace(), 5,
             "addMountConfig"
                << ": Add registry entry:"
                << " Service:" << mounterName.serviceName() << ". Group:" << mounterName.groupName()
                << ". Remote path:" << remotePath << ". Target path:" << targetPath);
   return mountsRegistry()->mountEntryIs(remotePath, targetPath, mountConfig.fencType(),
                                         mountConfig.mountFlags());
}

// ---- removing ----------------------------------------------------------------------------------

void ServiceMountGroupSm::removeMountConfig(Fen::Name remotePath) {
   FEN_TRACE(gantryTrace(), 8, "ServiceMountGroupSm::removeMountConfig: " << remotePath);
   MounterName const mounterName = requester();
   Fen::String8 const service = mounterName.serviceName();
   Fen::String8 const group = mounterName.groupName();
   Fen::Ptr<MountsRegistryEntry> const mre = mountsRegistry()->mountEntry(remotePath);
   if (!mre) {
      return;
   }
   RINGSCRIBE_TRACE(5, "removeMountConfig", " del registry entry:", " service:", service,
                    " group:", group, " path:", remotePath);
   FEN_TRACE(gantryTrace(), 5,
             "removeMountConfig"
                << ": Delete registry entry:"
                << " Service: " << service << ". Group: " << group
                << ". Remote path: " << remotePath);
   // By service alone, whichever group asked: a service that withdraws a path anywhere is done with
   // it. A group that still declares the path is served again when it declares it anew.
   if (mre->mounter(service)) {
      serviceMountStatus()->mountedPathPrefixDel(remotePath);
      mre->mounterDel(service);
   }
   if (mre->mounterCount() == 0) {
      // The entry stays, in spite of the words above: the mounts that it drives end through its
      // mounters, and the next request for the path shall find the same target path.
      RINGSCRIBE_TRACE(5, "removeMountConfig", " all mounters gone", " path:", remotePath);
      FEN_TRACE(gantryTrace(), 5,
                "removeMountConfig"
                   << ": All mounters gone:"
                   << ". Remote path: " << remotePath);
   }
}

} // namespace Controller
