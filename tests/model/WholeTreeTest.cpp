/// One directory with every type of the model that travels, over a link in memory: all at once, by
/// changes, by removals, and after a cut, the copy reads as the original does.
#include "TreeText.h"

#include <gantry/common/HeartbeatConfig.fen.h>
#include <gantry/common/PeerTable.fen.h>
#include <gantry/common/PublishedMountsTable.fen.h>
#include <gantry/model/Registration.fen.h>
#include <gantry/model/ServiceMountConfig.fen.h>
#include <gantry/model/ServiceMountStatus.fen.h>
#include <gantry/model/ServicePublishConfig.fen.h>
#include <gantry/model/ServicePublishStatus.fen.h>
#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

namespace ModelTest {
namespace {

using namespace Controller;
using namespace ControllerRegistration;
using Fen::makePtr;
using Fen::Ptr;

SystemId const first("02:00:00:00:00:01");
SystemId const second("02:00:00:00:00:02");

class WholeTreeTest : public testing::Test {
 protected:
   template <class T>
   Ptr<T> put(Ptr<T> const& entity) {
      root->entityPtrIs(entity);
      return entity;
   }
   template <class T>
   Ptr<T> get(char const* name) const {
      return Fen::ptrCast<T>(root->entityPtr(name));
   }

   void start() {
      link.mount(root);
      link.settle();
      copy = link.copy<Fen::Dir>();
      ASSERT_TRUE(copy);
   }
   void expectEqual(char const* when) {
      link.settle();
      EXPECT_EQ(treeText(*copy), treeText(*root)) << when;
   }

   void putMounts() {
      auto const service = put(serviceMountConfigFactory("mounts"));
      auto const group = service->mountGroupConfigIs("leafs");
      service->systemFilterIs("racks")->includedSystemIs(first.stringValue(), true);
      service->systemFilter("racks")->includedSystemIs(second.stringValue(), false);
      service->versionFilterIs("new")->includedServiceVersionIs(3, true);
      group->systemFilterIs(service->systemFilter("racks"));
      group->versionFilterIs(service->versionFilter("new"));
      group->preserveMountsOnDisconnectIs(true);
      group->mountConfigIs("sys/if", "Linux::InterfaceDir", "rt", "/here");
      group->mountConfigIs("sys/ip", "Linux::AddressDir", "w", "");
      auto const status = put(makePtr<ServiceMountStatus>("mountStatus"));
      status->mountedPathPrefixIs("sys/if", "/mounts");
      status->initialMountsCompleteIs("leafs", true);
      status->initialMountsCompleteIs("spines", false);
      auto const groupStatus =
         status->systemStatusIs(first.stringValue())->serviceMountGroupStatusIs("leafs");
      groupStatus->mountStateIs(mountStateMounting);
      groupStatus->mountStatusIs("sys/if")->mountStateIs(mountStateMounted);
      groupStatus->mountStatus("sys/if")->mountedPathIs("/mounts/leaf1");
   }
   void putPublications() {
      auto const service = put(servicePublishConfigFactory("publications"));
      auto const group = service->publishGroupConfigIs("all");
      group->systemFilterIs(service->systemFilterIs("racks"));
      group->versionFilterIs(service->versionFilterIs("new"));
      service->readyIs(true);
      group->publishConfigIs("/sys/vlan", "vlan", "T")->readyToPublishIs(true);
      group->publishDirIs("/sys/per", "D")->remoteTargetPathIs("per");
      group->publishDir("/sys/per")->readyToPublishIs(true);
      auto const status = put(makePtr<ServicePublishStatus>("publishStatus"));
      auto const groupStatus = status->servicePublishGroupStatusIs("all");
      groupStatus->publishStateIs(publishStateComplete);
      groupStatus->publishStatusIs("/sys/vlan")->publishStateIs(publishStateComplete);
   }
   void putRegistration() {
      put(controllerConfigFactory("controllerConfig"));
      auto const config = put(switchConfigFactory("switchConfig"));
      config->systemIdIs(first);
      auto const connection = config->connectionConfigIs("connection");
      connection->ipIs(Nimet::IpAddr("10.0.0.1"));
      connection->portIs(9001);
      connection->socknameIs("mgmt");
      connection->sysnameIs("leaf1");
      connection->srcIpIs(Nimet::IpAddr("10.0.0.2"));
      config->serviceConfigIs("fabric")->serviceConfigIs("fabric")->enabledIs(true);
      config->serviceConfigIs("empty");
      config->registrationGenIdIs(7);
      config->enabledIs(true);
      auto const status = put(switchStatusFactory("switchStatus"));
      status->systemIdIs(first);
      status->controllerUUIDIs("c-1");
      status->registrationGenIdIs(7);
      status->serviceStatusIs("fabric")->serviceStatusIs("fabric")->enabledIs(true);
      status->servicePublishedInfoIs("fabric")->readyIs(true);
      status->servicePublishedInfo("fabric")->publishedMountIs(
         MountDesc("/sys/vlan", "vlan", "T", "rt", "fabric"));
      status->clientShutdownAckIs(true);
      put(servicePublishedInfoFactory("info", "service"))->readyIs(true);
      auto const controller = put(controllerStatusFactory("controllerStatus"));
      controller->switchConfigIs(first, Ptr<SwitchConfig const>(config));
      controller->switchStatusIs(first, Ptr<SwitchStatus const>(status));
      controller->registeredSwitchIs(first, true);
      controller->registeredSwitchIs(second, false);
   }
   void putShared() {
      auto const negotiation = put(serviceVersionStatusV1Factory("negotiation"));
      negotiation->negotiatedVersionIs(NegotiatedVersion(3, "highest of 1-3"));
      negotiation->versionCompatibleIs(true);
      negotiation->versionNegotiationCompleteIs(true);
      auto const services = put(serviceStatusDirFactory("services"));
      services->serviceIs("fabric")->enabledIs(true);
      services->service("fabric")->versionStatusIs(negotiation);
      put(peerTableFactory("peers"))->peerIs(first, true);
      auto const published = put(publishedMountsTableFactory("published"));
      published->systemIs(first)->publishedMountIs(
         MountDesc("/sys/vlan", "vlan", "T", "rt", "fabric"));
      published->servicePublishReadyIs("fabric", true);
      put(systemPublishedMountFactory("alone", second))
         ->publishedMountIs(MountDesc("/sys/x", "x", "X", "w", "other"));
      put(Heartbeat::configFactory("heartbeat"))->intervalIs(2.5);
   }
   void putAll() {
      putMounts();
      putPublications();
      putRegistration();
      putShared();
   }

