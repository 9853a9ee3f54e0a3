/// The ring trace of the registry's machines: the words of their decisions, in order.
#include "RegistryFixture.h"

#include <gantry/runtime/ringscribe/Trace.h>
#include <gantry/runtime/ringscribe/TraceReader.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

namespace {

using namespace Controller;
using namespace RegistryTest;

class RegistryRing : public Registry {
 protected:
   RegistryRing() {
      char pattern[] = "/tmp/gantry-ring-XXXXXX";
      folder_ = ::mkdtemp(pattern);
      RingScribe::theTraceFile =
         RingScribe::traceFileFactory((folder_ / "trace").c_str(), 1024 * 1024);
      source_.emplace((folder_ / "trace").string());
      reader_.emplace(*source_, "trace");
   }
   ~RegistryRing() override {
      machine = nullptr;
      RingScribe::theTraceFile = nullptr;
      std::filesystem::remove_all(folder_);
   }
   /// What the registry's machines have traced since the last call; those of the mounts are left
   /// out.
   Calls texts() {
      Calls result;
      reader_->readNew([&](RingScribe::TraceMessage const& each) {
         for (char const* other : {"transitionToState", "processNextState", "doMountNow",
                                   "handleStateTransitionTimeout", "doMountsComplete"}) {
            if (each.text.rfind(other, 0) == 0) {
               return;
            }
         }
         result.push_back(each.text);
      });
      return result;
   }

 private:
   std::filesystem::path folder_;
   std::optional<RingScribe::TraceFileSource> source_;
   std::optional<RingScribe::TraceReader> reader_;
};

TEST_F(RegistryRing, AMountFromItsMounterToItsState) {
   connect(1, "fabric");
   texts();
   want("fabric", "g", "a");
   EXPECT_EQ(texts(), (Calls{"evaluateMounters wildcard mount requested:a service:fabric group:g",
                             "handleMounter new mounter remotePath:a service:fabric group:g",
                             "negotiatedServiceVersionForConnection negotiated version:1 "
                             "connection:02:00:00:00:00:01 service:fabric",
                             "canMountFromConnection wildcard mount:02:00:00:00:00:01",
                             "doConnectSwitch mounting:a from:02:00:00:00:00:01"}));
   turn();
   EXPECT_EQ(texts(),
             (Calls{"handleMountState connection:02:00:00:00:00:01 oldMountState:0 newMountState:2",
                    "updateMountersStatus mountState:2 connection:02:00:00:00:00:01",
                    "updateMounterStatus mountState:2 connection:02:00:00:00:00:01 service:fabric "
                    "group:g remotePath:a",
                    "updateMountGroupMountState group:g mountState:2"}));
}

TEST_F(RegistryRing, ADisconnect) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   finish("a", 1);
   texts();
   unregisterSwitch(1);
   EXPECT_EQ(texts(), (Calls{"handleSwitchConnection connection:02:00:00:00:00:01",
                             "handleSwitchConnection connection:02:00:00:00:00:01 switch "
                             "registered:false",
                             "doDisconnectSwitch unmounting:a from:02:00:00:00:00:01",
                             "doDisconnectSwitch full unmount"}));
}

TEST_F(RegistryRing, Filters) {
   connect(1, "fabric");
   systemFilter("fabric", "g")->includedSystemIs(text(2), true);
   versionFilter("fabric", "g")->includedServiceVersionIs(1, true);
   want("fabric", "g", "a");
   texts();
   entrySm("a")->handleSwitchConnection(id(1));
   EXPECT_EQ(texts(), (Calls{"negotiatedServiceVersionForConnection negotiated version:1 "
                             "connection:02:00:00:00:00:01 service:fabric",
                             "negotiatedServiceVersionForConnection negotiated version:1 "
                             "connection:02:00:00:00:00:01 service:fabric",
                             "matchingServiceVersionFilter supported version:1 service:fabric "
                             "connection:02:00:00:00:00:01",
                             "matchingServiceVersionFilter matched negotiated version:1 "
                             "service:fabric connection:02:00:00:00:00:01",
                             "canMountFromConnection in version filter:02:00:00:00:00:01",
                             "canMountFromConnection connection:02:00:00:00:00:01 in connection "
                             "filter:false",
                             "handleSwitchConnection cannot mount from:02:00:00:00:00:01",
                             "doDisconnectSwitch already unmounted connection:02:00:00:00:00:01",
                             "updateMountersStatus mountState:0 connection:02:00:00:00:00:01",
                             "updateMounterStatus no system status "
                             "connection:02:00:00:00:00:01"}));
   systemFilter("fabric", "g")->includedSystemIs(text(3), true);
   Calls const added = texts();
   ASSERT_FALSE(added.empty());
   EXPECT_EQ(added.front(),
             "addSystemToConnectionFilter new filter:02:00:00:00:00:03 remotePath:a");
}

} // namespace
