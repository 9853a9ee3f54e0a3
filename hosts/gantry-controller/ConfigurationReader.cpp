// The fields of the controller's file and what they must not say together.

#include <hosts/gantry-controller/ConfigurationFields.h>
#include <hosts/gantry-controller/ConfigurationReader.h>
#include <hosts/gantry-controller/Values.h>

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

namespace Host {

namespace {

constexpr std::size_t longestFile = 16 * 1024 * 1024;
constexpr double longestTime = 86400.0;
constexpr std::uint64_t mostFilterVersions = 1000;
constexpr std::uint16_t defaultSwitchPort = 9001;
/// What the controller itself keeps at its root, and the place at which its machines are shown.
constexpr std::array ownDirectories = {"services", "clients",   "switches",
                                       "registry", "published", "machines"};

std::optional<Controller::SystemId> systemIdOf(std::string const& text) {
   Controller::SystemId const id((Fen::String8(text)));
   return id == Controller::SystemId() ? std::nullopt : std::optional(id);
}

/// The components of a path; one of them is empty when a slash has nothing on one of its sides.
std::vector<std::string> components(std::string const& path) {
   std::vector<std::string> result(1);
   for (char const c : path) {
      if (c == '/') {
         result.emplace_back();
      } else {
         result.back() += c;
      }
   }
   return result;
}

/// What is wrong with a path, empty when nothing is.
std::string pathFault(std::string const& path) {
   for (std::string const& each : components(path)) {
      if (each.empty()) {
         return "has an empty component; a path has neither a slash at an end nor two in a row";
      }
      if (each == "." || each == "..") {
         return "has the component '" + each + "', which leads nowhere";
      }
   }
   return {};
}

/// Where something was declared that something else may contradict.
struct Declared {
   std::string service;
   MountConfiguration mount;
   std::string field;
   JsonPlace place;
};

std::string at(Declared const& declared) {
   return declared.field + " (line " + std::to_string(declared.place.line) + ", column " +
          std::to_string(declared.place.column) + ")";
}

class Reader {
 public:
   explicit Reader(ConfigurationProblems& problems) : problems_(problems) {}

   Configuration read(JsonNode const& root) {
      ConfigurationFields fields(root, "", problems_, {"system", "timing", "switches", "services"});
      if (JsonNode const* const system = fields.require("system")) {
         readSystem(*system);
      }
      if (JsonNode const* const timing = fields.find("timing")) {
         readTiming(*timing);
      }
      if (JsonNode const* const switches = fields.find("switches")) {
         eachNamed(
            *switches, "switches", false, problems_,
            [this](JsonMember const& each, std::string const& field) { readSwitch(each, field); });
      }
      if (JsonNode const* const services = fields.find("services")) {
         eachNamed(
            *services, "services", false, problems_,
            [this](JsonMember const& each, std::string const& field) { readService(each, field); });
      }
      refuseClashingPublications();
      return std::move(result_);
   }

 private:
   void problem(JsonPlace const& place, std::string const& field, std::string const& text) {
      problems_.push_back({place, field, text});
   }

   Controller::SystemId requiredId(ConfigurationFields& fields) {
      std::string const text = fields.requiredText("id");
      auto const id = systemIdOf(text);
      if (!id && !text.empty()) {
         fields.problem("id", "'" + text +
                                 "' is no system id; give six pairs of hexadecimal digits with "
                                 "colons between, not all zero");
      }
      return id.value_or(Controller::SystemId());
   }

   void readSystem(JsonNode const& node) {
      ConfigurationFields fields(node, "system", problems_, {"id", "name", "listen"});
      result_.system.id = requiredId(fields);
      result_.system.name = fields.text("name", result_.system.name);
      if (result_.system.name.empty() || result_.system.name.find('/') != std::string::npos) {
         fields.problem("name", "cannot name a system; give a name without slashes");
      }
      std::string const listen = fields.text("listen", "");
      if (fields.find("listen") != nullptr && !listen.empty()) {
         try {
            Endpoint const endpoint = endpointOf("listen", listen, true);
            result_.system.address = endpoint.address;
            result_.system.port = endpoint.port;
         } catch (UserError const& error) {
            std::string const text = error.what();
            fields.problem("listen", text.substr(text.find(": ") + 2));
         }
      }
   }

