// Generated machines that watch directories, for reading and for writing.

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

} // namespace
