/// Redis: changes go through PUBLISH, a table of entities is a hash. Replies are read with hiredis.
#include "../endtoend/Sockets.h"
#include "../endtoend/Systems.h"
#include "EndToEndServers.h"

#include <hiredis/hiredis.h>

#include <algorithm>
#include <utility>

namespace Bench {

namespace {

std::string command(std::initializer_list<std::string> words) {
   std::string text = "*" + std::to_string(words.size()) + "\r\n";
   for (std::string const& word : words) {
      text += "$" + std::to_string(word.size()) + "\r\n" + word + "\r\n";
   }
   return text;
}

/// Replies out of a stream of bytes.
class Replies {
 public:
   Replies() : reader_(redisReaderCreate()) {}
   Replies(Replies&& other) noexcept : reader_(std::exchange(other.reader_, nullptr)) {}
   Replies(Replies const&) = delete;
   Replies& operator=(Replies const&) = delete;
   ~Replies() {
      if (reader_ != nullptr) {
         redisReaderFree(reader_);
      }
   }
   template <class F>
   void feed(std::string& bytes, F const& handler) {
      redisReaderFeed(reader_, bytes.data(), bytes.size());
      bytes.clear();
      void* reply = nullptr;
      while (redisReaderGetReply(reader_, &reply) == REDIS_OK && reply != nullptr) {
         handler(*static_cast<redisReply*>(reply));
         freeReplyObject(reply);
      }
   }

 private:
   redisReader* reader_;
};

class Redis : public System {
 public:
   explicit Redis(std::uint16_t port) : port_(port) {}

   void write(Task const& task, Board& board) override {
      Stream const stream = Stream::dialled(port_);
      if (task.traffic == Traffic::snapshot) {
         fill(stream);
         board.port = port_;
         return;
      }
      awaitClients(task, board);
      if (task.traffic == Traffic::paced) {
         std::string reply;
         writePaced(task, board, [&](std::uint32_t change) {
            stream.send(publish(change));
            reply.clear();
            stream.receive(reply);
         });
      } else {
         writeSustained(task, board, stream);
      }
   }

   void mount(Task const& task, Board& board) override {
      bool const isSnapshot = task.traffic == Traffic::snapshot;
      while (isSnapshot && board.port == 0) {
         sleepFor(1'000'000);
      }
      std::vector<Stream> streams;
      std::vector<Client> clients;
      for (std::uint32_t i = 0; i < task.clients; ++i) {
         streams.push_back(Stream::dialled(port_));
         clients.push_back({Hearing(task, board, i), {}, {}});
         if (!isSnapshot) {
            streams[i].send(command({"SUBSCRIBE", "changes"}));
         }
      }
      if (isSnapshot) {
         sleepFor(200'000'000);
         board.begin = monotonicTime();
         for (Stream const& each : streams) {
            each.send(command({"HGETALL", "rows"}));
         }
      }
      std::uint32_t left = task.clients;
      readAll(streams, [&](std::size_t i) {
         Client& client = clients[i];
         streams[i].receive(client.received);
         client.replies.feed(client.received, [&](redisReply const& reply) {
            left -= take(client, reply, isSnapshot, board) ? 1 : 0;
         });
         return left != 0;
      });
      board.end = monotonicTime();
      board.finished = true;
   }

 private:
   struct Client {
      Hearing hearing;
      std::string received;
      Replies replies;
   };

   static std::string publish(std::uint32_t change) {
      return command({"PUBLISH", "changes", std::to_string(change)});
   }

   static bool take(Client& client, redisReply const& reply, bool isSnapshot, Board& board) {
      if (isSnapshot) {
         if (reply.elements != 2 * snapshotRows) {
            fail("Redis has sent something else");
         }
         return true;
      }
      if (reply.elements == 3 && std::strcmp(reply.element[0]->str, "message") == 0) {
         return client.hearing.heard(
            static_cast<std::uint32_t>(std::strtoul(reply.element[2]->str, nullptr, 10)));
      }
      ++board.ready;
      return false;
   }

   static void fill(Stream const& stream) {
      std::string reply;
      for (std::uint32_t i = 0; i < snapshotRows; ++i) {
         stream.send(command({"HSET", "rows", rowName(i), rowText(i)}));
         stream.receive(reply);
      }
   }

   /// Commands are pipelined: so many may wait for their reply.
   static void writeSustained(Task const& task, Board& board, Stream const& stream) {
      constexpr std::uint32_t pipeline = 512;
      std::uint32_t sent = 0;
      std::uint32_t answered = 0;
      std::string out;
      std::string in;
      board.begin = monotonicTime();
      while (answered < task.changes) {
         out.clear();
         while (sent < task.changes && sent - answered < pipeline) {
            out += publish(++sent);
         }
         stream.send(out);
         in.clear();
         stream.receive(in);
         answered += static_cast<std::uint32_t>(std::count(in.begin(), in.end(), '\n'));
      }
   }

   std::uint16_t const port_;
};

class RedisServer : public PeerServer {
 public:
   RedisServer()
      : port_(freePort()),
        server_(0,
                {"redis-server", "--bind", "127.0.0.1", "--port", std::to_string(port_), "--save",
                 "", "--appendonly", "no", "--daemonize", "no", "--maxclients", "500",
                 "--client-output-buffer-limit", "pubsub 0 0 0", "--dir", directory_.path()},
                directory_.path() + "/log") {}
   bool isUp() { return answers(port_, server_); }
   std::unique_ptr<System> system() override { return std::make_unique<Redis>(port_); }

 private:
   ScratchDirectory directory_;
   std::uint16_t port_;
   Child server_;
};

} // namespace

std::unique_ptr<PeerServer> redisServer() {
   if (!hasProgram("redis-server")) {
      return nullptr;
   }
   auto server = std::make_unique<RedisServer>();
   return server->isUp() ? std::move(server) : nullptr;
}

} // namespace Bench
