// The table of switches: who is in it, and who is registered.

#include <hosts/gantry-controller/Switch.h>
#include <hosts/gantry-controller/Switches.h>

#include <hosts/support/ValueText.h>

#include <gantry/runtime/fen/Counters.h>

#include <algorithm>

namespace Host {

namespace {

constexpr std::size_t mostAccepted = 10000;
constexpr std::size_t longestName = 255;
constexpr std::size_t mostTold = 1000;

std::string textOf(Controller::SystemId system) { return std::string(system.stringValue().view()); }

std::string placeText(Nimet::IpAddr const& address, std::uint16_t port) {
   return std::string(address.stringValue().view()) + ":" + std::to_string(port);
}

bool canBeName(std::string_view name) {
   return !name.empty() && name.size() <= longestName && plainText(name) == name &&
          name.find('/') == std::string_view::npos && name != "." && name != "..";
}

} // namespace

char const* switchStateName(SwitchState state) {
   static constexpr char const* names[] = {"connecting", "registered", "lost", "refused", "gone"};
   return names[static_cast<std::size_t>(state)];
}

/// Looks at switches in a turn of its own, once for everything that came in one.
class Switches::Settler : public Fen::Clock::Notifiee {
 public:
   explicit Settler(Switches* table)
      : Notifiee(Fen::ActivityLoop::instance().clock()), table_(table) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      if (table_ != nullptr) {
         table_->settle();
      }
   }
   void tableDel() { table_ = nullptr; }

 private:
   Switches* table_;
};

class Switches::Admission : public Cairn::PeerPolicy {
 public:
   explicit Admission(Switches* table) : table_(table) {}
   Fen::String8 handlePeer(Cairn::PeerIdentity const& peer) override {
      return table_ != nullptr ? table_->handlePeer(peer) : Fen::String8("the controller is going");
   }
   void handlePeerGone(Cairn::PeerIdentity const& peer) override {
      if (table_ != nullptr) {
         table_->handlePeerGone(peer);
      }
   }
   void tableDel() { table_ = nullptr; }

 private:
   Switches* table_;
};

Switches::Switches(Entities& entities, Negotiation& negotiation, Listener& listener,
                   TimingConfiguration const& timing, Controller::SystemId self, bool accepts)
   : entities_(entities), negotiation_(negotiation), listener_(listener), timing_(timing),
     self_(self), accepts_(accepts), settler_(Fen::makePtr<Settler>(this)),
     admission_(Fen::makePtr<Admission>(this)) {}

Switches::~Switches() {
   settler_->tableDel();
   admission_->tableDel();
}

Fen::Ptr<Cairn::PeerPolicy> Switches::policy() const { return admission_; }

Switches::Switch* Switches::switchOf(Controller::SystemId system) const {
   auto const found = bySystem_.find(system);
   return found != bySystem_.end() ? found->second : nullptr;
}

std::string Switches::nameOf(std::string const& systemText) const {
   Switch const* const one = switchOf(Controller::SystemId(Fen::String8(systemText)));
   return one != nullptr ? one->name() : systemText;
}

std::map<std::string, Fen::Ptr<Controller::MountSm>> Switches::machines() const {
   std::map<std::string, Fen::Ptr<Controller::MountSm>> all;
   for (auto const& [name, one] : switches_) {
      all.emplace(name, one->machine());
   }
   return all;
}

Switches::Record& Switches::recordOf(Controller::SystemId system) {
   Record& record = records_[system];
   if (!record.config) {
      Fen::Name const name(system.stringValue());
      record.config = ControllerRegistration::switchConfigFactory(name);
      record.config->systemIdIs(system);
      record.config->connectionConfigIs(name);
      record.status = ControllerRegistration::switchStatusFactory(name);
      record.status->systemIdIs(system);
      record.status->controllerUUIDIs(self_.stringValue());
   }
   return record;
}

void Switches::switchIs(std::string const& name, SwitchConfiguration const& place) {
   if (Switch const* const other = switchOf(place.id)) {
      switchDel(std::string(other->name()));
   }
   if (switches_.contains(name)) {
      switchDel(name);
   }
   add(name, place, false);
}

void Switches::add(std::string const& name, SwitchConfiguration const& place, bool isAccepted) {
   Record& record = recordOf(place.id);
   Fen::Ptr<Controller::ConnectionConfig> const connection = record.config->connectionConfig();
   connection->ipIs(place.address);
   connection->portIs(place.port);
   connection->sysnameIs(Fen::String8(name));
   // Before the switch is registered, since the machines take it for granted then.
   entities_.controllerStatus->switchConfigIs(place.id, record.config);
   entities_.controllerStatus->switchStatusIs(place.id, record.status);
   auto& one = switches_[name] =
      std::make_unique<Switch>(*this, name, place, isAccepted, connection);
   bySystem_[place.id] = one.get();
   one->toldState = SwitchState::connecting;
   listener_.handleSwitch(name, place.id, SwitchState::connecting,
                          placeText(place.address, place.port));
}

void Switches::switchDel(std::string const& name) {
   auto const found = switches_.find(name);
   if (found == switches_.end()) {
      return;
   }
   std::unique_ptr<Switch> const one = std::move(found->second);
   switches_.erase(found);
   bySystem_.erase(one->place().id);
   registeredIs(*one, false);
   reachedIs(*one, false);
   Controller::SystemId const system = one->place().id;
   entities_.controllerStatus->switchConfigIs(system, nullptr);
   entities_.controllerStatus->switchStatusIs(system, nullptr);
   listener_.handleSwitch(name, system, SwitchState::gone, "");
}

void Switches::retryIntervalIs(double seconds) {
   timing_.retryInterval = seconds;
   for (auto const& [name, one] : switches_) {
      one->retryIntervalIs(seconds);
   }
}

