/// The word of count and marks, and the end of an object.
#include <gantry/runtime/fen/Ptr.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

using Fen::Ptr;

constexpr std::uint32_t active = 1u << 29;
constexpr std::uint32_t marked = 1u << 31;

/// Counts its deaths and does what a test wants at its end.
class Thing : public Fen::PtrInterface {
 public:
   explicit Thing(int& deaths) : deaths_(deaths) {}
   void zeroReferencesIs(bool zero) override {
      zeroes.push_back(zero);
      if (atZero) {
         atZero();
      }
   }
   std::function<void()> atZero;
   std::function<void()> atEnd;
   static inline std::vector<bool> zeroes;

 protected:
   ~Thing() override {
      ++deaths_;
      if (atEnd) {
         atEnd();
      }
   }

 private:
   int& deaths_;
};

class CountingTest : public testing::Test {
 protected:
   void SetUp() override { Thing::zeroes.clear(); }
   Ptr<Thing> thing() { return Fen::makePtr<Thing>(deaths); }
   int deaths = 0;
};

TEST_F(CountingTest, AFreshObjectHoldsOne) {
   auto it = thing();
   EXPECT_EQ(it->fenWord(), 1u);
   EXPECT_FALSE(it->hasNotificationActive());
   EXPECT_FALSE(it->fenMarkedForDeletion());
   EXPECT_FALSE(it->isNondestructing());
}

TEST_F(CountingTest, TheLowBitsCount) {
   auto it = thing();
   {
      Ptr<Thing> const second = it;
      Ptr<Thing const> const third = it;
      EXPECT_EQ(it->fenWord(), 3u);
   }
   EXPECT_EQ(it->fenWord(), 1u);
   EXPECT_EQ(deaths, 0);
}

TEST_F(CountingTest, Bit29IsNotificationActive) {
   auto it = thing();
   it->hasNotificationActiveIs(true);
   EXPECT_EQ(it->fenWord(), active | 1u);
   EXPECT_TRUE(it->hasNotificationActive());
   Ptr<Thing> const second = it;
   EXPECT_EQ(it->fenWord(), active | 2u);
   EXPECT_EQ(it->fenReferenceCount(), 2u);
   it->hasNotificationActiveIs(false);
   EXPECT_EQ(it->fenWord(), 2u);
}

TEST_F(CountingTest, Bit31IsTheZombieMark) {
   auto it = thing();
   it->fenMarkedForDeletionIs(true);
   EXPECT_EQ(it->fenWord(), marked | 1u);
   EXPECT_TRUE(it->fenMarkedForDeletion());
   EXPECT_EQ(it->fenReferenceCount(), 1u);
   it->hasNotificationActiveIs(true);
   EXPECT_EQ(it->fenWord(), marked | active | 1u);
   it->fenMarkedForDeletionIs(false);
   EXPECT_EQ(it->fenWord(), active | 1u);
}

TEST_F(CountingTest, MarksDoNotKeepAlive) {
   auto it = thing();
   it->hasNotificationActiveIs(true);
   it->fenMarkedForDeletionIs(true);
   it = nullptr;
   EXPECT_EQ(deaths, 1);
   EXPECT_EQ(Thing::zeroes, std::vector<bool>{true});
}

TEST_F(CountingTest, TopByte1fIsNotCounted) {
   auto it = thing();
   Thing* const raw = it.ptr();
   it->isNondestructingIs(true);
   std::uint32_t const word = raw->fenWord();
   EXPECT_EQ(word >> 24, 0x1fu);
   EXPECT_TRUE(raw->isNondestructing());
   {
      Ptr<Thing> const second = it;
      EXPECT_EQ(raw->fenWord(), word);
   }
   EXPECT_EQ(raw->fenWord(), word);
   it = nullptr;
   EXPECT_EQ(raw->fenWord(), word);
   EXPECT_EQ(deaths, 0);
   raw->isNondestructingIs(false);
   EXPECT_EQ(raw->fenWord(), 1u);
   raw->fenReferenceDel();
   EXPECT_EQ(deaths, 1);
}

TEST_F(CountingTest, OtherTopBytesAreCounted) {
   // All five bits of the count's top byte set, but a mark beside them: that is a count.
   auto it = thing();
   it->hasNotificationActiveIs(true);
   it->fenMarkedForDeletionIs(true);
   EXPECT_FALSE(it->isNondestructing());
   Ptr<Thing> const second = it;
   EXPECT_EQ(it->fenReferenceCount(), 2u);
}

