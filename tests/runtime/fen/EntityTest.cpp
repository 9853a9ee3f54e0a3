/// Names, parents and paths of entities.
#include "Listeners.h"

#include <gtest/gtest.h>

namespace {

using Fen::Dir;
using Fen::Entity;
using Fen::EntityUriPath;
using Fen::Ptr;
using Sample::Chassis;
using Sample::Log;
using Sample::Port;
using Sample::PortListener;

class EntityTest : public testing::Test {
 protected:
   void TearDown() override { Fen::root()->entityPtrDelAll(); }
   Ptr<Chassis> chassis = Fen::makePtr<Chassis>("c1");
   Log log;
};

TEST_F(EntityTest, NameAndNoParent) {
   EXPECT_EQ(chassis->name(), "c1");
   EXPECT_FALSE(chassis->parent());
   EXPECT_EQ(chassis->parentAttr(), "");
   EXPECT_EQ(chassis->fullName(), "c1");
   EXPECT_EQ(chassis->uriPath(), "c1");
}

TEST_F(EntityTest, AttributeStrings) {
   EXPECT_EQ(chassis->attributeString(258), "chassisName");
   EXPECT_EQ(chassis->attributeString(264), "peer");
   EXPECT_EQ(chassis->attributeString(265), "unknown");
   EXPECT_EQ(chassis->attributeString(-1), "unknown");
   EXPECT_EQ(chassis->attributeString(Fen::zeroReferencesAttributeId), "zeroReferences");
   EXPECT_EQ(chassis->attributeString(Fen::isNondestructingAttributeId), "isNondestructing");
}

TEST_F(EntityTest, FullNameOutsideTheRoot) {
   auto port = chassis->portIs("p1", "copper", "1");
   EXPECT_EQ(port->fullName(), "c1/port/p1");
   auto console = chassis->consoleIs("con", "serial", "0");
   EXPECT_EQ(console->fullName(), "c1/console");
   EXPECT_EQ(console->parentAttr(), "console");
   EXPECT_EQ(console->parentAttrId(), 261);
}

TEST_F(EntityTest, FullNameBelowTheRoot) {
   EXPECT_EQ(Fen::root()->fullName(), "/");
   auto rack = Fen::dirFactory("rack");
   Fen::root()->entityPtrIs(rack);
   EXPECT_EQ(rack->fullName(), "/rack");
   rack->entityPtrIs(chassis);
   EXPECT_EQ(chassis->fullName(), "/rack/c1");
   EXPECT_EQ(chassis->portIs("p1", "copper", "1")->fullName(), "/rack/c1/port/p1");
   EXPECT_EQ(chassis->consoleIs("con", "serial", "0")->fullName(), "/rack/c1/console");
}

TEST_F(EntityTest, AChildThatOutlivesItsParent) {
   auto port = chassis->portIs("p1", "copper", "1");
   auto console = chassis->consoleIs("con", "serial", "0");
   chassis = nullptr;
   EXPECT_FALSE(port->parent());
   EXPECT_EQ(port->fullName(), "p1");
   EXPECT_EQ(port->parentAttr(), "");
   EXPECT_EQ(console->fullName(), "con");
}

TEST_F(EntityTest, AMemberThatOutlivesItsDirectory) {
   auto rack = Fen::dirFactory("rack");
   rack->entityPtrIs(chassis);
   auto const listener = Fen::makePtr<PortListener>(chassis->portIs("p1", "copper", "1"), "l", log);
   rack = nullptr;
   EXPECT_FALSE(chassis->parent());
   EXPECT_EQ(chassis->fullName(), "c1");
   // It may go elsewhere then.
   auto other = Fen::dirFactory("other");
   other->entityPtrIs(chassis);
   EXPECT_EQ(chassis->fullName(), "other/c1");
   EXPECT_TRUE(log.empty());
}

TEST_F(EntityTest, ParentTellsOnceAndOnlyOfAChange) {
   auto port = Fen::makePtr<Port>("p1", "copper", "1");
   auto const listener = Fen::makePtr<PortListener>(port, "l", log);
   port->parentIs(chassis);
   port->parentIs(chassis);
   EXPECT_EQ(port->parent(), chassis);
   port->parentIs(nullptr);
   port->parentIs(nullptr);
   EXPECT_EQ(log, (Log{"l parent c1", "l parent none"}));
}

TEST_F(EntityTest, TheParentIsNotCounted) {
   auto port = chassis->portIs("p1", "copper", "1");
   EXPECT_EQ(chassis->fenReferenceCount(), 1u);
   EXPECT_EQ(port->fenReferenceCount(), 2u);
}

TEST_F(EntityTest, ParentIsSetBeforeTheCollectionTells) {
   auto const watcher = Fen::makePtr<Sample::ChassisListener>(chassis, "c", log);
   std::string parentSeen;
   watcher->then = [&](std::string const&) {
      if (auto port = chassis->port("p1")) {
         parentSeen = port->parent() ? port->parent()->name().str() : "none";
      }
   };
   chassis->portIs("p1", "copper", "1");
   EXPECT_EQ(parentSeen, "c1");
}

TEST_F(EntityTest, ParentIsClearedBeforeTheCollectionTells) {
   auto port = chassis->portIs("p1", "copper", "1");
   auto const watcher = Fen::makePtr<Sample::ChassisListener>(chassis, "c", log);
   auto const listener = Fen::makePtr<PortListener>(port, "p", log);
   std::string parentSeen;
   watcher->then = [&](std::string const&) {
      parentSeen = port->parent() ? port->parent()->name().str() : "none";
   };
   EXPECT_EQ(chassis->portDel("p1"), port);
   EXPECT_EQ(parentSeen, "none");
   EXPECT_EQ(log, (Log{"p parent none", "c port p1 gone"}));
}

TEST_F(EntityTest, HandleParentRunsBeforeNotifiees) {
   class Own : public Chassis {
    public:
      explicit Own(Log& log) : Chassis("own"), log_(log) {}
      void handleParent(Ptr<Entity> const& parent) override {
         log_.push_back(parent ? "handled " + parent->name().str() : "handled none");
      }

    private:
      Log& log_;
   };
   class Listener : public Chassis::Notifiee {
    public:
      Listener(Ptr<Chassis> const& chassis, Log& log) : Chassis::Notifiee(chassis), log_(log) {
         isRegisteredNotifieeIs(true);
      }
      void onParent() override { log_.push_back("told"); }

    private:
      Log& log_;
   };
   auto own = Fen::makePtr<Own>(log);
   auto const listener = Fen::makePtr<Listener>(own, log);
   auto rack = Fen::dirFactory("rack");
   rack->entityPtrIs(own);
   rack->entityPtrDel("own");
   EXPECT_EQ(log, (Log{"handled rack", "told", "handled none", "told"}));
}

TEST_F(EntityTest, PathsFindWhatFullNamesSay) {
   auto rack = Fen::dirFactory("rack");
   Fen::root()->entityPtrIs(rack);
   rack->entityPtrIs(chassis);
   auto port = chassis->portIs("p1", "copper", "1");
   auto slashed = chassis->portIs("1/2", "copper", "1");
   auto console = chassis->consoleIs("con", "serial", "0");
   auto const at = [](char const* path) { return Entity::entity(EntityUriPath(path)); };
   EXPECT_EQ(at("/"), Fen::root());
   EXPECT_EQ(at(""), Fen::root());
   EXPECT_EQ(at("/rack"), rack);
   EXPECT_EQ(at("rack"), rack);
   EXPECT_EQ(at("//rack//c1/"), chassis);
   EXPECT_EQ(Entity::entity(EntityUriPath(port->fullName())), port);
   EXPECT_EQ(Entity::entity(EntityUriPath(slashed->fullName())), slashed);
   EXPECT_EQ(Entity::entity(EntityUriPath(console->fullName())), console);
}

TEST_F(EntityTest, PathsThatLeadNowhere) {
   Fen::root()->entityPtrIs(chassis);
   chassis->portIs("p1", "copper", "1");
   for (char const* path : {"/x", "/c1/x", "/c1/port", "/c1/port/", "/c1/port/p2", "/c1/console",
                            "/c1/allowed/a", "/c1/up", "/c1/port/p1/speed", "/c1/primary"}) {
      EXPECT_FALSE(Entity::entity(EntityUriPath(path))) << path;
   }
}

TEST_F(EntityTest, IsNondestructingTellsOfAChangeOnly) {
   auto port = Fen::makePtr<Port>("p1", "copper", "1");
   auto const listener = Fen::makePtr<PortListener>(port, "l", log);
   port->isNondestructingIs(false);
   EXPECT_TRUE(log.empty());
   port->isNondestructingIs(true);
   port->isNondestructingIs(true);
   EXPECT_EQ(log, Log{"l nondestructing"});
   // The listener and the test hold it: both references were counted before.
   port->isNondestructingIs(false);
   EXPECT_EQ(log, (Log{"l nondestructing", "l nondestructing"}));
   EXPECT_EQ(port->fenReferenceCount(), 2u);
}

} // namespace
