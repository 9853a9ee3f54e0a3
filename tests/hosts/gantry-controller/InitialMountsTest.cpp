// The rows of the first full round of mounts, and the wait for it, on virtual time and without any
// switch: the tables are filled by hand.

#include <hosts/gantry-controller/InitialMounts.h>
#include <hosts/gantry-controller/InitialWait.h>

#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <sstream>

namespace HostTest {
namespace {

using namespace Controller;
using Host::InitialMounts;
using Host::InitialPhase;
using Host::InitialRow;
using Host::InitialWait;

constexpr double interval = 1.0;
constexpr double period = 3.0;

std::string id(unsigned number) { return "02:00:00:00:00:0" + std::to_string(number); }
SystemId systemId(unsigned number) { return SystemId(Fen::String8(id(number))); }

class InitialMountsTest : public testing::Test, private InitialMounts::Listener {
 protected:
   InitialMountsTest() {
      heartbeat->intervalIs(interval);
      config->mountGroupConfigIs("links");
      statuses->entityPtrIs(status);
      configs->entityPtrIs(config);
      mounts.serviceIs(status);
   }

   /// The switch is known, and what the host says of it.
   void knownIs(unsigned number, std::string const& state) {
      known[number] = {"leaf" + std::to_string(number), systemId(number), state,
                       state == "registered"};
   }
   void peerIs(unsigned number, std::string const& state = "connecting") {
      knownIs(number, state);
      peers->peerIs(systemId(number), true);
   }
   void registeredIs(unsigned number) {
      peerIs(number, "registered");
      registered->systemIs(systemId(number), true);
   }
   void stateIs(unsigned number, MountState state) {
      status->systemStatusIs(Fen::Name(id(number)))
         ->serviceMountGroupStatusIs("links")
         ->mountStateIs(state);
   }
   void switchIs(unsigned number, MountState state) {
      registeredIs(number);
      stateIs(number, state);
   }
   InitialRow row() const { return mounts.rows().at(0); }

   Fen::VirtualTime time{1000.0};
   Fen::Ptr<Fen::Dir> configs = Fen::dirFactory("config");
   Fen::Ptr<Fen::Dir> statuses = Fen::dirFactory("status");
   Fen::Ptr<Heartbeat::Config> heartbeat = Heartbeat::configFactory("heartbeat");
   Fen::Ptr<RegisteredSwitchTable> registered = registeredSwitchTableFactory();
   Fen::Ptr<PeerTable> peers = peerTableFactory("peers");
   Fen::Ptr<ServiceMountConfig> config = serviceMountConfigFactory("fabric");
   Fen::Ptr<ServiceMountStatus> status = Fen::makePtr<ServiceMountStatus>("fabric");
   Fen::Ptr<InitialMountSm> machine =
      initialMountSmFactory(configs, statuses, heartbeat, registered, peers);
   std::map<unsigned, InitialMounts::Known> known;
   std::vector<std::string> told;
   unsigned changes = 0;
   InitialMounts mounts{machine,
                        [this] {
                           std::vector<InitialMounts::Known> all;
                           for (auto const& [number, each] : known) {
                              all.push_back(each);
                           }
                           return all;
                        },
                        *this};

