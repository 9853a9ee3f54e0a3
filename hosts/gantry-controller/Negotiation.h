/// The negotiation of service versions with each switch: from what both sides support to the
/// ServiceStatusDir of each client, which the registry's machines read.
///
/// Owned by the program; on the activity loop's thread. A client's directory stays when the client
/// is gone, with nothing negotiated in it: its removal would have every mount of every other switch
/// looked at, and so mounted, again.
#pragma once

#include <hosts/support/Versions.h>

#include <gantry/common/ServiceStatus.fen.h>
#include <gantry/common/SystemId.h>
#include <gantry/runtime/fen/Dir.h>

#include <map>
#include <optional>
#include <string>

namespace Host {

/// What one service has come to on one connection.
struct NegotiationOutcome {
   /// 0 for none.
   std::uint32_t version = 0;
   /// Both ranges, and what they have in common.
   std::string description;

   bool isCompatible() const { return version != 0; }
   bool operator==(NegotiationOutcome const&) const = default;
};

/// The highest version that both support; nothing for a switch that does not offer the service.
NegotiationOutcome negotiationOutcome(Versions const& own, std::optional<Versions> const& theirs);

class Negotiation {
 public:
   using Offers = std::map<std::string, Versions>;

   /// Told of what has been negotiated.
   class Listener {
    public:
      /// Null when the service or the switch is gone.
      virtual void handleNegotiated(Controller::SystemId system, std::string const& service,
                                    NegotiationOutcome const* outcome) = 0;

    protected:
      ~Listener() = default;
   };

   /// Puts one ServiceStatusDir for each client into `clients`.
   Negotiation(Fen::Ptr<Fen::Dir> const& clients, Listener& listener)
      : clients_(clients), listener_(listener) {}

   /// What the controller supports of a service; none for a service that goes.
   void versionsIs(std::string const& service, Versions const& versions);
   /// A switch is there and offers this; to be called again when that changes. Where nothing has
   /// changed for a service, nobody is woken.
   void offersAre(Controller::SystemId system, Offers const& offers);
   /// A switch is gone. Wakes nobody: whoever calls this has unregistered it.
   void offersDel(Controller::SystemId system);
   /// Has everything on the system's connection looked at again.
   void revisit(Controller::SystemId system);

 private:
   struct Client {
      Fen::Ptr<Controller::ServiceStatusDir> directory;
      /// Nothing while it is gone.
      std::optional<Offers> offers;
   };

   void settle(Controller::SystemId system, Client& client, std::string const& service);

   Fen::Ptr<Fen::Dir> clients_;
   Listener& listener_;
   std::map<std::string, Versions> own_;
   std::map<Controller::SystemId, Client> known_;
};

} // namespace Host
