/// Who may mount what is published: the decision over identities, operations and paths, and the
/// mounts of real peers that are granted, refused and withdrawn by it.
#include "../support/TcpFixture.h"

#include <gantry/access/PublishedAccess.h>

#include <map>

namespace {

using namespace Controller;
using CairnTest::Client;
using CairnTest::Want;
using Verdict = PublishedAccess::Verdict;

SystemId const leaf1("02:00:00:00:00:01");
SystemId const leaf2("02:00:00:00:00:02");

/// A controller with two registered switches, whose own parts are published to them.
class PublishedAccessTest : public CairnTest::TcpTest {
 protected:
   PublishedAccessTest() {
      Cairn::tcpConfig().localSystemId = leaf1;
      served->entityPtrIs(table);
      Fen::Ptr<Fen::Dir> const config = Fen::dirFactory("config");
      served->entityPtrIs(config);
      for (char const* const name : {"leaf1", "leaf1x", "leaf2", "leaf"}) {
         Fen::Ptr<Fen::Dir> const part = Fen::dirFactory(name);
         config->entityPtrIs(part);
         part->entityPtrIs(Fen::dirFactory("below"));
      }
      registered(leaf1, "127.0.0.1");
      registered(leaf2, "192.0.2.2");
      table->systemIs(leaf1)->publishedMountIs(description("config/leaf1"));
      table->systemIs(leaf2)->publishedMountIs(description("config/leaf2"));
      serve();
      server->accessPolicyIs(access);
   }
   ~PublishedAccessTest() override { Cairn::tcpConfig().localSystemId = {}; }

   static MountDesc description(Fen::String8 const& path) {
      return MountDesc(path, "remote", "Fen::Dir", "rt", "svc");
   }
   void registered(SystemId const& id, char const* address) {
      auto const config = ControllerRegistration::switchConfigFactory(Fen::Name(id.stringValue()));
      config->systemIdIs(id);
      config->connectionConfigIs("connection")->ipIs(Nimet::IpAddr(Fen::String8(address)));
      switches[id] = config;
      status->switchConfigIs(id, config);
      status->registeredSwitchIs(id, true);
   }
   Want wanted(std::string const& path, std::string const& type = "Fen::Dir") const {
      Want result = want();
      result.path = "leaf1/" + path;
      result.type = type;
      return result;
   }
   testing::AssertionResult endsWith(Want const& asked, Cairn::MountStatus expected) {
      Client client(asked);
      if (testing::AssertionResult const ended = client.ends(); !ended) {
         return ended;
      }
      return client.status() == expected
                ? testing::AssertionSuccess()
                : testing::AssertionFailure() << client.status() << ": " << client.reason();
   }

