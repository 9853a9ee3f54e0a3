// What a controller publishes, as processes: a switch learns of it, mounts it and loses it again,
// nobody else gets it, and a wish for an interface comes back from the kernel.

#include "ControllerFixture.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cstring>

namespace HostTest {
namespace {

std::string const directory = "config/interfaces";

/// A service that publishes one interface's wishes to the first switch, and to the second that it
/// has none.
std::string publishing(std::string const& values) {
   return R"("fabric":{"versions":"1","publishGroups":{"d":{"directories":{")" + directory +
          R"(":{"remotePath":"interfaces","systems":{")" + id(1) +
          R"(":{"lo":{"type":"Linux::InterfaceConfig","values":)" + values + R"(}},")" + id(2) +
          R"(":{}}}}}}})";
}

/// What the program that asks for a part of the directory as a system says, behind its status.
std::string asked(std::string const& controller, std::string const& as, std::string const& part) {
   ChildProgram child("gantry-mount",
                      {"--peer", "controller=" + controller, "--system-id", as, "--path",
                       directory + "/" + part, "--type", "Fen::Dir", "--once"},
                      true);
   std::string const text = child.rest();
   return std::to_string(child.status()) + " " + text;
}

class PublishingProcessTest : public ControllerFixture {
 protected:
   /// Starts the controller and gives the endpoint at which it serves.
   std::string serving() {
      controller = start({"--json", "--accept"});
      std::string const line = controller->line();
      return line.substr(line.rfind(' ') + 1);
   }
   std::unique_ptr<ChildProgram> controller;
};

TEST_F(PublishingProcessTest, ASwitchMountsWhatIsPublishedToItWhileItIs) {
   std::string const listen = R"(,"listen":"127.0.0.1:0")";
   write("", publishing("{}"), listen);
   std::string const where = serving();
   auto const one = leaf(1, {"--service", "fabric=1", "--controller", where});
   EXPECT_NE(one->child.lineWith({"known to controller"}), "");
   EXPECT_NE(one->child.lineWith({"/controllers/controller/interfaces: mounted"}), "");
   write("", R"("fabric":{"versions":"1"})", listen);
   controller->signal(SIGHUP);
   EXPECT_NE(one->child.lineWith({"/controllers/controller/interfaces: no longer published"}), "");
   write("", publishing("{}"), listen);
   controller->signal(SIGHUP);
   EXPECT_NE(one->child.lineWith({"/controllers/controller/interfaces: mounted"}), "");
   one->child.signal(SIGTERM);
   EXPECT_EQ(one->child.status(), 0);
   controller->signal(SIGTERM);
   EXPECT_EQ(controller->status(), 0);
}

TEST_F(PublishingProcessTest, WhatWasWithdrawnMeanwhileGoesToo) {
   write("", publishing("{}"), R"(,"listen":"127.0.0.1:0")");
   std::string const where = serving();
   auto const one = leaf(1, {"--service", "fabric=1", "--controller", where});
   EXPECT_NE(one->child.lineWith({"/controllers/controller/interfaces: mounted"}), "");
   controller->signal(SIGKILL);
   EXPECT_EQ(controller->status(), -SIGKILL);
   // The next controller never says that it has ceased to publish: it has no record of the switch.
   write("", R"("fabric":{"versions":"1"})", R"(,"listen":")" + where + "\"");
   EXPECT_EQ(serving(), where);
   EXPECT_NE(one->child.lineWith({"/controllers/controller/interfaces: no longer published"}), "");
}

TEST_F(PublishingProcessTest, NobodyGetsWhatIsPublishedToAnother) {
   auto const one = leaf(1, {"--service", "fabric=1"});
   auto const two = leaf(2, {"--service", "fabric=1"});
   write(place(1, one->endpoint) + "," + place(2, two->endpoint), publishing("{}"),
         R"(,"listen":"127.0.0.1:0")");
   std::string const where = serving();
   for (int number : {1, 2}) {
      EXPECT_NE(controller->lineWith({"\"event\":\"switch\"", "\"state\":\"registered\""}), "")
         << number;
   }
   EXPECT_EQ(asked(where, id(1), id(1)).substr(0, 2), "0 ");
   std::string const refused = asked(where, id(1), id(2));
   EXPECT_EQ(refused.substr(0, 2), "1 ");
   EXPECT_NE(refused.find("'config/interfaces/" + id(2) + "' is not published to this system"),
             std::string::npos)
      << refused;
   // A stranger is not even let in.
   EXPECT_EQ(asked(where, "02:00:00:00:00:77", id(1)).substr(0, 2), "1 ");
   // And above what is published is nothing for anybody.
   EXPECT_EQ(asked(where, id(1), "").substr(0, 2), "1 ");
}

int loopbackMtu() {
   int const socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   ifreq request{};
   std::strcpy(request.ifr_name, "lo");
   request.ifr_flags = IFF_UP;
   ::ioctl(socket, SIOCSIFFLAGS, &request);
   ::ioctl(socket, SIOCGIFMTU, &request);
   ::close(socket);
   return request.ifr_mtu;
}

/// The loop in a network of its own, where the loopback may be changed; where that is not allowed,
/// the kernel's refusal has to come back instead. 0 when all is as it should be.
int loopChecks(std::string const& file) {
   bool const isOwnNetwork =
      ::unshare(CLONE_NEWNET) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
   loopbackMtu(); // a fresh network's loopback is down
   ChildProgram controller("gantry-controller", {"--config", file, "--json", "--accept"});
   std::string const line = controller.line();
   auto const one = leaf(
      1, {"--service", "fabric=1", "--apply", "--controller", line.substr(line.rfind(' ') + 1)});
   std::string const answer = isOwnNetwork ? "\"mtu\":60000" : "Operation not permitted";
   ChildProgram watch("gantry-mount",
                      {"--peer", "leaf1=" + one->endpoint, "--path",
                       isOwnNetwork ? "linux/interface" : "linux/applied", "--type",
                       isOwnNetwork ? "Linux::InterfaceDir" : "Fen::Dir", "--json"});
   std::string seen;
   for (seen = watch.line(); !seen.empty(); seen = watch.line()) {
      if (seen.find(answer) != std::string::npos ||
          (seen.find("\"attribute\":\"mtu\"") != std::string::npos &&
           seen.find("60000") != std::string::npos)) {
         break;
      }
   }
   return seen.empty() ? 1 : isOwnNetwork && loopbackMtu() != 60000 ? 2 : 0;
}

TEST_F(PublishingProcessTest, AWishComesBackFromTheKernel) {
   write("", publishing(R"({"mtu":60000})"), R"(,"listen":"127.0.0.1:0")");
   pid_t const child = ::fork();
   if (child == 0) {
      ::_exit(loopChecks(file));
   }
   int status = 0;
   ASSERT_EQ(::waitpid(child, &status, 0), child);
   ASSERT_TRUE(WIFEXITED(status));
   EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace
} // namespace HostTest
