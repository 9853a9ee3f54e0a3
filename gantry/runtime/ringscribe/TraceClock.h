/// The clock of trace messages: on x86 the processor's time stamp counter, which costs a few
/// nanoseconds and no system call, elsewhere the monotonic clock. Ticks become wall-clock time when
/// they are read, by anchors that the writer leaves in the file. Header only; any thread.
#pragma once

#include <gantry/runtime/ringscribe/TraceLayout.h>

#include <cstdint>
#include <ctime>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace RingScribe {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;

inline std::uint64_t nanosecondsNow(clockid_t clock) {
   timespec time{};
   clock_gettime(clock, &time);
   return static_cast<std::uint64_t>(time.tv_sec) * nanosecondsPerSecond +
          static_cast<std::uint64_t>(time.tv_nsec);
}

inline std::uint64_t traceTicks() {
#if defined(__x86_64__)
   return __rdtsc();
#else
   return nanosecondsNow(CLOCK_MONOTONIC);
#endif
}

/// Reads both clocks as close together as a few tries allow.
inline TraceAnchor traceAnchorNow() {
   TraceAnchor best{};
   std::uint64_t closest = UINT64_MAX;
   for (int attempt = 0; attempt < 3; ++attempt) {
      std::uint64_t const before = traceTicks();
      std::uint64_t const wall = nanosecondsNow(CLOCK_REALTIME);
      std::uint64_t const between = traceTicks() - before;
      if (between < closest) {
         closest = between;
         best = {before + between / 2, static_cast<std::int64_t>(wall)};
      }
   }
   return best;
}

} // namespace RingScribe