   Fen::Ptr<ControllerRegistration::ControllerStatus> status =
      ControllerRegistration::controllerStatusFactory("status");
   std::map<SystemId, Fen::Ptr<ControllerRegistration::SwitchConfig>> switches;
   Fen::Ptr<PublishedMountsTable> table = publishedMountsTableFactory("published");
   Fen::Ptr<PeerIdentifier> identifier = Fen::makePtr<RegisteredPeers>(status);
   Fen::Ptr<PublishedAccess> access = Fen::makePtr<PublishedAccess>(table, identifier, "published");
};

TEST_F(PublishedAccessTest, IdentityIsTheRegisteredIdFromItsAddress) {
   auto const identified = [&](SystemId const& id, char const* address, char const* name = "") {
      return identifier->identified({Nimet::IpAddr(Fen::String8(address)), name, id, 9001});
   };
   SystemId const leaf3("02:00:00:00:00:03");
   EXPECT_EQ(identified(leaf1, "127.0.0.1"), leaf1);
   EXPECT_EQ(identified(leaf1, "127.0.0.2"), SystemId());
   EXPECT_EQ(identified(leaf2, "127.0.0.1"), SystemId());
   EXPECT_EQ(identified(leaf2, "192.0.2.2"), leaf2);
   EXPECT_EQ(identified(leaf3, "127.0.0.1"), SystemId());
   // What a peer calls itself is for people.
   EXPECT_EQ(identified(SystemId(), "127.0.0.1", "02:00:00:00:00:01"), SystemId());
   EXPECT_EQ(identified(leaf1, "127.0.0.1", "02:00:00:00:00:02"), leaf1);
   EXPECT_EQ(identified(leaf1, "0.0.0.0"), SystemId());
   status->registeredSwitchIs(leaf1, false);
   EXPECT_EQ(identified(leaf1, "127.0.0.1"), SystemId());
   status->registeredSwitchIs(leaf1, true);
   switches[leaf1]->connectionConfigDel();
   EXPECT_EQ(identified(leaf1, "127.0.0.1"), SystemId());
   status->switchConfigIs(leaf2, nullptr);
   EXPECT_EQ(identified(leaf2, "192.0.2.2"), SystemId());
}

TEST_F(PublishedAccessTest, AConnectionWithoutAnAddressIdentifiesNobody) {
   switches[leaf1]->connectionConfig()->ipIs(Nimet::IpAddr());
   EXPECT_EQ(identifier->identified({Nimet::IpAddr(), "", leaf1, 0}), SystemId());
}

/// Identity times relation of the path times type.
TEST_F(PublishedAccessTest, DecisionTable) {
   struct Row {
      SystemId peer;
      char const* path;
      char const* type;
      Verdict verdict;
   };
   char const* const dir = "Fen::Dir";
   char const* const record = "Controller::SystemPublishedMount";
   char const* const record1 = "published/system/02:00:00:00:00:01";
   char const* const record2 = "published/system/02:00:00:00:00:02";
   Row const rows[] = {
      // Its own part, and whatever stands beside, below or above it.
      {leaf1, "config/leaf1", dir, Verdict::granted},
      {leaf1, "config/leaf1", "Controller::MountConfig", Verdict::anotherType},
      {leaf1, "config/leaf1x", dir, Verdict::notPublished},
      {leaf1, "config/leaf", dir, Verdict::notPublished},
      {leaf1, "config/leaf1/below", dir, Verdict::notPublished},
      {leaf1, "config", dir, Verdict::notPublished},
      {leaf1, "", dir, Verdict::notPublished},
      {leaf1, "config/leaf2", dir, Verdict::notPublished},
      {leaf1, "nothing", dir, Verdict::notPublished},
      {leaf1, "config/leaf1/", dir, Verdict::notPublished},
      {leaf1, "/config/leaf1", dir, Verdict::notPublished},
      {leaf1, "remote", dir, Verdict::notPublished},
      // The records.
      {leaf1, record1, record, Verdict::granted},
      {leaf1, record1, dir, Verdict::anotherType},
      {leaf1, record2, record, Verdict::notPublished},
      {leaf1, "published", "Controller::PublishedMountsTable", Verdict::notPublished},
      {leaf1, "published/system", record, Verdict::notPublished},
      // The other switch.
      {leaf2, "config/leaf2", dir, Verdict::granted},
      {leaf2, "config/leaf1", dir, Verdict::notPublished},
      {leaf2, record2, record, Verdict::granted},
      {leaf2, record1, record, Verdict::notPublished},
      // One to which nothing is published, and nobody.
      {SystemId("02:00:00:00:00:03"), "config/leaf1", dir, Verdict::notPublished},
      {SystemId("02:00:00:00:00:03"), "published/system/02:00:00:00:00:03", record,
       Verdict::granted},
      {SystemId(), "config/leaf1", dir, Verdict::unknownPeer},
      {SystemId(), "published/system/00:00:00:00:00:00", record, Verdict::unknownPeer},
   };
   for (Row const& row : rows) {
      EXPECT_EQ(access->verdict(row.peer, row.path, row.type), row.verdict)
         << row.peer << " " << row.path << " " << row.type;
   }
}

TEST_F(PublishedAccessTest, APeerMountsWhatIsPublishedToIt) {
   Client client(wanted("config/leaf1"));
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), Cairn::mountStatusSuccess) << client.reason();
}

TEST_F(PublishedAccessTest, NobodyWritesWhatIsPublished) {
   server->writableIs(true);
   Want asked = wanted("config/leaf1");
   asked.flags = "rw";
   Client client(asked);
   ASSERT_TRUE(client.ends());
   ASSERT_EQ(client.status(), Cairn::mountStatusSuccess) << client.reason();
   auto const copy =
      Fen::ptrCast<Fen::Dir>(Fen::Entity::entity(Fen::EntityUriPath(Fen::String8(asked.target))));
   copy->entityPtrIs(Fen::dirFactory("intruder"));
   Want later = wanted("published/system/02:00:00:00:00:01", "Controller::SystemPublishedMount");
   later.target = "/mnt/record";
   Client other(later);
   auto const config = Fen::ptrCast<Fen::Dir>(served->entityPtr("config"));
   auto const part = Fen::ptrCast<Fen::Dir>(config->entityPtr("leaf1"));
   // What was asked for later on the same connection is answered, so the write would have come.
   ASSERT_TRUE(other.ends());
   EXPECT_FALSE(part->entityPtr("intruder"));
   EXPECT_TRUE(part->entityPtr("below"));
}

TEST_F(PublishedAccessTest, APeerLearnsItsPathsFromItsOwnRecord) {
   Want asked = wanted("published/system/02:00:00:00:00:01", "Controller::SystemPublishedMount");
   Client client(asked);
   ASSERT_TRUE(client.ends());
   ASSERT_EQ(client.status(), Cairn::mountStatusSuccess) << client.reason();
   auto const copy = Fen::Ptr<SystemPublishedMount>(dynamic_cast<SystemPublishedMount*>(
      Fen::Entity::entity(Fen::EntityUriPath(asked.target)).ptr()));
   ASSERT_TRUE(copy);
   EXPECT_EQ(copy->systemId(), leaf1);
   EXPECT_EQ(copy->publishedMount("config/leaf1"), description("config/leaf1"));
}

