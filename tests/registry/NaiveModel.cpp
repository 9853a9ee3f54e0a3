/// The model's top: switches, clients and services, and what each of them wakes.
#include "NaiveModel.h"

namespace Naive {

Model::~Model() { registryMachineIs(false); }

// ---- switches ----------------------------------------------------------------------------------

bool Model::isRegistered(std::string const& system) const {
   auto const at = registered.find(system);
   return at != registered.end() && at->second;
}

std::shared_ptr<ConnectionConfig> Model::connectionOf(std::string const& system) const {
   auto const at = switchConfigs.find(system);
   return at == switchConfigs.end() ? nullptr : at->second.connection;
}

void Model::registeredIs(std::string const& system, bool value) {
   auto const at = registered.find(system);
   if (at != registered.end() && at->second == value) {
      return;
   }
   registered.insert_or_assign(system, value);
   if (registryLive) {
      evaluate(system);
   }
}

void Model::registeredDel(std::string const& system) {
   if (registered.erase(system) != 0 && registryLive) {
      evaluate(system);
   }
}

void Model::evaluate(std::string const& system) {
   for (auto const& [path, machine] : entryMachines) {
      machine->evaluate(system);
   }
   // The table of registered switches is written after all others have reacted.
   if (isRegistered(system)) {
      registeredSwitches.insert(system);
   } else {
      registeredSwitches.erase(system);
   }
}

void Model::evaluateAll() {
   for (auto const& [path, machine] : entryMachines) {
      machine->evaluateAll();
   }
}

// ---- clients -----------------------------------------------------------------------------------

unsigned Model::negotiatedVersion(std::string const& service, std::string const& system) const {
   auto const client = clients.find(system);
   if (client == clients.end() || !client->second->isServiceStatusDir) {
      return 0;
   }
   auto const at = client->second->services.find(service);
   if (at == client->second->services.end() || !at->second->enabled || !at->second->status ||
       !at->second->status->compatible) {
      return 0;
   }
   return at->second->status->version;
}

void Model::clientIs(std::string const& name, std::shared_ptr<Client> const& client) {
   clients.insert_or_assign(name, client);
   if (registryLive) {
      clientChanged(name);
   }
}

void Model::clientDel(std::string const& name) {
   if (clients.erase(name) != 0 && registryLive) {
      clientChanged(name);
   }
}

void Model::clientChanged(Name const& name) {
   auto const at = clients.find(name);
   if (at == clients.end()) {
      if (clientMachines.contains(name)) {
         evaluateAll();
         // Taken out while it lies in its collection; then each of its services says goodbye.
         ClientMachine const gone = clientMachines.at(name);
         clientMachines.erase(name);
         for (std::size_t service = 0; service < gone.services.size(); ++service) {
            evaluate(systemTextOf(name.text));
         }
      }
      return;
   }
   if (!at->second->isServiceStatusDir || clientMachines.contains(name)) {
      return;
   }
   ClientMachine& machine = clientMachines[name];
   machine.client = at->second;
   for (auto const& [service, version] : machine.client->services) {
      clientServiceChanged(name.text, machine, service);
   }
}

void Model::clientServiceChanged(std::string const& name, ClientMachine& machine,
                                 Name const& service) {
   std::string const system = systemTextOf(name);
   auto const at = machine.client->services.find(service);
   if (at != machine.client->services.end()) {
      machine.services[service] = {at->second, at->second->status};
      if (at->second->status) {
         evaluate(system);
      }
      evaluate(system);
   } else if (machine.services.erase(service) != 0) {
      evaluate(system);
   }
}

std::shared_ptr<ServiceVersion> Model::serviceIs(Client& client, std::string const& service) {
   auto& place = client.services[service];
   if (place) {
      return place;
   }
   auto const made = place = std::make_shared<ServiceVersion>();
   for (auto& [name, machine] : clientMachines) {
      if (machine.client.get() == &client) {
         clientServiceChanged(name.text, machine, service);
      }
   }
   return made;
}

void Model::serviceDel(Client& client, std::string const& service) {
   if (client.services.erase(service) == 0) {
      return;
   }
   for (auto& [name, machine] : clientMachines) {
      if (machine.client.get() == &client) {
         clientServiceChanged(name.text, machine, service);
      }
   }
}

void Model::versionStatusIs(ServiceVersion& service, std::shared_ptr<VersionStatus> const& status) {
   if (service.status == status) {
      return;
   }
   service.status = status;
   for (auto& [name, machine] : clientMachines) {
      for (auto& [key, reactor] : machine.services) {
         if (reactor.service.get() == &service) {
            reactor.status = status;
            // A status that is taken away wakes nobody.
            if (status) {
               evaluate(systemTextOf(name.text));
            }
         }
      }
   }
}

void Model::negotiationCompleteIs(VersionStatus& status, bool complete) {
   if (std::exchange(status.complete, complete) == complete || !complete) {
      return;
   }
   for (auto& [name, machine] : clientMachines) {
      for (auto& [key, reactor] : machine.services) {
         if (reactor.status.get() == &status) {
            evaluate(systemTextOf(name.text));
         }
      }
   }
}

// ---- entries -----------------------------------------------------------------------------------

void Model::entryChanged(Name const& remotePath) {
   auto const at = entries.find(remotePath);
   auto const machine = entryMachines.find(remotePath);
   if (at == entries.end()) {
      if (machine != entryMachines.end()) {
         machine->second->evaluateAll();
         machine->second->end();
         entryMachines.erase(machine);
      }
   } else if (machine == entryMachines.end()) {
      auto const made = std::make_shared<EntryMachine>();
      made->model = this;
      made->entry = at->second;
      made->begin();
      entryMachines[remotePath] = made;
   }
}

void Model::entryDel(std::string const& remotePath) {
   if (entries.erase(remotePath) != 0 && registryLive) {
      entryChanged(remotePath);
   }
}

void Model::mounterChanged(Entry const& entry, Name const& service) {
   auto const at = entryMachines.find(entry.remotePath);
   if (at != entryMachines.end() && at->second->entry.get() == &entry) {
      at->second->mounterChanged(service);
   }
}

void Model::registryMachineIs(bool live) {
   if (live == std::exchange(registryLive, live)) {
      return;
   }
   if (live) {
      for (auto const& [path, entry] : entries) {
         entryChanged(path);
      }
      for (auto const& [name, client] : clients) {
         clientChanged(name);
      }
      evaluateAll();
   } else {
      // Dropping unmounts nothing, and what goes tells nobody.
      clientMachines.clear();
      for (auto const& [path, machine] : entryMachines) {
         machine->end();
      }
      entryMachines.clear();
   }
}

// ---- filters -----------------------------------------------------------------------------------

void Model::systemKeyChanged(SystemFilter& filter, Name const& system) {
   for (MounterConfig* const follower : std::vector(filter.followers)) {
      follower->includedSystem(system);
   }
}

void Model::versionKeyChanged(VersionFilter& filter, Version const& version) {
   for (MounterConfig* const follower : std::vector(filter.followers)) {
      follower->includedVersion(version);
   }
}

void Model::includedSystemIs(SystemFilter& filter, std::string const& system, bool included) {
   auto const [at, isNew] = filter.included.try_emplace(system, included);
   if (isNew || at->second != included) {
      at->second = included;
      systemKeyChanged(filter, system);
   }
}

void Model::includedSystemDel(SystemFilter& filter, std::string const& system) {
   if (filter.included.erase(system) != 0) {
      systemKeyChanged(filter, system);
   }
}

void Model::includedSystemDelAll(SystemFilter& filter) {
   while (!filter.included.empty()) {
      includedSystemDel(filter, std::string(filter.included.begin()->first.text));
   }
}

void Model::includedVersionIs(VersionFilter& filter, unsigned version, bool included) {
   auto const [at, isNew] = filter.included.try_emplace(version, included);
   if (isNew || at->second != included) {
      at->second = included;
      versionKeyChanged(filter, version);
   }
}

void Model::includedVersionDel(VersionFilter& filter, unsigned version) {
   if (filter.included.erase(version) != 0) {
      versionKeyChanged(filter, version);
   }
}

void Model::includedVersionDelAll(VersionFilter& filter) {
   while (!filter.included.empty()) {
      includedVersionDel(filter, filter.included.begin()->first.number);
   }
}

} // namespace Naive
