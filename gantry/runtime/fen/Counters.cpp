/// The registry behind the counters: a map whose nodes never move.
#include <gantry/runtime/fen/Counters.h>

#include <map>
#include <mutex>
#include <string>

namespace Fen {

namespace {

struct Registry {
   std::mutex mutex;
   std::map<std::string, Counter, std::less<>> counters;
};

// Never destroyed: static destructors of others may still count.
Registry& registry() {
   static Registry* const theRegistry = new Registry;
   return *theRegistry;
}

} // namespace

Counter& Counters::counter(std::string_view name) {
   Registry& all = registry();
   std::lock_guard const lock(all.mutex);
   auto found = all.counters.find(name);
   if (found == all.counters.end()) {
      found = all.counters.try_emplace(std::string(name)).first;
   }
   return found->second;
}

std::uint64_t Counters::value(std::string_view name) {
   Registry& all = registry();
   std::lock_guard const lock(all.mutex);
   auto const found = all.counters.find(name);
   return found == all.counters.end() ? 0 : found->second.value();
}

void Counters::forEach(
   std::function<void(std::string_view name, std::uint64_t value)> const& visit) {
   Registry& all = registry();
   std::lock_guard const lock(all.mutex);
   for (auto const& [name, counter] : all.counters) {
      visit(name, counter.value());
   }
}

} // namespace Fen
