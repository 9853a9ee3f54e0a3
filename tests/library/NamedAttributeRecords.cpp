/// The rows of the registry, of the tables beside it, and of the registration of switches.
#include "NamedAttributes.h"

namespace LibraryTest {

namespace {

using namespace Controller;
using namespace ControllerRegistration;

TypeRow registeredSwitchTable() {
   using T = RegisteredSwitchTable;
   return {"Controller::RegisteredSwitchTable", &entity<T>, {VALUES(system)}};
}

TypeRow serviceVersionFilter() {
   using T = ServiceVersionFilter;
   return {"Controller::ServiceVersionFilter", &entity<T>, {FIXED(serviceName), VALUES(version)}};
}

TypeRow initialSwitchSet() {
   using T = InitialSwitchSet;
   return {"Controller::InitialSwitchSet", &entity<T>, {VALUES(initialSwitch), SCALAR(complete)}};
}

TypeRow connectionPeriod() {
   using T = ConnectionPeriod;
   return {"Controller::ConnectionPeriod", &entity<T>, {SCALAR(complete)}};
}

TypeRow mounter() {
   using T = Mounter;
   return {"Controller::Mounter",
           &entity<T>,
           {FIXED(mounterName), FIXED(serviceName), FIXED(groupName), FIXED(mountConfig),
            FIXED(mountGroupConfig), FIXED(serviceMountStatus), FIXED(systemFilter),
            FIXED(versionFilter), FIXED(preserveMountsOnDisconnect)}};
}

TypeRow mountsRegistryEntry() {
   using T = MountsRegistryEntry;
   return {"Controller::MountsRegistryEntry",
           &ownedByEntity<MountsRegistry, &MountsRegistry::mountEntryIs>,
           {FIXED(remotePath), FIXED(targetPath), FIXED(fenType), FIXED(mountFlags),
            OWNED(mounter, -1), BACK(registry)}};
}

TypeRow publishRegistryEntry() {
   using T = PublishRegistryEntry;
   return {"Controller::PublishRegistryEntry",
           &ownedByEntity<MountsRegistry, &MountsRegistry::publishEntryIs>,
           {FIXED(controllerdbPath), SCALAR(remotePath), FIXED(fenType), FIXED(isPrefixPath),
            FIXED(serviceName), SCALAR(versionFilter), SCALAR(systemFilter), SCALAR(readyToPublish),
            BACK(registry)}};
}

TypeRow mountsRegistry() {
   using T = MountsRegistry;
   return {"Controller::MountsRegistry",
           &entity<T>,
           {FIXED(sysname), FIXED(registryDir), FIXED(registryDirPath), FIXED(rootDir),
            FIXED(remoteRootPath), FIXED(reconnectRetries), FIXED(mountTimeout),
            OWNED(mountEntry, 0), OWNED(publishEntry, 0)}};
}

TypeRow mountSmData() {
   using T = MountSmData;
   return {"Controller::MountSmData",
           &entity<T>,
           {FIXED(connectionId), FIXED(remotePath), SCALAR(mountState)}};
}

TypeRow switchConfig() {
   using T = SwitchConfig;
   return {"ControllerRegistration::SwitchConfig",
           &entity<T>,
           {SCALAR(systemId), CHILD(connectionConfig), RECORDS(serviceConfig, FenServiceConfig),
            SCALAR(registrationGenId), SCALAR(enabled)}};
}

TypeRow servicePublishedInfo() {
   using T = ServicePublishedInfo;
   return {"ControllerRegistration::ServicePublishedInfo",
           &entity<T>,
           {KEYED(publishedMount, &Controller::MountDesc::controllerdbPath), FIXED(serviceName),
            SCALAR(ready)}};
}

TypeRow switchStatus() {
   using T = SwitchStatus;
   return {"ControllerRegistration::SwitchStatus",
           &entity<T>,
           {SCALAR(systemId), SCALAR(controllerUUID), SCALAR(registrationGenId),
            RECORDS(serviceStatus, FenServiceStatus), OWNED(servicePublishedInfo, 0),
            SCALAR(clientShutdownAck)}};
}

TypeRow controllerConfig() {
   using T = ControllerConfig;
   return {"ControllerRegistration::ControllerConfig", &entity<T>, {}};
}

TypeRow controllerStatus() {
   using T = ControllerStatus;
   return {"ControllerRegistration::ControllerStatus",
           &entity<T>,
           {VALUES(switchConfig), VALUES(switchStatus), VALUES(registeredSwitch)}};
}

} // namespace

std::vector<TypeRow> recordRows() {
   return {registeredSwitchTable(),
           serviceVersionFilter(),
           initialSwitchSet(),
           connectionPeriod(),
           mounter(),
           mountsRegistryEntry(),
           publishRegistryEntry(),
           mountsRegistry(),
           mountSmData(),
           switchConfig(),
           servicePublishedInfo(),
           switchStatus(),
           controllerConfig(),
           controllerStatus()};
}

} // namespace LibraryTest
