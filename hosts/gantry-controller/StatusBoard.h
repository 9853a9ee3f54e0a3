/// What the controller knows of its switches, of what was negotiated with them and of every mount,
/// as rows for people and programs.
///
/// Owned by the program; on the activity loop's thread. The board takes mounts from the status
/// entities of the services and everything else from whoever reports it; an output shows what has
/// changed.
#pragma once

#include <hosts/gantry-controller/InitialMounts.h>
#include <hosts/gantry-controller/Negotiation.h>
#include <hosts/gantry-controller/Switches.h>
#include <hosts/support/TreeWatch.h>

#include <gantry/model/ServiceMountStatus.fen.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>

namespace Host {

/// One mount of one service from one switch. Times are in seconds since 1970.
struct MountRow {
   std::string service;
   /// The text form of the system id, and the name by which the switch is known.
   std::string system;
   std::string switchName;
   std::string group;
   std::string path;
   /// The name of the state; that of an unmounted one for a row that goes.
   std::string state;
   double since = 0.0;
   /// Why it failed.
   std::string reason;
};

/// One mount group of a service on one switch.
struct GroupRow {
   std::string service;
   std::string system;
   std::string group;
   std::string state;
   double since = 0.0;
};

struct SwitchRow {
   std::string name;
   std::string system;
   std::string state;
   double since = 0.0;
   std::string reason;
   /// When it was last said where the switch is reached.
   double placeSince = 0.0;
};

struct ServiceRow {
   std::string service;
   std::string system;
   std::string switchName;
   /// 0 for none.
   std::uint32_t version = 0;
   double since = 0.0;
   std::string description;
};

class StatusBoard;

/// Shows what changes.
class StatusOutput {
 public:
   virtual ~StatusOutput() = default;
   virtual void mount(MountRow const& row) = 0;
   virtual void knownSwitch(SwitchRow const& row) = 0;
   /// `isGone` when there is nothing to negotiate any more.
   virtual void service(ServiceRow const& row, bool isGone) = 0;
   virtual void refusal(std::string const& peer, std::string const& reason) = 0;
   /// A mount group has finished its first round.
   virtual void initialMounts(InitialRow const& row) = 0;
   /// What the others wait for may have changed.
   virtual void initialMountsChanged() = 0;
   /// The file has been read again: how many operations that led to, or what is wrong.
   virtual void configuration(std::size_t operations, std::string const& fault) = 0;
};

std::unique_ptr<StatusOutput> jsonOutput();
std::unique_ptr<StatusOutput> lineOutput();
/// Tables that are drawn again in place; the board must live longer.
std::unique_ptr<StatusOutput> tableOutput(StatusBoard const& board);

class StatusBoard : public Negotiation::Listener,
                    public Switches::Listener,
                    public InitialMounts::Listener {
 public:
   /// Service, system, group and path.
   using MountKey = std::tuple<std::string, std::string, std::string, std::string>;
   /// Service, system and group.
   using GroupKey = std::tuple<std::string, std::string, std::string>;
   using Reason = std::function<std::string(Fen::Name path, Controller::SystemId system)>;

   /// `reason` says why a mount has failed.
   explicit StatusBoard(Reason reason);
   ~StatusBoard();

   /// Where everything is shown from now on; not owned, may be null.
   void outputIs(StatusOutput* output) { output_ = output; }
   /// Watches the mounts of a service; once for each.
   void serviceIs(Fen::Ptr<Controller::ServiceMountStatus> const& status);
   void configurationRead(std::size_t operations, std::string const& fault);
   /// Where the rows of the first round of mounts come from.
   void initialRowsAre(std::function<std::vector<InitialRow>()> rows) {
      initialRows_ = std::move(rows);
   }
   /// All switches but those that are gone.
   std::vector<InitialMounts::Known> knownSwitches() const;

   void handleNegotiated(Controller::SystemId system, std::string const& service,
                         NegotiationOutcome const* outcome) override;
   void handleSwitch(std::string const& name, Controller::SystemId system, SwitchState state,
                     std::string const& reason) override;
   void handleRefusal(std::string const& peer, std::string const& reason) override;
   void handleInitialMounts(InitialRow const& row) override;
   void handleInitialMountsChanged() override;

   /// The rows, by service, system, group and path; by service, system and group; by name; by
   /// service and system.
   std::map<MountKey, MountRow> const& mounts() const { return mounts_; }
   std::map<GroupKey, GroupRow> const& groups() const { return groups_; }
   std::map<std::string, SwitchRow> const& switches() const { return switches_; }
   std::map<std::pair<std::string, std::string>, ServiceRow> const& services() const {
      return services_;
   }

   /// All rows as tables, cut to `width` columns, 0 for no limit.
   std::string tables(std::size_t width) const;

 private:
   class ServiceWatch;

   MountKey mountIs(std::string const& service, Controller::MountStatus const& status);
   void mountDel(MountKey const& key);
   GroupKey groupIs(std::string const& service, Controller::ServiceMountGroupStatus const& status);
   std::string nameOf(std::string const& system) const;

   Reason const reason_;
   std::function<std::vector<InitialRow>()> initialRows_;
   StatusOutput* output_ = nullptr;
   std::map<MountKey, MountRow> mounts_;
   std::map<GroupKey, GroupRow> groups_;
   std::map<std::string, SwitchRow> switches_;
   std::map<std::string, std::string> names_;
   std::map<std::pair<std::string, std::string>, ServiceRow> services_;
   std::string lastNote_;
   std::map<std::string, std::unique_ptr<ServiceWatch>> watches_;
};

} // namespace Host
