/// The rows of the registry and of the tables beside it. None of them travels.
#include "TypeRows.h"

#include <gantry/model/LocalTables.fen.h>
#include <gantry/model/MountsRegistry.fen.h>

namespace ModelTest {

using namespace Controller;
using Fen::makePtr;
using Fen::Name;
using Fen::String8;

namespace {

TypeRow registryRow() {
   return {"Controller::MountsRegistry",
           makePtr<MountsRegistry>(nullptr, "", nullptr, "", 0u, 0.0),
           {parameter<Fen::Dir>("registryDir"), parameter<String8>("registryDirPath"),
            parameter<Fen::Dir>("rootDir"), parameter<String8>("remoteRootPath"),
            parameter<std::uint32_t>("reconnectRetries"), parameter<double>("mountTimeout")},
           {readOnly<String8>("sysname"), fixed<Fen::Dir>("registryDir"),
            fixed<String8>("registryDirPath"), fixed<Fen::Dir>("rootDir"),
            fixed<String8>("remoteRootPath"), fixed<std::uint32_t>("reconnectRetries"),
            fixed<double>("mountTimeout"), owned<Name, MountsRegistryEntry>("mountEntry"),
            owned<Name, PublishRegistryEntry>("publishEntry")},
           false};
}

std::vector<TypeRow> entryRows() {
   return {
      {"Controller::MountsRegistryEntry",
       makePtr<MountsRegistryEntry>("p", "t", "T", "rt", nullptr),
       {parameter<Name>("remotePath"), parameter<String8>("targetPath"),
        parameter<String8>("fenType"), parameter<String8>("mountFlags"),
        parameter<MountsRegistry>("registry")},
       {key("remotePath"), fixed<String8>("targetPath"), fixed<String8>("fenType"),
        fixed<String8>("mountFlags"), owned<String8, Mounter>("mounter"),
        fixed<MountsRegistry>("registry")},
       false},
      {"Controller::Mounter",
       makePtr<Mounter>(MounterName("s", "g"), nullptr, nullptr, nullptr),
       {parameter<MounterName>("mounterName"), parameter<MountConfig>("mountConfig"),
        parameter<ServiceMountGroupConfig>("mountGroupConfig"),
        parameter<ServiceMountStatus>("serviceMountStatus")},
       {fixed<MounterName>("mounterName"), readOnly<String8>("serviceName"),
        readOnly<String8>("groupName"), fixed<MountConfig>("mountConfig"),
        fixed<ServiceMountGroupConfig>("mountGroupConfig"),
        fixed<ServiceMountStatus>("serviceMountStatus"),
        readOnly<MountFilterSystem>("systemFilter"),
        readOnly<MountFilterServiceVersion>("versionFilter"),
        readOnly<bool>("preserveMountsOnDisconnect")},
       false},
      {"Controller::PublishRegistryEntry",
       makePtr<PublishRegistryEntry>("p", "r", "T", false, "s", nullptr, nullptr, nullptr),
       {parameter<Name>("controllerdbPath"), parameter<String8>("remotePath"),
        parameter<String8>("fenType"), parameter<bool>("isPrefixPath"),
        parameter<String8>("serviceName"), parameter<MountFilterServiceVersion>("versionFilter"),
        parameter<MountFilterSystem>("systemFilter"), parameter<MountsRegistry>("registry")},
       {key("controllerdbPath"), scalar<String8>("remotePath"), fixed<String8>("fenType"),
        fixed<bool>("isPrefixPath"), fixed<String8>("serviceName"),
        reference<MountFilterServiceVersion>("versionFilter"),
        reference<MountFilterSystem>("systemFilter"), scalar<bool>("readyToPublish"),
        fixed<MountsRegistry>("registry")},
       false},
   };
}

std::vector<TypeRow> tableRows() {
   return {
      {"Controller::ServiceVersionFilter",
       makePtr<ServiceVersionFilter>("s"),
       {parameter<Name>("serviceName")},
       {key("serviceName"), values<std::uint32_t, bool>("version")},
       false},
      {"Controller::RegisteredSwitchTable",
       registeredSwitchTableFactory(),
       {},
       {values<SystemId, bool>("system")},
       false},
      {"Controller::InitialSwitchSet",
       makePtr<InitialSwitchSet>(),
       {},
       {values<SystemId, bool>("initialSwitch"), scalar<bool>("complete")},
       false},
      {"Controller::ConnectionPeriod",
       makePtr<ConnectionPeriod>(),
       {},
       {scalar<bool>("complete")},
       false},
   };
}

} // namespace

std::vector<TypeRow> registryRows() {
   std::vector<TypeRow> rows = {registryRow()};
   for (auto const& more : {entryRows(), tableRows()}) {
      rows.insert(rows.end(), more.begin(), more.end());
   }
   return rows;
}

} // namespace ModelTest
