/// Machines that end in the middle of what they do: every handler of a host may take away the very
/// thing that notifies it. What these tests assert is little; what they are for is to be run with
/// AddressSanitizer.
#include "RegistryFixture.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace {

using namespace Controller;
using namespace RegistryTest;

// ---- taps: readers that do something the n-th time they hear of anything -----------------------

class Tap {
 public:
   /// Counts down, and then runs once.
   std::function<void()> run;
   int countdown = -1;
   int heard = 0;

   void hear() {
      ++heard;
      if (countdown >= 0 && countdown-- == 0) {
         std::exchange(run, nullptr)();
      }
   }
   void watch(Fen::Ptr<ServiceMountStatus> const& status);
   void watch(Fen::Ptr<SystemStatus> const& status);
   void watch(Fen::Ptr<ServiceMountGroupStatus> const& status);
   void watch(Fen::Ptr<MountStatus> const& status);
   void watch(Fen::Ptr<RegisteredSwitchTable> const& table);

 private:
   template <class Reader, class Watched>
   void add(Watched const& watched) {
      if (watched) {
         readers_.push_back(Fen::makePtr<Reader>(watched, this));
      }
   }
   std::vector<Fen::Ptr<Fen::PtrInterface>> readers_;
};

class MountReader : public MountStatus::Notifiee {
 public:
   MountReader(Fen::Ptr<MountStatus> const& status, Tap* tap)
      : MountStatus::Notifiee(status), tap_(tap) {
      isRegisteredNotifieeIs(true);
   }
   void onMountState() override { tap_->hear(); }
   void onMountedPath() override { tap_->hear(); }

 private:
   Tap* tap_;
};

class GroupReader : public ServiceMountGroupStatus::Notifiee {
 public:
   GroupReader(Fen::Ptr<ServiceMountGroupStatus> const& status, Tap* tap)
      : ServiceMountGroupStatus::Notifiee(status), tap_(tap) {
      isRegisteredNotifieeIs(true);
   }
   void onMountState() override { tap_->hear(); }
   void onMountStatus(Fen::Name key) override {
      tap_->watch(notifier()->mountStatus(key));
      tap_->hear();
   }

 private:
   Tap* tap_;
};

class SystemReader : public SystemStatus::Notifiee {
 public:
   SystemReader(Fen::Ptr<SystemStatus> const& status, Tap* tap)
      : SystemStatus::Notifiee(status), tap_(tap) {
      isRegisteredNotifieeIs(true);
   }
   void onServiceMountGroupStatus(Fen::Name key) override {
      tap_->watch(notifier()->serviceMountGroupStatus(key));
      tap_->hear();
   }

 private:
   Tap* tap_;
};

class ServiceReader : public ServiceMountStatus::Notifiee {
 public:
   ServiceReader(Fen::Ptr<ServiceMountStatus> const& status, Tap* tap)
      : ServiceMountStatus::Notifiee(status), tap_(tap) {
      isRegisteredNotifieeIs(true);
   }
   void onSystemStatus(Fen::Name key) override {
      tap_->watch(notifier()->systemStatus(key));
      tap_->hear();
   }
   void onMountedPathPrefix(Fen::Name) override { tap_->hear(); }

 private:
   Tap* tap_;
};

class TableReader : public RegisteredSwitchTable::Notifiee {
 public:
   TableReader(Fen::Ptr<RegisteredSwitchTable> const& table, Tap* tap)
      : RegisteredSwitchTable::Notifiee(table), tap_(tap) {
      isRegisteredNotifieeIs(true);
   }
   void onSystem(SystemId const&) override { tap_->hear(); }

 private:
   Tap* tap_;
};

void Tap::watch(Fen::Ptr<ServiceMountStatus> const& status) { add<ServiceReader>(status); }
void Tap::watch(Fen::Ptr<SystemStatus> const& status) { add<SystemReader>(status); }
void Tap::watch(Fen::Ptr<ServiceMountGroupStatus> const& status) { add<GroupReader>(status); }
void Tap::watch(Fen::Ptr<MountStatus> const& status) { add<MountReader>(status); }
void Tap::watch(Fen::Ptr<RegisteredSwitchTable> const& table) { add<TableReader>(table); }

// ---- a day in the life of a host ---------------------------------------------------------------

/// Takes the whole service away as its own machines would: mounters first, then the groups.
void dropService(Host& host, char const* service, std::vector<char const*> const& paths) {
   for (char const* path : paths) {
      if (auto const entry = host.registry->mountEntry(path)) {
         entry->mounterDel(service);
      }
   }
   host.service(service).config->mountGroupConfigDelAll();
}

using Sabotage = std::pair<char const*, std::function<void(Host&)>>;

