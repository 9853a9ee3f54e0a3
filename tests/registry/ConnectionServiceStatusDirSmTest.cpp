/// The listener on one client's negotiations: what wakes it, how often, and what sleeps on.
#include "RegistryFixture.h"

#include <gantry/runtime/fen/Exception.h>

namespace {

using namespace Controller;
using namespace RegistryTest;

class Negotiation : public Registry {
 protected:
   void mounted() {
      connect(1, "fabric");
      want("fabric", "g", "a");
      finish("a", 1);
   }
   Fen::Ptr<ConnectionServiceStatusDirSm> listener(unsigned number = 1) {
      return machine->connectionServiceStatusDirSm(text(number));
   }
   static std::size_t evaluations(Traces const& traces) {
      return traces.count("Gantry/8 MountsRegistrySm::handleSwitchConnection 02:00:00:00:00:01\n");
   }
   static std::size_t wholeEvaluations(Traces const& traces) {
      return traces.count("Gantry/8 MountsRegistrySm::handleSwitchConnection\n");
   }
};

TEST_F(Negotiation, AClientConnectsNegotiatesAndIsMountedFrom) {
   registerSwitch(1);
   want("fabric", "g", "a");
   client(1);
   EXPECT_TRUE(listener()->initialized());
   auto const service_ = client(1)->serviceIs("fabric");
   service_->enabledIs(true);
   EXPECT_FALSE(mountSm("a", 1));
   Traces traces;
   service_->versionStatusIs(serviceVersionStatusV1Factory("version"));
   EXPECT_EQ(evaluations(traces), 1u) << "whatever the status says";
   EXPECT_TRUE(
      traces.hasLine("Gantry/8 ConnectionServiceStatusDirSm::FenServiceStatus::handleVersionStatus "
                     "02:00:00:00:00:01 fabric"));
   EXPECT_FALSE(mountSm("a", 1));
   auto const version = service_->versionStatus();
   version->versionCompatibleIs(true);
   version->negotiatedVersionIs(NegotiatedVersion(1, ""));
   EXPECT_EQ(evaluations(traces), 1u);
   EXPECT_FALSE(mountSm("a", 1)) << "until the negotiation is over";
   version->versionNegotiationCompleteIs(true);
   EXPECT_EQ(evaluations(traces), 2u);
   EXPECT_TRUE(mountSm("a", 1));
}

TEST_F(Negotiation, AnIncompleteStatusTriggersOneEvaluationWhichFindsAVersionOnlyWhenCompatible) {
   registerSwitch(1);
   want("fabric", "g", "a");
   for (bool const compatible : {false, true}) {
      auto const service_ = client(1)->serviceIs("fabric");
      service_->enabledIs(true);
      auto const version = serviceVersionStatusV1Factory("version");
      version->versionCompatibleIs(compatible);
      version->negotiatedVersionIs(NegotiatedVersion(1, ""));
      Traces traces;
      service_->versionStatusIs(version);
      EXPECT_EQ(evaluations(traces), 1u);
      EXPECT_EQ(static_cast<bool>(mountSm("a", 1)), compatible);
   }
}

TEST_F(Negotiation, OnlyACompletedNegotiationWakes) {
   mounted();
   auto const service_ = client(1)->service("fabric");
   auto const version = service_->versionStatus();
   Traces traces;
   service_->enabledIs(false);
   version->versionCompatibleIs(false);
   version->negotiatedVersionIs(NegotiatedVersion(9, ""));
   version->versionNegotiationCompleteIs(false);
   EXPECT_EQ(evaluations(traces), 0u);
   EXPECT_EQ(asked("a", 1), MountSm::stateIdle);
   version->versionNegotiationCompleteIs(true);
   EXPECT_EQ(evaluations(traces), 1u);
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
}

TEST_F(Negotiation, AServiceDisabledLeavesItsMountsUntilTheNextEventOfTheConnection) {
   mounted();
   client(1)->service("fabric")->enabledIs(false);
   time.advance(1000.0);
   EXPECT_EQ(entrySm("a")->mountSmData(id(1))->mountState(), mountStateMounted);
   negotiate(1, "other", 1);
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount) << "an event of any service";
}

TEST_F(Negotiation, AVersionChangeOfOneServiceEvaluatesEveryEntryOfThatConnectionAlone) {
   mounted();
   connect(2, "fabric");
   want("other", "g", "b");
   negotiate(1, "other", 1);
   for (char const* path : {"a", "b"}) {
      turn();
      auto const mount = mountSm(path, 1);
      while (mount->currentState() != MountSm::stateIdle) {
         mount->currentState() == MountSm::stateMount ? answer(path, 1) : unmountDone(path, 1);
         turn();
      }
   }
   ASSERT_EQ(asked("a", 1), MountSm::stateIdle);
   Fen::Ptr<MountSm> const elsewhere = mountSm("a", 2);
   turn();
   negotiate(1, "other", 2);
   EXPECT_EQ(asked("a", 1), MountSm::stateRemount);
   EXPECT_EQ(asked("b", 1), MountSm::stateRemount);
   EXPECT_EQ(elsewhere->nextState(), MountSm::stateIdle);
}

