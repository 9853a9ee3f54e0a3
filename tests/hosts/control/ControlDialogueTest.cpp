// What a client is told, without a socket: the end of a watch, and places of machines.

#include <hosts/control/ControlDialogue.h>
#include <hosts/linux/Interface.fen.h>

#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/fen/Dir.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>
#include <string>
#include <vector>

namespace {

using Host::ControlDialogue;
using Host::Json;

class ControlDialogueTest : public testing::Test, private ControlDialogue::User {
 protected:
   ControlDialogueTest() {
      above->entityPtrIs(interfaces);
      interfaces->interfaceIs("eth0")->mtuIs(1500);
   }
   ~ControlDialogueTest() override { Fen::root()->entityPtrDelAll(); }

   Host::ControlPolicy policy() {
      return {[](std::string_view path) { return path == "/never"; }, nullptr,
              [this] {
                 return machine ? Host::MachinePlaces::Roots{{"registry", machine}}
                                : Host::MachinePlaces::Roots();
              }};
   }
   /// A registry that wants one path.
   void machineStart() {
      auto const registry =
         Fen::makePtr<Controller::MountsRegistry>(above, "above", Fen::root(), "", 0u, 0.0);
      registry->mountEntryIs("linux/host", "mnt", "Linux::Host", "r");
      machine = Controller::mountsRegistrySmFactory(
         registry, ControllerRegistration::controllerStatusFactory("status"),
         Fen::dirFactory("mountStatus"), Controller::publishedMountsTableFactory("published"),
         Controller::registeredSwitchTableFactory(), Fen::dirFactory("clients"));
   }

   std::vector<Json> told() {
      Fen::ActivityLoop::instance().runOnce(0.0);
      std::string const text = dialogue.unsent();
      dialogue.sentIs(text.size());
      std::vector<Json> lines;
      for (std::size_t begin = 0; begin < text.size();) {
         std::size_t const end = text.find('\n', begin);
         lines.push_back(Json::parse(text.substr(begin, end - begin)));
         begin = end + 1;
      }
      return lines;
   }
   Json asked(Json const& request) {
      dialogue.take(request.dump() + "\n");
      auto const lines = told();
      EXPECT_FALSE(lines.empty());
      return lines.empty() ? Json() : lines.front();
   }
   /// The events as words.
   std::string heard() {
      std::string words;
      for (Json const& each : told()) {
         words +=
            (words.empty() ? "" : "; ") + each.value("event", "?") + " " + each.value("path", "?");
      }
      return words;
   }

   Fen::Ptr<Fen::Dir> const above =
      Fen::ptrCast<Fen::Dir>(Fen::root()->entityPtrIs(Fen::dirFactory("above")));
   Fen::Ptr<Linux::InterfaceDir> const interfaces = Fen::makePtr<Linux::InterfaceDir>("interface");
   Fen::Ptr<Controller::MountsRegistrySm> machine;
   Host::ControlCommands commands{policy()};
   ControlDialogue dialogue{commands, static_cast<ControlDialogue::User*>(this)};

