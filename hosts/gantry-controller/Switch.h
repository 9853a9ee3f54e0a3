/// Private to the table of switches. One switch: its connection, what came over it, and what is
/// wrong with that.
///
/// Owned by the table; on the activity loop's thread. It is not dropped from inside its own
/// handlers: the table looks at it in a turn of its own.
#pragma once

#include <hosts/gantry-controller/Switches.h>
#include <hosts/support/Agent.fen.h>
#include <hosts/support/SteadyMount.h>

namespace Host {

class Switches::Switch final : private SteadyMount::User {
 public:
   /// What a switch says of itself, once it has been checked.
   struct Statement {
      Negotiation::Offers offers;
      /// What is wrong, empty for nothing, and what it is counted by.
      std::string fault;
      char const* counter = "";
   };

   Switch(Switches& table, std::string name, SwitchConfiguration const& place, bool isAccepted,
          Fen::Ptr<Controller::ConnectionConfig> const& connection);
   ~Switch();

   std::string const& name() const { return name_; }
   SwitchConfiguration const& place() const { return place_; }
   bool isAccepted() const { return accepted_; }
   Controller::MountState mountState() const { return mount_->state(); }
   std::string reason() const { return mount_->reason(); }
   Fen::Ptr<Controller::MountSm> const& machine() const { return mount_->machine(); }
   void retryIntervalIs(double seconds) { mount_->retryIntervalIs(seconds); }
   /// What its announcement says now; the mount must be there.
   Statement statement() const;

   /// It is in the table of peers: its announcement is here.
   bool isReached = false;
   bool isRegistered = false;
   /// Connections over which it makes itself known.
   unsigned knocks = 0;
   /// What was told of it last.
   SwitchState toldState = SwitchState::gone;
   std::string toldReason;

 private:
   class Watch;

   void handleMountState(SteadyMount& mount) override;
   std::string target() const { return "/switches/" + name_; }

   Switches& table_;
   std::string const name_;
   SwitchConfiguration const place_;
   bool const accepted_;
   std::unique_ptr<SteadyMount> mount_;
   Fen::Ptr<Watch> watch_;
};

/// The check of what an announcement offers: names and versions that are in order, and not beyond
/// all measure many of them.
void offersOf(Agent::Announcement const& announcement, Negotiation::Offers& offers,
              std::string& fault);

} // namespace Host
