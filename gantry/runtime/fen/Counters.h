/// One registry of named counters and gauges for the whole process. The runtime, the wire and the
/// hosts count into it; whoever wants to show the numbers reads them by name.
///
/// A counter's address stays valid for the life of the process, so hot code looks it up once and
/// keeps a reference. Counters may be incremented from any thread.
#pragma once

#include <gantry/runtime/Export.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string_view>

namespace Fen {

/// A number that goes up (a counter) or is set (a gauge).
class GANTRY_EXPORT Counter {
 public:
   Counter() = default;
   Counter(Counter const&) = delete;
   Counter& operator=(Counter const&) = delete;

   void increment(std::uint64_t by = 1) { value_.fetch_add(by, std::memory_order_relaxed); }
   void valueIs(std::uint64_t value) { value_.store(value, std::memory_order_relaxed); }
   std::uint64_t value() const { return value_.load(std::memory_order_relaxed); }

 private:
   std::atomic<std::uint64_t> value_{0};
};

class GANTRY_EXPORT Counters {
 public:
   /// The counter of that name, made on first use.
   static Counter& counter(std::string_view name);
   /// Its value, 0 when there is none of that name.
   static std::uint64_t value(std::string_view name);
   /// Calls `visit` for each counter in order of name.
   static void
   forEach(std::function<void(std::string_view name, std::uint64_t value)> const& visit);
};

} // namespace Fen
