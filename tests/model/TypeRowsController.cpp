/// The rows of what a controller knows of its switches, and of what both share.
#include "TypeRows.h"

#include <gantry/common/HeartbeatConfig.fen.h>
#include <gantry/common/PeerTable.fen.h>
#include <gantry/common/PublishedMountsTable.fen.h>
#include <gantry/model/Registration.fen.h>

namespace ModelTest {

using namespace Controller;
using namespace ControllerRegistration;
using Fen::makePtr;
using Fen::Name;
using Fen::String8;

namespace {

std::vector<TypeRow> registrationRows() {
   return {
      {"ControllerRegistration::ControllerConfig",
       controllerConfigFactory("c"),
       {parameter<Name>("name")},
       {}},
      {"ControllerRegistration::ControllerStatus",
       controllerStatusFactory("c"),
       {parameter<Name>("name")},
       {references<SystemId, SwitchConfig>("switchConfig"),
        references<SystemId, SwitchStatus>("switchStatus"),
        values<SystemId, bool>("registeredSwitch")}},
      {"ControllerRegistration::SwitchConfig",
       switchConfigFactory("c"),
       {parameter<Name>("name")},
       {scalar<SystemId>("systemId"), child<ConnectionConfig>("connectionConfig"),
        records<Name, ServiceConfigV1>("serviceConfig"), scalar<std::uint32_t>("registrationGenId"),
        scalar<bool>("enabled")}},
      {"ControllerRegistration::SwitchStatus",
       switchStatusFactory("c"),
       {parameter<Name>("name")},
       {scalar<SystemId>("systemId"), scalar<String8>("controllerUUID"),
        scalar<std::uint32_t>("registrationGenId"), records<Name, ServiceStatusV1>("serviceStatus"),
        owned<String8, ServicePublishedInfo>("servicePublishedInfo"),
        scalar<bool>("clientShutdownAck")}},
      // The order of the ids is that of the declaration, not that of the constructor.
      {"ControllerRegistration::ServicePublishedInfo",
       servicePublishedInfoFactory("i", "s"),
       {parameter<Name>("name"), parameter<String8>("serviceName")},
       {keyedValues<String8, MountDesc>("publishedMount"), fixed<String8>("serviceName"),
        scalar<bool>("ready")}},
   };
}

std::vector<TypeRow> sharedRows() {
   return {
      {"Controller::ServiceConfigV1",
       serviceConfigV1Factory("s"),
       {parameter<Name>("name")},
       {key("name"), scalar<bool>("enabled")}},
      {"Controller::ServiceVersionStatusV1",
       serviceVersionStatusV1Factory("s"),
       {parameter<Name>("name")},
       {key("name"), scalar<bool>("versionNegotiationComplete"), scalar<bool>("versionCompatible"),
        scalar<NegotiatedVersion>("negotiatedVersion")}},
      {"Controller::ServiceStatusV1",
       serviceStatusV1Factory("s"),
       {parameter<Name>("name")},
       {key("name"), scalar<bool>("enabled"), reference<ServiceVersionStatusV1>("versionStatus")}},
      {"Controller::ServiceStatusDir",
       serviceStatusDirFactory("d"),
       {parameter<Name>("name")},
       {key("name"), owned<Name, ServiceStatusV1>("service")}},
      {"Controller::PeerTable",
       peerTableFactory("t"),
       {parameter<Name>("name")},
       {key("name"), values<SystemId, bool>("peer")}},
      {"Controller::SystemPublishedMount",
       systemPublishedMountFactory("m", SystemId()),
       {parameter<Name>("name"), parameter<SystemId>("systemId")},
       {fixed<SystemId>("systemId"), keyedValues<String8, MountDesc>("publishedMount")}},
      {"Controller::PublishedMountsTable",
       publishedMountsTableFactory("t"),
       {parameter<Name>("name")},
       {key("name"), owned<SystemId, SystemPublishedMount>("system"),
        values<String8, bool>("servicePublishReady")}},
      {"Controller::Heartbeat::Config",
       Heartbeat::configFactory("h"),
       {parameter<Name>("name")},
       {key("name"), scalar<double>("interval")}},
   };
}

} // namespace

std::vector<TypeRow> controllerRows() {
   std::vector<TypeRow> rows = registrationRows();
   for (TypeRow const& row : sharedRows()) {
      rows.push_back(row);
   }
   return rows;
}

} // namespace ModelTest
