// From the machines' sets and timers to rows.

#include <hosts/gantry-controller/InitialMounts.h>

#include <hosts/support/WallTime.h>

#include <gantry/runtime/fen/ActivityLoop.h>

#include <algorithm>

namespace Host {

namespace {

using Controller::SystemId;

std::string textOf(Fen::String8 const& text) { return std::string(text.view()); }

/// What a group's machine knows, or would know, of one switch.
class GroupView {
 public:
   GroupView(Controller::InitialMountSm const& machine,
             Controller::ServiceMountStatus const& status, Fen::Name const& group)
      : status_(status), group_(group) {
      Fen::Ptr<Controller::ServiceInitialMountSm> const service =
         machine.serviceInitialMountSm(status.name());
      if (service) {
         machine_ = service->mountGroupInitialMountSm(group);
      }
   }

   InitialPhase phase() const {
      if (status_.initialMountsComplete(group_)) {
         return InitialPhase::complete;
      }
      if (!machine_ || !machine_->connectionPeriod()->complete()) {
         return InitialPhase::peers;
      }
      // The timer tells an open window: it reads infinity before and after.
      return machine_->registrationTimer()->timeMin() < Fen::never ? InitialPhase::registration
                                                                   : InitialPhase::mounts;
   }
   bool isInSet(SystemId system) const {
      return machine_ && machine_->mountGroupInitialSwitchSet()->initialSwitch(system);
   }
   bool isUnregistered(SystemId system) const { return machine_ && machine_->unregistered(system); }
   bool isRemaining(SystemId system) const {
      return machine_ && machine_->remainingSwitch(system.stringValue());
   }
   /// The group's own status on that switch, null when it has none.
   Fen::Ptr<Controller::ServiceMountGroupStatus> statusOf(SystemId system) const {
      Fen::Ptr<Controller::SystemStatus> const of = status_.systemStatus(system.stringValue());
      return of ? of->serviceMountGroupStatus(group_) : nullptr;
   }
   /// The switches of the set.
   std::vector<SystemId> systems() const {
      std::vector<SystemId> result;
      if (machine_) {
         Fen::Ptr<Controller::InitialSwitchSet const> const set =
            machine_->mountGroupInitialSwitchSet();
         for (auto i = set->initialSwitchIterator(); i; ++i) {
            result.push_back(i.key());
         }
      }
      return result;
   }

