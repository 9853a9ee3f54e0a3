/// Mounting in growing numbers.
#include "Slopes.h"

#include "Mounts.h"

#include <gantry/runtime/cairn/TcpConfig.h>

namespace Bench {

namespace {

/// Serves as many peers, with as many rows each, as it is told; mounts what it is told.
class Slope : public System {
 public:
   struct Sizes {
      std::uint32_t rows = 0;
      std::uint32_t mounts = 1;
      std::uint32_t peers = 1;
   };
   explicit Slope(Sizes const& sizes) : sizes_(sizes) {}

   void write(Task const&, Board& board) override {
      std::vector<std::unique_ptr<Serving>> servings;
      for (std::uint32_t i = 0; i < sizes_.peers; ++i) {
         servings.push_back(std::make_unique<Serving>(sizes_.rows));
         board.client[i].last = servings.back()->port();
      }
      board.ready = 1;
      runUntil([&] { return board.finished.load(); });
   }

   void mount(Task const&, Board& board) override {
      while (board.ready == 0) {
         sleepFor(1'000'000);
      }
      // A large table needs more than a peer may have by default.
      Cairn::tcpConfig().limits.tree = std::size_t{1} << 30;
      std::vector<Mounting> mountings;
      board.begin = monotonicTime();
      for (std::uint32_t i = 0; i < sizes_.mounts; ++i) {
         bool const isTable = sizes_.rows != 0;
         std::uint32_t const port = board.client[i % sizes_.peers].last;
         mountings.emplace_back(MountWish{.port = static_cast<std::uint16_t>(port),
                                          .entity = isTable ? "ports" : "gauge",
                                          .type = isTable ? "Bench::PortTable" : "Bench::Gauge",
                                          .client = "c" + std::to_string(i),
                                          .ownConnection = false});
      }
      std::size_t mounted = 0;
      runUntil([&] {
         while (mounted < mountings.size() && mountings[mounted].isMounted()) {
            ++mounted;
         }
         return mounted == mountings.size();
      });
      board.end = monotonicTime();
      board.finished = true;
   }

 private:
   Sizes const sizes_;
};

} // namespace

std::unique_ptr<System> mountMembers(std::uint32_t members) {
   return std::make_unique<Slope>(Slope::Sizes{.rows = members});
}
std::unique_ptr<System> mountMounts(std::uint32_t mounts) {
   return std::make_unique<Slope>(Slope::Sizes{.mounts = mounts});
}
std::unique_ptr<System> mountPeers(std::uint32_t peers) {
   return std::make_unique<Slope>(Slope::Sizes{.rows = 10, .mounts = peers, .peers = peers});
}

} // namespace Bench
