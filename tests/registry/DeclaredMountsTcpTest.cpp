/// The whole road with nothing replaced: a service's declarations, the registry, the TCP client, a
/// server on the loopback, and the mounted tree and the status that come of it, there and back.
#include "../support/TcpFixture.h"
#include "DeclaringHost.h"

#include <gantry/model/ServiceMountConfig.fen.h>

namespace RegistryTest {
namespace {

using namespace Controller;
using CairnTest::runUntil;

constexpr char const* leaf1 = "02:00:00:00:00:01";
constexpr char const* leaf2 = "02:00:00:00:00:02";

/// One switch: a tree and a server for it.
struct Leaf {
   explicit Leaf(char const* name) : sysname(name), entity(mountFilterSystemFactory("systems")) {
      tree->entityPtrIs(state);
      state->entityPtrIs(entity);
      entity->includedSystemIs(sysname, true);
      serve(0);
   }
   void serve(std::uint16_t wanted) {
      server = Cairn::serverFactory(sysname, tree, Nimet::IpAddr("127.0.0.1"), wanted);
      port = server->port();
   }

   char const* sysname;
   Fen::Ptr<Fen::Dir> tree = Fen::dirFactory("served");
   Fen::Ptr<Fen::Dir> state = Fen::dirFactory("state");
   Fen::Ptr<MountFilterSystem> entity;
   Fen::Ptr<Cairn::Server> server;
   std::uint16_t port = 0;
};

class DeclaredMountsTcp : public testing::Test {
 protected:
   DeclaredMountsTcp() {
      host.switchIs(leaf1, "127.0.0.1", one.port, "leaf1");
      host.switchIs(leaf2, "127.0.0.1", two.port, "leaf2");
      host.negotiate(leaf1, "routing", 2);
      host.negotiate(leaf2, "routing", 3);
      group = host.service("routing")->mountGroupConfigIs("group");
   }
   std::string state(char const* system, char const* path = "state") const {
      return host.state("routing", "group", system, path);
   }
   testing::AssertionResult reaches(char const* system, char const* wanted,
                                    char const* path = "state") {
      return runUntil([&] { return state(system, path) == wanted; });
   }
   /// The served entity as it is mounted here; null while it is not.
   Fen::Ptr<MountFilterSystem> copy(char const* system) const {
      std::string const path = std::string("registry/state/") + system + "/systems";
      return Fen::ptrCast<MountFilterSystem>(
         Fen::Entity::entity(Fen::EntityUriPath(Fen::String8(path)), host.root));
   }

