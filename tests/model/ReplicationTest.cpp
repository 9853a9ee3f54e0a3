// The model's entities over a link in memory: every attribute of every type arrives, follows
// changes, and keeps its identity over a resynchronisation.
#include <gantry/common/SystemId.h>
#include <gantry/model/Registration.fen.h>
#include <gantry/model/ServiceMountConfig.fen.h>
#include <gantry/model/ServiceMountStatus.fen.h>
#include <gantry/model/ServicePublishConfig.fen.h>
#include <gantry/model/ServicePublishStatus.fen.h>
#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Controller;
using namespace ControllerRegistration;
using Fen::Ptr;
using NboAttrLogTest::Link;

SystemId const leaf1(Fen::String8("02:00:00:00:00:01"));
SystemId const leaf2(Fen::String8("02:00:00:00:00:02"));

/// One mounted entity and its copy.
template <class T>
struct Mounted {
   explicit Mounted(Ptr<T> const& mounted) : root(mounted) {
      link.mount(root);
      settle();
   }
   void settle() {
      link.settle();
      copy = link.copy<T>();
   }
   /// Loses the connection and finds it again.
   void again() {
      link.cut();
      link.mount(root);
      settle();
   }
   Link link;
   Ptr<T> root;
   Ptr<T> copy;
};

Ptr<ServiceMountConfig> mountConfig() {
   auto const service = serviceMountConfigFactory("svc");
   auto const group = service->mountGroupConfigIs("g");
   group->mountConfigIs("sys/port", "Linux::InterfaceDir", "rt", "target");
   group->preserveMountsOnDisconnectIs(true);
   service->systemFilterIs("s")->includedSystemIs(leaf1.stringValue(), true);
   service->versionFilterIs("v")->includedServiceVersionIs(7, true);
   return service;
}

TEST(ModelReplication, everyTypeThatASystemTellsAnotherTravels) {
   for (char const* name : {"Controller::MountConfig",
                            "Controller::MountFilterSystem",
                            "Controller::MountFilterServiceVersion",
                            "Controller::ServiceMountGroupConfig",
                            "Controller::ServiceMountConfig",
                            "Controller::MountStatus",
                            "Controller::ServiceMountGroupStatus",
                            "Controller::SystemStatus",
                            "Controller::MountedPathPrefix",
                            "Controller::ServiceMountStatus",
                            "Controller::PublishConfig",
                            "Controller::PublishDir",
                            "Controller::ServicePublishGroupConfig",
                            "Controller::ServicePublishConfig",
                            "Controller::PublishStatus",
                            "Controller::ServicePublishGroupStatus",
                            "Controller::ServicePublishStatus",
                            "ControllerRegistration::ControllerConfig",
                            "ControllerRegistration::ControllerStatus",
                            "ControllerRegistration::SwitchConfig",
                            "ControllerRegistration::SwitchStatus",
                            "ControllerRegistration::ServicePublishedInfo",
                            "Controller::ConnectionConfig",
                            "Controller::ServiceConfigV1",
                            "Controller::ServiceStatusV1"}) {
      Fen::FenType const* const type = Fen::FenType::type(name);
      ASSERT_NE(type, nullptr) << name;
      EXPECT_NE(type->wire(), nullptr) << name;
      for (Fen::AttrDesc const& attribute : type->attributes()) {
         bool const isFixed = attribute.kind == Fen::AttrKind::key ||
                              attribute.kind == Fen::AttrKind::constructorParameter;
         EXPECT_EQ(attribute.wire == nullptr, isFixed) << name << "." << attribute.name;
      }
   }
}

TEST(ModelReplication, aDeclarationWithItsFilters) {
   auto const service = mountConfig();
   // The group comes before the filters that it refers to.
   service->mountGroupConfig("g")->versionFilterIs(service->versionFilter("v"));
   service->mountGroupConfig("g")->systemFilterIs(service->systemFilter("s"));
   Mounted<ServiceMountConfig> mounted(service);
   auto const group = mounted.copy->mountGroupConfig("g");
   ASSERT_TRUE(group);
   EXPECT_TRUE(group->preserveMountsOnDisconnect());
   auto const mount = group->mountConfig("sys/port");
   ASSERT_TRUE(mount);
   EXPECT_EQ(mount->fencType(), "Linux::InterfaceDir");
   EXPECT_EQ(mount->mountFlags(), "rt");
   EXPECT_EQ(mount->targetMountPath(), "target");
   ASSERT_TRUE(group->versionFilter());
   EXPECT_EQ(group->versionFilter(), mounted.copy->versionFilter("v"));
   EXPECT_EQ(group->systemFilter(), mounted.copy->systemFilter("s"));
   EXPECT_TRUE(group->versionFilter()->includedServiceVersion(7));
   EXPECT_TRUE(group->systemFilter()->includedSystem(leaf1.stringValue()));

   service->versionFilter("v")->includedServiceVersionDel(7);
   service->versionFilter("v")->includedServiceVersionIs(8, false);
   service->mountGroupConfig("g")->systemFilterIs(nullptr);
   mounted.settle();
   EXPECT_EQ(group->versionFilter()->includedServiceVersionCount(), 1u);
   EXPECT_FALSE(group->systemFilter());
   EXPECT_TRUE(mounted.copy->systemFilter("s"));
}

