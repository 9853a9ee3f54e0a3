/// A mount client without a network: a fleet of switches that a test sets up, each of which answers
/// in the next turn of the loop, serves its announcement, and can be lost.
///
/// Held by a test as the process's backend; on the test's thread, on virtual time.
#pragma once

#include <hosts/support/Agent.fen.h>

#include <gantry/runtime/cairn/EntityManager.h>
#include <gantry/runtime/fen/Clock.h>
#include <gantry/runtime/fen/Dir.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace HostTest {

class FleetBackend : public Cairn::Backend {
 public:
   /// One switch, by its system name.
   struct FleetSwitch {
      std::string id;
      std::map<std::string, std::string> offers;
      bool isUp = true;
   };

   FleetBackend() : later_(Fen::makePtr<Later>(this)) {}

   std::map<std::string, FleetSwitch> switches;
   /// Whether the switch whose announcement is mounted is told of its changes.
   void offersChanged(std::string const& name) {
      auto const copy = Fen::ptrCast<Agent::Announcement>(
         Fen::Entity::entity(Fen::EntityUriPath(Fen::String8("/switches/" + name))));
      if (copy) {
         write(*copy, switches[name]);
      }
   }
   /// The switch is gone: what is mounted from it fails.
   void lose(std::string const& name) {
      switches[name].isUp = false;
      std::set<Cairn::EntityManager*> const mounted = mounted_;
      for (Cairn::EntityManager* manager : mounted) {
         if (mounted_.contains(manager) && nameOf(*manager) == name) {
            mounted_.erase(manager);
            answer(*manager, Cairn::mountStatusConnectionLost);
         }
      }
   }
   /// How many mounts stand, announcements left out.
   std::size_t mounted() const {
      std::size_t count = 0;
      for (Cairn::EntityManager* manager : mounted_) {
         count += pathOf(*manager) != "agent";
      }
      return count;
   }

   void handleClose(Cairn::EntityManager& manager,
                    Fen::Ptr<Cairn::MountGroup> const& group) override {
      mounters_[&manager] = group->mounter();
      work(&manager, [this, &manager] { handleMount(manager); });
   }
   void handleUnregisterAll(Cairn::EntityManager& manager, bool statePreserving) override {
      auto const unmounter = Fen::makePtr<Cairn::RemoteUnmounter>("unmounter");
      unmounter->statePreservingIs(statePreserving);
      manager.unmounterIs(unmounter);
      mounted_.erase(&manager);
      work(&manager, [unmounter] { unmounter->unmountsCompleteIs(true); });
   }
   void handleCleanup(Cairn::EntityManager& manager) override {
      mounted_.erase(&manager);
      mounters_.erase(&manager);
      std::erase_if(work_, [&](Work const& each) { return each.manager == &manager; });
   }

 protected:
   ~FleetBackend() override { later_->backendDel(); }

 private:
   struct Work {
      Cairn::EntityManager* manager;
      std::function<void()> run;
   };

   class Later : public Fen::Clock::Notifiee {
    public:
      explicit Later(FleetBackend* backend)
         : Notifiee(Fen::ActivityFacility::clock()), backend_(backend) {
         isRegisteredNotifieeIs(true);
      }
      void onTime() override {
         if (backend_ != nullptr) {
            backend_->runWork();
         }
      }
      void backendDel() { backend_ = nullptr; }

    private:
      FleetBackend* backend_;
   };

   static std::string remote(Cairn::EntityManager const& manager) {
      return std::string(manager.initArguments().remotePath.view());
   }
   static std::string nameOf(Cairn::EntityManager const& manager) {
      return std::string(manager.initArguments().sysname.view());
   }
   /// Below the system's name and the empty root.
   static std::string pathOf(Cairn::EntityManager const& manager) {
      return remote(manager).substr(nameOf(manager).size() + 2);
   }

   void work(Cairn::EntityManager* manager, std::function<void()> run) {
      work_.push_back({manager, std::move(run)});
      later_->timeMinIs(0.0);
   }
   void runWork() {
      // What one piece of work takes away is not run.
      for (std::size_t left = work_.size(); left > 0 && !work_.empty(); --left) {
         Work const next = work_.front();
         work_.erase(work_.begin());
         next.run();
      }
      if (!work_.empty()) {
         later_->timeMinIs(0.0);
      }
   }

   void handleMount(Cairn::EntityManager& manager) {
      auto const found = switches.find(nameOf(manager));
      if (found == switches.end() || !found->second.isUp) {
         answer(manager, Cairn::mountStatusConnectionLost);
         return;
      }
      if (pathOf(manager) == "agent") {
         announce(found->first, found->second);
      }
      mounted_.insert(&manager);
      answer(manager, Cairn::mountStatusSuccess);
   }
   void answer(Cairn::EntityManager& manager, Cairn::MountStatus status) {
      Fen::Ptr<Cairn::EntityManager> const running(&manager);
      auto const found = mounters_.find(&manager);
      if (found == mounters_.end()) {
         return;
      }
      Fen::Ptr<Cairn::Mounter> const mounter = found->second;
      manager.reasonIs(status == Cairn::mountStatusSuccess ? "" : "the switch is down");
      mounter->doMountsComplete(status, running);
   }
   static void write(Agent::Announcement& announcement, FleetSwitch const& one) {
      announcement.systemIdIs(Controller::SystemId(Fen::String8(one.id)));
      announcement.offeredDelAll();
      for (auto const& [service, versions] : one.offers) {
         announcement.offeredIs(Fen::String8(service), Fen::String8(versions));
      }
   }
   static void announce(std::string const& name, FleetSwitch const& one) {
      auto const directory = Fen::ptrCast<Fen::Dir>(Fen::root()->entityPtr("switches"));
      auto copy = Fen::ptrCast<Agent::Announcement>(directory->entityPtr(Fen::Name(name)));
      if (!copy) {
         copy = Agent::announcementFactory(Fen::Name(name));
         directory->entityPtrIs(copy);
      }
      write(*copy, one);
   }

   Fen::Ptr<Later> later_;
   std::vector<Work> work_;
   std::map<Cairn::EntityManager*, Fen::Ptr<Cairn::Mounter>> mounters_;
   std::set<Cairn::EntityManager*> mounted_;
};

} // namespace HostTest
