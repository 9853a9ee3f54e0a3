// One switch: its announcement, mounted and checked.

#include <hosts/gantry-controller/Switch.h>

#include <hosts/support/ValueText.h>

#include <gantry/runtime/fen/Dir.h>

#include <algorithm>
#include <cmath>

namespace Host {

namespace {

constexpr std::uint32_t mostOffers = 1000;
constexpr std::size_t longestServiceName = 1000;
constexpr std::size_t shownBytes = 60;

/// Foreign text for a line of our own.
std::string shown(Fen::String8 const& text) {
   std::string_view const whole = text.view();
   return "'" + plainText(whole.substr(0, shownBytes)) + (whole.size() > shownBytes ? "..." : "") +
          "'";
}

} // namespace

void offersOf(Agent::Announcement const& announcement, Negotiation::Offers& offers,
              std::string& fault) {
   if (announcement.offeredCount() > mostOffers) {
      fault = "it offers more than " + std::to_string(mostOffers) + " services";
      return;
   }
   for (auto at = announcement.offeredIterator(); at; ++at) {
      Fen::String8 const name = at->key();
      auto const versions = Versions::fromText(at->value().view());
      if (name.empty() || name.view().size() > longestServiceName ||
          name.view().find('/') != std::string_view::npos) {
         fault = "it offers a service whose name is no name: " + shown(name);
      } else if (!versions) {
         fault =
            "it offers versions of " + shown(name) + " that are no versions: " + shown(at->value());
      } else {
         offers.emplace(std::string(name.view()), *versions);
         continue;
      }
      offers.clear();
      return;
   }
}

/// Hears of changes of the announcement.
class Switches::Switch::Watch : public Agent::Announcement::NotifieeConst {
 public:
   Watch(Fen::Ptr<Agent::Announcement const> const& announcement, Switch* owner)
      : NotifieeConst(announcement), owner_(owner) {
      isRegisteredNotifieeIs(true);
   }
   void onSystemId() override { changed(); }
   void onOffered(Fen::String8) override { changed(); }
   void ownerDel() {
      owner_ = nullptr;
      isRegisteredNotifieeIs(false);
   }

 private:
   void changed() {
      if (owner_ != nullptr) {
         owner_->table_.settleLater(owner_->name_);
      }
   }

   Switch* owner_;
};

Switches::Switch::Switch(Switches& table, std::string name, SwitchConfiguration const& place,
                         bool isAccepted, Fen::Ptr<Controller::ConnectionConfig> const& connection)
   : table_(table), name_(std::move(name)), place_(place), accepted_(isAccepted) {
   SteadyMount::Wish wish;
   wish.system = place.id;
   wish.connection = connection;
   wish.path = "agent";
   wish.type = Agent::Announcement::fenFullTypeName;
   wish.target = target();
   wish.retries = table_.timing_.reconnectRetries;
   wish.timeout = static_cast<std::uint32_t>(std::ceil(table_.timing_.mountTimeout));
   wish.retryInterval = table_.timing_.retryInterval;
   mount_ = std::make_unique<SteadyMount>(wish, static_cast<SteadyMount::User*>(this));
}

Switches::Switch::~Switch() {
   if (watch_) {
      watch_->ownerDel();
   }
   mount_ = nullptr;
   Fen::EntityUriPath const copy((Fen::String8(target())));
   if (Fen::Entity::entity(copy)) {
      Fen::entityDel(copy);
   }
}

void Switches::Switch::handleMountState(SteadyMount& mount) {
   if (!mount.isFinal()) {
      return;
   }
   auto const announcement = Fen::ptrCast<Agent::Announcement>(mount.root());
   if (announcement && (!watch_ || watch_->notifier() != announcement)) {
      if (watch_) {
         watch_->ownerDel();
      }
      watch_ = Fen::makePtr<Watch>(announcement, this);
   }
   table_.settleLater(name_);
}

Switches::Switch::Statement Switches::Switch::statement() const {
   Statement result;
   auto const announcement = Fen::ptrCast<Agent::Announcement>(mount_->root());
   if (!announcement) {
      result.fault = "it has no announcement";
      result.counter = "no_announcement";
      return result;
   }
   if (announcement->systemId() != place_.id) {
      result.fault = "it says that it is system " +
                     std::string(announcement->systemId().stringValue().view()) + ", not " +
                     std::string(place_.id.stringValue().view());
      result.counter = "another_system";
      return result;
   }
   offersOf(*announcement, result.offers, result.fault);
   result.counter = "bad_offer";
   return result;
}

} // namespace Host
