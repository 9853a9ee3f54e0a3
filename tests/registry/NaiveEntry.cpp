/// The model's entries: filters summed over mounters, decisions, connections and statuses.
#include "NaiveModel.h"

#include <cmath>

namespace Naive {

using namespace Controller;

// ---- one mounter's filters ---------------------------------------------------------------------

void MounterConfig::begin() {
   systemFilter = mounter->group->systemFilter;
   if (systemFilter) {
      systemFilter->followers.push_back(this);
      for (auto const& [system, included] : systemFilter->included) {
         includedSystem(system);
      }
   }
   versionFilter = mounter->group->versionFilter;
   if (versionFilter) {
      versionFilter->followers.push_back(this);
      // Twice, which is harmless, since versions are not counted.
      for (int pass = 0; pass < 2; ++pass) {
         for (auto const& [version, included] : versionFilter->included) {
            includedVersion(version);
         }
      }
   }
}

void MounterConfig::end() {
   if (systemFilter) {
      std::erase(systemFilter->followers, this);
   }
   if (versionFilter) {
      std::erase(versionFilter->followers, this);
   }
}

void MounterConfig::includedSystem(Name const& system) {
   // The group's filter of today is read, though the one of the beginning is followed.
   auto const& filter = mounter->group->systemFilter;
   if (filter && filter->included.contains(system) && filter->included.at(system)) {
      addSystem(system);
   } else {
      removeSystem(system);
   }
}

void MounterConfig::includedVersion(Version const& version) {
   // Here the followed filter itself is read.
   auto const at = versionFilter->included.find(version);
   if (at != versionFilter->included.end() && at->second) {
      addVersion(version);
   } else {
      removeVersion(version);
   }
}

void MounterConfig::addSystem(Name const& system) {
   if (entry->connectionFilter[system]++ == 0) {
      entry->evaluate(systemTextOf(system.text));
   }
}

void MounterConfig::removeSystem(Name const& system) {
   auto const at = entry->connectionFilter.find(system);
   if (at == entry->connectionFilter.end()) {
      return;
   }
   if (--at->second == 0) {
      entry->connectionFilter.erase(at);
      entry->evaluate(systemTextOf(system.text));
   }
}

void MounterConfig::addVersion(Version const& version) {
   entry->versionFilter[mounter->service].insert(version.number);
   entry->evaluateAll();
}

void MounterConfig::removeVersion(Version const& version) {
   auto& versions = entry->versionFilter[mounter->service];
   versions.erase(version.number);
   if (versions.empty()) {
      entry->versionFilter.erase(mounter->service);
   }
   entry->evaluateAll();
}

void MounterConfig::cleanUp() {
   if (auto const filter = mounter->group->systemFilter) {
      for (auto const& [system, included] : filter->included) {
         removeSystem(system);
      }
   }
   if (auto const filter = mounter->group->versionFilter) {
      for (auto const& [version, included] : filter->included) {
         removeVersion(version);
      }
   }
   std::string const path = mounter->config->remotePath;
   ServiceStatus& status = *mounter->status;
   status.prefixes.erase(path);
   for (auto system = status.systems.begin(); system != status.systems.end();) {
      auto& groups = system->second;
      for (auto group = groups.begin(); group != groups.end();) {
         group->second.mounts.erase(path);
         group = group->second.mounts.empty() ? groups.erase(group) : std::next(group);
      }
      system = groups.empty() ? status.systems.erase(system) : std::next(system);
   }
}

// ---- mounters ----------------------------------------------------------------------------------

void EntryMachine::begin() {
   for (auto const& [service, mounter] : entry->mounters) {
      mounterChanged(service);
   }
   initialized = true;
}

void EntryMachine::end() {
   for (auto const& [service, config] : mounterConfigs) {
      config->end();
   }
   mounterConfigs.clear();
   connections.clear();
}

void EntryMachine::evaluateMounters() {
   wildCard = false;
   for (auto const& [service, mounter] : entry->mounters) {
      wildCard = wildCard || (!mounter->group->systemFilter && !mounter->group->versionFilter);
   }
}

void EntryMachine::mounterChanged(Name const& service) {
   evaluateMounters();
   auto const mounter = entry->mounters.find(service);
   auto const config = mounterConfigs.find(service);
   if (mounter != entry->mounters.end()) {
      if (config != mounterConfigs.end()) {
         return;
      }
      auto const made = std::make_shared<MounterConfig>();
      made->entry = this;
      made->mounter = mounter->second;
      made->begin();
      mounterConfigs[service] = made;
   } else {
      if (config == mounterConfigs.end()) {
         return;
      }
      config->second->cleanUp();
      config->second->end();
      mounterConfigs.erase(config);
   }
   evaluateAll();
}

// ---- decisions ---------------------------------------------------------------------------------

bool EntryMachine::versionMatches(std::string const& service, std::string const& system) const {
   auto const at = versionFilter.find(service);
   unsigned const version = model->negotiatedVersion(service, system);
   return at != versionFilter.end() && version != 0 && at->second.contains(version);
}

bool EntryMachine::canMount(std::string const& system) const {
   bool isNegotiated = false;
   for (auto const& [service, mounter] : entry->mounters) {
      isNegotiated = isNegotiated || model->negotiatedVersion(service.text, system) != 0;
   }
   if (!isNegotiated || wildCard) {
      return isNegotiated;
   }
   if (!versionFilter.empty()) {
      bool isMatched = false;
      for (auto const& [service, versions] : versionFilter) {
         isMatched = isMatched || versionMatches(service.text, system);
      }
      if (!isMatched) {
         return false;
      }
   }
   return connectionFilter.empty() || connectionFilter.contains(system);
}

bool EntryMachine::isInterested(Mounter const& mounter, std::string const& system) const {
   Group const& group = *mounter.group;
   if (!group.systemFilter && !group.versionFilter) {
      return true;
   }
   if (group.systemFilter) {
      auto const at = group.systemFilter->included.find(system);
      if (at != group.systemFilter->included.end() && at->second) {
         return true;
      }
   }
   return group.versionFilter && versionMatches(mounter.service, system);
}

bool EntryMachine::preserves(std::string const& system) const {
   for (auto const& [service, mounter] : entry->mounters) {
      Group const& group = *mounter->group;
      if (!group.preserve) {
         continue;
      }
      if (!group.systemFilter) {
         return true;
      }
      auto const at = group.systemFilter->included.find(system);
      if (at != group.systemFilter->included.end() && at->second) {
         return true;
      }
   }
   return false;
}

// ---- connections -------------------------------------------------------------------------------

void EntryMachine::evaluate(std::string const& system) {
   if (!initialized) {
      return;
   }
   if (model->isRegistered(system) && model->connectionOf(system) && canMount(system)) {
      connect(system);
   } else {
      disconnect(system);
   }
}

void EntryMachine::evaluateAll() {
   if (initialized) {
      for (auto const& [system, isRegistered] : model->registered) {
         evaluate(system.text);
      }
   }
}

void EntryMachine::connect(std::string const& system) {
   if (auto const at = connections.find(system); at != connections.end()) {
      at->second.mount->request(Request::remount);
      return;
   }
   Settings const& settings = model->settings;
   MountParameters parameters;
   parameters.connection = system;
   parameters.config = model->connectionOf(system);
   parameters.remoteRootPath = settings.remoteRootPath;
   parameters.remotePath = entry->remotePath;
   parameters.targetPath = "/" + settings.rootDirName + "/" + entry->targetPath + "/" + system;
   parameters.type = entry->type;
   parameters.flags = entry->flags;
   parameters.reconnectRetries =
      settings.reconnectRetries == 0 ? 0xFFFFFFFFu : settings.reconnectRetries;
   parameters.mountTimeout = settings.mountTimeout == 0.0
                                ? 0x7FFFFFFFu
                                : static_cast<unsigned>(std::trunc(settings.mountTimeout));
   auto const mount = std::make_shared<Mount>(model->clock, model->script, parameters);
   mount->onState = [this, system] { stateChanged(system); };
   mount->localDel = [this](std::string const& path) { model->localCopies.erase(path); };
   connections[system] = {mount, mountStateUnmounted};
   mount->begin();
}

void EntryMachine::disconnect(std::string const& system) {
   if (auto const at = connections.find(system); at != connections.end()) {
      at->second.mount->request(preserves(system) ? Request::preservingUnmount : Request::unmount);
   } else {
      updateStatuses(system, mountStateUnmounted);
   }
}

void EntryMachine::stateChanged(std::string const& system) {
   Connection& connection = connections.at(system);
   MountState const state = connection.mount->state;
   updateStatuses(system, state);
   if (connection.oldState != mountStateUnmounted && state == mountStateUnmounted) {
      // The mount is in the middle of its own work: what remains of that finds it alive.
      auto const mount = connection.mount;
      mount->cleanUp();
      connections.erase(system);
   } else {
      connection.oldState = state;
   }
}

// ---- statuses ----------------------------------------------------------------------------------

void EntryMachine::updateStatuses(std::string const& system, MountState state) {
   for (auto const& [service, mounter] : entry->mounters) {
      if (state != mountStateUnmounted && isInterested(*mounter, system)) {
         setStatus(*mounter, system, state);
      } else {
         removeStatus(*mounter, system);
      }
   }
}

void EntryMachine::setStatus(Mounter const& mounter, std::string const& system, MountState state) {
   GroupStatus& group = mounter.status->systems[system][mounter.group->name];
   MountStatus& mount = group.mounts[mounter.config->remotePath];
   if (state == mountStateMounted) {
      mount.mountedPath = entry->targetPath + "/" + system;
   }
   mount.state = state;
   // The first decisive member in the order of the collection, as it stands.
   group.state = state;
   for (auto const& [path, declared] : mounter.group->mounts) {
      auto const at = group.mounts.find(path);
      if (at != group.mounts.end() && at->second.state == mountStateFailed) {
         group.state = mountStateFailed;
         return;
      }
      if (at == group.mounts.end() || at->second.state != state) {
         group.state = mountStateUnmounted;
         return;
      }
   }
}

void EntryMachine::removeStatus(Mounter const& mounter, std::string const& system) {
   auto& systems = mounter.status->systems;
   auto const at = systems.find(system);
   if (at == systems.end()) {
      return;
   }
   auto const group = at->second.find(mounter.group->name);
   if (group == at->second.end()) {
      return;
   }
   group->second.mounts.erase(mounter.config->remotePath);
   if (group->second.mounts.empty()) {
      at->second.erase(group);
      if (at->second.empty()) {
         systems.erase(at);
      }
   }
}

} // namespace Naive
