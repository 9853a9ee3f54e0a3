/// What can be seen of both worlds, as lines in one form. The live side is read through its public
/// getters alone, and in the order of its collections.
#include "Twins.h"

#include <algorithm>
#include <sstream>

namespace RegistryTest {

using namespace Controller;

namespace {

template <class... Parts>
std::string line(Parts const&... parts) {
   std::ostringstream text;
   text.precision(12);
   (text << ... << parts);
   return text.str();
}

/// Mounts that are dropped together let go of their managers in whatever order.
std::vector<std::string> dropsInOrder(std::vector<std::string> calls) {
   auto const isDrop = [](std::string const& call) { return call.starts_with('~'); };
   for (auto at = calls.begin(); at != calls.end();) {
      auto const from = std::find_if(at, calls.end(), isDrop);
      at = std::find_if_not(from, calls.end(), isDrop);
      std::sort(from, at);
   }
   return calls;
}

} // namespace

// ---- statuses ----------------------------------------------------------------------------------

void Twins::liveStatusLines(Lines& lines) const {
   for (std::size_t at = 0; at < everyStatus_.size(); ++at) {
      ServiceMountStatus const& status = *everyStatus_[at].live;
      std::string const who = line("status ", at, " of ", status.name(), ": ");
      for (auto prefix = status.mountedPathPrefixIterator(); prefix; ++prefix) {
         lines.push_back(line(who, prefix->name(), " below ", prefix->pathPrefix()));
      }
      for (auto system = status.systemStatusIterator(); system; ++system) {
         lines.push_back(line(who, "system ", system->name()));
         for (auto group = system->serviceMountGroupStatusIterator(); group; ++group) {
            lines.push_back(line(who, system->name(), " ", group->name(), " is ",
                                 unsigned{group->mountState()}));
            for (auto mount = group->mountStatusIterator(); mount; ++mount) {
               lines.push_back(line(who, system->name(), " ", group->name(), " ", mount->name(),
                                    " is ", unsigned{mount->mountState()}, " at '",
                                    mount->mountedPath(), "'"));
            }
         }
      }
   }
}

void Twins::modelStatusLines(Lines& lines) const {
   for (std::size_t at = 0; at < everyStatus_.size(); ++at) {
      Naive::ServiceStatus const& status = *everyStatus_[at].model;
      std::string const who = line("status ", at, " of ", status.name, ": ");
      for (auto const& [path, prefix] : status.prefixes) {
         lines.push_back(line(who, path.text, " below ", prefix));
      }
      for (auto const& [system, groups] : status.systems) {
         lines.push_back(line(who, "system ", system.text));
         for (auto const& [name, group] : groups) {
            lines.push_back(line(who, system.text, " ", name.text, " is ", unsigned{group.state}));
            for (auto const& [path, mount] : group.mounts) {
               lines.push_back(line(who, system.text, " ", name.text, " ", path.text, " is ",
                                    unsigned{mount.state}, " at '", mount.mountedPath, "'"));
            }
         }
      }
   }
}

// ---- the registry ------------------------------------------------------------------------------

void Twins::liveRegistryLines(Lines& lines) const {
   for (auto entry = mountsRegistry_->mountEntryIterator(); entry; ++entry) {
      lines.push_back(line("entry ", entry->name(), " at ", entry->targetPath(), " of ",
                           entry->fenType(), " with ", entry->mountFlags()));
      for (auto mounter = entry->mounterIterator(); mounter; ++mounter) {
         lines.push_back(line("entry ", entry->name(), " for ", mounter->serviceName(), " and ",
                              mounter->groupName(), ", declared at '",
                              mounter->mountConfig()->targetMountPath(), "'"));
      }
   }
   for (auto system = registeredSwitchTable_->systemIterator(); system; ++system) {
      lines.push_back(line("registered ", system->key().stringValue(), " ", system->value()));
   }
}

void Twins::modelRegistryLines(Lines& lines) const {
   for (auto const& [path, entry] : model_.entries) {
      lines.push_back(line("entry ", path.text, " at ", entry->targetPath, " of ", entry->type,
                           " with ", entry->flags));
      for (auto const& [service, mounter] : entry->mounters) {
         lines.push_back(line("entry ", path.text, " for ", service.text, " and ",
                              mounter->groupName, ", declared at '", mounter->config->target, "'"));
      }
   }
   for (Naive::System const& system : model_.registeredSwitches) {
      lines.push_back(line("registered ", system.text, " ", true));
   }
}

// ---- entries' machines -------------------------------------------------------------------------

void Twins::liveEntryLines(Lines& lines, MountsRegistryEntrySm const& machine) const {
   std::string const who = line("machine of ", machine.registryEntry()->name(), ": ");
   lines.push_back(line(who, "wild card ", machine.wildCardMount()));
   for (auto config = machine.mounterConfigSmIterator(); config; ++config) {
      lines.push_back(line(who, "mounter ", config->mounterName().serviceName(), " and ",
                           config->mounterName().groupName()));
   }
   for (auto count = machine.connectionFilterIterator(); count; ++count) {
      lines.push_back(line(who, "counts ", count->key(), " ", count->value()));
   }
   for (auto filter = machine.versionFilterIterator(); filter; ++filter) {
      std::set<unsigned> versions;
      for (auto version = filter->versionIterator(); version; ++version) {
         versions.insert(version->key());
      }
      std::string text = line(who, "versions of ", filter->name(), ":");
      for (unsigned const version : versions) {
         text += line(" ", version);
      }
      lines.push_back(text);
   }
}

void Twins::modelEntryLines(Lines& lines, Naive::EntryMachine const& machine) const {
   std::string const who = line("machine of ", machine.entry->remotePath, ": ");
   lines.push_back(line(who, "wild card ", machine.wildCard));
   for (auto const& [service, config] : machine.mounterConfigs) {
      lines.push_back(line(who, "mounter ", service.text, " and ", config->mounter->groupName));
   }
   for (auto const& [system, count] : machine.connectionFilter) {
      lines.push_back(line(who, "counts ", system.text, " ", count));
   }
   for (auto const& [service, versions] : machine.versionFilter) {
      std::string text = line(who, "versions of ", service.text, ":");
      for (unsigned const version : versions) {
         text += line(" ", version);
      }
      lines.push_back(text);
   }
}

void Twins::liveMountLines(Lines& lines, MountsRegistryEntrySm const& machine) const {
   auto const path = machine.registryEntry()->name();
   for (auto data = machine.mountSmDataIterator(); data; ++data) {
      SystemId const id = data->connectionId();
      Fen::Ptr<MountSm> const mount = machine.mountSm(id);
      lines.push_back(line(
         "mount of ", path, " from ", id.stringValue(), ": state ", unsigned{data->mountState()},
         " was ", unsigned{mount->lastMountState()}, " carried ",
         unsigned{machine.mountSmDataSm(id)->oldMountstate()}, " does ",
         unsigned{mount->currentState()}, " then ", unsigned{mount->nextState()}, " preserved ",
         mount->localStatePreserved(), " watchdog ", mount->watchdogClock()->timeMin(),
         " transition ", mount->stateTransitionClock()->timeMin(), " manager ",
         static_cast<bool>(mount->entityManager()), " unmounter ",
         static_cast<bool>(mount->unmounterSm())));
   }
}

void Twins::modelMountLines(Lines& lines, Naive::EntryMachine const& machine) const {
   for (auto const& [system, connection] : machine.connections) {
      Naive::Mount const& mount = *connection.mount;
      lines.push_back(line(
         "mount of ", machine.entry->remotePath, " from ", system.text, ": state ",
         unsigned{mount.state}, " was ", unsigned{mount.lastState}, " carried ",
         unsigned{connection.oldState}, " does ", static_cast<unsigned>(mount.current), " then ",
         static_cast<unsigned>(mount.next), " preserved ", mount.preserved, " watchdog ",
         mount.watchdog->timeMin, " transition ", mount.transition->timeMin, " manager ",
         static_cast<bool>(mount.manager), " unmounter ", static_cast<bool>(mount.unmounter)));
   }
}

// ---- all machines ------------------------------------------------------------------------------

void Twins::liveMachineLines(Lines& lines) const {
   if (serviceConfigDirSm_) {
      for (auto machine = serviceConfigDirSm_->serviceMountConfigSmIterator(); machine; ++machine) {
         lines.push_back(line("service machine ", machine->serviceMountConfig()->name()));
         for (auto group = machine->mountGroupSmIterator(); group; ++group) {
            lines.push_back(line("group machine ", group->mountGroupConfig()->name()));
         }
      }
   }
   if (!mountsRegistrySm_) {
      return;
   }
   for (auto machine = mountsRegistrySm_->mountsRegistryEntrySmIterator(); machine; ++machine) {
      liveEntryLines(lines, *machine.ptr());
      liveMountLines(lines, *machine.ptr());
   }
   for (auto machine = mountsRegistrySm_->connectionServiceStatusDirSmIterator(); machine;
        ++machine) {
      std::string text = line("client machine ", machine->name());
      for (Service const& service : service_) {
         if (auto const reactor = machine->serviceStatus(Fen::Name(service.name))) {
            text += line(" ", service.name, static_cast<bool>(reactor->versionStatus()));
         }
      }
      lines.push_back(text);
   }
}

void Twins::modelMachineLines(Lines& lines) const {
   for (auto const& [name, machine] : model_.serviceMachines) {
      lines.push_back(line("service machine ", name.text));
      for (auto const& [group, followed] : machine.groups) {
         lines.push_back(line("group machine ", group.text));
      }
   }
   for (auto const& [path, machine] : model_.entryMachines) {
      modelEntryLines(lines, *machine);
      modelMountLines(lines, *machine);
   }
   for (auto const& [name, machine] : model_.clientMachines) {
      std::string text = line("client machine ", name.text);
      for (Service const& service : service_) {
         auto const at = machine.services.find(service.name);
         if (at != machine.services.end()) {
            text += line(" ", service.name, static_cast<bool>(at->second.status));
         }
      }
      lines.push_back(text);
   }
}

// ---- places in the tree ------------------------------------------------------------------------

void Twins::livePlaceLines(Lines& lines) const {
   for (std::string const& path : model_.directories) {
      if (Fen::ptrCast<Fen::Dir>(
             Fen::Entity::entity(Fen::EntityUriPath(Fen::String8(path)), rootDir_))) {
         lines.push_back(line("directory ", path));
      }
   }
   for (std::string const& path : model_.localCopies) {
      if (Fen::Entity::entity(Fen::EntityUriPath(Fen::String8(path)))) {
         lines.push_back(line("copy ", path));
      }
   }
}

void Twins::modelPlaceLines(Lines& lines) const {
   for (std::string const& path : model_.directories) {
      lines.push_back(line("directory ", path));
   }
   for (std::string const& path : model_.localCopies) {
      lines.push_back(line("copy ", path));
   }
}

// ---- the comparison ----------------------------------------------------------------------------

Twins::Lines Twins::liveLines() {
   Lines lines = dropsInOrder(backend_->callsTaken());
   for (Cairn::EntityManager const* const manager : backend_->managers()) {
      lines.push_back(
         line("manager ", manager->name(), " for ", manager->initArguments().targetPath));
   }
   liveRegistryLines(lines);
   liveMachineLines(lines);
   liveStatusLines(lines);
   livePlaceLines(lines);
   return lines;
}

Twins::Lines Twins::modelLines() {
   Lines lines = dropsInOrder(std::exchange(model_.script.calls, {}));
   for (Naive::Manager const* const manager : model_.script.managers) {
      lines.push_back(
         line("manager ", manager->name, " for ", manager->owner->parameters.targetPath));
   }
   modelRegistryLines(lines);
   modelMachineLines(lines);
   modelStatusLines(lines);
   modelPlaceLines(lines);
   return lines;
}

std::string Twins::difference() {
   Lines const live = liveLines();
   Lines const model = modelLines();
   std::size_t at = 0;
   while (at < live.size() && at < model.size() && live[at] == model[at]) {
      ++at;
   }
   for (auto const& [path, machine] : model_.entryMachines) {
      for (auto const& [system, connection] : machine->connections) {
         ++seen_.at(connection.mount->state);
      }
   }
   if (at == live.size() && at == model.size()) {
      return {};
   }
   constexpr std::size_t shown = 6;
   std::string text = "the library has:\n";
   for (std::size_t more = at; more < live.size() && more < at + shown; ++more) {
      text += "   " + live[more] + "\n";
   }
   text += "the model has:\n";
   for (std::size_t more = at; more < model.size() && more < at + shown; ++more) {
      text += "   " + model[more] + "\n";
   }
   return text;
}

} // namespace RegistryTest
