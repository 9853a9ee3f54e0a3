// The numbers of a process: every counter has its place among them, and peers are told apart, added
// up and bounded.

#include "../../support/TcpFixture.h"
#include "../PrometheusText.h"

#include <hosts/control/Metrics.h>
#include <hosts/gantry/AnswerText.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

namespace {

using namespace CairnTest;
using Host::Json;
using Host::Metrics;
using HostTest::PrometheusText;

std::string fileText(std::filesystem::path const& path) {
   std::ifstream file(path);
   return {std::istreambuf_iterator<char>(file), {}};
}

PrometheusText read(Metrics const& metrics) {
   return PrometheusText(Host::prometheusText(Json{{"metrics", metrics.json()}}));
}

PrometheusText processNumbers() {
   Metrics metrics;
   Host::processMetrics(metrics);
   return read(metrics);
}

/// Every counter that any source makes.
TEST(MetricsSourcesTest, EveryCounterIsShown) {
   std::regex const made("counter\\(\\s*(?:std::string\\()?\"([^\"]+)\"");
   std::size_t count = 0;
   for (char const* folder : {"gantry", "hosts"}) {
      for (auto const& each : std::filesystem::recursive_directory_iterator(
              std::filesystem::path(GANTRY_SOURCE_DIR) / folder)) {
         if (!each.is_regular_file()) {
            continue;
         }
         std::string const text = fileText(each.path());
         for (std::sregex_iterator at(text.begin(), text.end(), made), end; at != end; ++at) {
            ++count;
            EXPECT_TRUE(Host::isShownCounter((*at)[1].str()))
               << (*at)[1] << " in " << each.path() << " has no place in Metrics.cpp";
         }
      }
   }
   EXPECT_GT(count, 20u);
   EXPECT_FALSE(Host::isShownCounter("test.first_use"));
}

TEST(MetricsTextTest, ForeignTextIsEscaped) {
   Metrics metrics;
   metrics.metric("gantry_test", Metrics::Kind::gauge, "Back\\slash.");
   std::string const name = "a\"b\\c\nd\033[31m";
   metrics.sample(1, {{"peer", name}});
   std::string const text = Host::prometheusText(Json{{"metrics", metrics.json()}});
   EXPECT_EQ(text.find('\033'), std::string::npos) << text;
   PrometheusText const read(text);
   ASSERT_EQ(read.metrics.at("gantry_test").labels.size(), 1u);
   std::string const value = read.metrics.at("gantry_test").labels[0].at("peer");
   EXPECT_TRUE(value.starts_with("a\"b\\c")) << value;
   EXPECT_EQ(value.find('\n'), std::string::npos) << value;
   EXPECT_NE(text.find("# HELP gantry_test Back\\\\slash.\n"), std::string::npos) << text;
}

TEST(MetricsTextTest, TheReaderIsStrict) {
   std::string const head = "# HELP a_total x\n# TYPE a_total counter\n";
   PrometheusText const good(head + "a_total{b=\"\\\"\"} 1\n");
   EXPECT_EQ(good.metrics.at("a_total").values.size(), 1u);
   for (std::string const& bad :
        {std::string("a 1\n"), head + "b_total 1\n", head + "a_total\n", head + "a_total 1",
         head + "a_total 1\na_total 1\n", head + "a_total{b=\"\\x\"} 1\n",
         head + "a_total{b=\"c} 1\n", head + "a_total -1\n", head + "a_total 1x\n",
         std::string("# HELP a x\n# TYPE a counter\n"), std::string("# TYPE a gauge\n"),
         head + head, head + "a_total{1=\"\"} 1\n", head + "\n"}) {
      EXPECT_THROW(PrometheusText text(bad), std::runtime_error) << bad;
   }
}

class MetricsPeersTest : public TcpTest {
 protected:
   static std::string hello(std::string const& name) {
      return frame(32, 0, "GANT" + u16(1) + u32(48 * 1024) + text(name));
   }
   void connect(std::string const& name) {
      peers_.push_back(RawPeer::calling(port));
      peers_.back().say(hello(name));
      EXPECT_EQ(peers_.back().hearFrame().first, 33u);
   }

