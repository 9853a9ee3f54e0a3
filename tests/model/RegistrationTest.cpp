/// What a controller knows of its switches: references, records, the connection, descriptions.
#include "Watchers.h"

#include <gantry/model/Registration.fen.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace ModelTest {
namespace {

using namespace Controller;
using namespace ControllerRegistration;
using Fen::makePtr;
using Fen::Name;
using Fen::Ptr;
using Fen::String8;

class ControllerWatcher : public Watcher<ControllerStatus> {
 public:
   using Watcher::Watcher;
   void onSwitchConfig(SystemId const& key) override { note("switchConfig", key.stringValue()); }
   void onSwitchStatus(SystemId const& key) override { note("switchStatus", key.stringValue()); }
   void onRegisteredSwitch(SystemId const& key) override {
      note("registeredSwitch", key.stringValue());
   }
};

class ConfigWatcher : public Watcher<SwitchConfig> {
 public:
   using Watcher::Watcher;
   void onSystemId() override { note("systemId"); }
   void onConnectionConfig() override { note("connectionConfig"); }
   void onServiceConfig(Name key) override { note("serviceConfig", key); }
   void onRegistrationGenId() override { note("registrationGenId"); }
   void onEnabled() override { note("enabled"); }
};

class StatusWatcher : public Watcher<SwitchStatus> {
 public:
   using Watcher::Watcher;
   void onSystemId() override { note("systemId"); }
   void onControllerUUID() override { note("controllerUUID"); }
   void onRegistrationGenId() override { note("registrationGenId"); }
   void onServiceStatus(Name key) override { note("serviceStatus", key); }
   void onServicePublishedInfo(String8 key) override { note("servicePublishedInfo", key); }
   void onClientShutdownAck() override { note("clientShutdownAck"); }
};

class InfoWatcher : public Watcher<ServicePublishedInfo> {
 public:
   using Watcher::Watcher;
   void onPublishedMount(String8 key) override { note("publishedMount", key); }
   void onReady() override { note("ready"); }
};

SystemId const id("02:00:00:00:00:01");

TEST(ControllerConfigTest, HasNoAttributeOfItsOwn) {
   Ptr<ControllerConfig> const config = controllerConfigFactory("here");
   EXPECT_EQ(config->name(), "here");
   EXPECT_EQ(config->attributeString(258), config->Fen::Entity::attributeString(258));
   EXPECT_EQ(config->attributeString(258), "unknown");
}

class ControllerStatusTest : public testing::Test {
 protected:
   Ptr<ControllerStatus> const controller = controllerStatusFactory("controller");
   Ptr<ControllerWatcher> const watcher = makePtr<ControllerWatcher>(controller);
   Ptr<SwitchConfig const> const config = switchConfigFactory("first");
   Ptr<SwitchConfig const> const other = switchConfigFactory("second");
};

TEST_F(ControllerStatusTest, AConfigurationIsReferredToAndNotOwned) {
   EXPECT_EQ(controller->switchConfig(id), nullptr);
   EXPECT_EQ(controller->fenSwitchConfig(id), nullptr);
   controller->switchConfigIs(id, config);
   EXPECT_EQ(watcher->taken(), Log{"switchConfig 02:00:00:00:00:01"});
   EXPECT_EQ(controller->switchConfig(id), config);
   Ptr<ControllerStatus::FenSwitchConfig> const record = controller->fenSwitchConfig(id);
   ASSERT_NE(record, nullptr);
   EXPECT_EQ(record->key(), id);
   EXPECT_EQ(record->value(), config);
   EXPECT_EQ(config->parent(), nullptr);
}

TEST_F(ControllerStatusTest, TheSamePointerIsNoChangeAndAnotherReplacesIt) {
   controller->switchConfigIs(id, config);
   auto const record = controller->fenSwitchConfig(id);
   watcher->taken();
   controller->switchConfigIs(id, config);
   EXPECT_EQ(watcher->taken(), Log{});
   controller->switchConfigIs(id, other);
   EXPECT_EQ(watcher->taken(), Log{"switchConfig 02:00:00:00:00:01"});
   EXPECT_EQ(controller->switchConfig(id), other);
   // The member itself stays.
   EXPECT_EQ(controller->fenSwitchConfig(id), record);
}

TEST_F(ControllerStatusTest, ANullDeletesTheMember) {
   controller->switchConfigIs(id, nullptr);
   EXPECT_EQ(watcher->taken(), Log{});
   EXPECT_EQ(controller->switchConfigCount(), 0u);
   controller->switchConfigIs(id, config);
   watcher->taken();
   controller->switchConfigIs(id, nullptr);
   EXPECT_EQ(watcher->taken(), Log{"switchConfig 02:00:00:00:00:01"});
   EXPECT_EQ(controller->switchConfigCount(), 0u);
   EXPECT_EQ(controller->switchConfigDel(id), nullptr);
   EXPECT_EQ(watcher->taken(), Log{});
}

TEST_F(ControllerStatusTest, StatusesFollowTheSameRules) {
   Ptr<SwitchStatus const> const status = switchStatusFactory("status");
   for (int i = 0; i < 2; ++i) {
      controller->switchStatusIs(id, status);
   }
   EXPECT_EQ(controller->switchStatus(id), status);
   EXPECT_EQ(controller->fenSwitchStatus(id)->value(), status);
   for (int i = 0; i < 2; ++i) {
      controller->switchStatusIs(id, nullptr);
   }
   EXPECT_EQ(watcher->taken(),
             (Log{"switchStatus 02:00:00:00:00:01", "switchStatus 02:00:00:00:00:01"}));
   controller->newSwitchStatus(id, status);
   EXPECT_EQ(controller->switchStatusDel(id)->value(), status);
   EXPECT_EQ(watcher->taken(), Log{"switchStatus 02:00:00:00:00:01"});
}

TEST_F(ControllerStatusTest, ASwitchThatIsNotRegisteredMayBeAMember) {
   controller->registeredSwitchIs(id, false);
   EXPECT_EQ(watcher->taken(), Log{"registeredSwitch 02:00:00:00:00:01"});
   EXPECT_EQ(controller->registeredSwitchCount(), 1u);
   EXPECT_NE(controller->fenRegisteredSwitch(id), nullptr);
   controller->registeredSwitchIs(id, false);
   EXPECT_EQ(watcher->taken(), Log{});
   controller->registeredSwitchIs(id, true);
   EXPECT_TRUE(controller->registeredSwitch(id));
   controller->registeredSwitchDel(id);
   EXPECT_EQ(watcher->taken(),
             (Log{"registeredSwitch 02:00:00:00:00:01", "registeredSwitch 02:00:00:00:00:01"}));
}

TEST_F(ControllerStatusTest, AReactorThatFailsIsToldWithTheId) {
   watcher->throws = true;
   controller->switchConfigIs(id, config);
   controller->registeredSwitchIs(id, true);
   EXPECT_EQ(watcher->taken(), (Log{"switchConfig 02:00:00:00:00:01", "exception 258",
                                    "registeredSwitch 02:00:00:00:00:01", "exception 260"}));
}

class SwitchConfigTest : public testing::Test {
 protected:
   Ptr<SwitchConfig> const config = switchConfigFactory("leaf1");
   Ptr<ConfigWatcher> const watcher = makePtr<ConfigWatcher>(config);
};

TEST_F(SwitchConfigTest, AFreshOneIsEmptyAndDisabled) {
   EXPECT_EQ(config->systemId(), SystemId());
   EXPECT_EQ(config->connectionConfig(), nullptr);
   EXPECT_EQ(config->serviceConfigCount(), 0u);
   EXPECT_EQ(config->registrationGenId(), 0u);
   EXPECT_FALSE(config->enabled());
}

TEST_F(SwitchConfigTest, EachSetterTellsItsOwnOperationOnce) {
   for (int i = 0; i < 2; ++i) {
      config->systemIdIs(id);
      config->registrationGenIdIs(7);
      config->enabledIs(true);
   }
   EXPECT_EQ(watcher->taken(), (Log{"systemId", "registrationGenId", "enabled"}));
   watcher->throws = true;
   config->systemIdIs(SystemId());
   EXPECT_EQ(watcher->taken(), (Log{"systemId", "exception 258"}));
}

TEST_F(SwitchConfigTest, AConnectionOfThatNameIsReturnedAsItIs) {
   Ptr<ConnectionConfig> const connection = config->connectionConfigIs("first");
   connection->portIs(9001);
   EXPECT_EQ(watcher->taken(), Log{"connectionConfig"});
   EXPECT_EQ(config->connectionConfigIs("first"), connection);
   EXPECT_EQ(connection->port(), 9001);
   EXPECT_EQ(connection->parent(), config);
   EXPECT_EQ(connection->parentAttrId(), 259);
   EXPECT_EQ(watcher->taken(), Log{});
}

TEST_F(SwitchConfigTest, AConnectionOfAnotherNameTakesThePlace) {
   Ptr<ConnectionConfig> const former = config->connectionConfigIs("first");
   watcher->taken();
   Ptr<ConnectionConfig> const connection = config->connectionConfigIs("second");
   EXPECT_NE(connection, former);
   EXPECT_EQ(connection->name(), "second");
   EXPECT_EQ(config->connectionConfig(), connection);
   EXPECT_EQ(former->parent(), nullptr);
   EXPECT_EQ(watcher->taken(), Log{"connectionConfig"});
}

TEST_F(SwitchConfigTest, TheConnectionIsTakenOutOnce) {
   EXPECT_EQ(config->connectionConfigDel(), nullptr);
   EXPECT_EQ(watcher->taken(), Log{});
   Ptr<ConnectionConfig> const connection = config->connectionConfigIs("first");
   watcher->taken();
   EXPECT_EQ(config->connectionConfigDel(), connection);
   EXPECT_EQ(connection->parent(), nullptr);
   EXPECT_EQ(config->connectionConfig(), nullptr);
   EXPECT_EQ(watcher->taken(), Log{"connectionConfig"});
   EXPECT_EQ(config->connectionConfigDel(), nullptr);
   EXPECT_EQ(watcher->taken(), Log{});
}

TEST_F(SwitchConfigTest, ARecordHoldsOneServiceConfiguration) {
   Ptr<SwitchConfig::FenServiceConfig> const record = config->serviceConfigIs("fabric");
   EXPECT_EQ(watcher->taken(), Log{"serviceConfig fabric"});
   EXPECT_EQ(config->serviceConfigIs("fabric"), record);
   EXPECT_EQ(record->serviceConfig(), nullptr);
   Ptr<ServiceConfigV1> const service = record->serviceConfigIs("fabric");
   EXPECT_EQ(record->serviceConfigIs("fabric"), service);
   EXPECT_EQ(service->parent(), config);
   EXPECT_EQ(service->parentAttrId(), 260);
   Ptr<ServiceConfigV1> const second = record->serviceConfigIs("second");
   EXPECT_NE(second, service);
   EXPECT_EQ(service->parent(), nullptr);
   record->serviceConfigDel();
   EXPECT_EQ(record->serviceConfig(), nullptr);
   EXPECT_EQ(second->parent(), nullptr);
   // What a record holds is its own affair: the collection tells of records alone.
   EXPECT_EQ(watcher->taken(), Log{});
   EXPECT_EQ(config->serviceConfigDel("fabric"), record);
   EXPECT_EQ(watcher->taken(), Log{"serviceConfig fabric"});
}

class SwitchStatusTest : public testing::Test {
 protected:
   Ptr<SwitchStatus> const status = switchStatusFactory("leaf1");
   Ptr<StatusWatcher> const watcher = makePtr<StatusWatcher>(status);
};

TEST_F(SwitchStatusTest, AFreshOneIsEmpty) {
   EXPECT_EQ(status->systemId(), SystemId());
   EXPECT_EQ(status->controllerUUID(), "");
   EXPECT_EQ(status->registrationGenId(), 0u);
   EXPECT_EQ(status->serviceStatusCount(), 0u);
   EXPECT_EQ(status->servicePublishedInfoCount(), 0u);
   EXPECT_FALSE(status->clientShutdownAck());
}

TEST_F(SwitchStatusTest, EachSetterTellsItsOwnOperationOnce) {
   for (int i = 0; i < 2; ++i) {
      status->systemIdIs(id);
      status->controllerUUIDIs("c-1");
      status->registrationGenIdIs(7);
      status->clientShutdownAckIs(true);
   }
   EXPECT_EQ(watcher->taken(),
             (Log{"systemId", "controllerUUID", "registrationGenId", "clientShutdownAck"}));
}

TEST_F(SwitchStatusTest, ARecordHoldsOneServiceStatus) {
   Ptr<SwitchStatus::FenServiceStatus> const record = status->serviceStatusIs("fabric");
   Ptr<ServiceStatusV1> const service = record->serviceStatusIs("fabric");
   service->enabledIs(true);
   EXPECT_EQ(record->serviceStatusIs("fabric"), service);
   EXPECT_EQ(service->parent(), status);
   Ptr<ServiceStatusV1> const second = record->serviceStatusIs("second");
   EXPECT_FALSE(second->enabled());
   EXPECT_EQ(service->parent(), nullptr);
   record->serviceStatusDel();
   EXPECT_EQ(record->serviceStatus(), nullptr);
   EXPECT_EQ(watcher->taken(), Log{"serviceStatus fabric"});
}

TEST_F(SwitchStatusTest, PublishedInformationIsNamedByItsService) {
   Ptr<ServicePublishedInfo> const info = status->servicePublishedInfoIs("s");
   EXPECT_EQ(info->name(), "s");
   EXPECT_EQ(info->serviceName(), "s");
   EXPECT_FALSE(info->ready());
   EXPECT_EQ(info->publishedMountCount(), 0u);
   EXPECT_EQ(status->servicePublishedInfoIs("s"), info);
   EXPECT_EQ(status->servicePublishedInfo("s"), info);
   EXPECT_EQ(info->parent(), status);
   EXPECT_EQ(info->parentAttrId(), 262);
   EXPECT_EQ(watcher->taken(), Log{"servicePublishedInfo s"});
   EXPECT_EQ(status->newServicePublishedInfo("t")->serviceName(), "t");
   EXPECT_EQ(watcher->taken(), Log{});
   EXPECT_EQ(status->servicePublishedInfoDel("s"), info);
   EXPECT_EQ(watcher->taken(), Log{"servicePublishedInfo s"});
}

class ServicePublishedInfoTest : public testing::Test {
 protected:
   Ptr<ServicePublishedInfo> const info = servicePublishedInfoFactory("i", "fabric");
   Ptr<InfoWatcher> const watcher = makePtr<InfoWatcher>(info);
};

TEST_F(ServicePublishedInfoTest, ANameMayDifferFromTheService) {
   EXPECT_EQ(info->name(), "i");
   EXPECT_EQ(info->serviceName(), "fabric");
}

TEST_F(ServicePublishedInfoTest, AnEqualDescriptionIsNoChange) {
   MountDesc const description("/sys/vlan", "vlan", "T", "rt", "fabric");
   info->publishedMountIs(description);
   info->publishedMountIs(description);
   EXPECT_EQ(watcher->taken(), Log{"publishedMount /sys/vlan"});
   EXPECT_EQ(info->publishedMount("/sys/vlan"), description);
   EXPECT_EQ(info->fenPublishedMount("/sys/vlan")->value(), description);
}

TEST_F(ServicePublishedInfoTest, TheFirstFieldIsTheKey) {
   info->publishedMountIs(MountDesc("/sys/vlan", "vlan", "T", "rt", "fabric"));
   auto const member = info->fenPublishedMount("/sys/vlan");
   watcher->taken();
   MountDesc const writable("/sys/vlan", "vlan", "T", "w", "fabric");
   info->publishedMountIs(writable);
   EXPECT_EQ(watcher->taken(), Log{"publishedMount /sys/vlan"});
   EXPECT_EQ(info->publishedMountCount(), 1u);
   EXPECT_EQ(info->fenPublishedMount("/sys/vlan"), member);
   EXPECT_EQ(member->value(), writable);
}

TEST_F(ServicePublishedInfoTest, AnAbsentDescriptionIsNull) {
   EXPECT_TRUE(!info->publishedMount("/sys/vlan"));
   EXPECT_EQ(info->publishedMountDel("/sys/vlan"), nullptr);
   EXPECT_EQ(watcher->taken(), Log{});
   info->newPublishedMount(MountDesc("/sys/vlan", "vlan", "T", "rt", "fabric"));
   EXPECT_EQ(watcher->taken(), Log{});
   EXPECT_NE(info->publishedMountDel("/sys/vlan"), nullptr);
   EXPECT_EQ(watcher->taken(), Log{"publishedMount /sys/vlan"});
}

TEST_F(ServicePublishedInfoTest, ReadinessTellsOnce) {
   info->readyIs(true);
   info->readyIs(true);
   EXPECT_EQ(watcher->taken(), Log{"ready"});
}

} // namespace
} // namespace ModelTest
