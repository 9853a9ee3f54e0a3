/// From the directories of the services' entities to machines: pairing, order of arrival, wrong
/// types, and what stays when entities go.
#include "ServiceFixture.h"

#include <gantry/runtime/fen/Exception.h>

namespace {

using namespace Controller;
using namespace ServiceTest;

class ServiceConfigDir : public HostDirectories {
 protected:
   void addConfig(char const* service) { mountConfigDir->entityPtrIs(config(service)); }
   void addStatus(char const* service) { mountStatusDir->entityPtrIs(status(service)); }
   void addPublishConfig(char const* service) {
      publishConfigDir->entityPtrIs(publishConfig(service));
   }
   void addPublishStatus(char const* service) {
      publishStatusDir->entityPtrIs(publishStatus(service));
   }
};

TEST_F(ServiceConfigDir, AttributesReadAsGiven) {
   auto const machine = dirSm();
   EXPECT_TRUE(machine->initialized());
   EXPECT_TRUE(machine->hasNotificationActive());
   EXPECT_EQ(machine->mountConfigDir(), mountConfigDir);
   EXPECT_EQ(machine->mountStatusDir(), mountStatusDir);
   EXPECT_EQ(machine->publishConfigDir(), publishConfigDir);
   EXPECT_EQ(machine->publishStatusDir(), publishStatusDir);
   EXPECT_EQ(machine->publishedMountsTable(), publishedMountsTable);
   EXPECT_EQ(machine->mountsRegistry(), registry);
   EXPECT_EQ(machine->serviceMountConfigSmCount(), 0u);
   EXPECT_EQ(machine->servicePublishConfigSmCount(), 0u);
}

TEST_F(ServiceConfigDir, TheInitialScanHappensInsideTheFactory) {
   addConfig("a");
   addStatus("a");
   addConfig("b");
   addStatus("b");
   Traces traces;
   auto const machine = dirSm();
   EXPECT_EQ(machine->serviceMountConfigSmCount(), 2u);
   ASSERT_TRUE(machine->serviceMountConfigSm("a"));
   EXPECT_TRUE(machine->serviceMountConfigSm("a")->initialized());
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 ServiceConfigDirSm::handleServiceMount creating serviceMountConfigSm for a"));
}

TEST_F(ServiceConfigDir, AConfigurationWaitsForItsStatus) {
   auto const machine = dirSm();
   addConfig("a");
   EXPECT_FALSE(machine->serviceMountConfigSm("a"));
   addStatus("a");
   EXPECT_TRUE(machine->serviceMountConfigSm("a"));
}

TEST_F(ServiceConfigDir, AStatusWaitsForItsConfiguration) {
   auto const machine = dirSm();
   addStatus("a");
   EXPECT_FALSE(machine->serviceMountConfigSm("a"));
   addConfig("a");
   EXPECT_TRUE(machine->serviceMountConfigSm("a"));
}

TEST_F(ServiceConfigDir, AStatusWithoutAConfigurationIsInertAlsoAtTheInitialScan) {
   addStatus("a");
   Traces traces;
   auto const machine = dirSm();
   EXPECT_EQ(machine->serviceMountConfigSmCount(), 0u);
   EXPECT_FALSE(traces.has("handleServiceMount: a"));
   EXPECT_FALSE(traces.has("Gantry/5"));
}

TEST_F(ServiceConfigDir, WhatLeavesItsDirectoryLeavesTheMachineInPlace) {
   addConfig("a");
   addStatus("a");
   auto const machine = dirSm();
   auto const child = machine->serviceMountConfigSm("a");
   auto const group =
      Fen::ptrCast<ServiceMountConfig>(mountConfigDir->entityPtr("a"))->mountGroupConfigIs("g");
   declare(group, "interfaces");
   Traces traces;
   mountConfigDir->entityPtrDel("a");
   mountStatusDir->entityPtrDel("a");
   EXPECT_EQ(machine->serviceMountConfigSm("a"), child);
   EXPECT_TRUE(mounter("interfaces", "a"));
   // Nothing but the entries into the handler.
   EXPECT_EQ(traces.text(), "Gantry/8 ServiceConfigDirSm::handleServiceMount: a\n"
                            "Gantry/8 ServiceConfigDirSm::handleServiceMount: a\n");
   // The machine goes on with the entities that it has.
   declare(group, "routes");
   EXPECT_TRUE(mounter("routes", "a"));
}

TEST_F(ServiceConfigDir, AnotherPairOfTheSameNameFindsTheOldMachine) {
   addConfig("a");
   addStatus("a");
   auto const machine = dirSm();
   auto const child = machine->serviceMountConfigSm("a");
   auto const former = child->serviceMountConfig();
   mountConfigDir->entityPtrDel("a");
   addConfig("a");
   EXPECT_EQ(machine->serviceMountConfigSm("a"), child);
   EXPECT_EQ(child->serviceMountConfig(), former);
}

TEST_F(ServiceConfigDir, AWrongTypeWithoutAMachineIsOnlyTold) {
   auto const machine = dirSm();
   mountConfigDir->entityPtrIs(Fen::dirFactory("a"));
   Traces traces;
   addStatus("a");
   EXPECT_EQ(traces.text(),
             "Gantry/8 ServiceConfigDirSm::handleServiceMount: a\n"
             "Gantry/5 ServiceConfigDirSm::handleServiceMount mounts not complete \n");
   EXPECT_EQ(machine->serviceMountConfigSmCount(), 0u);
}

TEST_F(ServiceConfigDir, AWrongTypeUnderTheNameOfAMachineEndsIt) {
   addConfig("a");
   addStatus("a");
   auto const machine = dirSm();
   auto const group =
      Fen::ptrCast<ServiceMountConfig>(mountConfigDir->entityPtr("a"))->mountGroupConfigIs("g");
   declare(group, "interfaces");
   mountStatusDir->entityPtrDel("a");
   Traces traces;
   mountStatusDir->entityPtrIs(Fen::dirFactory("a"));
   EXPECT_FALSE(machine->serviceMountConfigSm("a"));
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 ServiceConfigDirSm::handleServiceMount deleting a serviceMountConfigSm"));
   // Without a clean-up: what the service had declared stays in the registry.
   EXPECT_TRUE(mounter("interfaces", "a"));
   EXPECT_FALSE(traces.has("doCleanup"));
}

TEST_F(ServiceConfigDir, TheSameEventTwiceMakesOneMachine) {
   addConfig("a");
   addStatus("a");
   auto const machine = dirSm();
   auto const child = machine->serviceMountConfigSm("a");
   Traces traces;
   machine->handleServiceMount("a");
   machine->handleServiceMount();
   EXPECT_EQ(machine->serviceMountConfigSm("a"), child);
   EXPECT_EQ(machine->serviceMountConfigSmCount(), 1u);
   EXPECT_FALSE(traces.has("creating"));
}

TEST_F(ServiceConfigDir, ADirectoryThatIsReplacedIsTakenUpWhole) {
   auto const machine = dirSm();
   auto const other = Fen::dirFactory("other");
   other->entityPtrIs(config("a"));
   addStatus("a");
   machine->fenMountConfigDir()->notifierIs(other);
   EXPECT_TRUE(machine->serviceMountConfigSm("a"));
   mountConfigDir->entityPtrNotify("a", nullptr);
   EXPECT_EQ(machine->serviceMountConfigSmCount(), 1u);
}

TEST_F(ServiceConfigDir, InitializationRunsOnce) {
   auto const machine = dirSm();
   addConfig("a");
   addStatus("a");
   machine->serviceMountConfigSmDel("a");
   machine->handleInitialized();
   EXPECT_FALSE(machine->serviceMountConfigSm("a"));
}

TEST_F(ServiceConfigDir, AClosedMachineHearsNothingAndAnOpenedOneHearsAgain) {
   addConfig("a");
   addStatus("a");
   auto const machine = dirSm();
   auto const child = machine->serviceMountConfigSm("a");
   machine->hasNotificationActiveIs(false);
   EXPECT_FALSE(child->hasNotificationActive());
   addConfig("b");
   addStatus("b");
   EXPECT_FALSE(machine->serviceMountConfigSm("b"));
   machine->hasNotificationActiveIs(true);
   EXPECT_TRUE(child->hasNotificationActive());
   addConfig("c");
   addStatus("c");
   EXPECT_TRUE(machine->serviceMountConfigSm("c"));
}

TEST_F(ServiceConfigDir, DroppingTheMachineLeavesTheRegistryAlone) {
   addConfig("a");
   addStatus("a");
   auto machine = dirSm();
   auto const group =
      Fen::ptrCast<ServiceMountConfig>(mountConfigDir->entityPtr("a"))->mountGroupConfigIs("g");
   declare(group, "interfaces");
   machine = nullptr;
   EXPECT_TRUE(mounter("interfaces", "a"));
   declare(group, "routes");
   EXPECT_FALSE(registry->mountEntry("routes"));
   addConfig("b");
   addStatus("b");
}

TEST_F(ServiceConfigDir, AMachineWithOtherParametersIsRefused) {
   addConfig("a");
   addStatus("a");
   auto const machine = dirSm();
   auto const own = machine->serviceMountConfigSm("a");
   EXPECT_EQ(machine->serviceMountConfigSmIs(own->serviceMountConfig(), own->serviceMountStatus(),
                                             registry),
             own);
   try {
      machine->serviceMountConfigSmIs(own->serviceMountConfig(), status("a"), registry);
      FAIL();
   } catch (Fen::NameInUseException const& exception) {
      EXPECT_NE(std::string(exception.what())
                   .find("Reinstantiating the pointer interface where constructor parameter "
                         "attribute _serviceMountStatus has a different value of "),
                std::string::npos)
         << exception.what();
   }
   EXPECT_EQ(machine->serviceMountConfigSm("a"), own);
}

// ---- the publish side --------------------------------------------------------------------------

TEST_F(ServiceConfigDir, AtTheInitialScanAllMountServicesComeBeforeAnyPublishService) {
   addPublishConfig("a");
   addPublishStatus("a");
   addConfig("z");
   addStatus("z");
   Traces traces;
   auto const machine = dirSm();
   ASSERT_TRUE(machine->servicePublishConfigSm("a"));
   EXPECT_TRUE(machine->servicePublishConfigSm("a")->initialized());
   std::string const text = traces.text();
   auto const mount = text.find("creating serviceMountConfigSm for z");
   auto const publish = text.find(
      "Gantry/5 ServiceConfigDirSm::handleServicePublish creating servicePublishConfigSm for a\n");
   ASSERT_NE(publish, std::string::npos);
   EXPECT_LT(mount, publish);
}

TEST_F(ServiceConfigDir, PublishEntitiesArePairedInEitherOrder) {
   auto const machine = dirSm();
   addPublishConfig("a");
   EXPECT_FALSE(machine->servicePublishConfigSm("a"));
   addPublishStatus("a");
   EXPECT_TRUE(machine->servicePublishConfigSm("a"));
   addPublishStatus("b");
   EXPECT_FALSE(machine->servicePublishConfigSm("b"));
   addPublishConfig("b");
   ASSERT_TRUE(machine->servicePublishConfigSm("b"));
   EXPECT_EQ(machine->servicePublishConfigSm("b")->publishedMountsTable(), publishedMountsTable);
   EXPECT_EQ(machine->servicePublishConfigSm("b")->mountsRegistry(), registry);
}

TEST_F(ServiceConfigDir, APublishStatusWithoutAConfigurationIsInert) {
   addPublishStatus("a");
   Traces traces;
   auto const machine = dirSm();
   EXPECT_EQ(machine->servicePublishConfigSmCount(), 0u);
   EXPECT_FALSE(traces.has("handleServicePublish: a"));
}

TEST_F(ServiceConfigDir, PublishEntitiesThatGoLeaveTheirMachine) {
   addPublishConfig("a");
   addPublishStatus("a");
   auto const machine = dirSm();
   auto const child = machine->servicePublishConfigSm("a");
   Traces traces;
   publishConfigDir->entityPtrDel("a");
   publishStatusDir->entityPtrDel("a");
   EXPECT_EQ(machine->servicePublishConfigSm("a"), child);
   EXPECT_EQ(traces.text(), "Gantry/8 ServiceConfigDirSm::handleServicePublish: a\n"
                            "Gantry/8 ServiceConfigDirSm::handleServicePublish: a\n");
}

TEST_F(ServiceConfigDir, PublishEntitiesOfAWrongTypeAreToldInTheWordsOfTheMountSide) {
   auto const machine = dirSm();
   publishConfigDir->entityPtrIs(Fen::dirFactory("a"));
   Traces traces;
   addPublishStatus("a");
   EXPECT_EQ(traces.text(),
             "Gantry/8 ServiceConfigDirSm::handleServicePublish: a\n"
             "Gantry/5 ServiceConfigDirSm::handleServicePublish mounts not complete \n");
}

TEST_F(ServiceConfigDir, AWrongTypeUnderTheNameOfAPublishMachineEndsIt) {
   addPublishConfig("a");
   addPublishStatus("a");
   auto const machine = dirSm();
   auto const group = Fen::ptrCast<ServicePublishConfig>(publishConfigDir->entityPtr("a"))
                         ->publishGroupConfigIs("g");
   group->publishConfigIs("config/a", "a", "T");
   publishConfigDir->entityPtrDel("a");
   Traces traces;
   publishConfigDir->entityPtrIs(Fen::dirFactory("a"));
   EXPECT_FALSE(machine->servicePublishConfigSm("a"));
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 ServiceConfigDirSm::handleServicePublish deleting a servicePublishConfigSm"));
   EXPECT_TRUE(registry->publishEntry("config/a"));
}

TEST_F(ServiceConfigDir, AServiceWithBothSidesHasAMachineOnEach) {
   auto const machine = dirSm();
   addConfig("a");
   addStatus("a");
   addPublishConfig("a");
   addPublishStatus("a");
   EXPECT_TRUE(machine->serviceMountConfigSm("a"));
   EXPECT_TRUE(machine->servicePublishConfigSm("a"));
   // An entity of a wrong type ends the machine of its own side alone.
   mountStatusDir->entityPtrDel("a");
   mountStatusDir->entityPtrIs(Fen::dirFactory("a"));
   EXPECT_FALSE(machine->serviceMountConfigSm("a"));
   EXPECT_TRUE(machine->servicePublishConfigSm("a"));
}

TEST_F(ServiceConfigDir, APublishMachineWithOtherParametersIsRefused) {
   addPublishConfig("a");
   addPublishStatus("a");
   auto const machine = dirSm();
   auto const own = machine->servicePublishConfigSm("a");
   EXPECT_EQ(machine->servicePublishConfigSmIs(own->servicePublishConfig(),
                                               own->servicePublishStatus(), publishedMountsTable,
                                               registry),
             own);
   try {
      machine->servicePublishConfigSmIs(own->servicePublishConfig(), own->servicePublishStatus(),
                                        publishedMountsTableFactory("other"), registry);
      FAIL();
   } catch (Fen::NameInUseException const& exception) {
      EXPECT_NE(std::string(exception.what()).find("_publishedMountsTable has a different value"),
                std::string::npos)
         << exception.what();
   }
}

} // namespace
