/// Random registrations, drops, changes of the value from inside and exceptions, against a model
/// that follows the rules of notification word by word.
#include "HandWrittenEntity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ostream>
#include <random>
#include <stdexcept>
#include <vector>

namespace {

using Fen::Ptr;
using Sample::Port;

/// What a listener does when it is told.
struct Action {
   enum class What { nothing, add, drop, leave, join, set, fail } what = What::nothing;
   int whom = 0;
};

/// The events of a run: who was told, whose exception was, who ended.
struct Event {
   char kind;
   int who;
   bool operator==(Event const&) const = default;
};
using Events = std::vector<Event>;

std::ostream& operator<<(std::ostream& out, Event const& event) {
   return out << event.kind << event.who;
}

/// The same plan is followed by the model and by the real thing: what each listener does at its
/// n-th call. Nothing in it depends on either side.
class Plan {
 public:
   Plan(std::uint32_t seed, int listeners) : seed_(seed), listeners_(listeners) {}
   Action action(int who, int call) const {
      std::mt19937 random(seed_ ^ static_cast<std::uint32_t>(who * 7919 + call * 104729));
      random.discard(2);
      Action action;
      action.whom = static_cast<int>(random() % static_cast<std::uint32_t>(listeners_));
      auto const kind = static_cast<std::uint32_t>(random() % 20);
      if (kind < 7) {
         Action::What const some[] = {Action::What::add,   Action::What::drop, Action::What::drop,
                                      Action::What::leave, Action::What::join, Action::What::set,
                                      Action::What::fail};
         action.what = some[kind];
      }
      return action;
   }

 private:
   std::uint32_t seed_;
   int listeners_;
};

constexpr int deepest = 3;

// ---- the model ---------------------------------------------------------------------------------

/// Counts references by hand and copies lists whenever it feels like it.
class Model {
 public:
   Model(Plan const& plan, int listeners)
      : plan_(plan), all_(static_cast<std::size_t>(listeners)) {}

   void add(int who) {
      Listener& listener = at(who);
      if (!listener.lives) {
         listener = {true, true, 1, listener.calls, listener.generation + 1};
         list_.push_back(who);
      } else if (!listener.owned) {
         ++listener.references;
      }
      listener.owned = true;
   }
   void drop(int who) {
      if (at(who).lives && at(who).owned) {
         at(who).owned = false;
         release(who);
      }
   }
   void leave(int who) {
      if (at(who).lives && at(who).owned) {
         std::erase(list_, who);
      }
   }
   void join(int who) {
      bool const listed = std::find(list_.begin(), list_.end(), who) != list_.end();
      if (at(who).lives && at(who).owned && !listed) {
         list_.push_back(who);
      }
   }
   void set() {
      if (depth_ >= deepest) {
         return;
      }
      ++depth_;
      std::vector<int> const snapshot = list_;
      for (int const who : snapshot) {
         ++at(who).references;
      }
      for (std::size_t i = 0; i < snapshot.size(); ++i) {
         if (i == 0 || at(snapshot[i]).references != 1) {
            tell(snapshot[i]);
         }
         release(snapshot[i]);
      }
      --depth_;
   }
   void perform(Action const& action) {
      switch (action.what) {
      case Action::What::add:
         return add(action.whom);
      case Action::What::drop:
         return drop(action.whom);
      case Action::What::leave:
         return leave(action.whom);
      case Action::What::join:
         return join(action.whom);
      case Action::What::set:
         return set();
      default:
         return;
      }
   }
   Events events;

 private:
   struct Listener {
      bool lives = false;
      bool owned = false;
      int references = 0;
      int calls = 0;
      int generation = 0;
   };
   Listener& at(int who) { return all_[static_cast<std::size_t>(who)]; }
   void tell(int who) {
      events.push_back({'t', who});
      Action const action = plan_.action(who, at(who).calls++);
      perform(action);
      if (action.what == Action::What::fail) {
         events.push_back({'x', who});
      }
   }
   void release(int who) {
      if (--at(who).references == 0) {
         at(who).lives = false;
         std::erase(list_, who);
         events.push_back({'e', who});
      }
   }

