// gantry against hosts as processes: every command, what is refused and how, and clients that do
// not keep to the protocol.

#include "../ChildProgram.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace HostTest {
namespace {

struct Outcome {
   int status;
   std::string text;
};

class GantryToolTest : public testing::Test {
 protected:
   GantryToolTest()
      : socket(testing::TempDir() + "gantry-control-" + std::to_string(getpid())),
        leaf("leaf1", {"--control", socket, "--sample", "100", "--service", "fabric=1-3",
                       "--system-id", "02:00:00:00:00:01"}) {}

   /// What the tool prints, on standard error where asked for.
   Outcome tool(std::vector<std::string> arguments, bool errors = false) const {
      arguments.insert(arguments.begin(), {"--control", socket});
      ChildProgram child("gantry", std::move(arguments), errors);
      std::string const text = child.rest();
      return {child.status(), text};
   }
   std::string shown(std::vector<std::string> arguments) const {
      Outcome const outcome = tool(std::move(arguments));
      EXPECT_EQ(outcome.status, 0);
      return outcome.text;
   }
   /// One line on standard error, and the status before it.
   std::string refusal(std::vector<std::string> arguments) const {
      Outcome const outcome = tool(std::move(arguments), true);
      return std::to_string(outcome.status) + " " + outcome.text;
   }

