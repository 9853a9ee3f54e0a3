// The controller's file: what it may say, and every refusal with its line, column and field.

#include <hosts/gantry-controller/ConfigurationFields.h>
#include <hosts/gantry-controller/ConfigurationReader.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

namespace Host {
namespace {

constexpr char const* system = R"("system":{"id":"02:00:00:00:00:ff"})";

/// What is wrong with a text, line by line; empty for nothing.
std::string wrong(std::string const& text) {
   std::vector<ConfigurationProblem> problems;
   configurationOf(text, problems);
   return problemsText("f", problems);
}

/// The same of a file with a system and, behind it, this.
std::string wrongWith(std::string const& more) {
   return wrong("{" + std::string(system) + ",\n" + more + "}");
}

Configuration read(std::string const& text) {
   std::vector<ConfigurationProblem> problems;
   Configuration const result = configurationOf(text, problems);
   EXPECT_EQ(problemsText("f", problems), "");
   return result;
}

constexpr char const* whole = R"({
   "system": { "id": "02:00:00:00:00:FF", "name": "boss", "listen": "10.0.0.254:9000" },
   "timing": { "reconnectRetries": 4, "retryInterval": 0.5, "mountTimeout": 12.5,
               "heartbeatInterval": 3 },
   "switches": {
      "leaf1": { "id": "02:00:00:00:00:01", "address": "10.0.0.1" },
      "leaf2": { "id": "02:00:00:00:00:02", "address": "10.0.0.2", "port": 9002 }
   },
   "services": {
      "fabric": {
         "versions": "1-3,5",
         "systemFilters": { "first": ["leaf1", "02:00:00:00:00:0A"] },
         "versionFilters": { "new": "2-3" },
         "mountGroups": {
            "links": {
               "systemFilter": "first", "versionFilter": "new",
               "preserveMountsOnDisconnect": true,
               "mounts": {
                  "linux/interface": { "type": "Linux::InterfaceDir", "flags": "r",
                                       "target": "links/all" },
                  "linux/host": { "type": "Linux::Host" }
               }
            }
         }
      },
      "idle": { "versions": "7" }
   }
})";

TEST(ConfigurationReader, WholeFile) {
   Configuration const all = read(whole);
   EXPECT_EQ(all.system.id.stringValue(), "02:00:00:00:00:ff");
   EXPECT_EQ(all.system.name, "boss");
   EXPECT_EQ(all.system.address->stringValue(), "10.0.0.254");
   EXPECT_EQ(all.system.port, 9000);
   EXPECT_EQ(all.timing, (TimingConfiguration{4, 0.5, 12.5, 3.0}));
   ASSERT_EQ(all.switches.size(), 2u);
   EXPECT_EQ(all.switches.at("leaf1").id.stringValue(), "02:00:00:00:00:01");
   EXPECT_EQ(all.switches.at("leaf1").address.stringValue(), "10.0.0.1");
   EXPECT_EQ(all.switches.at("leaf1").port, 9001);
   EXPECT_EQ(all.switches.at("leaf2").port, 9002);
   ServiceConfiguration const& fabric = all.services.at("fabric");
   EXPECT_EQ(fabric.versions.text(), "1-3,5");
   EXPECT_EQ(fabric.systemFilters.at("first"),
             (std::set<std::string>{"02:00:00:00:00:01", "02:00:00:00:00:0a"}));
   EXPECT_EQ(fabric.versionFilters.at("new"), (std::set<std::uint32_t>{2, 3}));
   MountGroupConfiguration const& links = fabric.mountGroups.at("links");
   EXPECT_EQ(links.systemFilter, "first");
   EXPECT_EQ(links.versionFilter, "new");
   EXPECT_TRUE(links.preserveMountsOnDisconnect);
   EXPECT_EQ(links.mounts.at("linux/interface"),
             (MountConfiguration{"Linux::InterfaceDir", "r", "links/all"}));
   EXPECT_EQ(links.mounts.at("linux/host"), (MountConfiguration{"Linux::Host", "", ""}));
   EXPECT_TRUE(all.services.at("idle").mountGroups.empty());
}

