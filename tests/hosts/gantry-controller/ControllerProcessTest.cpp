// gantry-controller and switches as processes on the loopback: the road of a mount from its
// declaration to its state and back, and everything that can go wrong on it.

#include "ControllerFixture.h"

namespace HostTest {
namespace {

class ControllerProcessTest : public ControllerFixture {};

TEST_F(ControllerProcessTest, MountsWhatIsDeclaredAndEndsCleanly) {
   auto const one = leaf(1, {"--service", "fabric=1-3"});
   auto const two = leaf(2, {"--service", "fabric=2-5"});
   write(place(1, one->endpoint) + "," + place(2, two->endpoint), service("fabric", "1-3", "", ""));
   auto const controller = start();
   EXPECT_NE(controller->lineWith({"\"event\":\"service\"", "\"version\":3", "controller 1-3"}),
             "");
   std::string const first = controller->lineWith({"mountStateMounted"});
   EXPECT_NE(first.find("\"service\":\"fabric\""), std::string::npos) << first;
   EXPECT_NE(first.find("\"group\":\"g\",\"path\":\"linux/host\""), std::string::npos) << first;
   EXPECT_NE(controller->lineWith({"mountStateMounted"}), "");
   controller->signal(SIGTERM);
   std::string const rest = controller->rest();
   EXPECT_NE(rest.find("mountStateUnmounted"), std::string::npos) << rest;
   EXPECT_EQ(controller->status(), 0);
}

TEST_F(ControllerProcessTest, AnIncompatibleServiceShowsWithBothRanges) {
   auto const one = leaf(1, {"--service", "fabric=4-5"});
   write(place(1, one->endpoint),
         service("fabric", "1-3", "", "") + "," + service("idle", "1", "", "", ""));
   auto const controller = start();
   EXPECT_NE(controller->lineWith({"\"service\":\"fabric\"", "\"compatible\":false",
                                   "no version in common: controller 1-3, switch 4-5"}),
             "");
   EXPECT_NE(controller->lineWith({"\"service\":\"idle\"", "\"compatible\":false",
                                   "not offered: controller 1, switch none"}),
             "");
   controller->signal(SIGINT);
   EXPECT_EQ(controller->rest().find("\"event\":\"mount\""), std::string::npos);
   EXPECT_EQ(controller->status(), 0);
}

TEST_F(ControllerProcessTest, FollowsTheVersionsThatASwitchOffers) {
   std::string const offers = file + ".services";
   std::ofstream(offers) << "fabric=2\n";
   auto const one = leaf(1, {"--services-file", offers});
   write(place(1, one->endpoint), service("fabric", "1-3", "\"versionFilters\":{\"new\":\"2-3\"},",
                                          "\"versionFilter\":\"new\","));
   auto const controller = start();
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateMounted")), "");
   std::ofstream(offers) << "fabric=1\n";
   one->child.signal(SIGHUP);
   EXPECT_NE(controller->lineWith({"\"event\":\"service\"", "\"version\":1"}), "");
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateUnmounted")), "");
   std::ofstream(offers) << "fabric=1-3\n";
   one->child.signal(SIGHUP);
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateMounted")), "");
   std::filesystem::remove(offers);
}

TEST_F(ControllerProcessTest, ReadsTheFileAgain) {
   auto const one = leaf(1, {"--service", "fabric=1"});
   auto const two = leaf(2, {"--service", "fabric=1"});
   std::string const places = place(1, one->endpoint) + "," + place(2, two->endpoint);
   std::string const group = "\"systemFilter\":\"f\",";
   write(places, service("fabric", "1", R"("systemFilters":{"f":["leaf1"]},)", group));
   auto const controller = start();
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateMounted")), "");
   // A bad file changes nothing.
   std::ofstream(file) << "{";
   controller->signal(SIGHUP);
   EXPECT_NE(controller->lineWith({"\"event\":\"configuration\"", "\"fault\":\"", ":1:"}), "");
   // A system is added to a filter.
   write(places, service("fabric", "1", R"("systemFilters":{"f":["leaf1","leaf2"]},)", group));
   controller->signal(SIGHUP);
   EXPECT_NE(controller->lineWith({"\"event\":\"configuration\"", "\"changes\":1"}), "");
   EXPECT_NE(controller->lineWith(mountOf(2, "mountStateMounted")), "");
   // Another type: the path is retired and declared anew, and the reason of the failure is told.
   write(places, service("fabric", "1", R"("systemFilters":{"f":["leaf1","leaf2"]},)", group,
                         R"("linux/host":{"type":"Linux::Route"})"));
   controller->signal(SIGHUP);
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateUnmounted")), "");
   std::string const failed = controller->lineWith(mountOf(1, "mountStateFailed"));
   EXPECT_NE(failed.find("\"reason\":\"what is there is a Linux::Host"), std::string::npos)
      << failed;
   // And a service that goes.
   write(places, "");
   controller->signal(SIGHUP);
   EXPECT_NE(controller->lineWith(mountOf(2, "mountStateUnmounted")), "");
   write(places, service("fabric", "1", R"("systemFilters":{"f":["leaf1"]},)", group));
   controller->signal(SIGHUP);
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateMounted")), "");
   // What is fixed is refused.
   write(places, "", R"(,"name":"boss")");
   controller->signal(SIGHUP);
   EXPECT_NE(controller->lineWith({"\"fault\":\"cannot change while the controller runs: "
                                   "system.name\""}),
             "");
   controller->signal(SIGTERM);
   EXPECT_EQ(controller->status(), 0);
}

TEST_F(ControllerProcessTest, WhatIsUnknownFailsWithTheReason) {
   auto const one = leaf(1, {"--service", "fabric=1"});
   write(place(1, one->endpoint),
         service("fabric", "1", "", "",
                 R"("linux/host":{"type":"No::Such"},"no/such":{"type":"Linux::Host"})"));
   auto const controller = start();
   for (int i = 0; i < 2; ++i) {
      EXPECT_NE(controller->lineWith({"mountStateFailed", "\"reason\":\""}), "");
   }
   controller->signal(SIGTERM);
   EXPECT_EQ(controller->status(), 0);
}

TEST_F(ControllerProcessTest, AKilledSwitchIsKeptAndComesBack) {
   auto one = leaf(1, {"--service", "fabric=1"});
   std::string const endpoint = one->endpoint;
   write(place(1, endpoint), service("fabric", "1", "", "\"preserveMountsOnDisconnect\":true,"));
   auto const controller = start({"--json", "--inspect", "127.0.0.1:0"});
   std::string const state = controller->line();
   std::string const inspected = state.substr(state.rfind(' ') + 1);
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateMounted")), "");
   one = nullptr;
   EXPECT_NE(controller->lineWith({"\"event\":\"switch\"", "\"state\":\"lost\"", "\"reason\":"}),
             "");
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStatePending")), "");
   // The last known tree is still there to be read.
   ChildProgram reader("gantry-mount",
                       {"--peer", "controller=" + inspected, "--path", "mounts/linux/host/" + id(1),
                        "--type", "Linux::Host", "--once", "--json"});
   EXPECT_NE(reader.rest().find("\"type\":\"Linux::Host\""), std::string::npos);
   EXPECT_EQ(reader.status(), 0);
   one = leaf(1, {"--service", "fabric=1", "--listen", endpoint});
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateMounted")), "");
   controller->signal(SIGTERM);
   EXPECT_EQ(controller->status(), 0);
}

TEST_F(ControllerProcessTest, SwitchesThatMakeThemselvesKnown) {
   write("", service("fabric", "1", "", ""), R"(,"listen":"127.0.0.1:0")");
   auto const controller = start({"--json", "--accept"});
   std::string const serving = controller->line();
   EXPECT_EQ(serving.rfind("serving controller on 127.0.0.1:", 0), 0u) << serving;
   std::string const where = serving.substr(serving.rfind(' ') + 1);
   auto const one = leaf(1, {"--service", "fabric=1", "--controller", where});
   EXPECT_EQ(one->child.line(), "known to controller");
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateMounted")), "");
   // Its twin is refused, and it is not disturbed.
   auto const twin = leaf(1, {"--service", "fabric=1", "--controller", where});
   std::string const refused = controller->lineWith({"\"event\":\"refused\""});
   EXPECT_NE(refused.find("system 02:00:00:00:00:01 is known at " + one->endpoint),
             std::string::npos)
      << refused;
   EXPECT_EQ(twin->child.line().rfind("not known to controller: the peer says: system ", 0), 0u);
   // One that is gone is forgotten, and then its twin takes its place.
   one->child.signal(SIGTERM);
   EXPECT_NE(controller->lineWith({"\"event\":\"switch\"", "\"state\":\"gone\""}), "");
   EXPECT_NE(controller->lineWith(mountOf(1, "mountStateMounted")), "");
   controller->signal(SIGTERM);
   EXPECT_EQ(controller->status(), 0);
}

TEST_F(ControllerProcessTest, WithoutAcceptNobodyMakesItselfKnown) {
   write("", "", R"(,"listen":"127.0.0.1:0")");
   auto const controller = start();
   std::string const serving = controller->line();
   auto const one = leaf(1, {"--controller", serving.substr(serving.rfind(' ') + 1)});
   EXPECT_NE(
      controller->lineWith({"\"event\":\"refused\"", "system 02:00:00:00:00:01 is not known here"}),
      "");
}

TEST_F(ControllerProcessTest, ASwitchThatSaysItIsAnotherIsRefused) {
   auto const one = leaf(1, {"--service", "fabric=1"});
   std::string impostor = place(1, one->endpoint);
   impostor.replace(impostor.find(id(1)), id(1).size(), id(7));
   write(impostor, service("fabric", "1", "", ""));
   auto const controller = start();
   EXPECT_NE(controller->lineWith(
                {"\"event\":\"refused\"", "it says that it is system " + id(1) + ", not " + id(7)}),
             "");
   EXPECT_NE(controller->lineWith({"\"event\":\"switch\"", "\"state\":\"refused\""}), "");
   controller->signal(SIGTERM);
   EXPECT_EQ(controller->rest().find("\"event\":\"mount\""), std::string::npos);
}

TEST_F(ControllerProcessTest, ShowsLinesWhereThereIsNoTerminal) {
   auto const one = leaf(1, {"--service", "fabric=1"});
   write(place(1, one->endpoint), service("fabric", "1", "", ""));
   auto const controller = start({});
   EXPECT_NE(controller->lineWith({" leaf1 (02:00:00:00:00:01): registered"}), "");
   EXPECT_NE(controller->lineWith({" leaf1: fabric/g linux/host: mountStateMounted"}), "");
}

TEST_F(ControllerProcessTest, BadCommandLinesAndFiles) {
   EXPECT_EQ(refusal({"--config", file}), "2 " + file + ": cannot be read\n");
   std::ofstream(file) << "{\"system\":{\"id\":\"x\"},\n\"extra\":1}";
   std::string const two = refusal({"--config", file});
   EXPECT_EQ(two.rfind("2 " + file + ":1:17: system.id: ", 0), 0u) << two;
   EXPECT_NE(two.find("\n" + file + ":2:1: extra: is unknown"), std::string::npos) << two;
   write("", "");
   EXPECT_EQ(refusal({"--config", file, "--check"}), "0 ");
   EXPECT_EQ(refusal({"--config", file, "--inspect", "here"})
                .rfind("2 gantry-controller: --inspect: 'here' is no address", 0),
             0u);
   auto const one = leaf(1, {});
   write("", "", ",\"listen\":\"" + one->endpoint + "\"");
   std::string const used = refusal({"--config", file});
   EXPECT_EQ(used.rfind("2 gantry-controller: ", 0), 0u) << used;
   EXPECT_NE(used.find(endpointPort(one->endpoint)), std::string::npos) << used;
   EXPECT_EQ(refusal({}).rfind("2 gantry-controller: ", 0), 0u);
}

} // namespace
} // namespace HostTest
