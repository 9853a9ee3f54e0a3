/// What the tests of the mount machine share: virtual time, a scripted mount client, one machine,
/// and a reactor that writes down every reported state.
#pragma once

#include "../support/ScriptedBackend.h"
#include "../support/Traces.h"

#include <gantry/common/ConnectionConfig.fen.h>
#include <gantry/mount/MountSm.fen.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace MountTest {

using Calls = std::vector<std::string>;
using TestSupport::Traces;
using States = std::vector<Controller::MountState>;

/// Writes down the states that a record reports, as the owner of a machine hears them.
class StateWatcher : public Controller::MountSmData::Notifiee {
 public:
   explicit StateWatcher(Fen::Ptr<Controller::MountSmData> const& data)
      : Controller::MountSmData::Notifiee(data) {
      isRegisteredNotifieeIs(true);
   }
   void onMountState() override {
      states.push_back(notifier()->mountState());
      if (then) {
         then(states.back());
      }
   }

   States states;
   std::function<void(Controller::MountState)> then;
};

class MountSmTest : public testing::Test {
 protected:
   MountSmTest() {
      config->ipIs(Nimet::IpAddr("10.0.0.1"));
      config->portIs(9001);
      config->socknameIs("sock");
      config->sysnameIs("leaf1");
      config->srcIpIs(Nimet::IpAddr("10.0.0.9"));
   }
   ~MountSmTest() override { cleanUp(); }

   /// Makes the machine, which asks for its first mount by itself.
   void create() {
      machine = Controller::mountSmFactory(id, config, "sys/db", "interfaces", "/mounts/leaf1",
                                           "Linux::InterfaceDir", "rt", 7, 20, data);
   }
   /// Makes the machine and runs it up to a mount that is under way.
   void createMounting() {
      create();
      turn();
   }
   void createMounted() {
      createMounting();
      answer(Cairn::mountStatusSuccess);
      settle();
   }
   void createFailed() {
      createMounting();
      answer(Cairn::mountStatusTimedOut);
      settle();
   }
   /// Forgets what has been recorded so far.
   void settle() {
      backend->callsTaken();
      watcher->states.clear();
   }
   void turn() { time.advance(0.0); }
   void answer(Cairn::MountStatus status) { backend->completeMount(status); }
   void unmountDone() { backend->completeUnmount(); }
   /// The object of the current unmount, as the client holds it.
   Cairn::RemoteUnmounter& remoteUnmounter() const {
      return const_cast<Cairn::RemoteUnmounter&>(*machine->entityManager()->unmounter());
   }
   /// Starts over with a new machine's record.
   void renew() {
      cleanUp();
      backend->callsTaken();
      data = Controller::mountSmDataFactory(id, Fen::String8());
      watcher = Fen::makePtr<StateWatcher>(data);
   }
   void cleanUp() {
      if (machine) {
         machine->doCleanup();
         machine = nullptr;
      }
   }
   Controller::MountState state() const { return data->mountState(); }

   Fen::VirtualTime time{1000.0};
   TestSupport::ScriptedBackendScope backend;
   Controller::SystemId const id{Fen::String8("02:00:00:00:00:01")};
   Fen::Ptr<Controller::ConnectionConfig> config =
      Controller::connectionConfigFactory("connection");
   Fen::Ptr<Controller::MountSmData> data = Controller::mountSmDataFactory(id, Fen::String8());
   Fen::Ptr<StateWatcher> watcher = Fen::makePtr<StateWatcher>(data);
   Fen::Ptr<Controller::MountSm> machine;
};

} // namespace MountTest