TEST(ModelReplication, aFilterThatIsReplacedUnderItsName) {
   auto const service = mountConfig();
   auto const group = service->mountGroupConfig("g");
   group->versionFilterIs(service->versionFilter("v"));
   Mounted<ServiceMountConfig> mounted(service);
   auto const before = mounted.copy->versionFilter("v");
   service->versionFilterDel("v");
   group->versionFilterIs(service->versionFilterIs("v"));
   mounted.settle();
   auto const after = mounted.copy->versionFilter("v");
   EXPECT_NE(after, before);
   EXPECT_EQ(mounted.copy->mountGroupConfig("g")->versionFilter(), after);
   EXPECT_EQ(after->includedServiceVersionCount(), 0u);
   mounted.again();
   EXPECT_EQ(mounted.copy->versionFilter("v"), after);
   EXPECT_EQ(mounted.copy->mountGroupConfig("g")->versionFilter(), after);
}

TEST(ModelReplication, theStatusTreeOfAService) {
   auto const service = Fen::makePtr<ServiceMountStatus>("svc");
   auto const status = service->systemStatusIs(leaf1.stringValue())
                          ->serviceMountGroupStatusIs("g")
                          ->mountStatusIs("sys/port");
   service->mountedPathPrefixIs("sys/port", "prefix");
   service->initialMountsCompleteIs("g", false);
   Mounted<ServiceMountStatus> mounted(service);
   auto const group = mounted.copy->systemStatus(leaf1.stringValue())->serviceMountGroupStatus("g");
   ASSERT_TRUE(group);
   auto const copied = group->mountStatus("sys/port");
   ASSERT_TRUE(copied);
   EXPECT_EQ(copied->mountedPath(), "");
   status->mountStateIs(mountStateMounted);
   status->mountedPathIs("/mounts/sys/port");
   service->systemStatus(leaf1.stringValue())
      ->serviceMountGroupStatus("g")
      ->mountStateIs(mountStateMounted);
   service->initialMountsCompleteIs("g", true);
   mounted.settle();
   EXPECT_EQ(copied->mountState(), mountStateMounted);
   EXPECT_EQ(copied->mountedPath(), "/mounts/sys/port");
   EXPECT_EQ(group->mountState(), mountStateMounted);
   EXPECT_TRUE(mounted.copy->initialMountsComplete("g"));
   EXPECT_EQ(mounted.copy->mountedPathPrefix("sys/port")->pathPrefix(), "prefix");
   // What has become empty is sent, too; members keep their identity over a lost connection.
   status->mountedPathIs("");
   service->systemStatusIs(leaf2.stringValue());
   mounted.again();
   EXPECT_EQ(copied->mountedPath(), "");
   EXPECT_EQ(mounted.copy->systemStatus(leaf1.stringValue())
                ->serviceMountGroupStatus("g")
                ->mountStatus("sys/port"),
             copied);
   EXPECT_EQ(mounted.copy->systemStatusCount(), 2u);
}

