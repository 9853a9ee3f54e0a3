/// Private to the library. The one clock reactor of a session, which asks it at each of its
/// deadlines. Owned by the session; on the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/Session.h>

namespace Cairn {

class Session::Timer : public Fen::Clock::Notifiee {
 public:
   explicit Timer(Session* session)
      : Fen::Clock::Notifiee(Fen::ActivityFacility::clock()), session_(session) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      if (session_ != nullptr) {
         Fen::Ptr<Session> const running(session_);
         running->handleTime();
      }
   }
   void sessionDel() { session_ = nullptr; }

 private:
   Session* session_;
};

} // namespace Cairn
