/// What entities, their adapters and connections hold of the heap. Both sides take turns: the
/// board's `ready` and `heard` say how far each has come.
#include "Mounts.h"
#include "Systems.h"

#include <malloc.h>

namespace Bench {

namespace {

constexpr std::uint32_t rows = 10'000;
constexpr std::uint32_t connections = 20;

std::uint64_t heapBytes() {
   struct mallinfo2 const now = mallinfo2();
   return now.uordblks + now.hblkhd;
}

class Memory : public System {
 public:
   void write(Task const&, Board& board) override {
      // What every process has once is made before anything is counted.
      Serving const first(1, "other");
      std::uint64_t const atFirst = heapBytes();
      Serving const serving(rows);
      board.figures[entityBytes] = (heapBytes() - atFirst) / rows;
      board.port = serving.port();
      std::uint64_t const atServing = heapBytes();
      runUntil([&] { return board.ready >= connections; });
      std::uint64_t const atPeers = heapBytes();
      board.figures[peerBytes] = (atPeers - atServing) / connections;
      board.heard = 1;
      runUntil([&] { return board.ready > connections; });
      board.figures[serverAdapterBytes] = (heapBytes() - atPeers) / rows;
      board.heard = 2;
      runUntil([&] { return board.finished.load(); });
   }

   void mount(Task const&, Board& board) override {
      MountWish wish{.port = portOf(board)};
      std::vector<Mounting> mountings;
      for (std::uint32_t i = 0; i < connections; ++i) {
         wish.client = "c" + std::to_string(i);
         mountings.emplace_back(wish);
      }
      for (Mounting const& each : mountings) {
         runUntil([&] { return each.isMounted(); });
      }
      board.ready = connections;
      runUntil([&] { return board.heard == 1; });
      std::uint64_t const before = heapBytes();
      wish.entity = "ports";
      wish.type = "Bench::PortTable";
      Mounting const table(wish);
      runUntil([&] { return table.isMounted(); });
      board.figures[clientEntityBytes] = (heapBytes() - before) / rows;
      board.ready = connections + 1;
      runUntil([&] { return board.heard == 2; });
      board.finished = true;
   }
};

} // namespace

std::unique_ptr<System> gantryMemory() { return std::make_unique<Memory>(); }

} // namespace Bench
