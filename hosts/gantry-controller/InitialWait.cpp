// The deadline of the first full round of mounts.

#include <hosts/gantry-controller/InitialWait.h>

#include <hosts/support/ValueText.h>

#include <gantry/runtime/fen/ActivityLoop.h>

#include <ostream>

namespace Host {

class InitialWait::Deadline : public Fen::Clock::Notifiee {
 public:
   explicit Deadline(InitialWait* owner)
      : Notifiee(Fen::ActivityLoop::instance().clock()), owner_(owner) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      if (owner_ != nullptr) {
         owner_->handleDeadline();
      }
   }
   void ownerDel() { owner_ = nullptr; }

 private:
   InitialWait* owner_;
};

InitialWait::InitialWait(InitialMounts& mounts, double seconds, std::ostream& errors,
                         std::function<void()> ended)
   : mounts_(mounts), seconds_(seconds), errors_(errors), ended_(std::move(ended)),
     deadline_(Fen::makePtr<Deadline>(this)) {
   deadline_->timeMinIs(Fen::now() + seconds);
   mounts_.completeHandlerIs([this] { handleComplete(); });
}

InitialWait::~InitialWait() {
   deadline_->ownerDel();
   mounts_.completeHandlerIs(nullptr);
}

void InitialWait::handleComplete() {
   met_ = true;
   deadline_->timeMinIs(Fen::never);
   ended_();
}

void InitialWait::handleDeadline() {
   mounts_.completeHandlerIs(nullptr);
   errors_ << "gantry-controller: the first mounts are not complete after " << seconds_
           << " seconds\n";
   for (InitialRow const& row : mounts_.rows()) {
      if (row.phase != InitialPhase::complete) {
         std::string const switches = row.switchesText();
         errors_ << "gantry-controller: " << plainText(row.service) << "/" << plainText(row.group)
                 << ": " << initialPhaseText(row.phase)
                 << (switches.empty() ? ": no switch is known" : ": " + plainText(switches))
                 << "\n";
      }
   }
   errors_.flush();
   ended_();
}

} // namespace Host