TEST_F(Negotiation, AServiceThatIsThereAtBirthIsEvaluatedForItsStatusAndForItself) {
   registerSwitch(1);
   auto const directory = serviceStatusDirFactory(text(1));
   directory->serviceIs("bare");
   Traces traces;
   clients->entityPtrIs(directory);
   EXPECT_EQ(evaluations(traces), 1u) << "the service's own";
   directory->serviceDel("bare");
   traces.clear();
   auto const service_ = ServiceStatusV1::ServiceStatusV1Is("whole");
   service_->versionStatusIs(serviceVersionStatusV1Factory("version"));
   listener()->serviceStatusIs(service_);
   EXPECT_EQ(evaluations(traces), 2u) << "the version status's and the service's own";
   EXPECT_EQ(listener()->serviceStatus("whole")->versionStatus(), service_->versionStatus());
   EXPECT_EQ(listener()->serviceStatus("whole")->fenVersionStatus()->fenServiceStatus(),
             listener()->serviceStatus("whole").ptr());
   EXPECT_EQ(listener()->serviceStatus("whole")->connectionServiceStatusDirSm(), listener().ptr());
}

TEST_F(Negotiation, AVersionStatusIsFollowedToAnotherObjectAndToNone) {
   mounted();
   auto const service_ = client(1)->service("fabric");
   auto const former = service_->versionStatus();
   auto const other = serviceVersionStatusV1Factory("other");
   Traces traces;
   service_->versionStatusIs(other);
   EXPECT_EQ(evaluations(traces), 1u) << "attached, it speaks up";
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
   traces.clear();
   former->versionNegotiationCompleteIs(false);
   former->versionNegotiationCompleteIs(true);
   EXPECT_EQ(evaluations(traces), 0u);
   other->versionNegotiationCompleteIs(true);
   EXPECT_EQ(evaluations(traces), 1u);
   service_->versionStatusIs(nullptr);
   EXPECT_EQ(evaluations(traces), 1u) << "none has nobody to speak for it";
   EXPECT_FALSE(listener()->serviceStatus("fabric")->fenVersionStatus());
}

TEST_F(Negotiation, AServiceThatDisappearsHasItsConnectionEvaluatedOnce) {
   mounted();
   Traces traces;
   client(1)->serviceDel("fabric");
   EXPECT_EQ(evaluations(traces), 1u);
   EXPECT_EQ(traces.count("ConnectionServiceStatusDirSm::FenServiceStatus::doCleanup"), 1u);
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount) << "with the version gone";
   EXPECT_EQ(listener()->serviceStatusCount(), 0u);
}

TEST_F(Negotiation, AClientThatGoesIsEvaluatedOncePerServiceAndOnceForAllConnections) {
   mounted();
   negotiate(1, "access", 1);
   negotiate(1, "transit", 1);
   turn();
   auto const held = listener();
   Traces traces;
   clientGone(1);
   EXPECT_EQ(wholeEvaluations(traces), 1u);
   EXPECT_EQ(evaluations(traces), 3u);
   EXPECT_TRUE(traces.has("no serviceStatusDir for 02:00:00:00:00:01 for service fabric"));
   EXPECT_EQ(asked("a", 1), MountSm::stateUnmount);
   EXPECT_EQ(held->mountsRegistrySm(), nullptr);
   EXPECT_LT(traces.text().find("ConnectionServiceStatusDirSm::doCleanup 02:00:00:00:00:01"),
             traces.text().find("FenServiceStatus::doCleanup"));
}

TEST_F(Negotiation, EvaluationsOfAConnectionWithoutAMountAreHarmless) {
   want("fabric", "g", "a");
   connect(1, "access");
   negotiate(1, "transit", 1);
   Traces traces;
   clientGone(1);
   EXPECT_EQ(
      traces.count("Gantry/5 doDisconnectSwitch: Already unmounted Connection:02:00:00:00:00:01\n"),
      3u);
   EXPECT_EQ(service("fabric").status->systemStatusCount(), 0u);
}

TEST_F(Negotiation, AllServicesAreTakenInOnAnAllAttributesNotification) {
   client(1);
   auto const listening = listener();
   listening->fenControllerServiceStatusDir()->isRegisteredNotifieeIs(false);
   client(1)->serviceIs("fabric");
   client(1)->serviceIs("access");
   EXPECT_EQ(listening->serviceStatusCount(), 0u);
   listening->fenControllerServiceStatusDir()->onServicefenImmediate();
   EXPECT_EQ(listening->serviceStatusCount(), 2u);
}

TEST_F(Negotiation, ANullStatusIsRefused) {
   client(1);
   try {
      listener()->serviceStatusIs(nullptr);
      FAIL();
   } catch (Fen::RangeException const& exception) {
      EXPECT_EQ(exception.text(), "null _serviceStatus parameter to mutator for "
                                  "Controller::ConnectionServiceStatusDirSm::serviceStatus not "
                                  "allowed\"");
   }
}

TEST_F(Negotiation, AClientWhoseNameIsNoSystemIdStandsForTheZeroOne) {
   clients->entityPtrIs(serviceStatusDirFactory("nobody"));
   auto const directory = Fen::ptrCast<ServiceStatusDir>(clients->entityPtr("nobody"));
   Traces traces;
   directory->serviceIs("fabric");
   EXPECT_TRUE(
      traces.hasLine("Gantry/8 MountsRegistrySm::handleSwitchConnection 00:00:00:00:00:00"));
   EXPECT_EQ(registeredSwitchTable->systemCount(), 0u);
}

TEST_F(Negotiation, AListenerOfItsOwnTellsNobody) {
   auto const directory = serviceStatusDirFactory(text(1));
   directory->serviceIs("fabric");
   auto const alone = connectionServiceStatusDirSmFactory(text(1), directory, nullptr);
   EXPECT_EQ(alone->serviceStatusCount(), 1u);
   directory->serviceDel("fabric");
   alone->doCleanup();
}

} // namespace
