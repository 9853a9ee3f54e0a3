/// Handles on entities as reactors: what they are told, when they are closed, moved, zombies or
/// dropped, and what goes on to whoever derives from them.
#include "NamedAttributes.h"

#include <functional>

namespace LibraryTest {
namespace {

using Controller::MountFilterSystem;
using Controller::mountFilterSystemFactory;
using Controller::ServiceMountGroupStatus;
using Fen::GenericIfEntity;
using Texts = std::vector<std::string>;

/// Writes down what it hears, and does something then.
class Heard : public GenericIf::Listener {
 public:
   void onAttribute(GenericIf&, Fen::AttributeId id, Key const& key) override {
      all.push_back(std::to_string(id) + (key ? " " + key->strRep().str() : std::string()));
      if (then) {
         then();
      }
   }
   Texts all;
   std::function<void()> then;
};

/// A handle that somebody derives from, to hear of exceptions and of the end.
class Derived : public GenericIfEntity {
 public:
   explicit Derived(Ptr<Fen::Entity> const& entity)
      : GenericIfEntity(entity, entity->fwkType(), false) {}
   void onNotificationException(Fen::AttributeId id) override {
      exceptions.push_back(std::to_string(id));
   }
   void onZeroReferences() override { ++ends; }
   Texts exceptions;
   int ends = 0;

 protected:
   ~Derived() override = default;
};

class HandleTest : public testing::Test {
 protected:
   Ptr<MountFilterSystem> filter = mountFilterSystemFactory("f");
   Ptr<Derived> handle = Fen::makePtr<Derived>(filter);
   Heard heard;