TEST_F(CountingTest, MarksOnAnUncountedWordAreNotStored) {
   auto it = thing();
   it->isNondestructingIs(true);
   std::uint32_t const word = it->fenWord();
   it->hasNotificationActiveIs(true);
   it->fenMarkedForDeletionIs(true);
   EXPECT_EQ(it->fenWord(), word);
   EXPECT_TRUE(it->isNondestructing());
   it->hasNotificationActiveIs(false);
   it->fenMarkedForDeletionIs(false);
   EXPECT_EQ(it->fenWord(), word);
   it->isNondestructingIs(false);
}

TEST_F(CountingTest, LeavingTheCountDropsTheMarks) {
   auto it = thing();
   it->hasNotificationActiveIs(true);
   it->fenMarkedForDeletionIs(true);
   it->isNondestructingIs(true);
   EXPECT_EQ(it->fenWord(), 0x1f000001u);
   it->isNondestructingIs(true);
   EXPECT_EQ(it->fenWord(), 0x1f000001u);
   it->isNondestructingIs(false);
   EXPECT_EQ(it->fenWord(), 1u);
   it->isNondestructingIs(false);
   EXPECT_EQ(it->fenWord(), 1u);
}

TEST_F(CountingTest, TheZeroReferenceHandlerMaySaveTheObject) {
   auto it = thing();
   Thing* const raw = it.ptr();
   Ptr<Thing> saved;
   raw->atZero = [&] { saved = Ptr<Thing>(raw); };
   it = nullptr;
   ASSERT_TRUE(saved);
   EXPECT_EQ(deaths, 0);
   EXPECT_EQ(saved->fenWord(), 1u);
   raw->atZero = nullptr;
   saved = nullptr;
   EXPECT_EQ(deaths, 1);
   EXPECT_EQ(Thing::zeroes, (std::vector<bool>{true, true}));
}

TEST_F(CountingTest, PointersMadeAndDroppedInTheHandlerDoNotRunItAgain) {
   auto it = thing();
   Thing* const raw = it.ptr();
   raw->atZero = [&] {
      Ptr<Thing> const first(raw);
      Ptr<Thing> const second(raw);
   };
   it = nullptr;
   EXPECT_EQ(deaths, 1);
   EXPECT_EQ(Thing::zeroes.size(), 1u);
}

TEST_F(CountingTest, TheHandlerMayTakeTheObjectOutOfTheCount) {
   auto it = thing();
   Thing* const raw = it.ptr();
   raw->atZero = [raw] { raw->isNondestructingIs(true); };
   it = nullptr;
   EXPECT_EQ(deaths, 0);
   EXPECT_TRUE(raw->isNondestructing());
   raw->atZero = nullptr;
   raw->isNondestructingIs(false);
   raw->fenReferenceNew();
   raw->fenReferenceDel();
   EXPECT_EQ(deaths, 1);
}

TEST_F(CountingTest, ACountedPointerMadeInTheDestructorDestroysOnce) {
   auto it = thing();
   Thing* const raw = it.ptr();
   raw->hasNotificationActiveIs(true);
   raw->atEnd = [raw] {
      for (int i = 0; i < 3; ++i) {
         Ptr<Thing> const first(raw);
         Ptr<Thing> const second(first);
      }
      raw->fenMarkedForDeletionIs(true);
      Ptr<Thing> const third(raw);
   };
   it = nullptr;
   EXPECT_EQ(deaths, 1);
   EXPECT_EQ(Thing::zeroes.size(), 1u);
}

TEST_F(CountingTest, AMarkedObjectThatDiesIsNotTakenForUncounted) {
   auto it = thing();
   Thing* const raw = it.ptr();
   raw->fenMarkedForDeletionIs(true);
   raw->hasNotificationActiveIs(true);
   bool uncounted = true;
   raw->atEnd = [&, raw] { uncounted = raw->isNondestructing(); };
   it = nullptr;
   EXPECT_FALSE(uncounted);
}

/// Two objects that hold each other and let go in their destructors.
TEST_F(CountingTest, OneMayDropAnotherInItsDestructor) {
   auto first = thing();
   auto second = thing();
   first->atEnd = [&] { second = nullptr; };
   first = nullptr;
   EXPECT_EQ(deaths, 2);
}

TEST_F(CountingTest, DefaultsOfTheVirtualOperations) {
   auto it = thing();
   EXPECT_FALSE(it->fenAuditErrors(0));
   EXPECT_FALSE(it->auditErrors(0));
   EXPECT_EQ(it->fwkType(), nullptr);
}

} // namespace