std::vector<Sabotage> const& sabotages() {
   static std::vector<Sabotage> const all = {
      {"nothing", [](Host&) {}},
      {"the top machine is dropped", [](Host& host) { host.machine = nullptr; }},
      {"one entry goes", [](Host& host) { host.registry->mountEntryDel("a"); }},
      {"all entries go", [](Host& host) { host.registry->mountEntryDelAll(); }},
      {"one mounter goes",
       [](Host& host) {
          if (auto const entry = host.registry->mountEntry("a")) {
             entry->mounterDel("fabric");
          }
       }},
      {"all mounters go",
       [](Host& host) {
          for (auto i = host.registry->mountEntryIterator(); i; ++i) {
             host.registry->mountEntry(i.key())->mounterDelAll();
          }
       }},
      {"a service goes with its groups",
       [](Host& host) {
          dropService(host, "fabric", {"a", "b"});
       }},
      {"a mounter goes and comes again",
       [](Host& host) {
          if (auto const entry = host.registry->mountEntry("a")) {
             entry->mounterDel("fabric");
             host.want("fabric", "g", "a");
          }
       }},
      {"a client goes", [](Host& host) { host.clientGone(1); }},
      {"a client goes and comes again",
       [](Host& host) {
          host.clientGone(1);
          host.negotiate(1, "fabric", 1);
       }},
      {"a service of a client goes", [](Host& host) { host.client(1)->serviceDel("fabric"); }},
      {"a switch goes", [](Host& host) { host.unregisterSwitch(1); }},
      {"all switches go", [](Host& host) { host.controllerStatus->registeredSwitchDelAll(); }},
      {"another switch comes", [](Host& host) { host.connect(3, "fabric"); }},
      {"the filters change",
       [](Host& host) {
          host.systemFilter("access", "h")->includedSystemDel(Host::text(1));
          host.systemFilter("access", "h")->includedSystemIs(Host::text(2), true);
          host.versionFilter("access", "h")->includedServiceVersionDelAll();
       }},
      {"the status is emptied",
       [](Host& host) {
          host.service("fabric").status->systemStatusDelAll();
          host.service("access").status->systemStatusDelAll();
       }},
      {"a group's status is taken away",
       [](Host& host) {
          if (auto const system = host.service("fabric").status->systemStatus(Host::text(1))) {
             system->serviceMountGroupStatusDelAll();
          }
       }},
   };
   return all;
}

/// Lets the peers answer whatever is under way.
void answerAll(Host& host, Cairn::MountStatus status) {
   for (int round = 0; round < 4; ++round) {
      host.turn();
      std::vector<Fen::Ptr<Cairn::EntityManager>> managers;
      for (Cairn::EntityManager* const each : host.backend->managers()) {
         managers.emplace_back(each);
      }
      for (auto const& manager : managers) {
         auto const& live = host.backend->managers();
         if (std::find(live.begin(), live.end(), manager.ptr()) == live.end()) {
            continue;
         }
         if (manager->unmounter()) {
            host.backend->completeUnmount(*manager);
         } else {
            host.backend->completeMount(*manager, status);
         }
      }
   }
}

void checkEntries(Host& host) {
   if (!host.machine) {
      return;
   }
   for (auto i = host.machine->mountsRegistryEntrySmIterator(); i; ++i) {
      EXPECT_EQ(i->mountSmCount(), i->mountSmDataCount());
      EXPECT_EQ(i->mountSmCount(), i->mountSmDataSmCount());
      for (auto mount = i->mountSmIterator(); mount; ++mount) {
         EXPECT_EQ(mount->mountSmData(), i->mountSmData(mount.key()));
      }
   }
}

