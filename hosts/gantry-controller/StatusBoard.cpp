// Rows, and where they come from.

#include <hosts/gantry-controller/StatusBoard.h>

#include <hosts/support/TextTable.h>
#include <hosts/support/ValueText.h>
#include <hosts/support/WallTime.h>

#include <cstdio>
#include <ctime>

namespace Host {

namespace {

std::string clockText(double seconds) {
   auto const whole = static_cast<std::time_t>(seconds);
   std::tm local{};
   localtime_r(&whole, &local);
   char text[16];
   std::snprintf(text, sizeof text, "%02d:%02d:%02d", local.tm_hour, local.tm_min, local.tm_sec);
   return text;
}

std::string textOf(Fen::Name const& name) { return std::string(name.view()); }

} // namespace

/// Watches the status tree of one service.
class StatusBoard::ServiceWatch final : public TreeListener {
 public:
   ServiceWatch(StatusBoard& board, Fen::Ptr<Controller::ServiceMountStatus> const& status)
      : board_(board), service_(textOf(status->name())),
        watch_(status, static_cast<TreeListener&>(*this)) {}

   void entityAdded(std::string const& path, Fen::Entity const& entity) override {
      if (auto const* const status = dynamic_cast<Controller::MountStatus const*>(&entity)) {
         // By its place, since it has no parents any more when it goes.
         rows_[path] = board_.mountIs(service_, *status);
      } else if (auto const* const group =
                    dynamic_cast<Controller::ServiceMountGroupStatus const*>(&entity)) {
         groups_[path] = board_.groupIs(service_, *group);
      }
   }
   void entityRemoved(std::string const& path) override {
      auto const found = rows_.find(path);
      if (found != rows_.end()) {
         board_.mountDel(found->second);
         rows_.erase(found);
      }
      auto const group = groups_.find(path);
      if (group != groups_.end()) {
         board_.groups_.erase(group->second);
         groups_.erase(group);
      }
   }
   void valueChanged(std::string const&, Fen::Entity const& entity, Fen::AttrDesc const& attribute,
                     void const*) override {
      if (std::string_view(attribute.name) != "mountState") {
         return;
      }
      if (auto const* const status = dynamic_cast<Controller::MountStatus const*>(&entity)) {
         board_.mountIs(service_, *status);
      } else if (auto const* const group =
                    dynamic_cast<Controller::ServiceMountGroupStatus const*>(&entity)) {
         board_.groupIs(service_, *group);
      }
   }

