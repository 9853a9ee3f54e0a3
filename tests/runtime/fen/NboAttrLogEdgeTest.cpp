// The corners of sending and applying: echoes, full outputs, texts in parts, mark and sweep,
// conflicts, references without an id, transactions, and handlers that delete what is under way.
#include "HandWrittenEntity.h"
#include "NboAttrLogSample.h"

#include <gantry/runtime/fen/Counters.h>
#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

#include <functional>
#include <map>

using namespace NboAttrLogTest;
using Sample::Chassis;
using Sample::Panel;
using Sample::Port;

namespace {

/// Records what a chassis tells, and may do something about it.
class Watcher final : public Chassis::Notifiee {
 public:
   explicit Watcher(Fen::Ptr<Chassis> const& chassis) : Notifiee(chassis) {
      isRegisteredNotifieeIs(true);
   }
   void onUp() override { ++ups; }
   void onPort(Fen::Name key) override {
      ports += key.str() + (notifier()->port(key) ? "+ " : "- ");
      if (onPortDo) {
         onPortDo(key);
      }
   }
   void onAllowed(Fen::String8 key) override { allowed += key.str() + " "; }
   int ups = 0;
   std::string ports;
   std::string allowed;
   std::function<void(Fen::Name)> onPortDo;
};

struct Edge : testing::Test {
   void start(Link::Settings const& settings = {}) {
      link = std::make_unique<Link>(settings);
      link->mount(root);
      link->settle();
      copy = link->copy<Chassis>();
      ASSERT_TRUE(copy);
      link->keepsFrames = true;
   }
   /// A reader that takes nothing: fills the output until no further message may be begun.
   void fill() {
      while (link->sourceBytes->hasSufficientBuffer()) {
         filler->labelIs(std::string(10'000, filler->label().charPtr()[0] == 'x' ? 'y' : 'x'));
      }
   }
   void startFull() {
      filler = root->portIs("filler", "k", "s");
      start({.sendCap = 64 * 1024});
      fill();
   }
   Fen::Ptr<Chassis> root = Fen::makePtr<Chassis>("r");
   Fen::Ptr<Port> filler;
   std::unique_ptr<Link> link;
   Fen::Ptr<Chassis> copy;
};

TEST_F(Edge, anUnchangedValueProducesNoMessage) {
   root->upIs(true);
   start();
   root->upIs(true);
   EXPECT_TRUE(link->sourceBytes->pending().empty());
}

TEST_F(Edge, aReceivedValueIsNotSentBack) {
   start({.writable = true});
   copy->upIs(true);
   link->settle();
   EXPECT_TRUE(root->up());
   EXPECT_EQ(link->toSource.size(), 1u);
   EXPECT_EQ(link->toTarget.size(), 0u);
   root->upIs(false);
   link->settle();
   EXPECT_FALSE(copy->up());
   EXPECT_EQ(link->toSource.size(), 1u);
   EXPECT_EQ(link->toTarget.size(), 1u);
}

TEST_F(Edge, theWritableSideCreatesAndRemoves) {
   start({.writable = true});
   auto const made = copy->portIs("p", "k", "s");
   made->speedIs(7);
   copy->primaryIs(made);
   link->settle();
   ASSERT_TRUE(root->port("p"));
   EXPECT_EQ(root->port("p")->speed(), 7u);
   EXPECT_EQ(root->primary(), root->port("p"));
   root->port("p")->speedIs(8);
   link->settle();
   EXPECT_EQ(made->speed(), 8u);
   copy->primaryIs(nullptr);
   copy->portDel("p");
   link->settle();
   EXPECT_FALSE(root->port("p"));
   EXPECT_EQ(link->source->entities(), 1u);
}

TEST_F(Edge, bothSidesCreateTheSameMember) {
   start({.writable = true});
   root->portIs("p", "k", "s");
   auto const mine = copy->portIs("p", "k", "s");
   link->settle();
   EXPECT_EQ(copy->port("p"), mine);
   root->port("p")->speedIs(1);
   link->settle();
   EXPECT_EQ(mine->speed(), 1u);
   mine->speedIs(2);
   link->settle();
   EXPECT_EQ(root->port("p")->speed(), 2u);
}

TEST_F(Edge, aReadOnlyCopyRefusesLocalWrites) {
   start();
   std::uint64_t const before = Fen::Counters::value("wire.refused_local_writes");
   copy->upIs(true);
   EXPECT_TRUE(copy->up());
   EXPECT_EQ(Fen::Counters::value("wire.refused_local_writes"), before + 1);
   EXPECT_TRUE(link->targetBytes->pending().empty());
   auto const adapter = link->targetAdapter(*copy);
   ASSERT_TRUE(adapter);
   try {
      adapter->doThrowReadOnly(Chassis::FenUpAttr::id);
   } catch (Fen::InternalException const& exception) {
      EXPECT_EQ(exception.text(), "write-update from readonly proxy: copy.up");
   }
}

TEST_F(Edge, aFullOutputKeepsTheLatestValueAlone) {
   startFull();
   root->upIs(true);
   root->upIs(false);
   root->upIs(true);
   EXPECT_TRUE(link->source->flushWanted());
   auto const flow = link->sourceAdapter(*root)->flowOut();
   ASSERT_TRUE(flow);
   EXPECT_TRUE(Chassis::FenNboAttrLogSa::FlowOut(*flow).fenIsUpDirty());
   link->settle();
   EXPECT_TRUE(copy->up());
   int ups = 0;
   for (Frame const& frame : link->toTarget) {
      ups += frame.isMessageOf(Chassis::FenUpAttr::id) ? 1 : 0;
   }
   EXPECT_EQ(ups, 1);
   EXPECT_FALSE(link->sourceAdapter(*root)->flowOut());
}

TEST_F(Edge, aFullOutputKeepsKeysWithTheirPresentState) {
   startFull();
   root->allowedIs("a", true);
   root->allowedIs("b", true);
   root->allowedDel("a");
   auto const flow = link->sourceAdapter(*root)->flowOut();
   ASSERT_TRUE(flow);
   EXPECT_TRUE(Chassis::FenNboAttrLogSa::FlowOut(*flow).fenIsAllowedDirty("a"));
   EXPECT_TRUE(Chassis::FenNboAttrLogSa::FlowOut(*flow).fenAllowedHasSynced());
   link->settle();
   EXPECT_FALSE(copy->allowed("a"));
   EXPECT_TRUE(copy->allowed("b"));
}

TEST_F(Edge, aFullOutputDuringACollectionResyncResumesAtTheSavedKey) {
   for (int i = 0; i < 100; ++i) {
      root->allowedIs(Fen::format("key%03d", i), true);
   }
   start();
   link->sourceAdapter(*root)->doRemountSelf();
   std::size_t rounds = 0;
   while (link->source->flush(400)) {
      ++rounds;
      link->move(1000, 400);
   }
   link->settle();
   EXPECT_GE(rounds, 4u);
   std::map<std::string, int> sent;
   int begins = 0;
   for (Frame const& frame : link->toTarget) {
      if (frame.isMessageOf(Chassis::FenAllowedAttr::id)) {
         ++sent[hex(frame.payload)];
      }
      begins += frame.kind == Fen::NboAttrLog::FrameKind::transaction &&
                      frame.attribute() == Chassis::FenAllowedAttr::id && frame.payload[12] == 0
                   ? 1
                   : 0;
   }
   EXPECT_EQ(sent.size(), 100u);
   for (auto const& each : sent) {
      EXPECT_EQ(each.second, 1);
   }
   EXPECT_EQ(begins, 1);
}

TEST_F(Edge, aMapOfRemovalsThatOutgrowsItsCollectionGivesWayToAResync) {
   for (int i = 0; i < 100; ++i) {
      root->allowedIs(Fen::format("key%03d", i), true);
   }
   startFull();
   std::uint64_t const before = Fen::Counters::value("wire.resyncs");
   for (int i = 0; i < 99; ++i) {
      root->allowedDel(Fen::format("key%03d", i));
   }
   EXPECT_EQ(Fen::Counters::value("wire.resyncs"), before + 1);
   Watcher* watcher = new Watcher(copy);
   auto const kept = Fen::Ptr<Watcher>::adopt(watcher);
   link->settle();
   int left = 0;
   for (auto i = copy->allowedIterator(); i; ++i) {
      ++left;
   }
   EXPECT_EQ(left, 1);
   EXPECT_TRUE(copy->allowed("key099"));
   // What stays is not told of.
   EXPECT_EQ(kept->allowed.find("key099"), std::string::npos);
   EXPECT_NE(kept->allowed.find("key000"), std::string::npos);
}

TEST_F(Edge, aLongTextIsCutInParts) {
   auto const port = root->portIs("p", "k", "s");
   start();
   std::string const text(200'000, 'z');
   port->labelIs(text);
   link->settle();
   EXPECT_EQ(copy->port("p")->label(), std::string_view(text));
   std::size_t parts = 0;
   for (Frame const& frame : link->toTarget) {
      EXPECT_LE(frame.payload.size() + 8, 48u * 1024);
      parts += frame.isMessageOf(Port::FenLabelAttr::id) ? 1 : 0;
   }
   EXPECT_EQ(parts, 5u);
}

TEST_F(Edge, aTextThatChangesBetweenItsPartsIsSentAnew) {
   auto const port = root->portIs("p", "k", "s");
   start({.sendCap = 64 * 1024});
   port->labelIs(std::string(200'000, 'z'));
   link->move(2);
   port->labelIs("short");
   link->settle();
   EXPECT_EQ(copy->port("p")->label(), "short");
   port->labelIs(std::string(200'000, 'a'));
   link->move(2);
   port->labelIs(std::string(100'000, 'b'));
   link->settle();
   EXPECT_EQ(copy->port("p")->label(), Fen::String8(std::string(100'000, 'b')));
}

TEST_F(Edge, membersThatAreStillThereKeepTheirIdentity) {
   root->portIs("stays", "k", "s")->speedIs(5);
   root->portIs("goes", "k", "s");
   root->allowedIs("a", true);
   start();
   auto const stays = copy->port("stays");
   auto const watcher = Fen::makePtr<Watcher>(copy);
   link->cut();
   root->portDel("goes");
   root->portIs("comes", "k", "s");
   link->mount(root);
   link->settle();
   EXPECT_EQ(link->copy<Chassis>(), copy);
   EXPECT_EQ(copy->port("stays"), stays);
   EXPECT_EQ(stays->speed(), 5u);
   EXPECT_FALSE(stays->fenMarkedForDeletion());
   // Only real differences are told.
   EXPECT_EQ(watcher->ports, "comes+ goes- ");
   EXPECT_EQ(watcher->allowed, "");
   EXPECT_EQ(watcher->ups, 0);
}

TEST_F(Edge, conflictingConstructorParametersRebuildTheMember) {
   root->portIs("p", "fiber", "1");
   start();
   auto const before = copy->port("p");
   link->cut();
   root->portDel("p");
   root->portIs("p", "copper", "1")->speedIs(3);
   link->mount(root);
   link->settle();
   ASSERT_TRUE(copy->port("p"));
   EXPECT_NE(copy->port("p"), before);
   EXPECT_EQ(copy->port("p")->kind(), "copper");
   EXPECT_EQ(copy->port("p")->speed(), 3u);
}

TEST_F(Edge, aMemberThatWasReplacedIsAnotherObjectThere) {
   root->portIs("p", "k", "s")->speedIs(3);
   startFull();
   auto const before = copy->port("p");
   root->portDel("p");
   root->portIs("p", "k", "s");
   link->settle();
   ASSERT_TRUE(copy->port("p"));
   EXPECT_NE(copy->port("p"), before);
   EXPECT_EQ(copy->port("p")->speed(), 0u);
}

TEST_F(Edge, aReferenceToAnEntityNotYetKnownStaysDirty) {
   start();
   auto const other = Fen::makePtr<Chassis>("elsewhere");
   auto const port = other->portIs("p", "k", "s");
   root->primaryIs(port);
   link->settle();
   EXPECT_FALSE(copy->primary());
   ASSERT_TRUE(link->sourceAdapter(*root)->flowOut());
   EXPECT_TRUE(link->sourceAdapter(*root)->flowOut()->isDirty(Chassis::FenPrimaryAttr::id));
   EXPECT_FALSE(link->source->flushWanted());
   EXPECT_THROW(port->entityId(link->source->out(), false, true, true),
                Fen::EntityIdUnavailableException);
   // Now the target comes into the tree.
   auto const known = root->portIs("q", "k", "s");
   root->primaryIs(known);
   link->settle();
   EXPECT_EQ(copy->primary(), copy->port("q"));
}

TEST_F(Edge, aReferenceArrivesOnceItsTargetHasAnId) {
   auto const directory = Fen::dirFactory("d");
   auto const first = Fen::makePtr<Chassis>("a");
   auto const second = Fen::makePtr<Chassis>("b");
   first->primaryIs(second->portIs("p", "k", "s"));
   first->peerIs(1, second->port("p"));
   directory->entityPtrIs(first);
   Link mounted;
   mounted.mount(directory);
   mounted.settle();
   directory->entityPtrIs(second);
   mounted.settle();
   auto const copied = Fen::ptrCast<Chassis>(mounted.copy<Fen::Dir>()->entityPtr("a"));
   auto const target = Fen::ptrCast<Chassis>(mounted.copy<Fen::Dir>()->entityPtr("b"))->port("p");
   ASSERT_TRUE(target);
   EXPECT_EQ(copied->primary(), target);
   EXPECT_EQ(copied->peer(1), target);
}

TEST_F(Edge, anUnknownEnumerationNumberIsCountedAndStoredRaw) {
   auto const panel = Fen::makePtr<Panel>("p");
   Link mounted;
   mounted.mount(panel);
   mounted.settle();
   panel->set<Panel::MoodAttr>(static_cast<Sample::Mood>(77));
   mounted.settle();
   EXPECT_EQ(static_cast<int>(mounted.copy<Panel>()->mood), 77);
   EXPECT_EQ(mounted.target->unknownEnums(), 1u);
}

TEST_F(Edge, aHandlerDeletesTheMemberThatIsBeingMade) {
   start();
   auto const watcher = Fen::makePtr<Watcher>(copy);
   watcher->onPortDo = [this](Fen::Name key) {
      if (copy->port(key)) {
         copy->portDel(key);
      }
   };
   root->portIs("p", "k", "s")->speedIs(4);
   link->settle();
   EXPECT_FALSE(copy->port("p"));
   EXPECT_FALSE(link->target->isClosed());
   root->upIs(true);
   link->settle();
   EXPECT_TRUE(copy->up());
}

TEST_F(Edge, aReactorThatComesBeforeTheLogDeletesWhatIsBeingMade) {
   start();
   link->cut();
   // The new log listens behind this one, so the member is gone before it can have its adapter.
   auto const watcher = Fen::makePtr<Watcher>(copy);
   watcher->onPortDo = [&](Fen::Name key) {
      if (copy->port(key)) {
         copy->portDel(key);
      }
   };
   root->portIs("p", "k", "s")->labelIs("late");
   link->mount(root);
   link->settle();
   EXPECT_FALSE(copy->port("p"));
   EXPECT_FALSE(link->target->isClosed());
   root->upIs(true);
   root->portIs("q", "k", "s")->labelIs("late");
   link->settle();
   EXPECT_TRUE(copy->up());
   EXPECT_EQ(link->target->entities(), 1u);
}

TEST_F(Edge, aMemberDeletedWhileItIsMadeIsRemovedThereToo) {
   start({.writable = true});
   auto const watcher = Fen::makePtr<Watcher>(copy);
   watcher->onPortDo = [this](Fen::Name key) {
      if (copy->port(key)) {
         copy->portDel(key);
      }
   };
   root->portIs("p", "k", "s");
   link->settle();
   EXPECT_FALSE(copy->port("p"));
   EXPECT_FALSE(root->port("p"));
}

TEST_F(Edge, aHandlerDeletesTheWholeTreeInMidSynchronisation) {
   root->portIs("p1", "k", "s");
   root->portIs("p2", "k", "s");
   start();
   link->cut();
   auto const watcher = Fen::makePtr<Watcher>(copy);
   watcher->onPortDo = [this](Fen::Name) { link->directory->entityPtrDel("copy"); };
   root->portDel("p1");
   copy = nullptr;
   link->mount(root);
   link->settle();
   EXPECT_TRUE(link->target->isClosed());
   EXPECT_EQ(link->targetUser.rootGone, 1);
   EXPECT_FALSE(link->copy<Chassis>());
}

TEST_F(Edge, aHandlerClosesTheLog) {
   start();
   auto const watcher = Fen::makePtr<Watcher>(copy);
   watcher->onPortDo = [this](Fen::Name) { link->cut(); };
   root->portIs("p", "k", "s");
   auto const target = link->target;
   Fen::Ptr<Fen::Connection::Out> const bytes = link->sourceBytes;
   for (Frame& frame : framesOf(pendingOf(*bytes))) {
      target->receive(frame.kind, frame.payload.data(), frame.payload.size());
   }
   EXPECT_TRUE(target->isClosed());
   EXPECT_TRUE(copy->port("p"));
}

TEST_F(Edge, theRootLeavesItsPlace) {
   auto const holder = Fen::dirFactory("holder");
   holder->entityPtrIs(root);
   start();
   holder->entityPtrDel("r");
   EXPECT_EQ(link->sourceUser.rootGone, 1);
   EXPECT_TRUE(link->source->isClosed());
   EXPECT_TRUE(copy->fenNotifiees().size() > 0);
   link->cut();
   EXPECT_EQ(copy->fenNotifiees().size(), 0);
}

TEST_F(Edge, adaptersKeepNothingAlive) {
   auto const port = root->portIs("p", "k", "s");
   start();
   EXPECT_EQ(link->source->entities(), 2u);
   root->portDel("p");
   EXPECT_EQ(link->source->entities(), 1u);
   // The member is held here alone, and no one listens to it any more.
   EXPECT_EQ(port->fenReferenceCount(), 1u);
   EXPECT_EQ(port->fenNotifiees().size(), 0);
}

TEST_F(Edge, theAdaptersOfAnEntity) {
   start();
   auto const adapter = root->fenNboAttrLogSa(link->source->out());
   ASSERT_TRUE(adapter);
   EXPECT_TRUE(adapter->isWeakReference());
   EXPECT_EQ(root->fenNboAttrLogSaIs({}, 0, link->source->out(), nullptr), adapter);
   EXPECT_FALSE(root->fenNboAttrLogSaForMsgChannel(adapter));
   Link second;
   second.mount(root);
   second.settle();
   EXPECT_EQ(root->fenNboAttrLogSaForMsgChannel(adapter), second.sourceAdapter(*root));
   auto const entry = Fen::makePtr<Fen::MsgChannel::Entry>();
   adapter->msgChannelEntryIs(entry);
   EXPECT_FALSE(root->fenNboAttrLogSaForMsgChannel(adapter));
   second.sourceAdapter(*root)->msgChannelEntryIs(entry);
   EXPECT_EQ(root->fenNboAttrLogSaForMsgChannel(adapter), second.sourceAdapter(*root));
   EXPECT_EQ(root->fenNboAttrLogSaDel(link->source->out()), adapter);
   EXPECT_FALSE(root->fenNboAttrLogSa(link->source->out()));
   EXPECT_TRUE(root->fenHasAttrLogInterface());
}

TEST_F(Edge, anActiveAdapterRefusesToBeEntered) {
   start();
   auto const adapter = link->targetAdapter(*copy);
   adapter->markIs(Fen::Entity::FenNboAttrLogSa::Mark::active, true);
   try {
      adapter->handleAttrDeserialization(Chassis::FenUpAttr::id, {}, 0, nullptr);
      ADD_FAILURE();
   } catch (Fen::InternalException const& exception) {
      EXPECT_EQ(exception.text(), "entity reactor is already active");
   }
   adapter->markIs(Fen::Entity::FenNboAttrLogSa::Mark::active, false);
}

TEST_F(Edge, anExplicitInputIsAnsweredWithTheOwnValue) {
   root->upIs(true);
   start();
   Bytes payload = bytesOf("00 03");
   auto const in = Fen::makePtr<Fen::NboAttrLog::In>(payload.data(), payload.size());
   link->sourceAdapter(*root)->handleAttrDeserialization(Chassis::FenUpAttr::id, {}, 0, in);
   EXPECT_TRUE(root->up());
   link->settle();
   ASSERT_EQ(link->toTarget.size(), 1u);
   EXPECT_TRUE(link->toTarget[0].isMessageOf(Chassis::FenUpAttr::id));
}

} // namespace
