/// What the controller's file says, as plain values: no entity and no machine knows these.
///
/// Owned by the program; a file that is read again gives another one, and the differences between
/// the two are what is done (Differences.h).
#pragma once

#include <hosts/support/Program.h>
#include <hosts/support/Versions.h>

#include <gantry/common/SystemId.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace Host {

/// Where a switch serves, and who it must be. The name by which it is kept is its system name, the
/// first component of every path on it.
struct SwitchConfiguration {
   Controller::SystemId id;
   Nimet::IpAddr address;
   std::uint16_t port = 0;

   bool operator==(SwitchConfiguration const&) const = default;
};

/// One path of a mount group.
struct MountConfiguration {
   std::string type;
   std::string flags;
   /// Where it appears here; empty for the default place below "mounts".
   std::string target;

   bool operator==(MountConfiguration const&) const = default;
};

struct MountGroupConfiguration {
   /// Names of filters of the same service, empty for none.
   std::string systemFilter;
   std::string versionFilter;
   bool preserveMountsOnDisconnect = false;
   /// By the path on the switch.
   std::map<std::string, MountConfiguration> mounts;

   bool operator==(MountGroupConfiguration const&) const = default;
};

/// A published entity: its type, and the text forms of the attributes that are set.
struct EntityConfiguration {
   std::string type;
   std::map<std::string, std::string> values;

   bool operator==(EntityConfiguration const&) const = default;
};

/// One published path: an entity for everybody who may have it, or a directory with a part for each
/// system.
struct PublicationConfiguration {
   bool isDirectory = false;
   /// Where it appears on the switch.
   std::string remotePath;
   /// The entity, unless this is a directory.
   EntityConfiguration entity;
   /// The parts of a directory: by the text form of the system id, the entities by name.
   std::map<std::string, std::map<std::string, EntityConfiguration>> parts;

   bool operator==(PublicationConfiguration const&) const = default;
};

struct PublishGroupConfiguration {
   /// Names of filters of the same service, empty for none.
   std::string systemFilter;
   std::string versionFilter;
   /// By the path in the controller's tree.
   std::map<std::string, PublicationConfiguration> publications;

   bool operator==(PublishGroupConfiguration const&) const = default;
};

struct ServiceConfiguration {
   /// What the controller supports of the service.
   Versions versions;
   /// By the filter's name: the text forms of system ids. Never empty, since an empty filter would
   /// let every system pass.
   std::map<std::string, std::set<std::string>> systemFilters;
   /// By the filter's name, never empty for the same reason.
   std::map<std::string, std::set<std::uint32_t>> versionFilters;
   std::map<std::string, MountGroupConfiguration> mountGroups;
   std::map<std::string, PublishGroupConfiguration> publishGroups;
   /// Whether the service says that all it publishes is there.
   bool ready = false;

   bool operator==(ServiceConfiguration const&) const = default;
};

/// Times in seconds.
struct TimingConfiguration {
   /// How often a lost switch is tried again before it is given up.
   std::uint32_t reconnectRetries = 2;
   /// From giving a switch up to trying it anew.
   double retryInterval = 1.0;
   /// How long a mount may take; 0 for as long as it likes.
   double mountTimeout = 30.0;
   /// A peer is gone when nothing has come from it for three times as long.
   double heartbeatInterval = 5.0;

   bool operator==(TimingConfiguration const&) const = default;
};

struct SystemConfiguration {
   Controller::SystemId id;
   std::string name = "controller";
   /// Where the controller serves; nothing when it does not.
   std::optional<Nimet::IpAddr> address;
   std::uint16_t port = 0;

   bool operator==(SystemConfiguration const&) const = default;
};

struct Configuration {
   SystemConfiguration system;
   TimingConfiguration timing;
   std::map<std::string, SwitchConfiguration> switches;
   std::map<std::string, ServiceConfiguration> services;

   bool operator==(Configuration const&) const = default;
};

} // namespace Host
