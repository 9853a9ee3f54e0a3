// The status of a controller as one answer.

#include <hosts/gantry-controller/StatusAnswers.h>

#include <nlohmann/json.hpp>

#include <set>

namespace Host {

namespace {

/// Beyond so many pairs of mounter and switch the loop has better things to do than to count who
/// is filtered out.
constexpr std::size_t mostPairs = 100000;

std::string textOf(Fen::String8 const& text) { return std::string(text.view()); }

/// What is wanted of registered switches beside what has a status already.
struct Wishes {
   std::uint64_t waiting = 0;
   std::uint64_t filteredOut = 0;
   bool isCounted = true;
};

/// The same verdict that the machines act on, for each pair.
void addEntry(Wishes& wishes, ControllerHost const& host, Controller::MountsRegistryEntrySm& entry,
              std::set<std::string> const& seen) {
   auto const record = entry.registryEntry();
   for (auto at = host.entities().controllerStatus->registeredSwitchIterator(); at; ++at) {
      if (!at->value()) {
         continue;
      }
      Fen::String8 const connection = Controller::SystemId(at->key()).stringValue();
      bool const mayMount = entry.canMountFromConnection(connection);
      for (auto mounter = record->mounterIterator(); mounter; ++mounter) {
         if (!mayMount || !entry.mounterIsInterestedInConnection(
                             Fen::Ptr<Controller::Mounter const>(mounter.ptr()), connection)) {
            ++wishes.filteredOut;
         } else if (!seen.contains(textOf(mounter->serviceName()) + '\n' + textOf(connection) +
                                   '\n' + textOf(record->remotePath()))) {
            ++wishes.waiting;
         }
      }
   }
}

Wishes wishesOf(ControllerHost const& host) {
   Wishes wishes;
   auto const registry = host.entities().registryMachine();
   std::size_t mounters = 0;
   for (auto entry = registry->mountsRegistryEntrySmIterator(); entry; ++entry) {
      mounters += entry->registryEntry()->mounterCount();
   }
   wishes.isCounted = mounters * host.board().switches().size() <= mostPairs;
   if (!wishes.isCounted) {
      return wishes;
   }
   std::set<std::string> seen;
   for (auto const& [key, row] : host.board().mounts()) {
      seen.insert(row.service + '\n' + row.system + '\n' + row.path);
   }
   for (auto entry = registry->mountsRegistryEntrySmIterator(); entry; ++entry) {
      addEntry(wishes, host, *entry, seen);
   }
   return wishes;
}

Json rollUp(ControllerHost const& host) {
   std::uint64_t mounted = 0;
   std::uint64_t failed = 0;
   std::uint64_t pending = 0;
   for (auto const& [key, row] : host.board().mounts()) {
      ++(row.state == "mountStateMounted"  ? mounted
         : row.state == "mountStateFailed" ? failed
                                           : pending);
   }
   Wishes const wishes = wishesOf(host);
   pending += wishes.waiting;
   Json json{{"wanted", mounted + failed + pending},
             {"mounted", mounted},
             {"failed", failed},
             {"pending", pending}};
   json["filteredOut"] = wishes.isCounted ? Json(wishes.filteredOut) : Json();
   return json;
}

Json groupsOf(ControllerHost const& host) {
   Json list = Json::array();
   host.entities().mountStatusDir->entityPtrs().forEachMember([&list](Fen::Entity* member) {
      auto const* const service = dynamic_cast<Controller::ServiceMountStatus const*>(member);
      if (service == nullptr) {
         return;
      }
      for (auto system = service->systemStatusIterator(); system; ++system) {
         for (auto group = system->serviceMountGroupStatusIterator(); group; ++group) {
            list.push_back({{"service", textOf(service->name())},
                            {"system", textOf(system->name())},
                            {"group", textOf(group->name())},
                            {"state", textOf(Controller::stringValue(group->mountState()))}});
         }
      }
   });
   return list;
}

} // namespace

Json statusOf(ControllerHost const& host) {
   StatusBoard const& board = host.board();
   Json switches = Json::array();
   for (auto const& [name, row] : board.switches()) {
      switches.push_back({{"switch", name},
                          {"system", row.system},
                          {"state", row.state},
                          {"since", row.since},
                          {"reason", row.reason}});
   }
   Json services = Json::array();
   for (auto const& [key, row] : board.services()) {
      services.push_back({{"service", row.service},
                          {"switch", row.switchName},
                          {"system", row.system},
                          {"version", row.version},
                          {"since", row.since},
                          {"description", row.description}});
   }
   Json mounts = Json::array();
   for (auto const& [key, row] : board.mounts()) {
      mounts.push_back({{"service", row.service},
                        {"switch", row.switchName},
                        {"system", row.system},
                        {"group", row.group},
                        {"path", row.path},
                        {"state", row.state},
                        {"since", row.since},
                        {"reason", row.reason}});
   }
   return Json{{"total", rollUp(host)},
               {"switches", std::move(switches)},
               {"services", std::move(services)},
               {"groups", groupsOf(host)},
               {"mounts", std::move(mounts)}};
}

void mountNumbers(ControllerHost const& host, Json& numbers) {
   for (Controller::MountState const state :
        {Controller::mountStateUnmounted, Controller::mountStatePending,
         Controller::mountStateMounting, Controller::mountStateFailed,
         Controller::mountStateMounted, Controller::mountStateUnmounting}) {
      numbers["mounts." + textOf(Controller::stringValue(state))] = 0;
   }
   for (auto const& [key, row] : host.board().mounts()) {
      Json& number = numbers["mounts." + row.state];
      number = number.is_number() ? number.get<std::uint64_t>() + 1 : 1;
   }
   numbers["switches"] = host.board().switches().size();
}

void controllerCommandsAre(ControlCommands& commands, ControllerHost const& host) {
   commands.commandIs("status", [&host](Json const&) { return statusOf(host); });
   commands.commandIs("explain", [&host](Json const& request) {
      return explanationOf(host, requestText(request, "service"), requestText(request, "path"),
                           requestText(request, "system"));
   });
}

} // namespace Host
