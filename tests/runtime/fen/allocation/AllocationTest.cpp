// What the hot paths may not do: allocate. This program replaces the global allocation functions
// with ones that count, so these tests stand in a program of their own.
#include <tests/runtime/fen/allocation/Sample.fen.h>
#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>
#include <vector>

namespace {

std::size_t allocations = 0;

void* counted(std::size_t bytes) {
   ++allocations;
   if (void* const memory = std::malloc(bytes != 0 ? bytes : 1)) {
      return memory;
   }
   throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t bytes) { return counted(bytes); }
void* operator new[](std::size_t bytes) { return counted(bytes); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using AllocationTest::Place;
using AllocationTest::Port;
using Fen::Ptr;
using NboAttrLogTest::Bytes;
using NboAttrLogTest::Frame;
using NboAttrLogTest::Link;

class Listener final : public Port::Notifiee {
 public:
   explicit Listener(Ptr<Port> const& port) : Notifiee(port) { isRegisteredNotifieeIs(true); }
   void onSpeed() override { ++told; }
   void onLabel() override { ++told; }
   void onAlias() override { ++told; }
   void onLit(std::uint32_t) override { ++told; }
   int told = 0;
};

struct Allocation : testing::Test {
   void SetUp() override {
      port->labelIs("a label that is long enough to be held beside its string");
      port->aliasIs("an alias of the same kind, so that nothing is small by luck");
      port->litIs(7, true);
      link.mount(port);
      link.settle();
      copy = link.copy<Port>();
      ASSERT_TRUE(copy);
   }
   /// The messages that `change` makes the source write.
   template <class Change>
   std::vector<Frame> written(Change const& change) {
      link.settle();
      change();
      link.source->flush(1 << 20);
      std::vector<Frame> frames =
         NboAttrLogTest::framesOf(NboAttrLogTest::pendingOf(*link.sourceBytes));
      link.settle();
      return frames;
   }
   /// Gives the messages to the target; returns how often that allocated.
   std::size_t received(std::vector<Frame>& frames) {
      std::size_t const before = allocations;
      for (Frame& frame : frames) {
         link.target->receive(frame.kind, frame.payload.data(), frame.payload.size());
      }
      return allocations - before;
   }

   Ptr<Port> port = Fen::makePtr<Port>("port");
   Link link;
   Ptr<Port> copy;
};

TEST_F(Allocation, isCountedAcrossTheLibrary) {
   std::size_t const before = allocations;
   port->labelIs("another label, which is made in here and stored in there");
   EXPECT_GT(allocations, before);
}

TEST_F(Allocation, anEqualReceivedTextAllocatesNothing) {
   auto const listener = Fen::makePtr<Listener>(copy);
   Fen::String8 const label = port->label();
   Fen::Name const alias = port->alias();
   std::vector<Frame> texts = written([&] {
      port->labelIs("x");
      port->labelIs(label);
      port->aliasIs("x");
      port->aliasIs(alias);
   });
   ASSERT_EQ(texts.size(), 4u);
   // What is there already comes once more.
   texts.erase(texts.begin() + 2);
   texts.erase(texts.begin());
   ASSERT_EQ(copy->label(), label);
   ASSERT_EQ(copy->alias(), alias);
   listener->told = 0;
   EXPECT_EQ(received(texts), 0u);
   EXPECT_EQ(listener->told, 0);
   EXPECT_EQ(copy->label(), label);
}

TEST_F(Allocation, receivedValuesOfConstantLengthAllocateNothing) {
   auto const listener = Fen::makePtr<Listener>(copy);
   std::vector<Frame> values = written([&] {
      port->speedIs(5);
      port->placeIs(Place(1, 2));
      port->litIs(7, false);
   });
   ASSERT_EQ(values.size(), 3u);
   copy->speedIs(0);
   copy->placeIs(Place());
   copy->litIs(7, true);
   listener->told = 0;
   EXPECT_EQ(received(values), 0u);
   EXPECT_EQ(listener->told, 2);
   EXPECT_EQ(copy->speed(), 5u);
   EXPECT_EQ(copy->place(), Place(1, 2));
   EXPECT_FALSE(copy->lit(7));
}

TEST_F(Allocation, aChangeIsToldAndWrittenWithoutOne) {
   // The list of notifiees is copied to the stack up to sixteen; the log is one of them.
   std::vector<Ptr<Listener>> listeners;
   for (int i = 0; i < 15; ++i) {
      listeners.push_back(Fen::makePtr<Listener>(port));
   }
   port->speedIs(1);
   port->litIs(7, false);
   link.settle();
   std::size_t const before = allocations;
   port->speedIs(2);
   port->speedIs(2);
   port->litIs(7, true);
   EXPECT_EQ(allocations, before);
   EXPECT_EQ(listeners[0]->told, 4);
   EXPECT_EQ(listeners[14]->told, 4);
   link.settle();
   EXPECT_EQ(copy->speed(), 2u);
   EXPECT_TRUE(copy->lit(7));
}

TEST_F(Allocation, lookingUpAllocatesNothing) {
   port->laneIs("a lane with a name of some length");
   Fen::Name const key("a lane with a name of some length");
   std::size_t const before = allocations;
   bool const found = static_cast<bool>(port->lane(key)) && port->lit(7);
   EXPECT_EQ(allocations, before);
   EXPECT_TRUE(found);
}

} // namespace
