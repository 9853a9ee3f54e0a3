// gantry-switch as a process: the line that it prints, its end, and what it says of bad options.

#include "../ChildProgram.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
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

/// What the agent of a switch says of it, as gantry-mount shows it.
std::string announcement(Switch const& leaf) {
   ChildProgram child("gantry-mount", {"--peer", leaf.peer(), "--path", "agent", "--type",
                                       "Agent::Announcement", "--once", "--json"});
   return child.rest();
}

TEST(GantrySwitch, SaysWhoItIsAndWhatItOffers) {
   Switch const leaf("leaf1", {"--system-id", "02:00:00:00:00:0A", "--service", "fabric=5,1-3",
                               "--service", "idle=7"});
   std::string const text = announcement(leaf);
   EXPECT_NE(text.find("02:00:00:00:00:0a"), std::string::npos) << text;
   EXPECT_NE(text.find("\"fabric\":\"1-3,5\""), std::string::npos) << text;
   EXPECT_NE(text.find("\"idle\":\"7\""), std::string::npos) << text;
}

TEST(GantrySwitch, ReadsItsServicesAgain) {
   std::string const file = testing::TempDir() + "gantry-switch-services";
   std::ofstream(file) << "# offered at first\n\nfabric=1\n";
   Switch leaf("leaf1", {"--services-file", file, "--service", "fixed=1"});
   EXPECT_NE(announcement(leaf).find("\"fabric\":\"1\""), std::string::npos);
   std::ofstream(file) << "fabric=1-2\n";
   leaf.child.signal(SIGHUP);
   EXPECT_EQ(leaf.child.line(), "services read again");
   std::string const text = announcement(leaf);
   EXPECT_NE(text.find("\"fabric\":\"1-2\""), std::string::npos) << text;
   EXPECT_NE(text.find("\"fixed\":\"1\""), std::string::npos) << text;
   std::filesystem::remove(file);
}

TEST(GantrySwitch, BadOffersAndIdentities) {
   EXPECT_EQ(refusal({"--service", "fabric"}),
             "2 gantry-switch: --service: 'fabric' is no offer; give NAME=VERSIONS, such as "
             "fabric=1-3,5\n");
   EXPECT_EQ(refusal({"--service", "fabric=new"}),
             "2 gantry-switch: --service: 'new' names no versions; give such as 1-3,5\n");
   EXPECT_EQ(refusal({"--service", "a=1", "--service", "a=2"}),
             "2 gantry-switch: --service: 'a' is given twice; give each service once\n");
   EXPECT_EQ(refusal({"--services-file", "/no/such/file"}),
             "2 gantry-switch: --services-file: /no/such/file cannot be read\n");
   EXPECT_EQ(refusal({"--system-id", "leaf1"}),
             "2 gantry-switch: --system-id: 'leaf1' is no system id; give six pairs of hexadecimal "
             "digits with colons between, not all zero\n");
   EXPECT_EQ(refusal({"--controller", "here"}),
             "2 gantry-switch: --controller: 'here:9000' is no address; give an IPv4 address and "
             "a port, such as 127.0.0.1:9001\n");
}

TEST(GantrySwitch, HelpIsNoError) {
   ChildProgram child("gantry-switch", {"--help"});
   EXPECT_NE(child.rest().find("--listen"), std::string::npos);
   EXPECT_EQ(child.status(), 0);
}

} // namespace
} // namespace HostTest
