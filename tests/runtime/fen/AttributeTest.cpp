/// Setters, find-or-create operations and deletion, of every kind of attribute.
#include "Listeners.h"

#include <gtest/gtest.h>

namespace {

using Fen::Ptr;
using Sample::Chassis;
using Sample::ChassisListener;
using Sample::Log;
using Sample::Port;
using Sample::PortListener;

class AttributeTest : public testing::Test {
 protected:
   Ptr<ChassisListener> listener(char const* name = "c") {
      return Fen::makePtr<ChassisListener>(chassis, name, log);
   }
   template <class Exception, class Call>
   std::string refusal(Call const& call) {
      try {
         call();
      } catch (Exception const& refused) {
         return refused.text().str();
      }
      return "not refused";
   }
   Ptr<Chassis> chassis = Fen::makePtr<Chassis>("c1");
   Log log;
};

// ---- scalars and references --------------------------------------------------------------------

TEST_F(AttributeTest, ScalarTellsOfAChangeOnly) {
   auto const told = listener();
   EXPECT_FALSE(chassis->up());
   chassis->upIs(false);
   chassis->upIs(true);
   chassis->upIs(true);
   chassis->upIs(false);
   EXPECT_EQ(log, (Log{"c up", "c down"}));
}

TEST_F(AttributeTest, EqualTextIsEqualWhateverItsMemory) {
   auto port = Fen::makePtr<Port>("p1", "copper", "1");
   auto const told = Fen::makePtr<PortListener>(port, "p", log);
   port->labelIs("uplink");
   port->labelIs(std::string("up") + "link");
   port->labelIs("");
   port->labelIs(Fen::String8());
   EXPECT_EQ(log, (Log{"p label uplink", "p label "}));
}

TEST_F(AttributeTest, ReferenceHoldsItsTarget) {
   auto const told = listener();
   auto port = Fen::makePtr<Port>("p1", "copper", "1");
   chassis->primaryIs(port);
   EXPECT_EQ(port->fenReferenceCount(), 2u);
   EXPECT_FALSE(port->parent());
   chassis->primaryIs(port);
   chassis->primaryIs(nullptr);
   EXPECT_EQ(port->fenReferenceCount(), 1u);
   EXPECT_EQ(log, (Log{"c primary p1", "c primary none"}));
}

TEST_F(AttributeTest, NestedSetOfTheSameAttribute) {
   auto const first = listener("a");
   auto const second = listener("b");
   first->then = [&](std::string const& event) {
      if (event == "up") {
         chassis->upIs(false);
      }
   };
   chassis->upIs(true);
   // The inner walk tells both; the outer one goes on and tells of the value as it is now.
   EXPECT_EQ(log, (Log{"a up", "a down", "b down", "b down"}));
}

// ---- one owned entity --------------------------------------------------------------------------

TEST_F(AttributeTest, ChildIsFoundOrCreated) {
   auto const told = listener();
   auto const console = chassis->consoleIs("con", "serial", "0");
   EXPECT_EQ(console->parent(), chassis);
   EXPECT_EQ(chassis->consoleIs("con", "serial", "0"), console);
   EXPECT_EQ(log, Log{"c console con"});
}

TEST_F(AttributeTest, ChildWithOtherParametersIsRefused) {
   auto const console = chassis->consoleIs("con", "serial", "0");
   auto const told = listener();
   EXPECT_EQ(refusal<Fen::NameInUseException>([&] { chassis->consoleIs("con", "usb", "0"); }),
             "Reinstantiating the entity with name 'con' where constructor parameter attribute "
             "_kind has a different value of 'usb' than the current value of 'serial' not allowed");
   EXPECT_EQ(chassis->console(), console);
   EXPECT_TRUE(log.empty());
}

TEST_F(AttributeTest, ChildOfAnotherNameGivesWay) {
   auto const console = chassis->consoleIs("con", "serial", "0");
   auto const told = listener();
   auto const onOld = Fen::makePtr<PortListener>(console, "old", log);
   bool oldSeen = false;
   onOld->then = [&](std::string const&) { oldSeen = chassis->console() == console; };
   auto const other = chassis->consoleIs("con2", "serial", "0");
   EXPECT_FALSE(oldSeen);
   EXPECT_FALSE(console->parent());
   EXPECT_EQ(other->parent(), chassis);
   EXPECT_EQ(log, (Log{"old parent none", "c console con2"}));
}

TEST_F(AttributeTest, ChildDel) {
   auto const console = chassis->consoleIs("con", "serial", "0");
   auto const told = listener();
   EXPECT_EQ(chassis->consoleDel(), console);
   EXPECT_FALSE(console->parent());
   EXPECT_FALSE(chassis->console());
   EXPECT_FALSE(chassis->consoleDel());
   EXPECT_EQ(log, Log{"c console none"});
}

// ---- owned collections -------------------------------------------------------------------------

TEST_F(AttributeTest, MemberIsFoundOrCreated) {
   auto const told = listener();
   EXPECT_FALSE(chassis->port("p1"));
   auto const port = chassis->portIs("p1", "copper", "1");
   EXPECT_EQ(chassis->port("p1"), port);
   EXPECT_EQ(port->parent(), chassis);
   EXPECT_EQ(chassis->portIs("p1", "copper", "1"), port);
   EXPECT_EQ(chassis->ports(), 1u);
   EXPECT_EQ(log, Log{"c port p1 here"});
}

TEST_F(AttributeTest, MemberWithOtherParametersIsRefusedAndUnchanged) {
   auto const port = chassis->portIs("p1", "copper", "1");
   auto const told = listener();
   EXPECT_EQ(refusal<Fen::NameInUseException>([&] { chassis->portIs("p1", "fibre", "2"); }),
             "Reinstantiating the entity with name 'p1' where constructor parameter attribute "
             "_kind has a different value of 'fibre' than the current value of 'copper' not "
             "allowed");
   EXPECT_EQ(refusal<Fen::NameInUseException>([&] { chassis->portIs("p1", "copper", "2"); }),
             "Reinstantiating the entity with name 'p1' where constructor parameter attribute "
             "_slot has a different value of '2' than the current value of '1' not allowed");
   EXPECT_EQ(chassis->port("p1"), port);
   EXPECT_EQ(port->kind(), "copper");
   EXPECT_TRUE(log.empty());
}

TEST_F(AttributeTest, NewTellsNobodyOfTheCollection) {
   auto const told = listener();
   auto const port = chassis->newPort("p1", "copper", "1");
   EXPECT_EQ(chassis->port("p1"), port);
   EXPECT_EQ(port->parent(), chassis);
   EXPECT_TRUE(log.empty());
}

TEST_F(AttributeTest, MemberDel) {
   auto const port = chassis->portIs("p1", "copper", "1");
   auto const told = listener();
   auto const onPort = Fen::makePtr<PortListener>(port, "p", log);
   EXPECT_EQ(chassis->portDel("p1"), port);
   EXPECT_FALSE(port->parent());
   EXPECT_FALSE(chassis->portDel("p1"));
   EXPECT_FALSE(chassis->portDel("p2"));
   EXPECT_EQ(log, (Log{"p parent none", "c port p1 gone"}));
}

TEST_F(AttributeTest, MemberDelByTheMembersOwnName) {
   // The key lives in the member that goes.
   struct Holder {
      Fen::Name const name;
   };
   for (int i = 0; i < 100; ++i) {
      chassis->portIs(Fen::format("port number %d", i), "copper", "1");
   }
   auto const told = listener();
   for (auto i = chassis->portIterator(); i; ++i) {
      chassis->portDel(i->fwkKey());
   }
   EXPECT_EQ(chassis->ports(), 0u);
   EXPECT_EQ(log.size(), 100u);
}

TEST_F(AttributeTest, DelAllTellsBetweenTheDeletions) {
   for (char const* name : {"a", "b", "c"}) {
      chassis->portIs(name, "copper", "1");
   }
   auto const told = listener();
   std::vector<std::uint32_t> left;
   told->then = [&](std::string const&) { left.push_back(chassis->ports()); };
   chassis->portDelAll();
   EXPECT_EQ(left, (std::vector<std::uint32_t>{2, 1, 0}));
   EXPECT_EQ(log.size(), 3u);
}

TEST_F(AttributeTest, DelAllTakesWhatHandlersInsert) {
   for (char const* name : {"a", "b", "c"}) {
      chassis->portIs(name, "copper", "1");
   }
   auto const told = listener();
   int inserted = 0;
   Ptr<Port> late;
   told->then = [&](std::string const& event) {
      if (event.ends_with("gone") && inserted < 5) {
         late = chassis->portIs(Fen::format("late%d", inserted++), "copper", "1");
      }
   };
   chassis->portDelAll();
   EXPECT_EQ(chassis->ports(), 0u);
   EXPECT_EQ(inserted, 5);
   EXPECT_EQ(log.size(), 3u + 5u + 5u);
   EXPECT_FALSE(late->parent());
}

TEST_F(AttributeTest, DelAllWithAHandlerThatDropsTheOwner) {
   for (int i = 0; i < 20; ++i) {
      chassis->portIs(Fen::format("p%d", i), "copper", "1");
   }
   auto const told = listener();
   told->isWeakReferenceIs(true);
   told->then = [&](std::string const&) { chassis = nullptr; };
   chassis->portDelAll();
   EXPECT_EQ(log.size(), 20u);
   EXPECT_FALSE(told->notifier());
}

TEST_F(AttributeTest, NotifyOfAMember) {
   auto const port = chassis->portIs("p1", "copper", "1");
   auto const told = listener();
   port->parentIs(nullptr);
   chassis->portNotify("p1", port);
   EXPECT_EQ(port->parent(), chassis);
   auto const stranger = Fen::makePtr<Port>("p2", "copper", "1");
   stranger->parentIs(chassis);
   chassis->portNotify("p2", stranger);
   EXPECT_FALSE(stranger->parent());
   // Another entity with the key of a member is not that member.
   auto const namesake = Fen::makePtr<Port>("p1", "copper", "1");
   namesake->parentIs(chassis);
   chassis->portNotify("p1", namesake);
   EXPECT_FALSE(namesake->parent());
   chassis->portNotify("p1", nullptr);
   EXPECT_EQ(log, (Log{"c port p1 here", "c port p2 gone", "c port p1 here", "c port p1 here"}));
}

TEST_F(AttributeTest, AHandlerThatDeletesWhatWasCreated) {
   auto const told = listener();
   told->then = [&](std::string const& event) {
      if (event == "port p1 here") {
         chassis->portDel("p1");
      }
   };
   auto const port = chassis->portIs("p1", "copper", "1");
   ASSERT_TRUE(port);
   EXPECT_FALSE(port->parent());
   EXPECT_EQ(chassis->ports(), 0u);
   EXPECT_EQ(log, (Log{"c port p1 here", "c port p1 gone"}));
}

/// Drops a chassis when the port that it watches changes its parent.
class DropsChassis : public Port::Notifiee {
 public:
   DropsChassis(Ptr<Port> const& port, Ptr<Chassis>& victim)
      : Port::Notifiee(port), victim_(victim) {
      isRegisteredNotifieeIs(true);
   }
   void onParent() override { victim_ = nullptr; }
   void onZeroReferences() override { victim_ = nullptr; }