 private:
   void handleInitialMounts(InitialRow const& each) override {
      told.push_back(each.service + "/" + each.group + " " + each.switchesText());
   }
   void handleInitialMountsChanged() override { ++changes; }
};

TEST_F(InitialMountsTest, EachPhaseNamesWhomItWaitsFor) {
   EXPECT_EQ(row().phase, InitialPhase::peers);
   EXPECT_EQ(row().switchesText(), "");
   knownIs(4, "lost: connection refused");
   switchIs(1, mountStateMounting);
   peerIs(2, "refused: it says that it is another");
   EXPECT_EQ(row().switchesText(),
             "waiting: leaf1 (registered), leaf2 (refused: it says that it is another), leaf4 "
             "(lost: connection refused)");
   time.advance(period);
   EXPECT_EQ(row().phase, InitialPhase::registration);
   EXPECT_STREQ(initialPhaseText(row().phase), "waiting for registration");
   EXPECT_EQ(row().switchesText(),
             "waiting: leaf1 (mountStateMounting), leaf2 (refused: it says that it is another); "
             "missing: leaf4 (lost: connection refused)");
   unsigned const before = changes;
   time.advance(240.0);
   EXPECT_GT(changes, before) << "the end of the window is shown, though nobody tells it";
   EXPECT_EQ(row().phase, InitialPhase::mounts);
   EXPECT_EQ(row().switchesText(),
             "waiting: leaf1 (mountStateMounting); unregistered: leaf2 (refused: it says that it "
             "is another); missing: leaf4 (lost: connection refused)");
   EXPECT_TRUE(told.empty());
   EXPECT_FALSE(mounts.isComplete());
   stateIs(1, mountStateMounted);
   EXPECT_TRUE(told.empty()) << "in the next turn";
   time.advance(0.0);
   ASSERT_EQ(told.size(), 1u);
   EXPECT_EQ(told[0], "fabric/links mounted: leaf1; unregistered: leaf2 (refused: it says that it "
                      "is another); missing: leaf4 (lost: connection refused)");
   EXPECT_EQ(row().phase, InitialPhase::complete);
   EXPECT_GT(row().finished, 0.0);
   EXPECT_TRUE(mounts.isComplete());
}

TEST_F(InitialMountsTest, HowEachSwitchGotThereIsKept) {
   switchIs(1, mountStateMounted);
   switchIs(2, mountStateFailed);
   registeredIs(3);
   time.advance(period);
   std::string const text = "mounted: leaf1; failed: leaf2; skipped: leaf3";
   EXPECT_EQ(told, std::vector<std::string>{"fabric/links " + text});
   stateIs(1, mountStateUnmounted);
   stateIs(2, mountStateMounted);
   stateIs(3, mountStateMounting);
   registeredIs(4);
   time.advance(100.0);
   EXPECT_EQ(row().switchesText(), text);
   EXPECT_EQ(told.size(), 1u);
}

TEST_F(InitialMountsTest, OneThatRegistersLastIsNotWaitedFor) {
   peerIs(1);
   time.advance(period);
   registeredIs(1); // the group looks now, and finds no status
   stateIs(1, mountStateMounting);
   time.advance(0.0);
   EXPECT_EQ(told, std::vector<std::string>{"fabric/links skipped: leaf1 (mountStateMounting)"});
}

TEST_F(InitialMountsTest, OneThatCameLateIsNoMissingOne) {
   switchIs(1, mountStateMounting);
   knownIs(2, "connecting");
   time.advance(period);
   switchIs(2, mountStateMounted);
   EXPECT_EQ(row().switchesText(), "waiting: leaf1 (mountStateMounting); late: leaf2 (registered)");
}

TEST_F(InitialMountsTest, OneThatIsNotKnownAnyMoreCountsAllTheSame) {
   switchIs(1, mountStateMounting);
   time.advance(period);
   known.clear();
   stateIs(1, mountStateFailed);
   time.advance(0.0);
   EXPECT_EQ(told, std::vector<std::string>{"fabric/links failed: " + id(1)});
}

TEST_F(InitialMountsTest, AGroupThatFinishesAtItsBirthIsToldWithItsSwitches) {
   switchIs(1, mountStateMounted);
   time.advance(period);
   told.clear();
   config->mountGroupConfigIs("late");
   time.advance(0.0);
   EXPECT_EQ(told, std::vector<std::string>{"fabric/late skipped: leaf1"});
   EXPECT_EQ(mounts.rows().size(), 2u);
   config->mountGroupConfigDel("links");
   ASSERT_EQ(mounts.rows().size(), 1u);
   EXPECT_EQ(row().group, "late");
}

// ---- the wait ----------------------------------------------------------------------------------

class InitialWaitTest : public InitialMountsTest {
 protected:
   void waitFor(double seconds) {
      wait = std::make_unique<InitialWait>(mounts, seconds, errors, [this] { ++ended; });
   }
   std::ostringstream errors;
   unsigned ended = 0;
   std::unique_ptr<InitialWait> wait;
};

TEST_F(InitialWaitTest, EndsWhenTheLastGroupHasFinished) {
   config->mountGroupConfigIs("ports");
   switchIs(1, mountStateMounting);
   waitFor(20.0);
   time.advance(10.0);
   EXPECT_EQ(told, std::vector<std::string>{"fabric/ports skipped: leaf1"});
   EXPECT_EQ(ended, 0u);
   stateIs(1, mountStateMounted);
   time.advance(0.0);
   EXPECT_EQ(ended, 1u);
   EXPECT_TRUE(wait->isMet());
   time.advance(100.0);
   EXPECT_EQ(ended, 1u);
   EXPECT_EQ(errors.str(), "");
}

TEST_F(InitialWaitTest, TheDeadlineNamesEverySwitchThatIsWaitedFor) {
   config->mountGroupConfigIs("ports");
   switchIs(1, mountStateMounting);
   switchIs(2, mountStateMounted);
   waitFor(20.0);
   time.advance(20.0);
   EXPECT_EQ(ended, 1u);
   EXPECT_FALSE(wait->isMet());
   EXPECT_EQ(errors.str(), "gantry-controller: the first mounts are not complete after 20 seconds\n"
                           "gantry-controller: fabric/links: waiting for mounts: waiting: leaf1 "
                           "(mountStateMounting); mounted: leaf2\n");
   stateIs(1, mountStateMounted);
   time.advance(0.0);
   EXPECT_EQ(ended, 1u);
   EXPECT_FALSE(wait->isMet()) << "too late";
}

TEST_F(InitialWaitTest, WithoutAPeerItIsNeverMet) {
   waitFor(5.0);
   time.advance(5.0);
   EXPECT_FALSE(wait->isMet());
   EXPECT_NE(errors.str().find("fabric/links: waiting for peers: no switch is known\n"),
             std::string::npos)
      << errors.str();
}

TEST_F(InitialWaitTest, WithoutAGroupThereIsNothingToWaitFor) {
   config->mountGroupConfigDel("links");
   waitFor(5.0);
   time.advance(0.0);
   EXPECT_EQ(ended, 1u);
   EXPECT_TRUE(wait->isMet());
}

TEST_F(InitialWaitTest, AGroupThatGoesIsNotWaitedFor) {
   switchIs(1, mountStateMounting);
   waitFor(50.0);
   time.advance(10.0);
   config->mountGroupConfigDel("links");
   mounts.changed();
   time.advance(0.0);
   EXPECT_TRUE(wait->isMet());
}

} // namespace
} // namespace HostTest
