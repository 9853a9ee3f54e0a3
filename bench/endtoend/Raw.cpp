/// The floors. They store nothing, find nothing by name and tell nobody: what is left is what the
/// sockets cost.
#include "Sockets.h"
#include "Systems.h"

#include <endian.h>

namespace Bench {

namespace {

constexpr std::size_t headBytes = 16;

template <class T>
void put(char* at, T value) {
   std::memcpy(at, &value, sizeof value);
}
template <class T>
T get(char const* at) {
   T value;
   std::memcpy(&value, at, sizeof value);
   return value;
}

/// Length, kind, entity and attribute.
void putHead(char* at, std::size_t bytes, std::uint16_t kind, std::uint64_t entity) {
   put(at, htobe16(static_cast<std::uint16_t>(bytes)));
   put(at + 2, htobe16(kind));
   put(at + 4, htobe64(entity));
   put(at + 12, htobe32(7));
}

std::size_t putNumber(char* at, std::uint32_t value) {
   putHead(at, headBytes + 4, 1, std::uint64_t{value} << 20);
   put(at + headBytes, htobe32(value));
   return headBytes + 4;
}

std::size_t putText(char* at, std::uint64_t entity, std::string const& text) {
   std::size_t const bytes = headBytes + 2 + text.size();
   putHead(at, bytes, 2, entity);
   put(at + headBytes, htobe16(static_cast<std::uint16_t>(text.size())));
   std::memcpy(at + headBytes + 2, text.data(), text.size());
   return bytes;
}

class Raw : public System {
 public:
   explicit Raw(bool gathered) : gathered_(gathered) {}

   void prepare(Task const&, Board&) override { listener_ = std::make_unique<Listener>(); }
   void settle() override { listener_ = nullptr; }

   void write(Task const& task, Board& board) override {
      std::vector<Stream> streams;
      for (std::uint32_t i = 0; i < task.clients; ++i) {
         streams.push_back(listener_->accepted());
      }
      if (task.traffic == Traffic::snapshot) {
         writeSnapshot(streams);
      } else {
         awaitClients(task, board);
         writeChanges(task, board, streams);
      }
      // The streams close when the process ends, which may not be before all was read.
      awaitFinish(board);
   }

   void mount(Task const& task, Board& board) override {
      std::vector<Stream> streams;
      std::vector<Client> clients;
      for (std::uint32_t i = 0; i < task.clients; ++i) {
         streams.push_back(Stream::dialled(listener_->port()));
         clients.push_back({Hearing(task, board, i), {}, 0});
         ++board.ready;
      }
      if (task.traffic == Traffic::snapshot) {
         sleepFor(50'000'000);
         board.begin = monotonicTime();
         for (Stream const& each : streams) {
            each.send("x");
         }
      }
      std::uint32_t left = task.clients;
      readAll(streams, [&](std::size_t i) {
         streams[i].receive(clients[i].received);
         if (take(clients[i])) {
            --left;
         }
         return left != 0;
      });
      board.end = monotonicTime();
      board.finished = true;
   }

 private:
   struct Client {
      Hearing hearing;
      std::string received;
      std::uint32_t rows;
   };

   static bool take(Client& client) {
      std::string& bytes = client.received;
      std::size_t at = 0;
      bool last = false;
      while (bytes.size() - at >= headBytes) {
         char const* const message = bytes.data() + at;
         std::size_t const length = be16toh(get<std::uint16_t>(message));
         if (bytes.size() - at < length) {
            break;
         }
         if (be16toh(get<std::uint16_t>(message + 2)) == 1) {
            last = client.hearing.heard(be32toh(get<std::uint32_t>(message + headBytes))) || last;
         } else {
            std::uint64_t const entity = be64toh(get<std::uint64_t>(message + 4));
            asm volatile("" : : "r"(entity));
            last = ++client.rows == snapshotRows || last;
         }
         at += length;
      }
      bytes.erase(0, at);
      return last;
   }

   void writeChanges(Task const& task, Board& board, std::vector<Stream> const& streams) const {
      char message[32];
      if (task.traffic == Traffic::paced) {
         writePaced(task, board, [&](std::uint32_t change) {
            std::size_t const bytes = putNumber(message, change);
            for (Stream const& each : streams) {
               each.send({message, bytes});
            }
         });
         return;
      }
      board.begin = monotonicTime();
      std::string gathered;
      for (std::uint32_t change = 1; change <= task.changes; ++change) {
         gathered.append(message, putNumber(message, change));
         if (!gathered_ || gathered.size() >= 32768 || change == task.changes) {
            for (Stream const& each : streams) {
               each.send(gathered);
            }
            gathered.clear();
         }
      }
   }

   static void writeSnapshot(std::vector<Stream> const& streams) {
      std::vector<std::string> texts;
      for (std::uint32_t i = 0; i < snapshotRows; ++i) {
         texts.push_back(rowText(i));
      }
      std::vector<char> out(1 << 17);
      for (Stream const& each : streams) {
         std::string request;
         each.receive(request);
         std::size_t bytes = 0;
         for (std::uint32_t i = 0; i < snapshotRows; ++i) {
            bytes += putText(out.data() + bytes, std::uint64_t{i} << 20, texts[i]);
         }
         each.send({out.data(), bytes});
      }
   }

   bool const gathered_;
   std::unique_ptr<Listener> listener_;
};

} // namespace

std::unique_ptr<System> raw(bool gathered) { return std::make_unique<Raw>(gathered); }

} // namespace Bench
