// gantry against a controller and its switches as processes: what is mounted, why something is not,
// and what may be set.

#include "../ChildProgram.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace HostTest {
namespace {

bool holds(std::string const& text, std::string const& part) {
   return text.find(part) != std::string::npos;
}

std::string place(std::string const& name, unsigned number, std::string const& endpoint) {
   return "\"" + name + "\":{\"id\":\"02:00:00:00:00:0" + std::to_string(number) +
          "\",\"address\":\"127.0.0.1\",\"port\":" + endpoint.substr(endpoint.find(':') + 1) + "}";
}

/// A service that is mounted from one of two switches, since its filter leaves the other one out.
constexpr char const* services = R"("fabric":{"versions":"1-3","systemFilters":{"some":["leaf1"]},)"
                                 R"("mountGroups":{"g":{"systemFilter":"some",)"
                                 R"("mounts":{"linux/host":{"type":"Linux::Host"}}}}},)"
                                 R"("idle":{"versions":"7","mountGroups":{"g":{"mounts":{"agent":{)"
                                 R"("type":"Agent::Announcement"}}}}})";

class GantryStatusTest : public testing::Test {
 protected:
   GantryStatusTest()
      : base(testing::TempDir() + "gantry-status-" + std::to_string(getpid())),
        one("leaf1", {"--system-id", "02:00:00:00:00:01", "--service", "fabric=2"}),
        two("leaf2", {"--system-id", "02:00:00:00:00:02", "--service", "fabric=3"}) {
      write(services);
      controller = std::make_unique<ChildProgram>(
         "gantry-controller",
         std::vector<std::string>{"--config", base + ".json", "--json", "--control", base, "--ring",
                                  base + ".ring"});
      // All that is to be mounted, and both switches.
      bool isMounted = false;
      unsigned registered = 0;
      while (!isMounted || registered < 2) {
         std::string const line = controller->line();
         if (line.empty()) {
            ADD_FAILURE() << "the controller does not mount";
            break;
         }
         isMounted = isMounted || holds(line, "\"state\":\"mountStateMounted\"");
         registered += holds(line, "\"state\":\"registered\"") ? 1 : 0;
      }
   }
   ~GantryStatusTest() override {
      std::filesystem::remove(base + ".json");
      std::filesystem::remove(base + ".ring");
   }

   void write(std::string const& declared) const {
      std::ofstream(base + ".json")
         << "{\"system\":{\"id\":\"02:00:00:00:00:ff\"},\"switches\":{"
         << place("leaf1", 1, one.endpoint) << "," << place("leaf2", 2, two.endpoint)
         << "},\"services\":{" << declared << "}}";
   }

   std::string tool(std::vector<std::string> arguments, int status = 0) const {
      arguments.insert(arguments.begin(), {"--control", base});
      ChildProgram child("gantry", std::move(arguments), status != 0);
      std::string const text = child.rest();
      EXPECT_EQ(child.status(), status) << text;
      return text;
   }

