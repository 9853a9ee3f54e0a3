/// One path across all connections: connecting, disconnecting, preserving, coming back, and what a
/// mount's states do to the machine that owns it.
#include "RegistryFixture.h"

#include <gantry/runtime/fen/Exception.h>

#include <limits>

namespace {

using namespace Controller;
using namespace RegistryTest;

class EntrySm : public Registry {
 protected:
   /// Path "a" of service "fabric", mounted from switch 1.
   void mounted() {
      connect(1, "fabric");
      want("fabric", "g", "a");
      finish("a", 1);
      ASSERT_EQ(state(), mountStateMounted);
      backend->callsTaken();
   }
   void preserving() { group("fabric", "g")->preserveMountsOnDisconnectIs(true); }
   MountState state(unsigned number = 1) const {
      return entrySm("a")->mountSmData(id(number))->mountState();
   }
};

// ---- connecting --------------------------------------------------------------------------------

TEST_F(EntrySm, AMountIsMadeOfTheEntryTheRegistryAndTheConnection) {
   Traces traces;
   connect(1, "fabric");
   want("fabric", "g", "a");
   EXPECT_TRUE(traces.hasLine("Gantry/5 doConnectSwitch: Mounting a from:02:00:00:00:00:01"));
   auto const mount = mountSm("a", 1);
   ASSERT_TRUE(mount);
   EXPECT_EQ(mount->connectionId(), id(1));
   EXPECT_EQ(mount->connectionConfig(), configure(1)->connectionConfig());
   EXPECT_EQ(mount->remoteRootPath(), "sys/db");
   EXPECT_EQ(mount->remotePath(), "a");
   EXPECT_EQ(mount->targetPath(), "/controller/mount/target/02:00:00:00:00:01");
   EXPECT_EQ(mount->fenType(), "Linux::InterfaceDir");
   EXPECT_EQ(mount->mountFlags(), "rt");
   EXPECT_EQ(mount->reconnectRetries(), 7u);
   EXPECT_EQ(mount->mountTimeout(), 20u);
   EXPECT_EQ(mount->mountSmData(), entrySm("a")->mountSmData(id(1)));
   EXPECT_EQ(mount->mountSmData()->remotePath(), "");
   EXPECT_EQ(mount->mountSmData()->connectionId(), id(1));
   EXPECT_EQ(entrySm("a")->mountSmDataSm(id(1))->mountSmData(), mount->mountSmData());
   EXPECT_EQ(entrySm("a")->mountSmDataSm(id(1))->oldMountstate(), mountStateUnmounted);
   EXPECT_TRUE(backend->calls().empty()) << "nothing before the next turn";
   turn();
   EXPECT_EQ(state(), mountStateMounting);
}

TEST(EntrySmNumbers, ZeroRetriesAndZeroTimeoutStandForNoLimit) {
   struct Row {
      unsigned retries;
      double timeout;
      unsigned expectedRetries;
      unsigned expectedTimeout;
   };
   double const infinite = std::numeric_limits<double>::infinity();
   for (Row const& row :
        {Row{0, 0.0, 0xFFFFFFFF, 0x7FFFFFFF}, Row{1, 1.0, 1, 1}, Row{9, 20.9, 9, 20},
         Row{9, 0.5, 9, 0}, Row{9, -0.0, 9, 0x7FFFFFFF}, Row{9, -3.0, 9, 0},
         Row{9, infinite, 9, 0xFFFFFFFF}, Row{9, 1e12, 9, 0xFFFFFFFF}}) {
      Host host(row.retries, row.timeout);
      host.create();
      host.connect(1, "fabric");
      host.want("fabric", "g", "a");
      EXPECT_EQ(host.mountSm("a", 1)->reconnectRetries(), row.expectedRetries);
      EXPECT_EQ(host.mountSm("a", 1)->mountTimeout(), row.expectedTimeout) << row.timeout;
   }
}

TEST_F(EntrySm, APresentChildDirectoryIsUsed) {
   auto const target = Fen::ptrCast<Fen::Dir>(registryDir->entityPtr("target"));
   target->entityPtrIs(Fen::dirFactory("02:00:00:00:00:01"));
   connect(1, "fabric");
   want("fabric", "g", "a");
   EXPECT_EQ(mountSm("a", 1)->targetPath(), "/controller/mount/target/02:00:00:00:00:01");
}

TEST_F(EntrySm, ASwitchWithoutAConnectionIsNotMountedFrom) {
   auto const config = ControllerRegistration::switchConfigFactory(text(1));
   controllerStatus->switchConfigIs(id(1), config);
   want("fabric", "g", "a");
   Traces traces;
   controllerStatus->registeredSwitchIs(id(1), true);
   negotiate(1, "fabric", 1);
   EXPECT_FALSE(mountSm("a", 1));
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 handleSwitchConnection: Cannot mount from 02:00:00:00:00:01"));
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 doDisconnectSwitch: Already unmounted Connection:02:00:00:00:00:01"));
   // The filters are not even asked.
   EXPECT_FALSE(traces.has("canMountFromConnection"));
}

TEST_F(EntrySm, EveryEvaluationOfALiveMountThatQualifiesRemounts) {
   mounted();
   Traces traces;
   entrySm("a")->handleNamedSwitchConnection("02:00:00:00:00:01");
   EXPECT_TRUE(traces.hasLine("Gantry/5 doConnectSwitch: ReMounting a from:02:00:00:00:00:01"));
   EXPECT_EQ(asked("a", 1), MountSm::stateRemount);
   auto const mount = mountSm("a", 1);
   turn();
   EXPECT_EQ(state(), mountStateUnmounting);
   unmountDone("a", 1);
   turn();
   answer("a", 1);
   EXPECT_EQ(mountSm("a", 1), mount);
   EXPECT_EQ(state(), mountStateMounted);
}

TEST_F(EntrySm, NothingRunsBeforeTheMachineIsInitialized) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   finish("a", 1);
   entrySm("a")->initializedIs(false);
   Traces traces;
   entrySm("a")->handleSwitchConnection();
   entrySm("a")->handleSwitchConnection(id(1));
   entrySm("a")->doConnectSwitch(id(1));
   entrySm("a")->doDisconnectSwitch(id(1));
   EXPECT_EQ(asked("a", 1), MountSm::stateIdle);
   EXPECT_FALSE(traces.has("Gantry/5"));
   entrySm("a")->initializedIs(true);
}

