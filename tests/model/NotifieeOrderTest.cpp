/// The slots of each type's notifiee: which there are, what they take, and in which order they
/// stand. The order is part of what others build on, and moving a line in a schema would change it.
#include <gantry/common/ConnectionConfig.fen.h>
#include <gantry/common/PeerTable.fen.h>
#include <gantry/model/LocalTables.fen.h>
#include <gantry/model/MountsRegistry.fen.h>
#include <gantry/model/Registration.fen.h>
#include <gantry/model/ServicePublishConfig.fen.h>
#include <gantry/model/ServicePublishStatus.fen.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using namespace Controller;
using namespace ControllerRegistration;
using Fen::Name;
using Fen::String8;

/// Where a virtual operation stands in the table of its class. A pointer to a virtual member begins
/// with one more than its offset in the table, by the C++ ABI of this platform.
template <class Method>
std::size_t slotOf(Method method) {
   std::size_t word = 0;
   std::memcpy(&word, &method, sizeof(word));
   EXPECT_EQ(word % sizeof(void*), 1u);
   return word / sizeof(void*);
}

/// Collects the slots of one notifiee in the order that is wanted.
template <class Type>
class Slots {
   using Notifiee = typename Type::NotifieeConst;
   using Plain = void (Notifiee::*)();

 public:
   Slots() {
      one(&Notifiee::onParent);
      one(&Notifiee::onVersion);
      one(&Notifiee::onIsNondestructing);
   }
   /// Checks that they stand one behind the other.
   ~Slots() {
      for (std::size_t i = 1; i < slots_.size(); ++i) {
         EXPECT_EQ(slots_[i], slots_[i - 1] + 1) << Type::fenFullTypeName << ", operation " << i;
      }
   }
   Slots(Slots const&) = delete;
   Slots& operator=(Slots const&) = delete;

   Slots& one(Plain changed) {
      slots_.push_back(slotOf(changed));
      return *this;
   }
   template <class Key>
   Slots& keyed(void (Notifiee::*changed)(Key)) {
      slots_.push_back(slotOf(changed));
      return *this;
   }
   template <class Key>
   Slots& many(void (Notifiee::*changed)(Key), Plain immediate, Plain all) {
      return keyed<Key>(changed).one(immediate).one(all);
   }

 private:
   std::vector<std::size_t> slots_;
};

TEST(NotifieeOrderTest, ServiceMountConfiguration) {
   Slots<MountConfig>();
   using System = MountFilterSystem::NotifieeConst;
   Slots<MountFilterSystem>().many<String8>(
      &System::onIncludedSystem, &System::onIncludedSystemfenImmediate, &System::onIncludedSystem);
   using Version = MountFilterServiceVersion::NotifieeConst;
   Slots<MountFilterServiceVersion>().many<unsigned int>(
      &Version::onIncludedServiceVersion, &Version::onIncludedServiceVersionfenImmediate,
      &Version::onIncludedServiceVersion);
   using Group = ServiceMountGroupConfig::NotifieeConst;
   Slots<ServiceMountGroupConfig>()
      .one(&Group::onVersionFilter)
      .one(&Group::onSystemFilter)
      .one(&Group::onPreserveMountsOnDisconnect)
      .many<Name>(&Group::onMountConfig, &Group::onMountConfigfenImmediate, &Group::onMountConfig);
   using Service = ServiceMountConfig::NotifieeConst;
   Slots<ServiceMountConfig>()
      .many<Name>(&Service::onMountGroupConfig, &Service::onMountGroupConfigfenImmediate,
                  &Service::onMountGroupConfig)
      .many<Name>(&Service::onVersionFilter, &Service::onVersionFilterfenImmediate,
                  &Service::onVersionFilter)
      .many<Name>(&Service::onSystemFilter, &Service::onSystemFilterfenImmediate,
                  &Service::onSystemFilter);
}

