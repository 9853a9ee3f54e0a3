/// The words of both traces, message by message.
#include "InitialFixture.h"

namespace {

using namespace InitialTest;

class InitialTraceTest : public InitialFixture {};

TEST_F(InitialTraceTest, TheStreamFromTheFirstPeerToTheEnd) {
   createWithService();
   Traces traces;
   peerIs(1);
   EXPECT_EQ(traces.text(), "Gantry/8 InitialMountSm::handlePeer: 02:00:00:00:00:01\n"
                            "Gantry/5 handlePeer: reset timeMin to 1030\n");
   stateIs(1, mountStateMounting);
   traces.clear();
   endPeriod();
   EXPECT_EQ(traces.text(),
             "Gantry/8 InitialMountSm::handleConnectionTimeout: timeMin=inf connection period "
             "complete=0\n"
             "Gantry/5 handleConnectionTimeout: initial switch set complete\n"
             "Gantry/8 MountGroupInitialMountSm::handleConnectionPeriodComplete: 1\n"
             "Gantry/8 MountGroupInitialMountSm::handleSwitchRegistrationComplete\n");
   traces.clear();
   registeredIs(1);
   EXPECT_EQ(traces.text(),
             "Gantry/8 MountGroupInitialMountSm::handleRegisteredSwitch: 02:00:00:00:00:01\n"
             "Gantry/8 handleRegisteredSwitch: system 02:00:00:00:00:01 registered\n"
             "Gantry/8 MountGroupInitialMountSm::handleSwitchRegistrationComplete\n"
             "Gantry/8 handleSwitchRegistrationComplete: unsetting registrationTimer\n"
             "Gantry/8 handleSwitchRegistrationComplete: remainingSwitchIs(02:00:00:00:00:01)\n"
             "Gantry/8 MountGroupInitialMountSm::checkSwitchMountsPending\n");
   traces.clear();
   stateIs(1, mountStateMounted);
   EXPECT_EQ(traces.text(),
             "Gantry/8 MountGroupInitialMountSm::handleMountState: 02:00:00:00:00:01 routes\n"
             "Gantry/5 handleMountState: deleting remaining switch 02:00:00:00:00:01\n"
             "Gantry/8 MountGroupInitialMountSm::checkSwitchMountsPending\n"
             "Gantry/5 checkSwitchMountsPending: no remaining switches\n");
}

TEST_F(InitialTraceTest, TheStreamOfABirth) {
   addService();
   Traces traces;
   create();
   EXPECT_EQ(traces.text(),
             "Gantry/8 InitialMountSm::handleInitialized\n"
             "Gantry/8 InitialMountSm::handleConnectionTimeout: timeMin=0 connection period "
             "complete=0\n"
             "Gantry/8 InitialMountSm::handlePeer\n"
             "Gantry/8 InitialMountSm::handleServiceMount\n"
             "Gantry/8 InitialMountSm::handleServiceMount: bgp\n"
             "Gantry/5 handleServiceMount: creating serviceInitialMountSm for bgp\n"
             "Gantry/8 ServiceInitialMountSm::handleInitialized\n"
             "Gantry/8 ServiceInitialMountSm::handleMountGroupConfig\n"
             "Gantry/8 ServiceInitialMountSm::handleMountGroupConfig: routes\n"
             "Gantry/5 handleMountGroupConfig: adding mountGroupInitialMountSm\n"
             "Gantry/8 MountGroupInitialMountSm::handleInitialized\n"
             "Gantry/8 MountGroupInitialMountSm::handleSwitchRegistrationComplete\n"
             "Gantry/8 MountGroupInitialMountSm::handleConnectionPeriodComplete: 0\n");
}

TEST_F(InitialTraceTest, TheTimeHasTwelveDigits) {
   createWithService();
   time.advance(1234567.25);
   Traces traces;
   peerIs(1);
   EXPECT_TRUE(traces.hasLine("Gantry/5 handlePeer: reset timeMin to 1235597.25"));
}

TEST_F(InitialTraceTest, TheRing) {
   TestSupport::RingTraces ring;
   createWithService();
   peerIs(1);
   registeredIs(1);
   stateIs(1, mountStateMounting);
   time.advance(0.25);
   peers->peerIs(systemId(1), false);
   peerIs(2);
   registeredIs(2);
   endPeriod();
   stateIs(1, mountStateFailed);
   EXPECT_EQ(ring.texts(), (Names{"handlePeer: reset timeMin to 1030",
                                  "handlePeer: already in initial switch set",
                                  "handlePeer: reset timeMin to 1030.25",
                                  "handleConnectionTimeout: initial switch set complete",
                                  "handleMountState: deleting remaining switch "
                                  "02:00:00:00:00:01"}));
}

} // namespace
