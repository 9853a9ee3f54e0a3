// gantry-switch as a process: the line that it prints, its end, and what it says of bad options.

#include "../ChildProgram.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace HostTest {
namespace {

/// What the program writes to standard error, with its exit status before it.
std::string refusal(std::vector<std::string> arguments) {
   ChildProgram child("gantry-switch", std::move(arguments), true);
   std::string const text = child.rest();
   return std::to_string(child.status()) + " " + text;
}

TEST(GantrySwitch, SaysWhereItServesAndEndsCleanly) {
   for (int const number : {SIGINT, SIGTERM}) {
      Switch leaf("leaf1");
      EXPECT_EQ(leaf.serving.rfind("serving leaf1 on 127.0.0.1:", 0), 0u) << leaf.serving;
      EXPECT_NE(leaf.endpoint, "127.0.0.1:0");
      leaf.child.signal(number);
      EXPECT_EQ(leaf.child.status(), 0);
   }
}

TEST(GantrySwitch, PortInUse) {
   Switch const leaf("leaf1");
   std::string const text = refusal({"--listen", leaf.endpoint});
   EXPECT_EQ(text.rfind("2 gantry-switch: ", 0), 0u) << text;
   EXPECT_NE(text.find(leaf.endpoint.substr(leaf.endpoint.find(':') + 1)), std::string::npos)
      << text;
   EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
}

TEST(GantrySwitch, BadOptions) {
   EXPECT_EQ(refusal({"--listen", "localhost:1"}),
             "2 gantry-switch: --listen: 'localhost:1' is no address; give an IPv4 address and a "
             "port, such as 127.0.0.1:9001\n");
   EXPECT_EQ(refusal({"--listen", "127.0.0.1:65536"}),
             "2 gantry-switch: --listen: '65536' is no port; give a number from 0 (a free one) to "
             "65535\n");
   EXPECT_EQ(refusal({"--interface", "no-such0"}),
             "2 gantry-switch: --interface: there is no interface 'no-such0'; 'ip link' lists "
             "those that there are\n");
   EXPECT_EQ(
      refusal({"--sysname", "a/b"}),
      "2 gantry-switch: --sysname: 'a/b' cannot name a system; give a name without slashes\n");
   EXPECT_EQ(refusal({"--sample", "0"}),
             "2 gantry-switch: --sample: give a number of seconds from 0.01 to 86400\n");
   for (std::vector<std::string> const& bad : {std::vector<std::string>{"--nonsense"},
                                               {"--sample", "often"},
                                               {"--trace", "///"},
                                               {"--ring", "/no/such/directory/file"},
                                               {"--listen"}}) {
      std::string const text = refusal(bad);
      EXPECT_EQ(text.rfind("2 gantry-switch: ", 0), 0u) << text;
      EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
   }
}

TEST(GantrySwitch, HelpIsNoError) {
   ChildProgram child("gantry-switch", {"--help"});
   EXPECT_NE(child.rest().find("--listen"), std::string::npos);
   EXPECT_EQ(child.status(), 0);
}

} // namespace
} // namespace HostTest
