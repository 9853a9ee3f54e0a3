/// Time that a test moves by hand. While one lives, Fen::now() and every clock reactor follow it,
/// and the loop never waits.
#pragma once

#include <gantry/runtime/Export.h>

namespace Fen {

class GANTRY_EXPORT VirtualTime {
 public:
   /// Time stands at `start` seconds from now on. One at a time per process.
   explicit VirtualTime(double start);
   ~VirtualTime();
   VirtualTime(VirtualTime const&) = delete;
   VirtualTime& operator=(VirtualTime const&) = delete;

   /// Moves time on by `seconds`. Every clock reactor that is due on the way fires with time
   /// standing at its own deadline, in order of time; turns of the loop run until nothing happens
   /// any more. After 100,000 turns at one time it throws a range exception that names the busy
   /// reactor.
   void advance(double seconds);

   double time() const { return time_; }
   /// The one that lives, null when time is real.
   static VirtualTime const* current() { return current_; }

 private:
   void runUntilQuiet();

   static VirtualTime* current_;
   double time_;
};

} // namespace Fen
