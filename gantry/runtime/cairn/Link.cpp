/// Attempts to connect, the waits between them, and who is told how they end.
#include <gantry/runtime/cairn/CairnTrace.h>
#include <gantry/runtime/cairn/ClientMount.h>
#include <gantry/runtime/cairn/ClientSession.h>
#include <gantry/runtime/cairn/Link.h>
#include <gantry/runtime/fen/Counters.h>

#include <algorithm>

namespace Cairn {

class Link::Timer : public Fen::Clock::Notifiee {
 public:
   explicit Timer(Link* link) : Fen::Clock::Notifiee(Fen::ActivityFacility::clock()), link_(link) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      if (link_ != nullptr) {
         Fen::Ptr<Link> const running(link_);
         running->handleTime();
      }
   }
   void linkDel() { link_ = nullptr; }

 private:
   Link* link_;
};

Link::Link(LinkKey const& key, TcpConfig const& config, User* user)
   : key_(key), config_(config), user_(user), timer_(Fen::makePtr<Timer>(this)),
     later_(Fen::makePtr<Later>()) {}

Link::~Link() {
   timer_->linkDel();
   if (session_) {
      session_->linkDel();
      session_->close({mountStatusConnectionLost, "the client has no mounts left"}, "local", false);
   }
}

void Link::userDel() { user_ = nullptr; }

bool Link::isUp() const { return session_ && session_->isEstablished() && !session_->isClosed(); }

void Link::mountIs(Fen::Ptr<ClientMount> const& mount) {
   mounts_.push_back(mount);
   if (!session_) {
      // A link that waits before its next attempt keeps waiting: managers that come and go must not
      // make it hammer a peer that is down.
      if (mounts_.size() == 1) {
         attempt();
      }
      return;
   }
   timer_->timeMinIs(Fen::never);
   if (isUp() && !session_->mountIs(mount)) {
      session_->close({mountStatusConnectionLost, "the connection has no channel left"}, "channels",
                      false);
   }
}

void Link::mountDel(ClientMount& mount) {
   Fen::Ptr<Link> const self(this);
   std::erase_if(mounts_, [&](Fen::Ptr<ClientMount> const& each) { return each == &mount; });
   if (mounts_.empty()) {
      timer_->timeMinIs(Fen::now() + config_.linger);
   }
}

void Link::attempt() {
   ++attempts_;
   Fen::Counters::counter("cairn.connects").increment();
   Fen::String8 const peer = Fen::format("%s:%u", key_.address.stringValue().charPtr(), key_.port);
   FEN_TRACE(cairnTrace(), 5, "Link::attempt: " << peer << ": attempt " << attempts_);
   timer_->timeMinIs(Fen::never);
   session_ = Fen::makePtr<ClientSession>(config_, peer, this);
   // Put off, because an attempt may fail at once, and nothing may end inside the call that began
   // it.
   Fen::Ptr<Link> const self(this);
   Fen::Ptr<ClientSession> const session = session_;
   later_->workIs([self, session] {
      if (!session->isClosed()) {
         session->connect(self->key_.address, self->key_.port, self->key_.source);
      }
   });
}

/// Waits: twice as long each time, shortened at random by up to half.
void Link::attemptLater() {
   double wait = config_.firstRetryDelay;
   for (unsigned i = 1; i < attempts_ && wait < config_.longestRetryDelay; ++i) {
      wait *= 2.0;
   }
   wait = std::min(wait, config_.longestRetryDelay);
   double const fraction = user_ != nullptr ? user_->waitFraction() : 0.0;
   timer_->timeMinIs(Fen::now() + wait * (1.0 - 0.5 * fraction));
}

void Link::handleTime() {
   if (mounts_.empty()) {
      if (user_ != nullptr) {
         user_->handleLinkIdle(*this);
      }
   } else if (!session_) {
      attempt();
   }
}

void Link::handleEstablished() {
   std::vector<Fen::Ptr<ClientMount>> const waiting = mounts_;
   for (Fen::Ptr<ClientMount> const& mount : waiting) {
      if (!mount->isEnded() && mount->session() == nullptr && isUp()) {
         session_->mountIs(mount);
      }
   }
}

void Link::handleSessionClosed(Ending const& ending, bool fatal) {
   Fen::Ptr<ClientSession> const closed = std::exchange(session_, nullptr);
   // Mounts that had a channel have been told by the session; the others hear it here.
   bool const wasUp = closed && closed->isEstablished();
   std::vector<Fen::Ptr<ClientMount>> const waiting = mounts_;
   for (Fen::Ptr<ClientMount> const& mount : waiting) {
      if (!wasUp) {
         mount->handleLost(ending, fatal);
      }
   }
   if (!mounts_.empty() && !session_) {
      attemptLater();
   }
}

} // namespace Cairn