   Fen::VirtualTime time{1000.0};
   Leaf one{"leaf1"};
   Leaf two{"leaf2"};
   DeclaringHost host;
   Fen::Ptr<ServiceMountGroupConfig> group;
};

TEST_F(DeclaredMountsTcp, ADeclarationBecomesALiveTreeAndAStatus) {
   group->mountConfigIs("state", "Fen::Dir", "r", "");
   host.registeredIs(leaf1, true);
   host.registeredIs(leaf2, true);
   EXPECT_TRUE(reaches(leaf1, "mountStateMounted"));
   EXPECT_TRUE(reaches(leaf2, "mountStateMounted"));
   auto const status = host.status("routing")->systemStatus(leaf1);
   EXPECT_EQ(status->serviceMountGroupStatus("group")->mountState(), mountStateMounted);
   EXPECT_EQ(status->serviceMountGroupStatus("group")->mountStatus("state")->mountedPath(),
             "registry/state/02:00:00:00:00:01");
   EXPECT_EQ(host.status("routing")->mountedPathPrefix("state")->pathPrefix(), "registry/state");
   ASSERT_TRUE(copy(leaf1));
   ASSERT_TRUE(copy(leaf2));
   EXPECT_TRUE(copy(leaf1)->includedSystem("leaf1"));
   EXPECT_FALSE(copy(leaf1)->includedSystem("leaf2"));
   two.entity->includedSystemIs("changed", true);
   EXPECT_TRUE(runUntil([&] { return copy(leaf2)->includedSystem("changed"); }));
}

TEST_F(DeclaredMountsTcp, AWithdrawnMountGoesWithItsTreeAndItsStatus) {
   group->mountConfigIs("state", "Fen::Dir", "r", "");
   host.registeredIs(leaf1, true);
   ASSERT_TRUE(reaches(leaf1, "mountStateMounted"));
   group->mountConfigDel("state");
   EXPECT_EQ(state(leaf1), "");
   EXPECT_TRUE(runUntil([&] { return !host.mount("state", leaf1); }));
   EXPECT_FALSE(copy(leaf1));
   EXPECT_EQ(host.status("routing")->mountedPathPrefixCount(), 0u);
   EXPECT_TRUE(host.registry->mountEntry("state"));
}

TEST_F(DeclaredMountsTcp, AFilterOfVersionsLetsOneSwitchInAndThenTheOther) {
   auto const filter = host.service("routing")->versionFilterIs("versions");
   filter->includedServiceVersionIs(2, true);
   group->versionFilterIs(filter);
   group->mountConfigIs("state", "Fen::Dir", "r", "");
   host.registeredIs(leaf1, true);
   host.registeredIs(leaf2, true);
   EXPECT_TRUE(reaches(leaf1, "mountStateMounted"));
   EXPECT_EQ(state(leaf2), "");
   EXPECT_FALSE(host.mount("state", leaf2));
   host.negotiate(leaf2, "routing", 2);
   EXPECT_TRUE(reaches(leaf2, "mountStateMounted"));
   host.negotiate(leaf1, "routing", 3);
   EXPECT_TRUE(runUntil([&] { return !host.mount("state", leaf1); }));
   EXPECT_EQ(state(leaf1), "");
   EXPECT_FALSE(copy(leaf1));
   EXPECT_TRUE(copy(leaf2));
}

TEST_F(DeclaredMountsTcp, APreservingGroupKeepsTheTreeAndAdoptsItOnReturn) {
   group->preserveMountsOnDisconnectIs(true);
   group->mountConfigIs("state", "Fen::Dir", "r", "");
   host.registeredIs(leaf1, true);
   ASSERT_TRUE(reaches(leaf1, "mountStateMounted"));
   Fen::Ptr<MountFilterSystem> const kept = copy(leaf1);
   host.registeredIs(leaf1, false);
   EXPECT_TRUE(reaches(leaf1, "mountStatePending"));
   EXPECT_EQ(copy(leaf1), kept);
   EXPECT_TRUE(kept->includedSystem("leaf1"));
   one.entity->includedSystemIs("meanwhile", true);
   host.registeredIs(leaf1, true);
   EXPECT_TRUE(reaches(leaf1, "mountStateMounted"));
   EXPECT_EQ(copy(leaf1), kept);
   EXPECT_TRUE(kept->includedSystem("meanwhile"));
}

TEST_F(DeclaredMountsTcp, AWrongTypeOrPathFailsInTheStatus) {
   group->mountConfigIs("state", "Controller::PeerTable", "r", "");
   group->mountConfigIs("nowhere", "Fen::Dir", "r", "");
   host.registeredIs(leaf1, true);
   EXPECT_TRUE(reaches(leaf1, "mountStateFailed"));
   EXPECT_TRUE(reaches(leaf1, "mountStateFailed", "nowhere"));
   auto const status = host.status("routing")->systemStatus(leaf1);
   EXPECT_EQ(status->serviceMountGroupStatus("group")->mountState(), mountStateFailed);
   EXPECT_NE(host.mount("state", leaf1)->entityManager()->reason(), "");
}

TEST_F(DeclaredMountsTcp, DroppedMachinesUnmountNothing) {
   group->mountConfigIs("state", "Fen::Dir", "r", "");
   host.registeredIs(leaf1, true);
   ASSERT_TRUE(reaches(leaf1, "mountStateMounted"));
   host.services = nullptr;
   host.machine = nullptr;
   EXPECT_TRUE(copy(leaf1));
   EXPECT_EQ(state(leaf1), "mountStateMounted");
   // The connection is kept for a while, in case somebody else wants it.
   time.advance(Cairn::tcpConfig().linger + 1.0);
   EXPECT_TRUE(runUntil([&] { return one.server->peers() == 0; }));
}

} // namespace
} // namespace RegistryTest
