/// The state of a mount on its way into the services' status: what is set, what is removed, and
/// what a group shows.
#include "RegistryFixture.h"

namespace {

using namespace Controller;
using namespace RegistryTest;

class RollUp : public Registry {
 protected:
   /// Path "a" of both services, each with its own group.
   void both() {
      connect(1, "fabric");
      negotiate(1, "access", 1);
      want("fabric", "g", "a");
      want("access", "h", "a");
   }
   void report(MountState state, char const* path = "a", unsigned number = 1) {
      entrySm(path)->updateMountersStatus(id(number), state);
   }
   MountState groupState(char const* service_ = "fabric", char const* group_ = "g") {
      return groupStatus(service_, group_, 1)->mountState();
   }
};

// ---- set and removed ---------------------------------------------------------------------------

TEST_F(RollUp, EveryStateButUnmountedIsSetForWhoIsInterested) {
   both();
   for (MountState const state : {mountStateMounting, mountStateFailed, mountStatePending,
                                  mountStateMounted, mountStateUnmounting}) {
      Traces traces;
      report(state);
      for (auto const& [service_, group_] : {std::pair{"fabric", "g"}, std::pair{"access", "h"}}) {
         ASSERT_TRUE(status(service_, group_, "a", 1));
         EXPECT_EQ(status(service_, group_, "a", 1)->mountState(), state);
         EXPECT_EQ(groupState(service_, group_), state);
         EXPECT_TRUE(traces.hasLine(std::string("Gantry/5 updateMounterStatus: Mount state:") +
                                    stringValue(state).charPtr() +
                                    " Connection:02:00:00:00:00:01 Service:" + service_ +
                                    " MountGroup:" + group_ + " Remote path:a"));
      }
      EXPECT_TRUE(traces.hasLine(
         std::string("Gantry/8 MountsRegistryEntrySm::updateMountersStatus Mount state:") +
         stringValue(state).charPtr() + " Connection:02:00:00:00:00:01"));
   }
   report(mountStateUnmounted);
   EXPECT_EQ(service("fabric").status->systemStatusCount(), 0u);
   EXPECT_EQ(service("access").status->systemStatusCount(), 0u);
}

TEST_F(RollUp, ThePathIsWrittenWhenMountedAndNeverCleared) {
   both();
   for (MountState const state : {mountStateMounting, mountStateFailed, mountStateUnmounting}) {
      report(state);
      EXPECT_EQ(status("fabric", "g", "a", 1)->mountedPath(), "");
   }
   report(mountStateMounted);
   for (MountState const state :
        {mountStateUnmounting, mountStatePending, mountStateMounting, mountStateFailed}) {
      report(state);
      EXPECT_EQ(status("fabric", "g", "a", 1)->mountedPath(), "mount/target/02:00:00:00:00:01");
   }
}

/// Looks at the path when it hears of the state.
class StatusWatcher : public MountStatus::Notifiee {
 public:
   explicit StatusWatcher(Fen::Ptr<MountStatus> const& status) : MountStatus::Notifiee(status) {
      isRegisteredNotifieeIs(true);
   }
   void onMountState() override { seen = notifier()->mountedPath(); }
   Fen::String8 seen;
};

TEST_F(RollUp, WhoHearsThatItIsMountedFindsThePath) {
   both();
   report(mountStateMounting);
   auto const watcher = Fen::makePtr<StatusWatcher>(status("fabric", "g", "a", 1));
   report(mountStateMounted);
   EXPECT_EQ(watcher->seen, "mount/target/02:00:00:00:00:01");
}

TEST_F(RollUp, WhoIsNotInterestedLosesTheStatusOnEveryChangeWhileTheMountGoesOn) {
   systemFilter("access", "h")->includedSystemIs(text(1), true);
   systemFilter("fabric", "g")->includedSystemIs(text(1), true);
   both();
   finish("a", 1);
   ASSERT_TRUE(status("access", "h", "a", 1));
   systemFilter("access", "h")->includedSystemDel(text(1));
   EXPECT_TRUE(status("access", "h", "a", 1)) << "no state has changed yet";
   ASSERT_TRUE(mountSm("a", 1));
   Traces traces;
   report(mountStateMounted);
   EXPECT_FALSE(status("access", "h", "a", 1));
   EXPECT_EQ(service("access").status->systemStatusCount(), 0u);
   EXPECT_TRUE(traces.hasLine("Gantry/5 updateMounterStatus: Deleting mountStatus for : a"));
   EXPECT_TRUE(traces.hasLine("Gantry/5 updateMounterStatus: Deleting mount group status for h"));
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 updateMounterStatus: Deleting systemStatus for  Connection:02:00:00:00:00:01 Mount "
      "state:mountStateMounted Service:access Remote path:a"));
   EXPECT_TRUE(status("fabric", "g", "a", 1));
   EXPECT_EQ(asked("a", 1), MountSm::stateIdle);
}

TEST_F(RollUp, AnUnmountOfAConnectionWithNothingInStatusChangesNothing) {
   both();
   Traces traces;
   report(mountStateUnmounted, "a", 2);
   EXPECT_TRUE(traces.hasLine(
      "Gantry/5 updateMounterStatus: no system status for connection: 02:00:00:00:00:02"));
   EXPECT_FALSE(traces.has("Deleting"));
   // Another group's status of that system stays.
   service("fabric").status->systemStatusIs(text(2))->serviceMountGroupStatusIs("other");
   traces.clear();
   report(mountStateUnmounted, "a", 2);
   EXPECT_TRUE(traces.hasLine("Gantry/5 updateMounterStatus: no mount group status for: g"));
   EXPECT_EQ(service("fabric").status->systemStatusCount(), 1u);
}