TEST(ConfigurationReader, LeastFileAndDefaults) {
   Configuration const all = read("{" + std::string(system) + "}");
   EXPECT_EQ(all.system.name, "controller");
   EXPECT_FALSE(all.system.address);
   EXPECT_EQ(all.timing, TimingConfiguration());
   EXPECT_TRUE(all.switches.empty() && all.services.empty());
}

TEST(ConfigurationReader, TheOrderOfFieldsDoesNotMatter) {
   Configuration const all = read(R"({"services":{"s":{"mountGroups":{"g":{"systemFilter":"f"}},
      "systemFilters":{"f":["leaf1"]},"versions":"1"}},
      "switches":{"leaf1":{"address":"10.0.0.1","id":"02:00:00:00:00:01"}},)" +
                                  std::string(system) + "}");
   EXPECT_EQ(all.services.at("s").systemFilters.at("f").size(), 1u);
}

TEST(ConfigurationReader, NoJson) {
   EXPECT_EQ(wrong("").rfind("f:1:1: ", 0), 0u) << wrong("");
   std::string const comma = wrong("{\n   \"system\": {},\n}");
   EXPECT_EQ(comma.rfind("f:3:1: ", 0), 0u) << comma;
   EXPECT_EQ(comma.find('\n'), std::string::npos);
   EXPECT_NE(wrong("{\"system\"").find("f:1:"), std::string::npos);
   EXPECT_NE(wrong("\xff").find("f:1:"), std::string::npos);
   EXPECT_NE(wrong("{\"a\":\"\xc3\x28\"}").find("f:1:"), std::string::npos);
   EXPECT_EQ(wrong(std::string(40, '[')), "f:1:33: objects and lists are nested too deeply");
   EXPECT_EQ(wrong("[]"), "f:1:1: is a list; it must be an object");
}

TEST(ConfigurationReader, InfiniteAndNegativeTimes) {
   // A number that has no end as such is refused where it stands.
   std::string const infinite = wrongWith(R"("timing":{"mountTimeout":1e999})");
   EXPECT_EQ(infinite.rfind("f:2:", 0), 0u) << infinite;
   EXPECT_NE(infinite.find("1e999"), std::string::npos) << infinite;
   EXPECT_EQ(wrongWith(R"("timing":{"mountTimeout":1e300})"),
             "f:2:26: timing.mountTimeout: is 1e+300; it must be from 0 to 86400");
   EXPECT_EQ(wrongWith(R"("timing":{"mountTimeout":-1})"),
             "f:2:26: timing.mountTimeout: is -1; it must be from 0 to 86400");
   EXPECT_EQ(wrongWith(R"("timing":{"mountTimeout":0.5})"),
             "f:2:26: timing.mountTimeout: is less than a second; give 1 or more, or 0 for no "
             "limit");
   EXPECT_EQ(wrongWith(R"("timing":{"mountTimeout":0})"), "");
   EXPECT_EQ(wrongWith(R"("timing":{"mountTimeout":1.5})"), "");
   EXPECT_EQ(wrongWith(R"("timing":{"reconnectRetries":1.5})"),
             "f:2:30: timing.reconnectRetries: is 1.5; it must be a whole number");
   EXPECT_EQ(wrongWith(R"("timing":{"heartbeatInterval":0})"),
             "f:2:31: timing.heartbeatInterval: is 0; it must be from 0.01 to 86400");
   EXPECT_EQ(wrongWith(R"("timing":{"retryInterval":"often"})"),
             "f:2:27: timing.retryInterval: is a text; it must be a number");
}