   void readTiming(JsonNode const& node) {
      ConfigurationFields fields(
         node, "timing", problems_,
         {"reconnectRetries", "retryInterval", "mountTimeout", "heartbeatInterval"});
      TimingConfiguration& timing = result_.timing;
      timing.reconnectRetries = fields.whole("reconnectRetries", timing.reconnectRetries, 0, 1000);
      timing.retryInterval =
         fields.number("retryInterval", timing.retryInterval, 0.01, longestTime);
      timing.mountTimeout = fields.number("mountTimeout", timing.mountTimeout, 0, longestTime);
      if (timing.mountTimeout > 0 && timing.mountTimeout < 1) {
         // Whole seconds are what counts, and none of them would mean no limit.
         fields.problem("mountTimeout", "is less than a second; give 1 or more, or 0 for no limit");
      }
      timing.heartbeatInterval =
         fields.number("heartbeatInterval", timing.heartbeatInterval, 0.01, longestTime);
   }

   void readSwitch(JsonMember const& member, std::string const& field) {
      ConfigurationFields fields(member.value, field, problems_, {"id", "address", "port"});
      SwitchConfiguration one;
      one.id = requiredId(fields);
      std::string const address = fields.requiredText("address");
      in_addr binary{};
      if (!address.empty() &&
          (inet_pton(AF_INET, address.c_str(), &binary) != 1 || binary.s_addr == 0)) {
         fields.problem("address", "'" + address + "' is no IPv4 address such as 10.0.0.1");
      }
      one.address = Nimet::IpAddr(Fen::String8(address));
      one.port = static_cast<std::uint16_t>(fields.whole("port", defaultSwitchPort, 1, 65535));
      refuseTwin(one, member, field);
      result_.switches[member.key] = one;
   }

   void refuseTwin(SwitchConfiguration const& one, JsonMember const& member,
                   std::string const& field) {
      if (one.id != Controller::SystemId() && one.id == result_.system.id) {
         problem(member.place, field + ".id", "is the controller's own id (system.id)");
      }
      for (auto const& [name, other] : result_.switches) {
         if (one.id != Controller::SystemId() && one.id == other.id) {
            problem(member.place, field + ".id", "is also the id of switches." + name);
         }
         if (!one.address.isZero() && one.address == other.address && one.port == other.port) {
            problem(member.place, field + ".address",
                    "and port are also those of switches." + name);
         }
      }
   }

   void readService(JsonMember const& member, std::string const& field) {
      ConfigurationFields fields(
         member.value, field, problems_,
         {"versions", "systemFilters", "versionFilters", "mountGroups", "publishGroups", "ready"});
      ServiceConfiguration& service = result_.services[member.key];
      std::string const versions = fields.requiredText("versions");
      if (auto const read = Versions::fromText(versions)) {
         service.versions = *read;
      } else if (!versions.empty()) {
         fields.problem("versions", "'" + versions + "' names no versions; give such as 1-3,5");
      }
      if (JsonNode const* const filters = fields.find("systemFilters")) {
         eachNamed(*filters, fields.below("systemFilters"), false, problems_,
                   [&](JsonMember const& each, std::string const& below) {
                      service.systemFilters[each.key] = systemsOf(each.value, below);
                   });
      }
      if (JsonNode const* const filters = fields.find("versionFilters")) {
         eachNamed(*filters, fields.below("versionFilters"), false, problems_,
                   [&](JsonMember const& each, std::string const& below) {
                      service.versionFilters[each.key] = versionsOf(each.value, below);
                   });
      }
      if (JsonNode const* const groups = fields.find("mountGroups")) {
         eachNamed(*groups, fields.below("mountGroups"), false, problems_,
                   [&](JsonMember const& each, std::string const& below) {
                      readGroup(member.key, service, each, below);
                   });
      }
      if (JsonNode const* const groups = fields.find("publishGroups")) {
         eachNamed(*groups, fields.below("publishGroups"), false, problems_,
                   [&](JsonMember const& each, std::string const& below) {
                      readPublishGroup(service, each, below);
                   });
      }
      service.ready = fields.boolean("ready", !service.publishGroups.empty());
   }