 private:
   Controller::ServiceMountStatus const& status_;
   Fen::Name const group_;
   Fen::Ptr<Controller::MountGroupInitialMountSm> machine_;
};

std::string stateText(Controller::ServiceMountGroupStatus const& status) {
   return textOf(Controller::stringValue(status.mountState()));
}

InitialSwitch outcomeOf(GroupView const& view, InitialPhase phase,
                        InitialMounts::Known const& known) {
   InitialSwitch result{known.name, "waiting", known.state};
   if (phase == InitialPhase::peers) {
      return result;
   }
   if (!view.isInSet(known.system)) {
      result.outcome = known.isRegistered ? "late" : "missing";
      return result;
   }
   Fen::Ptr<Controller::ServiceMountGroupStatus> const status = view.statusOf(known.system);
   if (phase == InitialPhase::registration && view.isUnregistered(known.system)) {
      return result;
   }
   if (phase == InitialPhase::mounts && view.isRemaining(known.system)) {
      result.detail = status ? stateText(*status) : known.state;
      return result;
   }
   if (!status) {
      result.outcome = view.isUnregistered(known.system) ? "unregistered" : "skipped";
      result.detail = view.isUnregistered(known.system) ? known.state : "";
      return result;
   }
   result.detail.clear();
   if (status->mountState() == Controller::mountStateMounted) {
      result.outcome = "mounted";
   } else if (status->mountState() == Controller::mountStateFailed) {
      result.outcome = "failed";
   } else {
      // While the window is open it will be looked at. Later it was, when it had no status yet or a
      // final one, and so it is not waited for.
      result.outcome = phase == InitialPhase::registration ? "waiting" : "skipped";
      result.detail = stateText(*status);
   }
   return result;
}

} // namespace

char const* initialPhaseText(InitialPhase phase) {
   static constexpr char const* texts[] = {"waiting for peers", "waiting for registration",
                                           "waiting for mounts", "complete"};
   return texts[static_cast<std::size_t>(phase)];
}

std::string InitialRow::switchesText() const {
   std::vector<std::string> outcomes{"waiting", "mounted", "failed"};
   for (InitialSwitch const& each : switches) {
      if (std::find(outcomes.begin(), outcomes.end(), each.outcome) == outcomes.end()) {
         outcomes.push_back(each.outcome);
      }
   }
   std::string text;
   for (std::string const& outcome : outcomes) {
      std::string names;
      for (InitialSwitch const& each : switches) {
         if (each.outcome == outcome) {
            names += (names.empty() ? "" : ", ") + each.name +
                     (each.detail.empty() ? "" : " (" + each.detail + ")");
         }
      }
      if (!names.empty()) {
         text += (text.empty() ? "" : "; ") + outcome + ": " + names;
      }
   }
   return text;
}

// ---- who tells ---------------------------------------------------------------------------------

/// Hears of the groups that finish.
class InitialMounts::ServiceWatch : public Controller::ServiceMountStatus::NotifieeConst {
 public:
   ServiceWatch(Fen::Ptr<Controller::ServiceMountStatus const> const& status, InitialMounts* owner)
      : NotifieeConst(status), owner_(owner) {
      isRegisteredNotifieeIs(true);
   }
   void onInitialMountsComplete(Fen::String8) override {
      if (owner_ != nullptr) {
         owner_->settleLater();
      }
   }
   void ownerDel() {
      owner_ = nullptr;
      isRegisteredNotifieeIs(false);
   }

 private:
   InitialMounts* owner_;
};

/// Hears of the end of the connection period.
class InitialMounts::PeriodWatch : public Controller::ConnectionPeriod::NotifieeConst {
 public:
   PeriodWatch(Fen::Ptr<Controller::ConnectionPeriod const> const& period, InitialMounts* owner)
      : NotifieeConst(period), owner_(owner) {
      isRegisteredNotifieeIs(true);
   }
   void onComplete() override {
      if (owner_ != nullptr) {
         owner_->settleLater();
      }
   }
   void ownerDel() {
      owner_ = nullptr;
      isRegisteredNotifieeIs(false);
   }

 private:
   InitialMounts* owner_;
};

/// Looks at all groups in a turn of its own: the machine of a group that finishes at its birth is
/// not in its place before. It also looks when a window for registration closes, which nobody
/// tells.
class InitialMounts::Settler : public Fen::Clock::Notifiee {
 public:
   explicit Settler(InitialMounts* owner)
      : Notifiee(Fen::ActivityLoop::instance().clock()), owner_(owner) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      if (owner_ != nullptr) {
         owner_->settle();
      }
   }
   void ownerDel() { owner_ = nullptr; }

 private:
   InitialMounts* owner_;
};

InitialMounts::InitialMounts(Fen::Ptr<Controller::InitialMountSm> const& machine, AllKnown allKnown,
                             Listener& listener)
   : machine_(machine), allKnown_(std::move(allKnown)), listener_(listener),
     period_(Fen::makePtr<PeriodWatch>(machine->connectionPeriod(), this)),
     settler_(Fen::makePtr<Settler>(this)) {}

InitialMounts::~InitialMounts() {
   for (auto const& [name, watch] : services_) {
      watch->ownerDel();
   }
   period_->ownerDel();
   settler_->ownerDel();
}

void InitialMounts::serviceIs(Fen::Ptr<Controller::ServiceMountStatus> const& status) {
   Fen::Ptr<ServiceWatch>& watch = services_[textOf(status->name())];
   if (!watch) {
      watch = Fen::makePtr<ServiceWatch>(status, this);
   }
   settleLater();
}