TEST(ModelReplication, aPublication) {
   auto const service = servicePublishConfigFactory("svc");
   auto const group = service->publishGroupConfigIs("g");
   group->publishConfigIs("config/all", "all", "Fen::Dir")->readyToPublishIs(true);
   auto const directory = group->publishDirIs("config/each", "Fen::Dir");
   directory->remoteTargetPathIs("each");
   group->systemFilterIs(service->systemFilterIs("s"));
   group->versionFilterIs(service->versionFilterIs("v"));
   service->readyIs(true);
   Mounted<ServicePublishConfig> mounted(service);
   EXPECT_TRUE(mounted.copy->ready());
   auto const copied = mounted.copy->publishGroupConfig("g");
   ASSERT_TRUE(copied);
   EXPECT_EQ(copied->systemFilter(), mounted.copy->systemFilter("s"));
   EXPECT_EQ(copied->versionFilter(), mounted.copy->versionFilter("v"));
   ASSERT_TRUE(copied->publishConfig("config/all"));
   EXPECT_EQ(copied->publishConfig("config/all")->remotePath(), "all");
   EXPECT_EQ(copied->publishConfig("config/all")->fencType(), "Fen::Dir");
   EXPECT_TRUE(copied->publishConfig("config/all")->readyToPublish());
   ASSERT_TRUE(copied->publishDir("config/each"));
   EXPECT_EQ(copied->publishDir("config/each")->fenType(), "Fen::Dir");
   EXPECT_EQ(copied->publishDir("config/each")->remoteTargetPath(), "each");
   EXPECT_FALSE(copied->publishDir("config/each")->readyToPublish());
   // Other constructor parameters under the same path: the copy is rebuilt.
   auto const before = copied->publishConfig("config/all");
   group->publishConfigDel("config/all");
   group->publishConfigIs("config/all", "other", "Fen::Dir");
   mounted.settle();
   EXPECT_NE(copied->publishConfig("config/all"), before);
   EXPECT_EQ(copied->publishConfig("config/all")->remotePath(), "other");
   EXPECT_FALSE(copied->publishConfig("config/all")->readyToPublish());
}

TEST(ModelReplication, whatHasBeenPublished) {
   auto const service = Fen::makePtr<ServicePublishStatus>("svc");
   auto const group = service->servicePublishGroupStatusIs("g");
   auto const path = group->publishStatusIs("config/all");
   Mounted<ServicePublishStatus> mounted(service);
   auto const copied = mounted.copy->servicePublishGroupStatus("g");
   ASSERT_TRUE(copied);
   EXPECT_EQ(copied->publishStatus("config/all")->publishState(), publishStateInvalid);
   path->publishStateIs(publishStateComplete);
   group->publishStateIs(publishStateComplete);
   mounted.settle();
   EXPECT_EQ(copied->publishState(), publishStateComplete);
   EXPECT_EQ(copied->publishStatus("config/all")->publishState(), publishStateComplete);
   // A newer peer's states pass through.
   path->publishStateIs(static_cast<PublishState>(9));
   mounted.settle();
   EXPECT_EQ(static_cast<unsigned>(copied->publishStatus("config/all")->publishState()), 9u);
   EXPECT_EQ(mounted.link.target->unknownEnums(), 1u);
}

TEST(ModelReplication, theConfigurationOfASwitch) {
   auto const config = switchConfigFactory("leaf1");
   config->systemIdIs(leaf1);
   config->registrationGenIdIs(4);
   config->enabledIs(true);
   auto const connection = config->connectionConfigIs("c");
   connection->ipIs(Nimet::IpAddr(Fen::String8("10.0.0.1")));
   connection->portIs(9001);
   connection->sysnameIs("leaf1");
   config->serviceConfigIs("svc")->serviceConfigIs("svc")->enabledIs(true);
   config->serviceConfigIs("none");
   Mounted<SwitchConfig> mounted(config);
   EXPECT_EQ(mounted.copy->systemId(), leaf1);
   EXPECT_EQ(mounted.copy->registrationGenId(), 4u);
   EXPECT_TRUE(mounted.copy->enabled());
   auto const copied = mounted.copy->connectionConfig();
   ASSERT_TRUE(copied);
   EXPECT_EQ(copied->ip(), Nimet::IpAddr(Fen::String8("10.0.0.1")));
   EXPECT_EQ(copied->port(), 9001);
   EXPECT_EQ(copied->sysname(), "leaf1");
   ASSERT_TRUE(mounted.copy->serviceConfig("svc"));
   auto const service = mounted.copy->serviceConfig("svc")->serviceConfig();
   ASSERT_TRUE(service);
   EXPECT_TRUE(service->enabled());
   EXPECT_EQ(service->parent(), mounted.copy);
   ASSERT_TRUE(mounted.copy->serviceConfig("none"));
   EXPECT_FALSE(mounted.copy->serviceConfig("none")->serviceConfig());

   // Both kinds of owned entity keep their identity, and only what differs changes.
   mounted.link.cut();
   connection->portIs(9002);
   config->serviceConfig("svc")->serviceConfig()->enabledIs(false);
   config->serviceConfigDel("none");
   mounted.again();
   EXPECT_EQ(mounted.copy->connectionConfig(), copied);
   EXPECT_EQ(copied->port(), 9002);
   EXPECT_EQ(copied->sysname(), "leaf1");
   EXPECT_EQ(mounted.copy->serviceConfig("svc")->serviceConfig(), service);
   EXPECT_FALSE(service->enabled());
   EXPECT_EQ(mounted.copy->serviceConfigCount(), 1u);

   // A resynchronisation of the living connection repeats what is there and takes the rest away.
   mounted.link.sourceAdapter(*config)->doRemountSelf();
   mounted.link.sourceAdapter(*connection)->doRemountSelf();
   mounted.settle();
   EXPECT_EQ(mounted.copy->connectionConfig(), copied);
   EXPECT_EQ(mounted.copy->serviceConfig("svc")->serviceConfig(), service);

   mounted.link.cut();
   config->connectionConfigDel();
   mounted.again();
   EXPECT_FALSE(mounted.copy->connectionConfig());
}

