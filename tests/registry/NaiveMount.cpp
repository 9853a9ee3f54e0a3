/// The steps of one mount, of its clock and of the scripted client.
#include "NaiveMount.h"

#include <algorithm>
#include <cstdio>

namespace Naive {

using namespace Controller;

// ---- the clock ---------------------------------------------------------------------------------

std::shared_ptr<Clock::Timer> Clock::timer(std::function<void()> onTime) {
   auto const made = std::make_shared<Timer>();
   made->onTime = std::move(onTime);
   timers_.push_back(made);
   return made;
}

void Clock::timeMinIs(Timer& timer, double time) {
   timer.timeMin = time;
   timer.arming = time == never ? 0 : ++armings_;
}

bool Clock::turn() {
   struct Due {
      std::shared_ptr<Timer> timer;
      double time;
      std::uint64_t arming;
   };
   std::vector<Due> due;
   std::erase_if(timers_, [](auto const& timer) { return timer.expired(); });
   for (auto const& held : timers_) {
      auto const timer = held.lock();
      if (timer->arming != 0 && timer->timeMin <= now_) {
         due.push_back({timer, timer->timeMin, timer->arming});
      }
   }
   std::sort(due.begin(), due.end(), [](Due const& left, Due const& right) {
      return std::pair(left.time, left.arming) < std::pair(right.time, right.arming);
   });
   for (Due const& one : due) {
      // Cancelled, armed anew or dropped by an earlier one of the same turn: it does not fire.
      if (one.timer->arming == one.arming && one.timer->onTime) {
         timeMinIs(*one.timer, never);
         auto const onTime = one.timer->onTime;
         onTime();
      }
   }
   return !due.empty();
}

void Clock::quiet() {
   while (turn()) {
   }
}

void Clock::advance(double seconds) {
   double const end = now_ + seconds;
   quiet();
   for (;;) {
      double nearest = never;
      for (auto const& held : timers_) {
         if (auto const timer = held.lock(); timer && timer->arming != 0) {
            nearest = std::min(nearest, timer->timeMin);
         }
      }
      if (nearest > end) {
         break;
      }
      now_ = std::max(now_, nearest);
      quiet();
   }
   now_ = end;
   quiet();
}

// ---- requests ----------------------------------------------------------------------------------

void Mount::begin() {
   watchdog = clock.timer([this] { onWatchdog(); });
   transition = clock.timer([this] { onTransition(); });
   request(Request::mount);
}

Mount::~Mount() {
   if (transition) {
      watchdog->onTime = nullptr;
      transition->onTime = nullptr;
   }
   if (manager) {
      // Dropped without a clean-up: the client is not told to unmount anything.
      managerDropped();
   }
}

void Mount::request(Request wanted) {
   next = wanted;
   if (next != Request::idle) {
      clock.timeMinIs(*transition, 0.0);
   }
}

void Mount::onTransition() {
   auto const self = shared_from_this();
   Request const taken = std::exchange(next, Request::idle);
   switch (taken) {
   case Request::mount:
      return mountNow();
   case Request::remount:
      return remountNow();
   case Request::preservingUnmount:
      return unmountNow(true);
   case Request::unmount:
      return unmountNow(false);
   case Request::idle:
      return;
   }
}

void Mount::onWatchdog() { clock.timeMinIs(*watchdog, clock.now() + 30.0); }

void Mount::report(MountState newState) {
   lastState = state;
   if (state != newState) {
      state = newState;
      onState();
   }
}

// ---- a mount -----------------------------------------------------------------------------------

void Mount::mountNow() {
   if (state == mountStateMounted || !parameters.config || !parameters.config->isValid()) {
      return;
   }
   ConnectionConfig const& config = *parameters.config;
   unmounter.reset();
   if (manager) {
      client.calls.push_back("doCleanup()");
      managerDropped();
   }
   manager = std::make_unique<Manager>();
   manager->name = "ControllerEm-" + config.ip + ":" + std::to_string(config.port);
   manager->owner = this;
   auto& calls = client.calls;
   calls.push_back("EntityManager(" + manager->name + ")");
   calls.push_back("reconnectRetriesIs(" + std::to_string(parameters.reconnectRetries) + ")");
   calls.push_back("srcHostIs(0.0.0.0)");
   std::string const remote =
      config.sysname + "/" + parameters.remoteRootPath + "/" + parameters.remotePath;
   // Up to six digits, as a stream prints it.
   char timeout[32];
   std::snprintf(timeout, sizeof timeout, "%g", static_cast<double>(parameters.mountTimeout));
   calls.push_back("doInit(" + config.sysname + ", " + parameters.targetPath + ", " + remote +
                   ", " + std::to_string(config.port) + ", " + config.ip + ", , false, false, " +
                   timeout + ", false, , true, false, true)");
   client.managers.push_back(manager.get());
   report(mountStateMounting);
   calls.push_back("getPersistentMountGroup(" + parameters.connection + ")");
   calls.push_back("doMount(, " + parameters.type + ", " + parameters.flags + ")");
   calls.push_back("doClose(false, , 0)");
   current = Request::mount;
   clock.timeMinIs(*watchdog, clock.now() + 30.0);
}

void Mount::mountAnswered(bool success) {
   auto const self = shared_from_this();
   if (current != Request::mount && current != Request::idle) {
      return;
   }
   if (success) {
      preserved = false;
   }
   report(success ? mountStateMounted : mountStateFailed);
   clock.timeMinIs(*watchdog, never);
   current = Request::idle;
   request(next);
}

void Mount::remountNow() {
   if (current != Request::idle) {
      next = Request::remount;
   } else if (state == mountStateFailed || state == mountStateMounted) {
      next = Request::mount;
      startUnmount(true);
   } else if (state == mountStateUnmounting || state == mountStateUnmounted ||
              state == mountStatePending) {
      next = Request::idle;
      request(Request::mount);
   } else {
      next = Request::remount;
   }
}

// ---- an unmount --------------------------------------------------------------------------------

void Mount::unmountNow(bool preserving) {
   if (!manager) {
      report(mountStateUnmounted);
      current = Request::idle;
      next = Request::idle;
   } else if (current == Request::idle) {
      startUnmount(preserving);
   } else if (current != Request::unmount) {
      next = preserving ? Request::preservingUnmount : Request::unmount;
   }
}

void Mount::startUnmount(bool preserving) {
   if (!preserving) {
      cleanLocalPreservedState();
   }
   if (state == mountStateUnmounted || state == mountStatePending) {
      if (!preserving) {
         report(mountStateUnmounted);
      }
      return;
   }
   if (state == mountStateUnmounting) {
      return;
   }
   current = preserving ? Request::preservingUnmount : Request::unmount;
   preserved = preserving;
   report(mountStateUnmounting);
   // The same manager and the same kind of unmount: the client is not asked a second time.
   if (manager && !(unmounter && unmounter->preserving == preserving)) {
      unmounter = std::make_unique<Unmounter>();
      unmounter->preserving = preserving;
      unmounter->watches = manager->hasUnmounter;
      unmounter->initialized = true;
      client.calls.push_back(preserving ? "doUnregisterAll(true)" : "doUnregisterAll(false)");
      // The script starts anew, and shows its unmounter at once.
      manager->unmountsComplete = false;
      unmounterShown();
   }
   clock.timeMinIs(*watchdog, clock.now() + 30.0);
}

void Mount::unmounterShown() {
   manager->hasUnmounter = true;
   if (unmounter && !unmounter->watches) {
      unmounter->watches = true;
      if (manager->unmountsComplete) {
         unmountAnswered();
      }
   }
}

void Mount::unmountAnswered() {
   auto const self = shared_from_this();
   if (current != Request::unmount && current != Request::preservingUnmount) {
      return;
   }
   clock.timeMinIs(*watchdog, never);
   current = Request::idle;
   unmountComplete();
}

void Mount::unmountComplete() {
   if (preserved) {
      report(mountStatePending);
      request(next);
   } else if (next == Request::idle) {
      cleanLocalPreservedState();
      report(mountStateUnmounted);
   } else {
      request(next);
   }
}

void Mount::cleanLocalPreservedState() {
   if (preserved) {
      preserved = false;
      localDel(parameters.targetPath);
   }
}

// ---- the end -----------------------------------------------------------------------------------

void Mount::cleanUp() {
   unmounter.reset();
   if (manager) {
      client.calls.push_back("doCleanup()");
      managerDropped();
   }
}

void Mount::managerDropped() {
   std::erase(client.managers, manager.get());
   client.calls.push_back("~EntityManager(" + manager->name + ")");
   manager.reset();
}

// ---- the script --------------------------------------------------------------------------------

void answerMount(Manager& manager, bool success) { manager.owner->mountAnswered(success); }

void answerUnmount(Manager& manager) {
   auto const owner = manager.owner->shared_from_this();
   if (!manager.hasUnmounter) {
      owner->unmounterShown();
   }
   if (!manager.unmountsComplete) {
      manager.unmountsComplete = true;
      if (owner->unmounter && owner->unmounter->watches) {
         owner->unmountAnswered();
      }
   }
}

} // namespace Naive
