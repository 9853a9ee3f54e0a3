/// A naive model of publishing, written apart from the library: plain maps, told of the same events
/// as the host, by which a test knows who must be published what. One object per test.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace ServiceTest {

class PublishModel {
 public:
   using Number = unsigned;
   /// A filter by its service and its name; empty for none.
   using FilterName = std::optional<std::pair<std::string, std::string>>;
   struct Directory {
      std::string target;
      bool isReady = false;
   };
   struct Group {
      FilterName systems, versions;
      std::set<std::string> singles;
      std::map<std::string, Directory> directories;
   };
   struct Entry {
      std::string service, remote;
      bool isDirectory = false, isReady = false;
      FilterName systems, versions;
      bool operator==(Entry const&) const = default;
   };
   using GroupName = std::pair<std::string, std::string>;
   /// What a system is published: by the system and the local path, the path over there and the
   /// service.
   using Published = std::map<std::pair<Number, std::string>, std::pair<std::string, std::string>>;

   // Events. Each returns whether the host may do it at all.

   void singleAdded(GroupName const& name, std::string const& path, std::string const& remote) {
      Group& group = groups[name];
      if (group.singles.insert(path).second && !entries.count(path)) {
         entries[path] = {name.first, remote, false, true, group.systems, group.versions};
         decideAll(path);
      }
   }
   void singleRemoved(GroupName const& name, std::string const& path) {
      if (groups[name].singles.erase(path) != 0) {
         entryRemoved(path);
      }
   }
   void directoryAdded(GroupName const& name, std::string const& path) {
      Group& group = groups[name];
      if (group.directories.try_emplace(path).second) {
         directoryDeclared(name.first, path, group);
      }
   }
   void directoryRemoved(GroupName const& name, std::string const& path) {
      if (groups[name].directories.erase(path) != 0) {
         entryRemoved(path);
      }
   }
   void directoryTargetIs(GroupName const& name, std::string const& path,
                          std::string const& target) {
      groups[name].directories[path].target = target;
   }
   void directoryReadyIs(GroupName const& name, std::string const& path, bool isReady) {
      Directory& directory = groups[name].directories[path];
      if (directory.isReady == isReady) {
         return;
      }
      directory.isReady = isReady;
      auto const found = entries.find(path);
      if (found != entries.end()) {
         found->second.remote = directory.target;
         if (found->second.isReady != isReady) {
            found->second.isReady = isReady;
            decideAll(path);
         }
      }
   }
   void groupRemoved(GroupName const& name) {
      auto const found = groups.find(name);
      if (found == groups.end()) {
         return;
      }
      Group const group = found->second;
      groups.erase(found);
      for (std::string const& path : group.singles) {
         entryRemoved(path);
      }
      // The directories are still in the group when their reactors go, so they are declared again.
      for (auto const& [path, directory] : group.directories) {
         directoryDeclared(name.first, path, group);
      }
   }
   /// Whether every single path of the group has an entry: the host must not change filters else.
   bool filtersMayChange(GroupName const& name) {
      for (std::string const& path : groups[name].singles) {
         if (!entries.count(path)) {
            return false;
         }
      }
      return true;
   }
   void groupFilterIs(GroupName const& name, bool isSystems, FilterName const& filter) {
      Group& group = groups[name];
      FilterName& own = isSystems ? group.systems : group.versions;
      if (own == filter) {
         return;
      }
      own = filter;
      for (std::string const& path : group.singles) {
         FilterName& theirs = isSystems ? entries[path].systems : entries[path].versions;
         if (theirs != filter) {
            theirs = filter;
            decideAll(path);
         }
      }
   }
   /// A member of a filter of systems that holds a value, or goes.
   void systemMemberIs(FilterName const& filter, Number system, std::optional<bool> value) {
      if (memberIs(systemFilters[*filter], system, value)) {
         for (auto const& [path, entry] : entries) {
            if (entry.systems == filter) {
               decide(path, system);
            }
         }
      }
   }
   void versionMemberIs(FilterName const& filter, Number version, std::optional<bool> value) {
      if (memberIs(versionFilters[*filter], version, value)) {
         for (auto const& [path, entry] : entries) {
            if (entry.versions == filter) {
               decideAll(path);
            }
         }
      }
   }
   void registeredIs(Number system, bool isRegistered) {
      bool const was = registered.count(system) != 0;
      isRegistered ? (void)registered.insert(system) : (void)registered.erase(system);
      if (was != isRegistered) {
         decideSystem(system);
      }
   }
   void versionIs(Number system, std::string const& service, Number version) {
      negotiated[{system, service}] = version;
      decideSystem(system);
   }
   void clientGone(Number system) {
      bool any = false;
      for (auto& [key, version] : negotiated) {
         if (key.first == system) {
            any = any || version != 0;
            version = 0;
         }
      }
      if (any) {
         decideSystem(system);
      }
   }
   void everythingDecided() {
      for (auto const& each : entries) {
         decideAll(each.first);
      }
   }

   /// The rule alone, without any memory.
   bool qualifies(Entry const& entry, Number system) const {
      auto const known = negotiated.find({system, entry.service});
      Number const version = known != negotiated.end() ? known->second : 0;
      return registered.count(system) && version != 0 &&
             letsThrough(versionFilters, entry.versions, version) &&
             letsThrough(systemFilters, entry.systems, system);
   }

   std::vector<Number> systems;
   std::map<GroupName, Group> groups;
   std::map<std::string, Entry> entries;
   Published published;
   /// The parts of directories that were made for systems.
   std::set<std::pair<Number, std::string>> parts;

 private:
   using Members = std::map<Number, bool>;
   using Filters = std::map<std::pair<std::string, std::string>, Members>;

   static bool memberIs(Members& members, Number key, std::optional<bool> value) {
      auto const found = members.find(key);
      std::optional<bool> const was =
         found != members.end() ? std::optional<bool>(found->second) : std::nullopt;
      if (was == value) {
         return false;
      }
      value ? (void)(members[key] = *value) : (void)members.erase(key);
      return true;
   }
   static bool letsThrough(Filters const& filters, FilterName const& name, Number key) {
      if (!name) {
         return true;
      }
      auto const filter = filters.find(*name);
      if (filter == filters.end()) {
         return false;
      }
      auto const member = filter->second.find(key);
      return member != filter->second.end() && member->second;
   }
   void directoryDeclared(std::string const& service, std::string const& path, Group const& group) {
      if (!entries.count(path)) {
         entries[path] = {service, "", true, false, group.systems, group.versions};
         decideAll(path);
      }
   }
   void entryRemoved(std::string const& path) {
      entries.erase(path);
      std::erase_if(published, [&](auto const& each) { return each.first.second == path; });
   }
   void decideAll(std::string const& path) {
      for (Number const system : systems) {
         decide(path, system);
      }
   }
   void decideSystem(Number system) {
      for (auto const& each : entries) {
         decide(each.first, system);
      }
   }
   void decide(std::string const& path, Number system) {
      Entry const& entry = entries.at(path);
      bool const qualified = qualifies(entry, system);
      if (qualified && entry.isDirectory) {
         parts.insert({system, path});
      }
      if (qualified && entry.isReady) {
         published[{system, path}] = {entry.remote, entry.service};
      } else {
         published.erase({system, path});
      }
   }

   std::set<Number> registered;
   std::map<std::pair<Number, std::string>, Number> negotiated;
   Filters systemFilters, versionFilters;
};

} // namespace ServiceTest
