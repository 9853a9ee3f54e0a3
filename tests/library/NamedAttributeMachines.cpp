/// The rows of the machines: their attributes are read and set like those of entities.
#include "NamedAttributes.h"

namespace LibraryTest {

namespace {

using namespace Controller;
using namespace ControllerRegistration;

TypeRow connectionServiceStatusDirSm() {
   using T = ConnectionServiceStatusDirSm;
   return {"Controller::ConnectionServiceStatusDirSm",
           &owned<&mountsRegistrySmFactory, &MountsRegistrySm::connectionServiceStatusDirSmIs>,
           {FIXED(name), FIXED(controllerServiceStatusDir), REACTORS(serviceStatus),
            SCALAR(initialized), BACK(mountsRegistrySm)}};
}

TypeRow mounterConfigSm() {
   using T = MounterConfigSm;
   return {"Controller::MounterConfigSm",
           &owned<&mountsRegistryEntrySmFactory, &MountsRegistryEntrySm::mounterConfigSmIs>,
           {FIXED(mounter), FIXED(systemFilter), FIXED(versionFilter), SCALAR(initialized),
            BACK(mountsRegistryEntrySm), FIXED(mounterName)}};
}

TypeRow mountsRegistryEntrySm() {
   using T = MountsRegistryEntrySm;
   return {"Controller::MountsRegistryEntrySm",
           &owned<&mountsRegistrySmFactory, &MountsRegistrySm::mountsRegistryEntrySmIs>,
           {FIXED(registryEntry), FIXED(controllerStatus), FIXED(serviceMountStatusDir),
            FIXED(allClientsServiceStatusDir), OWNED(mounterConfigSm, -1), VALUES(connectionFilter),
            OWNED(versionFilter, 0), SCALAR(wildCardMount), OWNED(mountSmData, 0),
            REACTORS(mountSmDataSm), OWNED(mountSm, 0), SCALAR(initialized),
            BACK(mountsRegistrySm)}};
}

TypeRow mountsRegistrySm() {
   using T = MountsRegistrySm;
   return {"Controller::MountsRegistrySm",
           &machine<&mountsRegistrySmFactory>,
           {FIXED(mountsRegistry), FIXED(controllerStatus), FIXED(serviceMountStatusDir),
            FIXED(publishedMountsTable), FIXED(registeredSwitchTable),
            FIXED(allClientsServiceStatusDir), OWNED(connectionServiceStatusDirSm, 0),
            OWNED(mountsRegistryEntrySm, -1), OWNED(publishRegistryEntrySm, -1),
            SCALAR(initialized)}};
}

TypeRow publishRegistryEntrySm() {
   using T = PublishRegistryEntrySm;
   return {"Controller::PublishRegistryEntrySm",
           &owned<&mountsRegistrySmFactory, &MountsRegistrySm::publishRegistryEntrySmIs>,
           {FIXED(publishEntry), FIXED(controllerStatus), FIXED(publishedMountsTable),
            FIXED(systemFilter), FIXED(versionFilter), SCALAR(initialized), BACK(mountsRegistrySm),
            FIXED(entryName)}};
}

TypeRow mountSm() {
   using T = MountSm;
   return {"Controller::MountSm",
           &machine<&mountSmFactory>,
           {FIXED(connectionId),
            FIXED(connectionConfig),
            FIXED(remoteRootPath),
            FIXED(remotePath),
            FIXED(targetPath),
            FIXED(fenType),
            FIXED(mountFlags),
            FIXED(reconnectRetries),
            FIXED(mountTimeout),
            FIXED(mountSmData),
            CHILD(mounterSm),
            CHILD(unmounterSm),
            CHILD(entityManager),
            SCALAR(currentState),
            SCALAR(nextState),
            SCALAR(lastMountState),
            SCALAR(localStatePreserved),
            TIMER(watchdogClock),
            TIMER(stateTransitionClock),
            SCALAR(initialized),
            FIXED(watchdogTimeoutInterval)}};
}

TypeRow mounterSm() {
   using T = MountSm::MounterSm;
   return {"Controller::MountSm::MounterSm",
           &owned<&mountSmFactory, &MountSm::mounterSmIs>,
           {FIXED(name), BACK(mountSm)}};
}

TypeRow unmounterSm() {
   using T = MountSm::UnmounterSm;
   return {"Controller::MountSm::UnmounterSm",
           &owned<&mountSmFactory, &MountSm::unmounterSmIs>,
           {FIXED(entityManager), FIXED(statePreserving), BACK(mountSm), FIXED(unmounter),
            SCALAR(initialized)}};
}

TypeRow serviceConfigDirSm() {
   using T = ServiceConfigDirSm;
   return {"Controller::ServiceConfigDirSm",
           &machine<&serviceConfigDirSmFactory>,
           {FIXED(mountConfigDir), FIXED(mountStatusDir), FIXED(publishConfigDir),
            FIXED(publishStatusDir), FIXED(publishedMountsTable), FIXED(mountsRegistry),
            OWNED(serviceMountConfigSm, -1), OWNED(servicePublishConfigSm, -1),
            SCALAR(initialized)}};
}

TypeRow serviceMountGroupSm() {
   using T = ServiceMountGroupSm;
   return {"Controller::ServiceMountGroupSm",
           &owned<&serviceMountConfigSmFactory, &ServiceMountConfigSm::mountGroupSmIs>,
           {FIXED(mountGroupConfig), FIXED(serviceMountStatus), FIXED(mountsRegistry),
            SCALAR(initialized), BACK(serviceMountConfigSm)}};
}

TypeRow serviceMountConfigSm() {
   using T = ServiceMountConfigSm;
   return {"Controller::ServiceMountConfigSm",
           &machine<&serviceMountConfigSmFactory>,
           {FIXED(serviceMountConfig), FIXED(serviceMountStatus), FIXED(mountsRegistry),
            OWNED(mountGroupSm, -1), SCALAR(initialized)}};
}

TypeRow servicePublishGroupSm() {
   using T = ServicePublishGroupSm;
   return {"Controller::ServicePublishGroupSm",
           &owned<&servicePublishConfigSmFactory, &ServicePublishConfigSm::publishGroupSmIs>,
           {FIXED(publishGroupConfig), FIXED(publishGroupStatus), FIXED(mountsRegistry),
            REACTORS(publishDir), SCALAR(initialized), BACK(servicePublishConfigSm)}};
}

TypeRow servicePublishConfigSm() {
   using T = ServicePublishConfigSm;
   return {"Controller::ServicePublishConfigSm",
           &machine<&servicePublishConfigSmFactory>,
           {FIXED(servicePublishConfig), FIXED(servicePublishStatus), FIXED(publishedMountsTable),
            FIXED(mountsRegistry), OWNED(publishGroupSm, -1), SCALAR(initialized)}};
}

TypeRow initialMountSm() {
   using T = InitialMountSm;
   return {"Controller::InitialMountSm",
           &machine<&initialMountSmFactory>,
           {FIXED(mountConfigDir), FIXED(mountStatusDir), FIXED(heartbeatConfig),
            FIXED(registeredSwitchTable), FIXED(peerTable), FIXED(heartbeatInterval),
            FIXED(timeoutHeartbeatMultiple), TIMER(connectionClock), CHILD(connectionPeriod),
            CHILD(initialSwitchSet), OWNED(serviceInitialMountSm, -1), SCALAR(initialized)}};
}

TypeRow mountGroupInitialMountSm() {
   using T = MountGroupInitialMountSm;
   return {"Controller::MountGroupInitialMountSm",
           &machine<&mountGroupInitialMountSmFactory>,
           {FIXED(groupName), FIXED(serviceMountStatus), FIXED(connectionPeriod),
            FIXED(registeredSwitchTable), FIXED(peerTable), CHILD(mountGroupInitialSwitchSet),
            VALUES(unregistered), FIXED(registrationWindow), TIMER(registrationTimer),
            REACTORS(remainingSwitch), SCALAR(initialized)}};
}

TypeRow serviceInitialMountSm() {
   using T = ServiceInitialMountSm;
   return {"Controller::ServiceInitialMountSm",
           &machine<&serviceInitialMountSmFactory>,
           {FIXED(serviceMountConfig), FIXED(serviceMountStatus), FIXED(connectionPeriod),
            FIXED(registeredSwitchTable), FIXED(peerTable), OWNED(mountGroupInitialMountSm, 0),
            SCALAR(initialized)}};
}

} // namespace

std::vector<TypeRow> machineRows() {
   return {connectionServiceStatusDirSm(),
           mounterConfigSm(),
           mountsRegistryEntrySm(),
           mountsRegistrySm(),
           publishRegistryEntrySm(),
           mountSm(),
           mounterSm(),
           unmounterSm(),
           serviceConfigDirSm(),
           serviceMountGroupSm(),
           serviceMountConfigSm(),
           servicePublishGroupSm(),
           servicePublishConfigSm(),
           initialMountSm(),
           mountGroupInitialMountSm(),
           serviceInitialMountSm()};
}

} // namespace LibraryTest
