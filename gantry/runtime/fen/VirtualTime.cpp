/// Moving time from deadline to deadline.
#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <typeinfo>

namespace Fen {

namespace {

constexpr int turnsWithoutQuiet = 100000;

String8 typeNameOf(Clock::Notifiee const* reactor) {
   if (reactor == nullptr) {
      return "none: a file descriptor stays ready, or work comes back at each turn's end";
   }
   int status = 0;
   std::unique_ptr<char, decltype(&std::free)> const readable(
      abi::__cxa_demangle(typeid(*reactor).name(), nullptr, nullptr, &status), &std::free);
   return status == 0 ? readable.get() : typeid(*reactor).name();
}

} // namespace

VirtualTime* VirtualTime::current_ = nullptr;

VirtualTime::VirtualTime(double start) : time_(start) {
   FEN_ASSERT(current_ == nullptr, "one virtual time at once");
   current_ = this;
}

VirtualTime::~VirtualTime() { current_ = nullptr; }

void VirtualTime::runUntilQuiet() {
   for (int turns = 1; ActivityLoop::instance().runOnce(0.0); ++turns) {
      if (turns == turnsWithoutQuiet) {
         Clock const& clock = *ActivityLoop::instance().clock();
         // A reactor that waits for a later time is not the busy one.
         auto const* const busy = clock.nextTime() <= time_ ? clock.nextNotifiee() : nullptr;
         throwRangeException(format("no quiet after %d turns, busy clock reactor: %s",
                                    turnsWithoutQuiet, typeNameOf(busy).charPtr()));
      }
   }
}

void VirtualTime::advance(double seconds) {
   double const end = time_ + seconds;
   Ptr<Clock> const clock = ActivityLoop::instance().clock();
   runUntilQuiet();
   while (clock->nextTime() <= end) {
      time_ = std::max(time_, clock->nextTime());
      runUntilQuiet();
   }
   time_ = end;
}

} // namespace Fen
