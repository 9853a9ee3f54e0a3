/// The host's two worlds: their beginning and end, and the operations on declarations.
#include "Twins.h"

#include <gantry/runtime/fen/ActivityLoop.h>

#include <algorithm>

namespace RegistryTest {

using namespace Controller;

namespace {

struct Declared {
   char const* path;
   char const* type;
   char const* flags;
};

// One type and one word of flags for each path: services that differ in those stop the process.
constexpr Declared declared[Twins::pathCount] = {
   {"interfaces", "Linux::InterfaceDir", "r"},
   {"routes", "Linux::RouteDir", "rt"},
   {"sys/host", "Linux::Host", ""},
   {"sys/neighbours/all", "Linux::NeighbourDir", "r"},
};

constexpr char const* systemNames[Twins::systemCount] = {"02:00:00:00:00:01", "02:00:00:00:00:02",
                                                         "0a:bc:de:f0:12:34", "fe:ff:ff:00:00:07"};

Naive::Settings settingsOf(std::uint32_t seed) {
   constexpr double timeouts[] = {0.0, 20.0, 2.75, 0.5};
   return {"state", "registry", seed % 3 == 0 ? "" : "db/local", seed % 2 == 0 ? 0u : 7u,
           timeouts[seed % 4]};
}

} // namespace

// ---- the two worlds ----------------------------------------------------------------------------

Twins::Twins(std::uint32_t seed) : variesTargets_(seed % 5 < 3), model_(settingsOf(seed), 1000.0) {
   Fen::root()->entityPtrIs(rootDir_);
   rootDir_->entityPtrIs(registryDir_);
   Naive::Settings const& settings = model_.settings;
   mountsRegistry_ = Fen::makePtr<MountsRegistry>(
      registryDir_, Fen::String8(settings.registryDirPath), rootDir_,
      Fen::String8(settings.remoteRootPath), settings.reconnectRetries, settings.mountTimeout);
   for (unsigned at = 0; at < serviceCount; ++at) {
      Service service;
      service.name = std::string(1, static_cast<char>('a' + at)) + "Service";
      newConfig(service);
      service_.push_back(service);
      newStatus(service_.back());
   }
   for (char const* const system : systemNames) {
      newSwitchConfig(system);
   }
}

Twins::~Twins() {
   dropMachines();
   Fen::root()->entityPtrDel("state");
}

void Twins::dropMachines() {
   serviceConfigDirSm_ = nullptr;
   mountsRegistrySm_ = nullptr;
   model_.serviceMachinesIs(false);
   model_.registryMachineIs(false);
}

void Twins::newConfig(Service& service) {
   service.config = {serviceMountConfigFactory(Fen::Name(service.name)),
                     std::make_shared<Naive::ServiceConfig>()};
   service.config.model->name = service.name;
   service.group.assign(groupCount, Group());
   service.systemFilter.clear();
   service.versionFilter.clear();
}

void Twins::newStatus(Service& service) {
   service.status = {Fen::makePtr<ServiceMountStatus>(Fen::Name(service.name)),
                     std::make_shared<Naive::ServiceStatus>()};
   service.status.model->name = service.name;
   everyStatus_.push_back(service.status);
}

std::string Twins::pathOf(unsigned number) const { return declared[number % pathCount].path; }
std::string Twins::systemOf(unsigned number) const { return systemNames[number % systemCount]; }

/// What may stand in a system filter: mostly systems, but also one in another notation, which names
/// a system and never equals its text, and one that names none.
std::string Twins::filterKeyOf(unsigned number) const {
   unsigned const at = number % 20;
   return at == 18 ? "0A:BC:DE:F0:12:34" : at == 19 ? "no system" : systemOf(at);
}

Twins::Operation Twins::operationOf(EventKind kind) {
   static constexpr Operation operations[] = {
      &Twins::configPlace,
      &Twins::statusPlace,
      &Twins::groupIs,
      &Twins::groupDel,
      &Twins::mountIs,
      &Twins::mountDel,
      &Twins::mountDelAll,
      &Twins::systemFilterRenew,
      &Twins::versionFilterRenew,
      &Twins::groupSystemFilter,
      &Twins::groupVersionFilter,
      &Twins::groupPreserve,
      &Twins::systemKey,
      &Twins::systemKeyDel,
      &Twins::systemKeyDelAll,
      &Twins::versionKey,
      &Twins::versionKeyDel,
      &Twins::versionKeyDelAll,
      &Twins::switchConfigRenew,
      &Twins::connectionConfig,
      &Twins::connectionPort,
      &Twins::registered,
      &Twins::registeredDel,
      &Twins::client,
      &Twins::clientService,
      &Twins::versionStatus,
      &Twins::negotiate,
      &Twins::negotiationComplete,
      &Twins::compatible,
      &Twins::enabled,
      &Twins::answerMount,
      &Twins::answerUnmount,
      &Twins::answerAll,
      &Twins::turn,
      &Twins::quiet,
      &Twins::advance,
      &Twins::entryDel,
      &Twins::serviceMachines,
      &Twins::registryMachine,
   };
   static_assert(std::size(operations) == static_cast<std::size_t>(EventKind::count));
   return operations[static_cast<std::size_t>(kind)];
}

void Twins::apply(Event const& event) { (this->*operationOf(event.kind))(event.number); }

// ---- services in their directories -------------------------------------------------------------

void Twins::configPlace(Numbers const& n) {
   Service& service = serviceAt(n[0]);
   Fen::Name const name(service.name);
   if (mountConfigDir_->entityPtr(name)) {
      // A service that is there goes now and then; what it declared stays with its machine.
      if (n[1] % 4 == 0) {
         mountConfigDir_->entityPtrDel(name);
         model_.configPlaceDel(service.name);
      } else if (n[1] % 16 == 2) {
         configPlaceRenew(service);
      }
      return;
   }
   if (n[1] % 6 == 0) {
      mountConfigDir_->entityPtrIs(Fen::dirFactory(name));
      model_.configPlaceIs(service.name, {});
      return;
   }
   if (n[1] % 6 == 1) {
      newConfig(service);
   }
   mountConfigDir_->entityPtrIs(service.config.live);
   model_.configPlaceIs(service.name, {service.config.model});
}

void Twins::statusPlace(Numbers const& n) {
   Service& service = serviceAt(n[0]);
   Fen::Name const name(service.name);
   if (mountStatusDir_->entityPtr(name)) {
      if (n[1] % 4 == 0) {
         mountStatusDir_->entityPtrDel(name);
         model_.statusPlaceDel(service.name);
      } else if (n[1] % 16 == 2) {
         statusPlaceRenew(service);
      }
      return;
   }
   if (n[1] % 6 == 0) {
      mountStatusDir_->entityPtrIs(Fen::dirFactory(name));
      model_.statusPlaceIs(service.name, {});
      return;
   }
   if (n[1] % 6 == 1) {
      newStatus(service);
   }
   mountStatusDir_->entityPtrIs(service.status.live);
   model_.statusPlaceIs(service.name, {service.status.model});
}

/// Another configuration in the place of the former one, by way of an entity of another type, which
/// is what ends the former one's machine.
void Twins::configPlaceRenew(Service& service) {
   Fen::Name const name(service.name);
   mountConfigDir_->entityPtrDel(name);
   model_.configPlaceDel(service.name);
   mountConfigDir_->entityPtrIs(Fen::dirFactory(name));
   model_.configPlaceIs(service.name, {});
   mountConfigDir_->entityPtrDel(name);
   model_.configPlaceDel(service.name);
   newConfig(service);
   mountConfigDir_->entityPtrIs(service.config.live);
   model_.configPlaceIs(service.name, {service.config.model});
}

/// The same with the status. The mounters of before report to the former one.
void Twins::statusPlaceRenew(Service& service) {
   Fen::Name const name(service.name);
   mountStatusDir_->entityPtrDel(name);
   model_.statusPlaceDel(service.name);
   mountStatusDir_->entityPtrIs(Fen::dirFactory(name));
   model_.statusPlaceIs(service.name, {});
   mountStatusDir_->entityPtrDel(name);
   model_.statusPlaceDel(service.name);
   newStatus(service);
   mountStatusDir_->entityPtrIs(service.status.live);
   model_.statusPlaceIs(service.name, {service.status.model});
}

// ---- groups and mounts -------------------------------------------------------------------------

Twins::Group* Twins::groupAt(Numbers const& n) {
   Group& group = serviceAt(n[0]).group[n[1] % groupCount];
   return group ? &group : nullptr;
}

void Twins::groupIs(Numbers const& n) {
   Service& service = serviceAt(n[0]);
   std::string const name = "group" + std::to_string(n[1] % groupCount);
   service.group[n[1] % groupCount] = {service.config.live->mountGroupConfigIs(Fen::Name(name)),
                                       model_.groupIs(*service.config.model, name)};
}

void Twins::groupDel(Numbers const& n) {
   Service& service = serviceAt(n[0]);
   std::string const name = "group" + std::to_string(n[1] % groupCount);
   service.config.live->mountGroupConfigDel(Fen::Name(name));
   model_.groupDel(*service.config.model, name);
   service.group[n[1] % groupCount] = Group();
}

void Twins::mountIs(Numbers const& n) {
   Group* const group = groupAt(n);
   if (group == nullptr) {
      return groupIs(n);
   }
   Declared const& mount = declared[n[2] % pathCount];
   // With one target for each path, entries may be deleted under their mounters: a target that has
   // changed behind a service's back would be refused by its status.
   unsigned const choice = variesTargets_ ? n[3] : n[2] % pathCount;
   std::string const target =
      choice % 3 == 0 ? "" : "place" + std::to_string(choice % 3) + "/" + mount.path;
   if (group->live->mountConfig(mount.path)) {
      return;
   }
   group->live->mountConfigIs(mount.path, mount.type, mount.flags, Fen::String8(target));
   model_.mountIs(*group->model, {mount.path, mount.type, mount.flags, target});
}

void Twins::mountDel(Numbers const& n) {
   Group* const group = groupAt(n);
   if (group == nullptr || group->model->mounts.empty()) {
      return mountIs(n);
   }
   auto const at = std::next(group->model->mounts.begin(),
                             static_cast<std::ptrdiff_t>(n[2] % group->model->mounts.size()));
   std::string const path = at->first.text;
   group->live->mountConfigDel(Fen::Name(path));
   model_.mountDel(*group->model, path);
}

void Twins::mountDelAll(Numbers const& n) {
   if (Group* const group = groupAt(n)) {
      group->live->mountConfigDelAll();
      while (!group->model->mounts.empty()) {
         model_.mountDel(*group->model, std::string(group->model->mounts.begin()->first.text));
      }
   }
}

// ---- filters -----------------------------------------------------------------------------------

void Twins::systemFilterRenew(Numbers const& n) {
   Service& service = serviceAt(n[0]);
   service.config.live->systemFilterDel("systems");
   service.systemFilter.push_back(
      {service.config.live->systemFilterIs("systems"), std::make_shared<Naive::SystemFilter>()});
}

void Twins::versionFilterRenew(Numbers const& n) {
   Service& service = serviceAt(n[0]);
   service.config.live->versionFilterDel("versions");
   service.versionFilter.push_back(
      {service.config.live->versionFilterIs("versions"), std::make_shared<Naive::VersionFilter>()});
}

void Twins::groupSystemFilter(Numbers const& n) {
   Group* const group = groupAt(n);
   auto& filters = serviceAt(n[0]).systemFilter;
   if (group == nullptr || filters.empty()) {
      return group == nullptr ? groupIs(n) : systemFilterRenew(n);
   }
   SystemFilter const filter =
      n[2] % 3 == 0 ? SystemFilter()
                    : filters[filters.size() - 1 - n[3] % std::min<std::size_t>(filters.size(), 2)];
   group->live->systemFilterIs(filter.live);
   group->model->systemFilter = filter.model;
}

void Twins::groupVersionFilter(Numbers const& n) {
   Group* const group = groupAt(n);
   auto& filters = serviceAt(n[0]).versionFilter;
   if (group == nullptr || filters.empty()) {
      return group == nullptr ? groupIs(n) : versionFilterRenew(n);
   }
   VersionFilter const filter =
      n[2] % 3 == 0 ? VersionFilter()
                    : filters[filters.size() - 1 - n[3] % std::min<std::size_t>(filters.size(), 2)];
   group->live->versionFilterIs(filter.live);
   group->model->versionFilter = filter.model;
}

void Twins::groupPreserve(Numbers const& n) {
   if (Group* const group = groupAt(n)) {
      group->live->preserveMountsOnDisconnectIs(n[2] % 2 == 0);
      group->model->preserve = n[2] % 2 == 0;
   }
}

void Twins::systemKey(Numbers const& n) {
   auto& filters = serviceAt(n[0]).systemFilter;
   if (filters.empty()) {
      return systemFilterRenew(n);
   }
   SystemFilter const& filter = filters[filters.size() - 1 - (n[1] % 4 == 0 && filters.size() > 1)];
   filter.live->includedSystemIs(Fen::String8(filterKeyOf(n[2])), n[3] % 3 != 0);
   model_.includedSystemIs(*filter.model, filterKeyOf(n[2]), n[3] % 3 != 0);
}

void Twins::systemKeyDel(Numbers const& n) {
   auto& filters = serviceAt(n[0]).systemFilter;
   if (!filters.empty()) {
      SystemFilter const& filter = filters[n[1] % filters.size()];
      filter.live->includedSystemDel(Fen::String8(filterKeyOf(n[2])));
      model_.includedSystemDel(*filter.model, filterKeyOf(n[2]));
   }
}

void Twins::systemKeyDelAll(Numbers const& n) {
   auto& filters = serviceAt(n[0]).systemFilter;
   if (!filters.empty()) {
      SystemFilter const& filter = filters[n[1] % filters.size()];
      filter.live->includedSystemDelAll();
      model_.includedSystemDelAll(*filter.model);
   }
}

void Twins::versionKey(Numbers const& n) {
   auto& filters = serviceAt(n[0]).versionFilter;
   if (filters.empty()) {
      return versionFilterRenew(n);
   }
   VersionFilter const& filter =
      filters[filters.size() - 1 - (n[1] % 4 == 0 && filters.size() > 1)];
   filter.live->includedServiceVersionIs(n[2] % (versionCount + 1), n[3] % 3 != 0);
   model_.includedVersionIs(*filter.model, n[2] % (versionCount + 1), n[3] % 3 != 0);
}

void Twins::versionKeyDel(Numbers const& n) {
   auto& filters = serviceAt(n[0]).versionFilter;
   if (!filters.empty()) {
      VersionFilter const& filter = filters[n[1] % filters.size()];
      filter.live->includedServiceVersionDel(n[2] % (versionCount + 1));
      model_.includedVersionDel(*filter.model, n[2] % (versionCount + 1));
   }
}

void Twins::versionKeyDelAll(Numbers const& n) {
   auto& filters = serviceAt(n[0]).versionFilter;
   if (!filters.empty()) {
      VersionFilter const& filter = filters[n[1] % filters.size()];
      filter.live->includedServiceVersionDelAll();
      model_.includedVersionDelAll(*filter.model);
   }
}

// ---- the machines ------------------------------------------------------------------------------

void Twins::serviceMachines(Numbers const& n) {
   bool const wasLive = static_cast<bool>(serviceConfigDirSm_);
   serviceConfigDirSm_ = nullptr;
   model_.serviceMachinesIs(false);
   // Mostly what is dropped is made anew at once, and finds what the former one has left.
   if (!wasLive || n[0] % 6 != 0) {
      serviceConfigDirSm_ =
         serviceConfigDirSmFactory(mountConfigDir_, mountStatusDir_, publishConfigDir_,
                                   publishStatusDir_, publishedMountsTable_, mountsRegistry_);
      model_.serviceMachinesIs(true);
   }
}

void Twins::registryMachine(Numbers const& n) {
   bool const wasLive = static_cast<bool>(mountsRegistrySm_);
   mountsRegistrySm_ = nullptr;
   model_.registryMachineIs(false);
   if (!wasLive || n[0] % 6 != 0) {
      mountsRegistrySm_ =
         mountsRegistrySmFactory(mountsRegistry_, controllerStatus_, mountStatusDir_,
                                 publishedMountsTable_, registeredSwitchTable_, clientsDir_);
      model_.registryMachineIs(true);
   }
}

/// Only the host deletes entries. Where targets vary, one that still has mounters stays: its
/// mounters' statuses hold the target.
void Twins::entryDel(Numbers const& n) {
   std::string const path = pathOf(n[0]);
   auto const entry = mountsRegistry_->mountEntry(Fen::Name(path));
   if (entry && (!variesTargets_ || entry->mounterCount() == 0)) {
      mountsRegistry_->mountEntryDel(Fen::Name(path));
      model_.entryDel(path);
   }
}

} // namespace RegistryTest
