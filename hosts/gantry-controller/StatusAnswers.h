/// What only a controller can say at its control socket: the status of everything that it mounts,
/// and why a path is or is not mounted from a system.
///
/// On the activity loop's thread. It reads the live entities and machines and changes nothing.
#pragma once

#include <hosts/control/ControlServer.h>
#include <hosts/gantry-controller/ControllerHost.h>
#include <hosts/gantry-controller/DecisionTimes.h>

namespace Host {

class Metrics;

/// Switches, services, groups and mounts, with the sums over them.
Json statusOf(ControllerHost const& host);
/// Each step of the decision, with the values that it sees and when they last changed. `system` is
/// the name or the id of a switch. Throws ControlError when there is no such switch.
Json explanationOf(ControllerHost const& host, DecisionTimes const& times,
                   std::string const& service, std::string const& path, std::string const& system);
/// The numbers of mounts and switches in each state.
void controllerMetrics(ControllerHost const& host, Metrics& metrics);

/// A control socket with the commands "status" and "explain". Owned by the program; it goes before
/// the host. It notes when things change from its beginning on.
class ControllerTool {
 public:
   /// Serves at `path`. Throws UserError.
   ControllerTool(ControllerHost const& host, std::string const& path, ControlPolicy policy);

 private:
   ControllerHost const& host_;
   DecisionTimes const times_;
   ControlServer server_;
};

} // namespace Host
