/// The words of the publish side's traces, of the stream and of the ring: people and scripts search
/// for them.
#include "PublishFixture.h"

#include <algorithm>

namespace {

using namespace Controller;
using namespace RegistryTest;

class PublishTrace : public Publish {
 protected:
   /// The level 5 messages of a trace, without their head.
   static Texts decisionsOf(Traces const& traces) {
      Texts result;
      std::istringstream lines(traces.text());
      for (std::string line; std::getline(lines, line);) {
         if (line.starts_with("Gantry/5 ") && !line.starts_with("Gantry/5 negotiated")) {
            result.push_back(line.substr(9));
         }
      }
      return result;
   }
   /// The messages of the ring that are those of the publish side.
   static Texts own(RingTraces& ring) {
      Texts result = ring.texts();
      std::erase_if(result, [](std::string const& each) {
         return each.starts_with("negotiated") || each.starts_with("handleServiceVersion") ||
                each.starts_with("handleSwitchConnection connection:");
      });
      return result;
   }
   std::string const one = text(1).str();
};

TEST_F(PublishTrace, APathWithoutFiltersComesAndGoes) {
   connect(1, "s");
   auto const entry = publish("config/a");
   entry->readyToPublishIs(false);
   RingTraces ring;
   Traces traces;
   entry->readyToPublishIs(true);
   Texts const decision = {
      "MountsRegistryEntrySm::canPublishToConnection no versionFilter for config/a using wildcard "
      "versionFilter for connection: " +
         one,
      "canPublishToConnection no systemfilter for config/a using wildcard systemfilter for "
      "connection: " +
         one};
   Texts expected = decision;
   expected.insert(expected.end(), decision.begin(), decision.end());
   expected.push_back("doConnectSwitch Publishing config/a to:remote on: " + one +
                      " of type:Fen::Dir for service: s");
   EXPECT_EQ(decisionsOf(traces), expected);
   Texts const ringDecision = {
      "canPublishToConnectionno versionFilter for config/a connection:" + one,
      "canPublishToConnection no systemfilter for config/a connection:" + one};
   Texts ringExpected = ringDecision;
   ringExpected.insert(ringExpected.end(), ringDecision.begin(), ringDecision.end());
   ringExpected.push_back("doConnectSwitch publishing:config/a to:remote on:" + one +
                          " type: Fen::Dir service: s");
   EXPECT_EQ(own(ring), ringExpected);
   traces.clear();
   unregisterSwitch(1);
   EXPECT_EQ(decisionsOf(traces),
             (Texts{"doDisconnectSwitch Unpublishing config/a from " + one,
                    "doDisconnectSwitch All published mounts gone for " + one}));
   EXPECT_EQ(own(ring), (Texts{"doDisconnectSwitch un-publishing:config/a from:" + one}));
}

TEST_F(PublishTrace, NoVersion) {
   registerSwitch(1);
   RingTraces ring;
   Traces traces;
   publish("config/a");
   Texts const seen = decisionsOf(traces);
   ASSERT_GE(seen.size(), 2u);
   EXPECT_EQ(seen[0], "canPublishToConnection Connection:" + one + " no version negotiated yet");
   EXPECT_EQ(seen[1], "handleSwitchConnection: Cannot publish to " + one);
   Texts const texts = own(ring);
   ASSERT_GE(texts.size(), 2u);
   EXPECT_EQ(texts[0], "canPublishToConnection no version negotiated:" + one);
   EXPECT_EQ(texts[1], "handleSwitchConnection Cannot publish:config/a to:" + one);
}

TEST_F(PublishTrace, Versions) {
   connect(1, "s", 3);
   publish("config/a", versions);
   RingTraces ring;
   Traces traces;
   EXPECT_FALSE(publishSm("config/a")->canPublishToConnection(one.c_str()));
   EXPECT_EQ(decisionsOf(traces),
             (Texts{"hasVersion negotiated version 3 not in filter for s " + one}));
   EXPECT_EQ(own(ring), (Texts{"hasVersion version not in filter:3 service:s connection:" + one}));
   versions->includedServiceVersionIs(3, true);
   traces.clear();
   ring.texts();
   EXPECT_TRUE(publishSm("config/a")->hasVersion(one.c_str(), 3));
   EXPECT_EQ(decisionsOf(traces), (Texts{"hasVersion matched negotiated version 3 for s " + one}));
   EXPECT_EQ(own(ring), (Texts{"hasVersion matched version: 3 service:s connection:" + one}));
}

TEST_F(PublishTrace, TheVersionIsAskedForTwiceWithAFilterAndOnceWithout) {
   connect(1, "s", 3);
   publish("config/a", versions);
   publish("config/b");
   Traces traces;
   publishSm("config/a")->canPublishToConnection(one.c_str());
   EXPECT_EQ(traces.count("negotiated service version for"), 2u);
   traces.clear();
   publishSm("config/b")->canPublishToConnection(one.c_str());
   EXPECT_EQ(traces.count("negotiated service version for"), 1u);
}

TEST_F(PublishTrace, Systems) {
   connect(1, "s");
   versions->includedServiceVersionIs(1, true);
   publish("config/a", versions, systems);
   RingTraces ring;
   Traces traces;
   EXPECT_FALSE(publishSm("config/a")->canPublishToConnection(one.c_str()));
   EXPECT_EQ(decisionsOf(traces).back(),
             "canPublishToConnectionConnection: " + one + ": not found in systemfilter");
   EXPECT_EQ(own(ring).back(), "canPublishToConnection no matched system for connection: " + one);
   systems->includedSystemIs(text(1), true);
   traces.clear();
   ring.texts();
   EXPECT_TRUE(publishSm("config/a")->canPublishToConnection(one.c_str()));
   EXPECT_EQ(decisionsOf(traces).back(),
             "canPublishToConnection Connection:" + one + ": yes, in systemFilter");
   EXPECT_EQ(own(ring).back(), "canPublishToConnection matched systemFilter connection:" + one);
}

TEST_F(PublishTrace, PartsOfADirectory) {
   registerSwitch(1);
   RingTraces ring;
   Traces traces;
   auto const entry = publishDir("desired");
   EXPECT_TRUE(traces.hasLine("Gantry/5 addSwitchToPublishEntryDir: Cannot publish to " + one));
   Texts const refused = own(ring);
   EXPECT_EQ(std::count(refused.begin(), refused.end(),
                        "addSwitchToPublishEntryDir Cannot publish to:" + one),
             1);
   negotiate(1, "s", 1);
   traces.clear();
   ring.texts();
   entry->readyToPublishIs(true);
   std::string const part = partOf("desired", 1).str();
   EXPECT_TRUE(
      traces.hasLine("Gantry/5 doConnectSwitch Creating switch specific mount: controller " + part +
                     " to:remote of type:Fen::Dir for service: s"));
   EXPECT_EQ(own(ring).back(),
             "doConnectSwitch publishing ssm:" + part + " to:remote type: Fen::Dir service: s");
}

} // namespace
