/// What a trace message with a text and two integers costs: Gantry's ring with tracing on and off,
/// beside a floor of a plain ring in memory with the time stamp counter and, where they are
/// installed, beside spdlog and LTTng-UST. LTTng's tracepoint records only in a session, which
/// bench/peers/lttng-session provides; without one its line shows an idle tracepoint. Run it pinned
/// to one core and compare ratios within one run.
#include "Ratios.h"

#include <gantry/runtime/ringscribe/Trace.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#ifdef GANTRY_BENCH_SPDLOG
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif
#ifdef GANTRY_BENCH_LTTNG
#include "peers/TraceTracepoint.inc"
#endif

namespace {

std::string const texts[8] = {
   "Ethernet48/1-desc-aa", "Ethernet48/2-desc-bb", "Ethernet48/3-desc-cc", "Ethernet48/4-desc-dd",
   "Ethernet48/5-desc-ee", "Ethernet48/6-desc-ff", "Ethernet48/7-desc-gg", "Ethernet48/8-desc-hh"};

constexpr std::size_t ringBytes = 1 << 20;

/// The floor: a ring of a power of two whose messages carry site, length, time, two numbers and a
/// text. It is written by one thread and read by nobody.
class FloorRing {
 public:
   explicit FloorRing(std::size_t bytes) : memory_(bytes + 256), mask_(bytes - 1) {}
   bool on = true;

   template <bool withTime>
   [[gnu::noinline]] void message(std::uint32_t site, std::string_view text, std::uint64_t first,
                                  std::uint64_t second) {
      if (__builtin_expect(!on, 0)) {
         return;
      }
      char* const at = memory_.data() + position_;
      std::uint64_t const ticks = withTime ? RingScribe::traceTicks() : 0;
      std::size_t const length = text.size() > 128 ? 128 : text.size();
      std::uint32_t const bytes = static_cast<std::uint32_t>((34 + length + 7) & ~std::size_t{7});
      std::uint16_t const textBytes = static_cast<std::uint16_t>(length);
      std::memcpy(at, &site, 4);
      std::memcpy(at + 4, &bytes, 4);
      std::memcpy(at + 8, &ticks, 8);
      std::memcpy(at + 16, &first, 8);
      std::memcpy(at + 24, &second, 8);
      std::memcpy(at + 32, &textBytes, 2);
      // Without its range the compiler calls memcpy; with it g++ 12 emits a slow `rep movsq`.
      std::size_t hidden = length;
      asm("" : "+r"(hidden));
      std::memcpy(at + 34, text.data(), hidden);
      position_ = (position_ + bytes) & mask_;
   }

 private:
   std::vector<char> memory_;
   std::size_t mask_;
   std::size_t position_ = 0;
};

FloorRing floorRing(ringBytes);

template <bool withTime>
void floorMessage(benchmark::State& state) {
   std::uint64_t i = 0;
   for (auto _ : state) {
      ++i;
      floorRing.message<withTime>(77, texts[i & 7], i, i * 3);
   }
}

void FloorRingTime(benchmark::State& state) { floorMessage<true>(state); }
void FloorRingNoTime(benchmark::State& state) { floorMessage<false>(state); }

void FloorOff(benchmark::State& state) {
   floorRing.on = false;
   std::uint64_t i = 0;
   for (auto _ : state) {
      ++i;
      if (__builtin_expect(floorRing.on, 0)) {
         floorRing.message<true>(77, texts[i & 7], i, i * 3);
      }
      benchmark::ClobberMemory();
   }
   floorRing.on = true;
}

void FloorTimeAlone(benchmark::State& state) {
   for (auto _ : state) {
      benchmark::DoNotOptimize(RingScribe::traceTicks());
   }
}

void messages(benchmark::State& state) {
   std::uint32_t i = 0;
   for (auto _ : state) {
      ++i;
      RINGSCRIBE_TRACE(5, "port ", texts[i & 7], " a ", i, " b ", i * 3);
      benchmark::ClobberMemory();
   }
}

/// Traces to a file that goes with the benchmark.
class Tracing {
 public:
   explicit Tracing(std::size_t bytes)
      : path_("/dev/shm/gantry-bench." + std::to_string(getpid())) {
      RingScribe::theTraceFile = RingScribe::traceFileFactory(path_, bytes);
   }
   Tracing(Tracing const&) = delete;
   Tracing& operator=(Tracing const&) = delete;
   ~Tracing() {
      RingScribe::theTraceFile = nullptr;
      unlink(path_.c_str());
   }

