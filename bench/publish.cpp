/// What publishing costs in a large network: 20 published paths and up to 10,000 systems, through
/// the registry's machines to the table of published mounts. Measured are the first publication of
/// all paths to all systems, a change that has every system of one path decided again, with each
/// published and with each filtered out, and a negotiation that has one system decided for all
/// paths. Columns tell the time of one decision and the bytes of one description. Behind the table
/// stands how each grows with the number of systems, as an exponent over the three sizes: 1 is a
/// cost in proportion, and the decisions of one system do not grow at all.
#include "Ratios.h"

#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <ctime>
#include <malloc.h>
#include <string>
#include <vector>

namespace {

using namespace Controller;

constexpr unsigned paths = 20;
constexpr std::uint32_t sizes[] = {625, 2'500, 10'000};

SystemId systemId(unsigned number) {
   return SystemId(
      Fen::format("02:00:00:%02x:%02x:%02x", number >> 16, number >> 8 & 255, number & 255));
}

/// A controller whose systems are all registered and have negotiated version 1 of the one service
/// that publishes; nothing is published yet.
class Network {
 public:
   explicit Network(std::uint32_t systems) {
      for (unsigned number = 0; number < systems; ++number) {
         SystemId const id = systemId(number);
         Fen::String8 const text = id.stringValue();
         auto const config = ControllerRegistration::switchConfigFactory(text);
         config->systemIdIs(id);
         auto const connection = config->connectionConfigIs("connection");
         connection->ipIs(Nimet::IpAddr("10.0.0.1"));
         connection->portIs(9000);
         status_->switchConfigIs(id, config);
         status_->registeredSwitchIs(id, true);
         auto const client = serviceStatusDirFactory(text);
         client->serviceIs("service")->enabledIs(true);
         auto const version = serviceVersionStatusV1Factory("version");
         version->negotiatedVersionIs(NegotiatedVersion(1, ""));
         version->versionCompatibleIs(true);
         version->versionNegotiationCompleteIs(true);
         client->service("service")->versionStatusIs(version);
         clients_->entityPtrIs(client);
      }
      versions_->includedServiceVersionIs(1, true);
      machine_ = mountsRegistrySmFactory(registry_, status_, Fen::dirFactory("statuses"), table_,
                                         registeredSwitchTableFactory(), clients_);
   }
   void publishAll() {
      for (unsigned number = 0; number < paths; ++number) {
         registry_
            ->publishEntryIs(Fen::format("config/path%02u", number), "remote",
                             "Linux::InterfaceDir", false, "service", versions_, nullptr)
            ->readyToPublishIs(true);
      }
   }
   /// Has all systems decided for one path.
   void decideAgain() {
      machine_->publishRegistryEntrySm("config/path00")->handleSwitchConnection();
   }
   /// Has the first system decided for all paths.
   void negotiateAgain() { machine_->handleServiceVersion("service", systemId(0).stringValue()); }
   void filterOut() { versions_->includedServiceVersionDel(1); }

   bool isPublished(std::uint32_t systems) const {
      auto const record = table_->system(systemId(systems - 1));
      return table_->systemCount() == systems && record && record->publishedMountCount() == paths;
   }
   bool isWithdrawn() const { return table_->systemCount() == 0; }

 private:
   Fen::VirtualTime time_{1000.0};
   Fen::Ptr<MountsRegistry> registry_ = Fen::makePtr<MountsRegistry>(
      Fen::dirFactory("mount"), "mount", Fen::dirFactory("root"), "sys/db", 0u, 0.0);
   Fen::Ptr<ControllerRegistration::ControllerStatus> status_ =
      ControllerRegistration::controllerStatusFactory("status");
   Fen::Ptr<Fen::Dir> clients_ = Fen::dirFactory("clients");
   Fen::Ptr<PublishedMountsTable> table_ = publishedMountsTableFactory("published");
   Fen::Ptr<MountFilterServiceVersion> versions_ = mountFilterServiceVersionFactory("versions");
   Fen::Ptr<MountsRegistrySm> machine_;
};

double processorSeconds() {
   timespec now{};
   ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
   return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// Of the processor: what else runs on the machine does not count.
template <class Work>
double secondsOf(Work const& work) {
   double const start = processorSeconds();
   work();
   return processorSeconds() - start;
}

double bytesInUse() {
   struct mallinfo2 const all = ::mallinfo2();
   return static_cast<double>(all.uordblks + all.hblkhd);
}

void timeIs(benchmark::State& state, double seconds, double decisions) {
   state.SetIterationTime(seconds);
   state.counters["each_ns"] = seconds * 1e9 / decisions;
}

void expect(benchmark::State& state, bool asExpected) {
   if (!asExpected) {
      state.SkipWithError("what is measured did not happen");
   }
}

void measurePublication(benchmark::State& state, std::uint32_t systems) {
   for (auto _ : state) {
      Network network(systems);
      double const before = bytesInUse();
      double const each = static_cast<double>(systems) * paths;
      timeIs(state, secondsOf([&] { network.publishAll(); }), each);
      state.counters["bytes_each"] = (bytesInUse() - before) / each;
      expect(state, network.isPublished(systems));
   }
}

/// Each system stands in the table and is registered, so it is decided twice.
void measurePublished(benchmark::State& state, std::uint32_t systems) {
   Network network(systems);
   network.publishAll();
   for (auto _ : state) {
      timeIs(state, secondsOf([&] { network.decideAgain(); }), 2.0 * systems);
   }
   expect(state, network.isPublished(systems));
}

void measureFilteredOut(benchmark::State& state, std::uint32_t systems) {
   Network network(systems);
   network.publishAll();
   network.filterOut();
   for (auto _ : state) {
      timeIs(state, secondsOf([&] { network.decideAgain(); }), systems);
   }
   expect(state, network.isWithdrawn());
}

void measureNegotiation(benchmark::State& state, std::uint32_t systems) {
   Network network(systems);
   network.publishAll();
   for (auto _ : state) {
      double const seconds = secondsOf([&] {
         for (unsigned i = 0; i < 100; ++i) {
            network.negotiateAgain();
         }
      });
      timeIs(state, seconds / 100, paths);
   }
   expect(state, network.isPublished(systems));
}

} // namespace

int main(int argc, char** argv) {
   std::vector<Bench::Slope> slopes;
   auto series = [&](std::string const& name, double goal, auto const& measure) {
      Bench::Slope slope{name, {}, goal};
      for (std::uint32_t const size : sizes) {
         std::string const full = name + "/" + std::to_string(size);
         slope.points.push_back({static_cast<double>(size), full});
         benchmark::RegisterBenchmark(
            full.c_str(), [measure, size](benchmark::State& state) { measure(state, size); })
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
      }
      slopes.push_back(slope);
   };
   series("Publication", 1.3, measurePublication);
   series("AllDecidedPublished", 1.3, measurePublished);
   series("AllDecidedFilteredOut", 1.3, measureFilteredOut);
   series("OneDecidedForAllPaths", 0.4, measureNegotiation);
   return Bench::runWithRatios(argc, argv, {}, slopes);
}
