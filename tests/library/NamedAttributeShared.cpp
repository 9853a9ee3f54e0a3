/// The rows of what a controller and its switches share with other programs.
#include "NamedAttributes.h"

namespace LibraryTest {

namespace {

using namespace Controller;
using namespace ControllerRegistration;

TypeRow connectionConfig() {
   using T = ConnectionConfig;
   return {
      "Controller::ConnectionConfig",
      &entity<T>,
      {FIXED(name), SCALAR(ip), SCALAR(port), SCALAR(sockname), SCALAR(sysname), SCALAR(srcIp)}};
}

TypeRow heartbeatConfig() {
   using T = Heartbeat::Config;
   return {"Controller::Heartbeat::Config", &entity<T>, {FIXED(name), SCALAR(interval)}};
}

TypeRow peerTable() {
   using T = PeerTable;
   return {"Controller::PeerTable", &entity<T>, {FIXED(name), VALUES(peer)}};
}

TypeRow systemPublishedMount() {
   using T = SystemPublishedMount;
   return {"Controller::SystemPublishedMount",
           &entity<T>,
           {FIXED(systemId), KEYED(publishedMount, &Controller::MountDesc::controllerdbPath)}};
}

TypeRow publishedMountsTable() {
   using T = PublishedMountsTable;
   return {"Controller::PublishedMountsTable",
           &entity<T>,
           {FIXED(name), OWNED(system, 0), VALUES(servicePublishReady)}};
}

TypeRow serviceConfigV1() {
   using T = ServiceConfigV1;
   return {"Controller::ServiceConfigV1", &entity<T>, {FIXED(name), SCALAR(enabled)}};
}

TypeRow serviceVersionStatusV1() {
   using T = ServiceVersionStatusV1;
   return {"Controller::ServiceVersionStatusV1",
           &entity<T>,
           {FIXED(name), SCALAR(versionNegotiationComplete), SCALAR(versionCompatible),
            SCALAR(negotiatedVersion)}};
}

TypeRow serviceStatusV1() {
   using T = ServiceStatusV1;
   return {"Controller::ServiceStatusV1",
           &entity<T>,
           {FIXED(name), SCALAR(enabled), SCALAR(versionStatus)}};
}

TypeRow serviceStatusDir() {
   using T = ServiceStatusDir;
   return {"Controller::ServiceStatusDir", &entity<T>, {FIXED(name), OWNED(service, 0)}};
}

} // namespace

std::vector<TypeRow> sharedRows() {
   return {connectionConfig(),       heartbeatConfig(),      peerTable(),
           systemPublishedMount(),   publishedMountsTable(), serviceConfigV1(),
           serviceVersionStatusV1(), serviceStatusV1(),      serviceStatusDir()};
}

} // namespace LibraryTest