 private:
   std::string path_;
};

void GantryOn(benchmark::State& state) {
   Tracing const tracing(ringBytes);
   messages(state);
}

void GantryOff(benchmark::State& state) { messages(state); }

/// The message of a mount: three strings and a port.
void GantryMountMessage(benchmark::State& state) {
   Tracing const tracing(ringBytes);
   Fen::String8 const remote = "leaf1//linux/interface";
   Fen::String8 const target = "/controller/mnt/02:00:00:00:00:01/interface";
   Fen::String8 const type = "Linux::InterfaceDir";
   std::uint16_t port = 0;
   for (auto _ : state) {
      ++port;
      RINGSCRIBE_TRACE(5, "doMountNow", " mounting ", " remote:", remote, " target:", target,
                       " type:", type, " port:", port);
   }
}

/// The same message for files of each size: what the caches hold and what they do not.
void GantryOnOfSize(benchmark::State& state) {
   Tracing const tracing(static_cast<std::size_t>(state.range(0)));
   messages(state);
}

BENCHMARK(FloorTimeAlone);
BENCHMARK(FloorRingNoTime);
BENCHMARK(FloorRingTime);
BENCHMARK(FloorOff);
BENCHMARK(GantryOn);
BENCHMARK(GantryOff);
BENCHMARK(GantryMountMessage);
BENCHMARK(GantryOnOfSize)->Arg(1 << 14)->Arg(1 << 17)->Arg(1 << 23)->Arg(1 << 26);

#ifdef GANTRY_BENCH_SPDLOG
constexpr char const* logPath = "/dev/shm/gantry-bench-spdlog.log";

void log(benchmark::State& state, spdlog::logger& logger) {
   std::uint64_t i = 0;
   for (auto _ : state) {
      ++i;
      logger.info("port {} a {} b {}", texts[i & 7], i, i * 3);
   }
   logger.flush();
}

template <class Sink>
void logSync(benchmark::State& state) {
   auto sink = std::make_shared<Sink>(logPath, true);
   spdlog::logger logger("sync", sink);
   log(state, logger);
   unlink(logPath);
}

void SpdlogSync(benchmark::State& state) { logSync<spdlog::sinks::basic_file_sink_mt>(state); }

/// Without the lock, for programs with one thread.
void SpdlogSyncOneThread(benchmark::State& state) {
   logSync<spdlog::sinks::basic_file_sink_st>(state);
}

void SpdlogAsync(benchmark::State& state) {
   {
      auto pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
      auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(logPath, true);
      auto logger = std::make_shared<spdlog::async_logger>("async", sink, pool,
                                                           spdlog::async_overflow_policy::block);
      log(state, *logger);
   }
   unlink(logPath);
}

void SpdlogLevelOff(benchmark::State& state) {
   auto sink = std::make_shared<spdlog::sinks::basic_file_sink_st>(logPath, true);
   spdlog::logger logger("off", sink);
   std::uint64_t i = 0;
   for (auto _ : state) {
      ++i;
      logger.debug("port {} a {} b {}", texts[i & 7], i, i * 3);
      benchmark::ClobberMemory();
   }
   unlink(logPath);
}

BENCHMARK(SpdlogSync)->Iterations(200'000);
BENCHMARK(SpdlogSyncOneThread)->Iterations(200'000);
BENCHMARK(SpdlogAsync)->Iterations(200'000)->UseRealTime();
BENCHMARK(SpdlogLevelOff);
#endif

#ifdef GANTRY_BENCH_LTTNG
void lttngMessages(benchmark::State& state) {
   std::uint64_t i = 0;
   for (auto _ : state) {
      ++i;
      lttng_ust_tracepoint(gantry_bench, message, texts[i & 7].c_str(), i, i * 3);
      benchmark::ClobberMemory();
   }
}

void LttngActive(benchmark::State& state) { lttngMessages(state); }
void LttngIdle(benchmark::State& state) { lttngMessages(state); }

/// Which of the two it is nobody but the session knows.
[[maybe_unused]] auto* const lttngBenchmark =
   getenv("GANTRY_BENCH_LTTNG_SESSION") != nullptr
      ? benchmark::RegisterBenchmark("LttngActive", LttngActive) -> Iterations(200'000)
      : benchmark::RegisterBenchmark("LttngIdle", LttngIdle);
#endif

} // namespace

int main(int argc, char** argv) {
   return Bench::runWithRatios(
      argc, argv,
      {{"on / ring and time stamp", "GantryOn", "FloorRingTime", 1.4},
       {"off", "GantryOff", "", 1.2},
       {"on / spdlog", "GantryOn", "SpdlogSync", 0.09},
       {"on / spdlog without lock", "GantryOn", "SpdlogSyncOneThread", 0.09},
       {"on / LTTng-UST active", "GantryOn", "LttngActive", 0.2}});
}
