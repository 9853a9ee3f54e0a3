/// A wait for the first full round of mounts with a deadline, and what is said when that passes.
///
/// Owned by the program; on the activity loop's thread.
#pragma once

#include <hosts/gantry-controller/InitialMounts.h>

#include <iosfwd>

namespace Host {

class InitialWait {
 public:
   /// Waits for so many seconds from now. Then, or when all groups have finished, `ended` runs,
   /// once; before that, at the deadline, `errors` gets a line for each group that has not
   /// finished, naming each switch that it waits for, and in which state that is.
   InitialWait(InitialMounts& mounts, double seconds, std::ostream& errors,
               std::function<void()> ended);
   ~InitialWait();
   InitialWait(InitialWait const&) = delete;
   InitialWait& operator=(InitialWait const&) = delete;

   /// Whether all groups had finished before the deadline.
   bool isMet() const { return met_; }

 private:
   class Deadline;

   void handleComplete();
   void handleDeadline();

   InitialMounts& mounts_;
   double const seconds_;
   std::ostream& errors_;
   std::function<void()> const ended_;
   bool met_ = false;
   Fen::Ptr<Deadline> deadline_;
};

} // namespace Host
