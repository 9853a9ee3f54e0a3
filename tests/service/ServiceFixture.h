/// What the tests of the services' machines share: a registry, the directories of a host, and
/// services that declare what they mount and publish. On the test's one thread.
#pragma once

#include "../support/Traces.h"

#include <gantry/service/ServiceConfigDirSm.fen.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ServiceTest {

using Controller::MounterName;
using Fen::Ptr;
using TestSupport::RingTraces;
using TestSupport::Traces;
using Texts = std::vector<std::string>;

/// The directories and tables of a host, without a machine on them.
class HostDirectories : public testing::Test {
 protected:
   HostDirectories() {
      rootDir->entityPtrIs(registryDir);
      rootDir->entityPtrIs(mountConfigDir);
      rootDir->entityPtrIs(mountStatusDir);
      rootDir->entityPtrIs(publishConfigDir);
      rootDir->entityPtrIs(publishStatusDir);
   }

   /// A service's configuration and status, without a place in a directory.
   static Ptr<Controller::ServiceMountConfig> config(char const* service) {
      return Controller::serviceMountConfigFactory(service);
   }
   static Ptr<Controller::ServiceMountStatus> status(char const* service) {
      return Controller::ServiceMountStatus::ServiceMountStatusIs(service);
   }
   /// The machine of one service, which it then holds.
   Ptr<Controller::ServiceMountConfigSm>
   serviceSm(Ptr<Controller::ServiceMountConfig> const& serviceConfig,
             Ptr<Controller::ServiceMountStatus> const& serviceStatus) {
      return Controller::serviceMountConfigSmFactory(serviceConfig, serviceStatus, registry);
   }
   Ptr<Controller::ServiceConfigDirSm> dirSm() {
      return Controller::serviceConfigDirSmFactory(mountConfigDir, mountStatusDir, publishConfigDir,
                                                   publishStatusDir, publishedMountsTable,
                                                   registry);
   }
   static Ptr<Controller::ServicePublishConfig> publishConfig(char const* service) {
      return Controller::servicePublishConfigFactory(service);
   }
   static Ptr<Controller::ServicePublishStatus> publishStatus(char const* service) {
      return Controller::ServicePublishStatus::ServicePublishStatusIs(service);
   }
   Ptr<Controller::ServicePublishConfigSm>
   publishSm(Ptr<Controller::ServicePublishConfig> const& serviceConfig,
             Ptr<Controller::ServicePublishStatus> const& serviceStatus) {
      return Controller::servicePublishConfigSmFactory(serviceConfig, serviceStatus,
                                                       publishedMountsTable, registry);
   }
   static Ptr<Controller::MountConfig>
   declare(Ptr<Controller::ServiceMountGroupConfig> const& group, char const* path,
           char const* target = "") {
      return group->mountConfigIs(path, "Linux::InterfaceDir", "rt", target);
   }
   Ptr<Controller::Mounter> mounter(char const* path, char const* service) const {
      auto const entry = registry->mountEntry(path);
      return entry ? entry->mounter(service) : nullptr;
   }
   /// The names of the members of a directory below another, joined by blanks; "none" when there is
   /// no such directory.
   static std::string members(Ptr<Fen::Dir> directory, Texts const& path) {
      for (std::string const& each : path) {
         directory = Fen::ptrCast<Fen::Dir>(directory->entityPtr(each.c_str()));
         if (!directory) {
            return "none";
         }
      }
      std::string result;
      for (auto i = directory->entityPtrIterator(); i; ++i) {
         result += (result.empty() ? "" : " ") + i.key().str();
      }
      return result;
   }

   Ptr<Fen::Dir> rootDir = Fen::dirFactory("controller");
   Ptr<Fen::Dir> registryDir = Fen::dirFactory("mount");
   Ptr<Fen::Dir> mountConfigDir = Fen::dirFactory("mountConfig");
   Ptr<Fen::Dir> mountStatusDir = Fen::dirFactory("mountStatus");
   Ptr<Fen::Dir> publishConfigDir = Fen::dirFactory("publishConfig");
   Ptr<Fen::Dir> publishStatusDir = Fen::dirFactory("publishStatus");
   Ptr<Controller::PublishedMountsTable> publishedMountsTable =
      Controller::publishedMountsTableFactory("published");
   Ptr<Controller::MountsRegistry> registry =
      Fen::makePtr<Controller::MountsRegistry>(registryDir, "mount", rootDir, "sys/db", 7u, 20.0);
};

} // namespace ServiceTest
