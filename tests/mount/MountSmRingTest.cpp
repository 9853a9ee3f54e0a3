/// The ring trace of the mount machine: the words of every message, in order.
#include "MountSmFixture.h"

namespace {

using namespace Controller;
using namespace MountTest;

class MountSmRingTest : public MountSmTest {
 protected:
   ~MountSmRingTest() override { cleanUp(); }
   /// What has been traced since the last call.
   Calls texts() { return ring_.texts(); }
   std::vector<int> levels() { return ring_.levels(); }

 private:
   TestSupport::RingTraces ring_;
};

// Numbers of states: 0 idle, 1 mount, 2 remount, 3 preserving unmount, 4 unmount; mount states 2
// mounting, 4 mounted, 5 unmounting.

TEST_F(MountSmRingTest, AMountFromRequestToSuccess) {
   createMounting();
   answer(Cairn::mountStatusSuccess);
   EXPECT_EQ(
      texts(),
      (Calls{"transitionToState remotePath:interfaces connection:02:00:00:00:00:01 tState:1",
             "processNextState remotePath:interfaces connection:02:00:00:00:00:01 nextState:1",
             "handleStateTransitionTimeout remotePath:interfaces "
             "connection:02:00:00:00:00:01 currentState:0 nextState:1",
             "handleStateTransitionTimeout nextState:0",
             "doMountNow mounting  remote:leaf1/sys/db/interfaces target:/mounts/leaf1 "
             "type:Linux::InterfaceDir ip:10.0.0.1 port:9001 srcIp: 10.0.0.9",
             "doMountsComplete mount success connection:02:00:00:00:00:01 "
             "remotePath:interfaces"}));
}

TEST_F(MountSmRingTest, EachMessageHasTheLevelOfTheStreamTrace) {
   createMounting();
   answer(Cairn::mountStatusSuccess);
   EXPECT_EQ(levels(), (std::vector<int>{8, 5, 8, 8, 5, 5}));
   machine->doUnmount();
   turn();
   EXPECT_EQ(levels(), (std::vector<int>{8, 5, 8, 8, 8, 8}));
}

TEST_F(MountSmRingTest, AFailureAndAMismatch) {
   createMounting();
   texts();
   answer(Cairn::mountStatusRefused);
   EXPECT_EQ(texts(), (Calls{"doMountsComplete mount failed connection:02:00:00:00:00:01 "
                             "remotePath:interfaces"}));
   machine->doUnmount();
   turn();
   texts();
   answer(Cairn::mountStatusSuccess);
   EXPECT_EQ(texts(), (Calls{"doMountsComplete current state mismatch: 4"}));
   unmountDone();
   texts();
   remoteUnmounter().unmountsCompleteIs(false);
   remoteUnmounter().unmountsCompleteIs(true);
   EXPECT_EQ(texts(), (Calls{"handleUnmountsComplete current state mismatch: 0"}));
}

TEST_F(MountSmRingTest, ARemountAndTheCleaningOfWhatItKept) {
   createMounted();
   texts();
   machine->doRemount();
   turn();
   Calls const remount = texts();
   ASSERT_EQ(remount.size(), 6u);
   EXPECT_EQ(remount[4], "doRemountNow remotePath:interfaces connection:02:00:00:00:00:01 "
                         "currentState:0 nextState:0 mountState:4");
   EXPECT_EQ(remount[5], "doUnmountImpl statePreserving:true mountState:4 "
                         "connection:02:00:00:00:00:01 remotePath:interfaces");
   unmountDone();
   EXPECT_EQ(texts().front(), "handleUnmountsComplete unmount complete "
                              "connection:02:00:00:00:00:01 remotePath:interfaces");
   turn();
   answer(Cairn::mountStatusTimedOut);
   texts();
   machine->doUnmount();
   turn();
   Calls const unmount = texts();
   ASSERT_EQ(unmount.size(), 7u);
   EXPECT_EQ(unmount[4], "doUnmountCommon remotePath:interfaces connection:02:00:00:00:00:01 "
                         "statePreserving:false currentState:0 nextState:0 mountState:3");
   EXPECT_EQ(unmount[5], "doUnmountImpl statePreserving:false mountState:3 "
                         "connection:02:00:00:00:00:01 remotePath:interfaces");
   EXPECT_EQ(unmount[6], "cleanLocalPreservedState deleting local preserved state");
}

TEST_F(MountSmRingTest, TheWatchdogSaysStuckEveryThirtySeconds) {
   createMounting();
   texts();
   std::string const stuck = "handleWatchdogTimeout remotePath:interfaces "
                             "connection:02:00:00:00:00:01 stuck, currentState:1";
   time.advance(30.0);
   EXPECT_EQ(texts(), (Calls{stuck}));
   time.advance(29.5);
   EXPECT_EQ(texts(), Calls{});
   time.advance(0.5);
   EXPECT_EQ(texts(), (Calls{stuck}));
   time.advance(60.0);
   EXPECT_EQ(texts(), (Calls{stuck, stuck}));
   time.advance(30.0);
   EXPECT_EQ(levels(), (std::vector<int>{1}));
}

} // namespace
