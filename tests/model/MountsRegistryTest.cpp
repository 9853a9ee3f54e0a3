/// The registry: what a repeated declaration compares, in which order, and what it applies.
#include "Watchers.h"

#include <gantry/model/MountsRegistry.fen.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace ModelTest {
namespace {

using namespace Controller;
using Fen::makePtr;
using Fen::Name;
using Fen::Ptr;
using Fen::String8;

class RegistryWatcher : public Watcher<MountsRegistry> {
 public:
   using Watcher::Watcher;
   void onMountEntry(Name key) override { note("mountEntry", key); }
   void onPublishEntry(Name key) override { note("publishEntry", key); }
};

class EntryWatcher : public Watcher<MountsRegistryEntry> {
 public:
   using Watcher::Watcher;
   void onMounter(String8 key) override { note("mounter", key); }
};

class PublishWatcher : public Watcher<PublishRegistryEntry> {
 public:
   using Watcher::Watcher;
   void onRemotePath() override { note("remotePath"); }
   void onVersionFilter() override { note("versionFilter"); }
   void onSystemFilter() override { note("systemFilter"); }
   void onReadyToPublish() override { note("readyToPublish"); }
};

class MountsRegistryTest : public testing::Test {
 protected:
   Ptr<PublishRegistryEntry> published() {
      return registry->publishEntryIs("/sys/vlan", "vlan", "T", false, "fabric", versions, systems);
   }
   std::string begin(std::string const& key) const {
      return "Reinstantiating the entity with name '" + key +
             "' where constructor parameter attribute ";
   }