TEST(EntrySmDeath, WhatAHostMustNotLeaveOut) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   EXPECT_DEATH(
      {
         Host host;
         host.create();
         host.want("fabric", "g", "a");
         host.controllerStatus->registeredSwitchIs(Host::id(1), true);
      },
      "switchConfig");
   EXPECT_DEATH(
      {
         Host host;
         host.create();
         host.want("fabric", "g", "a");
         host.controllerStatus->switchConfigIs(Host::id(1),
                                               ControllerRegistration::switchConfigFactory("1"));
         host.entrySm("a")->doConnectSwitch(Host::id(1));
      },
      "switchConfig->connectionConfig\\(\\)");
   EXPECT_DEATH(
      {
         Host host;
         host.create();
         host.connect(1, "fabric");
         host.registryDir->entityPtrDel("target");
         host.want("fabric", "g", "a");
      },
      "prefixDir");
   EXPECT_DEATH(
      {
         Host host;
         host.create();
         host.connect(1, "fabric");
         host.registryDir->entityPtrDel("target");
         host.registryDir->entityPtrIs(connectionConfigFactory("target"));
         host.want("fabric", "g", "a");
      },
      "connectionTargetDir");
   EXPECT_DEATH(
      {
         Host host;
         host.create();
         host.connect(1, "fabric");
         host.want("fabric", "g", "a");
         host.finish("a", 1);
         auto const data = host.entrySm("a")->mountSmData(Host::id(1));
         host.entrySm("a")->mountSmDel(Host::id(1));
         data->mountStateIs(mountStateUnmounted);
      },
      "mountsRegistryEntrySm\\(\\)->mountSm\\( connectionId \\)");
}

// ---- disconnecting -----------------------------------------------------------------------------

TEST_F(EntrySm, ADisconnectUnmountsAndTheFallEndsTheMachine) {
   mounted();
   Traces traces;
   unregisterSwitch(1);
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 handleSwitchConnection: Connection 02:00:00:00:00:01 switch "
                     "registered = false"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 doDisconnectSwitch: UnMounting a from:02:00:00:00:00:01"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 doDisconnectSwitch: unmount is not state-preserving"));
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
   turn();
   EXPECT_EQ(state(), mountStateUnmounting);
   EXPECT_EQ(status("fabric", "g", "a", 1)->mountState(), mountStateUnmounting);
   traces.clear();
   unmountDone("a", 1);
   EXPECT_TRUE(traces.hasLine("Gantry/8 MountsRegistryEntrySm::FenMountSmDataSm::handleMountState: "
                              "Deleting mountSm for 02:00:00:00:00:01"));
   EXPECT_TRUE(traces.has(" oldMountState=mountStateUnmounting newMountState=mountStateUnmounted"));
   EXPECT_FALSE(mountSm("a", 1));
   EXPECT_FALSE(entrySm("a")->mountSmData(id(1)));
   EXPECT_FALSE(entrySm("a")->mountSmDataSm(id(1)));
   EXPECT_EQ(service("fabric").status->systemStatusCount(), 0u);
}