   void SetUp() override { handle->listenerIs(&heard); }
   void TearDown() override { handle->listenerIs(nullptr); }
   Texts told() { return std::exchange(heard.all, {}); }
};

TEST_F(HandleTest, IsToldOfChangesWithTheirKeys) {
   filter->includedSystemIs("before", true);
   handle->isRegisteredNotifieeIs(true);
   filter->includedSystemIs("a", true);
   filter->includedSystemIs("a", true);
   filter->includedSystemDel("a");
   EXPECT_EQ(told(), (Texts{"259 'a'", "259 'a'"}));
   handle->isRegisteredNotifieeIs(false);
   filter->includedSystemIs("a", true);
   EXPECT_EQ(told(), Texts{});
}

TEST_F(HandleTest, TheAdapterStandsForItsHandle) {
   handle->isRegisteredNotifieeIs(true);
   ASSERT_EQ(filter->fenNotifiees().size(), 1u);
   Fen::PtrInterface::NotifieeConst const* const adapter = filter->fenNotifiees().head();
   EXPECT_NE(dynamic_cast<GenericIfEntity::GenericIf_Adapter_ const*>(adapter), nullptr);
   EXPECT_EQ(adapter->fenReactor(), handle.ptr());
   EXPECT_EQ(adapter->fenRawReactor(), handle.ptr());
   handle = Fen::makePtr<Derived>(filter);
   EXPECT_EQ(filter->fenNotifiees().size(), 0u) << "it goes with its handle";
}

TEST_F(HandleTest, ClosedBeforeAnybodyWatchesItIsClosed) {
   handle->hasNotificationActiveIs(false);
   handle->isRegisteredNotifieeIs(true);
   filter->includedSystemIs("a", true);
   EXPECT_EQ(told(), Texts{});
   handle->hasNotificationActiveIs(true);
   filter->includedSystemIs("b", true);
   EXPECT_EQ(told(), Texts{"259 'b'"});
}

TEST_F(HandleTest, AZombieIsToldNothing) {
   handle->fenDoZombieReactors(true);
   EXPECT_TRUE(handle->fenMarkedForDeletion());
   handle->isRegisteredNotifieeIs(true);
   filter->includedSystemIs("a", true);
   EXPECT_EQ(told(), Texts{});
   // The same for one that was registered, until it is none any more.
   handle->fenDoZombieReactors(false);
   filter->includedSystemIs("b", true);
   EXPECT_EQ(told(), Texts{"259 'b'"});
   handle->fenDoZombieReactors(true);
   filter->includedSystemIs("c", true);
   EXPECT_EQ(told(), Texts{});
}

TEST_F(HandleTest, MovesWithItsRegistration) {
   auto const other = mountFilterSystemFactory("o");
   handle->isRegisteredNotifieeIs(true);
   handle->notifierIs(other);
   EXPECT_EQ(handle->entity(), other);
   filter->includedSystemIs("a", true);
   other->includedSystemIs("b", true);
   EXPECT_EQ(told(), Texts{"259 'b'"});
   // Closed, it is moved all the same, and opened it is where it was moved to.
   handle->hasNotificationActiveIs(false);
   handle->notifierIs(filter);
   other->includedSystemIs("c", true);
   handle->hasNotificationActiveIs(true);
   filter->includedSystemIs("d", true);
   other->includedSystemIs("e", true);
   EXPECT_EQ(told(), Texts{"259 'd'"});
   expectRefusal<Fen::TypeException>(
      "MountFilterSystem", [&] { handle->notifierIs(Controller::peerTableFactory("t")); });
   EXPECT_EQ(handle->entity(), filter);
}

TEST_F(HandleTest, ExceptionsAndTheEndGoToTheHandle) {
   handle->isRegisteredNotifieeIs(true);
   heard.then = [] { Fen::throwRangeException("no"); };
   filter->includedSystemIs("a", true);
   EXPECT_EQ(handle->exceptions, Texts{"259"});
   EXPECT_EQ(told(), Texts{"259 'a'"});
   heard.then = nullptr;
   // The key of the change that failed is not told again.
   handle->pendingAttributeIdIs(259);
   handle->handleNotification(nullptr);
   EXPECT_EQ(told(), Texts{"259"});
   filter->zeroReferencesIs(true);
   EXPECT_EQ(handle->ends, 1);
   EXPECT_EQ(told(), Texts{}) << "the end is no attribute";
}

TEST_F(HandleTest, AChangeInsideAChangeHasItsOwnKey) {
   handle->isRegisteredNotifieeIs(true);
   Heard second;
   auto const other = Fen::makePtr<Derived>(filter);
   other->listenerIs(&second);
   other->isRegisteredNotifieeIs(true);
   heard.then = [&] {
      heard.then = nullptr;
      filter->includedSystemIs("inner", true);
   };
   filter->includedSystemIs("outer", true);
   EXPECT_EQ(told(), (Texts{"259 'outer'", "259 'inner'"}));
   EXPECT_EQ(second.all, (Texts{"259 'inner'", "259 'outer'"}));
   other->listenerIs(nullptr);
}

TEST_F(HandleTest, TellsOfOneOrOfAllAttributes) {
   auto const status = Fen::makePtr<ServiceMountGroupStatus>("g");
   auto const all = Fen::makePtr<Derived>(status);
   all->listenerIs(&heard);
   for (Fen::AttributeId const id :
        {static_cast<Fen::AttributeId>(0xFFFFFFFEu), static_cast<Fen::AttributeId>(0xFFFFFFFFu)}) {
      all->pendingAttributeIdIs(id);
      all->handleNotification(nullptr);
      EXPECT_EQ(told(), (Texts{"258", "259", "260"}));
   }
   all->pendingAttributeIdIs(259);
   all->handleNotification(nullptr);
   EXPECT_EQ(told(), Texts{"259"});
   // A handle that becomes a zombie on the way hears no more.
   all->pendingAttributeIdIs(GenericIf::allAttributesId);
   heard.then = [&] { all->fenDoZombieReactors(true); };
   all->handleNotification(nullptr);
   EXPECT_EQ(told(), Texts{"258"});
   heard.then = nullptr;
   all->listenerIs(nullptr);
}

TEST_F(HandleTest, OnNullAndOnAnotherType) {
   auto const group = Fen::makePtr<ServiceMountGroupStatus>("g");
   Handle const wrong = MountFilterSystem::_fwkType()->genericIf(group.ptr(), false);
   EXPECT_EQ(wrong->strRep(), "None");
   EXPECT_EQ(wrong->fwkType(), MountFilterSystem::_fwkType());
   // What an attribute refuses it refuses on null as well; what it would do has nothing to do it
   // on.
   Key const key = Fen::genericIf(Fen::String8("k"));
   expectRefusal<Fen::OpNotSupportedException>("filterName: operation 128",
                                               [&] { operate(wrong, "filterName", set, {}, key); });
   expectRefusal<Fen::TypeException>("fen_index", [&] { operate(wrong, "includedSystem", get); });
   expectRefusal<Fen::TypeException>("includedSystem",
                                     [&] { operate(wrong, "includedSystem", set, key); });
   for (unsigned const operation : {get, contains, del}) {
      expectRefusal<Fen::RangeException>("null ValidPtr",
                                         [&] { operate(wrong, "includedSystem", operation, key); });
   }
   for (unsigned const operation : {size, version}) {
      expectRefusal<Fen::RangeException>("null ValidPtr",
                                         [&] { operate(wrong, "includedSystem", operation); });
   }
   expectRefusal<Fen::RangeException>("null ValidPtr", [&] { operate(wrong, "filterName", get); });
   expectRefusal<Fen::RangeException>(
      "null ValidPtr", [&] { operate(wrong, "includedSystem", set, key, Fen::genericIf(true)); });
}

TEST_F(HandleTest, WhatIsMissingIsToldBeforeWhatIsWrong) {
   Handle const on = filter->fwkType()->genericIf(filter.ptr(), false);
   Key const wrong = Fen::genericIf(std::uint32_t{1});
   expectRefusal<Fen::TypeException>("includedSystem",
                                     [&] { operate(on, "includedSystem", set, wrong); });
   expectRefusal<Fen::TypeException>("U32",
                                     [&] { operate(on, "includedSystem", set, wrong, wrong); });
   expectRefusal<Fen::TypeException>(
      "U32", [&] { operate(on, "includedSystem", set, Fen::genericIf(Fen::String8("a")), wrong); });
   EXPECT_EQ(filter->includedSystemCount(), 0u);
}

TEST_F(HandleTest, ATextIsANameAndTheOtherWayRound) {
   Fen::FenType* const text = Fen::Builtin<Fen::String8>::_fwkType();
   for (Handle const& key : {Fen::genericIf(Fen::String8("k")), Fen::genericIf(Fen::Name("k"))}) {
      for (Fen::FenType* const type : {text, Fen::Name::_fwkType()}) {
         EXPECT_EQ(*static_cast<Fen::String8 const*>(key->convertedTo(type)), "k");
      }
      expectRefusal<Fen::TypeException>(key->fwkType()->name().str(),
                                        [&] { key->convertedTo(Fen::Builtin<bool>::_fwkType()); });
   }
}

TEST_F(HandleTest, TheTextOfAReference) {
   Ptr<Fen::Entity const> const entity = filter;
   EXPECT_EQ(Fen::valueToStrep<Fen::Entity const>(entity), "'f'");
   EXPECT_EQ(Fen::valueToStrep<Fen::Entity const>(Ptr<Fen::Entity const>()), "None");
   EXPECT_EQ(Fen::valueToStrepOfRawPtr(filter.ptr(), Fen::Entity::_fwkType()), "'f'");
   EXPECT_EQ(handle->strRep(), "'f'");
}

} // namespace
} // namespace LibraryTest
