/// What the naive model of declared mounts knows of the host's entities: plain structures with the
/// meaning of declarations, statuses, switches and clients, and the order in which collections are
/// walked. Owned by the model through shared pointers, on the test's thread. Nothing here reacts:
/// whoever changes a structure calls the model's handlers himself.
#pragma once

#include <gantry/common/MountState.h>
#include <gantry/common/SystemId.h>
#include <gantry/runtime/fen/HashMap.h>

#include <compare>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Naive {

using Controller::MountState;

/// A key with its place in the order of collections, which the roll-up of a group's states and the
/// order of the client's calls depend on.
template <class Real>
struct Key {
   Key(std::string key)
      : place(Fen::rhashOf<Real>(Real(Fen::String8(key)))), text(std::move(key)) {}
   Key(char const* key) : Key(std::string(key)) {}

   std::uint32_t place;
   std::string text;

   auto operator<=>(Key const& other) const = default;
};
using Name = Key<Fen::Name>;
/// The text form of a system id, in the order of the ids.
using System = Key<Controller::SystemId>;

struct Version {
   Version(unsigned value) : place(Fen::rhashOf<unsigned>(value)), number(value) {}

   std::uint32_t place;
   unsigned number;

   auto operator<=>(Version const& other) const = default;
};

/// The lower-case text of what a text names as a system id: all zero when it names none.
inline std::string systemTextOf(std::string const& text) {
   return Controller::SystemId(Fen::String8(text)).stringValue().str();
}

// ---- what services declare ---------------------------------------------------------------------

struct MounterConfig;

struct SystemFilter {
   std::map<Name, bool> included;
   /// Those that follow the filter, in the order in which they came.
   std::vector<MounterConfig*> followers;
};

struct VersionFilter {
   std::map<Version, bool> included;
   std::vector<MounterConfig*> followers;
};

struct MountConfig {
   std::string remotePath;
   std::string type;
   std::string flags;
   std::string target;
};

struct Group {
   std::string name;
   std::shared_ptr<SystemFilter> systemFilter;
   std::shared_ptr<VersionFilter> versionFilter;
   bool preserve = false;
   std::map<Name, std::shared_ptr<MountConfig>> mounts;
};

struct ServiceConfig {
   std::string name;
   std::map<Name, std::shared_ptr<Group>> groups;
};

// ---- what is reported --------------------------------------------------------------------------

struct MountStatus {
   MountState state = Controller::mountStateUnmounted;
   std::string mountedPath;
};

struct GroupStatus {
   MountState state = Controller::mountStateUnmounted;
   std::map<Name, MountStatus> mounts;
};

struct ServiceStatus {
   std::string name;
   std::map<Name, std::string> prefixes;
   /// By system, then by group.
   std::map<Name, std::map<Name, GroupStatus>> systems;
};

// ---- the registry's records --------------------------------------------------------------------

struct Mounter {
   std::string service;
   std::string groupName;
   std::shared_ptr<MountConfig> config;
   std::shared_ptr<Group> group;
   std::shared_ptr<ServiceStatus> status;
};

struct Entry {
   std::string remotePath;
   std::string targetPath;
   std::string type;
   std::string flags;
   std::map<Name, std::shared_ptr<Mounter>> mounters;
};

// ---- switches and clients ----------------------------------------------------------------------

struct ConnectionConfig {
   std::string ip;
   unsigned port = 0;
   std::string sysname;

   bool isValid() const { return port != 0 && !ip.empty(); }
};

struct SwitchConfig {
   std::shared_ptr<ConnectionConfig> connection;
};

struct VersionStatus {
   bool complete = false;
   bool compatible = false;
   unsigned version = 0;
};

struct ServiceVersion {
   bool enabled = false;
   std::shared_ptr<VersionStatus> status;
};

/// What stands in the directory of all clients; `services` counts only in one of the right type.
struct Client {
   bool isServiceStatusDir = true;
   std::map<Name, std::shared_ptr<ServiceVersion>> services;
};

} // namespace Naive