 private:
   StatusBoard& board_;
   std::string const service_;
   std::map<std::string, MountKey> rows_;
   std::map<std::string, GroupKey> groups_;
   TreeWatch const watch_;
};

StatusBoard::StatusBoard(Reason reason) : reason_(std::move(reason)) {}
StatusBoard::~StatusBoard() = default;

void StatusBoard::serviceIs(Fen::Ptr<Controller::ServiceMountStatus> const& status) {
   std::string const name = textOf(status->name());
   if (!watches_.contains(name)) {
      watches_[name] = std::make_unique<ServiceWatch>(*this, status);
   }
}

std::string StatusBoard::nameOf(std::string const& system) const {
   auto const found = names_.find(system);
   return found != names_.end() ? found->second : system;
}

StatusBoard::MountKey StatusBoard::mountIs(std::string const& service,
                                           Controller::MountStatus const& status) {
   Fen::Ptr<Fen::Entity const> const group = status.parent();
   Fen::Ptr<Fen::Entity const> const system = group->parent();
   MountKey const key(service, textOf(system->name()), textOf(group->name()),
                      textOf(status.name()));
   MountRow& row = mounts_[key];
   row.service = service;
   row.system = std::get<1>(key);
   row.switchName = nameOf(row.system);
   row.group = std::get<2>(key);
   row.path = std::get<3>(key);
   row.state = std::string(Controller::stringValue(status.mountState()).view());
   row.since = wallTime();
   row.reason = status.mountState() == Controller::mountStateFailed
                   ? reason_(status.name(), Controller::SystemId(Fen::String8(row.system)))
                   : std::string();
   if (output_ != nullptr) {
      output_->mount(row);
   }
   return key;
}

void StatusBoard::mountDel(MountKey const& key) {
   auto const found = mounts_.find(key);
   if (found == mounts_.end()) {
      return;
   }
   MountRow row = found->second;
   mounts_.erase(found);
   row.state = std::string(Controller::stringValue(Controller::mountStateUnmounted).view());
   row.since = wallTime();
   row.reason.clear();
   if (output_ != nullptr) {
      output_->mount(row);
   }
}

StatusBoard::GroupKey StatusBoard::groupIs(std::string const& service,
                                           Controller::ServiceMountGroupStatus const& status) {
   GroupKey const key(service, textOf(status.parent()->name()), textOf(status.name()));
   groups_[key] = {service, std::get<1>(key), std::get<2>(key),
                   std::string(Controller::stringValue(status.mountState()).view()), wallTime()};
   return key;
}

void StatusBoard::handleNegotiated(Controller::SystemId system, std::string const& service,
                                   NegotiationOutcome const* outcome) {
   std::string const id(system.stringValue().view());
   ServiceRow row{service, id, nameOf(id), 0, wallTime(), ""};
   if (outcome != nullptr) {
      row.version = outcome->version;
      row.description = outcome->description;
      services_[{service, id}] = row;
   } else {
      services_.erase({service, id});
   }
   if (output_ != nullptr) {
      output_->service(row, outcome == nullptr);
   }
}

void StatusBoard::handleSwitch(std::string const& name, Controller::SystemId system,
                               SwitchState state, std::string const& reason) {
   std::string const id(system.stringValue().view());
   SwitchRow row{name, id, switchStateName(state), wallTime(), reason};
   auto const known = switches_.find(name);
   // A switch is being connected to from the moment in which it is said where it is.
   row.placeSince = state == SwitchState::connecting || known == switches_.end()
                       ? row.since
                       : known->second.placeSince;
   if (state == SwitchState::gone) {
      switches_.erase(name);
      names_.erase(id);
   } else {
      switches_[name] = row;
      names_[id] = name;
   }
   if (output_ != nullptr) {
      output_->knownSwitch(row);
   }
}

void StatusBoard::handleRefusal(std::string const& peer, std::string const& reason) {
   lastNote_ = "refused: " + peer + ": " + reason;
   if (output_ != nullptr) {
      output_->refusal(peer, reason);
   }
}

void StatusBoard::handleInitialMounts(InitialRow const& row) {
   if (output_ != nullptr) {
      output_->initialMounts(row);
   }
}

void StatusBoard::handleInitialMountsChanged() {
   if (output_ != nullptr) {
      output_->initialMountsChanged();
   }
}

std::vector<InitialMounts::Known> StatusBoard::knownSwitches() const {
   std::vector<InitialMounts::Known> result;
   for (auto const& [name, row] : switches_) {
      // Where a switch is being reached is its reason then, and says nothing about its state.
      bool const tells = row.state != switchStateName(SwitchState::connecting);
      result.push_back({name, Controller::SystemId(Fen::String8(row.system)),
                        row.state + (tells && !row.reason.empty() ? ": " + row.reason : ""),
                        row.state == switchStateName(SwitchState::registered)});
   }
   return result;
}

void StatusBoard::configurationRead(std::size_t operations, std::string const& fault) {
   lastNote_ = fault.empty() ? "the file was read again: " + std::to_string(operations) +
                                  (operations == 1 ? " change" : " changes")
                             : "the file was not taken: " + fault;
   if (output_ != nullptr) {
      output_->configuration(operations, fault);
   }
}

std::string StatusBoard::tables(std::size_t width) const {
   std::vector<TextRow> rows{{"SWITCH", "SYSTEM", "STATE", "SINCE", "REASON"}};
   for (auto const& [name, row] : switches_) {
      rows.push_back(
         {plainText(name), row.system, row.state, clockText(row.since), plainText(row.reason)});
   }
   std::string text = textTable(rows, width, 3);
   rows = {{"SERVICE", "SWITCH", "VERSION", "SINCE", "NEGOTIATED"}};
   for (auto const& [key, row] : services_) {
      rows.push_back({plainText(row.service), plainText(nameOf(row.system)),
                      row.version != 0 ? std::to_string(row.version) : "none", clockText(row.since),
                      plainText(row.description)});
   }
   text += "\n" + textTable(rows, width, 3);
   rows = {{"SERVICE", "SWITCH", "GROUP", "PATH", "STATE", "SINCE", "REASON"}};
   for (auto const& [key, row] : mounts_) {
      rows.push_back({plainText(row.service), plainText(nameOf(row.system)), plainText(row.group),
                      plainText(row.path), row.state, clockText(row.since), plainText(row.reason)});
   }
   text += "\n" + textTable(rows, width, 5);
   rows = {{"SERVICE", "GROUP", "FIRST MOUNTS", "SINCE", "SWITCHES"}};
   for (InitialRow const& row : initialRows_ ? initialRows_() : std::vector<InitialRow>()) {
      rows.push_back({plainText(row.service), plainText(row.group), initialPhaseText(row.phase),
                      row.finished != 0.0 ? clockText(row.finished) : "",
                      plainText(row.switchesText())});
   }
   text += "\n" + textTable(rows, width, 5);
   return lastNote_.empty() ? text : text + "\n" + plainText(lastNote_) + "\n";
}

} // namespace Host