TEST(ConfigurationReader, UnknownAndRepeatedFields) {
   EXPECT_EQ(wrongWith(R"("extra":1)"),
             "f:2:1: extra: is unknown; what may stand here is system, timing, switches, services");
   EXPECT_EQ(wrongWith(R"("timing":{"heartbeat":1})"),
             "f:2:11: timing.heartbeat: is unknown; what may stand here is reconnectRetries, "
             "retryInterval, mountTimeout, heartbeatInterval");
   EXPECT_EQ(wrongWith(R"("services":{"s":{"versions":"1"},
  "s":{"versions":"2"}})"),
             "f:3:3: services.s: is there twice; the first one is in line 2, column 13");
   EXPECT_EQ(wrongWith(R"("timing":{"retryInterval":1,"retryInterval":2})"),
             "f:2:29: timing.retryInterval: is there twice; the first one is in line 2, column 11");
}

TEST(ConfigurationReader, ColumnsCountCharacters) {
   EXPECT_EQ(wrongWith("\"services\":{\"\xc3\xa4\xc3\xb6\":{\"versions\":1}}"),
             "f:2:30: services.\xc3\xa4\xc3\xb6.versions: is a number; it must be a text");
}

TEST(ConfigurationReader, System) {
   EXPECT_EQ(wrong("{}"), "f:1:1: system: is missing");
   EXPECT_EQ(wrong(R"({"system":{}})"), "f:1:11: system.id: is missing");
   std::string const noId = ": '%' is no system id; give six pairs of hexadecimal digits with "
                            "colons between, not all zero";
   for (char const* id : {"leaf1", "00:00:00:00:00:00", "02:00:00:00:00"}) {
      std::string text = "f:1:17: system.id" + noId;
      text.replace(text.find('%'), 1, id);
      EXPECT_EQ(wrong("{\"system\":{\"id\":\"" + std::string(id) + "\"}}"), text);
   }
   std::string const start = R"({"system":{"id":"02:00:00:00:00:ff",)";
   EXPECT_EQ(wrong(start + R"("name":"a/b"}})"),
             "f:1:44: system.name: cannot name a system; give a name without slashes");
   EXPECT_EQ(wrong(start + R"("listen":"here"}})"),
             "f:1:46: system.listen: 'here' is no address; give an IPv4 address and a port, such "
             "as 127.0.0.1:9001");
   EXPECT_EQ(wrong(start + R"("listen":"1.2.3.4:70000"}})"),
             "f:1:46: system.listen: '70000' is no port; give a number from 0 (a free one) to "
             "65535");
}

TEST(ConfigurationReader, Switches) {
   EXPECT_EQ(wrongWith(R"("switches":{"a":{"id":"02:00:00:00:00:01"}})"),
             "f:2:17: switches.a.address: is missing");
   EXPECT_EQ(wrongWith(R"("switches":{"a":{"id":"02:00:00:00:00:01","address":"leaf1"}})"),
             "f:2:53: switches.a.address: 'leaf1' is no IPv4 address such as 10.0.0.1");
   EXPECT_EQ(
      wrongWith(R"("switches":{"a":{"id":"02:00:00:00:00:01","address":"1.1.1.1","port":0}})"),
      "f:2:70: switches.a.port: is 0; it must be from 1 to 65535");
   EXPECT_EQ(wrongWith(R"("switches":{"a/b":{"id":"02:00:00:00:00:01","address":"1.1.1.1"}})"),
             "f:2:13: switches.a/b: its name must not have a slash");
   EXPECT_EQ(wrongWith(R"("switches":{"":{}})"), "f:2:13: switches: has a member without a name");
   EXPECT_EQ(wrongWith(R"("switches":{"a":{"id":"02:00:00:00:00:ff","address":"1.1.1.1"}})"),
             "f:2:13: switches.a.id: is the controller's own id (system.id)");
   EXPECT_EQ(wrongWith(R"("switches":{"a":{"id":"02:00:00:00:00:01","address":"1.1.1.1"},
"b":{"id":"02:00:00:00:00:01","address":"1.1.1.2"}})"),
             "f:3:1: switches.b.id: is also the id of switches.a");
   EXPECT_EQ(wrongWith(R"("switches":{"a":{"id":"02:00:00:00:00:01","address":"1.1.1.1"},
"b":{"id":"02:00:00:00:00:02","address":"1.1.1.1"}})"),
             "f:3:1: switches.b.address: and port are also those of switches.a");
}

