/// The rows of what services declare and are told.
#include "TypeRows.h"

#include <gantry/model/ServiceMountConfig.fen.h>
#include <gantry/model/ServiceMountStatus.fen.h>
#include <gantry/model/ServicePublishConfig.fen.h>
#include <gantry/model/ServicePublishStatus.fen.h>

namespace ModelTest {

using namespace Controller;
using Fen::makePtr;
using Fen::Name;
using Fen::String8;

namespace {

std::vector<TypeRow> mountRows() {
   return {
      {"Controller::MountConfig",
       makePtr<MountConfig>("p", "T", "rt", "/t"),
       {parameter<Name>("remotePath"), parameter<String8>("fencType"),
        parameter<String8>("mountFlags"), parameter<String8>("targetMountPath")},
       {key("remotePath"), fixed<String8>("fencType"), fixed<String8>("mountFlags"),
        fixed<String8>("targetMountPath")}},
      {"Controller::MountFilterSystem",
       mountFilterSystemFactory("f"),
       {parameter<Name>("filterName")},
       {key("filterName"), values<String8, bool>("includedSystem")}},
      {"Controller::MountFilterServiceVersion",
       mountFilterServiceVersionFactory("f"),
       {parameter<Name>("filterName")},
       {key("filterName"), values<std::uint32_t, bool>("includedServiceVersion")}},
      {"Controller::ServiceMountGroupConfig",
       makePtr<ServiceMountGroupConfig>("g"),
       {parameter<Name>("serviceMountGroupName")},
       {key("serviceMountGroupName"), reference<MountFilterServiceVersion>("versionFilter"),
        reference<MountFilterSystem>("systemFilter"), scalar<bool>("preserveMountsOnDisconnect"),
        owned<Name, MountConfig>("mountConfig")}},
      {"Controller::ServiceMountConfig",
       serviceMountConfigFactory("s"),
       {parameter<Name>("serviceName")},
       {key("serviceName"), owned<Name, ServiceMountGroupConfig>("mountGroupConfig"),
        owned<Name, MountFilterServiceVersion>("versionFilter"),
        owned<Name, MountFilterSystem>("systemFilter")}},
      {"Controller::MountStatus",
       makePtr<MountStatus>("p"),
       {parameter<Name>("remotePath")},
       {key("remotePath"), scalar<MountState>("mountState"), scalar<String8>("mountedPath")}},
      {"Controller::ServiceMountGroupStatus",
       makePtr<ServiceMountGroupStatus>("g"),
       {parameter<Name>("serviceMountGroupName")},
       {key("serviceMountGroupName"), scalar<MountState>("mountState"),
        owned<Name, MountStatus>("mountStatus")}},
      {"Controller::SystemStatus",
       makePtr<SystemStatus>("n"),
       {parameter<Name>("systemName")},
       {key("systemName"), owned<Name, ServiceMountGroupStatus>("serviceMountGroupStatus")}},
      {"Controller::MountedPathPrefix",
       makePtr<MountedPathPrefix>("p", "/t"),
       {parameter<Name>("remotePath"), parameter<String8>("pathPrefix")},
       {key("remotePath"), fixed<String8>("pathPrefix")}},
      {"Controller::ServiceMountStatus",
       makePtr<ServiceMountStatus>("s"),
       {parameter<Name>("serviceName")},
       {key("serviceName"), owned<Name, MountedPathPrefix>("mountedPathPrefix"),
        owned<Name, SystemStatus>("systemStatus"), values<String8, bool>("initialMountsComplete")}},
   };
}

std::vector<TypeRow> publishRows() {
   return {
      {"Controller::PublishConfig",
       makePtr<PublishConfig>("p", "r", "T"),
       {parameter<Name>("controllerdbPath"), parameter<String8>("remotePath"),
        parameter<String8>("fencType")},
       {key("controllerdbPath"), fixed<String8>("remotePath"), fixed<String8>("fencType"),
        scalar<bool>("readyToPublish")}},
      {"Controller::PublishDir",
       makePtr<PublishDir>("p", "T"),
       {parameter<Name>("controllerdbPath"), parameter<String8>("fenType")},
       {key("controllerdbPath"), fixed<String8>("fenType"), scalar<String8>("remoteTargetPath"),
        scalar<bool>("readyToPublish")}},
      {"Controller::ServicePublishGroupConfig",
       makePtr<ServicePublishGroupConfig>("g"),
       {parameter<Name>("groupName")},
       {key("groupName"), reference<MountFilterServiceVersion>("versionFilter"),
        reference<MountFilterSystem>("systemFilter"), owned<Name, PublishConfig>("publishConfig"),
        owned<Name, PublishDir>("publishDir")}},
      {"Controller::ServicePublishConfig",
       servicePublishConfigFactory("s"),
       {parameter<Name>("serviceName")},
       {key("serviceName"), owned<Name, ServicePublishGroupConfig>("publishGroupConfig"),
        owned<Name, MountFilterServiceVersion>("versionFilter"),
        owned<Name, MountFilterSystem>("systemFilter"), scalar<bool>("ready")}},
      {"Controller::PublishStatus",
       makePtr<PublishStatus>("p"),
       {parameter<Name>("controllerdbPath")},
       {key("controllerdbPath"), scalar<PublishState>("publishState")}},
      {"Controller::ServicePublishGroupStatus",
       makePtr<ServicePublishGroupStatus>("g"),
       {parameter<Name>("groupName")},
       {key("groupName"), scalar<PublishState>("publishState"),
        owned<Name, PublishStatus>("publishStatus")}},
      {"Controller::ServicePublishStatus",
       makePtr<ServicePublishStatus>("s"),
       {parameter<Name>("serviceName")},
       {key("serviceName"), owned<Name, ServicePublishGroupStatus>("servicePublishGroupStatus")}},
   };
}

} // namespace

std::vector<TypeRow> serviceRows() {
   std::vector<TypeRow> rows = mountRows();
   for (TypeRow const& row : publishRows()) {
      rows.push_back(row);
   }
   return rows;
}

} // namespace ModelTest
