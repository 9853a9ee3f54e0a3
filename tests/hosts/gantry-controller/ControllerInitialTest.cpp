// gantry-controller as a process that waits for the first full round of mounts.

#include "ControllerFixture.h"

namespace HostTest {
namespace {

class ControllerInitialTest : public ControllerFixture {
 protected:
   void writeAll(std::string const& switches, std::string const& interval = "0.05") {
      write(switches, service("fabric", "1", "", ""), "", ",\"heartbeatInterval\":" + interval);
   }
   /// Nobody serves at these ports.
   static std::string nobody(unsigned number) {
      return place(number, "127.0.0.1:" + std::to_string(number));
   }
};

TEST_F(ControllerInitialTest, EndsWithOnceWhenAllIsMountedAndTellsWhoIsMissing) {
   auto const one = leaf(1, {"--service", "fabric=1"});
   writeAll(place(1, one->endpoint) + "," + nobody(2));
   auto const controller = start({"--json", "--wait-initial", "50", "--once"});
   std::string const line = controller->lineWith({"\"event\":\"initialMounts\""});
   EXPECT_NE(line.find("\"service\":\"fabric\",\"group\":\"g\",\"switches\":[{\"switch\":\"leaf1\","
                       "\"outcome\":\"mounted\"},{\"switch\":\"leaf2\",\"outcome\":\"missing\","
                       "\"detail\":\""),
             std::string::npos)
      << line;
   EXPECT_EQ(controller->status(), 0);
}

TEST_F(ControllerInitialTest, GoesOnWithoutOnceAndShowsLines) {
   auto const one = leaf(1, {"--service", "fabric=1"});
   writeAll(place(1, one->endpoint));
   auto const controller = start({"--wait-initial", "50"});
   EXPECT_NE(controller->lineWith({" fabric/g: first mounts complete: mounted: leaf1"}), "");
   one->child.signal(SIGKILL);
   EXPECT_NE(controller->lineWith({" leaf1 (02:00:00:00:00:01): lost"}), "");
   controller->signal(SIGTERM);
   EXPECT_EQ(controller->status(), 0);
}

TEST_F(ControllerInitialTest, TheDeadlineWithoutAPeer) {
   writeAll(nobody(1) + "," + nobody(2));
   std::string const said = refusal({"--config", file, "--wait-initial", "0.1", "--once"});
   EXPECT_EQ(said.rfind("3 gantry-controller: the first mounts are not complete after 0.1 seconds\n"
                        "gantry-controller: fabric/g: waiting for peers: waiting: leaf1 (",
                        0),
             0u)
      << said;
   EXPECT_NE(said.find(", leaf2 ("), std::string::npos) << said;
}

TEST_F(ControllerInitialTest, AMissedDeadlineIsTheStatusOfALaterEnd) {
   writeAll(nobody(1));
   ChildProgram controller("gantry-controller", {"--config", file, "--wait-initial", "0.1"}, true);
   EXPECT_NE(controller.lineWith({"fabric/g: waiting for peers"}), "");
   controller.signal(SIGTERM);
   EXPECT_EQ(controller.status(), 3);
}

TEST_F(ControllerInitialTest, ASwitchThatIsThereAndNotInOrderIsWaitedFor) {
   auto const one = leaf(1, {"--service", "fabric=1"});
   std::string impostor = place(1, one->endpoint);
   impostor.replace(impostor.find(id(1)), id(1).size(), id(7));
   writeAll(impostor);
   auto const controller = start({"--json", "--inspect", "127.0.0.1:0"});
   std::string const state = controller->line();
   EXPECT_NE(controller->lineWith({"\"event\":\"switch\"", "\"state\":\"refused\""}), "");
   // It is a peer all the same.
   ChildProgram reader("gantry-mount",
                       {"--peer", "controller=" + state.substr(state.rfind(' ') + 1), "--path",
                        "registry/peerTable", "--type", "Controller::PeerTable", "--once"});
   EXPECT_NE(reader.rest().find(id(7)), std::string::npos);
}

TEST_F(ControllerInitialTest, NothingDeclaredIsCompleteAtOnce) {
   write(nobody(1), "");
   EXPECT_EQ(refusal({"--config", file, "--wait-initial", "50", "--once"}), "0 ");
}

TEST_F(ControllerInitialTest, BadCommandLines) {
   write("", "");
   EXPECT_EQ(refusal({"--config", file, "--once"}).rfind("2 gantry-controller: ", 0), 0u);
   EXPECT_EQ(refusal({"--config", file, "--wait-initial", "-1"}).rfind("2 gantry-controller: ", 0),
             0u);
}

} // namespace
} // namespace HostTest