TEST_F(RollUp, EmptiedParentsGoAndOthersStay) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   want("fabric", "g", "b");
   want("fabric", "h", "c");
   for (char const* path : {"a", "b", "c"}) {
      report(mountStateMounted, path);
   }
   report(mountStateUnmounted, "a");
   EXPECT_FALSE(status("fabric", "g", "a", 1));
   EXPECT_EQ(groupState(), mountStateMounted) << "what is left is not rolled up again";
   report(mountStateUnmounted, "b");
   EXPECT_FALSE(groupStatus("fabric", "g", 1));
   EXPECT_TRUE(groupStatus("fabric", "h", 1));
   report(mountStateUnmounted, "c");
   EXPECT_EQ(service("fabric").status->systemStatusCount(), 0u);
}

TEST(RollUpDeath, AMounterWithoutAStatusIsRefused) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   EXPECT_DEATH(
      {
         Host host;
         host.create();
         host.entry("a")->mounterIs(MounterName("fabric", "g"), host.declare("fabric", "g", "a"),
                                    host.group("fabric", "g"), nullptr);
         host.entrySm("a")->updateMountersStatus(Host::id(1), mountStateMounted);
      },
      "serviceMountStatus");
}

// ---- groups ------------------------------------------------------------------------------------

TEST_F(RollUp, AGroupShowsAStateOnlyWhenEveryDeclaredMountIsInIt) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   declare("fabric", "g", "b");
   report(mountStateMounted);
   EXPECT_EQ(groupState(), mountStateUnmounted) << "b is declared and has not begun";
   want("fabric", "g", "b");
   report(mountStateMounting, "b");
   EXPECT_EQ(groupState(), mountStateUnmounted);
   report(mountStateMounted, "b");
   EXPECT_EQ(groupState(), mountStateMounted);
}

TEST_F(RollUp, AGroupWithoutMountsShowsTheStateThatComes) {
   auto const empty = service("fabric").config->mountGroupConfigIs("empty");
   auto const shown =
      service("fabric").status->systemStatusIs(text(1))->serviceMountGroupStatusIs("empty");
   entry("a");
   for (MountState const state : {mountStateMounting, mountStateFailed, mountStateMounted}) {
      entrySm("a")->updateMountGroupMountState(empty, shown, state);
      EXPECT_EQ(shown->mountState(), state);
   }
}

/// All states that a member may have; nothing stands for one without a status.
constexpr int nothing = -1;

TEST_F(RollUp, TheWalkStopsAtTheFirstMemberThatDecides) {
   // Three members in the order of the collection, each in every state or absent, under each new
   // state, against the rule put down again by hand.
   auto const config = group("fabric", "g");
   for (char const* path : {"a", "b", "c"}) {
      declare("fabric", "g", path);
   }
   std::vector<Fen::Name> order;
   for (auto i = config->mountConfigIterator(); i; ++i) {
      order.push_back(i.key());
   }
   ASSERT_EQ(order.size(), 3u);
   auto const shown =
      service("fabric").status->systemStatusIs(text(1))->serviceMountGroupStatusIs("g");
   entry("a");
   auto const place = [&](Fen::Name const& name, int state) {
      if (state == nothing) {
         shown->mountStatusDel(name);
      } else {
         shown->mountStatusIs(name)->mountStateIs(static_cast<MountState>(state));
      }
   };
   unsigned failedHidden = 0;
   for (int first = nothing; first < 6; ++first) {
      for (int second = nothing; second < 6; ++second) {
         for (int third = nothing; third < 6; ++third) {
            place(order[0], first);
            place(order[1], second);
            place(order[2], third);
            for (int next = 1; next < 6; ++next) {
               MountState expected = static_cast<MountState>(next);
               bool anyFailed = false;
               for (int const state : {first, second, third}) {
                  anyFailed = anyFailed || state == mountStateFailed;
               }
               for (int const state : {first, second, third}) {
                  if (state == mountStateFailed) {
                     expected = mountStateFailed;
                     break;
                  }
                  if (state != next) {
                     expected = mountStateUnmounted;
                     break;
                  }
               }
               entrySm("a")->updateMountGroupMountState(config, shown,
                                                        static_cast<MountState>(next));
               ASSERT_EQ(shown->mountState(), expected)
                  << first << " " << second << " " << third << " " << next;
               failedHidden += anyFailed && expected == mountStateUnmounted ? 1 : 0;
            }
         }
      }
   }
   EXPECT_GT(failedHidden, 0u) << "a failed mount behind one that differs does not show";
}

TEST_F(RollUp, AWholeRoadFromDeclarationToFinalState) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   EXPECT_EQ(service("fabric").status->systemStatusCount(), 0u);
   turn();
   EXPECT_EQ(status("fabric", "g", "a", 1)->mountState(), mountStateMounting);
   answer("a", 1, Cairn::mountStatusTimedOut);
   EXPECT_EQ(status("fabric", "g", "a", 1)->mountState(), mountStateFailed);
   EXPECT_EQ(groupState(), mountStateFailed);
   negotiate(1, "fabric", 1);
   turn();
   EXPECT_EQ(groupState(), mountStateUnmounting);
   unmountDone("a", 1);
   EXPECT_EQ(groupState(), mountStatePending);
   finish("a", 1);
   EXPECT_EQ(groupState(), mountStateMounted);
   EXPECT_EQ(status("fabric", "g", "a", 1)->mountedPath(), "mount/target/02:00:00:00:00:01");
}

} // namespace