   std::string const base;
   Switch one;
   Switch two;
   std::unique_ptr<ChildProgram> controller;
};

TEST_F(GantryStatusTest, StatusHasItsSumsAtTheTop) {
   std::string const text = tool({"status"});
   EXPECT_TRUE(text.starts_with("wanted 1, mounted 1, failed 0, pending 0, filtered out 3\n"))
      << text;
   EXPECT_TRUE(holds(text, "mountStateMounted")) << text;
   EXPECT_TRUE(holds(text, "leaf2")) << text;
   std::string const json = tool({"status", "--json"});
   EXPECT_TRUE(json.starts_with("{\"ok\":true,\"total\":{\"wanted\":1,\"mounted\":1,\"failed\":0,"
                                "\"pending\":0,\"filteredOut\":3}"))
      << json;
   EXPECT_TRUE(holds(json, "\"path\":\"linux/host\",\"state\":\"mountStateMounted\"")) << json;
}

TEST_F(GantryStatusTest, ExplainsWhatIsMounted) {
   std::string const text = tool({"explain", "fabric", "linux/host", "leaf1"});
   EXPECT_TRUE(text.starts_with("linux/host of leaf1 for fabric: mounted\n")) << text;
   EXPECT_TRUE(holds(text, "version 2 was negotiated")) << text;
   EXPECT_TRUE(holds(text, "some has 02:00:00:00:00:01: the switch is in it")) << text;
   EXPECT_TRUE(holds(text, "mountStateMounted, runs stateIdle, wants stateIdle")) << text;
   EXPECT_EQ(tool({"explain", "fabric", "linux/host", "02:00:00:00:00:01"}), text);
}

TEST_F(GantryStatusTest, ExplainsWhatIsNot) {
   std::string text = tool({"explain", "fabric", "linux/host", "leaf2"});
   EXPECT_TRUE(text.starts_with("linux/host of leaf2 for fabric: not mounted: path: the filters of "
                                "all services together do not let it through\n"))
      << text;
   EXPECT_TRUE(holds(text, "the switch is not in it")) << text;
   text = tool({"explain", "idle", "agent", "leaf1"});
   EXPECT_TRUE(holds(text, ": not mounted: version: no version was negotiated")) << text;
   EXPECT_TRUE(holds(text, "no service that wants the path has a version on the connection"))
      << text;
   text = tool({"explain", "fabric", "linux/route", "leaf1"});
   EXPECT_TRUE(holds(text, ": not mounted: declared: no group of fabric wants 'linux/route'"))
      << text;
   text = tool({"explain", "nobody", "agent", "leaf1"});
   EXPECT_TRUE(holds(text, ": not mounted: declared: there is no service 'nobody'")) << text;
   EXPECT_EQ(tool({"explain", "fabric", "agent", "leaf9"}, 1),
             "gantry: there is no switch 'leaf9'; 'gantry status' lists those that there are\n");
}

TEST_F(GantryStatusTest, ExplainsAFailureInTheClientsWords) {
   one.child.signal(SIGKILL);
   EXPECT_NE(controller->lineWith({"\"switch\":\"leaf1\"", "\"state\":\"lost\""}), "");
   std::string const text = tool({"explain", "fabric", "linux/host", "leaf1"});
   EXPECT_TRUE(holds(text, ": not mounted: registered: switch leaf1 (02:00:00:00:00:01) is lost"))
      << text;
}

TEST_F(GantryStatusTest, SetsWhatTheFileDeclaresAndNothingElse) {
   std::string const group = "/services/mountConfig/fabric/mountGroupConfig/g";
   EXPECT_EQ(tool({"set", group + ".preserveMountsOnDisconnect", "True"}), "True\n");
   EXPECT_EQ(tool({"get", group + ".preserveMountsOnDisconnect"}), "True\n");
   std::string const filter = "/services/mountConfig/fabric/systemFilter/some";
   EXPECT_EQ(tool({"set", filter + ".includedSystem", "True"}, 1),
             "gantry: 'includedSystem' is a collection; give PATH.ATTRIBUTE[KEY]\n");
   // Neither keys nor values need the quotes of their text form.
   EXPECT_EQ(tool({"get", "/registry/controllerStatus.registeredSwitch[02:00:00:00:00:01]"}),
             "True\n");
   EXPECT_EQ(tool({"get", "/registry/controllerStatus.registeredSwitch['02:00:00:00:00:01']"}),
             "True\n");
   EXPECT_TRUE(holds(tool({"set", group + ".preserveMountsOnDisconnect", "maybe"}, 1),
                     "'gantry get' shows the text form of what is there\n"));
   EXPECT_EQ(tool({"set", group + "/mountConfig/linux/host.fencType", "Linux::Host"}, 1),
             "gantry: fencType: operation 128; this is fixed when the entity is made; make it "
             "anew\n");
   EXPECT_EQ(tool({"set", group + ".serviceMountGroupName", "x"}, 1),
             "gantry: serviceMountGroupName: operation 128; this is fixed when the entity is made; "
             "make it anew\n");
   for (std::string const& fixed :
        {std::string("/mounts/linux/host/02:00:00:00:00:01.hostName"),
         std::string("/services/mountStatus/fabric.initialMountsComplete[g]")}) {
      EXPECT_TRUE(tool({"set", fixed, "x"}, 1)
                     .starts_with("gantry: attempting to modify a const instance; "))
         << fixed;
   }
}

TEST_F(GantryStatusTest, WatchShowsWhatIsSet) {
   std::string const group = "/services/mountConfig/fabric/mountGroupConfig/g";
   ChildProgram watch("gantry", {"--control", base, "watch", group});
   EXPECT_NE(watch.lineWith({group + "  Controller::ServiceMountGroupConfig"}), "");
   tool({"set", group + ".preserveMountsOnDisconnect", "True"});
   EXPECT_EQ(watch.lineWith({group + ".preserveMountsOnDisconnect"}),
             group + ".preserveMountsOnDisconnect = true");
}

TEST_F(GantryStatusTest, KeysStandAsTheyAreTyped) {
   EXPECT_TRUE(holds(tool({"get", "/registry/controllerStatus"}),
                     "registeredSwitch[02:00:00:00:00:01] = True"));
   EXPECT_TRUE(holds(tool({"tree", "/machines/registry"}), "mountSm/02:00:00:00:00:01 "));
   EXPECT_TRUE(holds(
      tool({"get", "/registry/controllerStatus.registeredSwitch[02:00:00:00:00:01]"}), "True"));
}

TEST_F(GantryStatusTest, TraceOfOneMachine) {
   std::string const all = tool({"trace"});
   std::string const mounts = tool({"trace", "--machine", "MountSm"});
   EXPECT_FALSE(mounts.empty());
   EXPECT_LT(mounts.size(), all.size());
   EXPECT_TRUE(holds(all, "canMountFromConnection"));
   EXPECT_FALSE(holds(mounts, "canMountFromConnection"));
}

TEST_F(GantryStatusTest, TraceUpToALevel) {
   std::string const decisions = tool({"trace", "--level", "5"});
   EXPECT_TRUE(holds(decisions, "doConnectSwitch mounting:"));
   EXPECT_FALSE(holds(decisions, "transitionToState "));
   EXPECT_TRUE(holds(tool({"trace", "--level", "8"}), "transitionToState "));
   EXPECT_EQ(tool({"trace", "--level", "0"}), "");
}

TEST_F(GantryStatusTest, TraceAsJson) {
   std::string const text = tool({"trace", "--json", "--machine", "doMountNow"});
   auto const message = nlohmann::json::parse(text.substr(0, text.find('\n')));
   EXPECT_EQ(message["level"], 5);
   EXPECT_EQ(message["file"], "MountSmMount.cpp");
   EXPECT_EQ(message["text"].get<std::string>().rfind("doMountNow mounting ", 0), 0u);
   EXPECT_TRUE(message["time"].is_number_float());
   EXPECT_TRUE(message["sequence"].is_number_unsigned());
   EXPECT_TRUE(message["line"].is_number_unsigned());
}

TEST_F(GantryStatusTest, WatchEndsWithWhatItWatches) {
   std::string const group = "/services/mountConfig/idle/mountGroupConfig/g";
   ChildProgram watch("gantry", {"--control", base, "watch", group});
   EXPECT_NE(watch.lineWith({group + "  Controller::ServiceMountGroupConfig"}), "");
   ChildProgram json("gantry", {"--control", base, "watch", group, "--json"});
   EXPECT_NE(json.lineWith({"\"event\":\"entity\""}), "");
   write(std::string("\"idle\":{\"versions\":\"7\"}"));
   controller->signal(SIGHUP);
   EXPECT_EQ(watch.lineWith({"/g is gone"}), group + " is gone");
   EXPECT_EQ(watch.status(), 4);
   EXPECT_NE(json.lineWith({"\"event\":\"ended\"", group}), "");
   EXPECT_EQ(json.status(), 4);
}

/// The machine of a mount, by its place below the registry's.
TEST_F(GantryStatusTest, MachinesAreReachable) {
   std::string const entry = "/machines/registry/mountsRegistryEntrySm/linux/host";
   std::string const mount = entry + "/mountSm/02:00:00:00:00:01";
   std::string const tree = tool({"tree", "/machines"});
   for (char const* each :
        {"registry  Controller::MountsRegistrySm", "services  Controller::ServiceConfigDirSm",
         "initial  Controller::InitialMountSm", "switches/leaf1  Controller::MountSm"}) {
      EXPECT_TRUE(holds(tree, each)) << each << tree;
   }
   EXPECT_EQ(tool({"get", mount + ".currentState"}), "'stateIdle'\n");
   EXPECT_EQ(tool({"get", entry + "/mountSmData/02:00:00:00:00:01.mountState"}),
             "'mountStateMounted'\n");
   EXPECT_TRUE(tool({"get", mount}).starts_with(mount + "  Controller::MountSm  (read-only)\n"));
   EXPECT_TRUE(tool({"set", mount + ".initialized", "False"}, 1)
                  .starts_with("gantry: attempting to modify a const instance; "));
   EXPECT_TRUE(holds(tool({"watch", mount}, 1), "'gantry get' shows how it is now\n"));
}

TEST_F(GantryStatusTest, GroupsHaveTheirTimes) {
   std::string const json = tool({"status", "--json"});
   EXPECT_TRUE(holds(json, "\"group\":\"g\",\"state\":\"mountStateMounted\",\"since\":1")) << json;
   EXPECT_FALSE(
      holds(tool({"explain", "fabric", "linux/host", "leaf1", "--json"}), "\"since\":null"));
}

} // namespace
} // namespace HostTest
