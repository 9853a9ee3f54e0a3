/// The top machine: its sources, its children, the table of registered switches, and negotiated
/// versions.
#include "RegistryFixture.h"

#include <gantry/runtime/fen/Exception.h>

#include <functional>
#include <utility>

namespace {

using namespace Controller;
using namespace RegistryTest;

/// Runs something whenever a key of the registered switches' table changes.
class TableWatcher : public RegisteredSwitchTable::Notifiee {
 public:
   TableWatcher(Fen::Ptr<RegisteredSwitchTable> const& table, std::function<void()> run)
      : RegisteredSwitchTable::Notifiee(table), run_(std::move(run)) {
      isRegisteredNotifieeIs(true);
   }
   void onSystem(SystemId const&) override { run_(); }

 private:
   std::function<void()> run_;
};

// ---- entries -----------------------------------------------------------------------------------

TEST_F(Registry, AnEntryHasAMachineWhileItIsThere) {
   Traces traces;
   want("fabric", "g", "a");
   ASSERT_TRUE(entrySm("a"));
   EXPECT_EQ(entrySm("a")->registryEntry(), registry->mountEntry("a"));
   EXPECT_EQ(entrySm("a")->mountsRegistrySm(), machine.ptr());
   EXPECT_EQ(entrySm("a")->serviceMountStatusDir(), serviceStatusDir);
   EXPECT_TRUE(entrySm("a")->initialized());
   auto const held = entrySm("a");
   registry->mountEntryDel("a");
   EXPECT_FALSE(entrySm("a"));
   EXPECT_EQ(held->mountsRegistrySm(), nullptr);
   EXPECT_TRUE(held->fenMarkedForDeletion());
   EXPECT_TRUE(traces.hasLine(
      "Gantry/8 MountsRegistrySm::handleMountEntry Deleting registry entry sm for :a"));
}

TEST_F(Registry, AnEntryThatIsAddedAgainBeforeAnybodyIsToldKeepsItsMachineAndThatItsEntry) {
   Fen::Ptr<MountsRegistryEntry> const first = entry("a");
   auto const following = entrySm("a");
   machine->fenMountsRegistry()->isRegisteredNotifieeIs(false);
   registry->mountEntryDel("a");
   Fen::Ptr<MountsRegistryEntry> const second = entry("a");
   machine->fenMountsRegistry()->isRegisteredNotifieeIs(true);
   machine->handleMountEntry("a");
   EXPECT_NE(first, second);
   EXPECT_EQ(entrySm("a"), following);
   EXPECT_EQ(entrySm("a")->registryEntry(), first);
}

TEST_F(Registry, WhatIsThereAtBirthIsFoundAndEvaluated) {
   machine = nullptr;
   connect(1, "fabric");
   registerSwitch(2);
   want("fabric", "g", "a");
   create();
   ASSERT_TRUE(entrySm("a"));
   EXPECT_TRUE(machine->connectionServiceStatusDirSm(text(1)));
   EXPECT_TRUE(mountSm("a", 1));
   EXPECT_TRUE(machine->initialized());
   // The table is written by the events of one connection alone, such as those of its versions.
   EXPECT_TRUE(registeredSwitchTable->system(id(1)));
   EXPECT_FALSE(registeredSwitchTable->fenSystem(id(2)));
}

TEST_F(Registry, TheKeylessHandlerDoesNotRemoveMachines) {
   entry("a");
   machine->fenMountsRegistry()->isRegisteredNotifieeIs(false);
   registry->mountEntryDel("a");
   machine->handleMountEntry();
   EXPECT_TRUE(entrySm("a"));
   machine->handleMountEntry("a");
   EXPECT_FALSE(entrySm("a"));
}

TEST_F(Registry, AChildWithOtherArgumentsIsRefused) {
   Fen::Ptr<MountsRegistryEntry> const mine = entry("a");
   auto const refused = [&](auto const& ask, std::string const& attribute) {
      try {
         ask();
         FAIL() << attribute;
      } catch (Fen::NameInUseException const& exception) {
         EXPECT_EQ(std::string(exception.text().charPtr())
                      .rfind("Reinstantiating the pointer interface where constructor "
                             "parameter attribute _" +
                                attribute + " has a different value of ",
                             0),
                   0u)
            << exception.text();
      }
   };
   Fen::Ptr<Fen::Dir> const other = Fen::dirFactory("other");
   refused([&] { machine->mountsRegistryEntrySmIs(mine, nullptr, serviceStatusDir, clients); },
           "controllerStatus");
   refused([&] { machine->mountsRegistryEntrySmIs(mine, controllerStatus, other, clients); },
           "serviceMountStatusDir");
   refused(
      [&] { machine->mountsRegistryEntrySmIs(mine, controllerStatus, serviceStatusDir, other); },
      "allClientsServiceStatusDir");
   client(1);
   refused(
      [&] { machine->connectionServiceStatusDirSmIs(text(1), serviceStatusDirFactory(text(1))); },
      "controllerServiceStatusDir");
   EXPECT_EQ(machine->mountsRegistryEntrySmIs(mine, controllerStatus, serviceStatusDir, clients),
             entrySm("a"));
}

// ---- registered switches -----------------------------------------------------------------------

TEST_F(Registry, TheTableMirrorsTheRegisteredSwitches) {
   registerSwitch(1);
   EXPECT_TRUE(registeredSwitchTable->system(id(1)));
   controllerStatus->registeredSwitchIs(id(1), false);
   EXPECT_FALSE(registeredSwitchTable->fenSystem(id(1))) << "false is not registered";
   registerSwitch(1);
   unregisterSwitch(1);
   EXPECT_EQ(registeredSwitchTable->systemCount(), 0u);
}

TEST_F(Registry, ASwitchLeavesTheTableOnlyAfterTheEntriesHaveReacted) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   want("fabric", "g", "b");
   finish("a", 1);
   answer("b", 1);
   unsigned told = 0;
   auto const watcher = Fen::makePtr<TableWatcher>(registeredSwitchTable, [&] {
      ++told;
      EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
      EXPECT_EQ(asked("b", 1), MountSm::stateUnmount);
   });
   unregisterSwitch(1);
   EXPECT_EQ(told, 1u);
   watcher->isRegisteredNotifieeIs(false);
}

