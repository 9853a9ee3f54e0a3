/// The frame of the benchmarks between processes: a writing side and a mounting side, each a forked
/// process pinned to a core of its own, and a block of shared memory in which they leave time
/// stamps. The benchmark's own process does nothing but wait; so the library's loop exists in the
/// forked processes alone. Everything that is waited for has a deadline, and a process that is
/// still there when its task goes is killed, by its own id.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Bench {

using Nanoseconds = std::uint64_t;

Nanoseconds monotonicTime();
/// What the calling process has used of the processor.
Nanoseconds processorTime();
void sleepFor(Nanoseconds time);

/// Ends the calling process, which is one side of a task, with a line that says why.
[[noreturn]] void fail(char const* what);

enum class Traffic {
   /// Single changes, a millisecond apart, each timed from the write to the notification.
   paced,
   /// Changes as fast as they are taken.
   sustained,
   /// A table of small entities that is there already, asked for by each client.
   snapshot,
};

/// What the sides of one run are to do.
struct Task {
   Traffic traffic = Traffic::paced;
   std::uint32_t clients = 1;
   std::uint32_t changes = 0;
   /// How many changes the writing side may be ahead of the slowest client; 0 for no bound.
   std::uint32_t window = 0;
};

constexpr std::uint32_t clientsLimit = 256;
constexpr std::uint32_t changesTimedLimit = 1 << 16;
constexpr std::uint32_t snapshotRows = 1000;

/// Name and text of a row of the snapshot, the same for all systems.
std::string rowName(std::uint32_t row);
std::string rowText(std::uint32_t row);

/// Lives in shared memory. One process writes each member; times are in nanoseconds.
struct Board {
   /// Set by the writing side when it can be reached.
   std::atomic<std::uint32_t> port;
   /// How many clients hear changes by now.
   std::atomic<std::uint32_t> ready;
   std::atomic<Nanoseconds> begin;
   std::atomic<Nanoseconds> end;
   /// The mounting side has all that it was to get.
   std::atomic<bool> finished;
   /// Changes that were heard, by all clients together.
   std::atomic<std::uint64_t> delivered;
   /// Of a paced run: changes that were heard.
   std::atomic<std::uint32_t> heard;
   /// What the mounting side has used of the processor meanwhile; 0 where it does not say.
   std::atomic<Nanoseconds> mountingTime;
   /// Free for what a task measures beside times.
   std::atomic<std::uint64_t> figures[8];
   /// The last change that each client has heard.
   struct alignas(64) Place {
      std::atomic<std::uint32_t> last;
   };
   Place client[clientsLimit];
   std::atomic<Nanoseconds> sentAt[changesTimedLimit];
   Nanoseconds latency[changesTimedLimit];
};

/// One thing that carries changes from one process to another. Owned by the benchmark; its two
/// halves run in processes of their own.
class System {
 public:
   virtual ~System() = default;
   /// In the benchmark's process, before the others begin.
   virtual void prepare(Task const&, Board&) {}
   /// The writing side. It ends when board.finished is set, or is killed.
   virtual void write(Task const& task, Board& board) = 0;
   /// The mounting side, with all clients. It sets board.finished.
   virtual void mount(Task const& task, Board& board) = 0;
   /// In the benchmark's process, when the others have ended.
   virtual void settle() {}
};

struct Outcome {
   /// Empty when all went well.
   std::string trouble;
   Nanoseconds time = 0;
   Nanoseconds mountingTime = 0;
   std::uint64_t delivered = 0;
   /// Of a paced run, the first tenth left out, in order of size.
   std::vector<Nanoseconds> latencies;
   std::uint64_t figures[8] = {};

   Nanoseconds percentile(unsigned percent) const;
};

/// Runs both sides to the end.
Outcome run(System& system, Task const& task, double secondsLimit);

// ---- for the sides -----------------------------------------------------------------------------

/// A client has heard a change: keeps the time, the place and the count. True for the last change.
/// Changes are numbered from 1.
class Hearing {
 public:
   Hearing(Task const& task, Board& board, std::uint32_t client)
      : task_(task), board_(board), client_(client) {}
   bool heard(std::uint32_t change);

 private:
   Task const& task_;
   Board& board_;
   std::uint32_t const client_;
   std::uint64_t count_ = 0;
   bool finished_ = false;
};

/// Writes the changes of a paced task, a millisecond apart, and waits until each was heard.
void writePaced(Task const& task, Board& board, std::function<void(std::uint32_t)> const& send);
/// Whether a sustained task may write this change now.
bool mayWrite(Task const& task, Board& board, std::uint32_t change);
void awaitClients(Task const& task, Board& board);
void awaitFinish(Board& board);

/// A process that this one has started, pinned to a core. Killed when it goes.
class Child {
 public:
   /// Runs `work` in it and ends. It does not outlive this process.
   Child(unsigned core, std::function<void()> const& work);
   /// Runs a program; its output goes to a file.
   Child(unsigned core, std::vector<std::string> const& command, std::string const& outputFile);
   Child(Child const&) = delete;
   Child& operator=(Child const&) = delete;
   ~Child();
   bool hasEnded();
   /// The status with which it ended by itself was 0.
   bool succeeded() const { return ended_ && status_ == 0; }

 private:
   pid_t process_;
   bool ended_ = false;
   int status_ = -1;
};

} // namespace Bench
