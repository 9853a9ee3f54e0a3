/// The small tables beside the registry, and the entities that a host and its peers fill.
#include "Watchers.h"

#include <gantry/common/HeartbeatConfig.fen.h>
#include <gantry/common/PeerTable.fen.h>
#include <gantry/common/PublishedMountsTable.fen.h>
#include <gantry/common/ServiceStatus.fen.h>
#include <gantry/model/LocalTables.fen.h>

#include <gtest/gtest.h>

namespace ModelTest {
namespace {

using namespace Controller;
using Fen::makePtr;
using Fen::Name;
using Fen::Ptr;
using Fen::String8;

SystemId const id("02:00:00:00:00:01");

class SwitchTableWatcher : public Watcher<RegisteredSwitchTable> {
 public:
   using Watcher::Watcher;
   void onSystem(SystemId const& key) override { note("system", key.stringValue()); }
};

TEST(LocalTablesTest, RegisteredSwitches) {
   Ptr<RegisteredSwitchTable> const table = registeredSwitchTableFactory();
   auto const watcher = makePtr<SwitchTableWatcher>(table);
   EXPECT_FALSE(table->system(id));
   for (int i = 0; i < 2; ++i) {
      table->systemIs(id, true);
   }
   EXPECT_TRUE(table->system(id));
   EXPECT_NE(table->systemDel(id), nullptr);
   EXPECT_EQ(table->systemDel(id), nullptr);
   EXPECT_EQ(watcher->taken(), (Log{"system 02:00:00:00:00:01", "system 02:00:00:00:00:01"}));
   table->systemIs(id, true);
   table->systemDelAll();
   EXPECT_EQ(table->systemCount(), 0u);
}

class VersionWatcher : public Watcher<ServiceVersionFilter> {
 public:
   using Watcher::Watcher;
   void onVersion(unsigned int key) override { note("version " + std::to_string(key)); }
};

TEST(LocalTablesTest, AVersionCountsByItsPresence) {
   auto const filter = makePtr<ServiceVersionFilter>("fabric");
   auto const watcher = makePtr<VersionWatcher>(filter);
   EXPECT_EQ(filter->serviceName(), "fabric");
   EXPECT_EQ(filter->name(), "fabric");
   filter->versionIs(3, true);
   filter->versionIs(3, true);
   filter->versionIs(4, false);
   EXPECT_EQ(filter->versionCount(), 2u);
   filter->versionDel(3);
   EXPECT_EQ(watcher->taken(), (Log{"version 3", "version 4", "version 3"}));
   filter->versionDelAll();
   EXPECT_EQ(watcher->taken(), Log{"version 4"});
}

class InitialWatcher : public Watcher<InitialSwitchSet> {
 public:
   using Watcher::Watcher;
   void onInitialSwitch(SystemId const& key) override { note("initialSwitch", key.stringValue()); }
   void onComplete() override { note("complete"); }
};

TEST(LocalTablesTest, InitialSwitches) {
   auto const set = makePtr<InitialSwitchSet>();
   auto const watcher = makePtr<InitialWatcher>(set);
   EXPECT_FALSE(set->complete());
   for (int i = 0; i < 2; ++i) {
      set->initialSwitchIs(id, true);
      set->completeIs(true);
   }
   EXPECT_TRUE(set->complete());
   EXPECT_EQ(watcher->taken(), (Log{"initialSwitch 02:00:00:00:00:01", "complete"}));
   watcher->throws = true;
   set->completeIs(false);
   EXPECT_EQ(watcher->taken(), (Log{"complete", "exception 259"}));
   set->initialSwitchDelAll();
   EXPECT_EQ(set->initialSwitchCount(), 0u);
}

class PeriodWatcher : public Watcher<ConnectionPeriod> {
 public:
   using Watcher::Watcher;
   void onComplete() override { note("complete"); }
};

TEST(LocalTablesTest, ThePeriodOfConnections) {
   auto const period = makePtr<ConnectionPeriod>();
   auto const watcher = makePtr<PeriodWatcher>(period);
   EXPECT_FALSE(period->complete());
   period->completeIs(false);
   period->completeIs(true);
   EXPECT_EQ(watcher->taken(), Log{"complete"});
}

class NegotiationWatcher : public Watcher<ServiceVersionStatusV1> {
 public:
   using Watcher::Watcher;
   void onVersionNegotiationComplete() override { note("versionNegotiationComplete"); }
   void onVersionCompatible() override { note("versionCompatible"); }
   void onNegotiatedVersion() override { note("negotiatedVersion"); }
};

TEST(SharedEntitiesTest, Negotiation) {
   Ptr<ServiceVersionStatusV1> const status = serviceVersionStatusV1Factory("fabric");
   auto const watcher = makePtr<NegotiationWatcher>(status);
   EXPECT_FALSE(status->versionNegotiationComplete());
   EXPECT_FALSE(status->versionCompatible());
   EXPECT_EQ(status->negotiatedVersion().version(), 0u);
   EXPECT_TRUE(!status->negotiatedVersion());
   for (int i = 0; i < 2; ++i) {
      status->negotiatedVersionIs(NegotiatedVersion(3u, Fen::String8("highest of 1-3")));
      status->versionCompatibleIs(true);
      status->versionNegotiationCompleteIs(true);
   }
   EXPECT_EQ(status->negotiatedVersion().version(), 3u);
   EXPECT_EQ(watcher->taken(),
             (Log{"negotiatedVersion", "versionCompatible", "versionNegotiationComplete"}));
}

class ServiceWatcher : public Watcher<ServiceStatusV1> {
 public:
   using Watcher::Watcher;
   void onEnabled() override { note("enabled"); }
   void onVersionStatus() override { note("versionStatus"); }
};

class DirectoryWatcher : public Watcher<ServiceStatusDir> {
 public:
   using Watcher::Watcher;
   void onService(Name key) override { note("service", key); }
};

TEST(SharedEntitiesTest, ServicesOfAClient) {
   Ptr<ServiceStatusDir> const directory = serviceStatusDirFactory("02:00:00:00:00:01");
   auto const directoryWatcher = makePtr<DirectoryWatcher>(directory);
   Ptr<ServiceStatusV1> const service = directory->serviceIs("fabric");
   EXPECT_EQ(directory->serviceIs("fabric"), service);
   EXPECT_EQ(directoryWatcher->taken(), Log{"service fabric"});
   EXPECT_EQ(service->name(), "fabric");
   EXPECT_FALSE(service->enabled());
   EXPECT_EQ(service->versionStatus(), nullptr);
   auto const watcher = makePtr<ServiceWatcher>(service);
   Ptr<ServiceVersionStatusV1> const negotiation = serviceVersionStatusV1Factory("fabric");
   for (int i = 0; i < 2; ++i) {
      service->enabledIs(true);
      service->versionStatusIs(negotiation);
   }
   EXPECT_EQ(service->versionStatus(), negotiation);
   EXPECT_EQ(watcher->taken(), (Log{"enabled", "versionStatus"}));
   service->versionStatusIs(serviceVersionStatusV1Factory("fabric"));
   EXPECT_EQ(watcher->taken(), Log{"versionStatus"});
   EXPECT_EQ(directory->serviceDel("fabric"), service);
   EXPECT_EQ(directoryWatcher->taken(), Log{"service fabric"});
}

class PeerWatcher : public Watcher<PeerTable> {
 public:
   using Watcher::Watcher;
   void onPeer(SystemId const& key) override { note("peer", key.stringValue()); }
};

TEST(SharedEntitiesTest, Peers) {
   Ptr<PeerTable> const table = peerTableFactory("peers");
   auto const watcher = makePtr<PeerWatcher>(table);
   for (int i = 0; i < 2; ++i) {
      table->peerIs(id, true);
   }
   table->peerDel(id);
   EXPECT_EQ(watcher->taken(), (Log{"peer 02:00:00:00:00:01", "peer 02:00:00:00:00:01"}));
}

class PublishedWatcher : public Watcher<PublishedMountsTable> {
 public:
   using Watcher::Watcher;
   void onSystem(SystemId const& key) override { note("system", key.stringValue()); }
   void onServicePublishReady(String8 key) override { note("servicePublishReady", key); }
};

class SystemWatcher : public Watcher<SystemPublishedMount> {
 public:
   using Watcher::Watcher;
   void onPublishedMount(String8 key) override { note("publishedMount", key); }
};

TEST(SharedEntitiesTest, PublishedMounts) {
   Ptr<PublishedMountsTable> const table = publishedMountsTableFactory("published");
   auto const watcher = makePtr<PublishedWatcher>(table);
   Ptr<SystemPublishedMount> const system = table->systemIs(id);
   EXPECT_EQ(table->systemIs(id), system);
   EXPECT_EQ(system->name(), id.stringValue());
   EXPECT_EQ(system->systemId(), id);
   auto const systemWatcher = makePtr<SystemWatcher>(system);
   for (int i = 0; i < 2; ++i) {
      system->publishedMountIs(MountDesc("/sys/vlan", "vlan", "T", "rt", "fabric"));
      table->servicePublishReadyIs("fabric", true);
   }
   EXPECT_NE(system->publishedMountDel("/sys/vlan"), nullptr);
   EXPECT_EQ(systemWatcher->taken(), (Log{"publishedMount /sys/vlan", "publishedMount /sys/vlan"}));
   EXPECT_EQ(table->systemDel(id), system);
   EXPECT_EQ(watcher->taken(), (Log{"system 02:00:00:00:00:01", "servicePublishReady fabric",
                                    "system 02:00:00:00:00:01"}));
   // A description may be kept by itself.
   EXPECT_EQ(systemPublishedMountFactory("m", id)->systemId(), id);
}

class HeartbeatWatcher : public Watcher<Heartbeat::Config> {
 public:
   using Watcher::Watcher;
   void onInterval() override { note("interval"); }
};

TEST(SharedEntitiesTest, Heartbeats) {
   Ptr<Heartbeat::Config> const config = Heartbeat::configFactory("heartbeat");
   auto const watcher = makePtr<HeartbeatWatcher>(config);
   EXPECT_DOUBLE_EQ(config->interval(), 0.0);
   config->intervalIs(0.0);
   config->intervalIs(2.5);
   EXPECT_DOUBLE_EQ(config->interval(), 2.5);
   EXPECT_EQ(watcher->taken(), Log{"interval"});
}

TEST(SharedEntitiesTest, ServiceConfigurations) {
   Ptr<ServiceConfigV1> const config = serviceConfigV1Factory("fabric");
   EXPECT_EQ(config->name(), "fabric");
   EXPECT_FALSE(config->enabled());
   config->enabledIs(true);
   EXPECT_TRUE(config->enabled());
}

} // namespace
} // namespace ModelTest
