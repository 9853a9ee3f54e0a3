/// One path of one peer that is kept mounted: when the mount has failed it is asked for again after
/// a while, and what was there stays readable meanwhile.
///
/// Owned by whoever wants the mount; on the activity loop's thread. The work is done by a MountSm;
/// this class only makes requests of it. Dropping it leaves the local copy where it is.
#pragma once

#include <gantry/common/ConnectionConfig.fen.h>
#include <gantry/mount/MountSm.fen.h>
#include <gantry/runtime/fen/ActivityLoop.h>

#include <cstdint>
#include <optional>
#include <string>

namespace Host {

class SteadyMount {
 public:
   /// What is mounted, from where. Times are in seconds.
   struct Wish {
      Controller::SystemId system;
      /// Followed by the next attempt when it changes.
      Fen::Ptr<Controller::ConnectionConfig> connection;
      std::string path;
      std::string type;
      /// The place in the local tree, beginning with a slash.
      std::string target;
      std::uint32_t retries = 0;
      std::uint32_t timeout = 10;
      /// From a failure to the next attempt; nothing for a single attempt.
      std::optional<double> retryInterval;
   };

   /// The owner.
   class User {
    public:
      /// The state has changed. The mount must not be dropped from inside.
      virtual void handleMountState(SteadyMount& mount) = 0;

    protected:
      ~User() = default;
   };

   /// Asks for the mount; the outcome comes in a later turn.
   SteadyMount(Wish wish, User* user);
   ~SteadyMount();
   SteadyMount(SteadyMount const&) = delete;
   SteadyMount& operator=(SteadyMount const&) = delete;

   Wish const& wish() const { return wish_; }
   Controller::MountState state() const { return data_->mountState(); }
   /// Failed or mounted: the attempt is over.
   bool isFinal() const;
   /// How the last attempt ended; none while one is under way.
   Cairn::MountStatus status() const;
   /// Why it has failed; empty in any other state.
   std::string reason() const;
   /// What stands at the target; null when nothing does.
   Fen::Ptr<Fen::Entity> root() const;
   /// What does the work; for looking at.
   Fen::Ptr<Controller::MountSm> const& machine() const { return machine_; }
   /// For failures from now on.
   void retryIntervalIs(double seconds) { wish_.retryInterval = seconds; }

 private:
   class StateReactor;
   class RetryTimer;

   void handleState();
   void handleRetry();

   Wish wish_;
   User* user_;
   Fen::Ptr<Controller::MountSmData> data_;
   Fen::Ptr<StateReactor> stateReactor_;
   Fen::Ptr<RetryTimer> retryTimer_;
   Fen::Ptr<Controller::MountSm> machine_;
};

} // namespace Host
