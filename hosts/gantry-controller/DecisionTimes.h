/// When what decides about a mount last changed, for each step of the decision.
///
/// Owned by the control socket's side of the controller; on the activity loop's thread. Noted as it
/// happens, from the beginning of this object on. Verdicts are stored nowhere, so that of a verdict
/// is the latest one of what it is made from, for the switch in question. Times are in seconds
/// since 1970.
#pragma once

#include <hosts/gantry-controller/ChangeTimes.h>
#include <hosts/gantry-controller/ControllerHost.h>

#include <string>

namespace Host {

class DecisionTimes {
 public:
   explicit DecisionTimes(ControllerHost const& host);

   /// The declaration of a path by a service; of one that is not declared, the service's last
   /// change of what it declares.
   double declaration(std::string const& service, std::string const& path) const;
   /// The registry's entry of a path, or the registry's entries when there is none.
   double entry(std::string const& path) const;
   /// The negotiation of the service's version with the switch.
   double version(std::string const& service, SwitchRow const& one) const;
   /// The filter that the mounter's group refers to, and which one that is.
   double systemFilter(Controller::Mounter const& mounter) const;
   double versionFilter(Controller::Mounter const& mounter) const;
   /// What one mounter's filters say about the switch.
   double verdict(Controller::Mounter const& mounter, std::string const& path,
                  SwitchRow const& one) const;
   /// What the filters of all mounters together say about the switch.
   double verdict(Controller::MountsRegistryEntry const& entry, SwitchRow const& one) const;
   /// What was noted on the loop's clock, the same each time that it is asked for.
   double wall(double loopTime) const { return wallAhead_ + loopTime; }

 private:
   double filter(Fen::Entity const& group, char const* attribute,
                 Fen::Ptr<Fen::Entity const> const& filter) const;

   ControllerHost const& host_;
   /// What the services declare, and the registry's entries.
   ChangeTimes const declared_;
   ChangeTimes const registered_;
   /// How far the time of day is ahead of the loop's clock.
   double const wallAhead_;
};

} // namespace Host