TEST(NotifieeOrderTest, ServiceMountStatus) {
   using Mount = MountStatus::NotifieeConst;
   Slots<MountStatus>().one(&Mount::onMountState).one(&Mount::onMountedPath);
   using Group = ServiceMountGroupStatus::NotifieeConst;
   Slots<ServiceMountGroupStatus>()
      .one(&Group::onMountState)
      .many<Name>(&Group::onMountStatus, &Group::onMountStatusfenImmediate, &Group::onMountStatus);
   using System = SystemStatus::NotifieeConst;
   Slots<SystemStatus>().many<Name>(&System::onServiceMountGroupStatus,
                                    &System::onServiceMountGroupStatusfenImmediate,
                                    &System::onServiceMountGroupStatus);
   Slots<MountedPathPrefix>();
   using Service = ServiceMountStatus::NotifieeConst;
   Slots<ServiceMountStatus>()
      .many<Name>(&Service::onMountedPathPrefix, &Service::onMountedPathPrefixfenImmediate,
                  &Service::onMountedPathPrefix)
      .many<Name>(&Service::onSystemStatus, &Service::onSystemStatusfenImmediate,
                  &Service::onSystemStatus)
      .many<String8>(&Service::onInitialMountsComplete,
                     &Service::onInitialMountsCompletefenImmediate,
                     &Service::onInitialMountsComplete);
}

TEST(NotifieeOrderTest, ServicePublishConfiguration) {
   Slots<PublishConfig>().one(&PublishConfig::NotifieeConst::onReadyToPublish);
   Slots<PublishDir>()
      .one(&PublishDir::NotifieeConst::onRemoteTargetPath)
      .one(&PublishDir::NotifieeConst::onReadyToPublish);
   using Group = ServicePublishGroupConfig::NotifieeConst;
   Slots<ServicePublishGroupConfig>()
      .one(&Group::onVersionFilter)
      .one(&Group::onSystemFilter)
      .many<Name>(&Group::onPublishConfig, &Group::onPublishConfigfenImmediate,
                  &Group::onPublishConfig)
      .many<Name>(&Group::onPublishDir, &Group::onPublishDirfenImmediate, &Group::onPublishDir);
   using Service = ServicePublishConfig::NotifieeConst;
   Slots<ServicePublishConfig>()
      .many<Name>(&Service::onPublishGroupConfig, &Service::onPublishGroupConfigfenImmediate,
                  &Service::onPublishGroupConfig)
      .many<Name>(&Service::onVersionFilter, &Service::onVersionFilterfenImmediate,
                  &Service::onVersionFilter)
      .many<Name>(&Service::onSystemFilter, &Service::onSystemFilterfenImmediate,
                  &Service::onSystemFilter)
      .one(&Service::onReady);
}

TEST(NotifieeOrderTest, ServicePublishStatus) {
   Slots<PublishStatus>().one(&PublishStatus::NotifieeConst::onPublishState);
   using Group = ServicePublishGroupStatus::NotifieeConst;
   Slots<ServicePublishGroupStatus>()
      .one(&Group::onPublishState)
      .many<Name>(&Group::onPublishStatus, &Group::onPublishStatusfenImmediate,
                  &Group::onPublishStatus);
   using Service = ServicePublishStatus::NotifieeConst;
   Slots<ServicePublishStatus>().many<Name>(&Service::onServicePublishGroupStatus,
                                            &Service::onServicePublishGroupStatusfenImmediate,
                                            &Service::onServicePublishGroupStatus);
}

