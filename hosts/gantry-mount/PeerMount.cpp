// Requests to the mount machine, and what follows from the states that it reports.

#include <hosts/gantry-mount/PeerMount.h>

#include <gantry/runtime/fen/Dir.h>

#include <utility>

namespace Host {

class PeerMount::StateReactor : public Controller::MountSmData::Notifiee {
 public:
   StateReactor(Fen::Ptr<Controller::MountSmData> const& data, PeerMount* mount)
      : Notifiee(data), mount_(mount) {
      isRegisteredNotifieeIs(true);
   }
   void onMountState() override { mount_->handleState(); }

 private:
   PeerMount* mount_;
};

class PeerMount::RetryTimer : public Fen::Clock::Notifiee {
 public:
   explicit RetryTimer(PeerMount* mount)
      : Notifiee(Fen::ActivityLoop::instance().clock()), mount_(mount) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override { mount_->handleRetry(); }

 private:
   PeerMount* mount_;
};

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
   : name_(std::move(name)), wish_(std::move(wish)), display_(display) {
   config_ = Controller::connectionConfigFactory(Fen::Name(name_));
   config_->ipIs(endpoint.address);
   config_->portIs(endpoint.port);
   config_->sysnameIs(Fen::String8(name_));
   // A locally administered address: the peers of this program are known to nobody else.
   Controller::SystemId const id(Fen::format("02:00:00:%02x:%02x:%02x", (number >> 16) & 0xffu,
                                             (number >> 8) & 0xffu, number & 0xffu));
   data_ = Controller::mountSmDataFactory(id, Fen::String8());
   stateReactor_ = Fen::makePtr<StateReactor>(data_, this);
   retryTimer_ = Fen::makePtr<RetryTimer>(this);
   rootReactor_ = Fen::makePtr<RootReactor>(Fen::root(), this);
   // The machine asks for its first mount by itself or is asked here; one request is as good as
   // two.
   machine_ = Controller::mountSmFactory(id, config_, Fen::String8(), Fen::String8(wish_.path),
                                         Fen::String8("/" + name_), Fen::String8(wish_.type),
                                         Fen::String8(), wish_.retries, wish_.timeout, data_);
   machine_->doMountInternal();
}

PeerMount::~PeerMount() {
   rootReactor_->isRegisteredNotifieeIs(false);
   retryTimer_->isRegisteredNotifieeIs(false);
   stateReactor_->isRegisteredNotifieeIs(false);
   machine_->doCleanup();
}

std::string PeerMount::reason() const {
   auto const manager = machine_->entityManager();
   return state() == Controller::mountStateFailed && manager ? std::string(manager->reason().view())
                                                             : std::string();
}

Fen::Ptr<Fen::Entity> PeerMount::root() const { return Fen::root()->entityPtr(Fen::Name(name_)); }

void PeerMount::handleState() {
   if (state() == Controller::mountStateMounted) {
      handleRoot();
   }
   if (display_ != nullptr) {
      display_->mountState(name_, std::string(Controller::stringValue(state()).view()), reason());
   }
   if (state() == Controller::mountStateFailed && wish_.retryInterval) {
      retryTimer_->timeMinIs(Fen::now() + *wish_.retryInterval);
   }
}

void PeerMount::handleRetry() { machine_->doMountInternal(); }

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