TEST_F(PublishedAccessTest, OthersAreRefusedAndCounted) {
   std::uint64_t const before = counted("access.refused.not_published");
   EXPECT_TRUE(endsWith(wanted("config/leaf2"), Cairn::mountStatusRefused));
   EXPECT_TRUE(endsWith(wanted("config/leaf1x"), Cairn::mountStatusRefused));
   EXPECT_TRUE(endsWith(wanted("config"), Cairn::mountStatusRefused));
   // A path that does not exist is refused in the same words as one that does.
   EXPECT_TRUE(endsWith(wanted("config/nobody"), Cairn::mountStatusRefused));
   EXPECT_EQ(counted("access.refused.not_published"), before + 4);
   EXPECT_TRUE(endsWith(wanted("config/leaf1", "Fen::Entity"), Cairn::mountStatusAnotherType));
}

TEST_F(PublishedAccessTest, PathsAreCanonicalBeforeTheyAreDecided) {
   // Empty components are nothing; those that would lead elsewhere lead nowhere.
   EXPECT_TRUE(endsWith(wanted("/config//leaf1/"), Cairn::mountStatusSuccess));
   EXPECT_TRUE(endsWith(wanted("config/leaf2/../leaf1"), Cairn::mountStatusNoSuchPath));
   EXPECT_TRUE(endsWith(wanted("config/leaf1/../leaf2"), Cairn::mountStatusNoSuchPath));
   EXPECT_TRUE(endsWith(wanted("./config/leaf1"), Cairn::mountStatusNoSuchPath));
}

TEST_F(PublishedAccessTest, AStrangerIsRefused) {
   std::uint64_t const before = counted("access.refused.unknown_peer");
   Cairn::tcpConfig().localSystemId = leaf2;
   EXPECT_TRUE(endsWith(wanted("config/leaf2"), Cairn::mountStatusRefused));
   EXPECT_EQ(counted("access.refused.unknown_peer"), before + 1);
}

TEST_F(PublishedAccessTest, ALiveMountEndsWhenItsDescriptionGoes) {
   Client client(wanted("config/leaf1"));
   ASSERT_TRUE(client.ends());
   ASSERT_EQ(client.status(), Cairn::mountStatusSuccess);
   std::uint64_t const before = counted("cairn.mounts_withdrawn");
   // Another description is no concern of this mount.
   table->systemIs(leaf1)->publishedMountIs(description("config/leaf"));
   table->systemIs(leaf1)->publishedMountDel("config/leaf");
   EXPECT_EQ(counted("cairn.mounts_withdrawn"), before);
   table->systemIs(leaf1)->publishedMountDel("config/leaf1");
   EXPECT_EQ(counted("cairn.mounts_withdrawn"), before + 1);
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), Cairn::mountStatusWithdrawn);
   EXPECT_EQ(client.reason(), "'config/leaf1' is no longer published to this system");
   EXPECT_TRUE(endsWith(wanted("config/leaf1"), Cairn::mountStatusRefused));
}

TEST_F(PublishedAccessTest, ALiveMountEndsWhenTheWholeRecordIsTaken) {
   Client client(wanted("config/leaf1"));
   ASSERT_TRUE(client.ends());
   ASSERT_EQ(client.status(), Cairn::mountStatusSuccess);
   table->systemDel(leaf1);
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), Cairn::mountStatusWithdrawn);
}

TEST_F(PublishedAccessTest, ALiveMountEndsWhenItsTypeIsPublishedAnew) {
   Client client(wanted("config/leaf1"));
   ASSERT_TRUE(client.ends());
   table->systemIs(leaf1)->publishedMountIs(
      MountDesc("config/leaf1", "elsewhere", "Fen::Dir", "rt", "svc"));
   EXPECT_EQ(client.mounter->heard.size(), 1u);
   table->systemIs(leaf1)->publishedMountIs(
      MountDesc("config/leaf1", "elsewhere", "Controller::MountConfig", "rt", "svc"));
   ASSERT_TRUE(client.ends());
   EXPECT_EQ(client.status(), Cairn::mountStatusWithdrawn);
}

TEST_F(PublishedAccessTest, AMountThatWentByItselfLeavesNothingToWithdraw) {
   {
      Client client(wanted("config/leaf1"));
      ASSERT_TRUE(client.ends());
      ASSERT_TRUE(client.unmounts(false));
   }
   // An unused connection stays for a while; when it has gone, so have its mounts.
   time.advance(Cairn::tcpConfig().linger + 1.0);
   ASSERT_TRUE(CairnTest::runUntil([&] { return server->peers() == 0; }));
   std::uint64_t const before = counted("cairn.mounts_withdrawn");
   table->systemIs(leaf1)->publishedMountDel("config/leaf1");
   EXPECT_EQ(counted("cairn.mounts_withdrawn"), before);
}

} // namespace
