/// Making the directories of a path: what is made, what is kept, and the words of each step.
#include "../support/Traces.h"

#include <gantry/service/CreateDirPath.h>

#include <gtest/gtest.h>

namespace {

using Controller::doCreateDirPath;
using Fen::Ptr;
using TestSupport::Traces;

class CreateDirPath : public testing::Test {
 protected:
   static Ptr<Fen::Dir> below(Ptr<Fen::Dir> const& directory, char const* name) {
      return Fen::ptrCast<Fen::Dir>(directory->entityPtr(name));
   }
   Ptr<Fen::Dir> top = Fen::dirFactory("top");
};

TEST_F(CreateDirPath, OneComponentGoesDirectlyToTheFinalStep) {
   Traces traces;
   doCreateDirPath(top, "routes");
   EXPECT_TRUE(below(top, "routes"));
   EXPECT_EQ(traces.text(), "Gantry/5 doCreateDirPath final:routes\n"
                            "Gantry/5 doCreateDirPath creating final routes\n");
}

TEST_F(CreateDirPath, EveryDirectoryOfTheWayIsMade) {
   Traces traces;
   doCreateDirPath(top, "a/b/c");
   ASSERT_TRUE(below(top, "a"));
   ASSERT_TRUE(below(below(top, "a"), "b"));
   EXPECT_TRUE(below(below(below(top, "a"), "b"), "c"));
   EXPECT_EQ(traces.text(), "Gantry/5 doCreateDirPath a\n"
                            "Gantry/5 doCreateDirPath b\n"
                            "Gantry/5 doCreateDirPath final:c\n"
                            "Gantry/5 doCreateDirPath creating final c\n");
}

TEST_F(CreateDirPath, WhatIsThereIsKept) {
   doCreateDirPath(top, "a/b");
   Ptr<Fen::Dir> const a = below(top, "a");
   Ptr<Fen::Dir> const b = below(a, "b");
   Traces traces;
   doCreateDirPath(top, "a/b");
   EXPECT_EQ(below(top, "a"), a);
   EXPECT_EQ(below(a, "b"), b);
   EXPECT_FALSE(traces.has("creating final"));
   doCreateDirPath(top, "a/c");
   EXPECT_EQ(below(top, "a"), a);
   EXPECT_EQ(below(a, "b"), b);
   EXPECT_TRUE(below(a, "c"));
}

TEST_F(CreateDirPath, AnEmptyFirstComponentIsTheDirectoryItself) {
   Traces traces;
   doCreateDirPath(top, "/a/b");
   ASSERT_TRUE(below(top, "a"));
   EXPECT_TRUE(below(below(top, "a"), "b"));
   EXPECT_EQ(top->entityPtrs().size(), 1u);
   EXPECT_EQ(traces.text(), "Gantry/5 doCreateDirPath \n"
                            "Gantry/5 doCreateDirPath a\n"
                            "Gantry/5 doCreateDirPath final:b\n"
                            "Gantry/5 doCreateDirPath creating final b\n");
}

TEST_F(CreateDirPath, AnEmptyLastComponentMakesNothingMore) {
   doCreateDirPath(top, "a/");
   ASSERT_TRUE(below(top, "a"));
   EXPECT_EQ(below(top, "a")->entityPtrs().size(), 0u);
}

TEST_F(CreateDirPath, APlaceThatSomebodyHoldsEmptyIsFilled) {
   Ptr<Fen::Dir::Entry> const place = top->entryIs("a");
   doCreateDirPath(top, "a/b");
   EXPECT_TRUE(place->entityRef());
   EXPECT_TRUE(below(below(top, "a"), "b"));
}

/// A directory with a child that is no member of it.
class DirWithChild : public Fen::Dir {
 public:
   explicit DirWithChild(Fen::Name name) : Fen::Dir(name) {}
   Ptr<Fen::Entity> fenPathMember(std::string_view& rest) const override {
      if (rest == "own") {
         rest = {};
         return child;
      }
      return Fen::Dir::fenPathMember(rest);
   }
   Ptr<Fen::Dir> child = Fen::dirFactory("own");
};

TEST_F(CreateDirPath, AChildThatIsNoMemberIsGoneThrough) {
   auto const special = Fen::makePtr<DirWithChild>("special");
   doCreateDirPath(special, "own/a");
   EXPECT_TRUE(below(special->child, "a"));
   EXPECT_EQ(special->entityPtrs().size(), 0u);
}

TEST_F(CreateDirPath, ALastComponentOfAnotherTypeIsLeftAlone) {
   Ptr<Fen::Entity> const other = Fen::makePtr<Fen::Entity>("a");
   top->entityPtrIs(other);
   doCreateDirPath(top, "a");
   EXPECT_EQ(top->entityPtr("a"), other);
}

using CreateDirPathDeathTest = CreateDirPath;

TEST_F(CreateDirPathDeathTest, APathThroughWhatIsNoDirectoryStopsTheProcess) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   top->entityPtrIs(Fen::makePtr<Fen::Entity>("a"));
   EXPECT_DEATH(doCreateDirPath(top, "a/b"), "current");
}

} // namespace
