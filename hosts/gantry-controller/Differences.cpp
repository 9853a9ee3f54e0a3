// The table of differences, row by row.

#include <hosts/gantry-controller/ConfigurationReader.h>
#include <hosts/gantry-controller/Differences.h>

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

namespace Host {

namespace {

using Kind = OperationKind;

ServiceConfiguration const noService = {};
MountGroupConfiguration const noGroup = {};
PublishGroupConfiguration const noPublishGroup = {};

template <class Map>
typename Map::mapped_type const* find(Map const& map, std::string const& key) {
   auto const found = map.find(key);
   return found != map.end() ? &found->second : nullptr;
}

/// A mount of a configuration, by who asks for it.
struct Wish {
   std::string service;
   std::string group;
   std::string path;
   auto operator<=>(Wish const&) const = default;
};
/// What a wish is declared with: what differs here means that it is declared anew.
struct Terms {
   MountConfiguration mount;
   std::string systemFilter;
   std::string versionFilter;
   bool operator==(Terms const&) const = default;
};
using Wishes = std::map<Wish, Terms>;

Wishes wishesOf(Configuration const& configuration) {
   Wishes wishes;
   for (auto const& [service, declared] : configuration.services) {
      for (auto const& [group, mounts] : declared.mountGroups) {
         for (auto const& [path, mount] : mounts.mounts) {
            wishes.emplace(Wish{service, group, path},
                           Terms{mount, mounts.systemFilter, mounts.versionFilter});
         }
      }
   }
   return wishes;
}

class Comparison {
 public:
   Comparison(Configuration const& before, Configuration const& after)
      : before_(before), after_(after), wishesBefore_(wishesOf(before)),
        wishesAfter_(wishesOf(after)) {}

   Differences run() {
      fixed();
      if (result_.fixedFields.empty()) {
         switches();
         services();
         mounts();
         timing();
         // Each row says which of its operations come when; rows do not depend on each other's
         // order beyond that.
         std::stable_sort(
            result_.operations.begin(), result_.operations.end(),
            [](Operation const& left, Operation const& right) { return left.kind < right.kind; });
      }
      return std::move(result_);
   }

 private:
   Operation& add(Kind kind, std::string const& owner = {}, std::string const& group = {},
                  std::string const& name = {}, std::string const& member = {}) {
      return result_.operations.emplace_back(Operation{kind, owner, group, name, member});
   }

   void fixed() {
      auto const same = [this](bool isSame, char const* field) {
         if (!isSame) {
            result_.fixedFields.emplace_back(field);
         }
      };
      SystemConfiguration const& one = before_.system;
      SystemConfiguration const& other = after_.system;
      same(one.id == other.id, "system.id");
      same(one.name == other.name, "system.name");
      same(one.address == other.address && one.port == other.port, "system.listen");
      same(before_.timing.reconnectRetries == after_.timing.reconnectRetries,
           "timing.reconnectRetries");
      same(before_.timing.mountTimeout == after_.timing.mountTimeout, "timing.mountTimeout");
   }

   void timing() {
      if (before_.timing.heartbeatInterval != after_.timing.heartbeatInterval) {
         add(Kind::heartbeatIntervalIs).seconds = after_.timing.heartbeatInterval;
      }
      if (before_.timing.retryInterval != after_.timing.retryInterval) {
         add(Kind::retryIntervalIs).seconds = after_.timing.retryInterval;
      }
   }

   void switches() {
      for (auto const& [name, one] : before_.switches) {
         SwitchConfiguration const* const same = find(after_.switches, name);
         if (same == nullptr || *same != one) {
            add(Kind::switchDel, name);
         }
      }
      for (auto const& [name, one] : after_.switches) {
         SwitchConfiguration const* const same = find(before_.switches, name);
         if (same == nullptr || *same != one) {
            add(Kind::switchIs, name).toSwitch = one;
         }
      }
   }

   void services() {
      for (auto const& [name, service] : before_.services) {
         if (find(after_.services, name) == nullptr) {
            serviceDiffers(name, service, noService);
         }
      }
      for (auto const& [name, service] : after_.services) {
         ServiceConfiguration const* const same = find(before_.services, name);
         if (same == nullptr) {
            add(Kind::serviceIs, name);
         }
         serviceDiffers(name, same != nullptr ? *same : noService, service);
      }
   }

   void serviceDiffers(std::string const& name, ServiceConfiguration const& before,
                       ServiceConfiguration const& after) {
      if (before.versions != after.versions) {
         add(Kind::serviceVersionsIs, name).versions = after.versions;
      }
      systemFilters(name, before, after);
      versionFilters(name, before, after);
      groups(name, before, after);
      publishGroups(name, before, after);
      if (before.ready != after.ready) {
         add(Kind::serviceReadyIs, name).flag = after.ready;
      }
   }

