/// The machine of one publish group: a path that is declared becomes an entry of the registry, with
/// the filters of the group.
#include <gantry/common/GantryTrace.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/ringscribe/Trace.h>
#include <gantry/service/ServicePublishConfigSm.fen.h>

namespace Controller {

void ServicePublishGroupSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "ServicePublishGroupSm::handleInitialized");
   if (initialized()) {
      return;
   }
   initializedIs(true);
   handlePublishConfig();
}

void ServicePublishGroupSm::handlePublishConfig() {
   FEN_TRACE(gantryTrace(), 8, "ServicePublishGroupSm::handlePublishConfig");
   if (!initialized()) {
      return;
   }
   Fen::Ptr<ServicePublishGroupConfig const> const group = publishGroupConfig();
   for (auto i = group->publishConfigIterator(); i; ++i) {
      handlePublishConfig(i.key());
   }
}

void ServicePublishGroupSm::handlePublishConfig(Fen::Name controllerdbPath) {
   FEN_TRACE(gantryTrace(), 8, "ServicePublishGroupSm::handlePublishConfig: " << controllerdbPath);
   if (!initialized()) {
      return;
   }
   Fen::Ptr<ServicePublishGroupConfig const> const group = publishGroupConfig();
   if (auto const publishConfig = group->publishConfig(controllerdbPath)) {
      // Complete whatever the registry does next, also when the path is another service's: the
      // state says that the declaration was taken up, and is never taken back.
      publishGroupStatus()->publishStatusIs(controllerdbPath)->publishStateIs(publishStateComplete);
      addPublishConfig(publishConfig, group);
   } else {
      publishGroupStatus()->publishStatusDel(controllerdbPath);
      removePublishConfig(controllerdbPath);
   }
}

void ServicePublishGroupSm::doCleanup() {
   FEN_TRACE(gantryTrace(), 8, "ServicePublishGroupSm::doCleanup");
   // Directories are not touched here: each goes by its reactor.
   Fen::Ptr<ServicePublishGroupConfig const> const group = publishGroupConfig();
   for (auto i = group->publishConfigIterator(); i; ++i) {
      removePublishConfig(i.key());
   }
}

Fen::String8 ServicePublishGroupSm::serviceName() const {
   ServicePublishConfigSm const* const owner = servicePublishConfigSm();
   return owner != nullptr && owner->servicePublishConfig()
             ? Fen::String8(owner->servicePublishConfig()->serviceName())
             : Fen::String8();
}

// ---- filters -----------------------------------------------------------------------------------

// Both go to the entry of each path by the path alone: one that another service holds gets this
// group's filters, too. They are not held back before initialized, since nothing but a change of
// the group leads here.

void ServicePublishGroupSm::handleSystemFilter() {
   Fen::Ptr<ServicePublishGroupConfig const> const group = publishGroupConfig();
   FEN_TRACE(
      gantryTrace(), 8,
      "ServicePublishGroupSm::handleSystemFilter: "
         << (group->systemFilter() ? group->systemFilter()->filterName() : Fen::Name("None")));
   for (auto i = group->publishConfigIterator(); i; ++i) {
      auto const pe = mountsRegistry()->publishEntry(i.key());
      FEN_ASSERT(pe, "pe");
      pe->systemFilterIs(group->systemFilter());
   }
}

void ServicePublishGroupSm::handleVersionFilter() {
   Fen::Ptr<ServicePublishGroupConfig const> const group = publishGroupConfig();
   FEN_TRACE(
      gantryTrace(), 8,
      "ServicePublishGroupSm::handleVersionFilter: "
         << (group->versionFilter() ? group->versionFilter()->filterName() : Fen::Name("None")));
   for (auto i = group->publishConfigIterator(); i; ++i) {
      auto const pe = mountsRegistry()->publishEntry(i.key());
      FEN_ASSERT(pe, "pe");
      pe->versionFilterIs(group->versionFilter());
   }
}

// ---- adding ------------------------------------------------------------------------------------

