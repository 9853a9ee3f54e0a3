/// Forked sides, shared memory, deadlines.
#include "Processes.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace Bench {

namespace {

constexpr Nanoseconds millisecond = 1'000'000;
constexpr Nanoseconds second = 1'000 * millisecond;

Nanoseconds timeOf(clockid_t clock) {
   timespec time{};
   clock_gettime(clock, &time);
   return static_cast<Nanoseconds>(time.tv_sec) * second + static_cast<Nanoseconds>(time.tv_nsec);
}

void pinTo(unsigned core) {
   cpu_set_t cores;
   CPU_ZERO(&cores);
   CPU_SET(core, &cores);
   // With one core only, both sides share it.
   sched_setaffinity(0, sizeof cores, &cores);
}

/// What a fresh process does first: it ends with the process that started it.
void begin(unsigned core, pid_t parent) {
   prctl(PR_SET_PDEATHSIG, SIGKILL);
   if (getppid() != parent) {
      _exit(1);
   }
   pinTo(core);
   std::signal(SIGPIPE, SIG_IGN);
}

class SharedBoard {
 public:
   SharedBoard() {
      void* const memory = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
      if (memory == MAP_FAILED) {
         throw std::bad_alloc();
      }
      // The pages are zero, which is how all members begin.
      board_ = static_cast<Board*>(memory);
   }
   SharedBoard(SharedBoard const&) = delete;
   SharedBoard& operator=(SharedBoard const&) = delete;
   ~SharedBoard() { munmap(board_, sizeof(Board)); }
   Board& board() { return *board_; }

 private:
   Board* board_;
};

} // namespace

Nanoseconds monotonicTime() { return timeOf(CLOCK_MONOTONIC); }
Nanoseconds processorTime() { return timeOf(CLOCK_PROCESS_CPUTIME_ID); }

void sleepFor(Nanoseconds time) {
   timespec rest{static_cast<time_t>(time / second), static_cast<long>(time % second)};
   nanosleep(&rest, nullptr);
}

void fail(char const* what) {
   std::fprintf(stderr, "endtoend: %s: %s\n", what, std::strerror(errno));
   _exit(1);
}

std::string rowName(std::uint32_t row) { return "Ethernet" + std::to_string(row); }

std::string rowText(std::uint32_t row) {
   char text[32];
   std::snprintf(text, sizeof text, "Ethernet48/%03u-descr", row % 1000);
   return std::string(text, 20);
}

Nanoseconds Outcome::percentile(unsigned percent) const {
   return latencies.empty() ? 0 : latencies[(latencies.size() - 1) * percent / 100];
}

Outcome run(System& system, Task const& task, double secondsLimit) {
   SharedBoard shared;
   Board& board = shared.board();
   Outcome outcome;
   system.prepare(task, board);
   {
      Child mounting(1, [&] { system.mount(task, board); });
      Child writing(0, [&] { system.write(task, board); });
      Nanoseconds const limit =
         monotonicTime() + static_cast<Nanoseconds>(secondsLimit * static_cast<double>(second));
      while (!board.finished) {
         sleepFor(2 * millisecond);
         bool const late = monotonicTime() > limit;
         bool const broken = (mounting.hasEnded() && !mounting.succeeded()) ||
                             (writing.hasEnded() && !writing.succeeded());
         if (!board.finished && (late || broken)) {
            outcome.trouble = late ? "not finished in time" : "one side has ended early";
            break;
         }
      }
   }
   system.settle();
   outcome.time = board.end - board.begin;
   outcome.mountingTime = board.mountingTime;
   outcome.delivered = board.delivered;
   std::copy(std::begin(board.figures), std::end(board.figures), outcome.figures);
   if (task.traffic == Traffic::paced) {
      for (std::uint32_t i = task.changes / 10 + 1; i <= task.changes; ++i) {
         if (board.latency[i] != 0) {
            outcome.latencies.push_back(board.latency[i]);
         }
      }
      std::sort(outcome.latencies.begin(), outcome.latencies.end());
   }
   return outcome;
}

bool Hearing::heard(std::uint32_t change) {
   if (task_.traffic == Traffic::paced) {
      if (change != 0 && board_.latency[change] == 0) {
         board_.latency[change] = monotonicTime() - board_.sentAt[change];
         board_.heard = change;
      }
   }
   ++count_;
   board_.client[client_].last.store(change, std::memory_order_relaxed);
   if (change < task_.changes || finished_) {
      return false;
   }
   finished_ = true;
   board_.delivered += count_;
   return true;
}

void awaitClients(Task const& task, Board& board) {
   while (board.ready < task.clients) {
      sleepFor(millisecond);
   }
   // What was needed to get here is to be over.
   sleepFor(50 * millisecond);
}

void awaitFinish(Board& board) {
   while (!board.finished) {
      sleepFor(millisecond);
   }
}

void writePaced(Task const& task, Board& board, std::function<void(std::uint32_t)> const& send) {
   board.begin = monotonicTime();
   for (std::uint32_t change = 1; change <= task.changes; ++change) {
      sleepFor(millisecond);
      board.sentAt[change] = monotonicTime();
      send(change);
      Nanoseconds const limit = monotonicTime() + 2 * second;
      while (board.heard < change && monotonicTime() < limit) {
         sleepFor(50'000);
      }
   }
}

bool mayWrite(Task const& task, Board& board, std::uint32_t change) {
   if (task.window == 0 || change <= task.window) {
      return true;
   }
   for (std::uint32_t i = 0; i < task.clients; ++i) {
      if (board.client[i].last.load(std::memory_order_relaxed) + task.window < change) {
         return false;
      }
   }
   return true;
}

Child::Child(unsigned core, std::function<void()> const& work) {
   pid_t const parent = getpid();
   std::fflush(nullptr);
   process_ = fork();
   if (process_ == 0) {
      begin(core, parent);
      try {
         work();
      } catch (std::exception const& failed) {
         std::fprintf(stderr, "endtoend: %s\n", failed.what());
         _exit(1);
      }
      _exit(0);
   }
}

Child::Child(unsigned core, std::vector<std::string> const& command,
             std::string const& outputFile) {
   pid_t const parent = getpid();
   std::fflush(nullptr);
   process_ = fork();
   if (process_ == 0) {
      begin(core, parent);
      int const output = open(outputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
      dup2(output, STDOUT_FILENO);
      dup2(output, STDERR_FILENO);
      std::vector<char*> arguments;
      for (std::string const& each : command) {
         arguments.push_back(const_cast<char*>(each.c_str()));
      }
      arguments.push_back(nullptr);
      execvp(arguments[0], arguments.data());
      _exit(127);
   }
}

Child::~Child() {
   if (process_ > 0 && !hasEnded()) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
   }
}

bool Child::hasEnded() {
   if (!ended_ && process_ > 0 && waitpid(process_, &status_, WNOHANG) == process_) {
      ended_ = true;
   }
   return ended_ || process_ <= 0;
}

} // namespace Bench
