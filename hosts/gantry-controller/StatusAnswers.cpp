// The status of a controller as one answer.

#include <hosts/gantry-controller/StatusAnswers.h>

#include <hosts/control/Metrics.h>

#include <nlohmann/json.hpp>

#include <map>
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

Json groupsOf(StatusBoard const& board) {
   Json list = Json::array();
   for (auto const& [key, row] : board.groups()) {
      list.push_back({{"service", row.service},
                      {"system", row.system},
                      {"group", row.group},
                      {"state", row.state},
                      {"since", row.since}});
   }
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
               {"groups", groupsOf(board)},
               {"mounts", std::move(mounts)}};
}

void controllerMetrics(ControllerHost const& host, Metrics& metrics) {
   StatusBoard const& board = host.board();
   std::map<std::string, std::uint64_t> states;
   for (auto const& [key, row] : board.mounts()) {
      ++states[row.state];
   }
   mountMetric(metrics, states);
   states.clear();
   for (auto const& [name, row] : board.switches()) {
      ++states[row.state];
   }
   metrics.metric("gantry_switches", Metrics::Kind::gauge,
                  "Switches that the controller knows, by state.");
   for (SwitchState const state : {SwitchState::connecting, SwitchState::registered,
                                   SwitchState::lost, SwitchState::refused}) {
      metrics.sample(states[switchStateName(state)], {{"state", switchStateName(state)}});
   }
}

ControllerTool::ControllerTool(ControllerHost const& host, std::string const& path,
                               ControlPolicy policy)
   : host_(host), times_(host), server_(path, std::move(policy)) {
   server_.commands().commandIs("status", [this](Json const&) { return statusOf(host_); });
   server_.commands().commandIs("explain", [this](Json const& request) {
      return explanationOf(host_, times_, requestText(request, "service"),
                           requestText(request, "path"), requestText(request, "system"));
   });
}

} // namespace Host
