// What is heard of a tree of unknown types, and how its values are written.

#include <hosts/gantry-mount/Display.h>
#include <hosts/linux/Interface.fen.h>
#include <hosts/support/TreeWatch.h>
#include <hosts/support/ValueText.h>

#include <gtest/gtest.h>

#include <string>

namespace Host {
namespace {

class Heard : public TreeListener {
 public:
   void entityAdded(std::string const& path, Fen::Entity const&) override { add("+" + path); }
   void entityRemoved(std::string const& path) override { add("-" + path); }
   void valueChanged(std::string const& path, Fen::Entity const& entity,
                     Fen::AttrDesc const& attribute, void const*) override {
      add(path + " " + attribute.name + "=" + valueText(entity, attribute, true));
   }
   void rootGone() override { add("gone"); }
   /// What was heard up to the end of the turn.
   std::string told() {
      Fen::ActivityLoop::instance().runOnce(0);
      return std::exchange(text_, std::string());
   }

 private:
   void add(std::string const& word) { text_ += (text_.empty() ? "" : "; ") + word; }
   std::string text_;
};

struct TreeWatchTest : testing::Test {
   Fen::Ptr<Linux::InterfaceDir> const interfaces = Fen::makePtr<Linux::InterfaceDir>("interface");
   Heard heard;
};

TEST_F(TreeWatchTest, HearsOfWhatIsThereAndOfEveryChange) {
   interfaces->interfaceIs("eth0")->mtuIs(1500);
   TreeWatch const watch(interfaces, heard);
   EXPECT_EQ(heard.told(), "+; +interface/eth0");
   interfaces->interface("eth0")->mtuIs(9000);
   interfaces->interface("eth0")->operStateIs(Linux::operUp);
   EXPECT_EQ(heard.told(), "interface/eth0 mtu=9000; interface/eth0 operState=\"up\"");
   interfaces->interface("eth0")->addressIs("10.0.0.1/24");
   EXPECT_EQ(heard.told(), "+interface/eth0/address/10.0.0.1/24");
   interfaces->interfaceDel("eth0");
   EXPECT_EQ(heard.told(), "-interface/eth0/address/10.0.0.1/24; -interface/eth0");
}

TEST_F(TreeWatchTest, TellsOfANewEntityOnceAndComplete) {
   TreeWatch const watch(interfaces, heard);
   heard.told();
   auto const eth0 = interfaces->interfaceIs("eth0");
   eth0->mtuIs(1500);
   interfaces->interfaceIs("eth1");
   interfaces->interfaceDel("eth1");
   EXPECT_EQ(heard.told(), "+interface/eth0");
}

TEST_F(TreeWatchTest, TellsANewMemberUnderAnOldNameApart) {
   interfaces->interfaceIs("eth0");
   TreeWatch const watch(interfaces, heard);
   heard.told();
   interfaces->interfaceDel("eth0");
   interfaces->interfaceIs("eth0");
   EXPECT_EQ(heard.told(), "-interface/eth0; +interface/eth0");
}

TEST_F(TreeWatchTest, WatchesDirectories) {
   Fen::Ptr<Fen::Dir> const linux = Fen::dirFactory("linux");
   TreeWatch const watch(linux, heard);
   heard.told();
   linux->entityPtrIs(interfaces);
   interfaces->interfaceIs("lo");
   EXPECT_EQ(heard.told(), "+interface; +interface/interface/lo");
   linux->entityPtrDel("interface");
   EXPECT_EQ(heard.told(), "-interface/interface/lo; -interface");
}

TEST_F(TreeWatchTest, SaysWhenTheRootLeavesItsPlace) {
   Fen::Ptr<Fen::Dir> const linux = Fen::dirFactory("linux");
   Fen::Ptr<Fen::Dir> const above = Fen::dirFactory("above");
   above->entityPtrIs(linux);
   linux->entityPtrIs(interfaces);
   {
      TreeWatch const watch(interfaces, heard);
      EXPECT_EQ(heard.told(), "+");
      linux->entityPtrDel("interface");
      EXPECT_EQ(heard.told(), "gone");
      linux->entityPtrIs(interfaces);
      heard.told();
   }
   TreeWatch const watch(interfaces, heard);
   EXPECT_EQ(heard.told(), "+");
   above->entityPtrDel("linux");
   EXPECT_EQ(heard.told(), "gone");
}

TEST_F(TreeWatchTest, EndsBeforeTheTree) {
   { TreeWatch const watch(interfaces, heard); }
   interfaces->interfaceIs("eth0");
   EXPECT_EQ(heard.told(), "");
}

TEST(ValueText, JsonOfAnyBytes) {
   EXPECT_EQ(jsonText("a\"b\\c\n\x7f"), "\"a\\\"b\\\\c\\u000a\\u007f\"");
   EXPECT_EQ(jsonText("Gr\xc3\xb6\xc3\x9f"
                      "e"),
             "\"Gr\xc3\xb6\xc3\x9f"
             "e\"");
   EXPECT_EQ(jsonText("\xff"
                      "a\xc3"),
             "\"\\ufffda\\ufffd\"");
   EXPECT_EQ(jsonText("\xed\xa0\x80"), "\"\\ufffd\\ufffd\\ufffd\"");
   EXPECT_EQ(jsonText("\xf0\x9f\x99\x82"), "\"\xf0\x9f\x99\x82\"");
   EXPECT_EQ(jsonText("\xf0\x8f\xbf\xbf").find("\\ufffd"), 1u);
   EXPECT_EQ(jsonText(std::string_view("\0", 1)), "\"\\u0000\"");
}

TEST(ValueText, TerminalsSeeNoControlCharacters) { EXPECT_EQ(plainText("a\033[2Jb\n"), "a?[2Jb?"); }

TEST(Tables, RowsByTypeAndAsManyColumnsAsFit) {
   auto const interfaces = Fen::makePtr<Linux::InterfaceDir>("interface");
   interfaces->interfaceIs("eth0")->mtuIs(1500);
   interfaces->interfaceIs("br0")->mtuIs(9000);
   interfaces->interface("br0")->addressIs("10.0.0.1/24");
   std::vector<PeerView> const views{{"leaf1", "mountStateMounted", "", interfaces},
                                     {"leaf2", "mountStateFailed", "gone", nullptr}};
   EXPECT_EQ(tables(views, {"mtu", "address"}, 0), "PEER   STATE              REASON\n"
                                                   "leaf1  mountStateMounted\n"
                                                   "leaf2  mountStateFailed   gone\n"
                                                   "\n"
                                                   "Linux::Interface\n"
                                                   "PEER   NAME  mtu   address\n"
                                                   "leaf1  br0   9000  10.0.0.1/24\n"
                                                   "leaf1  eth0  1500\n");
   EXPECT_NE(tables(views, {"mtu", "address"}, 20).find("PEER   NAME  mtu\nleaf1  br0   9000\n"),
             std::string::npos);
}

} // namespace
} // namespace Host
