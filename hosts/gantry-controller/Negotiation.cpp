// Outcomes, and the status entities that show them.

#include <hosts/gantry-controller/Negotiation.h>

namespace Host {

namespace {

using Controller::ServiceStatusV1;
using Controller::ServiceVersionStatusV1;

Controller::NegotiatedVersion valueOf(NegotiationOutcome const& outcome) {
   return Controller::NegotiatedVersion(outcome.version, Fen::String8(outcome.description));
}

void write(ServiceVersionStatusV1& status, NegotiationOutcome const& outcome) {
   status.versionCompatibleIs(outcome.isCompatible());
   status.negotiatedVersionIs(valueOf(outcome));
   // The last, and the only one that wakes anybody.
   status.versionNegotiationCompleteIs(true);
}

} // namespace

NegotiationOutcome negotiationOutcome(Versions const& own, std::optional<Versions> const& theirs) {
   std::string const ranges =
      "controller " + own.text() + ", switch " + (theirs ? theirs->text() : "none");
   std::uint32_t const version = theirs ? highestCommonVersion(own, *theirs) : 0;
   return {version, (version != 0 ? ""
                     : theirs     ? "no version in common: "
                                  : "not offered: ") +
                       ranges};
}

void Negotiation::versionsIs(std::string const& service, Versions const& versions) {
   if (versions.isEmpty()) {
      own_.erase(service);
   } else {
      own_[service] = versions;
   }
   for (auto& [system, client] : known_) {
      settle(system, client, service);
   }
}

void Negotiation::offersAre(Controller::SystemId system, Offers const& offers) {
   Client& client = known_[system];
   bool const isNew = !client.directory;
   if (isNew) {
      client.directory = Controller::serviceStatusDirFactory(Fen::Name(system.stringValue()));
   }
   client.offers = offers;
   for (auto const& [service, versions] : own_) {
      settle(system, client, service);
   }
   if (isNew) {
      clients_->entityPtrIs(client.directory);
   }
}

void Negotiation::offersDel(Controller::SystemId system) {
   auto const found = known_.find(system);
   if (found == known_.end()) {
      return;
   }
   found->second.offers.reset();
   for (auto at = found->second.directory->serviceIterator(); at; ++at) {
      Fen::Ptr<ServiceVersionStatusV1> const status = at->versionStatus();
      status->versionNegotiationCompleteIs(false);
      status->versionCompatibleIs(false);
      status->negotiatedVersionIs(Controller::NegotiatedVersion());
      listener_.handleNegotiated(system, std::string(at->name().view()), nullptr);
   }
}

void Negotiation::revisit(Controller::SystemId system) {
   auto const found = known_.find(system);
   if (found == known_.end() || !found->second.offers) {
      return;
   }
   // Any one service will do: all that is wanted from the switch is looked at.
   for (auto at = found->second.directory->serviceIterator(); at; ++at) {
      at->versionStatus()->versionNegotiationCompleteIs(false);
      at->versionStatus()->versionNegotiationCompleteIs(true);
      return;
   }
}

/// Makes the status of one service on one connection say what holds.
void Negotiation::settle(Controller::SystemId system, Client& client, std::string const& service) {
   Fen::Name const name(service);
   auto const own = own_.find(service);
   Fen::Ptr<ServiceStatusV1> status = client.directory->service(name);
   if (own == own_.end()) {
      if (status) {
         client.directory->serviceDel(name);
         listener_.handleNegotiated(system, service, nullptr);
      }
      return;
   }
   if (!client.offers) {
      return;
   }
   auto const theirs = client.offers->find(service);
   NegotiationOutcome const outcome = negotiationOutcome(
      own->second, theirs != client.offers->end() ? std::optional(theirs->second) : std::nullopt);
   if (!status) {
      // Complete before anybody sees it: then there is one event and not several.
      auto const version = Controller::serviceVersionStatusV1Factory(name);
      write(*version, outcome);
      status = client.directory->serviceIs(name);
      status->enabledIs(true);
      status->versionStatusIs(version);
   } else {
      ServiceVersionStatusV1& version = *status->versionStatus();
      if (version.versionNegotiationComplete() && version.negotiatedVersion() == valueOf(outcome)) {
         return;
      }
      version.versionNegotiationCompleteIs(false);
      write(version, outcome);
   }
   listener_.handleNegotiated(system, service, &outcome);
}

} // namespace Host
