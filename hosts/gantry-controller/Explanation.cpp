// Why a path is or is not mounted from a system: the road of the decision, step by step.

#include <hosts/gantry-controller/StatusAnswers.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace Host {

namespace {

using Controller::MountSm;

std::string textOf(Fen::String8 const& text) { return std::string(text.view()); }

/// Gathers the steps; the first one that says no is the verdict.
class Explanation {
 public:
   Explanation(ControllerHost const& host, DecisionTimes const& times, std::string service,
               std::string path, std::string const& system)
      : host_(host), times_(times), service_(std::move(service)), path_(std::move(path)) {
      for (auto const& [name, row] : host_.board().switches()) {
         if (name == system || row.system == system) {
            switch_ = &row;
         }
      }
      if (switch_ == nullptr) {
         throw ControlError("noSystem", "there is no switch '" + system + "'",
                            "'gantry status' lists those that there are");
      }
   }
   Json json();

 private:
   void step(char const* name, bool holds, std::string const& text, double since);
   void stepSwitch();
   bool stepDeclared();
   bool stepRegistry();
   void stepVersion();
   void stepFilters();
   char const* pathText(Fen::String8 const& connection, bool mayMount) const;
   void stepVerdicts();
   void stepMachine();
   void stepStatus();

   ControllerHost const& host_;
   DecisionTimes const& times_;
   std::string const service_;
   std::string const path_;
   SwitchRow const* switch_ = nullptr;
   Fen::Ptr<Controller::MountsRegistryEntrySm> entry_;
   Fen::Ptr<Controller::Mounter> mounter_;
   std::uint32_t version_ = 0;
   Json steps_ = Json::array();
   std::string verdict_;
};

void Explanation::step(char const* name, bool holds, std::string const& text, double since) {
   steps_.push_back({{"step", name}, {"holds", holds}, {"text", text}, {"since", since}});
   if (!holds && verdict_.empty()) {
      verdict_ = std::string("not mounted: ") + name + ": " + text;
   }
}

void Explanation::stepSwitch() {
   Controller::SystemId const id((Fen::String8(switch_->system)));
   auto const& status = host_.entities().controllerStatus;
   bool const isRegistered = status->registeredSwitch(id);
   std::string text = "switch " + switch_->name + " (" + switch_->system + ") is " + switch_->state;
   text += switch_->reason.empty() ? "" : ": " + switch_->reason;
   step("registered", isRegistered, text, switch_->since);
   auto const config = status->switchConfig(id);
   bool const isReachable = config && config->connectionConfig();
   step("connection", isReachable,
        isReachable ? "it is known how to reach the switch"
                    : "nobody has said how to reach the switch",
        switch_->placeSince);
}

bool Explanation::stepDeclared() {
   auto const config = Fen::ptrCast<Controller::ServiceMountConfig>(
      host_.entities().mountConfigDir->entityPtr(Fen::Name(service_)));
   std::string text;
   if (config) {
      for (auto group = config->mountGroupConfigIterator(); group; ++group) {
         if (auto const mount = group->mountConfig(Fen::Name(path_))) {
            text += text.empty() ? "" : "; ";
            text += "group " + textOf(group->name()) + " wants it as " + textOf(mount->fencType());
         }
      }
   }
   step("declared", !text.empty(),
        !config        ? "there is no service '" + service_ + "'"
        : text.empty() ? "no group of " + service_ + " wants '" + path_ + "'"
                       : text,
        times_.declaration(service_, path_));
   return !text.empty();
}

bool Explanation::stepRegistry() {
   entry_ = host_.entities().registryMachine()->mountsRegistryEntrySm(Fen::Name(path_));
   if (!entry_) {
      step("registry", false, "the registry has no entry for '" + path_ + "'", times_.entry(path_));
      return false;
   }
   auto const record = entry_->registryEntry();
   mounter_ = record->mounter(Fen::String8(service_));
   std::string services;
   for (auto at = record->mounterIterator(); at; ++at) {
      services += (services.empty() ? "" : ", ") + textOf(at->serviceName()) + " by group " +
                  textOf(at->groupName());
   }
   step("registry", static_cast<bool>(mounter_),
        "the entry has type " + textOf(record->fenType()) + ", target " +
           textOf(record->targetPath()) + ", wanted by " + (services.empty() ? "nobody" : services),
        times_.entry(path_));
   return static_cast<bool>(mounter_);
}

void Explanation::stepVersion() {
   version_ = host_.entities().registryMachine()->negotiatedServiceVersionForConnection(
      Fen::String8(service_), Fen::String8(switch_->system));
   auto const& rows = host_.board().services();
   auto const row = rows.find({service_, switch_->system});
   step("version", version_ != 0,
        (version_ != 0 ? "version " + std::to_string(version_) + " was negotiated"
                       : "no version was negotiated") +
           (row != rows.end() ? ": " + row->second.description : std::string()),
        times_.version(service_, *switch_));
}

void Explanation::stepFilters() {
   auto const systems = mounter_->systemFilter();
   std::string members;
   if (systems) {
      for (auto at = systems->includedSystemIterator(); at; ++at) {
         members +=
            (members.empty() ? "" : ", ") + textOf(at->key()) + (at->value() ? "" : " (false)");
      }
   }
   // A wish that one filter refuses may still be spoken for by the other: the verdicts follow.
   step("systemFilter", true,
        !systems ? "the group has none"
                 : textOf(systems->name()) + " has " + (members.empty() ? "nobody" : members) +
                      (systems->includedSystem(Fen::String8(switch_->system))
                          ? ": the switch is in it"
                          : ": the switch is not in it"),
        times_.systemFilter(*mounter_));
   auto const versions = mounter_->versionFilter();
   members.clear();
   if (versions) {
      for (auto at = versions->includedServiceVersionIterator(); at; ++at) {
         members += (members.empty() ? "" : ", ") + std::to_string(at->key());
      }
   }
   step("versionFilter", true,
        !versions ? "the group has none"
                  : textOf(versions->name()) + " has " + (members.empty() ? "none" : members) +
                       "; the negotiated one is " + std::to_string(version_),
        times_.versionFilter(*mounter_));
}

/// What the registry's entry says of the path for all services together.
char const* Explanation::pathText(Fen::String8 const& connection, bool mayMount) const {
   if (!entry_->anyVersionNegotiated(connection)) {
      return "no service that wants the path has a version on the connection";
   }
   if (entry_->wildCardMount()) {
      return "a group that wants the path has no filter, which lets it through for all";
   }
   return mayMount ? "the filters of all services together let it through"
                   : "the filters of all services together do not let it through";
}

void Explanation::stepVerdicts() {
   Fen::String8 const connection((Fen::String8(switch_->system)));
   bool const mayMount = entry_->canMountFromConnection(connection);
   step("path", mayMount, pathText(connection, mayMount),
        times_.verdict(*entry_->registryEntry(), *switch_));
   bool const isInterested = entry_->mounterIsInterestedInConnection(
      Fen::Ptr<Controller::Mounter const>(mounter_.ptr()), connection);
   step("service", isInterested,
        isInterested ? "the filters of this service speak for the switch"
                     : "no filter of this service speaks for the switch",
        times_.verdict(*mounter_, path_, *switch_));
}

void Explanation::stepMachine() {
   auto const machine = entry_->mountSm(Controller::SystemId(Fen::String8(switch_->system)));
   if (!machine) {
      // One that is there is dropped when the path's verdict changes, or the switch goes.
      step("mount", false, "no mount has been asked for",
           std::max(times_.verdict(*entry_->registryEntry(), *switch_), switch_->since));
      return;
   }
   Controller::MountState const state = machine->mountSmData()->mountState();
   auto const manager = machine->entityManager();
   std::string const reason = manager ? textOf(manager->reason()) : std::string();
   step("mount", state == Controller::mountStateMounted,
        textOf(Controller::stringValue(state)) + ", runs " +
           textOf(stringValue(machine->currentState())) + ", wants " +
           textOf(stringValue(machine->nextState())) +
           (machine->localStatePreserved() ? ", the last copy is kept" : "") +
           (reason.empty() ? "" : "; the client says: " + reason),
        times_.wall(machine->stateSince()));
}

void Explanation::stepStatus() {
   for (auto const& [key, row] : host_.board().mounts()) {
      if (row.service == service_ && row.path == path_ && row.system == switch_->system) {
         step("status", row.state == "mountStateMounted",
              "group " + row.group + ": " + row.state +
                 (row.reason.empty() ? "" : ": " + row.reason),
              row.since);
         return;
      }
   }
   step("status", false, "the service sees no mount from the switch",
        std::max(times_.verdict(*mounter_, path_, *switch_), switch_->since));
}

Json Explanation::json() {
   stepSwitch();
   if (stepDeclared() && stepRegistry()) {
      stepVersion();
      stepFilters();
      stepVerdicts();
      stepMachine();
      stepStatus();
   }
   return Json{{"service", service_},
               {"path", path_},
               {"switch", switch_->name},
               {"system", switch_->system},
               {"verdict", verdict_.empty() ? "mounted" : verdict_},
               {"steps", std::move(steps_)}};
}

} // namespace

Json explanationOf(ControllerHost const& host, DecisionTimes const& times,
                   std::string const& service, std::string const& path, std::string const& system) {
   return Explanation(host, times, service, path, system).json();
}

} // namespace Host