std::string service(std::string const& more) {
   return "\"services\":{\"s\":{\"versions\":\"1-3\",\n" + more + "}}";
}

TEST(ConfigurationReader, Filters) {
   EXPECT_EQ(wrongWith(service(R"("systemFilters":{"f":[]})")),
             "f:3:22: services.s.systemFilters.f: is empty, and would let every system pass; leave "
             "the filter out, or name systems");
   EXPECT_EQ(wrongWith(service(R"("systemFilters":{"f":["leaf9"]})")),
             "f:3:23: services.s.systemFilters.f: 'leaf9' is neither a system id nor the name of "
             "one of the switches");
   EXPECT_EQ(
      wrongWith(service(R"("systemFilters":{"f":["02:00:00:00:00:0a","02:00:00:00:00:0A"]})")),
      "f:3:43: services.s.systemFilters.f: names 02:00:00:00:00:0A twice");
   EXPECT_EQ(wrongWith(service(R"("versionFilters":{"f":"new"})")),
             "f:3:23: services.s.versionFilters.f: 'new' does not name from 1 to 1000 versions; "
             "give such as 1-3,5");
   EXPECT_EQ(wrongWith(service(R"("versionFilters":{"f":"1-1001"})"))
                .rfind("f:3:23: services.s.versionFilters.f: '1-1001' does not name", 0),
             0u);
   EXPECT_EQ(wrongWith(service(R"("mountGroups":{"g":{"systemFilter":"f","versionFilter":"v"}})")),
             "f:3:36: services.s.mountGroups.g.systemFilter: the service has no system filter 'f'\n"
             "f:3:56: services.s.mountGroups.g.versionFilter: the service has no version filter "
             "'v'");
   EXPECT_EQ(wrongWith("\"services\":{\"s\":{\"versions\":\"0\"}}"),
             "f:2:29: services.s.versions: '0' names no versions; give such as 1-3,5");
}

std::string mounts(std::string const& more) {
   return service("\"mountGroups\":{\"g\":{\"mounts\":{\n" + more + "}}}");
}