/// Everything that a host does in a day, with `action` at the n-th time that a reader hears of
/// something. Returns how often readers have heard.
int day(std::function<void(Host&)> const& action, int countdown, bool atOnce) {
   Host host;
   host.backend->completesInsideUnregisterAllIs(atOnce);
   Tap tap;
   tap.run = [&] { action(host); };
   tap.countdown = countdown;
   tap.watch(host.registeredSwitchTable);
   tap.watch(host.service("fabric").status);
   tap.watch(host.service("access").status);
   host.create();
   host.connect(1, "fabric");
   host.connect(2, "access");
   host.group("fabric", "g")->preserveMountsOnDisconnectIs(true);
   host.systemFilter("access", "h")->includedSystemIs(Host::text(1), true);
   host.versionFilter("access", "h")->includedServiceVersionIs(1, true);
   host.want("fabric", "g", "a");
   host.want("access", "h", "a");
   host.want("fabric", "g", "b");
   host.service("fabric").status->mountedPathPrefixIs("a", "mount/target");
   answerAll(host, Cairn::mountStatusSuccess);
   host.negotiate(1, "access", 1);
   answerAll(host, Cairn::mountStatusTimedOut);
   host.versionFilter("access", "h")->includedServiceVersionIs(2, true);
   host.systemFilter("access", "h")->includedSystemIs(Host::text(2), true);
   answerAll(host, Cairn::mountStatusSuccess);
   host.unregisterSwitch(1);
   answerAll(host, Cairn::mountStatusSuccess);
   checkEntries(host);
   host.registerSwitch(1);
   answerAll(host, Cairn::mountStatusSuccess);
   host.clientGone(2);
   host.systemFilter("access", "h")->includedSystemDel(Host::text(2));
   answerAll(host, Cairn::mountStatusSuccess);
   host.group("fabric", "g")->preserveMountsOnDisconnectIs(false);
   host.negotiate(1, "fabric", 0);
   answerAll(host, Cairn::mountStatusSuccess);
   checkEntries(host);
   host.negotiate(1, "fabric", 1);
   answerAll(host, Cairn::mountStatusSuccess);
   host.want("fabric", "g", "a");
   host.wantNoMore("fabric", "a");
   host.unregisterSwitch(2);
   answerAll(host, Cairn::mountStatusSuccess);
   host.registry->mountEntryDel("b");
   dropService(host, "access", {"a"});
   answerAll(host, Cairn::mountStatusSuccess);
   checkEntries(host);
   return tap.heard;
}

class RegistrySafety : public testing::TestWithParam<std::size_t> {};

TEST_P(RegistrySafety, AHandlerMayTakeAnythingAwayAtAnyTime) {
   Sabotage const& sabotage = sabotages()[GetParam()];
   SCOPED_TRACE(sabotage.first);
   for (bool const atOnce : {false, true}) {
      int const heard = day([](Host&) {}, -1, atOnce);
      ASSERT_GT(heard, 40);
      for (int at = 0; at < heard; ++at) {
         SCOPED_TRACE(at);
         day(sabotage.second, at, atOnce);
      }
   }
}

INSTANTIATE_TEST_SUITE_P(Sabotages, RegistrySafety,
                         testing::Range<std::size_t>(0, sabotages().size()));

// ---- the paths one by one ----------------------------------------------------------------------

TEST_F(Registry, AFallFromInsideTheMachinesOwnTimerEndsIt) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   group("fabric", "g")->preserveMountsOnDisconnectIs(true);
   finish("a", 1);
   unregisterSwitch(1);
   turn();
   unmountDone("a", 1);
   ASSERT_EQ(entrySm("a")->mountSmData(id(1))->mountState(), mountStatePending);
   // Already unmounted: the timer's handler itself reports the fall that ends its machine.
   group("fabric", "g")->preserveMountsOnDisconnectIs(false);
   entrySm("a")->handleSwitchConnection(id(1));
   turn();
   EXPECT_FALSE(mountSm("a", 1));
   EXPECT_TRUE(backend->managers().empty());
}

TEST_F(Registry, AClientThatCompletesAnUnmountInsideTheCallEndsTheMachineInsideIt) {
   backend->completesInsideUnregisterAllIs(true);
   connect(1, "fabric");
   want("fabric", "g", "a");
   finish("a", 1);
   unregisterSwitch(1);
   turn();
   EXPECT_FALSE(mountSm("a", 1));
   EXPECT_EQ(service("fabric").status->systemStatusCount(), 0u);
}

/// Ends the mounter when the filter tells of a system.
class FilterReader : public MountFilterSystem::Notifiee {
 public:
   FilterReader(Fen::Ptr<MountFilterSystem> const& filter, std::function<void()> run)
      : MountFilterSystem::Notifiee(filter), run_(std::move(run)) {
      isRegisteredNotifieeIs(true);
   }
   void onIncludedSystem(Fen::String8) override { run_(); }

 private:
   std::function<void()> run_;
};

TEST_F(Registry, AMounterMayGoWhileItsFilterNotifies) {
   for (bool const first : {true, false}) {
      registerSwitch(1);
      auto const filter = systemFilter("fabric", "g");
      auto const end = [&] {
         if (auto const present = registry->mountEntry("a")) {
            present->mounterDel("fabric");
         }
      };
      Fen::Ptr<FilterReader> reader;
      if (first) {
         reader = Fen::makePtr<FilterReader>(filter, end);
      }
      want("fabric", "g", "a");
      if (!first) {
         reader = Fen::makePtr<FilterReader>(filter, end);
      }
      filter->includedSystemIs(text(1), true);
      EXPECT_FALSE(entrySm("a")->mounterConfigSm("fabric"));
      EXPECT_EQ(entrySm("a")->connectionFilterCount(), 0u);
      reader->isRegisteredNotifieeIs(false);
      filter->includedSystemDelAll();
   }
}