 private:
   Ptr<Chassis>& victim_;
};

TEST_F(AttributeTest, TheOwnerMayGoWhileItsMemberIsToldOfItsParent) {
   auto const told = listener();
   told->isWeakReferenceIs(true);
   auto const port = chassis->portIs("p1", "copper", "1");
   auto const dropper = Fen::makePtr<DropsChassis>(port, chassis);
   Chassis* const raw = chassis.ptr();
   EXPECT_EQ(raw->portDel("p1"), port);
   EXPECT_FALSE(chassis);
   EXPECT_EQ(log, (Log{"c port p1 here", "c port p1 gone"}));
}

TEST_F(AttributeTest, TheOwnerMayGoWhileItsChildIsToldOfItsParent) {
   auto const told = listener();
   told->isWeakReferenceIs(true);
   auto const console = chassis->consoleIs("con", "serial", "0");
   auto const dropper = Fen::makePtr<DropsChassis>(console, chassis);
   Chassis* const raw = chassis.ptr();
   EXPECT_EQ(raw->consoleDel(), console);
   EXPECT_FALSE(chassis);
   EXPECT_EQ(log.back(), "c console none");
}

TEST_F(AttributeTest, TheOwnerMayGoWhenAReferenceIsDropped) {
   auto port = Fen::makePtr<Port>("p1", "copper", "1");
   auto const dropper = Fen::makePtr<DropsChassis>(port, chassis);
   dropper->isWeakReferenceIs(true);
   chassis->primaryIs(port);
   chassis->peerIs(7, port);
   port = nullptr;
   Chassis* const raw = chassis.ptr();
   raw->peerIs(7, nullptr);
   EXPECT_TRUE(chassis);
   raw->primaryIs(nullptr);
   EXPECT_FALSE(chassis);
}

TEST_F(AttributeTest, TheOwnerMayGoWhenAReferenceOfACollectionIsReplaced) {
   auto port = Fen::makePtr<Port>("p1", "copper", "1");
   auto const other = Fen::makePtr<Port>("p2", "copper", "1");
   auto const dropper = Fen::makePtr<DropsChassis>(port, chassis);
   dropper->isWeakReferenceIs(true);
   chassis->peerIs(7, port);
   port = nullptr;
   Chassis* const raw = chassis.ptr();
   raw->peerIs(7, other);
   EXPECT_FALSE(chassis);
   EXPECT_EQ(other->fenReferenceCount(), 1u);
}

// ---- collections of values and of references ---------------------------------------------------

TEST_F(AttributeTest, ValueCollection) {
   auto const told = listener();
   EXPECT_FALSE(chassis->allowed("a"));
   chassis->allowedIs("a", true);
   chassis->allowedIs("a", true);
   EXPECT_TRUE(chassis->allowed("a"));
   chassis->allowedIs("a", false);
   EXPECT_FALSE(chassis->allowed("a"));
   // False at a key is a member, and not the same as no member.
   auto const member = chassis->allowedDel("a");
   ASSERT_TRUE(member);
   EXPECT_EQ(member->key(), "a");
   EXPECT_FALSE(member->value());
   EXPECT_FALSE(chassis->allowedDel("a"));
   EXPECT_EQ(log, (Log{"c allowed a yes", "c allowed a no", "c allowed a no"}));
}

TEST_F(AttributeTest, ANewValueOfTheDefaultIsAChange) {
   auto const told = listener();
   chassis->allowedIs("a", false);
   chassis->allowedIs("a", false);
   EXPECT_EQ(log, Log{"c allowed a no"});
}

TEST_F(AttributeTest, ValueDelAllAndNew) {
   auto const told = listener();
   chassis->newAllowed("a", true);
   EXPECT_TRUE(log.empty());
   EXPECT_TRUE(chassis->allowed("a"));
   chassis->allowedIs("b", true);
   chassis->allowedDelAll();
   EXPECT_FALSE(chassis->allowed("a"));
   EXPECT_EQ(log.size(), 3u);
   chassis->allowedNotify("z", nullptr);
   EXPECT_EQ(log.back(), "c allowed z no");
}

TEST_F(AttributeTest, ReferenceCollection) {
   auto const told = listener();
   auto const p1 = Fen::makePtr<Port>("p1", "copper", "1");
   auto const p2 = Fen::makePtr<Port>("p2", "copper", "1");
   chassis->peerIs(7, p1);
   chassis->peerIs(7, p1);
   EXPECT_EQ(p1->fenReferenceCount(), 2u);
   chassis->peerIs(7, p2);
   EXPECT_EQ(p1->fenReferenceCount(), 1u);
   EXPECT_EQ(chassis->peer(7), p2);
   // A null deletes, and a null for an absent key does nothing.
   chassis->peerIs(7, nullptr);
   chassis->peerIs(7, nullptr);
   EXPECT_FALSE(chassis->fenPeer(7));
   EXPECT_EQ(log, (Log{"c peer 7 p1", "c peer 7 p2", "c peer 7 none"}));
}

TEST_F(AttributeTest, SettersNeverRunTheSlotsOfAllAttributes) {
   auto const told = listener();
   chassis->portIs("p", "copper", "1");
   chassis->portDelAll();
   chassis->allowedIs("a", true);
   chassis->peerIs(1, chassis->consoleIs("con", "serial", "0"));
   for (std::string const& event : log) {
      EXPECT_EQ(event.find("all"), event.find("allowed")) << event;
      EXPECT_EQ(event.find("immediate"), std::string::npos) << event;
   }
}

// ---- refusals and iterators --------------------------------------------------------------------

TEST_F(AttributeTest, NullParameterWords) {
   EXPECT_EQ(refusal<Fen::RangeException>([] {
                Fen::throwNullParameter("mountSmDataSm",
                                        "Controller::MountsRegistryEntrySm::mountSmDataSm");
             }),
             "null _mountSmDataSm parameter to mutator for "
             "Controller::MountsRegistryEntrySm::mountSmDataSm not allowed\"");
}

TEST_F(AttributeTest, PointerInterfaceWords) {
   class Plain : public Fen::PtrInterface {};
   auto const plain = Fen::makePtr<Plain>();
   EXPECT_EQ(refusal<Fen::NameInUseException>(
                [&] { Fen::requireSameParameter(*plain, "mounter", true, false); }),
             "Reinstantiating the pointer interface where constructor parameter attribute _mounter "
             "has a different value of False than the current value of True not allowed");
   EXPECT_EQ(refusal<Fen::NameInUseException>([&] {
                Fen::requireSameParameter(*plain, "port", Ptr<Port>(),
                                          Fen::makePtr<Port>("p1", "copper", "1"));
             }),
             "Reinstantiating the pointer interface where constructor parameter attribute _port "
             "has a different value of 'p1' than the current value of None not allowed");
}

TEST_F(AttributeTest, IteratorHoldsTheOwner) {
   chassis->portIs("p1", "copper", "1");
   auto i = chassis->portIterator();
   chassis = nullptr;
   ASSERT_TRUE(i);
   EXPECT_EQ(i->parent()->name(), "c1");
   ++i;
   EXPECT_FALSE(i);
}

TEST_F(AttributeTest, IteratorGoesOnBehindWhatAHandlerRemoved) {
   for (int i = 0; i < 30; ++i) {
      chassis->portIs(Fen::format("p%d", i), "copper", "1");
   }
   int visited = 0;
   for (auto i = chassis->portIteratorConst(); i; ++i) {
      ++visited;
      chassis->portDel(i.key());
   }
   EXPECT_EQ(visited, 30);
}

} // namespace
