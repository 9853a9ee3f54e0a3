/// What only a controller can say at its control socket: the status of everything that it mounts,
/// and why a path is or is not mounted from a system.
///
/// Stateless; on the activity loop's thread. Reads the live entities and machines and changes
/// nothing.
#pragma once

#include <hosts/control/ControlCommands.h>
#include <hosts/gantry-controller/ControllerHost.h>

namespace Host {

/// Switches, services, groups and mounts, with the sums over them.
Json statusOf(ControllerHost const& host);
/// Each step of the decision, with the values that it sees. `system` is the name or the id of a
/// switch. Throws ControlError when there is no such switch.
Json explanationOf(ControllerHost const& host, std::string const& service, std::string const& path,
                   std::string const& system);
/// Adds the number of mounts in each state.
void mountNumbers(ControllerHost const& host, Json& numbers);

/// Both as commands, "status" and "explain".
void controllerCommandsAre(ControlCommands& commands, ControllerHost const& host);

} // namespace Host