TEST_F(Registry, AMounterMayGoWhileItsFilterIsTakenIn) {
   // Status left behind, which the evaluation of the first system clears; its reader ends the
   // mounter in the middle of the walk over the filter's members.
   registerSwitch(1);
   registerSwitch(2);
   want("fabric", "g", "a");
   wantNoMore("fabric", "a");
   for (unsigned const number : {1u, 2u}) {
      systemFilter("fabric", "g")->includedSystemIs(text(number), true);
      auto const system = service("fabric").status->systemStatusIs(text(number));
      system->serviceMountGroupStatusIs("g")->mountStatusIs("a");
   }
   Tap tap;
   tap.run = [&] { wantNoMore("fabric", "a"); };
   tap.countdown = 0;
   tap.watch(service("fabric").status);
   want("fabric", "g", "a");
   EXPECT_FALSE(registry->mountEntry("a")->mounter("fabric"));
   EXPECT_FALSE(entrySm("a")->mounterConfigSm("fabric"));
   EXPECT_EQ(entrySm("a")->connectionFilterCount(), 0u);
}

TEST_F(Registry, AMounterMayGoAndComeAgainWhileItsFilterIsTakenIn) {
   registerSwitch(1);
   want("fabric", "g", "a");
   wantNoMore("fabric", "a");
   systemFilter("fabric", "g")->includedSystemIs(text(1), true);
   service("fabric").status->systemStatusIs(text(1))->serviceMountGroupStatusIs("g")->mountStatusIs(
      "a");
   Tap tap;
   tap.run = [&] {
      wantNoMore("fabric", "a");
      want("fabric", "g", "a");
   };
   tap.countdown = 0;
   tap.watch(service("fabric").status);
   want("fabric", "g", "a");
   ASSERT_TRUE(entrySm("a")->mounterConfigSm("fabric"));
   EXPECT_EQ(entrySm("a")->mounterConfigSm("fabric")->mounter(), entry("a")->mounter("fabric"));
   EXPECT_EQ(entrySm("a")->mounterConfigSmCount(), 1u);
   EXPECT_EQ(entrySm("a")->connectionFilter(text(1)), 1u);
}

TEST_F(Registry, AVersionStatusMayGoWithItsServiceWhileItNotifies) {
   connect(1, "fabric");
   Tap tap;
   tap.watch(registeredSwitchTable);
   registeredSwitchTable->systemDelAll();
   tap.run = [&] { client(1)->serviceDel("fabric"); };
   tap.countdown = 0;
   negotiate(1, "fabric", 2);
   EXPECT_EQ(machine->connectionServiceStatusDirSm(text(1))->serviceStatusCount(), 0u);
   registeredSwitchTable->systemDelAll();
   tap.run = [&] { clientGone(1); };
   tap.countdown = 0;
   negotiate(1, "fabric", 2);
   EXPECT_EQ(machine->connectionServiceStatusDirSmCount(), 0u);
}

TEST_F(Registry, TheTopMachineMayGoFromInsideItsOwnNotifications) {
   connect(1, "fabric");
   want("fabric", "g", "a");
   finish("a", 1);
   Tap tap;
   tap.watch(registeredSwitchTable);
   tap.run = [&] { machine = nullptr; };
   tap.countdown = 0;
   unregisterSwitch(1);
   EXPECT_FALSE(machine);
   EXPECT_TRUE(backend->managers().empty()) << "the mounts have gone with it";
   turn();
}

TEST_F(Registry, AnEntryMayGoInTheWalkThatCleansItUp) {
   for (unsigned const number : {1u, 2u, 3u}) {
      connect(number, "fabric");
   }
   for (char const* path : {"a", "b", "c"}) {
      want("fabric", "g", path);
      // Refused by its version, and with status left behind: each clean-up tells readers.
      versionFilter("fabric", "g")->includedServiceVersionIs(9, true);
   }
   for (unsigned const number : {1u, 2u, 3u}) {
      auto const group_ =
         service("fabric").status->systemStatusIs(text(number))->serviceMountGroupStatusIs("g");
      for (char const* path : {"a", "b", "c"}) {
         group_->mountStatusIs(path);
      }
   }
   Tap tap;
   tap.watch(service("fabric").status);
   for (unsigned const number : {1u, 2u, 3u}) {
      tap.watch(service("fabric").status->systemStatus(text(number)));
      tap.watch(groupStatus("fabric", "g", number));
   }
   tap.run = [&] { registry->mountEntryDelAll(); };
   tap.countdown = 1;
   registry->mountEntryDel("b");
   EXPECT_EQ(machine->mountsRegistryEntrySmCount(), 0u);
   turn();
   EXPECT_TRUE(backend->managers().empty());
}

} // namespace
