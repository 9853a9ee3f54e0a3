/// The pointers: who holds a reference when, and what a null is refused with.
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/Ptr.h>

#include <gtest/gtest.h>

#include <type_traits>
#include <unordered_set>

namespace {

using Fen::Ptr;
using Fen::ValidPtr;

class Base : public Fen::PtrInterface {};
class Derived : public Base {};
class Other : public Base {};

static_assert(std::is_convertible_v<Ptr<Derived>, Ptr<Base>>);
static_assert(std::is_convertible_v<Ptr<Derived>, Ptr<Base const>>);
static_assert(!std::is_convertible_v<Ptr<Base const>, Ptr<Base>>);
static_assert(!std::is_convertible_v<Ptr<Base>, Ptr<Derived>>);
static_assert(sizeof(Ptr<Base>) == sizeof(void*));
static_assert(std::is_nothrow_move_constructible_v<Ptr<Base>>);

TEST(PtrTest, MakePtrOwnsTheFirstReference) {
   auto it = Fen::makePtr<Base>();
   EXPECT_EQ(it->fenReferenceCount(), 1u);
}

TEST(PtrTest, FromAPlainPointerAddsAReference) {
   auto it = Fen::makePtr<Base>();
   Ptr<Base> const again(it.ptr());
   EXPECT_EQ(it->fenReferenceCount(), 2u);
}

TEST(PtrTest, CopyTakesMoveTransfers) {
   auto it = Fen::makePtr<Derived>();
   Ptr<Derived> copy = it;
   EXPECT_EQ(it->fenReferenceCount(), 2u);
   Ptr<Derived> const moved = std::move(copy);
   EXPECT_EQ(it->fenReferenceCount(), 2u);
   EXPECT_FALSE(copy);
   Ptr<Base> base = moved;
   EXPECT_EQ(it->fenReferenceCount(), 3u);
   Ptr<Base const> const movedBase = std::move(base);
   EXPECT_EQ(it->fenReferenceCount(), 3u);
   EXPECT_FALSE(base);
}

TEST(PtrTest, AssignmentDropsTheFormer) {
   auto first = Fen::makePtr<Base>();
   auto second = Fen::makePtr<Base>();
   Ptr<Base> at = first;
   at = second;
   EXPECT_EQ(first->fenReferenceCount(), 1u);
   EXPECT_EQ(second->fenReferenceCount(), 2u);
   at = nullptr;
   EXPECT_EQ(second->fenReferenceCount(), 1u);
}

TEST(PtrTest, SelfAssignmentKeepsTheObject) {
   auto it = Fen::makePtr<Base>();
   Ptr<Base>& alias = it;
   it = alias;
   EXPECT_EQ(it->fenReferenceCount(), 1u);
   it = std::move(alias);
   ASSERT_TRUE(it);
   EXPECT_EQ(it->fenReferenceCount(), 1u);
}

/// What holds the pointer goes with the object: the pointer is null before the object ends.
TEST(PtrTest, TheFormerGoesWhenThePointerHoldsTheNewAlready) {
   class Watcher : public Base {
    public:
      Watcher(Ptr<Base>& place, bool& wasNull) : place_(place), wasNull_(wasNull) {}

    protected:
      ~Watcher() override { wasNull_ = place_ == nullptr; }

    private:
      Ptr<Base>& place_;
      bool& wasNull_;
   };
   Ptr<Base> place;
   bool wasNull = false;
   place = Fen::makePtr<Watcher>(place, wasNull);
   place = nullptr;
   EXPECT_TRUE(wasNull);
}

TEST(PtrTest, AdoptAndRelease) {
   Base* const raw = Fen::makePtr<Base>().release();
   EXPECT_EQ(raw->fenReferenceCount(), 1u);
   auto const adopted = Ptr<Base>::adopt(raw);
   EXPECT_EQ(raw->fenReferenceCount(), 1u);
}

TEST(PtrTest, Comparison) {
   auto it = Fen::makePtr<Derived>();
   Ptr<Base const> const base = it;
   Ptr<Base> const none;
   EXPECT_TRUE(base == it);
   EXPECT_TRUE(it == it.ptr());
   EXPECT_TRUE(none == nullptr);
   EXPECT_TRUE(it != none);
   EXPECT_FALSE(none);
   std::unordered_set<Ptr<Derived>> const set{it, it};
   EXPECT_EQ(set.size(), 1u);
}

TEST(PtrTest, CastGivesNullForAnotherType) {
   Ptr<Base> const it = Fen::makePtr<Derived>();
   EXPECT_TRUE(Fen::ptrCast<Derived>(it));
   EXPECT_FALSE(Fen::ptrCast<Other>(it));
   EXPECT_FALSE(Fen::ptrCast<Other>(Ptr<Base>()));
   EXPECT_EQ(it->fenReferenceCount(), 1u);
}

template <class Make>
void expectNullRefused(Make const& make) {
   try {
      make();
      ADD_FAILURE() << "a null was taken";
   } catch (Fen::RangeException const& refused) {
      EXPECT_EQ(refused.text(), "null ValidPtr");
      EXPECT_STREQ(refused.what(), "null ValidPtr");
      EXPECT_EQ(refused.id(), Fen::Exception::Id::range);
   }
}

TEST(PtrTest, ValidPtrRefusesNull) {
   expectNullRefused([] { ValidPtr<Base> const it(static_cast<Base*>(nullptr)); });
   expectNullRefused([] { ValidPtr<Base> const it{Ptr<Base>()}; });
   expectNullRefused([] {
      Ptr<Derived> const none;
      ValidPtr<Base> const it(none);
   });
}

TEST(PtrTest, ValidPtrOwns) {
   auto it = Fen::makePtr<Derived>();
   ValidPtr<Base> const valid(it);
   EXPECT_EQ(it->fenReferenceCount(), 2u);
   Ptr<Base> const back = valid;
   EXPECT_EQ(it->fenReferenceCount(), 3u);
   EXPECT_EQ(valid.ptr(), it.ptr());
   EXPECT_EQ(valid->fenReferenceCount(), 3u);
   ValidPtr<Base> const moved(std::move(it));
   EXPECT_EQ(moved->fenReferenceCount(), 3u);
}

} // namespace