TEST_F(Registry, AVersionChangeWritesTheTableToo) {
   machine = nullptr;
   registerSwitch(1);
   create();
   EXPECT_EQ(registeredSwitchTable->systemCount(), 0u);
   negotiate(1, "fabric", 2);
   EXPECT_TRUE(registeredSwitchTable->system(id(1)));
}

TEST_F(Registry, AllSwitchesAreEvaluatedOnAnAllAttributesNotificationAndTheTableIsNotWritten) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   finish("a", 1);
   registeredSwitchTable->systemDelAll();
   machine->fenControllerStatus()->onRegisteredSwitchfenImmediate();
   EXPECT_EQ(asked("a", 1), MountSm::stateRemount);
   EXPECT_EQ(registeredSwitchTable->systemCount(), 0u);
}

// ---- clients -----------------------------------------------------------------------------------

TEST_F(Registry, AClientDirectoryOfAnotherTypeIsIgnored) {
   clients->entityPtrIs(Fen::dirFactory("02:00:00:00:00:01"));
   EXPECT_EQ(machine->connectionServiceStatusDirSmCount(), 0u);
   EXPECT_EQ(machine->negotiatedServiceVersionForConnection("fabric", text(1)), 0u);
}

TEST_F(Registry, AClientHasAMachineWhileItIsThere) {
   client(1);
   auto const listening = machine->connectionServiceStatusDirSm(text(1));
   ASSERT_TRUE(listening);
   EXPECT_EQ(listening->name(), text(1));
   EXPECT_EQ(listening->mountsRegistrySm(), machine.ptr());
   clientGone(1);
   EXPECT_FALSE(machine->connectionServiceStatusDirSm(text(1)));
}

TEST(RegistryDeath, WithoutADirectoryOfClientsThereIsNoRegistry) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   EXPECT_DEATH(
      {
         Host host;
         host.clients = nullptr;
         host.create();
      },
      "allClientsServiceStatusDir\\(\\)");
}

TEST_F(Registry, WithoutAnEntryDirectoryOrASwitchTheReactorIsLeftOut) {
   machine = mountsRegistrySmFactory(nullptr, nullptr, serviceStatusDir, publishedMountsTable,
                                     registeredSwitchTable, clients);
   EXPECT_FALSE(machine->fenMountsRegistry());
   EXPECT_FALSE(machine->fenControllerStatus());
   negotiate(1, "fabric", 1);
   EXPECT_EQ(registeredSwitchTable->systemCount(), 0u);
}

