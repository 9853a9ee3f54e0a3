/// The database server of Open vSwitch: changes are transactions, clients monitor a table. Its
/// replies are scanned for what is needed rather than parsed whole, which favours it.
#include "../endtoend/Sockets.h"
#include "../endtoend/Systems.h"
#include "EndToEndServers.h"

#include <cstdlib>
#include <fstream>

namespace Bench {

namespace {

constexpr char const* schema =
   R"({"name":"P","version":"1.0.0","tables":{)"
   R"("Gauge":{"columns":{"count":{"type":"integer"}},"isRoot":true},)"
   R"("Row":{"columns":{"name":{"type":"string"},"text":{"type":"string"}},"isRoot":true}}})";

/// Cuts a stream of bytes into its outermost objects.
class Objects {
 public:
   template <class F>
   void feed(std::string& bytes, F const& handler) {
      std::size_t taken = 0;
      for (; scanned_ < bytes.size(); ++scanned_) {
         char const c = bytes[scanned_];
         if (inText_) {
            inText_ = escaped_ || c != '"';
            escaped_ = !escaped_ && c == '\\';
         } else if (c == '"') {
            inText_ = true;
         } else if (c == '{') {
            ++depth_;
         } else if (c == '}' && --depth_ == 0) {
            handler(std::string_view(bytes).substr(taken, scanned_ + 1 - taken));
            taken = scanned_ + 1;
         }
      }
      bytes.erase(0, taken);
      scanned_ -= taken;
   }

 private:
   std::size_t scanned_ = 0;
   int depth_ = 0;
   bool inText_ = false;
   bool escaped_ = false;
};

bool has(std::string_view text, std::string_view part) {
   return text.find(part) != std::string_view::npos;
}

class Ovsdb : public System {
 public:
   explicit Ovsdb(std::uint16_t port) : port_(port) {}

   void write(Task const& task, Board& board) override {
      Stream const stream = Stream::dialled(port_);
      std::string const gauge = fill(stream, task.traffic == Traffic::snapshot);
      board.port = port_;
      if (task.traffic == Traffic::snapshot) {
         return;
      }
      awaitClients(task, board);
      if (task.traffic == Traffic::paced) {
         writePaced(task, board, [&](std::uint32_t change) {
            stream.send(update(gauge, change));
            answer(stream);
         });
      } else {
         writeSustained(task, board, stream, gauge);
      }
   }

   void mount(Task const& task, Board& board) override {
      while (board.port == 0) {
         sleepFor(1'000'000);
      }
      bool const isSnapshot = task.traffic == Traffic::snapshot;
      std::string const request = monitor(isSnapshot);
      std::vector<Stream> streams;
      std::vector<Client> clients;
      for (std::uint32_t i = 0; i < task.clients; ++i) {
         streams.push_back(Stream::dialled(port_));
         clients.push_back({Hearing(task, board, i), {}, {}});
         if (!isSnapshot) {
            streams[i].send(request);
         }
      }
      if (isSnapshot) {
         sleepFor(200'000'000);
         board.begin = monotonicTime();
         for (Stream const& each : streams) {
            each.send(request);
         }
      }
      std::uint32_t left = task.clients;
      readAll(streams, [&](std::size_t i) {
         Client& client = clients[i];
         streams[i].receive(client.received);
         client.objects.feed(client.received, [&](std::string_view object) {
            left -= take(client, object, streams[i], isSnapshot, board) ? 1 : 0;
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
      Objects objects;
   };

   static std::string monitor(bool isSnapshot) {
      std::string const table =
         isSnapshot ? R"("Row":{"columns":["name","text"]})" : R"("Gauge":{"columns":["count"]})";
      return R"({"method":"monitor","params":["P",null,{)" + table + R"(}],"id":1})";
   }

   static std::string transaction(std::string const& operations, std::uint32_t id) {
      return R"({"method":"transact","params":["P")" + operations + R"(],"id":)" +
             std::to_string(id) + "}";
   }

   static std::string update(std::string const& gauge, std::uint32_t change) {
      return transaction(R"(,{"op":"update","table":"Gauge","where":[["_uuid","==",["uuid",")" +
                            gauge + R"("]]],"row":{"count":)" + std::to_string(change) + "}}",
                         change);
   }