   Ptr<Fen::Dir> const root = Fen::dirFactory("root");
   NboAttrLogTest::Link link;
   Ptr<Fen::Dir> copy;
};

TEST_F(WholeTreeTest, EverythingThatIsSetArrives) {
   putAll();
   start();
   EXPECT_EQ(treeText(*copy), treeText(*root));
   EXPECT_EQ(copy->entityPtrs().size(), root->entityPtrs().size());
}

TEST_F(WholeTreeTest, WhatIsMadeLaterArrivesAsWell) {
   start();
   putAll();
   expectEqual("after all of it was made");
}

TEST_F(WholeTreeTest, ReferencesLeadToTheCopies) {
   putAll();
   start();
   auto const controller = Fen::ptrCast<ControllerStatus>(copy->entityPtr("controllerStatus"));
   EXPECT_EQ(controller->switchConfig(first), copy->entityPtr("switchConfig"));
   EXPECT_EQ(controller->switchStatus(first), copy->entityPtr("switchStatus"));
   auto const service = Fen::ptrCast<ServiceMountConfig>(copy->entityPtr("mounts"));
   EXPECT_EQ(service->mountGroupConfig("leafs")->systemFilter(), service->systemFilter("racks"));
   auto const services = Fen::ptrCast<ServiceStatusDir>(copy->entityPtr("services"));
   EXPECT_EQ(services->service("fabric")->versionStatus(), copy->entityPtr("negotiation"));
}

TEST_F(WholeTreeTest, ValuesFollow) {
   putAll();
   start();
   auto const service = get<ServiceMountConfig>("mounts");
   auto const group = service->mountGroupConfig("leafs");
   group->preserveMountsOnDisconnectIs(false);
   group->systemFilterIs(nullptr);
   service->systemFilter("racks")->includedSystemIs(second.stringValue(), true);
   auto const groupStatus = get<ServiceMountStatus>("mountStatus")
                               ->systemStatus(first.stringValue())
                               ->serviceMountGroupStatus("leafs");
   groupStatus->mountStateIs(mountStateFailed);
   groupStatus->mountStatus("sys/if")->mountedPathIs("");
   get<ServicePublishConfig>("publications")->readyIs(false);
   get<ServicePublishStatus>("publishStatus")
      ->servicePublishGroupStatus("all")
      ->publishStateIs(publishStateInvalid);
   get<SwitchConfig>("switchConfig")->connectionConfig()->portIs(9002);
   get<SwitchConfig>("switchConfig")->serviceConfig("fabric")->serviceConfig()->enabledIs(false);
   get<SwitchStatus>("switchStatus")
      ->servicePublishedInfo("fabric")
      ->publishedMountIs(MountDesc("/sys/vlan", "vlan", "T", "w", "fabric"));
   get<ControllerStatus>("controllerStatus")->registeredSwitchIs(second, true);
   get<ServiceVersionStatusV1>("negotiation")->negotiatedVersionIs(NegotiatedVersion());
   get<ServiceStatusDir>("services")->service("fabric")->versionStatusIs(nullptr);
   get<Heartbeat::Config>("heartbeat")->intervalIs(0.125);
   expectEqual("after changes");
}

TEST_F(WholeTreeTest, RemovalsFollow) {
   putAll();
   start();
   auto const service = get<ServiceMountConfig>("mounts");
   service->mountGroupConfig("leafs")->mountConfigDel("sys/ip");
   service->systemFilter("racks")->includedSystemDelAll();
   service->versionFilterDel("new");
   auto const status = get<ServiceMountStatus>("mountStatus");
   status->mountedPathPrefixDel("sys/if");
   status->initialMountsCompleteDel("spines");
   status->systemStatusDelAll();
   get<ServicePublishConfig>("publications")->publishGroupConfig("all")->publishDirDelAll();
   get<SwitchConfig>("switchConfig")->connectionConfigDel();
   get<SwitchConfig>("switchConfig")->serviceConfig("fabric")->serviceConfigDel();
   get<SwitchConfig>("switchConfig")->serviceConfigDel("empty");
   get<SwitchStatus>("switchStatus")->servicePublishedInfo("fabric")->publishedMountDelAll();
   get<ControllerStatus>("controllerStatus")->switchConfigIs(first, nullptr);
   get<PublishedMountsTable>("published")->systemDel(first);
   get<PeerTable>("peers")->peerDelAll();
   root->entityPtrDel("alone");
   link.settle();
   // A group keeps a filter that its service has deleted, here and there: its reference has not
   // changed.
   auto const copied = Fen::ptrCast<ServiceMountConfig>(copy->entityPtr("mounts"));
   EXPECT_EQ(copied->versionFilterCount(), 0u);
   EXPECT_NE(service->mountGroupConfig("leafs")->versionFilter(), nullptr);
   EXPECT_NE(copied->mountGroupConfig("leafs")->versionFilter(), nullptr);
   service->mountGroupConfig("leafs")->versionFilterIs(nullptr);
   expectEqual("after removals");
}

TEST_F(WholeTreeTest, WhatIsStillThereAfterACutKeepsItsIdentity) {
   putAll();
   start();
   auto const group =
      Fen::ptrCast<ServiceMountConfig>(copy->entityPtr("mounts"))->mountGroupConfig("leafs");
   link.cut();
   get<ServiceMountConfig>("mounts")->mountGroupConfig("leafs")->mountConfigDel("sys/if");
   get<ServiceMountConfig>("mounts")->mountGroupConfig("leafs")->mountConfigIs("new", "T", "", "");
   get<SwitchConfig>("switchConfig")->registrationGenIdIs(8);
   link.mount(root);
   expectEqual("after the link is back");
   EXPECT_EQ(link.copy<Fen::Dir>(), copy);
   EXPECT_EQ(Fen::ptrCast<ServiceMountConfig>(copy->entityPtr("mounts"))->mountGroupConfig("leafs"),
             group);
}

} // namespace
} // namespace ModelTest