TEST(ConfigurationReader, Mounts) {
   EXPECT_EQ(wrongWith(mounts(R"("a":{})")),
             "f:4:5: services.s.mountGroups.g.mounts.a.type: is missing");
   EXPECT_EQ(wrongWith(mounts(R"("a":{"type":""})")),
             "f:4:13: services.s.mountGroups.g.mounts.a.type: is empty");
   std::string const empty = "has an empty component; a path has neither a slash at an end nor two "
                             "in a row";
   for (char const* path : {"/a", "a/", "a//b"}) {
      EXPECT_EQ(wrongWith(mounts("\"" + std::string(path) + R"(":{"type":"T","target":"t"})")),
                "f:4:1: services.s.mountGroups.g.mounts." + std::string(path) + ": " + empty);
   }
   EXPECT_EQ(wrongWith(mounts(R"("a/../b":{"type":"T"})")),
             "f:4:1: services.s.mountGroups.g.mounts.a/../b: has the component '..', which leads "
             "nowhere");
   EXPECT_EQ(wrongWith(mounts(R"("a":{"type":"T","target":"/t"})")),
             "f:4:26: services.s.mountGroups.g.mounts.a.target: " + empty);
   EXPECT_EQ(
      wrongWith(mounts(R"("a":{"type":"T","target":"switches/t"})")),
      "f:4:1: services.s.mountGroups.g.mounts.a.target: 'switches' belongs to the controller "
      "itself");
   EXPECT_NE(wrongWith(mounts(R"("a":{"type":"T","target":"machines/t"})")).find("'machines'"),
             std::string::npos);
   EXPECT_EQ(wrongWith(mounts(R"("a/02:00:00:00:00:01":{"type":"T"})")),
             "f:4:1: services.s.mountGroups.g.mounts.a/02:00:00:00:00:01.target: has the component "
             "02:00:00:00:00:01, a system id, which would lead into what is mounted from that "
             "system");
}

/// Two services that ask for one path.
std::string both(std::string const& one, std::string const& other) {
   return "\"services\":{\n"
          "\"s\":{\"versions\":\"1\",\"mountGroups\":{\"g\":{\"mounts\":{\"p\":" +
          one +
          "}}}},\n"
          "\"t\":{\"versions\":\"1\",\"mountGroups\":{\"h\":{\"mounts\":{\"p\":" +
          other + "}}}}}";
}

TEST(ConfigurationReader, OnePathHasOneTypeOneSetOfFlagsAndOnePlace) {
   EXPECT_EQ(wrongWith(both(R"({"type":"T"})", R"({"type":"T"})")), "");
   std::string const first = " differs from that of the same path in "
                             "services.s.mountGroups.g.mounts.p (line 3, column 51)";
   std::string const second = "f:4:51: services.t.mountGroups.h.mounts.p.";
   EXPECT_EQ(wrongWith(both(R"({"type":"T"})", R"({"type":"U"})")), second + "type:" + first);
   EXPECT_EQ(wrongWith(both(R"({"type":"T"})", R"({"type":"T","flags":"w"})")),
             second + "flags:" + first);
   EXPECT_EQ(wrongWith(both(R"({"type":"T"})", R"({"type":"T","target":"x"})")),
             second + "target:" + first);
}

TEST(ConfigurationReader, OneServiceAsksForAPathOnce) {
   EXPECT_EQ(wrongWith(service(R"("mountGroups":{"g":{"mounts":{"p":{"type":"T"}}},
"h":{"mounts":{"p":{"type":"T"}}}})")),
             "f:4:16: services.s.mountGroups.h.mounts.p: the service asks for the path already in "
             "services.s.mountGroups.g.mounts.p (line 3, column 31)");
}

TEST(ConfigurationReader, TwoPathsHaveTwoPlaces) {
   EXPECT_EQ(wrongWith(mounts(R"("a":{"type":"T","target":"t"},
"b":{"type":"T","target":"t"})")),
             "f:5:1: services.s.mountGroups.g.mounts.b.target: is also the place of "
             "services.s.mountGroups.g.mounts.a (line 4, column 1)");
   EXPECT_EQ(wrongWith(mounts(R"("a":{"type":"T"},
"b":{"type":"T","target":"mounts/a"})"))
                .rfind("f:5:1: services.s.mountGroups.g.mounts.b.target: is also the place", 0),
             0u);
}

TEST(ConfigurationReader, EveryMistakeIsTold) {
   std::string const text = wrong(R"({"system":{"id":"x"},
"timing":{"mountTimeout":-1},
"switches":{"a":{"id":"y","address":"z"}},
"services":{"s":{}}})");
   EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4) << text;
}

TEST(ConfigurationReader, NamesCannotBreakTheLine) {
   std::string const text = wrongWith(R"("a\nb":1)");
   EXPECT_EQ(text.find('\n'), std::string::npos) << text;
   EXPECT_EQ(text.rfind("f:2:1: a?b: is unknown", 0), 0u) << text;
   EXPECT_EQ(wrongWith(R"("services":{"a\u0007":{"versions":"1"}})"),
             "f:2:13: services.a?: its name has a control character");
   EXPECT_EQ(wrongWith("\"services\":{\"" + std::string(2000, 'x') + "\":{}}"),
             "f:2:13: services: has a member whose name is too long");
}

std::string sourceText(std::string const& name) {
   std::ifstream in(std::string(GANTRY_SOURCE_DIR) + "/" + name);
   return {std::istreambuf_iterator<char>(in), {}};
}

TEST(ConfigurationReader, TheDocumentedExampleIsGood) {
   std::string const text = sourceText("docs/configuration.md");
   std::size_t const begin = text.find("```json\n") + 8;
   EXPECT_EQ(wrong(text.substr(begin, text.find("```", begin) - begin)), "");
}

/// The names of all fields that a schema allows, with what is named by the user left out.
void schemaFields(nlohmann::json const& all, nlohmann::json const& node, std::string const& field,
                  std::set<std::string>& found) {
   if (node.contains("$ref")) {
      std::string const path = node["$ref"].get<std::string>().substr(1);
      schemaFields(all, all[nlohmann::json::json_pointer(path)], field, found);
   }
   if (node.contains("properties")) {
      for (auto const& [name, below] : node["properties"].items()) {
         found.insert(fieldBelow(field, name));
         schemaFields(all, below, fieldBelow(field, name), found);
      }
   }
   if (node.contains("additionalProperties") && node["additionalProperties"].is_object()) {
      schemaFields(all, node["additionalProperties"], fieldBelow(field, "*"), found);
   }
}

/// A service that publishes this.
std::string publishing(std::string const& group) {
   return R"("switches":{"leaf1":{"id":"02:00:00:00:00:01","address":"10.0.0.1"}},
"services":{"s":{"versions":"1","publishGroups":{"d":)" +
          group + "}}}";
}

TEST(ConfigurationReader, Publications) {
   Configuration const all =
      read("{" + std::string(system) + "," +
           publishing(R"({"entities":{"one":{"remotePath":"there","type":"Controller::PeerTable"}},
              "directories":{"config/all":{"remotePath":"all","systems":{"leaf1":{"e":
                 {"type":"Controller::Heartbeat::Config","values":{"interval":2.5}}}}}}})") +
           "}");
   ServiceConfiguration const& service = all.services.at("s");
   EXPECT_TRUE(service.ready);
   PublishGroupConfiguration const& group = service.publishGroups.at("d");
   EXPECT_EQ(group.publications.at("one"),
             (PublicationConfiguration{false, "there", {"Controller::PeerTable", {}}, {}}));
   EXPECT_EQ(group.publications.at("config/all").parts.at("02:00:00:00:00:01").at("e"),
             (EntityConfiguration{"Controller::Heartbeat::Config", {{"interval", "2.5"}}}));
}

TEST(ConfigurationReader, WhatCannotBePublished) {
   auto const refused = [](std::string const& entity) {
      std::string const text = wrongWith(publishing(R"({"entities":{"one":)" + entity + "}}"));
      std::string const field = "services.s.publishGroups.d.entities.one";
      EXPECT_NE(text.find(field), std::string::npos) << text;
      return text.substr(text.find(field) + field.size());
   };
   EXPECT_EQ(refused(R"({"remotePath":"r","type":"No::Such"})"),
             ".type: 'No::Such' is no type that this program knows");
   EXPECT_EQ(refused(R"({"remotePath":"r","type":"Controller::MountConfig"})"),
             ".type: 'Controller::MountConfig' cannot be published: it is no entity that is made "
             "by a name alone");
   std::string const type = R"({"remotePath":"r","type":"Controller::Heartbeat::Config","values":)";
   EXPECT_EQ(refused(type + R"({"pause":1}})"),
             ".values.pause: 'Controller::Heartbeat::Config' has no attribute 'pause' that is a "
             "single value");
   EXPECT_EQ(refused(type + R"({"interval":"often"}})"),
             ".values.interval: 'often' is no Fen::Double");
   EXPECT_EQ(refused(type + R"({"interval":null}})"),
             ".values.interval: is neither a truth value nor a number nor a text");
   EXPECT_EQ(refused(R"({"remotePath":"/r","type":"Controller::PeerTable"})"),
             ".remotePath: has an empty component; a path has neither a slash at an end nor two in "
             "a row");
}

TEST(ConfigurationReader, PublishedPathsThatClash) {
   auto const clash = [](std::string const& one, std::string const& other) {
      std::string const entity = R"(":{"remotePath":"r","type":"Controller::PeerTable"})";
      return wrongWith(
         publishing("{\"entities\":{\n\"" + one + entity + ",\n\"" + other + entity + "}}"));
   };
   std::string const first = "is published already by services.s.publishGroups.d.entities.";
   EXPECT_NE(clash("a/b", "a/b/c").find(first + "a/b (line 4, column 1)"), std::string::npos);
   EXPECT_NE(clash("a/b", "a").find(first + "a/b"), std::string::npos);
   EXPECT_EQ(clash("a/b", "a/bc"), "");
   EXPECT_NE(clash("a", "registry/x").find("'registry' belongs to the controller itself"),
             std::string::npos);
   for (std::string const own : {"mounts", "machines"}) {
      EXPECT_NE(clash("a", own).find("'" + own + "' belongs to the controller itself"),
                std::string::npos);
   }
}

TEST(ConfigurationReader, TwoServicesThatPublishOnePath) {
   std::string const service = R"({"versions":"1","publishGroups":{"d":{"entities":
{"one":{"remotePath":"r","type":"Controller::PeerTable"}}}}})";
   std::string const text = wrongWith("\"services\":{\"s\":" + service + ",\"t\":" + service + "}");
   EXPECT_NE(text.find("services.t.publishGroups.d.entities.one: is published already by "
                       "services.s.publishGroups.d.entities.one (line 3, column 2)"),
             std::string::npos)
      << text;
}