   void systemFilters(std::string const& service, ServiceConfiguration const& before,
                      ServiceConfiguration const& after) {
      for (auto const& [name, members] : before.systemFilters) {
         auto const* const same = find(after.systemFilters, name);
         if (same == nullptr) {
            add(Kind::systemFilterDel, service, {}, name);
            continue;
         }
         for (std::string const& each : members) {
            if (!same->contains(each)) {
               add(Kind::systemFilterMemberDel, service, {}, name, each);
               revisit(service, name, each, before, after);
            }
         }
      }
      for (auto const& [name, members] : after.systemFilters) {
         auto const* const same = find(before.systemFilters, name);
         if (same == nullptr) {
            add(Kind::systemFilterIs, service, {}, name);
         }
         for (std::string const& each : members) {
            if (same == nullptr || !same->contains(each)) {
               add(Kind::systemFilterMemberIs, service, {}, name, each);
            }
            if (same != nullptr && !same->contains(each)) {
               revisit(service, name, each, before, after);
            }
         }
      }
   }

   /// A filter of the service gains or loses the system: where a group that had the filter before
   /// and keeps it shares a path with another service, nobody else would look.
   void revisit(std::string const& service, std::string const& filter, std::string const& system,
                ServiceConfiguration const& before, ServiceConfiguration const& after) {
      for (auto const& [name, group] : after.mountGroups) {
         MountGroupConfiguration const* const same = find(before.mountGroups, name);
         if (group.systemFilter != filter || same == nullptr || same->systemFilter != filter) {
            continue;
         }
         for (auto const& [path, mount] : group.mounts) {
            if (isShared(service, path) && revisited_.insert(system).second) {
               add(Kind::systemRevisit, system);
            }
         }
      }
   }

   bool isShared(std::string const& service, std::string const& path) const {
      return std::any_of(wishesAfter_.begin(), wishesAfter_.end(), [&](auto const& each) {
         return each.first.path == path && each.first.service != service;
      });
   }

   void versionFilters(std::string const& service, ServiceConfiguration const& before,
                       ServiceConfiguration const& after) {
      for (auto const& [name, members] : before.versionFilters) {
         auto const* const same = find(after.versionFilters, name);
         if (same == nullptr) {
            add(Kind::versionFilterDel, service, {}, name);
            continue;
         }
         for (std::uint32_t each : members) {
            if (!same->contains(each)) {
               add(Kind::versionFilterMemberDel, service, {}, name, std::to_string(each));
            }
         }
      }
      for (auto const& [name, members] : after.versionFilters) {
         auto const* const same = find(before.versionFilters, name);
         if (same == nullptr) {
            add(Kind::versionFilterIs, service, {}, name);
         }
         for (std::uint32_t each : members) {
            if (same == nullptr || !same->contains(each)) {
               add(Kind::versionFilterMemberIs, service, {}, name, std::to_string(each));
            }
         }
      }
   }

   void groups(std::string const& service, ServiceConfiguration const& before,
               ServiceConfiguration const& after) {
      for (auto const& [name, group] : before.mountGroups) {
         if (find(after.mountGroups, name) == nullptr) {
            add(Kind::groupDel, service, name);
         }
      }
      for (auto const& [name, group] : after.mountGroups) {
         MountGroupConfiguration const* const same = find(before.mountGroups, name);
         MountGroupConfiguration const& old = same != nullptr ? *same : noGroup;
         if (same == nullptr) {
            add(Kind::groupIs, service, name);
         }
         if (old.systemFilter != group.systemFilter || old.versionFilter != group.versionFilter) {
            Operation& filters = add(Kind::groupFiltersIs, service, name);
            filters.systemFilter = group.systemFilter;
            filters.versionFilter = group.versionFilter;
         }
         if (old.preserveMountsOnDisconnect != group.preserveMountsOnDisconnect) {
            add(Kind::groupPreserveIs, service, name).flag = group.preserveMountsOnDisconnect;
         }
      }
   }

   void publishGroups(std::string const& service, ServiceConfiguration const& before,
                      ServiceConfiguration const& after) {
      for (auto const& [name, group] : before.publishGroups) {
         PublishGroupConfiguration const* const same = find(after.publishGroups, name);
         publications(service, name, group, same != nullptr ? *same : noPublishGroup);
         if (same == nullptr) {
            add(Kind::publishGroupDel, service, name);
         }
      }
      for (auto const& [name, group] : after.publishGroups) {
         PublishGroupConfiguration const* const same = find(before.publishGroups, name);
         PublishGroupConfiguration const& old = same != nullptr ? *same : noPublishGroup;
         if (same == nullptr) {
            add(Kind::publishGroupIs, service, name);
            publications(service, name, noPublishGroup, group);
         }
         if (!sameFilters(old, group)) {
            Operation& filters = add(Kind::publishGroupFiltersIs, service, name);
            filters.systemFilter = group.systemFilter;
            filters.versionFilter = group.versionFilter;
         }
      }
   }

   static bool sameFilters(PublishGroupConfiguration const& left,
                           PublishGroupConfiguration const& right) {
      return left.systemFilter == right.systemFilter && left.versionFilter == right.versionFilter;
   }