   static std::string answer(Stream const& stream) {
      std::string received;
      std::string answer;
      Objects objects;
      while (answer.empty()) {
         stream.receive(received);
         objects.feed(received, [&](std::string_view object) { answer = object; });
      }
      return answer;
   }

   /// Makes the tables fresh; returns the identity of the gauge.
   static std::string fill(Stream const& stream, bool withRows) {
      std::string operations = R"(,{"op":"delete","table":"Gauge","where":[]})"
                               R"(,{"op":"delete","table":"Row","where":[]})"
                               R"(,{"op":"insert","table":"Gauge","row":{"count":0}})";
      for (std::uint32_t i = 0; withRows && i < snapshotRows; ++i) {
         operations += R"(,{"op":"insert","table":"Row","row":{"name":")" + rowName(i) +
                       R"(","text":")" + rowText(i) + R"("}})";
      }
      stream.send(transaction(operations, 0));
      std::string const inserted = answer(stream);
      std::string const mark = R"(["uuid",")";
      std::size_t const at = inserted.find(mark);
      if (at == std::string::npos) {
         fail("the database has refused the rows");
      }
      return inserted.substr(at + mark.size(), 36);
   }

   static bool take(Client& client, std::string_view object, Stream const& stream, bool isSnapshot,
                    Board& board) {
      if (has(object, R"("method":"echo")")) {
         stream.send(R"({"result":[],"error":null,"id":"echo"})");
         return false;
      }
      if (has(object, R"("method":"update")")) {
         std::string_view const mark = R"("count":)";
         std::size_t const at = object.find(mark, object.find(R"("new":)"));
         return !isSnapshot && at != std::string_view::npos &&
                client.hearing.heard(static_cast<std::uint32_t>(
                   std::strtoul(object.data() + at + mark.size(), nullptr, 10)));
      }
      if (!isSnapshot) {
         ++board.ready;
         return false;
      }
      std::uint32_t rows = 0;
      for (std::size_t at = 0; (at = object.find(R"("new")", at)) != std::string_view::npos; ++at) {
         ++rows;
      }
      if (rows != snapshotRows) {
         fail("the database has sent something else");
      }
      return true;
   }

   static void writeSustained(Task const& task, Board& board, Stream const& stream,
                              std::string const& gauge) {
      constexpr std::uint32_t pipeline = 512;
      std::uint32_t sent = 0;
      std::uint32_t answered = 0;
      std::string out;
      std::string in;
      Objects objects;
      board.begin = monotonicTime();
      while (answered < task.changes) {
         out.clear();
         while (sent < task.changes && sent - answered < pipeline) {
            out += update(gauge, ++sent);
         }
         stream.send(out);
         stream.receive(in);
         objects.feed(in, [&](std::string_view) { ++answered; });
      }
   }

   std::uint16_t const port_;
};

class OvsdbServer : public PeerServer {
 public:
   OvsdbServer() : port_(freePort()) {
      std::string const& path = directory_.path();
      std::ofstream(path + "/schema") << schema;
      std::string const create =
         "ovsdb-tool create " + path + "/data " + path + "/schema > " + path + "/log 2>&1";
      if (std::system(create.c_str()) == 0) {
         server_ = std::make_unique<Child>(
            0,
            std::vector<std::string>{
               "ovsdb-server", "--remote=ptcp:" + std::to_string(port_) + ":127.0.0.1",
               "--unixctl=" + path + "/control", "--no-chdir", path + "/data"},
            path + "/log");
      }
   }
   bool isUp() { return server_ && answers(port_, *server_); }
   std::unique_ptr<System> system() override { return std::make_unique<Ovsdb>(port_); }

 private:
   ScratchDirectory directory_;
   std::uint16_t port_;
   std::unique_ptr<Child> server_;
};

} // namespace

std::unique_ptr<PeerServer> ovsdbServer() {
   if (!hasProgram("ovsdb-server") || !hasProgram("ovsdb-tool")) {
      return nullptr;
   }
   auto server = std::make_unique<OvsdbServer>();
   return server->isUp() ? std::move(server) : nullptr;
}

} // namespace Bench
