/// The listeners of bench/notify.cpp.
#include "NotifyListeners.h"

#include <gantry/runtime/fen/Reactor.h>

namespace BenchNotify {

Listener::~Listener() = default;

namespace {

struct Adding : Listener {
   std::int64_t sum = 0;
   void onChange(std::uint32_t value) override { sum += value; }
};
struct Subtracting : Listener {
   std::int64_t sum = 0;
   void onChange(std::uint32_t value) override { sum -= value; }
};

template <int step>
class Stepping : public Meter::NotifieeConst {
 public:
   explicit Stepping(Fen::Ptr<Meter const> const& meter) : Meter::NotifieeConst(meter) {
      isRegisteredNotifieeIs(true);
   }
   void onValue() override { sum_ += step; }

 private:
   std::int64_t sum_ = 0;
};

template <int sign>
class Reading : public Meter::NotifieeConst {
 public:
   explicit Reading(Fen::Ptr<Meter const> const& meter) : Meter::NotifieeConst(meter) {
      isRegisteredNotifieeIs(true);
   }
   void onValue() override { sum_ += sign * static_cast<std::int64_t>(notifier()->value()); }

 private:
   std::int64_t sum_ = 0;
};

class Machine : public Fen::PtrInterface {
 public:
   void handleValue() { ++sum_; }

 private:
   std::int64_t sum_ = 0;
};

class Nested : public Fen::NestedReactor<Nested, Meter::Notifiee, Machine> {
 public:
   Nested(Fen::Ptr<Meter> const& meter, Fen::Ptr<Machine> const& machine)
      : NestedReactor(meter, machine.ptr()), held_(machine) {}
   void onValue() override {
      fenRun([](Machine& machine) { machine.handleValue(); });
   }
   void fenHandleAll() { onValue(); }

 private:
   Fen::Ptr<Machine> held_;
};

} // namespace

Listener* listenerNew(int number) {
   if (number % 2 != 0) {
      return new Adding;
   }
   return new Subtracting;
}

void Sink::hit(std::uint32_t value) { sum += value; }

Fen::Ptr<Meter::NotifieeConst> reactorNew(Fen::Ptr<Meter> const& meter, int number) {
   if (number % 2 != 0) {
      return Fen::makePtr<Stepping<1>>(meter);
   }
   return Fen::makePtr<Stepping<-1>>(meter);
}

Fen::Ptr<Meter::NotifieeConst> readingReactorNew(Fen::Ptr<Meter> const& meter, int number) {
   if (number % 2 != 0) {
      return Fen::makePtr<Reading<1>>(meter);
   }
   return Fen::makePtr<Reading<-1>>(meter);
}

Fen::Ptr<Meter::NotifieeConst> nestedReactorNew(Fen::Ptr<Meter> const& meter, int) {
   return Fen::makePtr<Nested>(meter, Fen::makePtr<Machine>());
}

} // namespace BenchNotify