TEST_F(EntrySm, ADisconnectBeforeTheMachinesFirstTurnLeavesItInPlace) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   auto const mount = mountSm("a", 1);
   unregisterSwitch(1);
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
   turn();
   // Never mounted: the state was mountStateUnmounted and is, so nothing fell and nothing told.
   EXPECT_EQ(mountSm("a", 1), mount);
   EXPECT_EQ(state(), mountStateUnmounted);
   EXPECT_TRUE(backend->calls().empty());
   registerSwitch(1);
   EXPECT_EQ(mountSm("a", 1), mount) << "and is used again";
   finish("a", 1);
   EXPECT_EQ(state(), mountStateMounted);
}

TEST_F(EntrySm, AFirstChangeToTheSameStateKeepsTheMachine) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   auto const mount = mountSm("a", 1);
   entrySm("a")->mountSmDataSm(id(1))->handleMountState();
   EXPECT_EQ(mountSm("a", 1), mount);
}

TEST_F(EntrySm, OnlyAFallToUnmountedEndsTheMachine) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   auto const mount = mountSm("a", 1);
   auto const data = entrySm("a")->mountSmData(id(1));
   for (MountState const next :
        {mountStateMounting, mountStateFailed, mountStateMounting, mountStateMounted,
         mountStateUnmounting, mountStatePending, mountStateMounting, mountStateUnmounting}) {
      data->mountStateIs(next);
      EXPECT_EQ(mountSm("a", 1), mount);
      EXPECT_EQ(entrySm("a")->mountSmDataSm(id(1))->oldMountstate(), next);
   }
   data->mountStateIs(mountStateUnmounted);
   EXPECT_FALSE(mountSm("a", 1));
}

TEST_F(EntrySm, ADisconnectWithoutAMountClearsStatusThatWasLeftBehind) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   finish("a", 1);
   unregisterSwitch(1);
   turn();
   unmountDone("a", 1);
   auto const left =
      service("fabric").status->systemStatusIs(text(1))->serviceMountGroupStatusIs("g");
   left->mountStatusIs("a")->mountStateIs(mountStateMounted);
   Traces traces;
   entrySm("a")->handleSwitchConnection(id(1));
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 doDisconnectSwitch: Already unmounted Connection:02:00:00:00:00:01"));
   EXPECT_EQ(service("fabric").status->systemStatusCount(), 0u);
}

TEST_F(EntrySm, AFullUnmountOfAPendingMountWhoseConnectionHasBecomeInvalidStaysUnmounting) {
   mounted();
   preserving();
   unregisterSwitch(1);
   turn();
   unmountDone("a", 1);
   ASSERT_EQ(state(), mountStatePending);
   // It comes back, and its connection becomes invalid while the mount is on its way out again.
   registerSwitch(1);
   finish("a", 1);
   ASSERT_EQ(state(), mountStateMounted);
   group("fabric", "g")->preserveMountsOnDisconnectIs(false);
   unregisterSwitch(1);
   turn();
   ASSERT_EQ(state(), mountStateUnmounting);
   configure(1)->connectionConfig()->portIs(0);
   registerSwitch(1);
   turn();
   EXPECT_EQ(state(), mountStateUnmounting) << "the remount waits for the unmount";
   unmountDone("a", 1);
   turn();
   EXPECT_EQ(state(), mountStateUnmounting) << "and is refused: the state is as it was left";
   EXPECT_TRUE(mountSm("a", 1));
   unregisterSwitch(1);
   turn();
   EXPECT_EQ(state(), mountStateUnmounting);
   EXPECT_TRUE(mountSm("a", 1));
}

// ---- preserving --------------------------------------------------------------------------------

