/// The surface of the mount client: what a manager stores, when it calls its backend, and who keeps
/// whom alive.
#include "../../support/ScriptedBackend.h"

#include <gantry/runtime/fen/FenType.h>

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace Cairn;
using Calls = TestSupport::ScriptedBackend::Calls;

class RecordingMounter : public Mounter {
 public:
   RecordingMounter() : Mounter("mounter") {}
   void doMountsComplete(MountStatus status, Fen::Ptr<EntityManager> const&) override {
      heard.push_back(status);
   }
   std::vector<MountStatus> heard;
};

class UnmountWatcher : public EntityManager::Notifiee {
 public:
   explicit UnmountWatcher(Fen::Ptr<EntityManager> const& manager)
      : EntityManager::Notifiee(manager) {
      isRegisteredNotifieeIs(true);
   }
   void onUnmounter() override { ++unmounters; }
   void onReconnectRetries() override { ++retries; }
   void onSrcHost() override { ++hosts; }
   int unmounters = 0;
   int retries = 0;
   int hosts = 0;
};

class CompletionWatcher : public RemoteUnmounter::NotifieeConst {
 public:
   explicit CompletionWatcher(Fen::Ptr<RemoteUnmounter const> const& unmounter)
      : RemoteUnmounter::NotifieeConst(unmounter) {
      isRegisteredNotifieeIs(true);
   }
   void onUnmountsComplete() override { ++changes; }
   int changes = 0;
};

class ClientSurfaceTest : public testing::Test {
 protected:
   Fen::Ptr<EntityManager> managerNew(char const* name = "em") {
      auto manager = Fen::makePtr<EntityManager>(name);
      manager->reconnectRetriesIs(3);
      manager->srcHostIs("10.0.0.2");
      manager->doInit("leaf1", "/mnt/a", "leaf1//linux", 9001, "127.0.0.1", "mgmt", false, false,
                      30.0, false, "", true, false, true);
      return manager;
   }
   Fen::Ptr<MountGroup> mountOne(EntityManager& manager) {
      auto group = manager.getPersistentMountGroup(mounter);
      group->doMount(Mount("", "Fen::Dir", "r"));
      group->doClose(false, "", 0.0);
      return group;
   }

   TestSupport::ScriptedBackendScope backend;
   Fen::Ptr<RecordingMounter> mounter = Fen::makePtr<RecordingMounter>();
};

TEST_F(ClientSurfaceTest, CallsReachTheBackendInOrder) {
   auto manager = managerNew();
   mountOne(*manager);
   manager->doUnregisterAll(true);
   manager->doCleanup();
   manager = nullptr;
   EXPECT_EQ(
      backend->calls(),
      (Calls{"EntityManager(em)", "reconnectRetriesIs(3)", "srcHostIs(10.0.0.2)",
             "doInit(leaf1, /mnt/a, leaf1//linux, 9001, 127.0.0.1, mgmt, false, false, 30, "
             "false, , true, false, true)",
             "getPersistentMountGroup(mounter)", "doMount(, Fen::Dir, r)", "doClose(false, , 0)",
             "doUnregisterAll(true)", "doCleanup()", "~EntityManager(em)"}));
   EXPECT_EQ(backend->callNames().front(), "EntityManager");
   EXPECT_EQ(backend->callsTaken().size(), 10u);
   EXPECT_TRUE(backend->calls().empty());
}

TEST_F(ClientSurfaceTest, ArgumentsCanBeRead) {
   auto const manager = managerNew();
   InitArguments const& arguments = manager->initArguments();
   EXPECT_EQ(arguments.sysname, "leaf1");
   EXPECT_EQ(arguments.targetPath, "/mnt/a");
   EXPECT_EQ(arguments.remotePath, "leaf1//linux");
   EXPECT_EQ(arguments.port, 9001);
   EXPECT_EQ(arguments.host, "127.0.0.1");
   EXPECT_EQ(arguments.sockname, "mgmt");
   EXPECT_EQ(arguments.mountTimeout, 30.0);
   EXPECT_FALSE(arguments.reserved7 || arguments.reserved8 || arguments.reserved10 ||
                arguments.reserved13);
   EXPECT_TRUE(arguments.reserved12 && arguments.reserved14);
   EXPECT_EQ(manager->sysname(), "leaf1");
   EXPECT_EQ(manager->local(), "/mnt/a");
   EXPECT_TRUE(manager->initialized());
   EXPECT_THROW(
      manager->doInit("", "", "", 1, "", "", false, false, 0.0, false, "", false, false, false),
      Fen::InternalException);
}

TEST_F(ClientSurfaceTest, GroupKeepsItsMountsAndMounter) {
   auto const manager = managerNew();
   auto const group = mountOne(*manager);
   EXPECT_TRUE(group->closed());
   EXPECT_EQ(group->mounter(), mounter);
   ASSERT_EQ(group->mount().size(), 1u);
   EXPECT_EQ(group->mount()[0], Mount("", "Fen::Dir", "r"));
   EXPECT_EQ(group->entityManager(), manager);
   EXPECT_THROW(group->doMount(Mount()), Fen::InternalException);
   group->doClose(true, "again", 1.0);
   EXPECT_FALSE(group->closeReserved1());
   EXPECT_EQ(manager->mountGroupCount(), 1u);
   EXPECT_NE(manager->getPersistentMountGroup(mounter), group);
}

TEST_F(ClientSurfaceTest, CompletionReachesTheMounter) {
   auto const manager = managerNew();
   EXPECT_FALSE(backend->completeMount());
   mountOne(*manager);
   EXPECT_TRUE(backend->completeMount(mountStatusRefused));
   EXPECT_TRUE(backend->completeMount());
   EXPECT_EQ(mounter->heard, (std::vector<MountStatus>{mountStatusRefused, mountStatusSuccess}));
}