   void publications(std::string const& service, std::string const& group,
                     PublishGroupConfiguration const& before,
                     PublishGroupConfiguration const& after) {
      auto const declaredAlike = [&](PublicationConfiguration const& left,
                                     PublicationConfiguration const& right) {
         return left.isDirectory == right.isDirectory && left.remotePath == right.remotePath &&
                left.entity.type == right.entity.type &&
                (!left.isDirectory || sameFilters(before, after));
      };
      for (auto const& [path, one] : before.publications) {
         PublicationConfiguration const* const same = find(after.publications, path);
         if (same == nullptr || !declaredAlike(one, *same)) {
            add(Kind::publicationWithdraw, service, group, path).flag = one.isDirectory;
         }
         if (same == nullptr || one.isDirectory != same->isDirectory ||
             one.entity.type != same->entity.type) {
            add(Kind::contentDel, service, group, path);
         }
      }
      for (auto const& [path, one] : after.publications) {
         PublicationConfiguration const* const same = find(before.publications, path);
         if (same == nullptr || same->entity != one.entity || same->parts != one.parts ||
             same->isDirectory != one.isDirectory) {
            add(Kind::contentIs, service, group, path).publication = one;
         }
         if (same == nullptr || !declaredAlike(*same, one)) {
            add(Kind::publicationDeclare, service, group, path).publication = one;
         }
      }
   }

   /// All mounts of all services together, since a path is one for all of them.
   void mounts() {
      std::map<std::string, MountConfiguration> pathsAfter;
      for (auto const& [wish, terms] : wishesAfter_) {
         pathsAfter.emplace(wish.path, terms.mount);
      }
      std::set<std::string> retired;
      for (auto const& [wish, terms] : wishesBefore_) {
         auto const path = pathsAfter.find(wish.path);
         if ((path == pathsAfter.end() || path->second != terms.mount) &&
             retired.insert(wish.path).second) {
            add(Kind::pathRetire, {}, {}, wish.path);
         }
      }
      for (auto const& [wish, terms] : wishesBefore_) {
         auto const same = wishesAfter_.find(wish);
         if (same == wishesAfter_.end() || same->second != terms) {
            add(Kind::mountWithdraw, wish.service, wish.group, wish.path);
         }
      }
      for (auto const& [wish, terms] : wishesAfter_) {
         auto const same = wishesBefore_.find(wish);
         if (same == wishesBefore_.end() || same->second != terms) {
            add(Kind::mountDeclare, wish.service, wish.group, wish.path).mount = terms.mount;
         }
      }
   }

   Configuration const& before_;
   Configuration const& after_;
   Wishes const wishesBefore_;
   Wishes const wishesAfter_;
   std::set<std::string> revisited_;
   Differences result_;
};

} // namespace

char const* operationName(OperationKind kind) {
   static constexpr char const* names[] = {"switchDel",
                                           "mountWithdraw",
                                           "pathRetire",
                                           "publicationWithdraw",
                                           "groupDel",
                                           "publishGroupDel",
                                           "contentDel",
                                           "serviceIs",
                                           "serviceVersionsIs",
                                           "systemFilterIs",
                                           "systemFilterMemberIs",
                                           "systemFilterMemberDel",
                                           "versionFilterIs",
                                           "versionFilterMemberIs",
                                           "versionFilterMemberDel",
                                           "groupIs",
                                           "groupFiltersIs",
                                           "groupPreserveIs",
                                           "publishGroupIs",
                                           "publishGroupFiltersIs",
                                           "systemFilterDel",
                                           "versionFilterDel",
                                           "mountDeclare",
                                           "contentIs",
                                           "publicationDeclare",
                                           "serviceReadyIs",
                                           "heartbeatIntervalIs",
                                           "retryIntervalIs",
                                           "switchIs",
                                           "systemRevisit"};
   return names[static_cast<std::size_t>(kind)];
}

std::string Operation::text() const {
   std::string text = operationName(kind);
   for (std::string const* each : {&owner, &group, &name, &member}) {
      text += each->empty() ? "" : " " + *each;
   }
   switch (kind) {
   case OperationKind::mountDeclare:
      text += ": " + mount.type + "," + mount.flags + "," + mount.target;
      break;
   case OperationKind::switchIs:
      text += ": " + std::string(toSwitch.id.stringValue().view()) + " " +
              std::string(toSwitch.address.stringValue().view()) + ":" +
              std::to_string(toSwitch.port);
      break;
   case OperationKind::serviceVersionsIs:
      text += ": " + versions.text();
      break;
   case OperationKind::publicationDeclare:
      text += ": " + publication.remotePath;
      break;
   case OperationKind::groupFiltersIs:
   case OperationKind::publishGroupFiltersIs:
      text += ": " + systemFilter + "," + versionFilter;
      break;
   case OperationKind::groupPreserveIs:
   case OperationKind::serviceReadyIs:
      text += flag ? ": true" : ": false";
      break;
   default:
      break;
   }
   return text;
}

Differences differences(Configuration const& before, Configuration const& after) {
   return Comparison(before, after).run();
}

} // namespace Host