   /// The filters of a group, which must be those of its service.
   void readFilters(ConfigurationFields& fields, ServiceConfiguration const& service,
                    std::string& systemFilter, std::string& versionFilter) {
      systemFilter = fields.text("systemFilter", "");
      if (!systemFilter.empty() && !service.systemFilters.contains(systemFilter)) {
         fields.problem("systemFilter",
                        "the service has no system filter '" + fieldBelow("", systemFilter) + "'");
      }
      versionFilter = fields.text("versionFilter", "");
      if (!versionFilter.empty() && !service.versionFilters.contains(versionFilter)) {
         fields.problem("versionFilter", "the service has no version filter '" +
                                            fieldBelow("", versionFilter) + "'");
      }
   }

   void readPublishGroup(ServiceConfiguration& service, JsonMember const& member,
                         std::string const& field) {
      ConfigurationFields fields(member.value, field, problems_,
                                 {"systemFilter", "versionFilter", "entities", "directories"});
      PublishGroupConfiguration group;
      readFilters(fields, service, group.systemFilter, group.versionFilter);
      auto const read = [&](char const* name, bool isDirectory) {
         if (JsonNode const* const publications = fields.find(name)) {
            eachNamed(*publications, fields.below(name), true, problems_,
                      [&](JsonMember const& each, std::string const& below) {
                         readPublication(group, each, below, isDirectory);
                      });
         }
      };
      read("entities", false);
      read("directories", true);
      service.publishGroups[member.key] = std::move(group);
   }

   void readPublication(PublishGroupConfiguration& group, JsonMember const& member,
                        std::string const& field, bool isDirectory) {
      PublicationConfiguration publication;
      publication.isDirectory = isDirectory;
      if (std::string const fault = pathFault(member.key); !fault.empty()) {
         problem(member.place, field, fault);
      }
      ConfigurationFields fields =
         isDirectory
            ? ConfigurationFields(member.value, field, problems_, {"remotePath", "systems"})
            : ConfigurationFields(member.value, field, problems_, {"remotePath", "type", "values"});
      publication.remotePath = fields.requiredText("remotePath");
      if (std::string const fault = pathFault(publication.remotePath);
          !publication.remotePath.empty() && !fault.empty()) {
         fields.problem("remotePath", fault);
      }
      if (!isDirectory) {
         publication.entity = readEntity(fields);
      } else if (JsonNode const* const systems = fields.find("systems")) {
         eachNamed(*systems, fields.below("systems"), false, problems_,
                   [&](JsonMember const& each, std::string const& below) {
                      readPart(publication, each, below);
                   });
      }
      published_.emplace_back(member.key, Declared{"", {}, field, member.place});
      group.publications.insert_or_assign(member.key, std::move(publication));
   }

   void readPart(PublicationConfiguration& publication, JsonMember const& member,
                 std::string const& field) {
      auto const known = result_.switches.find(member.key);
      auto const id =
         known != result_.switches.end() ? std::optional(known->second.id) : systemIdOf(member.key);
      if (!id) {
         problem(member.place, field, "is neither a system id nor the name of one of the switches");
         return;
      }
      auto const placed = publication.parts.try_emplace(std::string(id->stringValue().view()));
      auto& part = placed.first->second;
      if (!placed.second) {
         problem(member.place, field, "names a system that stands here already");
      }
      eachNamed(member.value, field, false, problems_,
                [&](JsonMember const& each, std::string const& below) {
                   ConfigurationFields fields(each.value, below, problems_, {"type", "values"});
                   part[each.key] = readEntity(fields);
                });
   }

   /// An entity by its type and values, all of which must fit.
   EntityConfiguration readEntity(ConfigurationFields& fields) {
      EntityConfiguration entity;
      entity.type = fields.requiredText("type");
      std::string const fault = entity.type.empty() ? "is empty" : typeFault(entity.type);
      if (!fault.empty()) {
         if (!entity.type.empty()) {
            fields.problem("type", fault);
         }
         return entity;
      }
      JsonNode const* const values = fields.find("values");
      if (values == nullptr) {
         return entity;
      }
      eachNamed(*values, fields.below("values"), false, problems_,
                [&](JsonMember const& each, std::string const& below) {
                   std::string const text = valueTextOf(each.value);
                   std::string const wrong = text.empty()
                                                ? "is neither a truth value nor a number nor a text"
                                                : valueFault(entity.type, each.key, text);
                   if (!wrong.empty()) {
                      problem(each.value.place, below, wrong);
                   } else {
                      entity.values[each.key] = text;
                   }
                });
      return entity;
   }

