/// The queue of waiting clock reactors: a binary heap ordered by time and order of arming, in which
/// each reactor knows its place, so that arming anew costs no search and no allocation.
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/Clock.h>

#include <cmath>

namespace Fen {

Clock::Clock() = default;

Clock::~Clock() {
   // Only weak reactors can wait here still: the others would have kept this clock alive.
   while (!heap_.empty()) {
      Notifiee* const reactor = heap_.front();
      disarm(reactor);
      reactor->fenNotifierGone();
   }
}

Clock::NotifieeConst::NotifieeConst() = default;
Clock::NotifieeConst::~NotifieeConst() = default;
void Clock::NotifieeConst::onIsNondestructing() {}
void Clock::NotifieeConst::onTime() {}

Clock::Notifiee::Notifiee() = default;
Clock::Notifiee::Notifiee(Ptr<Clock> const& clock) { fenNotifierStore(clock.ptr()); }

Clock::Notifiee::~Notifiee() { isRegisteredNotifieeIs(false); }

Clock* Clock::Notifiee::clock() const {
   return const_cast<Clock*>(static_cast<Clock const*>(fenNotifier()));
}

Ptr<Clock> Clock::Notifiee::notifier() const { return Ptr<Clock>(clock()); }

void Clock::Notifiee::timeMinIs(double const& time) {
   FEN_ASSERT(!std::isnan(time), "a clock reactor's time is a number");
   timeMin_ = time;
   armed_ = time < never;
   if (Clock* const where = clock(); where != nullptr && isRegisteredNotifiee()) {
      where->disarm(this);
      where->arm(this);
   }
}

void Clock::Notifiee::fenJoin() { clock()->arm(this); }
void Clock::Notifiee::fenLeave() { clock()->disarm(this); }

bool Clock::isBefore(Notifiee const* left, Notifiee const* right) const {
   if (left->timeMin_ != right->timeMin_) {
      return left->timeMin_ < right->timeMin_;
   }
   return left->arming_ < right->arming_;
}

void Clock::place(std::size_t index, Notifiee* reactor) {
   heap_[index] = reactor;
   reactor->heapIndex_ = index;
}

void Clock::siftUp(std::size_t index) {
   Notifiee* const moving = heap_[index];
   while (index > 0) {
      std::size_t const above = (index - 1) / 2;
      if (!isBefore(moving, heap_[above])) {
         break;
      }
      place(index, heap_[above]);
      index = above;
   }
   place(index, moving);
}

void Clock::siftDown(std::size_t index) {
   Notifiee* const moving = heap_[index];
   for (;;) {
      std::size_t below = 2 * index + 1;
      if (below >= heap_.size()) {
         break;
      }
      if (below + 1 < heap_.size() && isBefore(heap_[below + 1], heap_[below])) {
         ++below;
      }
      if (!isBefore(heap_[below], moving)) {
         break;
      }
      place(index, heap_[below]);
      index = below;
   }
   place(index, moving);
}

void Clock::arm(Notifiee* reactor) {
   if (!reactor->armed_ || reactor->heapIndex_ != Notifiee::nowhere) {
      return;
   }
   reactor->arming_ = ++armings_;
   heap_.push_back(reactor);
   siftUp(heap_.size() - 1);
}

void Clock::disarm(Notifiee* reactor) {
   if (reactor->dueIndex_ != Notifiee::nowhere) {
      due_[reactor->dueIndex_] = nullptr;
      reactor->dueIndex_ = Notifiee::nowhere;
   }
   std::size_t const index = reactor->heapIndex_;
   if (index == Notifiee::nowhere) {
      return;
   }
   reactor->heapIndex_ = Notifiee::nowhere;
   Notifiee* const last = heap_.back();
   heap_.pop_back();
   if (last != reactor) {
      place(index, last);
      siftUp(index);
      siftDown(last->heapIndex_);
   }
}

double Clock::nextTime() const { return heap_.empty() ? never : heap_.front()->timeMin_; }

Clock::Notifiee const* Clock::nextNotifiee() const {
   return heap_.empty() ? nullptr : heap_.front();
}

Clock::Notifiee* Clock::takeFirst() {
   Notifiee* const first = heap_.front();
   disarm(first);
   return first;
}

void Clock::fire(Notifiee* reactor) {
   Ptr<Notifiee> const running(reactor);
   reactor->dueIndex_ = Notifiee::nowhere;
   // Infinity goes in before the handler runs, so that what the handler arms stays armed.
   reactor->timeMin_ = never;
   reactor->armed_ = false;
   try {
      Expect const expect(Exception::Id::any);
      reactor->onTime();
   } catch (...) {
      tellOfException(*reactor, firstOwnAttributeId);
   }
}

std::size_t Clock::runDue(double time) {
   FEN_ASSERT(!running_, "a clock handler does not run the clock");
   while (nextTime() <= time) {
      Notifiee* const reactor = takeFirst();
      reactor->dueIndex_ = due_.size();
      due_.push_back(reactor);
   }
   std::size_t fired = 0;
   running_ = true;
   for (std::size_t i = 0; i < due_.size(); ++i) {
      if (due_[i] != nullptr) {
         fire(due_[i]);
         ++fired;
      }
   }
   running_ = false;
   due_.clear();
   return fired;
}

} // namespace Fen
