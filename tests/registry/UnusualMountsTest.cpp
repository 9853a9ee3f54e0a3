/// Declared mounts at moments that a host does not meet every day, from the declarations down to
/// the client's calls.
#include "../support/ScriptedBackend.h"
#include "DeclaringHost.h"

#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <limits>

namespace RegistryTest {
namespace {

using namespace Controller;

constexpr char const* system1 = "02:00:00:00:00:01";
constexpr char const* system2 = "02:00:00:00:00:02";

class UnusualMounts : public testing::Test {
 protected:
   /// One service, one group, one path and one switch that has everything but its registration.
   void declare() {
      connection = host.switchIs(system1, "10.0.0.1", 9001, "leaf1");
      group = host.service("routing")->mountGroupConfigIs("group");
      group->mountConfigIs("interfaces", "Linux::InterfaceDir", "r", "");
      host.negotiate(system1, "routing", 1);
   }
   void declareMounted() {
      declare();
      host.registeredIs(system1, true);
      turns();
      backend->completeMount();
      turns();
      ASSERT_EQ(state(), "mountStateMounted");
      backend->callsTaken();
   }
   void turns() { time.advance(0.0); }
   std::string state() const { return host.state("routing", "group", system1, "interfaces"); }

   Fen::VirtualTime time{1000.0};
   TestSupport::ScriptedBackendScope backend;
   DeclaringHost host;
   Fen::Ptr<ConnectionConfig> connection;
   Fen::Ptr<ServiceMountGroupConfig> group;
};

// ---- the end of an unmount ---------------------------------------------------------------------

TEST_F(UnusualMounts, AMountPendingOnAFullUnmountOfAnInvalidConnectionStaysUnmounting) {
   declareMounted();
   host.registeredIs(system1, false);
   turns();
   EXPECT_EQ(state(), "mountStateUnmounting");
   host.registeredIs(system1, true); // wants the mount back while the unmount runs
   turns();
   EXPECT_EQ(host.mount("interfaces", system1)->nextState(), MountSm::stateRemount);
   connection->portIs(0);
   backend->completeUnmount();
   turns();
   // The unmount left the state to the request behind it, and that one found nobody to mount from.
   EXPECT_EQ(state(), "mountStateUnmounting");
   auto const mount = host.mount("interfaces", system1);
   EXPECT_EQ(mount->currentState(), MountSm::stateIdle);
   EXPECT_EQ(mount->nextState(), MountSm::stateIdle);
   EXPECT_EQ(backend->callNames(), (TestSupport::ScriptedBackend::Calls{"doUnregisterAll"}));
   time.advance(3600.0);
   EXPECT_EQ(state(), "mountStateUnmounting");
   // The next evaluation of the connection, once it can be reached, mounts.
   connection->portIs(9001);
   host.negotiate(system1, "routing", 2);
   turns();
   EXPECT_EQ(state(), "mountStateMounting");
}

TEST_F(UnusualMounts, AnUnmountOfAStuckUnmountingMountStaysStuck) {
   declareMounted();
   host.registeredIs(system1, false);
   turns();
   host.registeredIs(system1, true);
   turns();
   connection->portIs(0);
   backend->completeUnmount();
   turns();
   host.registeredIs(system1, false);
   turns();
   EXPECT_EQ(state(), "mountStateUnmounting");
   EXPECT_TRUE(host.mount("interfaces", system1));
}

// ---- before the first turn ---------------------------------------------------------------------

TEST_F(UnusualMounts, ADisconnectBeforeTheFirstTurnLeavesTheMachineInPlace) {
   declare();
   host.registeredIs(system1, true);
   Fen::Ptr<MountSm> const mount = host.mount("interfaces", system1);
   ASSERT_TRUE(mount);
   host.registeredIs(system1, false);
   turns();
   // It never left the unmounted state, so nothing was reported and nobody took it away.
   EXPECT_EQ(host.mount("interfaces", system1), mount);
   EXPECT_EQ(mount->mountSmData()->mountState(), mountStateUnmounted);
   EXPECT_FALSE(mount->entityManager());
   EXPECT_TRUE(backend->calls().empty());
   EXPECT_EQ(state(), "");
   EXPECT_EQ(host.status("routing")->systemStatusCount(), 0u);
   host.registeredIs(system1, true);
   turns();
   EXPECT_EQ(host.mount("interfaces", system1), mount);
   EXPECT_EQ(state(), "mountStateMounting");
}

TEST_F(UnusualMounts, APreservingDisconnectBeforeTheFirstTurnLeavesTheMachineInPlaceToo) {
   declare();
   group->preserveMountsOnDisconnectIs(true);
   host.registeredIs(system1, true);
   Fen::Ptr<MountSm> const mount = host.mount("interfaces", system1);
   host.registeredIs(system1, false);
   turns();
   EXPECT_EQ(host.mount("interfaces", system1), mount);
   EXPECT_EQ(mount->mountSmData()->mountState(), mountStateUnmounted);
   EXPECT_TRUE(backend->calls().empty());
}

// ---- silent changes ----------------------------------------------------------------------------

TEST_F(UnusualMounts, ADisabledServiceWithoutAnyOtherEventChangesNothing) {
   declareMounted();
   host.clientService(system1, "routing")->enabledIs(false);
   turns();
   EXPECT_EQ(state(), "mountStateMounted");
   EXPECT_TRUE(backend->calls().empty());
   EXPECT_EQ(host.machine->negotiatedServiceVersionForConnection("routing", system1), 0u);
   EXPECT_FALSE(host.entryMachine("interfaces")->canMountFromConnection(system1));
   // Any other event on the connection, here of another service, finds out.
   host.negotiate(system1, "switching", 1);
   turns();
   EXPECT_EQ(state(), "mountStateUnmounting");
}

TEST_F(UnusualMounts, AnotherVersionAloneChangesNothing) {
   declareMounted();
   auto const status = host.clientService(system1, "routing")->versionStatus();
   status->negotiatedVersionIs(NegotiatedVersion(0, "lost"));
   turns();
   EXPECT_EQ(state(), "mountStateMounted");
   status->versionCompatibleIs(false);
   turns();
   EXPECT_EQ(state(), "mountStateMounted");
   status->versionNegotiationCompleteIs(false);
   turns();
   EXPECT_EQ(state(), "mountStateMounted");
   status->versionNegotiationCompleteIs(true);
   turns();
   EXPECT_EQ(state(), "mountStateUnmounting");
}

TEST_F(UnusualMounts, AVersionStatusThatIsTakenAwayChangesNothing) {
   declareMounted();
   host.clientService(system1, "routing")->versionStatusIs(nullptr);
   turns();
   EXPECT_EQ(state(), "mountStateMounted");
   EXPECT_TRUE(backend->calls().empty());
}

// ---- filters -----------------------------------------------------------------------------------

TEST_F(UnusualMounts, RemovingAVersionThatNoFilterHasStillEvaluatesAllConnections) {
   declareMounted();
   auto const machine = host.entryMachine("interfaces");
   auto const config = machine->mounterConfigSm("routing");
   ASSERT_TRUE(config);
   ASSERT_EQ(machine->versionFilterCount(), 0u);
   config->removeVersionFromVersionFilter(7);
   EXPECT_EQ(machine->versionFilterCount(), 0u);
   // An evaluation of a live mount asks for it anew, and that is what shows.
   EXPECT_EQ(host.mount("interfaces", system1)->nextState(), MountSm::stateRemount);
   turns();
   EXPECT_EQ(state(), "mountStateUnmounting");
}

TEST_F(UnusualMounts, TheFirstKeyOfASystemFilterIsSeenByTheNamedConnectionAlone) {
   declare();
   host.switchIs(system2, "10.0.0.2", 9001, "leaf2");
   host.negotiate(system2, "routing", 1);
   group->mountConfigDel("interfaces");
   auto const filter = host.service("routing")->systemFilterIs("systems");
   group->systemFilterIs(filter);
   group->mountConfigIs("interfaces", "Linux::InterfaceDir", "r", "");
   host.registeredIs(system1, true);
   host.registeredIs(system2, true);
   turns();
   // An empty filter names nobody and refuses nobody.
   ASSERT_TRUE(host.mount("interfaces", system1));
   ASSERT_TRUE(host.mount("interfaces", system2));
   backend->callsTaken();
   filter->includedSystemIs(system1, true);
   EXPECT_EQ(host.mount("interfaces", system1)->nextState(), MountSm::stateRemount);
   EXPECT_EQ(host.mount("interfaces", system2)->nextState(), MountSm::stateIdle);
   turns();
   EXPECT_FALSE(host.entryMachine("interfaces")->canMountFromConnection(system2));
   // The other connection hears of it at its own next event.
   host.negotiate(system2, "routing", 1);
   EXPECT_EQ(host.mount("interfaces", system2)->nextState(), MountSm::stateUnmount);
}

TEST_F(UnusualMounts, AKeyThatHoldsFalseTakesTheCountOfAnotherMounter) {
   declareMounted();
   auto const filter = host.service("routing")->systemFilterIs("systems");
   group->mountConfigDel("interfaces");
   group->systemFilterIs(filter);
   filter->includedSystemIs(system1, true);
   group->mountConfigIs("interfaces", "Linux::InterfaceDir", "r", "");
   auto const machine = host.entryMachine("interfaces");
   ASSERT_EQ(machine->connectionFilter(system1), 1u);
   auto const other = host.service("switching");
   auto const otherFilter = other->systemFilterIs("systems");
   otherFilter->includedSystemIs(system1, false);
   auto const otherGroup = other->mountGroupConfigIs("group");
   otherGroup->systemFilterIs(otherFilter);
   otherGroup->mountConfigIs("interfaces", "Linux::InterfaceDir", "r", "");
   EXPECT_EQ(machine->connectionFilter(system1), 0u);
   EXPECT_EQ(machine->connectionFilterCount(), 0u);
}

TEST_F(UnusualMounts, AFilterThatReplacesAnotherIsNotFollowed) {
   declare();
   group->mountConfigDel("interfaces");
   auto const former = host.service("routing")->systemFilterIs("former");
   auto const later = host.service("routing")->systemFilterIs("later");
   group->systemFilterIs(former);
   group->mountConfigIs("interfaces", "Linux::InterfaceDir", "r", "");
   auto const machine = host.entryMachine("interfaces");
   group->systemFilterIs(later);
   later->includedSystemIs(system1, true);
   EXPECT_EQ(machine->connectionFilterCount(), 0u);
   // The former one still wakes, and what it wakes reads the later one.
   former->includedSystemIs(system1, false);
   EXPECT_EQ(machine->connectionFilter(system1), 1u);
   // A group that has no filter any more includes nobody.
   group->systemFilterIs(nullptr);
   former->includedSystemIs(system1, true);
   EXPECT_EQ(machine->connectionFilterCount(), 0u);
}

TEST_F(UnusualMounts, AGroupThatGetsItsFirstFilterStaysAWildCardUntilAMounterComesOrGoes) {
   declareMounted();
   auto const machine = host.entryMachine("interfaces");
   ASSERT_TRUE(machine->wildCardMount());
   auto const filter = host.service("routing")->systemFilterIs("systems");
   filter->includedSystemIs(system2, true);
   group->systemFilterIs(filter);
   EXPECT_TRUE(machine->wildCardMount());
   EXPECT_TRUE(machine->canMountFromConnection(system1));
   auto const otherGroup = host.service("switching")->mountGroupConfigIs("group");
   otherGroup->systemFilterIs(host.service("switching")->systemFilterIs("systems"));
   otherGroup->mountConfigIs("interfaces", "Linux::InterfaceDir", "r", "");
   EXPECT_FALSE(machine->wildCardMount());
}

// ---- time limits -------------------------------------------------------------------------------

struct Limit {
   double registry;
   unsigned mount;
};

class MountTimeouts : public testing::TestWithParam<Limit> {};

TEST_P(MountTimeouts, AreWholeSecondsAndZeroIsNoLimit) {
   Fen::VirtualTime time{1000.0};
   TestSupport::ScriptedBackendScope backend;
   DeclaringHost host(GetParam().registry);
   host.switchIs(system1, "10.0.0.1", 9001, "leaf1");
   host.service("routing")->mountGroupConfigIs("group")->mountConfigIs(
      "interfaces", "Linux::InterfaceDir", "r", "");
   host.negotiate(system1, "routing", 1);
   host.registeredIs(system1, true);
   ASSERT_TRUE(host.mount("interfaces", system1));
   EXPECT_EQ(host.mount("interfaces", system1)->mountTimeout(), GetParam().mount);
   time.advance(0.0);
   ASSERT_TRUE(backend->manager() != nullptr);
   EXPECT_EQ(backend->manager()->initArguments().mountTimeout,
             static_cast<double>(GetParam().mount));
}

// A host refuses the infinite and the negative ones; here they must only not be undefined.
INSTANTIATE_TEST_SUITE_P(
   Limits, MountTimeouts,
   testing::Values(Limit{0.0, 0x7FFFFFFFu}, Limit{-0.0, 0x7FFFFFFFu}, Limit{1.0, 1u},
                   Limit{2.75, 2u}, Limit{0.5, 0u}, Limit{-1.0, 0u},
                   Limit{std::numeric_limits<double>::infinity(), 0xFFFFFFFFu},
                   Limit{-std::numeric_limits<double>::infinity(), 0u}, Limit{1e300, 0xFFFFFFFFu},
                   Limit{4294967295.0, 0xFFFFFFFFu}));

} // namespace
} // namespace RegistryTest