TEST_F(EntrySm, APreservedMountWaitsForItsPeer) {
   mounted();
   preserving();
   Traces traces;
   unregisterSwitch(1);
   EXPECT_TRUE(traces.hasLine("Gantry/8 MountsRegistryEntrySm::preserveMountsOnDisconnect: mounter "
                              "for group g and service fabric has preserve=1"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 doDisconnectSwitch: unmount is state-preserving"));
   auto const mount = mountSm("a", 1);
   turn();
   unmountDone("a", 1);
   EXPECT_EQ(state(), mountStatePending);
   EXPECT_EQ(mountSm("a", 1), mount);
   auto const shown = status("fabric", "g", "a", 1);
   EXPECT_EQ(shown->mountState(), mountStatePending);
   EXPECT_EQ(shown->mountedPath(), "mount/target/02:00:00:00:00:01") << "still to be found there";
   registerSwitch(1);
   EXPECT_EQ(asked("a", 1), MountSm::stateRemount);
   finish("a", 1);
   EXPECT_EQ(mountSm("a", 1), mount);
   EXPECT_EQ(state(), mountStateMounted);
   EXPECT_EQ(status("fabric", "g", "a", 1), shown) << "entities that stay keep their identity";
}

TEST_F(EntrySm, APreservedMountOfAPeerThatNeverReturnsGoesWithItsEntry) {
   mounted();
   preserving();
   unregisterSwitch(1);
   turn();
   unmountDone("a", 1);
   time.advance(100000.0);
   EXPECT_EQ(state(), mountStatePending);
   registry->mountEntryDel("a");
   EXPECT_FALSE(entrySm("a"));
}

TEST_F(EntrySm, WhoPreserves) {
   auto const preserves = [&] { return entrySm("a")->preserveMountsOnDisconnect(text(1)); };
   want("fabric", "g", "a");
   EXPECT_FALSE(preserves());
   preserving();
   EXPECT_TRUE(preserves()) << "without a system filter";
   systemFilter("fabric", "g");
   EXPECT_FALSE(preserves()) << "an empty filter is a filter";
   systemFilter("fabric", "g")->includedSystemIs(text(1), false);
   EXPECT_FALSE(preserves());
   systemFilter("fabric", "g")->includedSystemIs(text(1), true);
   EXPECT_TRUE(preserves());
   versionFilter("fabric", "g");
   EXPECT_TRUE(preserves()) << "versions are not looked at";
   wantNoMore("fabric", "a");
   EXPECT_FALSE(preserves());
}

TEST_F(EntrySm, OnePreservingMounterDecidesForAll) {
   connect(1, "fabric");
   negotiate(1, "access", 1);
   want("access", "plain", "a");
   want("fabric", "g", "a");
   preserving();
   finish("a", 1);
   unregisterSwitch(1);
   EXPECT_EQ(asked("a", 1), MountSm::statePreservingUnmount);
}

TEST_F(EntrySm, AMounterWithoutAGroupNeverPreservesAndWantsEverything) {
   connect(1, "fabric");
   auto const config = declare("fabric", "g", "a");
   entry("a")->mounterIs(MounterName("fabric", "g"), config, nullptr, service("fabric").status);
   EXPECT_FALSE(entrySm("a")->preserveMountsOnDisconnect(text(1)));
   EXPECT_TRUE(entrySm("a")->wildCardMount());
   finish("a", 1);
   ASSERT_TRUE(status("fabric", "g", "a", 1)) << "under the name that it was declared with";
   EXPECT_EQ(groupStatus("fabric", "g", 1)->mountState(), mountStateMounted);
   wantNoMore("fabric", "a");
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
}

TEST_F(EntrySm, AConnectionThatLosesItsFilterMatchGoesByTheSameRuleAsADisconnect) {
   auto const filter = systemFilter("fabric", "g");
   filter->includedSystemIs(text(1), true);
   connect(1, "fabric");
   connect(2, "fabric");
   want("fabric", "g", "a");
   want("access", "h", "a");
   systemFilter("access", "h")->includedSystemIs(text(2), true);
   wantNoMore("access", "a");
   want("access", "h", "a");
   filter->includedSystemIs(text(2), true);
   turn();
   answer("a", 1);
   answer("a", 2);
   preserving();
   filter->includedSystemDel(text(1));
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount)
      << "the filter that preserves no longer holds it";
   EXPECT_EQ(asked("a", 2), MountSm::stateIdle) << "only the named connection is evaluated";
   negotiate(2, "fabric", 0);
   EXPECT_EQ(asked("a", 2), MountSm::statePreservingUnmount);
}

// ---- mounters ----------------------------------------------------------------------------------

TEST_F(EntrySm, MountersComeAndGo) {
   connect(1, "fabric");
   Traces traces;
   auto const mounter = want("fabric", "g", "a");
   EXPECT_TRUE(traces.hasLine("Gantry/5 handleMounter: New mounter for a Service:fabric Group:g"));
   auto const machine_ = entrySm("a")->mounterConfigSm("fabric");
   ASSERT_TRUE(machine_);
   EXPECT_EQ(machine_->mounter(), mounter);
   EXPECT_EQ(machine_->mounterName(), MounterName("fabric", "g"));
   EXPECT_EQ(machine_->mountsRegistryEntrySm(), entrySm("a").ptr());
   traces.clear();
   entrySm("a")->handleMounter("fabric");
   EXPECT_TRUE(traces.has("MountsRegistryEntrySm::evaluateMounters")) << "whatever follows";
   EXPECT_FALSE(traces.has("ReMounting")) << "nothing changed";
   traces.clear();
   wantNoMore("fabric", "a");
   EXPECT_TRUE(traces.hasLine("Gantry/5 handleMounter: Mounter gone for a Service:fabric"));
   EXPECT_FALSE(entrySm("a")->mounterConfigSm("fabric"));
   EXPECT_TRUE(registry->mountEntry("a")) << "an entry outlives its mounters";
   EXPECT_TRUE(entrySm("a"));
   traces.clear();
   entrySm("a")->handleMounter("nobody");
   EXPECT_FALSE(traces.has("handleSwitchConnection"));
}

TEST_F(EntrySm, AMounterThatGoesRemountsWhatStillQualifies) {
   connect(1, "fabric");
   connect(2, "access");
   want("fabric", "g", "a");
   want("access", "g", "a");
   turn();
   answer("a", 1);
   answer("a", 2);
   wantNoMore("access", "a");
   EXPECT_EQ(asked("a", 1), MountSm::stateRemount);
   EXPECT_EQ(asked("a", 2), MountSm::stateUnmount) << "no version left there";
   wantNoMore("fabric", "a");
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount) << "the last request wins";
}

