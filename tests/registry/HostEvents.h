/// Random sequences of what a host can do. An event is a kind and a few plain numbers whose meaning
/// is taken modulo what exists when it happens, so that any part of a sequence is a sequence too,
/// and a failing one can be made shorter by leaving events out. Plain values, on the test's thread.
#pragma once

#include <array>
#include <cstdint>
#include <iosfwd>
#include <vector>

namespace RegistryTest {

enum class EventKind : unsigned {
   configPlace,
   statusPlace,
   groupIs,
   groupDel,
   mountIs,
   mountDel,
   mountDelAll,
   systemFilterRenew,
   versionFilterRenew,
   groupSystemFilter,
   groupVersionFilter,
   groupPreserve,
   systemKey,
   systemKeyDel,
   systemKeyDelAll,
   versionKey,
   versionKeyDel,
   versionKeyDelAll,
   switchConfigRenew,
   connectionConfig,
   connectionPort,
   registered,
   registeredDel,
   client,
   clientService,
   versionStatus,
   negotiate,
   negotiationComplete,
   compatible,
   enabled,
   answerMount,
   answerUnmount,
   answerAll,
   turn,
   quiet,
   advance,
   entryDel,
   serviceMachines,
   registryMachine,
   count
};

struct Event {
   EventKind kind = EventKind::quiet;
   std::array<unsigned, 4> number{};
};

using Events = std::vector<Event>;

std::ostream& operator<<(std::ostream& out, Event const& event);

/// The sequence of a seed: the same in every run. It begins by declaring and negotiating a little,
/// in an order of the seed's own, so that there is something to disturb.
Events eventsOf(std::uint32_t seed, std::size_t count);

} // namespace RegistryTest
