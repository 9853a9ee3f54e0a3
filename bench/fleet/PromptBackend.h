/// A mount client's backend without a network: every mount succeeds and every unmount is done in
/// the next turn of the loop, in the order in which they were asked for. Held by the process while
/// it is in use; on the activity loop's thread. Header only.
#pragma once

#include <gantry/runtime/cairn/EntityManager.h>
#include <gantry/runtime/fen/Clock.h>

#include <utility>
#include <vector>

namespace Bench {

class PromptBackend : public Cairn::Backend {
 public:
   PromptBackend() : answers_(Fen::makePtr<Answers>()) {}

   void handleClose(Cairn::EntityManager& manager,
                    Fen::Ptr<Cairn::MountGroup> const& group) override {
      answers_->add({Fen::Ptr<Cairn::EntityManager>(&manager), group->mounter(), nullptr});
   }
   void handleUnregisterAll(Cairn::EntityManager& manager, bool statePreserving) override {
      auto const unmounter = Cairn::remoteUnmounterFactory("unmounter");
      unmounter->statePreservingIs(statePreserving);
      manager.unmounterIs(unmounter);
      answers_->add({nullptr, nullptr, unmounter});
   }

 protected:
   ~PromptBackend() override = default;

 private:
   /// One of a mount has a manager and a mounter, one of an unmount an unmounter. It holds what it
   /// tells: who has cleaned up meanwhile does not listen any more.
   struct Answer {
      Fen::Ptr<Cairn::EntityManager> manager;
      Fen::Ptr<Cairn::Mounter> mounter;
      Fen::Ptr<Cairn::RemoteUnmounter> unmounter;
   };
   class Answers : public Fen::Clock::Notifiee {
    public:
      Answers() : Fen::Clock::Notifiee(Fen::ActivityFacility::clock()) {
         isRegisteredNotifieeIs(true);
      }
      void add(Answer answer) {
         due_.push_back(std::move(answer));
         timeMinIs(0.0);
      }
      void onTime() override {
         for (Answer const& each : std::exchange(due_, {})) {
            if (each.unmounter) {
               each.unmounter->unmountsCompleteIs(true);
            } else {
               each.mounter->doMountsComplete(Cairn::mountStatusSuccess, each.manager);
            }
         }
      }

    private:
      std::vector<Answer> due_;
   };

   Fen::Ptr<Answers> const answers_;
};

} // namespace Bench