   std::string const socket;
   Switch leaf;
};

bool holds(std::string const& text, std::string const& part) {
   return text.find(part) != std::string::npos;
}

TEST_F(GantryToolTest, SocketIsForItsUserAlone) {
   struct stat status {};
   ASSERT_EQ(::stat(socket.c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 07777, 0600u);
   EXPECT_TRUE(S_ISSOCK(status.st_mode));
}

TEST_F(GantryToolTest, SocketGoesWithItsHost) {
   leaf.child.signal(SIGTERM);
   EXPECT_EQ(leaf.child.status(), 0);
   EXPECT_FALSE(std::filesystem::exists(socket));
}

TEST_F(GantryToolTest, ASecondHostDoesNotTakeTheSocket) {
   ChildProgram other("gantry-switch", {"--listen", "127.0.0.1:0", "--control", socket}, true);
   EXPECT_TRUE(holds(other.rest(), "is used by another host; give another path\n"));
   EXPECT_EQ(other.status(), 2);
   EXPECT_TRUE(holds(shown({"get", "/agent.name"}), "agent"));
}

TEST_F(GantryToolTest, TheSocketOfAKilledHostIsTakenOver) {
   leaf.child.signal(SIGKILL);
   EXPECT_EQ(leaf.child.status(), -SIGKILL);
   EXPECT_TRUE(std::filesystem::exists(socket));
   EXPECT_TRUE(refusal({"tree"}).starts_with("3 gantry: no host answers at "));
   Switch const next("leaf2", {"--control", socket});
   EXPECT_TRUE(holds(shown({"tree", "--depth", "1"}), "agent  Agent::Announcement"));
}

TEST_F(GantryToolTest, AFileThatIsNoSocketStays) {
   std::string const file = socket + ".txt";
   std::ofstream(file) << "mine";
   ChildProgram other("gantry-switch", {"--listen", "127.0.0.1:0", "--control", file}, true);
   EXPECT_TRUE(holds(other.rest(), "is there and is no socket; give another path\n"));
   EXPECT_TRUE(std::filesystem::exists(file));
   std::filesystem::remove(file);
}

TEST_F(GantryToolTest, Tree) {
   std::string const all = shown({"tree"});
   EXPECT_TRUE(all.starts_with("/  Fen::Dir\n")) << all;
   EXPECT_TRUE(holds(all, "\n   linux  Fen::Dir\n")) << all;
   EXPECT_TRUE(holds(all, "\n      host  Linux::Host\n")) << all;
   EXPECT_TRUE(holds(all, "interface/lo  Linux::Interface\n")) << all;
   std::string const flat = shown({"tree", "/linux", "--depth", "0"});
   EXPECT_TRUE(flat.starts_with("/linux  Fen::Dir  (") && holds(flat, " below)\n")) << flat;
   EXPECT_EQ(shown({"tree", "/agent", "--json"}),
             "{\"ok\":true,\"tree\":{\"path\":\"/agent\",\"type\":\"Agent::Announcement\","
             "\"members\":[]}}\n");
}

TEST_F(GantryToolTest, Get) {
   std::string const agent = shown({"get", "/agent"});
   EXPECT_TRUE(agent.starts_with("/agent  Agent::Announcement  (read-only)\n")) << agent;
   EXPECT_TRUE(holds(agent, "offered[fabric] = '1-3'\n")) << agent;
   EXPECT_EQ(shown({"get", "/agent.offered[fabric]"}), "'1-3'\n");
   EXPECT_EQ(shown({"get", "/agent.offered['fabric']"}), "'1-3'\n");
   EXPECT_TRUE(holds(shown({"get", "/agent.offered", "--json"}),
                     "\"members\":[{\"key\":\"fabric\",\"text\":\"'1-3'\",\"value\":\"1-3\"}]"));
   EXPECT_EQ(shown({"get", "/linux/interface/interface/lo.index"}), "1\n");
}

TEST_F(GantryToolTest, WrongPathsAndNames) {
   EXPECT_EQ(refusal({"get", "/nowhere"}), "1 gantry: there is nothing at '/nowhere'; 'gantry "
                                           "tree' shows what there is\n");
   EXPECT_EQ(refusal({"get", "/linux/nothing/here"}),
             "1 gantry: there is nothing at '/linux/nothing/here'; 'gantry tree /linux --depth 2' "
             "shows what there is\n");
   EXPECT_EQ(refusal({"get", "/agent/systemId"}),
             "1 gantry: there is nothing at '/agent/systemId'; for the attribute give "
             "'/agent.systemId'\n");
   EXPECT_EQ(refusal({"get", "/agent.colour"}),
             "1 gantry: Agent::Announcement has no attribute 'colour'; 'gantry types "
             "Agent::Announcement' lists them\n");
   EXPECT_EQ(refusal({"get", "/agent.offered[idle]"}),
             "1 gantry: 'offered' has no member at 'idle'; leave the key out to see all members\n");
   EXPECT_EQ(refusal({"get", "/agent.systemId[x]"}),
             "1 gantry: systemId; this attribute takes no [KEY]\n");
   EXPECT_EQ(refusal({"types", "No::Such"}),
             "1 gantry: there is no type 'No::Such'; 'gantry types' lists those that there are\n");
   EXPECT_EQ(refusal({"watch", "/agent.systemId"}),
             "1 gantry: only an entity can be watched, with all below it; give the path without "
             "the attribute\n");
}

TEST_F(GantryToolTest, WrongCommandLines) {
   for (std::vector<std::string> const& bad :
        {std::vector<std::string>{}, {"nonsense"}, {"get"}, {"tree", "--depth", "deep"}}) {
      std::string const text = refusal(bad);
      EXPECT_TRUE(text.starts_with("2 gantry: ")) << text;
      EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
   }
}

TEST_F(GantryToolTest, LinesThatSayWhatToDo) {
   EXPECT_EQ(
      refusal({"get", "/machines/nothing"}),
      "1 gantry: there is nothing at '/machines/nothing'; 'gantry tree /machines' shows what "
      "there is\n");
   EXPECT_EQ(refusal({"dance"}), "2 gantry: The following argument was not expected: dance; --help "
                                 "lists the options\n");
   EXPECT_EQ(refusal({}),
             "2 gantry: say what to show, such as 'gantry tree'; --help lists the commands\n");
   EXPECT_EQ(refusal({"status"}), "1 gantry: this host has no command 'status'; it has watch, get, "
                                  "host, set, stats, tree, types\n");
   ChildProgram file("gantry", {"--control", program("gantry"), "tree"}, true);
   EXPECT_EQ(file.rest(),
             "gantry: " + program("gantry") + " is no socket; give the --control path of a host\n");
   EXPECT_EQ(file.status(), 3);
}

TEST_F(GantryToolTest, SetOfWhatTheHostWrites) {
   EXPECT_EQ(refusal({"set", "/linux/host.hostName", "other"}),
             "1 gantry: attempting to modify a const instance; the host writes this itself or "
             "mounts it read-only; change its source\n");
   EXPECT_EQ(refusal({"set", "/agent", "x"}),
             "1 gantry: an entity as a whole cannot be set; give PATH.ATTRIBUTE\n");
}

TEST_F(GantryToolTest, Types) {
   std::string const all = shown({"types"});
   EXPECT_TRUE(all.starts_with("TYPE")) << all;
   EXPECT_TRUE(holds(all, "Controller::MountSm ")) << all;
   std::string const one = shown({"types", "Agent::Announcement"});
   EXPECT_TRUE(one.starts_with("Agent::Announcement  entity")) << one;
   EXPECT_TRUE(holds(one, "offered")) << one;
   EXPECT_TRUE(holds(shown({"types", "Agent::Announcement", "--json"}), "\"name\":\"offered\""));
}

TEST_F(GantryToolTest, TraceOfTheRunningHost) {
   EXPECT_EQ(refusal({"trace"}),
             "1 gantry: this host writes no ring trace; start it with --ring FILE\n");
   std::string const ring = socket + ".ring";
   std::string const other = socket + ".2";
   Switch const traced("leaf2", {"--control", other, "--ring", ring});
   ChildProgram all("gantry", {"--control", other, "trace"});
   EXPECT_EQ(all.status(), 0);
   ChildProgram none("gantry", {"--control", other, "trace", "--machine", "NoSuchMachine"});
   EXPECT_EQ(none.rest(), "");
   EXPECT_EQ(none.status(), 0);
   std::filesystem::remove(ring);
}

std::string fileText(std::string const& name) {
   std::ifstream file(program(name));
   return {std::istreambuf_iterator<char>(file), {}};
}

TEST(GantryToolDocuments, AreMadeByTheBuild) {
   std::string const completion = fileText("gantry.bash");
   EXPECT_TRUE(holds(completion, "complete -F _gantry gantry\n")) << completion;
   EXPECT_TRUE(holds(completion, "tree) words=\"--help --json --depth\" ;;")) << completion;
   EXPECT_FALSE(holds(completion, "manual")) << completion;
   std::string const manual = fileText("gantry.1");
   EXPECT_TRUE(manual.starts_with(".TH gantry 1\n.SH NAME\n")) << manual;
   EXPECT_TRUE(holds(manual, "\n.SS explain\n")) << manual;
   EXPECT_TRUE(holds(manual, "\n.B \\-\\-depth\n")) << manual;
   EXPECT_TRUE(holds(manual, "\n.B VALUE\n")) << manual;
   EXPECT_TRUE(holds(manual, "3 no host, 4 what was watched has gone.\n")) << manual;
}

/// What bash offers behind these words.
TEST(GantryToolDocuments, CompleteInBash) {
   std::string const script = ". " + program("gantry.bash") +
                              "; COMP_WORDS=(gantry tree --d); COMP_CWORD=2; _gantry; "
                              "test \"${COMPREPLY[*]}\" = --depth && "
                              "COMP_WORDS=(gantry ex) COMP_CWORD=1; _gantry; "
                              "test \"${COMPREPLY[*]}\" = explain";
   EXPECT_EQ(std::system(("bash -c '" + script + "'").c_str()), 0);
}

TEST_F(GantryToolTest, WatchTellsWhatIsThereAndEndsWithTheHost) {
   ChildProgram watch("gantry", {"--control", socket, "watch", "/agent", "--json"});
   EXPECT_NE(watch.lineWith({"\"event\":\"entity\"", "\"path\":\"/agent\"", "\"fabric\":\"1-3\""}),
             "");
   leaf.child.signal(SIGTERM);
   EXPECT_EQ(watch.status(), 3);
}

/// A client of its own, for what the tool would never send.
class RawClient {
 public:
   explicit RawClient(std::string const& path) : socket_(::socket(AF_UNIX, SOCK_STREAM, 0)) {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      std::memcpy(address.sun_path, path.data(), path.size());
      EXPECT_EQ(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
   }
   ~RawClient() { ::close(socket_); }

   void send(std::string const& text) const {
      for (std::size_t sent = 0; sent < text.size();) {
         ssize_t const size = ::send(socket_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
         if (size <= 0) {
            return;
         }
         sent += static_cast<std::size_t>(size);
      }
   }
   /// All until the host closes.
   std::string all() const {
      ::shutdown(socket_, SHUT_WR);
      return read([](std::string const&) { return false; });
   }
   std::string line() const {
      return read([](std::string const& text) { return text.back() == '\n'; });
   }

 private:
   template <class Done>
   std::string read(Done const& done) const {
      std::string text;
      char buffer[4096];
      ssize_t size;
      while ((size = ::recv(socket_, buffer, sizeof buffer, 0)) > 0) {
         text.append(buffer, static_cast<std::size_t>(size));
         if (done(text)) {
            break;
         }
      }
      return text;
   }

   int const socket_;
};

TEST_F(GantryToolTest, BadRequestsAreAnsweredAndHarmNobody) {
   for (char const* bad : {"", "x", "[]", "{\"command\":7}", "{\"command\":\"tree\",\"path\":[]}",
                           "{\"a\":{\"b\":1},\"command\":\"tree\"}", "{\"command\":\"get\"}"}) {
      RawClient const client(socket);
      client.send(std::string(bad) + "\n{\"command\":\"tree\",\"path\":\"/agent\"}\n");
      std::string const text = client.all();
      EXPECT_TRUE(text.starts_with("{\"ok\":false,\"error\":\"badRequest\"")) << bad << text;
      EXPECT_TRUE(holds(text, "\n{\"ok\":true,")) << bad << text;
   }
   RawClient const unknown(socket);
   unknown.send("{\"command\":\"dance\"}\n");
   EXPECT_TRUE(unknown.all().starts_with("{\"ok\":false,\"error\":\"noCommand\""));
}

TEST_F(GantryToolTest, ARequestIsBounded) {
   RawClient const client(socket);
   client.send("{\"command\":\"" + std::string(100000, 'x'));
   EXPECT_TRUE(client.all().starts_with("{\"ok\":false,\"error\":\"tooLarge\""));
   RawClient const deep(socket);
   deep.send(std::string(60000, '[') + "\n");
   EXPECT_TRUE(deep.all().starts_with("{\"ok\":false,\"error\":\"badRequest\""));
}

TEST_F(GantryToolTest, ManyRequestsAtOnceAreAnsweredInOrder) {
   RawClient const client(socket);
   std::string requests;
   for (unsigned i = 0; i < 300; ++i) {
      requests += "{\"command\":\"get\",\"path\":\"/missing" + std::to_string(i) + "\"}\n";
   }
   client.send(requests);
   std::string const text = client.all();
   std::size_t at = 0;
   for (unsigned i = 0; i < 300; ++i) {
      at = text.find("'/missing" + std::to_string(i) + "'", at);
      ASSERT_NE(at, std::string::npos) << i;
   }
}

TEST_F(GantryToolTest, ClientsAreBounded) {
   std::vector<std::unique_ptr<RawClient>> clients;
   for (unsigned i = 0; i < 16; ++i) {
      clients.push_back(std::make_unique<RawClient>(socket));
      clients.back()->send("{\"command\":\"types\",\"name\":\"Fen::Dir\"}\n");
      EXPECT_TRUE(clients.back()->line().starts_with("{\"ok\":true"));
   }
   EXPECT_TRUE(refusal({"tree"}).starts_with("1 gantry: this host serves 16 tools already"));
   clients.pop_back();
   // The place is free once the host has heard of it, which the next answer of another one shows.
   clients.front()->send("{\"command\":\"stats\"}\n");
   EXPECT_NE(clients.front()->line(), "");
   EXPECT_TRUE(holds(shown({"tree", "--depth", "0"}), "Fen::Dir"));
}

} // namespace
} // namespace HostTest