TEST(ConfigurationReader, PublishedWhereSomethingIsMounted) {
   EXPECT_NE(wrongWith(R"("services":{"s":{"versions":"1",
"mountGroups":{"g":{"mounts":{"p":{"type":"T","target":"here"}}}},
"publishGroups":{"d":{"entities":{"here/below":{"remotePath":"r",
"type":"Controller::PeerTable"}}}}}})")
                .find("is the place of services.s.mountGroups.g.mounts.p"),
             std::string::npos);
}

/// Every field that the schema allows is known to the reader, and the reader knows no other: what
/// it says of an unknown one lists them all.
TEST(ConfigurationReader, TheSchemaHasTheSameFields) {
   auto const schema = nlohmann::json::parse(sourceText("docs/controller.schema.json"));
   std::set<std::string> allowed, known;
   schemaFields(schema, schema, "", allowed);
   std::vector<ConfigurationProblem> problems;
   configurationOf(R"({"?":1,"system":{"?":1},"timing":{"?":1},"switches":{"*":{"?":1}},
      "services":{"*":{"?":1,"mountGroups":{"*":{"?":1,"mounts":{"*":{"?":1}}}},
         "publishGroups":{"*":{"?":1,"entities":{"*":{"?":1}},
            "directories":{"*":{"?":1,"systems":{"02:00:00:00:00:01":{"*":{"?":1}}}}}}}}}})",
                   problems);
   std::string const start = "is unknown; what may stand here is ";
   std::string const partName = "02:00:00:00:00:01";
   for (ConfigurationProblem const& each : problems) {
      if (each.text.rfind(start, 0) != 0) {
         continue;
      }
      std::istringstream names(each.text.substr(start.size()));
      for (std::string name; names >> name;) {
         std::erase(name, ',');
         std::string field = each.field.substr(0, each.field.size() - 1) + name;
         // Parts are named by switches, which the schema does not know.
         if (std::size_t const part = field.find(partName); part != std::string::npos) {
            field.replace(part, partName.size(), "*");
         }
         known.insert(field);
      }
   }
   EXPECT_EQ(known, allowed);
}

TEST(ConfigurationReader, Files) {
   std::string const name = testing::TempDir() + "controller-configuration.json";
   std::ofstream(name) << whole;
   EXPECT_EQ(configurationFromFile(name).system.name, "boss");
   std::ofstream(name) << "{}";
   try {
      configurationFromFile(name);
      ADD_FAILURE();
   } catch (ConfigurationError const& error) {
      EXPECT_EQ(error.what(), name + ":1:1: system: is missing");
   }
   std::filesystem::remove(name);
   EXPECT_THROW(configurationFromFile(name), ConfigurationError);
   EXPECT_THROW(configurationFromFile(testing::TempDir()), ConfigurationError);
}

} // namespace
} // namespace Host