TEST(ModelReplication, theStatusOfASwitch) {
   auto const status = switchStatusFactory("leaf1");
   status->systemIdIs(leaf1);
   status->controllerUUIDIs("uuid");
   status->registrationGenIdIs(3);
   status->clientShutdownAckIs(true);
   status->serviceStatusIs("svc")->serviceStatusIs("svc")->enabledIs(true);
   auto const info = status->servicePublishedInfoIs("svc");
   info->publishedMountIs(MountDesc("config/all", "all", "Fen::Dir", "rt", "svc"));
   info->publishedMountIs(MountDesc("config/each", "each", "Fen::Dir", "rt", "svc"));
   info->readyIs(true);
   Mounted<SwitchStatus> mounted(status);
   EXPECT_EQ(mounted.copy->systemId(), leaf1);
   EXPECT_EQ(mounted.copy->controllerUUID(), "uuid");
   EXPECT_EQ(mounted.copy->registrationGenId(), 3u);
   EXPECT_TRUE(mounted.copy->clientShutdownAck());
   ASSERT_TRUE(mounted.copy->serviceStatus("svc"));
   EXPECT_TRUE(mounted.copy->serviceStatus("svc")->serviceStatus()->enabled());
   auto const copied = mounted.copy->servicePublishedInfo("svc");
   ASSERT_TRUE(copied);
   EXPECT_EQ(copied->name(), "svc");
   EXPECT_EQ(copied->serviceName(), "svc");
   EXPECT_TRUE(copied->ready());
   EXPECT_EQ(copied->publishedMount("config/all"), info->publishedMount("config/all"));
   EXPECT_EQ(copied->publishedMountCount(), 2u);
   // An equal key with another field is the same member, changed.
   auto const member = copied->fenPublishedMount("config/all");
   info->publishedMountIs(MountDesc("config/all", "all", "Fen::Dir", "", "svc"));
   info->publishedMountDel("config/each");
   mounted.again();
   EXPECT_EQ(copied->fenPublishedMount("config/all"), member);
   EXPECT_EQ(copied->publishedMount("config/all").mountFlags(), "");
   EXPECT_EQ(copied->publishedMountCount(), 1u);
}

TEST(ModelReplication, theControllersViewRefersToWhatStandsBesideIt) {
   // References travel when their targets stand in the same mounted tree, in whatever order.
   auto const directory = Fen::dirFactory("d");
   auto const view = controllerStatusFactory("a-view");
   auto const config = switchConfigFactory("leaf1-config");
   auto const status = switchStatusFactory("leaf1-status");
   view->switchConfigIs(leaf1, config);
   view->switchStatusIs(leaf1, status);
   view->registeredSwitchIs(leaf1, true);
   view->registeredSwitchIs(leaf2, false);
   directory->entityPtrIs(view);
   directory->entityPtrIs(config);
   directory->entityPtrIs(status);
   Mounted<Fen::Dir> mounted(directory);
   auto const copied = Fen::ptrCast<ControllerStatus>(mounted.copy->entityPtr("a-view"));
   ASSERT_TRUE(copied);
   EXPECT_EQ(copied->switchConfig(leaf1), mounted.copy->entityPtr("leaf1-config"));
   EXPECT_EQ(copied->switchStatus(leaf1), mounted.copy->entityPtr("leaf1-status"));
   EXPECT_TRUE(copied->registeredSwitch(leaf1));
   EXPECT_FALSE(copied->registeredSwitch(leaf2));
   EXPECT_EQ(copied->registeredSwitchCount(), 2u);

   auto const member = copied->fenSwitchConfig(leaf1);
   view->switchStatusIs(leaf1, nullptr);
   view->switchStatusIs(leaf2, status);
   view->registeredSwitchDel(leaf2);
   mounted.again();
   EXPECT_EQ(copied->fenSwitchConfig(leaf1), member);
   EXPECT_FALSE(copied->switchStatus(leaf1));
   EXPECT_EQ(copied->switchStatus(leaf2), mounted.copy->entityPtr("leaf1-status"));
   EXPECT_EQ(copied->switchStatusCount(), 1u);
   EXPECT_EQ(copied->registeredSwitchCount(), 1u);
}

} // namespace