   std::vector<RawPeer> peers_;
};

TEST_F(MetricsPeersTest, ConnectionsOfOnePeerAreAddedUp) {
   connect("leaf7");
   connect("leaf7");
   connect("leaf8");
   auto const read = processNumbers();
   EXPECT_EQ(read.metrics.at("gantry_connections").values.at("gantry_connections{role=\"client\"}"),
             3.0);
   auto const& memory = read.metrics.at("gantry_peer_memory_bytes").values;
   ASSERT_EQ(memory.size(), 2u);
   std::string const behind = ",address=\"127.0.0.1\",role=\"client\"}";
   double const one = memory.at("gantry_peer_memory_bytes{peer=\"leaf8\"" + behind);
   EXPECT_GT(one, 0.0);
   EXPECT_EQ(memory.at("gantry_peer_memory_bytes{peer=\"leaf7\"" + behind), 2.0 * one);
}

TEST_F(MetricsPeersTest, BothRolesOfAMount) {
   Client client(want());
   ASSERT_TRUE(client.ends());
   auto const read = processNumbers();
   auto const& mounts = read.metrics.at("gantry_peer_mounts").values;
   EXPECT_EQ(mounts.at("gantry_peer_mounts{peer=\"leaf1\",address=\"127.0.0.1:" +
                       std::to_string(port) + "\",role=\"server\"}"),
             1.0);
   EXPECT_EQ(mounts.at("gantry_peer_mounts{peer=\"127.0.0.1\",address=\"127.0.0.1\",role="
                       "\"client\"}"),
             1.0);
}

TEST_F(MetricsPeersTest, TheListIsBounded) {
   for (unsigned number = 0; number < 103; ++number) {
      connect("peer" + std::to_string(number));
   }
   auto const read = processNumbers();
   auto const& memory = read.metrics.at("gantry_peer_memory_bytes").values;
   EXPECT_EQ(memory.size(), 101u);
   std::string const others =
      "gantry_peer_memory_bytes{peer=\"others\",address=\"\",role=\"client\"}";
   ASSERT_TRUE(memory.contains(others));
   EXPECT_EQ(memory.at(others), 3.0 * memory.rbegin()->second);
}

TEST_F(MetricsPeersTest, RefusalsHaveTheirSubjectAndReason) {
   Want nothing = want();
   nothing.path = "leaf1/nothing";
   Client client(nothing);
   ASSERT_TRUE(client.ends());
   RawPeer rude = RawPeer::calling(port);
   rude.say(frame(99, 0, ""));
   ASSERT_TRUE(rude.isCut());
   auto const read = processNumbers();
   auto const& refusals = read.metrics.at("gantry_refusals_total").values;
   for (char const* labels : {"subject=\"mount\",reason=\"no_such_path\"",
                              "subject=\"own_mount\",reason=\"no_such_path\""}) {
      std::string const name = std::string("gantry_refusals_total{") + labels + "}";
      ASSERT_TRUE(refusals.contains(name)) << name;
      EXPECT_GE(refusals.at(name), 1.0);
   }
   double messages = 0.0;
   for (auto const& [name, value] : refusals) {
      messages += name.find("subject=\"message\"") != std::string::npos ? value : 0.0;
   }
   EXPECT_GE(messages, 1.0);
}

TEST_F(MetricsPeersTest, AFreshCopyIsNoResync) {
   auto const resyncs = [] {
      return processNumbers()
         .metrics.at("gantry_resyncs_total")
         .values.at("gantry_resyncs_total{of=\"mount\"}");
   };
   double const before = resyncs();
   Client first(want());
   ASSERT_TRUE(first.ends());
   EXPECT_EQ(resyncs(), before);
   ASSERT_TRUE(first.unmounts(true));
   Client second(want());
   ASSERT_TRUE(second.ends());
   EXPECT_EQ(resyncs(), before + 1.0);
}

} // namespace
