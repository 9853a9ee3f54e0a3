// The numbers of both hosts as Prometheus reads them, against the table of them in the document.

#include "../ChildProgram.h"
#include "../PrometheusText.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace HostTest {
namespace {

struct Described {
   std::string kind;
   std::set<std::string> labels;
};

/// The words in back quotes of a cell.
std::set<std::string> wordsOf(std::string const& cell) {
   std::set<std::string> words;
   for (std::size_t begin = cell.find('`'); begin != std::string::npos;
        begin = cell.find('`', begin)) {
      std::size_t const end = cell.find('`', begin + 1);
      words.insert(cell.substr(begin + 1, end - begin - 1));
      begin = end + 1;
   }
   return words;
}

/// The rows of the document's table: name, kind and labels.
std::map<std::string, Described> described() {
   std::map<std::string, Described> rows;
   std::ifstream file(std::string(GANTRY_SOURCE_DIR) + "/docs/control.md");
   for (std::string line; std::getline(file, line);) {
      if (!line.starts_with("| `gantry_")) {
         continue;
      }
      std::vector<std::string> cells;
      std::istringstream text(line);
      for (std::string cell; std::getline(text, cell, '|');) {
         std::size_t const from = cell.find_first_not_of(' ');
         cells.push_back(from == std::string::npos
                            ? ""
                            : cell.substr(from, cell.find_last_not_of(' ') - from + 1));
      }
      EXPECT_EQ(cells.size(), 5u) << line;
      EXPECT_NE(cells.back(), "") << line;
      rows[*wordsOf(cells[1]).begin()] = {cells[2], wordsOf(cells[3])};
   }
   return rows;
}

class GantryStatsTest : public testing::Test {
 protected:
   GantryStatsTest() : base(testing::TempDir() + "gantry-stats-" + std::to_string(getpid())) {
      std::ofstream(base + ".json")
         << R"({"system":{"id":"02:00:00:00:00:ff","listen":"127.0.0.1:0"},)"
         << R"("switches":{},"services":{"fabric":{"versions":"1",)"
         << R"("mountGroups":{"g":{"mounts":{"linux/host":{"type":"Linux::Host"}}}}}}})";
      controller = std::make_unique<ChildProgram>(
         "gantry-controller", std::vector<std::string>{"--config", base + ".json", "--json",
                                                       "--accept", "--control", base});
      std::string const serving = controller->line();
      leaf = std::make_unique<Switch>(
         "leaf1",
         std::vector<std::string>{"--system-id", "02:00:00:00:00:01", "--service", "fabric=1",
                                  "--controller", "hub=" + serving.substr(serving.rfind(' ') + 1),
                                  "--control", base + ".leaf1"});
      EXPECT_NE(controller->lineWith({"\"state\":\"mountStateMounted\""}), "");
   }
   ~GantryStatsTest() override { std::filesystem::remove(base + ".json"); }

   static std::string shown(std::string const& control, std::vector<std::string> more) {
      std::vector<std::string> arguments{"--control", control, "stats"};
      arguments.insert(arguments.end(), more.begin(), more.end());
      ChildProgram child("gantry", std::move(arguments));
      std::string const text = child.rest();
      EXPECT_EQ(child.status(), 0);
      return text;
   }

   std::string const base;
   std::unique_ptr<ChildProgram> controller;
   std::unique_ptr<Switch> leaf;
};

TEST_F(GantryStatsTest, EveryNumberIsInTheDocumentAndTheOtherWayRound) {
   auto left = described();
   auto const rows = left;
   for (std::string const& control : {base, base + ".leaf1"}) {
      PrometheusText const text(shown(control, {"--prometheus"}));
      for (auto const& [name, metric] : text.metrics) {
         ASSERT_TRUE(rows.contains(name)) << name << " is not in docs/control.md";
         Described const& row = rows.at(name);
         EXPECT_EQ(row.kind, metric.kind) << name;
         for (auto const& labels : metric.labels) {
            std::set<std::string> names;
            for (auto const& [label, value] : labels) {
               names.insert(label);
            }
            EXPECT_EQ(names, row.labels) << name;
         }
         left.erase(name);
      }
   }
   for (auto const& [name, row] : left) {
      ADD_FAILURE() << "no host gives " << name;
   }
}

TEST_F(GantryStatsTest, NumbersSayWhatHappens) {
   PrometheusText const hub(shown(base, {"--prometheus"}));
   auto const value = [&hub](std::string const& name, std::string const& sample) {
      return hub.metrics.at(name).values.at(sample);
   };
   EXPECT_EQ(value("gantry_mounts", "gantry_mounts{state=\"mountStateMounted\"}"), 1.0);
   EXPECT_EQ(value("gantry_mounts", "gantry_mounts{state=\"mountStateFailed\"}"), 0.0);
   EXPECT_EQ(value("gantry_switches", "gantry_switches{state=\"registered\"}"), 1.0);
   EXPECT_GT(value("gantry_messages_received_total", "gantry_messages_received_total"), 3.0);
   EXPECT_GT(value("gantry_sent_bytes_total", "gantry_sent_bytes_total"), 100.0);
   EXPECT_EQ(value("gantry_peer_mounts", "gantry_peer_mounts{peer=\"leaf1\",address=\"" +
                                            leaf->endpoint + "\",role=\"server\"}"),
             2.0);
   EXPECT_EQ(value("gantry_connections", "gantry_connections{role=\"client\"}"), 1.0);
   std::string const turns = "gantry_loop_turn_seconds";
   double const median = value(turns, turns + "{quantile=\"0.5\"}");
   EXPECT_GT(median, 0.0);
   EXPECT_LE(median, value(turns, turns + "{quantile=\"0.99\"}"));
   EXPECT_LE(value(turns, turns + "{quantile=\"0.99\"}"), value(turns, turns + "{quantile=\"1\"}"));
   EXPECT_LE(value(turns, turns + "{quantile=\"1\"}"), value(turns, turns + "_sum"));
   EXPECT_GT(value(turns, turns + "_count"), 3.0);
   EXPECT_GE(value("gantry_loop_queue_depth_max", "gantry_loop_queue_depth_max"),
             value("gantry_loop_queue_depth", "gantry_loop_queue_depth"));
}

TEST_F(GantryStatsTest, TextForPeopleAndJson) {
   std::string const text = shown(base, {});
   EXPECT_TRUE(text.starts_with("NAME ")) << text;
   EXPECT_NE(text.find("\ngantry_mounts{state=\"mountStateMounted\"} "), std::string::npos) << text;
   EXPECT_NE(text.find("\ngantry_loop_turn_seconds_count "), std::string::npos) << text;
   std::string const json = shown(base, {"--json"});
   EXPECT_TRUE(json.starts_with("{\"ok\":true,\"metrics\":[{\"name\":\"gantry_mounts\",\"kind\":"
                                "\"gauge\",\"help\":\""))
      << json;
   // A switch counts what it has from its controller.
   EXPECT_NE(shown(base + ".leaf1", {}).find("gantry_mounts{state=\"mountStateFailed\"} "),
             std::string::npos);
}

} // namespace
} // namespace HostTest