TEST(NotifieeOrderTest, Registration) {
   Slots<ControllerConfig>();
   using Status = ControllerStatus::NotifieeConst;
   Slots<ControllerStatus>()
      .many<SystemId const&>(&Status::onSwitchConfig, &Status::onSwitchConfigfenImmediate,
                             &Status::onSwitchConfig)
      .many<SystemId const&>(&Status::onSwitchStatus, &Status::onSwitchStatusfenImmediate,
                             &Status::onSwitchStatus)
      .many<SystemId const&>(&Status::onRegisteredSwitch, &Status::onRegisteredSwitchfenImmediate,
                             &Status::onRegisteredSwitch);
   using Told = SwitchConfig::NotifieeConst;
   Slots<SwitchConfig>()
      .one(&Told::onSystemId)
      .one(&Told::onConnectionConfig)
      .many<Name>(&Told::onServiceConfig, &Told::onServiceConfigfenImmediate,
                  &Told::onServiceConfig)
      .one(&Told::onRegistrationGenId)
      .one(&Told::onEnabled);
   using Heard = SwitchStatus::NotifieeConst;
   Slots<SwitchStatus>()
      .one(&Heard::onSystemId)
      .one(&Heard::onControllerUUID)
      .one(&Heard::onRegistrationGenId)
      .many<Name>(&Heard::onServiceStatus, &Heard::onServiceStatusfenImmediate,
                  &Heard::onServiceStatus)
      .many<String8>(&Heard::onServicePublishedInfo, &Heard::onServicePublishedInfofenImmediate,
                     &Heard::onServicePublishedInfo)
      .one(&Heard::onClientShutdownAck);
   using Info = ServicePublishedInfo::NotifieeConst;
   Slots<ServicePublishedInfo>()
      .many<String8>(&Info::onPublishedMount, &Info::onPublishedMountfenImmediate,
                     &Info::onPublishedMount)
      .one(&Info::onReady);
}

TEST(NotifieeOrderTest, Registry) {
   using Registry = MountsRegistry::NotifieeConst;
   Slots<MountsRegistry>()
      .many<Name>(&Registry::onMountEntry, &Registry::onMountEntryfenImmediate,
                  &Registry::onMountEntry)
      .many<Name>(&Registry::onPublishEntry, &Registry::onPublishEntryfenImmediate,
                  &Registry::onPublishEntry);
   using Entry = MountsRegistryEntry::NotifieeConst;
   Slots<MountsRegistryEntry>().many<String8>(&Entry::onMounter, &Entry::onMounterfenImmediate,
                                              &Entry::onMounter);
   Slots<Mounter>();
   using Published = PublishRegistryEntry::NotifieeConst;
   Slots<PublishRegistryEntry>()
      .one(&Published::onRemotePath)
      .one(&Published::onVersionFilter)
      .one(&Published::onSystemFilter)
      .one(&Published::onReadyToPublish);
}

TEST(NotifieeOrderTest, LocalTables) {
   // The keyless operation of a collection called `version` is the one that every entity has under
   // that name, so it stands with the base's.
   using Filter = ServiceVersionFilter::NotifieeConst;
   Slots<ServiceVersionFilter>()
      .keyed<unsigned int>(&Filter::onVersion)
      .one(&Filter::onVersionfenImmediate);
   using Table = RegisteredSwitchTable::NotifieeConst;
   Slots<RegisteredSwitchTable>().many<SystemId const&>(
      &Table::onSystem, &Table::onSystemfenImmediate, &Table::onSystem);
   using Set = InitialSwitchSet::NotifieeConst;
   Slots<InitialSwitchSet>()
      .many<SystemId const&>(&Set::onInitialSwitch, &Set::onInitialSwitchfenImmediate,
                             &Set::onInitialSwitch)
      .one(&Set::onComplete);
   Slots<ConnectionPeriod>().one(&ConnectionPeriod::NotifieeConst::onComplete);
}

TEST(NotifieeOrderTest, SharedEntities) {
   using Negotiation = ServiceVersionStatusV1::NotifieeConst;
   Slots<ServiceVersionStatusV1>()
      .one(&Negotiation::onVersionNegotiationComplete)
      .one(&Negotiation::onVersionCompatible)
      .one(&Negotiation::onNegotiatedVersion);
   Slots<ServiceStatusV1>()
      .one(&ServiceStatusV1::NotifieeConst::onEnabled)
      .one(&ServiceStatusV1::NotifieeConst::onVersionStatus);
   using Services = ServiceStatusDir::NotifieeConst;
   Slots<ServiceStatusDir>().many<Name>(&Services::onService, &Services::onServicefenImmediate,
                                        &Services::onService);
   using Peers = PeerTable::NotifieeConst;
   Slots<PeerTable>().many<SystemId const&>(&Peers::onPeer, &Peers::onPeerfenImmediate,
                                            &Peers::onPeer);
}

} // namespace
