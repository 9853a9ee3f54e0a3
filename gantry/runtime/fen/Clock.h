/// Time, and reactors that wait for it. There is one clock, the activity loop's; its reactors fire
/// on the loop's thread, in order of their times and, among equal times, in the order of arming.
#pragma once

#include <gantry/runtime/fen/Notifiee.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace Fen {

/// Seconds as a double, from a clock that never jumps; from the virtual time while one lives.
GANTRY_EXPORT double now();

constexpr double never = std::numeric_limits<double>::infinity();

class GANTRY_EXPORT Clock : public Notifier {
 public:
   class NotifieeConst;
   class Notifiee;

   Clock();
   ~Clock() override;

   /// The time of the next reactor that waits, infinity when none does.
   double nextTime() const;
   /// Fires the reactors that are due at `time`. Those armed by a handler meanwhile wait for the
   /// next call, whatever their time; one that a handler cancels or deletes does not fire. Returns
   /// how many fired. Must not be entered from a handler.
   std::size_t runDue(double time);
   /// The reactor that would fire first, null when none waits. For messages about busy loops.
   Notifiee const* nextNotifiee() const;

 private:
   friend class Notifiee;

   void arm(Notifiee* reactor);
   void disarm(Notifiee* reactor);
   bool isBefore(Notifiee const* left, Notifiee const* right) const;
   void place(std::size_t index, Notifiee* reactor);
   void siftUp(std::size_t index);
   void siftDown(std::size_t index);
   Notifiee* takeFirst();
   void fire(Notifiee* reactor);

   std::vector<Notifiee*> heap_;
   std::vector<Notifiee*> due_;
   bool running_ = false;
   std::uint64_t armings_ = 0;
};

class GANTRY_EXPORT Clock::NotifieeConst : public PtrInterface::NotifieeConst {
 public:
   virtual void onIsNondestructing();
   /// The time has come. The reactor holds infinity by now and must be armed anew to fire again.
   virtual void onTime();

 protected:
   NotifieeConst();
   ~NotifieeConst() override;
};

/// A reactor on the clock. It does not join the list of notifiees: it waits in the clock's queue,
/// and only while it is registered and armed.
class GANTRY_EXPORT Clock::Notifiee : public Clock::NotifieeConst {
 public:
   using NotifierType = Clock;

   /// The earliest time at which onTime() is to be called. A time in the past, such as 0.0, means
   /// the next turn of the loop; infinity means never. Always arms, also with the value it holds: a
   /// fresh reactor holds 0.0 without being armed.
   void timeMinIs(double const& time);
   double timeMin() const { return timeMin_; }

   Ptr<Clock> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Ptr<Clock> const& clock);
   ~Notifiee() override;
   void fenJoin() override;
   void fenLeave() override;

 private:
   friend class Clock;
   static constexpr std::size_t nowhere = static_cast<std::size_t>(-1);

   Clock* clock() const;

   double timeMin_ = 0.0;
   std::uint64_t arming_ = 0;
   std::size_t heapIndex_ = nowhere;
   std::size_t dueIndex_ = nowhere;
   bool armed_ = false;
};

/// Where code finds the clock of the activity that it runs on.
class GANTRY_EXPORT ActivityFacility {
 public:
   static Ptr<Clock> clock();
};

} // namespace Fen