void ServicePublishGroupSm::addPublishConfig(
   Fen::Ptr<PublishConfig const> const& publishConfig,
   Fen::Ptr<ServicePublishGroupConfig const> const& group) {
   Fen::Name const path = publishConfig->controllerdbPath();
   if (mountsRegistry()->publishEntry(path)) {
      // The name is that of the service that comes too late, since it is the one to be corrected.
      // The words are what people and scripts search for: they stay as they are spelled.
      FEN_TRACE(gantryTrace(), 1,
                "addPublishConfig " << path << " already pblished by " << serviceName());
      return;
   }
   // A single path is ready at once: readyToPublish of its declaration is not read.
   addPublishDirOrConfig(path, publishConfig->remotePath(), publishConfig->fencType(), false, true,
                         group);
}

void ServicePublishGroupSm::addPublishDir(Fen::Ptr<PublishDir const> const& publishDir,
                                          Fen::Ptr<ServicePublishGroupConfig const> const& group) {
   Fen::Name const path = publishDir->controllerdbPath();
   FEN_TRACE(gantryTrace(), 8, "ServicePublishGroupSm::addPublishDir: " << path);
   if (mountsRegistry()->publishEntry(path)) {
      FEN_TRACE(gantryTrace(), 1,
                "addPublishDir " << path << " already pblished by " << serviceName());
      return;
   }
   // Neither the path on the peer nor the readiness is read here: both come together when the
   // service says that it has filled the directory.
   addPublishDirOrConfig(path, "", publishDir->fenType(), true, false, group);
}

void ServicePublishGroupSm::addPublishDirOrConfig(
   Fen::String8 controllerdbPath, Fen::String8 remotePath, Fen::String8 fenType, bool isPrefixPath,
   bool readyToPublish, Fen::Ptr<ServicePublishGroupConfig const> const& group) {
   Fen::String8 const service = serviceName();
   RINGSCRIBE_TRACE(5, "addPublishDirOrConfig", " adding:", " service:", service,
                    " cpath:", controllerdbPath, " rpath:", remotePath, " type:", fenType);
   FEN_TRACE(gantryTrace(), 5,
             "addPublishDirOrConfig"
                << " adding "
                << " serviceName:" << service << " controllerdbPath:" << controllerdbPath
                << " remotePath:" << remotePath << " fenType:" << fenType << " versionFilter: "
                << (group->versionFilter() ? group->versionFilter()->filterName()
                                           : Fen::Name("False"))
                << " switchFilter: "
                << (group->systemFilter() ? group->systemFilter()->filterName()
                                          : Fen::Name("False")));
   auto const entry =
      mountsRegistry()->publishEntryIs(controllerdbPath, remotePath, fenType, isPrefixPath, service,
                                       group->versionFilter(), group->systemFilter());
   entry->readyToPublishIs(readyToPublish);
}

// ---- removing ----------------------------------------------------------------------------------

void ServicePublishGroupSm::removePublishConfig(Fen::String8 controllerdbPath) {
   removePublishDirOrConfig(controllerdbPath);
}

void ServicePublishGroupSm::removePublishDir(Fen::String8 controllerdbPath) {
   FEN_TRACE(gantryTrace(), 8, "ServicePublishGroupSm::removePublishDir: " << controllerdbPath);
   removePublishDirOrConfig(controllerdbPath);
}

void ServicePublishGroupSm::removePublishDirOrConfig(Fen::String8 controllerdbPath) {
   RINGSCRIBE_TRACE(5, "removePublishDirOrConfig", " removing cpath:", controllerdbPath);
   FEN_TRACE(gantryTrace(), 5, "removePublishDirOrConfig removing " << controllerdbPath);
   // Whoever owns the entry: two services that declare one path is a mistake of theirs, and the one
   // that corrects it ends the publication for both until it is declared anew. No group remembers
   // which entries it has made.
   mountsRegistry()->publishEntryDel(controllerdbPath);
}

} // namespace Controller
