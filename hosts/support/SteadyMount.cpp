// Requests to the mount machine, and what follows from the states that it reports.

#include <hosts/support/SteadyMount.h>

#include <gantry/runtime/fen/Dir.h>

#include <utility>

namespace Host {

class SteadyMount::StateReactor : public Controller::MountSmData::Notifiee {
 public:
   StateReactor(Fen::Ptr<Controller::MountSmData> const& data, SteadyMount* mount)
      : Notifiee(data), mount_(mount) {
      isRegisteredNotifieeIs(true);
   }
   void onMountState() override { mount_->handleState(); }

 private:
   SteadyMount* mount_;
};

class SteadyMount::RetryTimer : public Fen::Clock::Notifiee {
 public:
   explicit RetryTimer(SteadyMount* mount)
      : Notifiee(Fen::ActivityLoop::instance().clock()), mount_(mount) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override { mount_->handleRetry(); }

 private:
   SteadyMount* mount_;
};

SteadyMount::SteadyMount(Wish wish, User* user)
   : wish_(std::move(wish)), user_(user),
     data_(Controller::mountSmDataFactory(wish_.system, Fen::String8())) {
   stateReactor_ = Fen::makePtr<StateReactor>(data_, this);
   retryTimer_ = Fen::makePtr<RetryTimer>(this);
   machine_ = Controller::mountSmFactory(wish_.system, wish_.connection, Fen::String8(),
                                         Fen::String8(wish_.path), Fen::String8(wish_.target),
                                         Fen::String8(wish_.type), Fen::String8(), wish_.retries,
                                         wish_.timeout, data_);
   // The machine asks for its first mount by itself or is asked here; one request is as good as
   // two.
   machine_->doMountInternal();
}

SteadyMount::~SteadyMount() {
   retryTimer_->isRegisteredNotifieeIs(false);
   stateReactor_->isRegisteredNotifieeIs(false);
   machine_->doCleanup();
}

bool SteadyMount::isFinal() const {
   return state() == Controller::mountStateMounted || state() == Controller::mountStateFailed;
}

Cairn::MountStatus SteadyMount::status() const {
   auto const manager = machine_->entityManager();
   return manager ? manager->status() : Cairn::mountStatusNone;
}

std::string SteadyMount::reason() const {
   auto const manager = machine_->entityManager();
   return state() == Controller::mountStateFailed && manager ? std::string(manager->reason().view())
                                                             : std::string();
}

Fen::Ptr<Fen::Entity> SteadyMount::root() const {
   return Fen::Entity::entity(Fen::EntityUriPath(Fen::String8(wish_.target)));
}

void SteadyMount::handleState() {
   if (state() == Controller::mountStateFailed && wish_.retryInterval) {
      retryTimer_->timeMinIs(Fen::now() + *wish_.retryInterval);
   }
   user_->handleMountState(*this);
}

void SteadyMount::handleRetry() { machine_->doMountInternal(); }

} // namespace Host