void Switches::close() {
   closed_ = true;
   for (auto const& [name, one] : switches_) {
      registeredIs(*one, false);
      reachedIs(*one, false);
   }
}

/// Registers or unregisters, with everything that goes with it, in the order on which the machines
/// rely.
void Switches::registeredIs(Switch& one, bool registered) {
   if (one.isRegistered == registered) {
      return;
   }
   one.isRegistered = registered;
   Controller::SystemId const system = one.place().id;
   Record& record = recordOf(system);
   record.config->enabledIs(registered);
   if (registered) {
      std::uint32_t const generation = record.config->registrationGenId() + 1;
      record.config->registrationGenIdIs(generation);
      record.status->registrationGenIdIs(generation);
      entities_.controllerStatus->registeredSwitchIs(system, true);
   } else {
      // The key stays, with false: what is kept of the switch's mounts is found by it when the
      // services no longer want it.
      entities_.controllerStatus->registeredSwitchIs(system, false);
      negotiation_.offersDel(system);
   }
}

/// A peer is there from before it is registered until after it no longer is. One that is there and
/// not in order is what the first round of mounts waits for, for a while.
void Switches::reachedIs(Switch& one, bool reached) {
   if (one.isReached == reached) {
      return;
   }
   one.isReached = reached;
   if (reached) {
      entities_.peerTable->peerIs(one.place().id, true);
   } else {
      entities_.peerTable->peerDel(one.place().id);
   }
}

void Switches::settleLater(std::string const& name) {
   unsettled_.insert(name);
   settler_->timeMinIs(0.0);
}

void Switches::settle() {
   std::set<std::string> const names = std::move(unsettled_);
   unsettled_.clear();
   for (std::string const& name : names) {
      auto const found = switches_.find(name);
      if (found == switches_.end() || closed_) {
         continue;
      }
      Switch& one = *found->second;
      SwitchState state = SwitchState::registered;
      std::string reason;
      if (one.mountState() == Controller::mountStateMounted) {
         reachedIs(one, true);
         Switch::Statement const statement = one.statement();
         reason = statement.fault;
         if (reason.empty()) {
            // The versions first: registering is what looks at them.
            negotiation_.offersAre(one.place().id, statement.offers);
            registeredIs(one, true);
         } else {
            state = SwitchState::refused;
            registeredIs(one, false);
            if (one.toldState != state || one.toldReason != reason) {
               refused(name, reason, statement.counter);
            }
         }
      } else if (one.mountState() == Controller::mountStateFailed) {
         state = SwitchState::lost;
         reason = one.reason();
         registeredIs(one, false);
         reachedIs(one, false);
         if (one.isAccepted() && one.knocks == 0) {
            switchDel(name);
            continue;
         }
      } else {
         continue; // on the way to one of the two
      }
      if (one.toldState != state || one.toldReason != reason) {
         one.toldState = state;
         one.toldReason = reason;
         listener_.handleSwitch(name, one.place().id, state, reason);
      }
   }
}

void Switches::refused(std::string const& peer, std::string const& reason, char const* counter) {
   Fen::Counters::counter(std::string("controller.refused.") + counter).increment();
   if (told_.size() >= mostTold) {
      told_.clear();
   }
   if (told_.insert(peer + " " + reason).second) {
      listener_.handleRefusal(peer, reason);
   }
}

/// Why a peer that claims to be a system is not let in; empty when it is.
std::string Switches::admission(Cairn::PeerIdentity const& peer, char const*& counter) {
   Nimet::EthAddr const claimed = peer.systemId;
   Controller::SystemId const system(claimed.stringValue());
   std::string const name(peer.name.view());
   std::string const id = textOf(system);
   if (Switch* const known = switchOf(system)) {
      if (known->place().address == peer.address &&
          (!known->isAccepted() || known->place().port == peer.servingPort)) {
         ++known->knocks;
         return {};
      }
      counter = "id_in_use";
      return "system " + id + " is known at " +
             placeText(known->place().address, known->place().port);
   }
   if (!accepts_ || closed_) {
      counter = "unknown_system";
      return "system " + id + " is not known here";
   }
   if (system == self_) {
      counter = "id_in_use";
      return "system " + id + " is this controller itself";
   }
   if (peer.servingPort == 0) {
      counter = "serves_nowhere";
      return "system " + id + " does not say on which port it serves";
   }
   if (!canBeName(name)) {
      counter = "bad_name";
      return "system " + id + " has a name that is no name";
   }
   if (switches_.contains(name)) {
      counter = "name_in_use";
      return "a system of the name " + name + " is known already";
   }
   if (records_.size() >= mostAccepted && !records_.contains(system)) {
      counter = "too_many";
      return "more than " + std::to_string(mostAccepted) + " systems have made themselves known";
   }
   add(name, {system, peer.address, peer.servingPort}, true);
   ++switches_.at(name)->knocks;
   return {};
}

Fen::String8 Switches::handlePeer(Cairn::PeerIdentity const& peer) {
   if (peer.systemId == Nimet::EthAddr()) {
      return {}; // no switch, and nothing is served to it but the announcement
   }
   char const* counter = "";
   std::string const refusal = admission(peer, counter);
   if (!refusal.empty()) {
      refused(std::string(peer.address.stringValue().view()), refusal, counter);
   }
   return Fen::String8(refusal);
}

void Switches::handlePeerGone(Cairn::PeerIdentity const& peer) {
   Switch* const known = switchOf(Controller::SystemId(peer.systemId.stringValue()));
   if (known != nullptr && known->knocks > 0) {
      --known->knocks;
      settleLater(known->name());
   }
}

} // namespace Host
