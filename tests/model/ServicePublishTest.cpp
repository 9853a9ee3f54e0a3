/// What services offer, and what they are told about it.
#include "Watchers.h"

#include <gantry/model/ServicePublishConfig.fen.h>
#include <gantry/model/ServicePublishStatus.fen.h>

#include <gtest/gtest.h>

#include <sstream>

namespace ModelTest {
namespace {

using namespace Controller;
using Fen::makePtr;
using Fen::Name;
using Fen::Ptr;

class ServiceWatcher : public Watcher<ServicePublishConfig> {
 public:
   using Watcher::Watcher;
   void onPublishGroupConfig(Name key) override { note("publishGroupConfig", key); }
   void onVersionFilter(Name key) override { note("versionFilter", key); }
   void onSystemFilter(Name key) override { note("systemFilter", key); }
   void onReady() override { note("ready"); }
};

class GroupWatcher : public Watcher<ServicePublishGroupConfig> {
 public:
   using Watcher::Watcher;
   void onVersionFilter() override { note("versionFilter"); }
   void onSystemFilter() override { note("systemFilter"); }
   void onPublishConfig(Name key) override { note("publishConfig", key); }
   void onPublishDir(Name key) override { note("publishDir", key); }
};

class PathWatcher : public Watcher<PublishConfig> {
 public:
   using Watcher::Watcher;
   void onReadyToPublish() override { note("readyToPublish"); }
};

class DirectoryWatcher : public Watcher<PublishDir> {
 public:
   using Watcher::Watcher;
   void onRemoteTargetPath() override { note("remoteTargetPath"); }
   void onReadyToPublish() override { note("readyToPublish"); }
};

class ServicePublishTest : public testing::Test {
 protected:
   Ptr<ServicePublishConfig> const service = servicePublishConfigFactory("fabric");
   Ptr<ServicePublishGroupConfig> const group = service->publishGroupConfigIs("all");
   Ptr<ServiceWatcher> const serviceWatcher = makePtr<ServiceWatcher>(service);
   Ptr<GroupWatcher> const groupWatcher = makePtr<GroupWatcher>(group);
};

TEST_F(ServicePublishTest, FreshOnesAreNotReady) {
   EXPECT_FALSE(service->ready());
   EXPECT_EQ(group->groupName(), "all");
   EXPECT_EQ(group->versionFilter(), nullptr);
   EXPECT_EQ(group->systemFilter(), nullptr);
   Ptr<PublishConfig> const path = group->publishConfigIs("/sys/vlan", "vlan", "T");
   EXPECT_EQ(path->controllerdbPath(), "/sys/vlan");
   EXPECT_EQ(path->remotePath(), "vlan");
   EXPECT_EQ(path->fencType(), "T");
   EXPECT_FALSE(path->readyToPublish());
   Ptr<PublishDir> const directory = group->publishDirIs("/sys/per", "D");
   EXPECT_EQ(directory->fenType(), "D");
   EXPECT_EQ(directory->remoteTargetPath(), "");
   EXPECT_FALSE(directory->readyToPublish());
   EXPECT_EQ(groupWatcher->taken(), (Log{"publishConfig /sys/vlan", "publishDir /sys/per"}));
}

TEST_F(ServicePublishTest, ADirectoryOfAnotherTypeIsRefused) {
   Ptr<PublishDir> const directory = group->publishDirIs("/sys/per", "D");
   directory->remoteTargetPathIs("per");
   EXPECT_EQ(
      nameInUse([&] { group->publishDirIs("/sys/per", "E"); }),
      "Reinstantiating the entity with name '/sys/per' where constructor parameter attribute "
      "_fenType has a different value of 'E' than the current value of 'D' not allowed");
   // Its path on the peer is mutable, so it is never a conflict.
   EXPECT_EQ(group->publishDirIs("/sys/per", "D"), directory);
   EXPECT_EQ(directory->remoteTargetPath(), "per");
}

TEST_F(ServicePublishTest, TheRemotePathIsComparedFirst) {
   Ptr<PublishConfig> const path = group->publishConfigIs("/sys/vlan", "vlan", "T");
   groupWatcher->taken();
   std::string const begin = "Reinstantiating the entity with name '/sys/vlan' where constructor "
                             "parameter attribute ";
   EXPECT_EQ(nameInUse([&] { group->publishConfigIs("/sys/vlan", "other", "U"); }),
             begin + "_remotePath has a different value of 'other' than the current value of "
                     "'vlan' not allowed");
   EXPECT_EQ(nameInUse([&] { group->publishConfigIs("/sys/vlan", "vlan", "U"); }),
             begin + "_fencType has a different value of 'U' than the current value of 'T' "
                     "not allowed");
   EXPECT_EQ(group->publishConfigIs("/sys/vlan", "vlan", "T"), path);
   EXPECT_EQ(groupWatcher->taken(), Log{});
}

TEST_F(ServicePublishTest, ReadinessOfTheServiceAndOfAPathAreSeparate) {
   Ptr<PublishConfig> const path = group->publishConfigIs("/sys/vlan", "vlan", "T");
   Ptr<PublishDir> const directory = group->publishDirIs("/sys/per", "D");
   service->readyIs(true);
   EXPECT_FALSE(path->readyToPublish());
   EXPECT_FALSE(directory->readyToPublish());
   EXPECT_EQ(serviceWatcher->taken(), Log{"ready"});
   service->readyIs(false);
   path->readyToPublishIs(true);
   EXPECT_FALSE(directory->readyToPublish());
   EXPECT_FALSE(service->ready());
}

TEST_F(ServicePublishTest, EachSetterTellsItsOwnOperationOnce) {
   Ptr<PublishConfig> const path = group->publishConfigIs("/sys/vlan", "vlan", "T");
   Ptr<PublishDir> const directory = group->publishDirIs("/sys/per", "D");
   auto const pathWatcher = makePtr<PathWatcher>(path);
   auto const directoryWatcher = makePtr<DirectoryWatcher>(directory);
   groupWatcher->taken();
   for (int i = 0; i < 2; ++i) {
      path->readyToPublishIs(true);
      directory->remoteTargetPathIs("per");
      directory->readyToPublishIs(true);
      service->readyIs(true);
      group->versionFilterIs(service->versionFilterIs("v"));
      group->systemFilterIs(service->systemFilterIs("s"));
   }
   EXPECT_EQ(pathWatcher->taken(), Log{"readyToPublish"});
   EXPECT_EQ(directoryWatcher->taken(), (Log{"remoteTargetPath", "readyToPublish"}));
   EXPECT_EQ(serviceWatcher->taken(), (Log{"ready", "versionFilter v", "systemFilter s"}));
   EXPECT_EQ(groupWatcher->taken(), (Log{"versionFilter", "systemFilter"}));
}

TEST_F(ServicePublishTest, AReactorThatFailsIsToldWithTheId) {
   Ptr<PublishDir> const directory = group->publishDirIs("/sys/per", "D");
   auto const watcher = makePtr<DirectoryWatcher>(directory);
   watcher->throws = true;
   directory->remoteTargetPathIs("per");
   directory->readyToPublishIs(true);
   EXPECT_EQ(watcher->taken(),
             (Log{"remoteTargetPath", "exception 260", "readyToPublish", "exception 261"}));
   serviceWatcher->throws = true;
   service->readyIs(true);
   EXPECT_EQ(serviceWatcher->taken(), (Log{"ready", "exception 262"}));
}

TEST_F(ServicePublishTest, MembersLeaveOneByOne) {
   group->publishConfigIs("/a", "a", "T");
   group->publishDirIs("/b", "D");
   groupWatcher->taken();
   EXPECT_NE(group->publishConfigDel("/a"), nullptr);
   EXPECT_EQ(group->publishConfigDel("/a"), nullptr);
   group->publishDirDelAll();
   EXPECT_EQ(groupWatcher->taken(), (Log{"publishConfig /a", "publishDir /b"}));
   EXPECT_EQ(service->publishGroupConfigDel("all"), group);
   EXPECT_EQ(serviceWatcher->taken(), Log{"publishGroupConfig all"});
}

class PathStatusWatcher : public Watcher<PublishStatus> {
 public:
   using Watcher::Watcher;
   void onPublishState() override { note("publishState"); }
};

class GroupStatusWatcher : public Watcher<ServicePublishGroupStatus> {
 public:
   using Watcher::Watcher;
   void onPublishState() override { note("publishState"); }
   void onPublishStatus(Name key) override { note("publishStatus", key); }
};

class StatusWatcher : public Watcher<ServicePublishStatus> {
 public:
   using Watcher::Watcher;
   void onServicePublishGroupStatus(Name key) override { note("servicePublishGroupStatus", key); }
};

TEST(ServicePublishStatusTest, NothingIsPublishedAtFirst) {
   auto const status = makePtr<ServicePublishStatus>("fabric");
   auto const statusWatcher = makePtr<StatusWatcher>(status);
   Ptr<ServicePublishGroupStatus> const group = status->servicePublishGroupStatusIs("all");
   auto const groupWatcher = makePtr<GroupStatusWatcher>(group);
   Ptr<PublishStatus> const path = group->publishStatusIs("/sys/vlan");
   auto const pathWatcher = makePtr<PathStatusWatcher>(path);
   EXPECT_EQ(stringValue(group->publishState()), "publishStateInvalid");
   EXPECT_EQ(stringValue(path->publishState()), "publishStateInvalid");
   for (int i = 0; i < 2; ++i) {
      path->publishStateIs(publishStateComplete);
      group->publishStateIs(publishStateComplete);
      group->publishStatusIs("/sys/vlan");
      status->servicePublishGroupStatusIs("all");
   }
   EXPECT_EQ(pathWatcher->taken(), Log{"publishState"});
   EXPECT_EQ(groupWatcher->taken(), (Log{"publishStatus /sys/vlan", "publishState"}));
   EXPECT_EQ(statusWatcher->taken(), Log{"servicePublishGroupStatus all"});
   pathWatcher->throws = true;
   path->publishStateIs(publishStateInvalid);
   EXPECT_EQ(pathWatcher->taken(), (Log{"publishState", "exception 259"}));
}

TEST(PublishStateTest, TextsAndNumbers) {
   EXPECT_EQ(stringValue(publishStateInvalid), "publishStateInvalid");
   EXPECT_EQ(stringValue(publishStateComplete), "publishStateComplete");
   EXPECT_EQ(stringValue(static_cast<PublishState>(2)), "PublishState(2)");
   std::ostringstream stream;
   stream << publishStateComplete << " " << static_cast<PublishState>(7);
   EXPECT_EQ(stream.str(), "publishStateComplete PublishState(7)");
   EXPECT_EQ(PublishStateInstance(1u), publishStateComplete);
   EXPECT_THROW(PublishStateInstance(2u), Fen::RangeException);
   EXPECT_EQ(PublishState(), publishStateInvalid);
   EXPECT_EQ(_fwkType_PublishState()->fullTypeName(), "Controller::PublishState");
}

} // namespace
} // namespace ModelTest