TEST_F(ClientSurfaceTest, CompletionInsideTheCallThatStartsIt) {
   backend->completesInsideCloseIs(mountStatusTimedOut);
   auto const manager = managerNew();
   mountOne(*manager);
   EXPECT_EQ(mounter->heard, std::vector<MountStatus>{mountStatusTimedOut});
   backend->completesInsideUnregisterAllIs(true);
   manager->doUnregisterAll(false);
   ASSERT_TRUE(manager->unmounter());
   EXPECT_TRUE(manager->unmounter()->unmountsComplete());
}

TEST_F(ClientSurfaceTest, UnmountIsReportedThroughTheUnmounter) {
   auto const manager = managerNew();
   auto const watcher = Fen::makePtr<UnmountWatcher>(manager);
   EXPECT_FALSE(manager->unmounter());
   manager->doUnregisterAll(true);
   ASSERT_TRUE(manager->unmounter());
   EXPECT_EQ(watcher->unmounters, 1);
   EXPECT_TRUE(manager->unmounter()->statePreserving());
   auto const completion = Fen::makePtr<CompletionWatcher>(manager->unmounter());
   EXPECT_TRUE(backend->completeUnmount());
   EXPECT_EQ(completion->changes, 1);
   EXPECT_EQ(watcher->unmounters, 1);
   manager->doUnregisterAll(false);
   EXPECT_FALSE(manager->unmounter()->unmountsComplete());
   EXPECT_FALSE(manager->statePreserving());
}

TEST_F(ClientSurfaceTest, UnmounterMayComeLate) {
   backend->setsUnmounterIs(false);
   auto const manager = managerNew();
   manager->doUnregisterAll(false);
   EXPECT_FALSE(manager->unmounter());
   backend->completeUnmount();
   EXPECT_TRUE(manager->unmounter()->unmountsComplete());
}

TEST_F(ClientSurfaceTest, SettersTellTheirSlots) {
   auto const manager = Fen::makePtr<EntityManager>("em");
   auto const watcher = Fen::makePtr<UnmountWatcher>(manager);
   manager->reconnectRetriesIs(3);
   manager->reconnectRetriesIs(3);
   manager->srcHostIs("10.0.0.2");
   EXPECT_EQ(watcher->retries, 1);
   EXPECT_EQ(watcher->hosts, 1);
   EXPECT_EQ(backend->callNames(),
             (Calls{"EntityManager", "reconnectRetriesIs", "reconnectRetriesIs", "srcHostIs"}));
   EXPECT_EQ(manager->attributeString(265), "reconnectRetries");
   EXPECT_EQ(manager->attributeString(269), "srcHost");
   EXPECT_EQ(manager->attributeString(294), "unmounter");
   EXPECT_EQ(manager->attributeString(297), "initialized");
   EXPECT_EQ(manager->attributeString(298), "unknown");
}

TEST_F(ClientSurfaceTest, ManagerThatIsDroppedIsCleanedUp) {
   auto manager = managerNew();
   auto const group = mountOne(*manager);
   EXPECT_EQ(backend->manager(), manager.ptr());
   manager = nullptr;
   EXPECT_EQ(backend->manager(), nullptr);
   EXPECT_FALSE(group->entityManager());
   EXPECT_EQ(backend->callNames().back(), "~EntityManager");
   EXPECT_EQ(group->mounter(), mounter);
}

TEST_F(ClientSurfaceTest, NothingReachesTheBackendAfterCleanup) {
   auto const manager = managerNew();
   auto const group = manager->getPersistentMountGroup(mounter);
   manager->doCleanup();
   manager->doCleanup();
   backend->completesInsideCloseIs(mountStatusSuccess);
   backend->completesInsideUnregisterAllIs(true);
   group->doClose(false, "", 0.0);
   manager->doUnregisterAll(false);
   EXPECT_TRUE(mounter->heard.empty());
   EXPECT_FALSE(manager->unmounter());
   EXPECT_EQ(backend->manager(), nullptr);
}

TEST_F(ClientSurfaceTest, ManagerStaysWithTheBackendOfItsBirth) {
   auto manager = managerNew();
   {
      TestSupport::ScriptedBackendScope other;
      mountOne(*manager);
      EXPECT_TRUE(other->calls().empty());
   }
   EXPECT_EQ(backend->callNames().back(), "doClose");
   EXPECT_TRUE(Cairn::backend());
}

TEST(MountStatusTest, NumbersAndNames) {
   EXPECT_EQ(mountStatusSuccess, 4u);
   for (unsigned number = 0; number <= 11; ++number) {
      MountStatus const status = MountStatusInstance(number);
      EXPECT_EQ(MountStatusInstance(stringValue(status)), status);
   }
   EXPECT_THROW(MountStatusInstance(12u), Fen::RangeException);
   EXPECT_THROW(MountStatusInstance("success"), Fen::RangeException);
   EXPECT_EQ(stringValue(static_cast<MountStatus>(77)), "MountStatus(77)");
   std::ostringstream stream;
   stream << mountStatusTimedOut;
   EXPECT_EQ(stream.str(), "mountStatusTimedOut");
   EXPECT_EQ(_fwkType_MountStatus()->fullTypeName(), "Cairn::MountStatus");
}

TEST(MounterTest, IsAnEntity) {
   auto const mounter = Fen::makePtr<Mounter>("02:00:00:00:00:01");
   EXPECT_EQ(mounter->name(), "02:00:00:00:00:01");
   EXPECT_EQ(mounter->fwkType()->fullTypeName(), "Cairn::Mounter");
   mounter->doMountsComplete(mountStatusSuccess, nullptr);
}

} // namespace
