/// The model's services: declarations paired with their statuses, and copied into the registry.
#include "NaiveModel.h"

#include <stdexcept>

namespace Naive {

// ---- services ----------------------------------------------------------------------------------

void Model::configPlaceIs(std::string const& name, Place<ServiceConfig> place) {
   configPlaces.insert_or_assign(name, place);
   serviceChanged(name);
}

void Model::configPlaceDel(std::string const& name) {
   configPlaces.erase(name);
   serviceChanged(name);
}

void Model::statusPlaceIs(std::string const& name, Place<ServiceStatus> place) {
   statusPlaces.insert_or_assign(name, place);
   serviceChanged(name);
}

void Model::statusPlaceDel(std::string const& name) {
   statusPlaces.erase(name);
   serviceChanged(name);
}

void Model::serviceMachinesIs(bool live) {
   if (live == std::exchange(servicesLive, live)) {
      return;
   }
   // Dropped machines take nothing back out of the registry.
   serviceMachines.clear();
   if (live) {
      for (auto const& [name, place] : configPlaces) {
         serviceChanged(name);
      }
   }
}

void Model::serviceChanged(Name const& name) {
   auto const config = configPlaces.find(name);
   auto const status = statusPlaces.find(name);
   if (!servicesLive || config == configPlaces.end() || status == statusPlaces.end()) {
      return;
   }
   if (!config->second.entity || !status->second.entity) {
      serviceMachines.erase(name);
      return;
   }
   if (serviceMachines.contains(name)) {
      return;
   }
   ServiceMachine& machine = serviceMachines[name];
   machine.config = config->second.entity;
   machine.status = status->second.entity;
   for (auto const& [group, member] : machine.config->groups) {
      groupChanged(machine, group);
   }
}

// ---- groups ------------------------------------------------------------------------------------

void Model::groupChanged(ServiceMachine& machine, Name const& name) {
   auto const at = machine.config->groups.find(name);
   if (at != machine.config->groups.end()) {
      if (!machine.groups.contains(name)) {
         machine.groups[name] = at->second;
         for (auto const& [path, mount] : at->second->mounts) {
            addMount(machine, *at->second, path);
         }
      }
   } else if (auto const gone = machine.groups.find(name); gone != machine.groups.end()) {
      for (auto const& [path, mount] : gone->second->mounts) {
         removeMount(machine, path);
      }
      machine.groups.erase(gone);
   }
}

void Model::groupChanged(ServiceConfig const& config, Name const& name) {
   for (auto& [service, machine] : serviceMachines) {
      if (machine.config.get() == &config) {
         groupChanged(machine, name);
      }
   }
}

std::shared_ptr<Group> Model::groupIs(ServiceConfig& config, std::string const& name) {
   auto& place = config.groups[name];
   if (place) {
      return place;
   }
   auto const made = place = std::make_shared<Group>();
   made->name = name;
   groupChanged(config, name);
   return made;
}

void Model::groupDel(ServiceConfig& config, std::string const& name) {
   auto const at = config.groups.find(name);
   if (at != config.groups.end()) {
      auto const gone = at->second;
      config.groups.erase(at);
      groupChanged(config, name);
   }
}

// ---- mounts ------------------------------------------------------------------------------------

void Model::mountIs(Group& group, MountConfig const& mount) {
   auto& place = group.mounts[mount.remotePath];
   if (!place) {
      place = std::make_shared<MountConfig>(mount);
      mountChanged(group, mount.remotePath);
   }
}

void Model::mountDel(Group& group, std::string const& remotePath) {
   auto const at = group.mounts.find(remotePath);
   if (at != group.mounts.end()) {
      auto const gone = at->second;
      group.mounts.erase(at);
      mountChanged(group, remotePath);
   }
}

void Model::mountChanged(Group const& group, Name const& remotePath) {
   for (auto& [service, machine] : serviceMachines) {
      for (auto const& [name, followed] : std::map(machine.groups)) {
         if (followed.get() != &group) {
            continue;
         }
         if (group.mounts.contains(remotePath)) {
            addMount(machine, group, remotePath);
         } else {
            removeMount(machine, remotePath);
         }
      }
   }
}

void Model::addMount(ServiceMachine& machine, Group const& group, Name const& remotePath) {
   auto const declared = group.mounts.at(remotePath);
   std::string const service = machine.config->name;
   if (!entries.contains(remotePath)) {
      auto const made = std::make_shared<Entry>();
      made->remotePath = remotePath.text;
      made->type = declared->type;
      made->flags = declared->flags;
      if (declared->target.empty()) {
         made->targetPath = settings.registryDirPath + "/" + remotePath.text;
         makeDirectories(settings.registryDirPath, remotePath.text);
      } else {
         made->targetPath = declared->target;
         makeDirectories("", declared->target);
      }
      entries[remotePath] = made;
      if (registryLive) {
         entryChanged(remotePath);
      }
   }
   auto const entry = entries.at(remotePath);
   if (entry->mounters.contains(service)) {
      return;
   }
   auto const [prefix, isNew] = machine.status->prefixes.try_emplace(remotePath, entry->targetPath);
   if (!isNew && prefix->second != entry->targetPath) {
      throw std::logic_error("the sequence gave a path two prefixes");
   }
   auto const mounter = std::make_shared<Mounter>();
   mounter->service = service;
   mounter->groupName = group.name;
   mounter->config = declared;
   mounter->group = machine.groups.at(group.name);
   mounter->status = machine.status;
   entry->mounters[service] = mounter;
   mounterChanged(*entry, service);
}

void Model::removeMount(ServiceMachine& machine, Name const& remotePath) {
   auto const at = entries.find(remotePath);
   std::string const service = machine.config->name;
   // By service alone: the mounter goes also when another group of the service brought it.
   if (at == entries.end() || !at->second->mounters.contains(service)) {
      return;
   }
   auto const entry = at->second;
   machine.status->prefixes.erase(remotePath);
   entry->mounters.erase(service);
   mounterChanged(*entry, service);
}

void Model::makeDirectories(std::string const& from, std::string const& path) {
   std::string const whole = from.empty() ? path : from + "/" + path;
   for (std::size_t at = 0; at != std::string::npos;) {
      at = whole.find('/', at + 1);
      directories.insert(whole.substr(0, at));
   }
}

} // namespace Naive