// ---- negotiated versions -----------------------------------------------------------------------

TEST_F(Registry, AVersionCountsWhileTheServiceIsEnabledAndCompatible) {
   Traces traces;
   auto const version = [&] {
      traces.clear();
      return machine->negotiatedServiceVersionForConnection("fabric", text(1));
   };
   EXPECT_EQ(version(), 0u);
   EXPECT_TRUE(traces.hasLine("Gantry/5 negotiatedServiceVersionForConnection: no serviceStatusDir "
                              "for 02:00:00:00:00:01 for service fabric"));
   client(1);
   EXPECT_EQ(version(), 0u);
   std::string const none = "Gantry/5 negotiatedServiceVersionForConnection: no version negotiated "
                            "for 02:00:00:00:00:01 for service fabric";
   EXPECT_TRUE(traces.hasLine(none)) << traces.text();
   auto const status = client(1)->serviceIs("fabric");
   status->enabledIs(true);
   EXPECT_EQ(version(), 0u) << "without a version status";
   status->versionStatusIs(serviceVersionStatusV1Factory("version"));
   status->versionStatus()->negotiatedVersionIs(NegotiatedVersion(3, "text"));
   EXPECT_EQ(version(), 0u) << "not compatible";
   EXPECT_TRUE(traces.hasLine(none));
   status->versionStatus()->versionCompatibleIs(true);
   EXPECT_EQ(version(), 3u) << "complete or not";
   EXPECT_TRUE(traces.hasLine("Gantry/5 negotiatedServiceVersionForConnection: negotiated service "
                              "version for 02:00:00:00:00:01 for service fabric = 3"));
   status->versionStatus()->negotiatedVersionIs(NegotiatedVersion(0, ""));
   EXPECT_EQ(version(), 0u) << "compatible with nothing";
   EXPECT_TRUE(traces.hasLine("Gantry/5 negotiatedServiceVersionForConnection: negotiated service "
                              "version for 02:00:00:00:00:01 for service fabric = 0"));
}

TEST_F(Registry, AServiceDisabledOnAConnectionHasNoVersionThere) {
   negotiate(1, "fabric", 3);
   EXPECT_EQ(machine->negotiatedServiceVersionForConnection("fabric", text(1)), 3u);
   client(1)->service("fabric")->enabledIs(false);
   EXPECT_TRUE(client(1)->service("fabric")->versionStatus()->versionCompatible());
   EXPECT_EQ(machine->negotiatedServiceVersionForConnection("fabric", text(1)), 0u);
   EXPECT_EQ(machine->negotiatedServiceVersionForConnection("fabric", text(2)), 0u);
   EXPECT_EQ(machine->negotiatedServiceVersionForConnection("other", text(1)), 0u);
}

// ---- the end -----------------------------------------------------------------------------------

TEST_F(Registry, DroppingTheMachineUnmountsNothing) {
   for (unsigned number : {1u, 2u, 3u}) {
      connect(number, "fabric");
   }
   want("fabric", "g", "a");
   want("access", "g", "a");
   finish("a", 1);
   auto const mounted = mountSm("a", 1);
   registeredSwitchTable->systemDelAll();
   backend->callsTaken();
   Traces traces;
   machine = nullptr;
   EXPECT_EQ(mounted->nextState(), MountSm::stateIdle);
   EXPECT_EQ(registeredSwitchTable->systemCount(), 0u) << "nothing was evaluated";
   EXPECT_FALSE(traces.has("doUnregisterAll"));
   for (std::string const& call : backend->callsTaken()) {
      EXPECT_EQ(call.find("doUnregisterAll"), std::string::npos) << call;
   }
   ASSERT_TRUE(status("fabric", "g", "a", 1));
   EXPECT_EQ(status("fabric", "g", "a", 1)->mountState(), mountStateMounted);
   // What the host's entities say from now on reaches nobody.
   negotiate(1, "fabric", 2);
   unregisterSwitch(2);
   wantNoMore("access", "a");
   registry->mountEntryDel("a");
   clientGone(3);
   turn();
}

} // namespace
