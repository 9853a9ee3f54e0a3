/// The listeners that bench/notify.cpp puts on the floors and on Gantry's entity. They are made and
/// their calls are written in a translation unit of their own, so that no call can be seen through
/// where it is made. Each adds to one number; the single thread of the benchmark owns all.
#pragma once

#include <gantry/runtime/fen/Ptr.h>

#include <bench/notify.fen.h>

#include <cstdint>

namespace BenchNotify {

/// A floor's listener: linked by itself, called by a virtual function.
struct Listener {
   Listener* next = nullptr;
   Listener* previous = nullptr;
   std::uint32_t references = 1;
   virtual ~Listener();
   virtual void onChange(std::uint32_t value) = 0;
};
/// One of two classes by turns, so that the call goes to more than one place.
Listener* listenerNew(int number);

/// What a peer's slot calls.
struct Sink {
   std::int64_t sum = 0;
   void hit(std::uint32_t value);
};

/// A reactor that adds to a number as the floors' listeners do.
Fen::Ptr<Meter::NotifieeConst> reactorNew(Fen::Ptr<Meter> const& meter, int number);
/// A reactor that reads what it watches through its notifier().
Fen::Ptr<Meter::NotifieeConst> readingReactorNew(Fen::Ptr<Meter> const& meter, int number);
/// A reactor that is part of a machine and calls a handler of that; it keeps the machine.
Fen::Ptr<Meter::NotifieeConst> nestedReactorNew(Fen::Ptr<Meter> const& meter, int number);

} // namespace BenchNotify
