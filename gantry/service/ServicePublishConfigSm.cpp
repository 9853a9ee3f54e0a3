/// The machine of what one service publishes: it pairs the groups with machines and statuses.
#include <gantry/common/GantryTrace.h>
#include <gantry/service/ServicePublishConfigSm.fen.h>

namespace Controller {

void ServicePublishConfigSm::handleInitialized() {
   FEN_TRACE(gantryTrace(), 8, "ServicePublishConfigSm::handleInitialized");
   if (initialized()) {
      return;
   }
   initializedIs(true);
   handlePublishGroupConfig();
}

void ServicePublishConfigSm::handlePublishGroupConfig() {
   Fen::Ptr<ServicePublishConfig const> const config = servicePublishConfig();
   FEN_TRACE(gantryTrace(), 8,
             "ServicePublishConfigSm::handlePublishGroupConfig: " << config->serviceName());
   if (!initialized()) {
      return;
   }
   for (auto i = config->publishGroupConfigIterator(); i; ++i) {
      handlePublishGroupConfig(i.key());
   }
}

void ServicePublishConfigSm::handlePublishGroupConfig(Fen::Name groupName) {
   Fen::Ptr<ServicePublishConfig const> const config = servicePublishConfig();
   FEN_TRACE(gantryTrace(), 8,
             "ServicePublishConfigSm::handlePublishGroupConfig: " << config->serviceName() << " "
                                                                  << groupName);
   if (!initialized()) {
      return;
   }
   if (auto const group = config->publishGroupConfig(groupName)) {
      auto const status = servicePublishStatus()->servicePublishGroupStatusIs(groupName);
      // Complete says that the declaration was taken up. It is not the state of any peer, and comes
      // before there is a machine that could publish.
      status->publishStateIs(publishStateComplete);
      publishGroupSmIs(group, status, mountsRegistry());
      return;
   }
   if (auto const groupSm = publishGroupSm(groupName)) {
      groupSm->doCleanup();
      publishGroupSmDel(groupName);
   }
   servicePublishStatus()->servicePublishGroupStatusDel(groupName);
}

void ServicePublishConfigSm::handlePublishReady() {
   Fen::Ptr<ServicePublishConfig const> const config = servicePublishConfig();
   FEN_TRACE(gantryTrace(), 8,
             "ServicePublishConfigSm::handlePublishReady: " << config->serviceName());
   publishedMountsTable()->servicePublishReadyIs(config->serviceName(), config->ready());
}

} // namespace Controller