   Ptr<Fen::Dir> const directory = Fen::dirFactory("registry");
   Ptr<Fen::Dir> const root = Fen::dirFactory("root");
   Ptr<MountsRegistry> const registry =
      makePtr<MountsRegistry>(directory, "/registry", root, "sys", 7u, 2.5);
   Ptr<RegistryWatcher> const watcher = makePtr<RegistryWatcher>(registry);
   Ptr<MountFilterServiceVersion const> const versions = mountFilterServiceVersionFactory("v");
   Ptr<MountFilterSystem const> const systems = mountFilterSystemFactory("s");
};

TEST_F(MountsRegistryTest, HoldsWhatTheHostPasses) {
   EXPECT_EQ(registry->sysname(), "");
   EXPECT_EQ(registry->registryDir(), directory);
   EXPECT_EQ(registry->registryDirPath(), "/registry");
   EXPECT_EQ(registry->rootDir(), root);
   EXPECT_EQ(registry->remoteRootPath(), "sys");
   EXPECT_EQ(registry->reconnectRetries(), 7u);
   EXPECT_DOUBLE_EQ(registry->mountTimeout(), 2.5);
   EXPECT_EQ(registry->mountEntryCount(), 0u);
   EXPECT_EQ(registry->publishEntryCount(), 0u);
}

template <class T>
concept HasSysnameMutator = requires(T& object) {
   object.sysnameIs(String8());
};
static_assert(!HasSysnameMutator<MountsRegistry>, "nobody names the registry");
static_assert(!std::is_default_constructible_v<MountsRegistry>, "the host passes every argument");

TEST_F(MountsRegistryTest, AnEntryIsKeyedByItsRemotePath) {
   Ptr<MountsRegistryEntry> const entry = registry->mountEntryIs("sys/if", "/t", "T", "rt");
   EXPECT_EQ(watcher->taken(), Log{"mountEntry sys/if"});
   EXPECT_EQ(entry->name(), "sys/if");
   EXPECT_EQ(entry->remotePath(), "sys/if");
   EXPECT_EQ(entry->targetPath(), "/t");
   EXPECT_EQ(entry->fenType(), "T");
   EXPECT_EQ(entry->mountFlags(), "rt");
   EXPECT_EQ(entry->registry(), registry.ptr());
   EXPECT_EQ(entry->parent(), registry);
   EXPECT_EQ(entry->parentAttrId(), 265);
   EXPECT_EQ(registry->mountEntry("sys/if"), entry);
}

TEST_F(MountsRegistryTest, AnUnchangedEntryIsReturnedAndNobodyIsTold) {
   Ptr<MountsRegistryEntry> const entry = registry->mountEntryIs("sys/if", "/t", "T", "rt");
   watcher->taken();
   EXPECT_EQ(registry->mountEntryIs("sys/if", "/t", "T", "rt"), entry);
   EXPECT_EQ(watcher->taken(), Log{});
}

TEST_F(MountsRegistryTest, AnEntryComparesTargetThenTypeThenFlags) {
   Ptr<MountsRegistryEntry> const entry = registry->mountEntryIs("sys/if", "/t", "T", "rt");
   watcher->taken();
   EXPECT_EQ(nameInUse([&] { registry->mountEntryIs("sys/if", "/u", "U", "w"); }),
             begin("sys/if") + "_targetPath has a different value of '/u' than the current value "
                               "of '/t' not allowed");
   EXPECT_EQ(nameInUse([&] { registry->mountEntryIs("sys/if", "/t", "U", "w"); }),
             begin("sys/if") + "_fenType has a different value of 'U' than the current value of "
                               "'T' not allowed");
   EXPECT_EQ(nameInUse([&] { registry->mountEntryIs("sys/if", "/t", "T", "w"); }),
             begin("sys/if") + "_mountFlags has a different value of 'w' than the current value "
                               "of 'rt' not allowed");
   EXPECT_EQ(registry->mountEntryCount(), 1u);
   EXPECT_EQ(registry->mountEntry("sys/if"), entry);
   EXPECT_EQ(watcher->taken(), Log{});
}

TEST_F(MountsRegistryTest, EntriesLeaveWithOneNotificationEach) {
   Ptr<MountsRegistryEntry> const entry = registry->mountEntryIs("sys/if", "/t", "T", "rt");
   published();
   watcher->taken();
   EXPECT_EQ(registry->mountEntryDel("sys/if"), entry);
   EXPECT_EQ(registry->mountEntryDel("sys/if"), nullptr);
   EXPECT_EQ(entry->parent(), nullptr);
   registry->publishEntryDelAll();
   EXPECT_EQ(watcher->taken(), (Log{"mountEntry sys/if", "publishEntry /sys/vlan"}));
   Ptr<MountsRegistryEntry> const made = registry->newMountEntry("sys/ip", "/t", "T", "rt");
   EXPECT_EQ(made->registry(), registry.ptr());
   EXPECT_EQ(watcher->taken(), Log{});
   registry->mountEntryNotify("sys/ip", made);
   EXPECT_EQ(watcher->taken(), Log{"mountEntry sys/ip"});
   registry->mountEntryDelAll();
   EXPECT_EQ(watcher->taken(), Log{"mountEntry sys/ip"});
}

TEST_F(MountsRegistryTest, AReactorThatFailsIsToldWithTheId) {
   watcher->throws = true;
   registry->mountEntryIs("sys/if", "/t", "T", "rt");
   published();
   EXPECT_EQ(watcher->taken(), (Log{"mountEntry sys/if", "exception 265", "publishEntry /sys/vlan",
                                    "exception 266"}));
}

TEST_F(MountsRegistryTest, ABackPointerIsOnlyStored) {
   Ptr<MountsRegistryEntry> const entry = registry->mountEntryIs("sys/if", "/t", "T", "rt");
   auto const entryWatcher = makePtr<EntryWatcher>(entry);
   entry->registryIs(nullptr);
   EXPECT_EQ(entry->registry(), nullptr);
   // Nor is it compared: it says nothing about what is wanted.
   EXPECT_EQ(registry->mountEntryIs("sys/if", "/t", "T", "rt"), entry);
   EXPECT_EQ(entryWatcher->taken(), Log{});
}

TEST(MountsRegistryLifeTest, ARegistryThatGoesLeavesNoPointerToItself) {
   auto registry = makePtr<MountsRegistry>(nullptr, "", nullptr, "", 0u, 0.0);
   auto const entry = registry->mountEntryIs("sys/if", "/t", "T", "rt");
   auto const published =
      registry->publishEntryIs("/sys/vlan", "vlan", "T", false, "fabric", nullptr, nullptr);
   registry = nullptr;
   EXPECT_EQ(entry->registry(), nullptr);
   EXPECT_EQ(published->registry(), nullptr);
   EXPECT_EQ(entry->parent(), nullptr);
}

TEST_F(MountsRegistryTest, APublishedEntryHoldsWhatItWasMadeOf) {
   Ptr<PublishRegistryEntry> const entry = published();
   EXPECT_EQ(watcher->taken(), Log{"publishEntry /sys/vlan"});
   EXPECT_EQ(entry->controllerdbPath(), "/sys/vlan");
   EXPECT_EQ(entry->remotePath(), "vlan");
   EXPECT_EQ(entry->fenType(), "T");
   EXPECT_FALSE(entry->isPrefixPath());
   EXPECT_EQ(entry->serviceName(), "fabric");
   EXPECT_EQ(entry->versionFilter(), versions);
   EXPECT_EQ(entry->systemFilter(), systems);
   EXPECT_FALSE(entry->readyToPublish());
   EXPECT_EQ(entry->registry(), registry.ptr());
   EXPECT_EQ(published(), entry);
   EXPECT_EQ(watcher->taken(), Log{});
}

TEST_F(MountsRegistryTest, ANewRemotePathChangesTheLiveEntry) {
   Ptr<PublishRegistryEntry> const entry = published();
   auto const entryWatcher = makePtr<PublishWatcher>(entry);
   watcher->taken();
   EXPECT_EQ(
      registry->publishEntryIs("/sys/vlan", "vlans", "T", false, "fabric", versions, systems),
      entry);
   EXPECT_EQ(entry->remotePath(), "vlans");
   EXPECT_EQ(entryWatcher->taken(), Log{"remotePath"});
   EXPECT_EQ(watcher->taken(), Log{});
}

TEST_F(MountsRegistryTest, ANewRemotePathIsStoredBeforeARefusal) {
   Ptr<PublishRegistryEntry> const entry = published();
   auto const entryWatcher = makePtr<PublishWatcher>(entry);
   EXPECT_EQ(nameInUse([&] {
                registry->publishEntryIs("/sys/vlan", "vlans", "U", true, "other", nullptr,
                                         nullptr);
             }),
             begin("/sys/vlan") + "_fenType has a different value of 'U' than the current value "
                                  "of 'T' not allowed");
   EXPECT_EQ(entry->remotePath(), "vlans");
   // The filters are stored behind the comparisons, so a refusal leaves them.
   EXPECT_EQ(entry->versionFilter(), versions);
   EXPECT_EQ(entry->systemFilter(), systems);
   EXPECT_EQ(entryWatcher->taken(), Log{"remotePath"});
}

TEST_F(MountsRegistryTest, APublishedEntryComparesTypeThenPrefixThenService) {
   Ptr<PublishRegistryEntry> const entry = published();
   EXPECT_EQ(nameInUse([&] {
                registry->publishEntryIs("/sys/vlan", "vlan", "T", true, "other", versions,
                                         systems);
             }),
             begin("/sys/vlan") + "_isPrefixPath has a different value of True than the current "
                                  "value of False not allowed");
   EXPECT_EQ(nameInUse([&] {
                registry->publishEntryIs("/sys/vlan", "vlan", "T", false, "other", versions,
                                         systems);
             }),
             begin("/sys/vlan") + "_serviceName has a different value of 'other' than the current "
                                  "value of 'fabric' not allowed");
   EXPECT_EQ(registry->publishEntry("/sys/vlan"), entry);
}

TEST_F(MountsRegistryTest, FiltersOfALiveEntryAreReplaced) {
   Ptr<PublishRegistryEntry> const entry = published();
   auto const entryWatcher = makePtr<PublishWatcher>(entry);
   registry->publishEntryIs("/sys/vlan", "vlan", "T", false, "fabric", nullptr, nullptr);
   EXPECT_EQ(entry->versionFilter(), nullptr);
   EXPECT_EQ(entry->systemFilter(), nullptr);
   EXPECT_EQ(entryWatcher->taken(), (Log{"versionFilter", "systemFilter"}));
   for (int i = 0; i < 2; ++i) {
      entry->readyToPublishIs(true);
   }
   EXPECT_EQ(entryWatcher->taken(), Log{"readyToPublish"});
}

class MounterTest : public MountsRegistryTest {
 protected:
   MounterTest() { group->mountConfigIs("sys/if", "T", "rt", ""); }
   Ptr<Mounter> mounterIs(Fen::Name const& groupName) {
      return entry->mounterIs(MounterName("fabric", groupName), group->mountConfig("sys/if"), group,
                              status);
   }