TEST_F(EntrySm, AnotherMounterUnderAKnownKeyIsRefused) {
   auto const mounter = want("fabric", "g", "a");
   auto const other = Mounter::MounterIs(MounterName("fabric", "h"), declare("fabric", "h", "a"),
                                         group("fabric", "h"), service("fabric").status);
   try {
      entrySm("a")->mounterConfigSmIs(other);
      FAIL();
   } catch (Fen::NameInUseException const& exception) {
      EXPECT_TRUE(exception.text().view().starts_with(
         "Reinstantiating the pointer interface where constructor parameter attribute _mounter has "
         "a different value of "))
         << exception.text();
      EXPECT_TRUE(exception.text().view().ends_with(" not allowed"));
   }
   EXPECT_EQ(entrySm("a")->mounterConfigSmIs(mounter), entrySm("a")->mounterConfigSm("fabric"));
}

TEST_F(EntrySm, AReactorOnNoRecordIsRefused) {
   entry("a");
   try {
      entrySm("a")->mountSmDataSmIs(nullptr);
      FAIL();
   } catch (Fen::RangeException const& exception) {
      EXPECT_EQ(exception.text(), "null _mountSmDataSm parameter to mutator for "
                                  "Controller::MountsRegistryEntrySm::mountSmDataSm not allowed\"");
   }
}

TEST_F(EntrySm, AReactorOfARecordCanGoAlone) {
   mounted();
   auto const reactor = entrySm("a")->mountSmDataSm(id(1));
   EXPECT_EQ(entrySm("a")->mountSmDataSmDel(id(1)), reactor);
   EXPECT_EQ(reactor->mountsRegistryEntrySm(), nullptr);
   EXPECT_TRUE(entrySm("a")->mountSmData(id(1)));
   unregisterSwitch(1);
   turn();
   unmountDone("a", 1);
   EXPECT_TRUE(mountSm("a", 1)) << "nobody hears of the fall";
   entrySm("a")->mountSmDataDel(id(1));
   entrySm("a")->mountSmDelAll();
   EXPECT_FALSE(mountSm("a", 1));
}

TEST_F(EntrySm, AnEntryMachineLeftAloneDecidesNothing) {
   mounted();
   Fen::Ptr<MountsRegistryEntrySm> const alone = mountsRegistryEntrySmFactory(
      registry->mountEntry("a"), controllerStatus, serviceStatusDir, clients, nullptr);
   Traces traces;
   alone->handleSwitchConnection();
   EXPECT_FALSE(alone->canMountFromConnection(text(1)));
   EXPECT_EQ(alone->mountSmCount(), 0u);
   EXPECT_FALSE(traces.has("doConnectSwitch"));
}

} // namespace
