/// What services are told about their mounts: defaults, setters, and the prefixes' find-or-create.
#include "Watchers.h"

#include <gantry/model/ServiceMountStatus.fen.h>

#include <gtest/gtest.h>

namespace ModelTest {
namespace {

using namespace Controller;
using Fen::makePtr;
using Fen::Name;
using Fen::Ptr;
using Fen::String8;

class StatusWatcher : public Watcher<ServiceMountStatus> {
 public:
   using Watcher::Watcher;
   void onMountedPathPrefix(Name key) override { note("mountedPathPrefix", key); }
   void onSystemStatus(Name key) override { note("systemStatus", key); }
   void onInitialMountsComplete(String8 key) override { note("initialMountsComplete", key); }
};

class SystemWatcher : public Watcher<SystemStatus> {
 public:
   using Watcher::Watcher;
   void onServiceMountGroupStatus(Name key) override { note("serviceMountGroupStatus", key); }
};

class GroupWatcher : public Watcher<ServiceMountGroupStatus> {
 public:
   using Watcher::Watcher;
   void onMountState() override { note("mountState"); }
   void onMountStatus(Name key) override { note("mountStatus", key); }
};

class MountWatcher : public Watcher<MountStatus> {
 public:
   using Watcher::Watcher;
   void onMountState() override { note("mountState"); }
   void onMountedPath() override { note("mountedPath"); }
};

class ServiceMountStatusTest : public testing::Test {
 protected:
   Ptr<ServiceMountStatus> const status = makePtr<ServiceMountStatus>("fabric");
   Ptr<SystemStatus> const system = status->systemStatusIs("02:00:00:00:00:01");
   Ptr<ServiceMountGroupStatus> const group = system->serviceMountGroupStatusIs("leafs");
   Ptr<MountStatus> const mount = group->mountStatusIs("sys/if");
   Ptr<StatusWatcher> const statusWatcher = makePtr<StatusWatcher>(status);
   Ptr<SystemWatcher> const systemWatcher = makePtr<SystemWatcher>(system);
   Ptr<GroupWatcher> const groupWatcher = makePtr<GroupWatcher>(group);
   Ptr<MountWatcher> const mountWatcher = makePtr<MountWatcher>(mount);
};

TEST_F(ServiceMountStatusTest, AFreshMountIsUnmountedAndNowhere) {
   EXPECT_EQ(mount->remotePath(), "sys/if");
   EXPECT_EQ(mount->mountState(), mountStateUnmounted);
   EXPECT_EQ(mount->mountedPath(), "");
   EXPECT_EQ(group->serviceMountGroupName(), "leafs");
   EXPECT_EQ(group->mountState(), mountStateUnmounted);
   EXPECT_EQ(system->systemName(), "02:00:00:00:00:01");
   EXPECT_EQ(status->serviceName(), "fabric");
   EXPECT_FALSE(status->initialMountsComplete("leafs"));
   EXPECT_EQ(status->initialMountsCompleteCount(), 0u);
}

TEST_F(ServiceMountStatusTest, TheCurrentStateIsNoChange) {
   mount->mountStateIs(mountStateUnmounted);
   mount->mountedPathIs("");
   group->mountStateIs(mountStateUnmounted);
   EXPECT_EQ(mountWatcher->taken(), Log{});
   EXPECT_EQ(groupWatcher->taken(), Log{});
   mount->mountStateIs(mountStateMounted);
   mount->mountStateIs(mountStateMounted);
   mount->mountedPathIs("/mounts/leaf1");
   mount->mountedPathIs("/mounts/leaf1");
   group->mountStateIs(mountStateFailed);
   EXPECT_EQ(mountWatcher->taken(), (Log{"mountState", "mountedPath"}));
   EXPECT_EQ(groupWatcher->taken(), Log{"mountState"});
}

TEST_F(ServiceMountStatusTest, AReactorThatFailsIsToldWithTheId) {
   mountWatcher->throws = true;
   mount->mountStateIs(mountStateMounting);
   mount->mountedPathIs("/here");
   EXPECT_EQ(mountWatcher->taken(),
             (Log{"mountState", "exception 259", "mountedPath", "exception 260"}));
   EXPECT_EQ(mount->mountState(), mountStateMounting);
   statusWatcher->throws = true;
   status->initialMountsCompleteIs("leafs", true);
   EXPECT_EQ(statusWatcher->taken(), (Log{"initialMountsComplete leafs", "exception 261"}));
}

TEST_F(ServiceMountStatusTest, TheSamePrefixTwiceIsOneMemberAndOneNotification) {
   Ptr<MountedPathPrefix> const prefix = status->mountedPathPrefixIs("sys/if", "/mounts");
   EXPECT_EQ(status->mountedPathPrefixIs("sys/if", "/mounts"), prefix);
   EXPECT_EQ(status->mountedPathPrefixCount(), 1u);
   EXPECT_EQ(statusWatcher->taken(), Log{"mountedPathPrefix sys/if"});
   EXPECT_EQ(prefix->remotePath(), "sys/if");
   EXPECT_EQ(prefix->pathPrefix(), "/mounts");
   EXPECT_EQ(nameInUse([&] { status->mountedPathPrefixIs("sys/if", "/other"); }),
             "Reinstantiating the entity with name 'sys/if' where constructor parameter attribute "
             "_pathPrefix has a different value of '/other' than the current value of '/mounts' "
             "not allowed");
   EXPECT_EQ(status->mountedPathPrefix("sys/if"), prefix);
   EXPECT_EQ(prefix->pathPrefix(), "/mounts");
   EXPECT_EQ(statusWatcher->taken(), Log{});
}

TEST_F(ServiceMountStatusTest, CompletionIsRemovedByKey) {
   status->initialMountsCompleteIs("leafs", true);
   EXPECT_TRUE(status->initialMountsComplete("leafs"));
   statusWatcher->taken();
   EXPECT_NE(status->initialMountsCompleteDel("leafs"), nullptr);
   EXPECT_EQ(status->initialMountsCompleteCount(), 0u);
   EXPECT_EQ(statusWatcher->taken(), Log{"initialMountsComplete leafs"});
   EXPECT_EQ(status->initialMountsCompleteDel("leafs"), nullptr);
   EXPECT_EQ(statusWatcher->taken(), Log{});
}

TEST_F(ServiceMountStatusTest, CompletionIsMadeAndToldApart) {
   auto const member = status->newInitialMountsComplete("leafs", true);
   EXPECT_EQ(statusWatcher->taken(), Log{});
   status->initialMountsCompleteNotify("leafs", member);
   EXPECT_EQ(statusWatcher->taken(), Log{"initialMountsComplete leafs"});
   EXPECT_EQ(status->initialMountsCompleteIterator("leafs")->value(), true);
   status->initialMountsCompleteDelAll();
   EXPECT_EQ(statusWatcher->taken(), Log{"initialMountsComplete leafs"});
}

TEST_F(ServiceMountStatusTest, TheTreeKnowsItsParents) {
   EXPECT_EQ(mount->parent(), group);
   EXPECT_EQ(mount->parentAttrId(), 260);
   EXPECT_EQ(group->parent(), system);
   EXPECT_EQ(group->parentAttrId(), 259);
   EXPECT_EQ(system->parent(), status);
   EXPECT_EQ(system->parentAttrId(), 260);
   EXPECT_EQ(mount->fullName(), "fabric/systemStatus/02:00:00:00:00:01/serviceMountGroupStatus/"
                                "leafs/mountStatus/sys/if");
}

TEST_F(ServiceMountStatusTest, MembersComeAndGoWithOneNotificationEach) {
   EXPECT_EQ(status->systemStatusIs("02:00:00:00:00:01"), system);
   EXPECT_EQ(system->serviceMountGroupStatusIs("leafs"), group);
   EXPECT_EQ(group->mountStatusIs("sys/if"), mount);
   EXPECT_EQ(group->mountStatusDel("sys/if"), mount);
   EXPECT_EQ(system->serviceMountGroupStatusDel("leafs"), group);
   EXPECT_EQ(status->systemStatusDel("02:00:00:00:00:01"), system);
   EXPECT_EQ(groupWatcher->taken(), Log{"mountStatus sys/if"});
   EXPECT_EQ(systemWatcher->taken(), Log{"serviceMountGroupStatus leafs"});
   EXPECT_EQ(statusWatcher->taken(), Log{"systemStatus 02:00:00:00:00:01"});
   EXPECT_EQ(system->parent(), nullptr);
   EXPECT_FALSE(system->serviceMountGroupStatusIterator());
}

} // namespace
} // namespace ModelTest
