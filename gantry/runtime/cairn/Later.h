/// Private to the library. Work that is put off to the next turn of the loop, in order. Owned by
/// whoever needs it; on the activity loop's thread. What still waits when it goes is dropped.
#pragma once

#include <gantry/runtime/fen/Clock.h>

#include <functional>
#include <utility>
#include <vector>

namespace Cairn {

class Later : public Fen::Clock::Notifiee {
 public:
   using Work = std::function<void()>;

   Later() : Fen::Clock::Notifiee(Fen::ActivityFacility::clock()) { isRegisteredNotifieeIs(true); }

   void workIs(Work work) {
      work_.push_back(std::move(work));
      timeMinIs(0.0);
   }

   void onTime() override {
      // What is added meanwhile waits for the turn after.
      Fen::Ptr<Later> const self(this);
      for (Work const& each : std::exchange(work_, {})) {
         each();
      }
   }

 private:
   std::vector<Work> work_;
};

} // namespace Cairn
