/// One running controller: its entities and machines, its switches, and the configuration that it
/// has carried out.
///
/// Owned by the program; on the activity loop's thread.
#pragma once

#include <hosts/gantry-controller/Declarations.h>
#include <hosts/gantry-controller/Entities.h>
#include <hosts/gantry-controller/InitialMounts.h>
#include <hosts/gantry-controller/Negotiation.h>
#include <hosts/gantry-controller/Publications.h>
#include <hosts/gantry-controller/StatusBoard.h>
#include <hosts/gantry-controller/Switches.h>

#include <gantry/runtime/cairn/Server.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Host {

class ControllerHost {
 public:
   /// Builds everything below Fen::root() and begins to serve where the configuration says so; of
   /// the rest of it nothing is carried out yet. `accepts` lets switches make themselves known.
   /// Throws a RangeException when the address cannot be served.
   ControllerHost(Configuration const& configuration, bool accepts);
   ~ControllerHost();
   ControllerHost(ControllerHost const&) = delete;
   ControllerHost& operator=(ControllerHost const&) = delete;

   StatusBoard const& board() const { return board_; }
   Entities const& entities() const { return entities_; }
   InitialMounts& initialMounts() { return initialMounts_; }
   /// Null when the controller does not serve.
   Fen::Ptr<Cairn::Server> const& server() const { return server_; }
   /// All machines that nobody else owns, by name.
   std::vector<std::pair<std::string, Fen::Ptr<Fen::PtrInterface>>> machines() const;
   /// For what is shown from now on.
   void outputIs(StatusOutput* output) { board_.outputIs(output); }

   /// Makes the running controller what another configuration says. Returns the number of
   /// operations. Throws a ConfigurationError, and changes nothing, when something differs that
   /// is fixed.
   std::size_t configurationIs(Configuration const& configuration);
   /// The same with a file, whose outcome is shown; never throws for what is wrong with it.
   void configurationRead(std::string const& file);

   /// Unregisters every switch, and runs turns of the loop until the mounts have ended, for at most
   /// so many seconds.
   void close(double seconds);

 private:
   void apply(Operation const& operation);
   void serve(SystemConfiguration const& system);

   Configuration configuration_;
   Entities entities_;
   StatusBoard board_;
   Negotiation negotiation_;
   Switches switches_;
   Declarations declarations_;
   Publications publications_;
   InitialMounts initialMounts_;
   Fen::Ptr<Cairn::Server> server_;
};

/// The connections' times that follow from the interval between heartbeats.
void heartbeatIntervalIs(double seconds);

} // namespace Host
