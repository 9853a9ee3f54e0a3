/// What a switch says of itself: the announcement that it serves, and the controller that it names.
///
/// Owned by the program; on the activity loop's thread.
#pragma once

#include <hosts/support/Agent.fen.h>
#include <hosts/support/Program.h>
#include <hosts/support/Versions.h>

#include <hosts/linux/Interface.fen.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Host {

/// Versions by service.
using OfferedServices = std::map<std::string, Versions>;

/// Adds an offer such as "fabric=1-3,5", which `option` was given; throws UserError.
void offerAdd(OfferedServices& offers, std::string const& option, std::string const& text);

/// The offers of a file with one of them in each line; blank lines and those that begin with # do
/// not count. Throws UserError with file and line.
OfferedServices offersOfFile(std::string const& file);

/// A controller to make oneself known to: "[NAME=]ADDRESS[:PORT]".
struct ControllerPlace {
   std::string name = "controller";
   Endpoint endpoint;
};
ControllerPlace controllerOf(std::string const& option, std::string const& text);

/// The link-layer address of the host's first interface that has one, zero when none has.
Controller::SystemId firstInterfaceId(Linux::InterfaceDir const& interfaces);

/// The announcement of this system, at "agent" below the root.
class AgentEntity {
 public:
   AgentEntity(Fen::Ptr<Fen::Dir> const& root, Controller::SystemId id);

   /// Offers exactly these services; what stays the same is not told again.
   void offersAre(OfferedServices const& offers);

 private:
   Fen::Ptr<Agent::Announcement> announcement_;
};

} // namespace Host
