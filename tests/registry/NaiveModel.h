/// A separate, straightforward model of declared mounts: from a service's declarations through the
/// registry to the mounts, the client's calls and the statuses. It shares no code with the library
/// but the values and the order of collections, recomputes everything from plain structures, and is
/// as stale as the library is required to be. Owned by a test, on the test's thread.
///
/// The test changes the model's world through the operations of Model, one for each operation that
/// it carries out on the live entities, and then compares.
#pragma once

#include "NaiveMount.h"

#include <set>

namespace Naive {

class Model;
struct EntryMachine;

/// Adds one mounter's filters to its entry's.
struct MounterConfig {
   EntryMachine* entry = nullptr;
   std::shared_ptr<Mounter> mounter;
   std::shared_ptr<SystemFilter> systemFilter;
   std::shared_ptr<VersionFilter> versionFilter;

   void begin();
   void end();
   void cleanUp();
   void includedSystem(Name const& system);
   void includedVersion(Version const& version);
   void addSystem(Name const& system);
   void removeSystem(Name const& system);
   void addVersion(Version const& version);
   void removeVersion(Version const& version);
};

/// One wanted path over all connections.
struct EntryMachine {
   struct Connection {
      std::shared_ptr<Mount> mount;
      MountState oldState = Controller::mountStateUnmounted;
   };

   Model* model = nullptr;
   std::shared_ptr<Entry> entry;
   std::map<Name, std::shared_ptr<MounterConfig>> mounterConfigs;
   std::map<Name, unsigned> connectionFilter;
   std::map<Name, std::set<unsigned>> versionFilter;
   bool wildCard = false;
   bool initialized = false;
   std::map<System, Connection> connections;

   void begin();
   void end();
   void mounterChanged(Name const& service);
   void evaluateMounters();
   void evaluate(std::string const& system);
   void evaluateAll();
   void connect(std::string const& system);
   void disconnect(std::string const& system);
   bool preserves(std::string const& system) const;
   bool canMount(std::string const& system) const;
   bool versionMatches(std::string const& service, std::string const& system) const;
   bool isInterested(Mounter const& mounter, std::string const& system) const;
   void stateChanged(std::string const& system);
   void updateStatuses(std::string const& system, MountState state);
   void setStatus(Mounter const& mounter, std::string const& system, MountState state);
   void removeStatus(Mounter const& mounter, std::string const& system);
};

/// What follows one client's versions.
struct ClientMachine {
   struct Service {
      std::shared_ptr<ServiceVersion> service;
      std::shared_ptr<VersionStatus> status;
   };

   std::shared_ptr<Client> client;
   std::map<Name, Service> services;
};

/// What follows one service's declarations.
struct ServiceMachine {
   std::shared_ptr<ServiceConfig> config;
   std::shared_ptr<ServiceStatus> status;
   std::map<Name, std::shared_ptr<Group>> groups;
};

/// A place in a directory: an entity of the right type, or of another one.
template <class T>
struct Place {
   std::shared_ptr<T> entity;
};

/// What the host fixes once.
struct Settings {
   std::string rootDirName;
   std::string registryDirPath;
   std::string remoteRootPath;
   unsigned reconnectRetries = 0;
   double mountTimeout = 0.0;
};

class Model {
 public:
   Model(Settings theSettings, double start) : settings(std::move(theSettings)), clock(start) {}
   ~Model();

   // The host's operations. Each is what the operation of the same name on the live entity is.
   void configPlaceIs(std::string const& name, Place<ServiceConfig> place);
   void configPlaceDel(std::string const& name);
   void statusPlaceIs(std::string const& name, Place<ServiceStatus> place);
   void statusPlaceDel(std::string const& name);
   std::shared_ptr<Group> groupIs(ServiceConfig& config, std::string const& name);
   void groupDel(ServiceConfig& config, std::string const& name);
   void mountIs(Group& group, MountConfig const& mount);
   void mountDel(Group& group, std::string const& remotePath);
   void includedSystemIs(SystemFilter& filter, std::string const& system, bool included);
   void includedSystemDel(SystemFilter& filter, std::string const& system);
   void includedSystemDelAll(SystemFilter& filter);
   void includedVersionIs(VersionFilter& filter, unsigned version, bool included);
   void includedVersionDel(VersionFilter& filter, unsigned version);
   void includedVersionDelAll(VersionFilter& filter);
   void registeredIs(std::string const& system, bool registered);
   void registeredDel(std::string const& system);
   void clientIs(std::string const& name, std::shared_ptr<Client> const& client);
   void clientDel(std::string const& name);
   std::shared_ptr<ServiceVersion> serviceIs(Client& client, std::string const& service);
   void serviceDel(Client& client, std::string const& service);
   void versionStatusIs(ServiceVersion& service, std::shared_ptr<VersionStatus> const& status);
   void negotiationCompleteIs(VersionStatus& status, bool complete);
   void entryDel(std::string const& remotePath);
   void serviceMachinesIs(bool live);
   void registryMachineIs(bool live);

   /// Where the local copies of mounts stand, and which directories have been made.
   std::set<std::string> localCopies;
   std::set<std::string> directories;

   Settings const settings;
   Clock clock;
   ScriptedClient script;

   std::map<Name, Place<ServiceConfig>> configPlaces;
   std::map<Name, Place<ServiceStatus>> statusPlaces;
   std::map<System, SwitchConfig> switchConfigs;
   std::map<System, bool> registered;
   std::map<Name, std::shared_ptr<Client>> clients;
   std::map<Name, std::shared_ptr<Entry>> entries;

   // The machines.
   bool servicesLive = false;
   std::map<Name, ServiceMachine> serviceMachines;
   bool registryLive = false;
   std::map<Name, std::shared_ptr<EntryMachine>> entryMachines;
   std::map<Name, ClientMachine> clientMachines;
   std::set<System> registeredSwitches;

   // What machines ask.
   bool isRegistered(std::string const& system) const;
   std::shared_ptr<ConnectionConfig> connectionOf(std::string const& system) const;
   unsigned negotiatedVersion(std::string const& service, std::string const& system) const;

 private:
   friend struct EntryMachine;

   // The services' side.
   void serviceChanged(Name const& name);
   void groupChanged(ServiceMachine& machine, Name const& name);
   void groupChanged(ServiceConfig const& config, Name const& name);
   void mountChanged(Group const& group, Name const& remotePath);
   void addMount(ServiceMachine& machine, Group const& group, Name const& remotePath);
   void removeMount(ServiceMachine& machine, Name const& remotePath);
   void makeDirectories(std::string const& from, std::string const& path);

   // The registry's side.
   void entryChanged(Name const& remotePath);
   void mounterChanged(Entry const& entry, Name const& service);
   void evaluate(std::string const& system);
   void evaluateAll();
   void clientChanged(Name const& name);
   void clientServiceChanged(std::string const& name, ClientMachine& machine, Name const& service);
   void systemKeyChanged(SystemFilter& filter, Name const& system);
   void versionKeyChanged(VersionFilter& filter, Version const& version);
};

} // namespace Naive
