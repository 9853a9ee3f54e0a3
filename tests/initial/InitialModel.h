/// What the tracking of initial mounts is to do, told a second time and naively: tables of plain
/// values, one deadline each, no notification. A test feeds it the events that it gives the
/// machines and compares. A value of the test, on its thread.
#pragma once

#include "InitialFixture.h"

#include <map>
#include <memory>
#include <set>

namespace InitialTest {

/// The status of one peer: the state of each group that has one.
struct ModelSystem {
   std::map<std::string, MountState> groups;
};

struct ModelService;

/// The tracking of one group, from the moment the group is seen.
struct ModelGroup {
   std::string name;
   bool setFixed = false;
   std::set<unsigned> set;
   std::set<unsigned> unregistered;
   double windowEnd = never;
   /// The status that is watched for each: it stays the same object when the tree gets another.
   std::map<unsigned, std::shared_ptr<ModelSystem>> remaining;
};

/// One service: its entities, which the test keeps, and the tracking, which begins when both are in
/// their directories.
struct ModelService {
   bool tracked = false;
   std::set<std::string> groupConfigs;
   std::map<unsigned, std::shared_ptr<ModelSystem>> systems;
   std::set<std::string> complete;
   std::map<std::string, ModelGroup> groups;
};

class InitialModel {
 public:
   explicit InitialModel(std::size_t services, double intervalSeconds)
      : services_(services), interval_(intervalSeconds) {}

   // ---- events -----------------------------------------------------------------------------

   void peerIs(unsigned peer) {
      peers_.insert(peer);
      if (seen_.insert(peer).second) {
         deadline_ = now_ + 3 * interval_;
      }
   }
   void peerDel(unsigned peer) { peers_.erase(peer); }
   void registeredIs(unsigned system, bool value) {
      auto const [found, isNew] = registered_.emplace(system, value);
      if (!isNew && found->second == value) {
         return;
      }
      found->second = value;
      if (value) {
         eachGroup([&](ModelService& service, ModelGroup& group) {
            group.unregistered.erase(system);
            evaluate(service, group);
         });
      }
   }
   void registeredDel(unsigned system) { registered_.erase(system); }

   void trackedIs(std::size_t at, bool tracked) {
      ModelService& service = services_[at];
      if (tracked && !service.tracked) {
         service.tracked = true;
         for (std::string const& name : service.groupConfigs) {
            track(service, name);
         }
      } else if (!tracked) {
         service.tracked = false;
         service.groups.clear();
      }
   }
   void groupConfigIs(std::size_t at, std::string const& name) {
      if (services_[at].groupConfigs.insert(name).second && services_[at].tracked) {
         track(services_[at], name);
      }
   }
   void groupConfigDel(std::size_t at, std::string const& name) {
      services_[at].groupConfigs.erase(name);
      services_[at].groups.erase(name);
   }

   std::shared_ptr<ModelSystem> systemIs(std::size_t at, unsigned system) {
      auto& place = services_[at].systems[system];
      if (!place) {
         place = std::make_shared<ModelSystem>();
      }
      return place;
   }
   void systemDel(std::size_t at, unsigned system) { services_[at].systems.erase(system); }
   void stateIs(std::size_t at, unsigned number, std::shared_ptr<ModelSystem> const& system,
                std::string const& name, MountState state) {
      system->groups.try_emplace(name, mountStateUnmounted);
      if (system->groups[name] == state) {
         return;
      }
      system->groups[name] = state;
      auto const group = services_[at].groups.find(name);
      if (group == services_[at].groups.end() || !complete_ || !isFinal(state)) {
         return;
      }
      auto const watched = group->second.remaining.find(number);
      if (watched != group->second.remaining.end() && watched->second == system) {
         group->second.remaining.erase(watched);
         completeWhenNoneRemains(services_[at], group->second);
      }
   }
   void stateDel(std::shared_ptr<ModelSystem> const& system, std::string const& name) {
      system->groups.erase(name);
   }

   void advance(double seconds) {
      double const end = now_ + seconds;
      for (;;) {
         double next = deadline_;
         eachGroup(
            [&](ModelService&, ModelGroup& group) { next = std::min(next, group.windowEnd); });
         if (next > end) {
            break;
         }
         now_ = std::max(now_, next);
         fire();
      }
      now_ = end;
   }

   // ---- what is to be seen -----------------------------------------------------------------

   std::set<unsigned> const& seen() const { return seen_; }
   double deadline() const { return deadline_; }
   bool complete() const { return complete_; }
   ModelService const& service(std::size_t at) const { return services_[at]; }

 private:
   static bool isFinal(MountState state) {
      return state == mountStateFailed || state == mountStateMounted;
   }
   template <class Visit>
   void eachGroup(Visit const& visit) {
      for (ModelService& service : services_) {
         for (auto& [name, group] : service.groups) {
            visit(service, group);
         }
      }
   }

   void fire() {
      if (deadline_ <= now_) {
         deadline_ = never;
         if (!complete_) {
            complete_ = true;
            eachGroup([&](ModelService& service, ModelGroup& group) { fix(service, group); });
         }
      }
      eachGroup([&](ModelService& service, ModelGroup& group) {
         if (group.windowEnd <= now_) {
            group.windowEnd = never;
            evaluate(service, group);
         }
      });
   }
   void track(ModelService& service, std::string const& name) {
      ModelGroup& group = service.groups[name];
      group.name = name;
      if (complete_) {
         fix(service, group);
      }
   }
   void fix(ModelService& service, ModelGroup& group) {
      group.setFixed = true;
      group.set = peers_;
      for (unsigned const peer : peers_) {
         auto const found = registered_.find(peer);
         if (found == registered_.end() || !found->second) {
            group.unregistered.insert(peer);
         }
      }
      group.windowEnd = group.unregistered.empty() ? never : now_ + 240.0;
      evaluate(service, group);
   }
   void evaluate(ModelService& service, ModelGroup& group) {
      if (!group.unregistered.empty() && group.windowEnd != never) {
         return;
      }
      group.windowEnd = never;
      for (unsigned const number : group.set) {
         auto const system = service.systems.find(number);
         if (system == service.systems.end()) {
            continue;
         }
         auto const state = system->second->groups.find(group.name);
         if (state != system->second->groups.end() && !isFinal(state->second)) {
            group.remaining[number] = system->second;
         }
      }
      completeWhenNoneRemains(service, group);
   }
   void completeWhenNoneRemains(ModelService& service, ModelGroup& group) {
      if (complete_ && group.remaining.empty()) {
         service.complete.insert(group.name);
      }
   }

   std::vector<ModelService> services_;
   double interval_;
   double now_ = start;
   std::set<unsigned> peers_;
   std::set<unsigned> seen_;
   std::map<unsigned, bool> registered_;
   double deadline_ = never;
   bool complete_ = false;
};

} // namespace InitialTest
