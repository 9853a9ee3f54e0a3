/// What services declare that they want to mount: find-or-create, filters, groups, and who is told.
#include "Watchers.h"

#include <gantry/model/ServiceMountConfig.fen.h>

#include <gtest/gtest.h>

namespace ModelTest {
namespace {

using namespace Controller;
using Fen::makePtr;
using Fen::Name;
using Fen::Ptr;
using Fen::String8;

class ServiceWatcher : public Watcher<ServiceMountConfig> {
 public:
   using Watcher::Watcher;
   void onMountGroupConfig(Name key) override { note("mountGroupConfig", key); }
   void onVersionFilter(Name key) override { note("versionFilter", key); }
   void onSystemFilter(Name key) override { note("systemFilter", key); }
};

class GroupWatcher : public Watcher<ServiceMountGroupConfig> {
 public:
   using Watcher::Watcher;
   void onVersionFilter() override { note("versionFilter"); }
   void onSystemFilter() override { note("systemFilter"); }
   void onPreserveMountsOnDisconnect() override { note("preserveMountsOnDisconnect"); }
   void onMountConfig(Name key) override { note("mountConfig", key); }
};

class SystemFilterWatcher : public Watcher<MountFilterSystem> {
 public:
   using Watcher::Watcher;
   void onIncludedSystem(String8 key) override { note("includedSystem", key); }
};

class VersionFilterWatcher : public Watcher<MountFilterServiceVersion> {
 public:
   using Watcher::Watcher;
   void onIncludedServiceVersion(unsigned int key) override {
      note("includedServiceVersion " + std::to_string(key));
   }
};

class ServiceMountConfigTest : public testing::Test {
 protected:
   Ptr<ServiceMountConfig> const service = serviceMountConfigFactory("fabric");
   Ptr<ServiceMountGroupConfig> const group = service->mountGroupConfigIs("leafs");
   Ptr<ServiceWatcher> const serviceWatcher = makePtr<ServiceWatcher>(service);
   Ptr<GroupWatcher> const groupWatcher = makePtr<GroupWatcher>(group);
   Ptr<MountFilterSystem> const filter = mountFilterSystemFactory("racks");
   Ptr<SystemFilterWatcher> const filterWatcher = makePtr<SystemFilterWatcher>(filter);
};

TEST_F(ServiceMountConfigTest, AFreshOneIsEmpty) {
   EXPECT_EQ(service->name(), "fabric");
   EXPECT_EQ(service->serviceName(), "fabric");
   auto const fresh = serviceMountConfigFactory("fresh");
   EXPECT_EQ(fresh->mountGroupConfigCount(), 0u);
   EXPECT_EQ(fresh->versionFilterCount(), 0u);
   EXPECT_EQ(fresh->systemFilterCount(), 0u);
   EXPECT_EQ(group->serviceMountGroupName(), "leafs");
   EXPECT_EQ(group->versionFilter(), nullptr);
   EXPECT_EQ(group->systemFilter(), nullptr);
   EXPECT_FALSE(group->preserveMountsOnDisconnect());
   EXPECT_EQ(group->mountConfigCount(), 0u);
   EXPECT_EQ(filter->includedSystemCount(), 0u);
   EXPECT_EQ(mountFilterServiceVersionFactory("v")->includedServiceVersionCount(), 0u);
}

TEST_F(ServiceMountConfigTest, AMountHoldsWhatItWasMadeOf) {
   Ptr<MountConfig> const mount = group->mountConfigIs("sys/if", "T", "rt", "/here");
   EXPECT_EQ(mount->name(), "sys/if");
   EXPECT_EQ(mount->remotePath(), "sys/if");
   EXPECT_EQ(mount->fencType(), "T");
   EXPECT_EQ(mount->mountFlags(), "rt");
   EXPECT_EQ(mount->targetMountPath(), "/here");
   EXPECT_EQ(group->mountConfig("sys/if"), mount);
   EXPECT_EQ(groupWatcher->taken(), Log{"mountConfig sys/if"});
}

TEST_F(ServiceMountConfigTest, EqualParametersGiveTheSameMountAndTellNobody) {
   Ptr<MountConfig> const mount = group->mountConfigIs("sys/if", "T", "rt", "/here");
   groupWatcher->taken();
   EXPECT_EQ(group->mountConfigIs("sys/if", "T", "rt", "/here"), mount);
   EXPECT_EQ(group->mountConfigCount(), 1u);
   EXPECT_EQ(groupWatcher->taken(), Log{});
}

TEST_F(ServiceMountConfigTest, TheFirstParameterThatDiffersIsNamed) {
   Ptr<MountConfig> const mount = group->mountConfigIs("sys/if", "T", "rt", "/here");
   groupWatcher->taken();
   std::string const begin =
      "Reinstantiating the entity with name 'sys/if' where constructor parameter attribute ";
   EXPECT_EQ(nameInUse([&] { group->mountConfigIs("sys/if", "T", "w", "/here"); }),
             begin + "_mountFlags has a different value of 'w' than the current value of 'rt' "
                     "not allowed");
   EXPECT_EQ(nameInUse([&] { group->mountConfigIs("sys/if", "U", "w", "/there"); }),
             begin + "_fencType has a different value of 'U' than the current value of 'T' "
                     "not allowed");
   EXPECT_EQ(nameInUse([&] { group->mountConfigIs("sys/if", "T", "w", "/there"); }),
             begin + "_mountFlags has a different value of 'w' than the current value of 'rt' "
                     "not allowed");
   EXPECT_EQ(nameInUse([&] { group->mountConfigIs("sys/if", "T", "rt", "/there"); }),
             begin + "_targetMountPath has a different value of '/there' than the current value "
                     "of '/here' not allowed");
   EXPECT_EQ(group->mountConfig("sys/if"), mount);
   EXPECT_EQ(mount->mountFlags(), "rt");
   EXPECT_EQ(groupWatcher->taken(), Log{});
}

TEST_F(ServiceMountConfigTest, DeletingWhatIsNotThereGivesNullAndTellsNobody) {
   EXPECT_EQ(group->mountConfigDel("sys/if"), nullptr);
   EXPECT_EQ(filter->includedSystemDel("x"), nullptr);
   EXPECT_EQ(groupWatcher->taken(), Log{});
   EXPECT_EQ(filterWatcher->taken(), Log{});
}

TEST_F(ServiceMountConfigTest, DeletingGivesTheMountWithoutItsParent) {
   Ptr<MountConfig> const mount = group->mountConfigIs("sys/if", "T", "rt", "");
   EXPECT_EQ(mount->parent(), group);
   EXPECT_EQ(mount->parentAttrId(), 262);
   EXPECT_EQ(mount->parentAttr(), "mountConfig");
   groupWatcher->taken();
   EXPECT_EQ(group->mountConfigDel("sys/if"), mount);
   EXPECT_EQ(mount->parent(), nullptr);
   EXPECT_EQ(group->mountConfig("sys/if"), nullptr);
   EXPECT_EQ(groupWatcher->taken(), Log{"mountConfig sys/if"});
}

TEST_F(ServiceMountConfigTest, DeletingAllTellsOfEach) {
   group->mountConfigIs("a", "T", "rt", "");
   group->mountConfigIs("b", "T", "rt", "");
   groupWatcher->taken();
   group->mountConfigDelAll();
   EXPECT_EQ(group->mountConfigCount(), 0u);
   Log const told = groupWatcher->taken();
   EXPECT_EQ(told.size(), 2u);
   group->mountConfigDelAll();
   EXPECT_EQ(groupWatcher->taken(), Log{});
}

TEST_F(ServiceMountConfigTest, AMountThatIsOnlyMadeIsToldWhenNotified) {
   Ptr<MountConfig> const mount = group->newMountConfig("sys/if", "T", "rt", "");
   EXPECT_EQ(mount->parent(), group);
   EXPECT_EQ(groupWatcher->taken(), Log{});
   group->mountConfigNotify("sys/if", mount);
   EXPECT_EQ(groupWatcher->taken(), Log{"mountConfig sys/if"});
   EXPECT_EQ(mount->parent(), group);
}

TEST_F(ServiceMountConfigTest, ADeletingWalkClearsParents) {
   Ptr<MountConfig> const mount = group->mountConfigIs("sys/if", "T", "rt", "");
   groupWatcher->taken();
   group->mountConfigIterator().deleteAll();
   EXPECT_EQ(mount->parent(), nullptr);
   EXPECT_EQ(groupWatcher->taken(), Log{"mountConfig sys/if"});
}

TEST_F(ServiceMountConfigTest, AKeyThatHoldsFalseIsThere) {
   filter->includedSystemIs("x", false);
   EXPECT_EQ(filterWatcher->taken(), Log{"includedSystem x"});
   EXPECT_FALSE(filter->includedSystem("x"));
   EXPECT_FALSE(filter->includedSystem("y"));
   EXPECT_EQ(filter->includedSystemCount(), 1u);
   auto const at = filter->includedSystemIterator();
   ASSERT_TRUE(at);
   EXPECT_EQ(at->key(), "x");
   EXPECT_FALSE(at->value());
}

TEST_F(ServiceMountConfigTest, AKeyLeavesByDeletionAlone) {
   filter->includedSystemIs("x", true);
   filter->includedSystemIs("x", true);
   EXPECT_TRUE(filter->includedSystem("x"));
   filter->includedSystemIs("x", false);
   EXPECT_EQ(filter->includedSystemCount(), 1u);
   EXPECT_NE(filter->includedSystemDel("x"), nullptr);
   EXPECT_EQ(filter->includedSystemCount(), 0u);
   EXPECT_EQ(filterWatcher->taken(),
             (Log{"includedSystem x", "includedSystem x", "includedSystem x"}));
}

TEST_F(ServiceMountConfigTest, AWalkMayBeginAtAKey) {
   for (char const* key : {"a", "b", "c"}) {
      filter->includedSystemIs(key, true);
   }
   auto all = filter->includedSystemIterator();
   ++all;
   auto const second = filter->includedSystemIterator(all->key());
   EXPECT_EQ(second->key(), all->key());
}

TEST_F(ServiceMountConfigTest, VersionsAreNumbers) {
   auto const versions = mountFilterServiceVersionFactory("v");
   auto const watcher = makePtr<VersionFilterWatcher>(versions);
   versions->includedServiceVersionIs(0, false);
   versions->includedServiceVersionIs(4294967295u, true);
   versions->includedServiceVersionIs(4294967295u, true);
   versions->includedServiceVersionDel(0);
   EXPECT_EQ(watcher->taken(), (Log{"includedServiceVersion 0", "includedServiceVersion 4294967295",
                                    "includedServiceVersion 0"}));
   EXPECT_TRUE(versions->includedServiceVersion(4294967295u));
   versions->includedServiceVersionDelAll();
   EXPECT_EQ(watcher->taken(), Log{"includedServiceVersion 4294967295"});
}

TEST_F(ServiceMountConfigTest, TheDefaultIsNoChange) {
   group->preserveMountsOnDisconnectIs(false);
   group->systemFilterIs(nullptr);
   group->versionFilterIs(nullptr);
   EXPECT_EQ(groupWatcher->taken(), Log{});
   group->preserveMountsOnDisconnectIs(true);
   group->preserveMountsOnDisconnectIs(true);
   EXPECT_EQ(groupWatcher->taken(), Log{"preserveMountsOnDisconnect"});
}

TEST_F(ServiceMountConfigTest, AFilterIsComparedByIdentity) {
   Ptr<MountFilterSystem> const first = service->systemFilterIs("racks");
   group->systemFilterIs(first);
   group->systemFilterIs(first);
   EXPECT_EQ(groupWatcher->taken(), Log{"systemFilter"});
   // Another filter is another one, whatever its name.
   group->systemFilterIs(filter);
   EXPECT_EQ(groupWatcher->taken(), Log{"systemFilter"});
   group->versionFilterIs(service->versionFilterIs("v"));
   EXPECT_EQ(groupWatcher->taken(), Log{"versionFilter"});
   EXPECT_EQ(first->parent(), service);
   EXPECT_EQ(first->parentAttrId(), 261);
   EXPECT_EQ(filter->parent(), nullptr);
}

TEST_F(ServiceMountConfigTest, AGroupKeepsAFilterThatIsDeleted) {
   group->systemFilterIs(service->systemFilterIs("racks"));
   service->systemFilter("racks")->includedSystemIs("x", true);
   groupWatcher->taken();
   service->systemFilterDel("racks");
   EXPECT_EQ(service->systemFilter("racks"), nullptr);
   ASSERT_NE(group->systemFilter(), nullptr);
   EXPECT_TRUE(group->systemFilter()->includedSystem("x"));
   EXPECT_EQ(group->systemFilter()->parent(), nullptr);
   EXPECT_EQ(groupWatcher->taken(), Log{});
}

TEST_F(ServiceMountConfigTest, EachCollectionTellsItsOwnOperation) {
   service->mountGroupConfigIs("spines");
   service->versionFilterIs("v");
   service->systemFilterIs("s");
   service->systemFilterIs("s");
   EXPECT_EQ(serviceWatcher->taken(),
             (Log{"mountGroupConfig spines", "versionFilter v", "systemFilter s"}));
   service->mountGroupConfigDel("spines");
   service->versionFilterDelAll();
   EXPECT_EQ(serviceWatcher->taken(), (Log{"mountGroupConfig spines", "versionFilter v"}));
}

TEST_F(ServiceMountConfigTest, AReactorThatFailsIsToldWithTheId) {
   auto const second = makePtr<GroupWatcher>(group);
   groupWatcher->throws = true;
   group->versionFilterIs(service->versionFilterIs("v"));
   group->systemFilterIs(filter);
   group->preserveMountsOnDisconnectIs(true);
   group->mountConfigIs("p", "T", "rt", "");
   EXPECT_EQ(groupWatcher->taken(), (Log{"versionFilter", "exception 259", "systemFilter",
                                         "exception 260", "preserveMountsOnDisconnect",
                                         "exception 261", "mountConfig p", "exception 262"}));
   // The others hear of it all the same.
   EXPECT_EQ(second->taken().size(), 4u);
}

TEST_F(ServiceMountConfigTest, AReactorMayLeaveWhileItIsTold) {
   class Leaver : public Watcher<MountFilterSystem> {
    public:
      using Watcher::Watcher;
      void onIncludedSystem(String8 key) override {
         note("includedSystem", key);
         isRegisteredNotifieeIs(false);
      }
   };
   auto const leaver = makePtr<Leaver>(filter);
   auto const behind = makePtr<SystemFilterWatcher>(filter);
   filter->includedSystemIs("x", true);
   filter->includedSystemIs("y", true);
   EXPECT_EQ(leaver->taken(), Log{"includedSystem x"});
   EXPECT_EQ(behind->taken(), (Log{"includedSystem x", "includedSystem y"}));
}

TEST_F(ServiceMountConfigTest, ANullWhereSomethingMustBeIsRefused) {
   EXPECT_EQ(refusalOf<Fen::RangeException>(
                [&] { Fen::ValidPtr<MountConfig> const must(group->mountConfig("absent")); }),
             "null ValidPtr");
}

} // namespace
} // namespace ModelTest