   Plan const& plan_;
   std::vector<Listener> all_;
   std::vector<int> list_;
   int depth_ = 0;
};

// ---- the real thing ----------------------------------------------------------------------------

class Real {
 public:
   Real(Plan const& plan, int listeners)
      : plan_(plan), calls_(static_cast<std::size_t>(listeners)),
        lives_(static_cast<std::size_t>(listeners)), owned_(static_cast<std::size_t>(listeners)) {}
   ~Real() {
      for (auto& each : owned_) {
         each = nullptr;
      }
   }

   void add(int who) {
      auto const index = static_cast<std::size_t>(who);
      if (lives_[index] == nullptr) {
         owned_[index] = Fen::makePtr<Listener>(port_, who, *this);
         lives_[index] = owned_[index].ptr();
      } else {
         // Only a walk's copy holds it, or its owner does: either way it is owned from now on.
         owned_[index] = Ptr<Listener>(lives_[index]);
      }
   }
   void perform(Action const& action) {
      auto const& whom = owned_[static_cast<std::size_t>(action.whom)];
      switch (action.what) {
      case Action::What::add:
         return add(action.whom);
      case Action::What::drop:
         owned_[static_cast<std::size_t>(action.whom)] = nullptr;
         return;
      case Action::What::leave:
         return whom ? whom->isRegisteredNotifieeIs(false) : void();
      case Action::What::join:
         return whom ? whom->isRegisteredNotifieeIs(true) : void();
      case Action::What::set:
         return set();
      default:
         return;
      }
   }
   void set() {
      if (depth_ < deepest) {
         ++depth_;
         port_->speedIs(++speed_);
         --depth_;
      }
   }
   Events events;

 private:
   class Listener : public Port::Notifiee {
    public:
      Listener(Ptr<Port> const& port, int who, Real& real)
         : Port::Notifiee(port), who_(who), real_(real) {
         isRegisteredNotifieeIs(true);
      }
      void onSpeed() override {
         real_.events.push_back({'t', who_});
         Action const action =
            real_.plan_.action(who_, real_.calls_[static_cast<std::size_t>(who_)]++);
         real_.perform(action);
         if (action.what == Action::What::fail) {
            throw std::runtime_error("as planned");
         }
      }
      void onNotificationException(Fen::AttributeId) override {
         real_.events.push_back({'x', who_});
      }

    protected:
      ~Listener() override {
         real_.lives_[static_cast<std::size_t>(who_)] = nullptr;
         real_.events.push_back({'e', who_});
      }

    private:
      int who_;
      Real& real_;
   };

   Plan const& plan_;
   Ptr<Port> port_ = Fen::makePtr<Port>("p", "copper", "1");
   std::vector<int> calls_;
   std::vector<Listener*> lives_;
   std::vector<Ptr<Listener>> owned_;
   int depth_ = 0;
   std::uint32_t speed_ = 0;
};

int runs() {
   char const* const factor = std::getenv("GANTRY_TEST_LONG");
   return 400 * (factor != nullptr ? std::max(1, std::atoi(factor)) : 1);
}

TEST(NotificationPropertyTest, AgainstAModel) {
   std::size_t told = 0;
   for (int run = 0; run < runs(); ++run) {
      std::mt19937 random(static_cast<std::uint32_t>(run) * 2654435761u + 11u);
      int const listeners = 1 + static_cast<int>(random() % (run % 5 == 0 ? 40 : 12));
      Plan const plan(static_cast<std::uint32_t>(random()), listeners);
      Model model(plan, listeners);
      Real real(plan, listeners);
      for (int who = 0; who < listeners; ++who) {
         model.add(who);
         real.add(who);
      }
      for (int step = 0; step < 20; ++step) {
         Action action;
         action.whom = static_cast<int>(random() % static_cast<std::uint32_t>(listeners));
         Action::What const some[] = {Action::What::set,  Action::What::set,   Action::What::add,
                                      Action::What::drop, Action::What::leave, Action::What::join};
         action.what = some[random() % 6];
         model.perform(action);
         real.perform(action);
         ASSERT_EQ(model.events, real.events) << "run " << run << ", step " << step;
         if (model.events.size() > 20000) {
            break;
         }
      }
      told += model.events.size();
   }
   EXPECT_GT(told, 10000u);
}

} // namespace
