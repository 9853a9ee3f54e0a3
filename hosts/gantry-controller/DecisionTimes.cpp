// From noted changes to the times of steps.

#include <hosts/gantry-controller/DecisionTimes.h>

#include <hosts/support/WallTime.h>

#include <gantry/runtime/fen/Clock.h>

#include <algorithm>

namespace Host {

namespace {

std::string textOf(Fen::String8 const& text) { return std::string(text.view()); }

std::string entryPath(std::string const& path) { return "mountEntry/" + path; }

} // namespace

DecisionTimes::DecisionTimes(ControllerHost const& host)
   : host_(host), declared_(host.entities().mountConfigDir),
     registered_(host.entities().mountsRegistry), wallAhead_(wallTime() - Fen::now()) {}

double DecisionTimes::declaration(std::string const& service, std::string const& path) const {
   auto const config = Fen::ptrCast<Controller::ServiceMountConfig>(
      host_.entities().mountConfigDir->entityPtr(Fen::Name(service)));
   if (!config) {
      return declared_.ofMembers("");
   }
   double wanted = 0.0;
   double changed = declared_.ofMembers(service);
   for (auto group = config->mountGroupConfigIterator(); group; ++group) {
      std::string const place = service + "/mountGroupConfig/" + textOf(group->name());
      changed = std::max(changed, declared_.ofMembers(place));
      if (group->mountConfig(Fen::Name(path))) {
         wanted = std::max(wanted, declared_.of(place + "/mountConfig/" + path));
      }
   }
   return wanted > 0.0 ? wanted : changed;
}

double DecisionTimes::entry(std::string const& path) const {
   return host_.entities().mountsRegistry->mountEntry(Fen::Name(path))
             ? registered_.of(entryPath(path))
             : registered_.ofMembers("");
}

double DecisionTimes::version(std::string const& service, SwitchRow const& one) const {
   auto const& rows = host_.board().services();
   auto const row = rows.find({service, one.system});
   // With the switch, what was negotiated with it goes.
   return row != rows.end() ? row->second.since : one.since;
}

double DecisionTimes::filter(Fen::Entity const& group, char const* attribute,
                             Fen::Ptr<Fen::Entity const> const& filter) const {
   double const chosen = declared_.of(declared_.pathOf(group), attribute);
   return filter ? std::max(chosen, declared_.of(declared_.pathOf(*filter))) : chosen;
}

double DecisionTimes::systemFilter(Controller::Mounter const& mounter) const {
   return filter(*mounter.mountGroupConfig(), "systemFilter", mounter.systemFilter());
}

double DecisionTimes::versionFilter(Controller::Mounter const& mounter) const {
   return filter(*mounter.mountGroupConfig(), "versionFilter", mounter.versionFilter());
}

double DecisionTimes::verdict(Controller::Mounter const& mounter, std::string const& path,
                              SwitchRow const& one) const {
   std::string const service = textOf(mounter.serviceName());
   std::string const group = declared_.pathOf(*mounter.mountGroupConfig());
   double latest = std::max({registered_.of(entryPath(path) + "/mounter/" + service),
                             declared_.of(group, "systemFilter"),
                             declared_.of(group, "versionFilter"), version(service, one)});
   if (auto const systems = mounter.systemFilter()) {
      latest =
         std::max(latest, declared_.of(declared_.pathOf(*systems), "includedSystem", one.system));
   }
   if (auto const versions = mounter.versionFilter()) {
      auto const negotiated =
         host_.entities().registryMachine()->negotiatedServiceVersionForConnection(
            Fen::String8(service), Fen::String8(one.system));
      latest = std::max(latest, declared_.of(declared_.pathOf(*versions), "includedServiceVersion",
                                             std::to_string(negotiated)));
   }
   return latest;
}

double DecisionTimes::verdict(Controller::MountsRegistryEntry const& entry,
                              SwitchRow const& one) const {
   std::string const path = textOf(entry.remotePath());
   double latest = registered_.of(entryPath(path));
   for (auto mounter = entry.mounterIterator(); mounter; ++mounter) {
      latest = std::max(latest, verdict(*mounter, path, one));
   }
   return latest;
}

} // namespace Host