void InitialMounts::changed() { settleLater(); }

void InitialMounts::settleLater() { settler_->timeMinIs(0.0); }

// ---- rows --------------------------------------------------------------------------------------

/// Calls visit( status, name of the group ) for each group that is declared, by service and group.
template <class Visit>
void InitialMounts::eachGroup(Visit const& visit) const {
   std::map<Key, std::pair<Fen::Ptr<Controller::ServiceMountStatus>, Fen::Name>> groups;
   Fen::Ptr<Fen::Dir const> const configs = machine_->mountConfigDir();
   Fen::Ptr<Fen::Dir const> const statuses = machine_->mountStatusDir();
   for (auto i = configs->entityPtrIterator(); i; ++i) {
      auto const config = Fen::ptrCast<Controller::ServiceMountConfig>(configs->entityPtr(i.key()));
      auto const status =
         Fen::ptrCast<Controller::ServiceMountStatus>(statuses->entityPtr(i.key()));
      if (config && status) {
         for (auto group = config->mountGroupConfigIterator(); group; ++group) {
            groups[{textOf(i.key()), textOf(group.key())}] = {status, group.key()};
         }
      }
   }
   for (auto const& [key, group] : groups) {
      visit(*group.first, group.second);
   }
}

InitialRow InitialMounts::rowOf(Controller::ServiceMountStatus const& status,
                                Fen::Name group) const {
   GroupView const view(*machine_, status, group);
   InitialRow row{textOf(status.name()), textOf(group), view.phase(), 0.0, {}};
   std::vector<Known> all = allKnown_();
   // One that was there and is not known any more counts for the group all the same.
   for (SystemId const system : view.systems()) {
      bool const isKnown = std::any_of(all.begin(), all.end(),
                                       [&](Known const& each) { return each.system == system; });
      if (!isKnown) {
         all.push_back({textOf(system.stringValue()), system, "gone"});
      }
   }
   std::sort(all.begin(), all.end(),
             [](Known const& left, Known const& right) { return left.name < right.name; });
   for (Known const& each : all) {
      row.switches.push_back(outcomeOf(view, row.phase, each));
   }
   return row;
}

std::vector<InitialRow> InitialMounts::rows() const {
   std::vector<InitialRow> result;
   eachGroup([&](Controller::ServiceMountStatus const& status, Fen::Name const& group) {
      auto const found = finished_.find({textOf(status.name()), textOf(group)});
      result.push_back(found != finished_.end() ? found->second : rowOf(status, group));
   });
   return result;
}

bool InitialMounts::isComplete() const {
   bool result = true;
   eachGroup([&](Controller::ServiceMountStatus const& status, Fen::Name const& group) {
      result = result && status.initialMountsComplete(group);
   });
   return result;
}

void InitialMounts::completeHandlerIs(std::function<void()> handler) {
   complete_ = std::move(handler);
   settleLater();
}

void InitialMounts::settle() {
   double next = Fen::never;
   eachGroup([&](Controller::ServiceMountStatus const& status, Fen::Name const& group) {
      Key const key(textOf(status.name()), textOf(group));
      if (!status.initialMountsComplete(group)) {
         finished_.erase(key);
         Fen::Ptr<Controller::ServiceInitialMountSm> const service =
            machine_->serviceInitialMountSm(status.name());
         Fen::Ptr<Controller::MountGroupInitialMountSm> const machine =
            service ? service->mountGroupInitialMountSm(group) : nullptr;
         next = std::min(next, machine ? machine->registrationTimer()->timeMin() : Fen::never);
      } else if (!finished_.contains(key)) {
         InitialRow row = rowOf(status, group);
         row.finished = wallTime();
         listener_.handleInitialMounts(finished_[key] = row);
      }
   });
   settler_->timeMinIs(next);
   listener_.handleInitialMountsChanged();
   if (complete_ && isComplete()) {
      std::exchange(complete_, nullptr)();
   }
}

} // namespace Host
