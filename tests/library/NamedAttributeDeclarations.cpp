/// The rows of what services declare and are told.
#include "NamedAttributes.h"

namespace LibraryTest {

namespace {

using namespace Controller;
using namespace ControllerRegistration;

TypeRow mountConfig() {
   using T = MountConfig;
   return {"Controller::MountConfig",
           &entity<T>,
           {FIXED(remotePath), FIXED(fencType), FIXED(mountFlags), FIXED(targetMountPath)}};
}

TypeRow mountFilterSystem() {
   using T = MountFilterSystem;
   return {
      "Controller::MountFilterSystem", &entity<T>, {FIXED(filterName), VALUES(includedSystem)}};
}

TypeRow mountFilterServiceVersion() {
   using T = MountFilterServiceVersion;
   return {"Controller::MountFilterServiceVersion",
           &entity<T>,
           {FIXED(filterName), VALUES(includedServiceVersion)}};
}

TypeRow serviceMountGroupConfig() {
   using T = ServiceMountGroupConfig;
   return {"Controller::ServiceMountGroupConfig",
           &entity<T>,
           {FIXED(serviceMountGroupName), SCALAR(versionFilter), SCALAR(systemFilter),
            SCALAR(preserveMountsOnDisconnect), OWNED(mountConfig, 0)}};
}

TypeRow serviceMountConfig() {
   using T = ServiceMountConfig;
   return {"Controller::ServiceMountConfig",
           &entity<T>,
           {FIXED(serviceName), OWNED(mountGroupConfig, 0), OWNED(versionFilter, 0),
            OWNED(systemFilter, 0)}};
}

TypeRow mountStatus() {
   using T = MountStatus;
   return {"Controller::MountStatus",
           &entity<T>,
           {FIXED(remotePath), SCALAR(mountState), SCALAR(mountedPath)}};
}

TypeRow serviceMountGroupStatus() {
   using T = ServiceMountGroupStatus;
   return {"Controller::ServiceMountGroupStatus",
           &entity<T>,
           {FIXED(serviceMountGroupName), SCALAR(mountState), OWNED(mountStatus, 0)}};
}

TypeRow systemStatus() {
   using T = SystemStatus;
   return {"Controller::SystemStatus",
           &entity<T>,
           {FIXED(systemName), OWNED(serviceMountGroupStatus, 0)}};
}

TypeRow mountedPathPrefix() {
   using T = MountedPathPrefix;
   return {"Controller::MountedPathPrefix", &entity<T>, {FIXED(remotePath), FIXED(pathPrefix)}};
}

TypeRow serviceMountStatus() {
   using T = ServiceMountStatus;
   return {"Controller::ServiceMountStatus",
           &entity<T>,
           {FIXED(serviceName), OWNED(mountedPathPrefix, 0), OWNED(systemStatus, 0),
            VALUES(initialMountsComplete)}};
}

TypeRow publishConfig() {
   using T = PublishConfig;
   return {"Controller::PublishConfig",
           &entity<T>,
           {FIXED(controllerdbPath), FIXED(remotePath), FIXED(fencType), SCALAR(readyToPublish)}};
}

TypeRow publishDir() {
   using T = PublishDir;
   return {
      "Controller::PublishDir",
      &entity<T>,
      {FIXED(controllerdbPath), FIXED(fenType), SCALAR(remoteTargetPath), SCALAR(readyToPublish)}};
}

TypeRow servicePublishGroupConfig() {
   using T = ServicePublishGroupConfig;
   return {"Controller::ServicePublishGroupConfig",
           &entity<T>,
           {FIXED(groupName), SCALAR(versionFilter), SCALAR(systemFilter), OWNED(publishConfig, 0),
            OWNED(publishDir, 0)}};
}

TypeRow servicePublishConfig() {
   using T = ServicePublishConfig;
   return {"Controller::ServicePublishConfig",
           &entity<T>,
           {FIXED(serviceName), OWNED(publishGroupConfig, 0), OWNED(versionFilter, 0),
            OWNED(systemFilter, 0), SCALAR(ready)}};
}

TypeRow publishStatus() {
   using T = PublishStatus;
   return {
      "Controller::PublishStatus", &entity<T>, {FIXED(controllerdbPath), SCALAR(publishState)}};
}

TypeRow servicePublishGroupStatus() {
   using T = ServicePublishGroupStatus;
   return {"Controller::ServicePublishGroupStatus",
           &entity<T>,
           {FIXED(groupName), SCALAR(publishState), OWNED(publishStatus, 0)}};
}

TypeRow servicePublishStatus() {
   using T = ServicePublishStatus;
   return {"Controller::ServicePublishStatus",
           &entity<T>,
           {FIXED(serviceName), OWNED(servicePublishGroupStatus, 0)}};
}

} // namespace

std::vector<TypeRow> declarationRows() {
   return {mountConfig(),
           mountFilterSystem(),
           mountFilterServiceVersion(),
           serviceMountGroupConfig(),
           serviceMountConfig(),
           mountStatus(),
           serviceMountGroupStatus(),
           systemStatus(),
           mountedPathPrefix(),
           serviceMountStatus(),
           publishConfig(),
           publishDir(),
           servicePublishGroupConfig(),
           servicePublishConfig(),
           publishStatus(),
           servicePublishGroupStatus(),
           servicePublishStatus()};
}

} // namespace LibraryTest
