/// The reactor on one published directory of a group: it takes the directory up when it is made,
/// and withdraws it when it goes.
#include <gantry/common/GantryTrace.h>
#include <gantry/service/ServicePublishConfigSm.fen.h>

namespace Controller {

using FenPublishDir = ServicePublishGroupSm::FenPublishDir;

void FenPublishDir::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "ServicePublishGroupSm::FenPublishDir::handleInitialized");
   handlePublishDir();
}

void FenPublishDir::handlePublishDir() {
   FEN_TRACE(gantryTrace(), 8,
             "ServicePublishGroupSm::FenPublishDir::handlePublishDir: " << name());
   Fen::Ptr<ServicePublishGroupSm> const groupSm(servicePublishGroupSm());
   Fen::Ptr<ServicePublishGroupConfig const> const group = groupSm->publishGroupConfig();
   if (auto const publishDir = group->publishDir(name())) {
      groupSm->addPublishDir(publishDir, group);
   } else {
      groupSm->removePublishDir(name());
   }
}

void FenPublishDir::handleReadyToPublish() {
   FEN_TRACE(gantryTrace(), 8,
             "ServicePublishGroupSm::FenPublishDir::handleReadyToPublish: " << name());
   Fen::Ptr<ServicePublishGroupSm> const groupSm(servicePublishGroupSm());
   auto const publishDir = groupSm->publishGroupConfig()->publishDir(name());
   if (!publishDir) {
      return;
   }
   if (auto const entry = groupSm->mountsRegistry()->publishEntry(name())) {
      // In this order: whoever hears of the readiness finds the path.
      entry->remotePathIs(publishDir->remoteTargetPath());
      entry->readyToPublishIs(publishDir->readyToPublish());
   }
}

void FenPublishDir::doCleanup() {
   FEN_TRACE(gantryTrace(), 8, "ServicePublishGroupSm::FenPublishDir::doCleanup");
   // Decided from what is there now, like all else. A directory that has left its group is
   // withdrawn. With a group that goes as a whole, the directory is still in it: its own entry is
   // found and stays, and the message of a path that is taken is written.
   handlePublishDir();
}

} // namespace Controller