 private:
   void handleUnsent() override {}
};

TEST_F(ControlDialogueTest, AWatchEndsWhenItsEntityGoes) {
   std::string const path = "/above/interface/interface/eth0";
   EXPECT_TRUE(asked({{"command", "watch"}, {"path", path}})["ok"]);
   heard();
   interfaces->interface("eth0")->mtuIs(9000);
   EXPECT_EQ(heard(), "changed " + path);
   interfaces->interfaceDel("eth0");
   EXPECT_EQ(heard(), "removed " + path + "; ended " + path);
   // What comes to the path is another entity; nothing is watched any more.
   interfaces->interfaceIs("eth0")->mtuIs(100);
   EXPECT_EQ(heard(), "");
   EXPECT_TRUE(asked({{"command", "watch"}, {"path", path}})["ok"]);
}

TEST_F(ControlDialogueTest, AWatchEndsWhenWhatIsAboveGoes) {
   std::string const path = "/above/interface/interface/eth0";
   EXPECT_TRUE(asked({{"command", "watch"}, {"path", path}})["ok"]);
   heard();
   Fen::root()->entityPtrDel("above");
   EXPECT_EQ(heard(), "removed " + path + "; ended " + path);
}

TEST_F(ControlDialogueTest, AWatchGoesOnWhenOthersGo) {
   interfaces->interfaceIs("eth1");
   EXPECT_TRUE(asked({{"command", "watch"}, {"path", "/above"}})["ok"]);
   heard();
   interfaces->interfaceDel("eth1");
   EXPECT_EQ(heard(), "removed /above/interface/interface/eth1");
   above->entityPtrDel("interface");
   EXPECT_EQ(heard(), "removed /above/interface/interface/eth0; removed /above/interface");
   above->entityPtrIs(Fen::dirFactory("new"));
   EXPECT_EQ(heard(), "entity /above/new");
}

TEST_F(ControlDialogueTest, MachinesAreInTheTree) {
   machineStart();
   Json const all = asked({{"command", "tree"}, {"depth", 1}})["tree"]["members"];
   EXPECT_EQ(all.back(), Json({{"path", "/machines"}, {"type", "machines"}, {"below", 1}}));
   Json const roots = asked({{"command", "tree"}, {"path", "/machines"}, {"depth", 1}})["tree"];
   ASSERT_EQ(roots["members"].size(), 1u);
   EXPECT_EQ(roots["members"][0]["path"], "/machines/registry");
   EXPECT_EQ(roots["members"][0]["type"], "Controller::MountsRegistrySm");
   EXPECT_GT(roots["members"][0]["below"], 0);
   machine = nullptr;
   EXPECT_EQ(asked({{"command", "tree"}, {"depth", 1}})["tree"]["members"].size(), 1u);
}

/// Every path of the tree leads to what the tree shows there, and its attributes can be read.
TEST_F(ControlDialogueTest, EveryPlaceOfMachinesIsFound) {
   machineStart();
   std::vector<Json> left{
      asked({{"command", "tree"}, {"path", "/machines"}})["tree"]["members"][0]};
   std::size_t places = 0;
   bool hasEntry = false;
   for (; !left.empty(); ++places) {
      Json const node = left.back();
      left.pop_back();
      Json const found = asked({{"command", "get"}, {"path", node["path"]}});
      EXPECT_TRUE(found["ok"]) << found;
      EXPECT_EQ(found["type"], node["type"]) << node["path"];
      EXPECT_EQ(found["path"], node["path"]);
      EXPECT_EQ(found["readOnly"], true);
      hasEntry = hasEntry || node["path"] == "/machines/registry/mountsRegistryEntrySm/linux/host";
      for (Json const& each : node.value("members", Json::array())) {
         left.push_back(each);
      }
   }
   EXPECT_TRUE(hasEntry);
   EXPECT_GT(places, 4u);
}

TEST_F(ControlDialogueTest, WhatSeveralMachinesReferToIsWrittenOutOnce) {
   machineStart();
   Json const tree = asked({{"command", "tree"}, {"path", "/machines"}})["tree"];
   std::map<std::string, unsigned> entries;
   std::vector<Json> rest{tree};
   while (!rest.empty()) {
      Json const one = rest.back();
      rest.pop_back();
      if (one["type"] == "Controller::MountsRegistryEntry") {
         ++entries[one.contains("at") ? "elsewhere" : "whole"];
      }
      for (Json const& each : one.value("members", Json::array())) {
         rest.push_back(each);
      }
   }
   EXPECT_EQ(entries["whole"], 1u);
   EXPECT_EQ(entries["elsewhere"], 1u);
}

TEST_F(ControlDialogueTest, PathsMayEndWithASlash) {
   machineStart();
   for (std::string const path : {"/machines", "/machines/registry", "/above"}) {
      EXPECT_EQ(asked({{"command", "tree"}, {"path", path + "/"}}),
                asked({{"command", "tree"}, {"path", path}}));
   }
   EXPECT_EQ(asked({{"command", "get"}, {"path", "/machines"}})["hint"],
             "'gantry tree /machines' lists them");
}

TEST_F(ControlDialogueTest, APathWithThousandsOfSeparatorsIsRefusedAtOnce) {
   machineStart();
   std::string path = "/machines/registry/mountsRegistryEntrySm/";
   for (unsigned i = 0; i < 1000; ++i) {
      path += ".a[";
   }
   EXPECT_EQ(asked({{"command", "get"}, {"path", path + "]"}})["error"], "badRequest");
   EXPECT_EQ(asked({{"command", "get"}, {"path", std::string(5000, 'x')}})["error"], "badRequest");
   EXPECT_EQ(asked({{"command", "get"}, {"path", path.substr(0, 200) + "]"}})["error"], "noPath");
}

TEST_F(ControlDialogueTest, AFewRequestsAreAnsweredAtOnce) {
   std::string many;
   for (unsigned i = 0; i < 20; ++i) {
      many += "{\"command\":\"host\"}\n";
   }
   dialogue.take(many);
   EXPECT_TRUE(dialogue.isPaused());
   EXPECT_EQ(told().size(), 8u);
   EXPECT_TRUE(dialogue.goOn());
   EXPECT_TRUE(dialogue.goOn());
   EXPECT_FALSE(dialogue.isPaused());
   EXPECT_FALSE(dialogue.goOn());
   EXPECT_EQ(told().size(), 12u);
}

TEST_F(ControlDialogueTest, AnEventThatIsTooLargeSaysSo) {
   EXPECT_TRUE(asked({{"command", "watch"}, {"path", "/above"}}).value("ok", false));
   told();
   interfaces->interface("eth0")->hardwareAddressIs(Fen::String8(std::string(5 << 20, 'x')));
   auto const lines = told();
   ASSERT_EQ(lines.size(), 1u);
   EXPECT_EQ(lines[0]["event"], "changed");
   EXPECT_EQ(lines[0]["tooLarge"], true);
   EXPECT_FALSE(lines[0].contains("value"));
}

TEST_F(ControlDialogueTest, MachinesAreReadAndNotChanged) {
   machineStart();
   Json const one = asked({{"command", "get"}, {"path", "/machines/registry.initialized"}});
   EXPECT_EQ(one["attribute"]["text"], "True") << one;
   Json const entry =
      asked({{"command", "get"},
             {"path", "/machines/registry/mountsRegistry/mountEntry/linux/host.targetPath"}});
   EXPECT_EQ(entry["attribute"]["value"], "mnt") << entry;
   Json const refused =
      asked({{"command", "set"}, {"path", "/machines/registry.initialized"}, {"value", "False"}});
   EXPECT_EQ(refused["error"], "readOnly") << refused;
   EXPECT_TRUE(machine->initialized());
   Json const watched = asked({{"command", "watch"}, {"path", "/machines/registry"}});
   EXPECT_EQ(watched["error"], "notSupported") << watched;
   for (char const* nowhere :
        {"/machines/nothing", "/machines/registry/nothing", "/machinesx", "/machines/registryx",
         "/machines/registry/mountsRegistryEntrySm/linux",
         "/machines/registry/mountsRegistryEntrySm/linux/host/mountsRegistrySm"}) {
      EXPECT_EQ(asked({{"command", "get"}, {"path", nowhere}})["error"], "noPath") << nowhere;
   }
}

} // namespace
