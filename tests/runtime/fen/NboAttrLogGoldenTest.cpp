// Every kind of message byte by byte, as it is written and as it is read. What stands here stands
// in docs/wire.md too; a change of these bytes is a change of the protocol.
#include "HandWrittenEntity.h"
#include "NboAttrLogSample.h"

#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

using namespace NboAttrLogTest;
using Sample::Chassis;
using Sample::Panel;
using Sample::Port;

namespace {

/// A synchronised mount, and what has to be said of its frames.
template <class Root>
struct Golden : testing::Test {
   void SetUp() override {
      root = Fen::makePtr<Root>("r");
      link.mount(root);
      link.settle();
      copy = link.copy<Root>();
      ASSERT_TRUE(copy);
   }
   /// The bytes that have been written since, which also go to the copy.
   std::string written() {
      link.source->flush(1 << 20);
      Bytes const bytes = pendingOf(*link.sourceBytes);
      link.settle();
      return hex(bytes);
   }
   Link link;
   Fen::Ptr<Root> root;
   Fen::Ptr<Root> copy;
};
using GoldenChassis = Golden<Chassis>;
using GoldenPanel = Golden<Panel>;

TEST_F(GoldenChassis, boolean) {
   root->upIs(true);
   EXPECT_EQ(written(), "00 00 00 1d 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 03 01 00 00 00 00 00 00 00 00 00 "
                        "01 01 03");
   EXPECT_TRUE(copy->up());
}

TEST_F(GoldenPanel, numbers) {
   root->set<Panel::U16Attr>(0x1234);
   EXPECT_EQ(written(), "00 00 00 1e 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 03 01 00 00 00 00 00 00 00 00 00 "
                        "01 12 34 03");
   root->set<Panel::U64Attr>(0x0102030405060708);
   EXPECT_EQ(written(), "00 00 00 24 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 04 01 00 00 00 00 00 00 00 00 00 "
                        "01 01 02 03 04 05 06 07 08 03");
   root->set<Panel::S32Attr>(-2);
   EXPECT_EQ(written(), "00 00 00 20 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 05 01 00 00 00 00 00 00 00 00 00 "
                        "01 ff ff ff fe 03");
   root->set<Panel::S64Attr>(-3);
   EXPECT_EQ(written(), "00 00 00 24 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 06 01 00 00 00 00 00 00 00 00 00 "
                        "01 ff ff ff ff ff ff ff fd 03");
   root->set<Panel::RatioAttr>(1.5);
   EXPECT_EQ(written(), "00 00 00 24 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 07 01 00 00 00 00 00 00 00 00 00 "
                        "01 3f f8 00 00 00 00 00 00 03");
   EXPECT_EQ(copy->u16, 0x1234);
   EXPECT_EQ(copy->u64, 0x0102030405060708u);
   EXPECT_EQ(copy->s32, -2);
   EXPECT_EQ(copy->s64, -3);
   EXPECT_EQ(copy->ratio, 1.5);
}

TEST_F(GoldenPanel, enumeration) {
   root->set<Panel::MoodAttr>(Sample::moodBusy);
   EXPECT_EQ(written(), "00 00 00 20 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 08 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 03 03");
   EXPECT_EQ(copy->mood, Sample::moodBusy);
}

TEST_F(GoldenPanel, valueType) {
   root->set<Panel::ReadingAttr>(Sample::Reading("t", 2.0));
   EXPECT_EQ(written(), "00 00 00 29 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 09 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 01 74 40 00 00 00 00 00 00 00 03");
   EXPECT_EQ(copy->reading, Sample::Reading("t", 2.0));
}

TEST_F(GoldenPanel, text) {
   root->set<Panel::AliasAttr>("abc");
   EXPECT_EQ(written(), "00 00 00 23 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 0a 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 03 61 62 63 03");
   EXPECT_EQ(copy->alias, "abc");
   // A text that has become empty is a message without characters.
   root->set<Panel::AliasAttr>("");
   EXPECT_EQ(written(), "00 00 00 20 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 0a 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 00 03");
   EXPECT_EQ(copy->alias, "");
}

TEST_F(GoldenChassis, reference) {
   auto const port = root->portIs("p", "k", "s");
   link.settle();
   root->primaryIs(port);
   EXPECT_EQ(written(), "00 00 00 24 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 04 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 03 00 00 00 00 03");
   EXPECT_EQ(copy->primary(), copy->port("p"));
   // A null pointer is entity id 0.
   root->primaryIs(nullptr);
   EXPECT_EQ(written(), "00 00 00 24 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 04 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 00 00 00 00 00 03");
   EXPECT_FALSE(copy->primary());
}

TEST_F(GoldenChassis, collectionOfBoolKeyedByText) {
   root->allowedIs("ab", true);
   EXPECT_EQ(written(), "00 00 00 23 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 07 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 02 61 62 01 03");
   EXPECT_TRUE(copy->allowed("ab"));
   // The removal has no value item.
   root->allowedDel("ab");
   EXPECT_EQ(written(), "00 00 00 22 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 ff ff fe f9 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 02 61 62 03");
   EXPECT_FALSE(copy->allowedIterator());
}

TEST_F(GoldenPanel, collectionOfBoolKeyedByNumber) {
   root->versionIs(9, true);
   EXPECT_EQ(written(), "00 00 00 21 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 0c 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 09 01 03");
   EXPECT_EQ(copy->versions(), 1);
   root->versionDel(9);
   EXPECT_EQ(written(), "00 00 00 20 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 ff ff fe f4 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 09 03");
   EXPECT_EQ(copy->versions(), 0);
}

TEST_F(GoldenPanel, collectionOfValuesThatCarryTheirKey) {
   root->sensorIs(Sample::Reading("t", 2.0));
   EXPECT_EQ(written(), "00 00 00 29 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 0b 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 01 74 40 00 00 00 00 00 00 00 03");
   EXPECT_EQ(copy->sensor("t").degrees(), 2.0);
   root->sensorDel("t");
   EXPECT_EQ(written(), "00 00 00 21 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 ff ff fe f5 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 01 74 03");
   EXPECT_EQ(copy->sensors(), 0);
}

TEST_F(GoldenChassis, collectionOfReferences) {
   auto const port = root->portIs("p", "k", "s");
   link.settle();
   root->peerIs(4, port);
   EXPECT_EQ(written(), "00 00 00 28 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 08 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 04 00 00 00 03 00 00 00 00 03");
   EXPECT_EQ(copy->peer(4), copy->port("p"));
   root->peerDel(4);
   EXPECT_EQ(written(), "00 00 00 20 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 ff ff fe f8 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 04 03");
   EXPECT_FALSE(copy->peer(4));
}

TEST_F(GoldenChassis, ownedMember) {
   root->portIs("p", "k", "s");
   EXPECT_EQ(written(),
             // The creation: key, constructor parameters, id.
             "00 00 00 33 01 00 00 05 "
             "00 00 00 02 00 00 00 00 00 00 01 06 01 00 00 00 00 00 00 00 97 00 "
             "01 00 00 00 01 70 00 00 00 01 6b 00 00 00 01 73 00 00 00 03 00 00 00 00 03 "
             // The member's attributes.
             "00 00 00 20 01 00 00 05 "
             "00 00 00 03 00 00 00 00 00 00 01 05 01 00 00 00 00 00 00 00 00 00 "
             "01 00 00 00 00 03 "
             "00 00 00 20 01 00 00 05 "
             "00 00 00 03 00 00 00 00 00 00 01 06 01 00 00 00 00 00 00 00 00 00 "
             "01 00 00 00 00 03");
   ASSERT_TRUE(copy->port("p"));
   EXPECT_EQ(copy->port("p")->kind(), "k");
   root->portDel("p");
   EXPECT_EQ(written(), "00 00 00 21 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 ff ff fe fa 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 01 70 03");
   EXPECT_EQ(copy->ports(), 0u);
}

TEST_F(GoldenChassis, singleChild) {
   root->consoleIs("c", "k", "s");
   EXPECT_EQ(written().substr(0, 164),
             "00 00 00 33 01 00 00 05 "
             "00 00 00 02 00 00 00 00 00 00 01 05 01 00 00 00 00 00 00 00 97 00 "
             "01 00 00 00 01 63 00 00 00 01 6b 00 00 00 01 73 00 00 00 03 00 00 00 00 03");
   ASSERT_TRUE(copy->console());
   root->consoleDel();
   EXPECT_EQ(written(), "00 00 00 1c 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 ff ff fe fb 01 00 00 00 00 00 00 00 00 00 "
                        "01 03");
   EXPECT_FALSE(copy->console());
}

TEST_F(GoldenPanel, record) {
   root->partIs("k");
   // A record that owns nothing is its key alone.
   EXPECT_EQ(written(), "00 00 00 21 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 0d 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 01 6b 03");
   ASSERT_TRUE(copy->part("k"));
   EXPECT_FALSE(copy->part("k")->part());
   root->part("k")->partIs("c");
   // With what it owns it is a creation: key, constructor parameters, id.
   EXPECT_EQ(written().substr(0, 149),
             "00 00 00 2e 01 00 00 05 "
             "00 00 00 02 00 00 00 00 00 00 01 0d 01 00 00 00 00 00 00 00 97 00 "
             "01 00 00 00 01 6b 00 00 00 01 63 00 00 00 03 00 00 00 00 03");
   ASSERT_TRUE(copy->part("k")->part());
   EXPECT_EQ(copy->part("k")->part()->name(), "c");
   root->part("k")->partDel();
   EXPECT_EQ(written(), "00 00 00 21 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 01 0d 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 01 6b 03");
   EXPECT_FALSE(copy->part("k")->part());
   root->partDel("k");
   EXPECT_EQ(written(), "00 00 00 21 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 ff ff fe f3 01 00 00 00 00 00 00 00 00 00 "
                        "01 00 00 00 01 6b 03");
   EXPECT_EQ(copy->parts(), 0);
}

TEST(GoldenRoot, firstSynchronisation) {
   auto const root = Fen::dirFactory("d");
   Link link;
   link.mount(root);
   link.source->flush(1 << 20);
   EXPECT_EQ(hex(pendingOf(*link.sourceBytes)),
             // The root: type, name, id.
             "00 00 00 35 01 00 00 05 "
             "00 00 00 01 00 00 00 00 00 00 00 88 01 00 00 00 00 00 00 00 00 00 "
             "01 00 00 00 08 46 65 6e 3a 3a 44 69 72 00 00 00 01 64 00 00 00 02 00 00 00 00 03 "
             // The members: the walk begins and ends.
             "00 00 00 15 02 00 00 05 00 00 00 02 00 00 00 00 00 00 01 02 00 00 00 00 00 "
             "00 00 00 15 02 00 00 05 00 00 00 02 00 00 00 00 00 00 01 02 02 00 00 00 00 "
             // The first synchronisation is complete.
             "00 00 00 04 03 00 00 05");
   link.settle();
   EXPECT_TRUE(link.copy<Fen::Dir>());
   // A member of a directory has its type in front.
   root->entityPtrIs(Fen::dirFactory("e"));
   EXPECT_EQ(hex(pendingOf(*link.sourceBytes)).substr(0, 170),
             "00 00 00 35 01 00 00 05 "
             "00 00 00 02 00 00 00 00 00 00 01 02 01 00 00 00 00 00 00 00 97 00 "
             "01 00 00 00 08 46 65 6e 3a 3a 44 69 72 00 00 00 01 65 00 00 00 03 00 00 00 00 03");
}

TEST_F(GoldenChassis, nondestructing) {
   root->isNondestructingIs(true);
   EXPECT_EQ(written(), "00 00 00 1d 01 00 00 05 "
                        "00 00 00 02 00 00 00 00 00 00 00 06 01 00 00 00 00 00 00 00 00 00 "
                        "01 01 03");
   // What the peer says of its own counting changes nothing here.
   EXPECT_FALSE(copy->isNondestructing());
   EXPECT_TRUE(link.targetAdapter(*copy)->peerNondestructing());
   root->isNondestructingIs(false);
}

} // namespace
