/// Names, frequencies and sequences of events.
#include "HostEvents.h"

#include <algorithm>
#include <ostream>
#include <random>

namespace RegistryTest {

namespace {

struct Row {
   EventKind kind;
   char const* name;
   unsigned weight;
};

constexpr Row table[] = {
   {EventKind::configPlace, "configPlace", 2},
   {EventKind::statusPlace, "statusPlace", 2},
   {EventKind::groupIs, "groupIs", 4},
   {EventKind::groupDel, "groupDel", 2},
   {EventKind::mountIs, "mountIs", 12},
   {EventKind::mountDel, "mountDel", 6},
   {EventKind::mountDelAll, "mountDelAll", 1},
   {EventKind::systemFilterRenew, "systemFilterRenew", 2},
   {EventKind::versionFilterRenew, "versionFilterRenew", 2},
   {EventKind::groupSystemFilter, "groupSystemFilter", 5},
   {EventKind::groupVersionFilter, "groupVersionFilter", 5},
   {EventKind::groupPreserve, "groupPreserve", 4},
   {EventKind::systemKey, "systemKey", 12},
   {EventKind::systemKeyDel, "systemKeyDel", 4},
   {EventKind::systemKeyDelAll, "systemKeyDelAll", 1},
   {EventKind::versionKey, "versionKey", 10},
   {EventKind::versionKeyDel, "versionKeyDel", 4},
   {EventKind::versionKeyDelAll, "versionKeyDelAll", 1},
   {EventKind::switchConfigRenew, "switchConfigRenew", 2},
   {EventKind::connectionConfig, "connectionConfig", 1},
   {EventKind::connectionPort, "connectionPort", 2},
   {EventKind::registered, "registered", 14},
   {EventKind::registeredDel, "registeredDel", 4},
   {EventKind::client, "client", 5},
   {EventKind::clientService, "clientService", 5},
   {EventKind::versionStatus, "versionStatus", 4},
   {EventKind::negotiate, "negotiate", 14},
   {EventKind::negotiationComplete, "negotiationComplete", 4},
   {EventKind::compatible, "compatible", 3},
   {EventKind::enabled, "enabled", 3},
   {EventKind::answerMount, "answerMount", 22},
   {EventKind::answerUnmount, "answerUnmount", 16},
   {EventKind::answerAll, "answerAll", 14},
   {EventKind::turn, "turn", 12},
   {EventKind::quiet, "quiet", 30},
   {EventKind::advance, "advance", 3},
   {EventKind::entryDel, "entryDel", 2},
   {EventKind::serviceMachines, "serviceMachines", 2},
   {EventKind::registryMachine, "registryMachine", 2},
};
static_assert(std::size(table) == static_cast<std::size_t>(EventKind::count));

Event random(EventKind kind, std::mt19937& random) {
   Event event;
   event.kind = kind;
   std::generate(event.number.begin(), event.number.end(),
                 [&] { return static_cast<unsigned>(random() % 1000); });
   return event;
}

/// Everything is declared, negotiated and registered: the other beginnings leave much of it to
/// chance, and mounts come about more seldom.
Events richBeginning(std::mt19937& source) {
   Events events;
   auto const chosen = [&](unsigned choices) { return static_cast<unsigned>(source() % choices); };
   for (unsigned service = 0; service < 3; ++service) {
      events.push_back({EventKind::configPlace, {service, 5, 0, 0}});
      events.push_back({EventKind::statusPlace, {service, 5, 0, 0}});
      events.push_back({EventKind::systemFilterRenew, {service, 0, 0, 0}});
      events.push_back({EventKind::versionFilterRenew, {service, 0, 0, 0}});
      for (unsigned key = 0; key < 2; ++key) {
         events.push_back({EventKind::systemKey, {service, 1, chosen(4), chosen(6)}});
         events.push_back({EventKind::versionKey, {service, 1, 1 + chosen(3), chosen(6)}});
      }
      // Filters before mounts: a mounter follows those that its group has when it comes.
      for (unsigned group = 0; group < 2; ++group) {
         events.push_back({EventKind::groupIs, {service, group, 0, 0}});
         events.push_back({EventKind::groupSystemFilter, {service, group, chosen(6), 0}});
         events.push_back({EventKind::groupVersionFilter, {service, group, 1 + 2 * chosen(2), 0}});
      }
      for (unsigned path = 0; path < 3; ++path) {
         events.push_back({EventKind::mountIs, {service, chosen(2), path, service + path}});
      }
      for (unsigned system = 0; system < 4; ++system) {
         events.push_back({EventKind::negotiate, {4 + system, service, chosen(2), 1}});
      }
   }
   for (unsigned system = 0; system < 4; ++system) {
      events.push_back({EventKind::registered, {system, 1, 0, 0}});
   }
   return events;
}

Events beginning(std::mt19937& source) {
   Events events = source() % 3 != 0 ? richBeginning(source) : Events();
   auto const certain = static_cast<std::ptrdiff_t>(events.size());
   auto const add = [&](EventKind kind, int times) {
      for (int time = 0; time < times; ++time) {
         events.push_back(random(kind, source));
      }
   };
   add(EventKind::configPlace, 3);
   add(EventKind::statusPlace, 3);
   add(EventKind::groupIs, 4);
   add(EventKind::mountIs, 8);
   add(EventKind::groupSystemFilter, 2);
   add(EventKind::groupVersionFilter, 2);
   add(EventKind::systemKey, 4);
   add(EventKind::versionKey, 3);
   add(EventKind::groupPreserve, 2);
   add(EventKind::client, 4);
   add(EventKind::negotiate, 8);
   add(EventKind::registered, 4);
   add(EventKind::serviceMachines, 1);
   add(EventKind::registryMachine, 1);
   // What is certain comes in its order, what is left to chance in any.
   std::shuffle(events.begin() + certain, events.end(), source);
   add(EventKind::quiet, 1);
   return events;
}

} // namespace

std::ostream& operator<<(std::ostream& out, Event const& event) {
   auto const row = std::find_if(std::begin(table), std::end(table),
                                 [&](Row const& one) { return one.kind == event.kind; });
   out << row->name;
   for (unsigned const number : event.number) {
      out << ' ' << number;
   }
   return out;
}

Events eventsOf(std::uint32_t seed, std::size_t count) {
   std::mt19937 source(seed);
   Events events = beginning(source);
   unsigned total = 0;
   for (Row const& row : table) {
      total += row.weight;
   }
   while (events.size() < count) {
      auto at = static_cast<unsigned>(source() % total);
      Row const* row = table;
      for (; at >= row->weight; ++row) {
         at -= row->weight;
      }
      events.push_back(random(row->kind, source));
   }
   return events;
}

} // namespace RegistryTest
