// Generated machines that watch directories, for reading and for writing, and the order in which a
// reactor that is moved moves what follows it.

#include <tests/fenc/generated/Street.fen.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace FenTest;
using Fen::Ptr;

class GeneratedDirectoryMachine : public testing::Test {
 protected:
   std::string take() {
      std::string const log = machine_->log().str();
      machine_->logIs("");
      return log;
   }

   Ptr<Fen::Dir> plan_ = Fen::dirFactory("plan");
   Ptr<Fen::Dir> built_ = Fen::dirFactory("built");
   Ptr<StreetSm> machine_ = streetSmFactory(plan_, built_);
};

TEST_F(GeneratedDirectoryMachine, membersComeAndGo) {
   EXPECT_EQ(take(), "");
   plan_->entityIs("mill", "Fen::Dir");
   EXPECT_EQ(take(), "planned:mill;built:mill;");
   built_->entityPtrDel("mill");
   plan_->entityPtrDel("mill");
   EXPECT_EQ(take(), "built:mill;planned:mill;built:mill;");
}

TEST_F(GeneratedDirectoryMachine, aReactorThatIsMovedTakesUpTheWholeDirectory) {
   Ptr<Fen::Dir> const other = Fen::dirFactory("other");
   other->entityIs("inn", "Fen::Dir");
   machine_->fenPlan()->notifierIs(other);
   EXPECT_EQ(take(), "planned;");
   EXPECT_EQ(machine_->plan(), other);
   machine_->fenBuilt()->notifierIs(other);
   EXPECT_EQ(take(), "built:inn;");
}

TEST(GeneratedMachineOrder, followersHaveTheirTurnAmongWhatAttachingRuns) {
   Ptr<Resident> const ann = residentFactory("ann");
   Ptr<Lot> const first = lotFactory("first");
   Ptr<LotSm> const machine = lotSmFactory(first);
   EXPECT_EQ(machine->log(), "");
   Ptr<Lot> const second = lotFactory("second");
   second->builderIs(ann);
   second->visitorIs("bob");
   machine->fenLot()->notifierIs(second);
   EXPECT_EQ(machine->log(), "fenced;visitor;between;builder;");
   machine->logIs("");
   second->builderIs(nullptr);
   EXPECT_EQ(machine->log(), "builder;");
}

TEST(GeneratedMachineOrder, followersAreAttachedAtBirthAsEver) {
   Ptr<Lot> const lot = lotFactory("lot");
   lot->builderIs(residentFactory("ann"));
   lot->visitorIs("bob");
   EXPECT_EQ(lotSmFactory(lot)->log(), "builder;visitor;");
}

} // namespace
