// Reactors inside a reactor: they follow what the outer one watches, move with it and end with it.

#include <tests/fenc/generated/Nest.fen.h>

#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

namespace FenTest {

void NestSm::note(Fen::String8 text) { logIs(log() + text + ";"); }
void NestSm::FenFloor::handleClock() { nestSm()->note("clock"); }
void NestSm::FenFloor::FenRoom::handleLamps() {
   changesIs(changes() + 1);
   FenFloor* const outer = fenFloor();
   outer->seenIs(outer->seen() + 1);
   NestSm* const machine = outer->nestSm();
   machine->note(outer->floor()->name() + "/" + room()->name());
   if (room()->lamps() == 99) {
      machine->floorDel(outer->floor()->name()); // takes the reactor around the running one away
      machine->note("gone");
   }
}

} // namespace FenTest

namespace {

using namespace FenTest;
using Fen::Ptr;

class GeneratedNest : public testing::Test {
 protected:
   Ptr<NestFloor> floorWith(char const* room) {
      auto const floor = Fen::makePtr<NestFloor>("ground");
      floor->roomIs(room);
      return floor;
   }
   std::string take() {
      std::string const log = machine_->log().str();
      machine_->logIs("");
      return log;
   }

   Fen::VirtualTime time_{1000.0};
   Ptr<NestSm> machine_ = nestSmFactory("x");
};

TEST_F(GeneratedNest, InnerReactorsFollowWhatTheOuterWatches) {
   Ptr<NestFloor> const floor = floorWith("hall");
   Ptr<NestSm::FenFloor> const outer = machine_->floorIs(floor);
   EXPECT_EQ(take(), "") << "a fresh reactor only registers";
   ASSERT_TRUE(outer->room("hall"));
   EXPECT_EQ(outer->room("hall")->fenFloor(), outer.ptr());
   floor->roomIs("bath");
   ASSERT_TRUE(outer->room("bath"));
   floor->room("bath")->lampsIs(2);
   EXPECT_EQ(take(), "ground/bath;");
   EXPECT_EQ(outer->seen(), 1u);
   Ptr<NestSm::FenFloor::FenRoom> const gone = outer->room("hall");
   Ptr<NestRoom> const hall = floor->roomDel("hall");
   EXPECT_FALSE(outer->room("hall"));
   EXPECT_TRUE(gone->fenMarkedForDeletion());
   hall->lampsIs(5);
   EXPECT_EQ(take(), "");
}

TEST_F(GeneratedNest, MovingTheOuterMovesTheInnerOnes) {
   Ptr<NestFloor> const floor = floorWith("hall");
   Ptr<NestSm::FenFloor> const outer = machine_->floorIs(floor);
   Ptr<NestSm::FenFloor::FenRoom> const inner = outer->room("hall");
   floor->roomIs("bath");
   Ptr<NestFloor> const other = floorWith("hall");
   EXPECT_EQ(machine_->floorIs(other), outer);
   EXPECT_EQ(outer->room("hall"), inner);
   EXPECT_EQ(inner->room(), other->room("hall"));
   EXPECT_FALSE(outer->room("bath"));
   EXPECT_EQ(take(), "ground/hall;") << "the moved one handles what it finds";
   floor->room("hall")->lampsIs(1);
   EXPECT_EQ(take(), "");
}

TEST_F(GeneratedNest, ARunningInnerReactorMayEndTheOuterOne) {
   Ptr<NestFloor> const floor = floorWith("hall");
   machine_->floorIs(floor);
   floor->room("hall")->lampsIs(99);
   EXPECT_EQ(take(), "ground/hall;gone;");
   EXPECT_EQ(machine_->floorCount(), 0u);
   floor->room("hall")->lampsIs(1);
   EXPECT_EQ(take(), "");
}

TEST_F(GeneratedNest, ClosingAndEndingReachTheInnermost) {
   Ptr<NestFloor> const floor = floorWith("hall");
   Ptr<NestSm::FenFloor> const outer = machine_->floorIs(floor);
   machine_->hasNotificationActiveIs(false);
   floor->room("hall")->lampsIs(1);
   outer->clock()->timeMinIs(0.0);
   time_.advance(0.0);
   EXPECT_EQ(take(), "");
   machine_->hasNotificationActiveIs(true);
   time_.advance(0.0);
   floor->room("hall")->lampsIs(2);
   EXPECT_EQ(take(), "clock;ground/hall;");
   Ptr<NestSm::FenFloor::FenRoom> const inner = outer->room("hall");
   machine_ = nullptr;
   EXPECT_TRUE(inner->fenMarkedForDeletion());
   EXPECT_EQ(outer->nestSm(), nullptr);
   floor->room("hall")->lampsIs(3);
}

} // namespace
