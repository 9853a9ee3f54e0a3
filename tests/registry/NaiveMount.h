/// The naive model of one mount and of the client that it drives: the clock, the calls of the
/// client's surface as text, and the machine's states, each rule written out as a plain step.
/// Owned by the model, on the test's thread.
#pragma once

#include "NaiveDeclarations.h"

#include <functional>
#include <limits>

namespace Naive {

constexpr double never = std::numeric_limits<double>::infinity();

/// Timers fire in order of time and, among equal times, of arming; what is armed while they fire
/// waits for the next turn.
class Clock {
 public:
   struct Timer {
      std::function<void()> onTime;
      double timeMin = 0.0;
      /// Zero while the timer is not armed.
      std::uint64_t arming = 0;
   };

   explicit Clock(double start) : now_(start) {}

   double now() const { return now_; }
   std::shared_ptr<Timer> timer(std::function<void()> onTime);
   void timeMinIs(Timer& timer, double time);
   /// Fires what is due at this moment; says whether anything did.
   bool turn();
   void quiet();
   void advance(double seconds);

 private:
   double now_;
   std::uint64_t armings_ = 0;
   std::vector<std::weak_ptr<Timer>> timers_;
};

struct Mount;

/// One attempt's manager, as the scripted client holds it.
struct Manager {
   std::string name;
   Mount* owner = nullptr;
   /// The manager has shown its unmounter.
   bool hasUnmounter = false;
   bool unmountsComplete = false;
};

/// The scripted client: what has been called, and the managers that it could answer.
struct ScriptedClient {
   std::vector<std::string> calls;
   std::vector<Manager*> managers;
};

struct MountParameters {
   std::string connection;
   std::shared_ptr<ConnectionConfig> config;
   std::string remoteRootPath;
   std::string remotePath;
   std::string targetPath;
   std::string type;
   std::string flags;
   unsigned reconnectRetries = 0;
   unsigned mountTimeout = 0;
};

enum class Request { idle, mount, remount, preservingUnmount, unmount };

struct Mount : std::enable_shared_from_this<Mount> {
   struct Unmounter {
      bool preserving = false;
      bool watches = false;
      bool initialized = false;
   };

   Mount(Clock& theClock, ScriptedClient& theClient, MountParameters theParameters)
      : clock(theClock), client(theClient), parameters(std::move(theParameters)) {}
   ~Mount();

   /// The end of construction: the first mount is asked for.
   void begin();

   void request(Request wanted);
   void onTransition();
   void onWatchdog();
   void mountNow();
   void remountNow();
   void unmountNow(bool preserving);
   void startUnmount(bool preserving);
   void mountAnswered(bool success);
   void unmounterShown();
   void unmountAnswered();
   void unmountComplete();
   void cleanLocalPreservedState();
   void report(MountState newState);
   void cleanUp();
   void managerDropped();

   Clock& clock;
   ScriptedClient& client;
   MountParameters parameters;
   /// Told after `state` has changed.
   std::function<void()> onState;
   /// Takes the local copy at the target path away.
   std::function<void(std::string const&)> localDel;

   std::shared_ptr<Clock::Timer> watchdog;
   std::shared_ptr<Clock::Timer> transition;
   std::unique_ptr<Manager> manager;
   std::unique_ptr<Unmounter> unmounter;
   MountState state = Controller::mountStateUnmounted;
   MountState lastState = Controller::mountStateUnmounted;
   Request current = Request::idle;
   Request next = Request::idle;
   bool preserved = false;
};

/// The script's side.
void answerMount(Manager& manager, bool success);
void answerUnmount(Manager& manager);

} // namespace Naive