   Ptr<MountsRegistryEntry> const entry = registry->mountEntryIs("sys/if", "/t", "T", "rt");
   Ptr<EntryWatcher> const entryWatcher = makePtr<EntryWatcher>(entry);
   Ptr<ServiceMountConfig> const service = serviceMountConfigFactory("fabric");
   Ptr<ServiceMountGroupConfig> const group = service->mountGroupConfigIs("leafs");
   Ptr<ServiceMountStatus> const status = makePtr<ServiceMountStatus>("fabric");
};

TEST_F(MounterTest, IsKeyedByItsServiceAlone) {
   Ptr<Mounter> const mounter = mounterIs("leafs");
   EXPECT_EQ(entryWatcher->taken(), Log{"mounter fabric"});
   EXPECT_EQ(mounter->name(), "fabric");
   EXPECT_EQ(mounter->mounterName(), MounterName("fabric", "leafs"));
   EXPECT_EQ(mounter->serviceName(), "fabric");
   EXPECT_EQ(mounter->groupName(), "leafs");
   EXPECT_EQ(mounter->mountConfig(), group->mountConfig("sys/if"));
   EXPECT_EQ(mounter->mountGroupConfig(), group);
   EXPECT_EQ(mounter->serviceMountStatus(), status);
   EXPECT_EQ(entry->mounter("fabric"), mounter);
   EXPECT_EQ(mounter->parent(), entry);
   EXPECT_EQ(mounter->parentAttrId(), 262);
   EXPECT_EQ(mounterIs("leafs"), mounter);
   EXPECT_EQ(entryWatcher->taken(), Log{});
}

TEST_F(MounterTest, ASecondGroupOfOneServiceIsRefused) {
   Ptr<Mounter> const mounter = mounterIs("leafs");
   entryWatcher->taken();
   std::string const refusal = nameInUse([&] { mounterIs("spines"); });
   EXPECT_EQ(refusal.find(begin("fabric") + "_mounterName has a different value of "), 0u)
      << refusal;
   EXPECT_NE(refusal.find("spines"), std::string::npos);
   EXPECT_EQ(entry->mounter("fabric"), mounter);
   EXPECT_EQ(mounter->groupName(), "leafs");
   EXPECT_EQ(entry->mounterCount(), 1u);
   EXPECT_EQ(entryWatcher->taken(), Log{});
}

TEST_F(MounterTest, PointersAreComparedByIdentityOneAfterTheOther) {
   mounterIs("leafs");
   MounterName const name("fabric", "leafs");
   Ptr<MountConfig const> const mount = group->mountConfig("sys/if");
   // It has the same content, and is another object.
   Ptr<MountConfig const> const otherMount = makePtr<MountConfig>("sys/if", "T", "rt", "");
   Ptr<ServiceMountGroupConfig const> const otherGroup = makePtr<ServiceMountGroupConfig>("leafs");
   Ptr<ServiceMountStatus> const otherStatus = makePtr<ServiceMountStatus>("fabric");
   auto const refusal = [&](auto const&... arguments) {
      return nameInUse([&] { entry->mounterIs(arguments...); }).substr(begin("fabric").size(), 20);
   };
   EXPECT_EQ(refusal(name, otherMount, otherGroup, otherStatus), "_mountConfig has a d");
   EXPECT_EQ(refusal(name, mount, otherGroup, otherStatus), "_mountGroupConfig ha");
   EXPECT_EQ(refusal(name, mount, Ptr<ServiceMountGroupConfig const>(group), otherStatus),
             "_serviceMountStatus ");
   EXPECT_EQ(refusal(MounterName("fabric", "x"), otherMount, otherGroup, otherStatus),
             "_mounterName has a d");
}

TEST_F(MounterTest, FiltersAreReadThroughTheGroup) {
   Ptr<Mounter> const mounter = mounterIs("leafs");
   Ptr<MountFilterSystem const> const none = mounter->systemFilter();
   EXPECT_EQ(none, nullptr);
   EXPECT_EQ(mounter->versionFilter(), nullptr);
   EXPECT_FALSE(mounter->preserveMountsOnDisconnect());
   group->systemFilterIs(service->systemFilterIs("s"));
   group->versionFilterIs(service->versionFilterIs("v"));
   group->preserveMountsOnDisconnectIs(true);
   EXPECT_EQ(mounter->systemFilter(), group->systemFilter());
   EXPECT_EQ(mounter->versionFilter(), group->versionFilter());
   EXPECT_TRUE(mounter->preserveMountsOnDisconnect());
   static_assert(
      std::is_same_v<decltype(mounter->systemFilter()), Ptr<MountFilterSystem const>> &&
         std::is_same_v<decltype(mounter->versionFilter()), Ptr<MountFilterServiceVersion const>>,
      "a mounter only reads its group");
   auto const homeless = makePtr<Mounter>(MounterName("s", "g"), nullptr, nullptr, nullptr);
   EXPECT_EQ(homeless->systemFilter(), nullptr);
   EXPECT_FALSE(homeless->preserveMountsOnDisconnect());
}

TEST_F(MounterTest, LeavesByServiceName) {
   Ptr<Mounter> const mounter = mounterIs("leafs");
   entryWatcher->taken();
   EXPECT_EQ(entry->mounterDel("fabric"), mounter);
   EXPECT_EQ(entry->mounterDel("fabric"), nullptr);
   EXPECT_EQ(entryWatcher->taken(), Log{"mounter fabric"});
   entryWatcher->throws = true;
   mounterIs("spines");
   EXPECT_EQ(entryWatcher->taken(), (Log{"mounter fabric", "exception 262"}));
   entry->mounterDelAll();
   EXPECT_EQ(entry->mounterCount(), 0u);
}

TEST(MounterNameTest, SwappedFieldsHashAlikeAndAreTwoNames) {
   MounterName const ab("a", "b");
   MounterName const ba("b", "a");
   EXPECT_EQ(ab.hash(), ba.hash());
   EXPECT_EQ(ab.hash(), String8("a").hash() ^ String8("b").hash());
   EXPECT_FALSE(ab == ba);
   EXPECT_TRUE(ab != ba);
   EXPECT_TRUE(ab < ba);
   EXPECT_TRUE(ab <= ba);
   EXPECT_FALSE(ab > ba);
   EXPECT_FALSE(ab >= ba);
}

TEST(MounterNameTest, OrderIsByServiceThenGroup) {
   MounterName const first("a", "z");
   MounterName const second("b", "a");
   EXPECT_TRUE(first < second);
   EXPECT_TRUE(MounterName("a", "a") < first);
   EXPECT_TRUE(first <= first);
   EXPECT_TRUE(first >= first);
   EXPECT_FALSE(first < first);
}

TEST(MounterNameTest, AFreshOneIsNull) {
   EXPECT_TRUE(!MounterName());
   EXPECT_TRUE(!MounterName("", ""));
   EXPECT_FALSE(!MounterName("a", ""));
   EXPECT_FALSE(!MounterName("", "a"));
   MounterName const copy(MounterName("a", "b"));
   EXPECT_EQ(copy.serviceName(), "a");
   EXPECT_EQ(copy.groupName(), "b");
}

} // namespace
} // namespace ModelTest