   /// Whether one path is the other, or leads to it.
   static bool leadsTo(std::string const& one, std::string const& other) {
      return one == other || (other.size() > one.size() && other.compare(0, one.size(), one) == 0 &&
                              other[one.size()] == '/');
   }

   /// What is published has a place of its own in the tree: two services that publish one path
   /// would take it from each other.
   void refuseClashingPublications() {
      for (auto one = published_.begin(); one != published_.end(); ++one) {
         auto const& [path, declared] = *one;
         std::string const first = path.substr(0, path.find('/'));
         if (first == "mounts" || std::find(ownDirectories.begin(), ownDirectories.end(), first) !=
                                     ownDirectories.end()) {
            problem(declared.place, declared.field,
                    "'" + first + "' belongs to the controller itself");
         }
         for (auto other = published_.begin(); other != one; ++other) {
            if (leadsTo(path, other->first) || leadsTo(other->first, path)) {
               problem(declared.place, declared.field,
                       "is published already by " + at(other->second));
            }
         }
         for (auto const& [target, mount] : targets_) {
            if (leadsTo(path, target) || leadsTo(target, path)) {
               problem(declared.place, declared.field, "is the place of " + at(mount.second));
            }
         }
      }
   }

   /// A filter's systems: ids, or names of switches of the file.
   std::set<std::string> systemsOf(JsonNode const& node, std::string const& field) {
      std::set<std::string> systems;
      if (!requireKind(node, JsonKind::list, field, problems_)) {
         return systems;
      }
      for (JsonNode const& each : node.elements) {
         if (!requireKind(each, JsonKind::text, field, problems_)) {
            continue;
         }
         auto const known = result_.switches.find(each.text);
         auto const id = known != result_.switches.end() ? std::optional(known->second.id)
                                                         : systemIdOf(each.text);
         if (!id) {
            problem(each.place, field,
                    "'" + fieldBelow("", each.text) +
                       "' is neither a system id nor the name of one of the switches");
         } else if (!systems.insert(std::string(id->stringValue().view())).second) {
            problem(each.place, field, "names " + fieldBelow("", each.text) + " twice");
         }
      }
      if (node.elements.empty()) {
         problem(
            node.place, field,
            "is empty, and would let every system pass; leave the filter out, or name systems");
      }
      return systems;
   }

   std::set<std::uint32_t> versionsOf(JsonNode const& node, std::string const& field) {
      std::set<std::uint32_t> versions;
      if (!requireKind(node, JsonKind::text, field, problems_)) {
         return versions;
      }
      auto const read = Versions::fromText(node.text);
      if (!read || read->count() > mostFilterVersions) {
         problem(node.place, field,
                 "'" + fieldBelow("", node.text) + "' does not name from 1 to " +
                    std::to_string(mostFilterVersions) + " versions; give such as 1-3,5");
         return versions;
      }
      for (Versions::Range const& range : read->ranges()) {
         for (std::uint64_t version = range.first; version <= range.last; ++version) {
            versions.insert(static_cast<std::uint32_t>(version));
         }
      }
      return versions;
   }

   void readGroup(std::string const& serviceName, ServiceConfiguration& service,
                  JsonMember const& member, std::string const& field) {
      ConfigurationFields fields(
         member.value, field, problems_,
         {"systemFilter", "versionFilter", "preserveMountsOnDisconnect", "mounts"});
      MountGroupConfiguration group;
      readFilters(fields, service, group.systemFilter, group.versionFilter);
      group.preserveMountsOnDisconnect = fields.boolean("preserveMountsOnDisconnect", false);
      if (JsonNode const* const mounts = fields.find("mounts")) {
         eachNamed(*mounts, fields.below("mounts"), true, problems_,
                   [&](JsonMember const& each, std::string const& below) {
                      readMount(serviceName, group, each, below);
                   });
      }
      service.mountGroups[member.key] = std::move(group);
   }

