// gantry-mount against gantry-switch, as processes on the loopback: what it shows once and live,
// hosts that die and come back, and what it says of bad options.

#include "../ChildProgram.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace HostTest {
namespace {

std::vector<std::string> mounting(std::vector<std::string> const& peers,
                                  std::vector<std::string> const& more,
                                  std::string const& path = "linux/interface",
                                  std::string const& type = "Linux::InterfaceDir") {
   std::vector<std::string> all{"--path", path, "--type", type};
   for (std::string const& each : peers) {
      all.insert(all.end(), {"--peer", each});
   }
   all.insert(all.end(), more.begin(), more.end());
   return all;
}

/// What the program writes to standard error, with its exit status before it.
std::string refusal(std::vector<std::string> arguments) {
   ChildProgram child("gantry-mount", std::move(arguments), true);
   std::string const text = child.rest();
   return std::to_string(child.status()) + " " + text;
}

TEST(GantryMount, ShowsOnceAsJson) {
   Switch const one("leaf1"), two("leaf2");
   ChildProgram child("gantry-mount", mounting({one.peer(), two.peer()}, {"--once", "--json"}));
   std::string const text = child.rest();
   EXPECT_EQ(child.status(), 0);
   for (char const* peer : {"leaf1", "leaf2"}) {
      std::string const lo = std::string("\"peer\":\"") + peer +
                             "\",\"event\":\"entity\",\"path\":\"interface/lo\",\"type\":\"Linux::"
                             "Interface\",\"attributes\":{\"index\":1,\"kind\":\"loopback\"";
      EXPECT_NE(text.find(lo), std::string::npos) << text;
   }
}

TEST(GantryMount, ShowsOnceAsTable) {
   Switch const leaf("leaf1");
   ChildProgram child("gantry-mount", mounting({leaf.peer()}, {"--once", "--columns", "kind,mtu"}));
   std::string const text = child.rest();
   EXPECT_EQ(child.status(), 0);
   EXPECT_NE(text.find("PEER   STATE"), std::string::npos) << text;
   EXPECT_NE(text.find("leaf1  mountStateMounted"), std::string::npos) << text;
   EXPECT_NE(text.find("leaf1  lo"), std::string::npos) << text;
   EXPECT_NE(text.find("loopback"), std::string::npos) << text;
}

TEST(GantryMount, ShowsAnyType) {
   Switch const leaf("leaf1");
   ChildProgram host("gantry-mount",
                     mounting({leaf.peer()}, {"--once", "--json"}, "linux/host", "Linux::Host"));
   EXPECT_NE(host.rest().find("\"type\":\"Linux::Host\",\"attributes\":{\"hostName\":"),
             std::string::npos);
   EXPECT_EQ(host.status(), 0);
   ChildProgram all("gantry-mount", mounting({leaf.peer()}, {"--once"}, "linux", "Fen::Dir"));
   std::string const text = all.rest();
   EXPECT_EQ(all.status(), 0);
   EXPECT_NE(text.find("Linux::Host\n"), std::string::npos) << text;
   EXPECT_NE(text.find("Linux::Interface\n"), std::string::npos) << text;
}

TEST(GantryMount, ServesOnlyTheInterfacesAskedFor) {
   Switch const leaf("leaf1", {"--interface", "lo"});
   ChildProgram child("gantry-mount", mounting({leaf.peer()}, {"--once", "--json"}));
   std::string const text = child.rest();
   EXPECT_NE(text.find("\"path\":\"\""), std::string::npos) << text;
   EXPECT_NE(text.find("interface/lo"), std::string::npos) << text;
   EXPECT_EQ(text.find("\"index\":2"), std::string::npos) << text;
}

TEST(GantryMount, SaysWhatFailedAndWhy) {
   Switch const leaf("leaf1");
   std::string const text =
      refusal(mounting({leaf.peer(), "leaf2=" + leaf.endpoint}, {"--once", "--json"}));
   EXPECT_EQ(text.rfind("1 gantry-mount: leaf2: mount of linux/interface failed: ", 0), 0u) << text;
   EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
   EXPECT_GT(text.size(),
             std::string("1 gantry-mount: leaf2: mount of linux/interface failed: \n").size());

   std::string const type = refusal(mounting({leaf.peer()}, {"--once"}, "linux/host"));
   EXPECT_EQ(type.rfind("1 gantry-mount: leaf1: ", 0), 0u) << type;
   std::string const path = refusal(mounting({leaf.peer()}, {"--once"}, "linux/nothing"));
   EXPECT_EQ(path.rfind("1 gantry-mount: leaf1: ", 0), 0u) << path;
}

TEST(GantryMount, FollowsAHostThatDiesAndComesBack) {
   auto leaf = std::make_unique<Switch>("leaf1", std::vector<std::string>{"--sample", "0.05"});
   std::string const endpoint = leaf->endpoint;
   ChildProgram child("gantry-mount", mounting({leaf->peer(), "nobody=" + endpoint},
                                               {"--json", "--retry-interval", "0.05"}));
   EXPECT_NE(child.lineWith({"\"peer\":\"leaf1\"", "mountStateMounted"}), "");
   EXPECT_NE(child.lineWith({"\"peer\":\"leaf1\"", "\"path\":\"interface/lo\""}), "");
   leaf = nullptr;
   EXPECT_NE(child.lineWith({"\"peer\":\"leaf1\"", "mountStateFailed", "\"reason\":\""}), "");
   Switch const again("leaf1", {"--listen", endpoint, "--sample", "0.05"});
   EXPECT_EQ(again.endpoint, endpoint);
   EXPECT_NE(child.lineWith({"\"peer\":\"leaf1\"", "mountStateMounted"}), "");
   child.signal(SIGTERM);
   std::string const rest = child.rest();
   // The copy was kept and adopted: what is still there did not go and come.
   EXPECT_EQ(rest.find("\"event\":\"removed\""), std::string::npos) << rest;
   EXPECT_EQ(child.status(), 0);
}

TEST(GantryMount, ShowsLinesWhereThereIsNoTerminal) {
   Switch const leaf("leaf1");
   ChildProgram child("gantry-mount", mounting({leaf.peer()}, {}));
   EXPECT_NE(child.lineWith({" leaf1: mountStateMounted"}), "");
   EXPECT_NE(child.lineWith({" leaf1 interface/lo: is there: index 1, kind loopback"}), "");
   child.signal(SIGINT);
   EXPECT_EQ(child.status(), 0);
}

TEST(GantryMount, BadOptions) {
   EXPECT_EQ(refusal(mounting({"leaf1"}, {})),
             "2 gantry-mount: --peer: 'leaf1' is no peer; give NAME=ADDRESS:PORT, such as "
             "leaf1=127.0.0.1:9001\n");
   EXPECT_EQ(refusal(mounting({"leaf1=127.0.0.1:0"}, {})),
             "2 gantry-mount: --peer: '0' is no port; give a number from 1 to 65535\n");
   EXPECT_EQ(refusal(mounting({"a=127.0.0.1:1", "a=127.0.0.1:2"}, {})),
             "2 gantry-mount: --peer: 'a' is given twice; give each system once\n");
   EXPECT_EQ(refusal(mounting({"a=127.0.0.1:1"}, {}, "/")),
             "2 gantry-mount: --path: give the path of an entity, such as linux/interface\n");
   std::string const type = refusal(mounting({"a=127.0.0.1:1"}, {}, "linux", "No::Such"));
   EXPECT_EQ(
      type.rfind("2 gantry-mount: --type: this program knows no entities of type 'No::Such'", 0),
      0u)
      << type;
   for (std::vector<std::string> const& bad :
        {std::vector<std::string>{}, {"--peer", "a=127.0.0.1:1"}, {"--nonsense"}}) {
      std::string const text = refusal(bad);
      EXPECT_EQ(text.rfind("2 gantry-mount: ", 0), 0u) << text;
      EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
   }
}

} // namespace
} // namespace HostTest
