/// The first full round of mounts, for people and programs: which mount groups have finished it,
/// how each switch got there, and what the others wait for. A peer that is missing is told from one
/// that is slow.
///
/// Owned by the program; on the activity loop's thread. It reads the machines that decide and
/// decides nothing itself. What a group has finished with is written down in the turn after it has,
/// and stays as it was then.
#pragma once

#include <gantry/initial/InitialMountSm.fen.h>
#include <gantry/runtime/fen/Dir.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Host {

/// What a mount group waits for.
enum class InitialPhase { peers, registration, mounts, complete };
/// Such as "waiting for registration".
char const* initialPhaseText(InitialPhase phase);

/// One switch in the first round of one group.
struct InitialSwitch {
   std::string name;
   /// While the group waits: "waiting". Else, or for those that it does not wait for: "mounted",
   /// "failed", "unregistered" (it was there and did not register in time), "skipped" (it had no
   /// status for the group when it was looked at, mostly because nothing of the group is wanted
   /// from it), "missing" (it was not there when the peers had settled), or "late" (the same, and
   /// it is there now).
   std::string outcome;
   /// The state of the switch or of its mounts, with the reason where there is one; may be empty.
   std::string detail;
};

/// One mount group of one service.
struct InitialRow {
   std::string service;
   std::string group;
   InitialPhase phase = InitialPhase::peers;
   /// When it was finished, in seconds since 1970; 0 before.
   double finished = 0.0;
   /// In order of their names.
   std::vector<InitialSwitch> switches;

   /// As "mounted: leaf1, leaf2; missing: leaf3 (lost)", those that are waited for first.
   std::string switchesText() const;
};

class InitialMounts {
 public:
   /// A switch that the host knows of, whether it is there or not.
   struct Known {
      std::string name;
      Controller::SystemId system;
      /// Such as "lost: connection refused".
      std::string state;
      bool isRegistered = false;
   };
   using AllKnown = std::function<std::vector<Known>()>;

   class Listener {
    public:
      /// A group has finished its first round; told once for each.
      virtual void handleInitialMounts(InitialRow const& row) = 0;
      /// Something else of what rows() gives may have changed.
      virtual void handleInitialMountsChanged() = 0;

    protected:
      ~Listener() = default;
   };

   InitialMounts(Fen::Ptr<Controller::InitialMountSm> const& machine, AllKnown allKnown,
                 Listener& listener);
   ~InitialMounts();
   InitialMounts(InitialMounts const&) = delete;
   InitialMounts& operator=(InitialMounts const&) = delete;

   /// Hears of what the service's groups finish; once for each.
   void serviceIs(Fen::Ptr<Controller::ServiceMountStatus> const& status);
   /// Services or groups have come or gone: looks at all of them in the next turn.
   void changed();

   /// All groups that are declared, by service and group.
   std::vector<InitialRow> rows() const;
   /// Whether all groups that are declared have finished; with none of them, they have.
   bool isComplete() const;
   /// Runs in a turn in which isComplete() has become true, or was when this was set.
   void completeHandlerIs(std::function<void()> handler);

 private:
   class ServiceWatch;
   class PeriodWatch;
   class Settler;
   using Key = std::pair<std::string, std::string>;

   template <class Visit>
   void eachGroup(Visit const& visit) const;
   void settle();
   void settleLater();
   InitialRow rowOf(Controller::ServiceMountStatus const& status, Fen::Name group) const;

   Fen::Ptr<Controller::InitialMountSm> machine_;
   AllKnown const allKnown_;
   Listener& listener_;
   std::map<Key, InitialRow> finished_;
   std::map<std::string, Fen::Ptr<ServiceWatch>> services_;
   Fen::Ptr<PeriodWatch> period_;
   Fen::Ptr<Settler> settler_;
   std::function<void()> complete_;
};

} // namespace Host