   void readMount(std::string const& serviceName, MountGroupConfiguration& group,
                  JsonMember const& member, std::string const& field) {
      ConfigurationFields fields(member.value, field, problems_, {"type", "flags", "target"});
      MountConfiguration mount;
      mount.type = fields.requiredText("type");
      mount.flags = fields.text("flags", "");
      mount.target = fields.text("target", "");
      if (std::string const fault = pathFault(member.key); !fault.empty()) {
         problem(member.place, field, fault);
      }
      if (!mount.target.empty()) {
         if (std::string const fault = pathFault(mount.target); !fault.empty()) {
            fields.problem("target", fault);
         }
      }
      refuseUnusableTarget(member, mount, field);
      refuseContradiction({serviceName, mount, field, member.place}, member.key);
      group.mounts[member.key] = std::move(mount);
   }

   void refuseUnusableTarget(JsonMember const& member, MountConfiguration const& mount,
                             std::string const& field) {
      std::vector<std::string> const steps = components(effectiveTarget(member.key, mount));
      if (std::find(ownDirectories.begin(), ownDirectories.end(), steps.front()) !=
          ownDirectories.end()) {
         problem(member.place, field + ".target",
                 "'" + steps.front() + "' belongs to the controller itself");
      }
      // Below such a name stands what is mounted from that system.
      for (std::string const& each : steps) {
         if (systemIdOf(each)) {
            problem(member.place, field + ".target",
                    "has the component " + each +
                       ", a system id, which would lead into what is mounted from that system");
         }
      }
   }

   /// A path has one place, one type and one set of flags, whoever asks for it, and a service asks
   /// for it once.
   void refuseContradiction(Declared const& declared, std::string const& path) {
      auto const [entry, isNew] = paths_.emplace(path, declared);
      Declared const& first = entry->second;
      if (!isNew && first.service == declared.service) {
         problem(declared.place, declared.field,
                 "the service asks for the path already in " + at(first));
      } else if (!isNew && first.mount != declared.mount) {
         char const* const what = first.mount.type != declared.mount.type     ? "type"
                                  : first.mount.flags != declared.mount.flags ? "flags"
                                                                              : "target";
         problem(declared.place, declared.field + "." + what,
                 "differs from that of the same path in " + at(first));
      }
      auto const [place, isFree] =
         targets_.emplace(effectiveTarget(path, declared.mount), std::make_pair(path, declared));
      if (!isFree && place->second.first != path) {
         problem(declared.place, declared.field + ".target",
                 "is also the place of " + at(place->second.second));
      }
   }

   ConfigurationProblems& problems_;
   Configuration result_;
   std::map<std::string, Declared> paths_;
   std::map<std::string, std::pair<std::string, Declared>> targets_;
   /// Published paths in the order of the file.
   std::vector<std::pair<std::string, Declared>> published_;
};

} // namespace

std::string problemsText(std::string const& file, std::vector<ConfigurationProblem> const& all) {
   std::string text;
   for (ConfigurationProblem const& each : all) {
      text += (text.empty() ? "" : "\n") + file + ":" + std::to_string(each.place.line) + ":" +
              std::to_string(each.place.column) + ": " +
              (each.field.empty() ? "" : each.field + ": ") + each.text;
   }
   return text;
}

Configuration configurationOf(std::string_view text, std::vector<ConfigurationProblem>& problems) {
   try {
      Configuration result = Reader(problems).read(jsonDocument(text));
      std::stable_sort(problems.begin(), problems.end(), [](auto const& left, auto const& right) {
         return left.place.line < right.place.line;
      });
      return result;
   } catch (JsonError const& error) {
      problems.push_back({error.place, "", error.what()});
   }
   return {};
}

Configuration configurationFromFile(std::string const& file) {
   std::ifstream in(file, std::ios::binary);
   std::string text(longestFile + 1, '\0');
   in.read(text.data(), static_cast<std::streamsize>(text.size()));
   if (!in.eof() && !in.good()) {
      throw ConfigurationError(file + ": cannot be read");
   }
   text.resize(static_cast<std::size_t>(in.gcount()));
   if (text.size() > longestFile) {
      throw ConfigurationError(file + ": is larger than 16 MiB");
   }
   std::vector<ConfigurationProblem> problems;
   Configuration result = configurationOf(text, problems);
   if (!problems.empty()) {
      throw ConfigurationError(problemsText(file, problems));
   }
   return result;
}

std::string effectiveTarget(std::string const& path, MountConfiguration const& mount) {
   return mount.target.empty() ? "mounts/" + path : mount.target;
}

} // namespace Host
