/// The library itself between two processes.
#include "Mounts.h"
#include "Systems.h"

namespace Bench {

namespace {

/// Hears the changes of one mounted gauge.
class Listening : public Gauge::NotifieeConst {
 public:
   Listening(Fen::Ptr<Gauge> const& gauge, Hearing const& hearing, std::uint32_t& left)
      : Gauge::NotifieeConst(gauge), gauge_(gauge.ptr()), hearing_(hearing), left_(left) {
      isRegisteredNotifieeIs(true);
   }
   void onCount() override {
      if (hearing_.heard(gauge_->count())) {
         --left_;
      }
   }

 private:
   Gauge const* const gauge_;
   Hearing hearing_;
   std::uint32_t& left_;
};

/// How many changes a turn of the writer makes when it writes as fast as it can.
constexpr std::uint32_t changesPerTurn = 512;

class Gantry : public System {
 public:
   void write(Task const& task, Board& board) override {
      Serving serving(task.traffic == Traffic::snapshot ? snapshotRows : 0);
      auto& loop = Fen::ActivityLoop::instance();
      board.port = serving.port();
      runUntil([&] { return board.ready >= task.clients; });
      runFor(0.05);
      if (task.traffic == Traffic::paced) {
         writePaced(task, board, [&](std::uint32_t change) {
            serving.gauge()->countIs(change);
            loop.runOnce(0.0);
         });
      } else if (task.traffic == Traffic::sustained) {
         writeSustained(task, board, *serving.gauge());
      }
      // A bounded wait would be the other side's to notice; this process is killed after it.
      runUntil([&] { return board.finished.load(); });
   }

   void mount(Task const& task, Board& board) override {
      std::uint16_t const port = portOf(board);
      std::vector<Mounting> gauges;
      for (std::uint32_t i = 0; i < task.clients; ++i) {
         gauges.emplace_back(MountWish{.port = port, .client = "c" + std::to_string(i)});
      }
      awaitAll(gauges);
      if (task.traffic == Traffic::snapshot) {
         mountTables(task, board, port);
         return;
      }
      std::uint32_t left = task.clients;
      std::vector<Fen::Ptr<Listening>> listening;
      for (std::uint32_t i = 0; i < task.clients; ++i) {
         listening.push_back(
            Fen::makePtr<Listening>(gauges[i].copy<Gauge>(), Hearing(task, board, i), left));
      }
      board.ready = task.clients;
      auto& loop = Fen::ActivityLoop::instance();
      Nanoseconds const before = processorTime();
      while (left != 0) {
         loop.runOnce(1.0);
      }
      board.end = monotonicTime();
      board.mountingTime = processorTime() - before;
      board.finished = true;
   }

 private:
   static void runFor(double seconds) {
      double const end = Fen::now() + seconds;
      runUntil([&] { return Fen::now() >= end; });
   }

   static void awaitAll(std::vector<Mounting> const& mountings) {
      std::size_t mounted = 0;
      runUntil([&] {
         while (mounted < mountings.size() && mountings[mounted].isMounted()) {
            ++mounted;
         }
         return mounted == mountings.size();
      });
   }

   static void writeSustained(Task const& task, Board& board, Gauge& gauge) {
      auto& loop = Fen::ActivityLoop::instance();
      board.begin = monotonicTime();
      for (std::uint32_t change = 1; change <= task.changes;) {
         std::uint32_t const turn = std::min(change + changesPerTurn - 1, task.changes);
         while (!mayWrite(task, board, turn)) {
            loop.runOnce(0.0);
         }
         for (; change <= turn; ++change) {
            gauge.countIs(change);
         }
         loop.runOnce(0.0);
      }
   }

   /// The connections are up already, as those of the other systems are.
   static void mountTables(Task const& task, Board& board, std::uint16_t port) {
      board.ready = task.clients;
      double const rest = Fen::now() + 0.2;
      runUntil([&] { return Fen::now() >= rest; });
      board.begin = monotonicTime();
      std::vector<Mounting> tables;
      for (std::uint32_t i = 0; i < task.clients; ++i) {
         tables.emplace_back(MountWish{.port = port,
                                       .entity = "ports",
                                       .type = "Bench::PortTable",
                                       .client = "c" + std::to_string(i)});
      }
      awaitAll(tables);
      board.end = monotonicTime();
      for (Mounting const& each : tables) {
         auto const table = each.copy<PortTable>();
         auto const last = table->port(Fen::Name(rowName(snapshotRows - 1)));
         if (table->portCount() != snapshotRows || !last ||
             last->description() != Fen::String8(rowText(snapshotRows - 1))) {
            fail("the copy is not whole");
         }
      }
      board.finished = true;
   }
};

} // namespace

std::unique_ptr<System> gantry() { return std::make_unique<Gantry>(); }

} // namespace Bench
