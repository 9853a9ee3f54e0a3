// What follows from the states of one mount, and from what stands in its place.

#include <hosts/gantry-mount/PeerMount.h>

#include <gantry/runtime/fen/Dir.h>

#include <utility>

namespace Host {

class PeerMount::RootReactor : public Fen::Dir::NotifieeConst {
 public:
   RootReactor(Fen::Ptr<Fen::Dir const> const& directory, PeerMount* mount)
      : NotifieeConst(directory), mount_(mount) {
      isRegisteredNotifieeIs(true);
   }
   void onEntityPtr(Fen::Name name) override {
      if (name.view() == mount_->name()) {
         mount_->handleRoot();
      }
   }

 private:
   PeerMount* mount_;
};

PeerMount::PeerMount(std::string name, std::uint32_t number, Endpoint const& endpoint,
                     MountWish wish, Display* display)
   : name_(std::move(name)), display_(display),
     rootReactor_(Fen::makePtr<RootReactor>(Fen::root(), this)) {
   auto const config = Controller::connectionConfigFactory(Fen::Name(name_));
   config->ipIs(endpoint.address);
   config->portIs(endpoint.port);
   config->sysnameIs(Fen::String8(name_));
   // A locally administered address: the peers of this program are known to nobody else.
   Controller::SystemId const id(Fen::format("02:00:00:%02x:%02x:%02x", (number >> 16) & 0xffu,
                                             (number >> 8) & 0xffu, number & 0xffu));
   SteadyMount::Wish steady;
   steady.system = id;
   steady.connection = config;
   steady.path = wish.path;
   steady.type = wish.type;
   steady.target = "/" + name_;
   steady.retries = wish.retries;
   steady.timeout = wish.timeout;
   steady.retryInterval = wish.retryInterval;
   mount_ = std::make_unique<SteadyMount>(steady, static_cast<SteadyMount::User*>(this));
}

PeerMount::~PeerMount() { rootReactor_->isRegisteredNotifieeIs(false); }

Fen::Ptr<Fen::Entity> PeerMount::root() const { return Fen::root()->entityPtr(Fen::Name(name_)); }

void PeerMount::handleMountState(SteadyMount&) {
   if (state() == Controller::mountStateMounted) {
      handleRoot();
   }
   if (display_ != nullptr) {
      display_->mountState(name_, std::string(Controller::stringValue(state()).view()), reason());
   }
}

/// The mounted entity may come, go or be another one. Before the first full synchronisation it is
/// not shown, since what is missing then is only on its way.
void PeerMount::handleRoot() {
   Fen::Ptr<Fen::Entity> const present = root();
   if (display_ == nullptr || present == watched_ ||
       (present && state() != Controller::mountStateMounted)) {
      return;
   }
   watch_ = nullptr;
   if (watched_) {
      display_->entityRemoved(name_, "");
   }
   watched_ = present;
   if (present) {
      watch_ = std::make_unique<TreeWatch>(present, static_cast<TreeListener&>(*this));
   }
}

void PeerMount::entityAdded(std::string const& path, Fen::Entity const& entity) {
   display_->entityAdded(name_, path, entity);
}
void PeerMount::entityRemoved(std::string const& path) { display_->entityRemoved(name_, path); }
void PeerMount::valueChanged(std::string const& path, Fen::Entity const& entity,
                             Fen::AttrDesc const& attribute, void const* key) {
   display_->valueChanged(name_, path, entity, attribute, key);
}

} // namespace Host
