/// What it costs to set an attribute that 0, 1, 10 or 100 reactors watch, beside an intrusive list
/// with a virtual call, the same with a copy of counted references, and the signals of other
/// libraries where they are installed. Ratios to the intrusive list are printed behind the table,
/// with the memory of an entity. Pin it to one core.
#include "Ratios.h"
#include "peers/NotifyListeners.h"
#include "peers/NotifyPeers.h"

#include <malloc.h>
#include <memory>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define GANTRY_BENCH_COUNTING
#endif

namespace BenchNotify {

double bytesEach(void (*make)()) {
   constexpr int many = 1000;
   make();
   std::size_t const before = mallinfo2().uordblks;
   for (int i = 0; i < many; ++i) {
      make();
   }
   return static_cast<double>(mallinfo2().uordblks - before) / many;
}

void printMemory(char const* what, double bytes) {
   std::printf("memory: %-40s %6.0f bytes\n", what, bytes);
}

namespace {

// ---- floors
// --------------------------------------------------------------------------------------

/// What the floors have in common: a value and a list of listeners.
class FloorList {
 public:
   explicit FloorList(int listeners) {
      for (int i = 0; i < listeners; ++i) {
         owned_.emplace_back(listenerNew(i));
         Listener* const added = owned_.back().get();
         added->next = head_;
         if (head_ != nullptr) {
            head_->previous = added;
         }
         head_ = added;
         ++count_;
      }
   }

 protected:
   std::uint32_t value_ = 0;
   std::uint32_t count_ = 0;
   Listener* head_ = nullptr;

 private:
   std::vector<std::unique_ptr<Listener>> owned_;
};

/// Calls through the list, as it is.
class Intrusive : public FloorList {
 public:
   using FloorList::FloorList;
   [[gnu::noinline]] void set(std::uint32_t value) {
      if (value == value_) {
         return;
      }
      value_ = value;
      for (Listener* at = head_; at != nullptr;) {
         Listener* const following = at->next;
         at->onChange(value);
         at = following;
      }
   }
};

/// Copies the list with a reference to each first.
template <bool atomic>
class Snapshot : public FloorList {
 public:
   using FloorList::FloorList;
   [[gnu::noinline]] void set(std::uint32_t value) {
      if (value == value_) {
         return;
      }
      value_ = value;
      if (head_ == nullptr) {
         return;
      }
      Listener* few[8];
      Listener** copy = few;
      if (count_ > 8) {
         copy = static_cast<Listener**>(::operator new(count_ * sizeof *copy));
      }
      std::uint32_t copied = 0;
      for (Listener* at = head_; at != nullptr; at = at->next) {
         take(at);
         copy[copied++] = at;
      }
      for (std::uint32_t i = 0; i < copied; ++i) {
         copy[i]->onChange(value);
         drop(copy[i]);
      }
      if (copy != few) {
         ::operator delete(copy);
      }
   }

 private:
   static void take(Listener* listener) {
      if constexpr (atomic) {
         __atomic_fetch_add(&listener->references, 1, __ATOMIC_RELAXED);
      } else {
         ++listener->references;
      }
   }
   static void drop(Listener* listener) {
      std::uint32_t left;
      if constexpr (atomic) {
         left = __atomic_sub_fetch(&listener->references, 1, __ATOMIC_ACQ_REL);
      } else {
         left = --listener->references;
      }
      if (left == 0) {
         delete listener;
      }
   }
};

// ---- Gantry
// --------------------------------------------------------------------------------------

using NewReactor = Fen::Ptr<Meter::NotifieeConst>(Fen::Ptr<Meter> const& meter, int number);

template <NewReactor* newReactor>
class Gantry {
 public:
   explicit Gantry(int reactors) {
      for (int i = 0; i < reactors; ++i) {
         reactors_.push_back(newReactor(meter_, i));
      }
   }
   void set(std::uint32_t value) { meter_->valueIs(value); }

 private:
   Fen::Ptr<Meter> meter_ = Fen::makePtr<Meter>("meter");
   std::vector<Fen::Ptr<Meter::NotifieeConst>> reactors_;
};

#ifdef GANTRY_BENCH_COUNTING
/// Counts atomically for its life, as a process with several threads does.
class AtomicCounting {
 public:
   AtomicCounting() { __libc_single_threaded = 0; }
   ~AtomicCounting() { __libc_single_threaded = 1; }
};
#endif

template <class Subject>
void change(benchmark::State& state) {
   Subject subject(static_cast<int>(state.range(0)));
   std::uint32_t value = 0;
   for (auto _ : state) {
      subject.set(++value);
      benchmark::ClobberMemory();
   }
}

#ifdef GANTRY_BENCH_COUNTING
template <class Subject>
void changeAtomic(benchmark::State& state) {
   AtomicCounting const counting;
   change<Subject>(state);
}
#endif

using Function = void(benchmark::State&);

void add(std::string const& name, Function* function) {
   for (int const width : widths) {
      benchmark::RegisterBenchmark((name + "<" + std::to_string(width) + ">").c_str(), function)
         ->Arg(width);
   }
}

std::vector<Bench::Ratio> ratios(std::vector<std::string> const& peers) {
   std::vector<Bench::Ratio> all;
   double const goals[] = {1.2, 2.0, 2.2, 2.2};
   for (char const* name : {"Gantry", "GantryNested", "GantryReading"}) {
      for (std::size_t i = 0; i < std::size(widths); ++i) {
         std::string const width = "<" + std::to_string(widths[i]) + ">";
         all.push_back(
            {name + width + " / intrusive list", name + width, "Intrusive" + width, goals[i]});
      }
   }
   for (std::string const& peer : peers) {
      for (int const each : widths) {
         // A peer that keeps no copy of its slots is asked to be beaten up to 10.
         if (peer == "Sigc" && each > 10) {
            continue;
         }
         std::string const width = "<" + std::to_string(each) + ">";
         all.push_back({"Gantry" + width + " / " + peer, "Gantry" + width, peer + width, 1.0});
      }
   }
   return all;
}

Fen::Ptr<Meter> keptMeter() { return Fen::Ptr<Meter>(Fen::makePtr<Meter>("meter").release()); }

} // namespace
} // namespace BenchNotify

int main(int argc, char** argv) {
   using namespace BenchNotify;
   add("Intrusive", &change<Intrusive>);
   add("SnapshotPlain", &change<Snapshot<false>>);
   add("SnapshotAtomic", &change<Snapshot<true>>);
   add("Gantry", &change<Gantry<&reactorNew>>);
   add("GantryNested", &change<Gantry<&nestedReactorNew>>);
   add("GantryReading", &change<Gantry<&readingReactorNew>>);
#ifdef GANTRY_BENCH_COUNTING
   add("GantryAtomic", &changeAtomic<Gantry<&reactorNew>>);
#endif
   std::vector<std::string> peers;
   peersRegister(peers);
   int const result = Bench::runWithRatios(argc, argv, ratios(peers));
   // What is made here stays: the entities of a process that ends.
   printMemory("Gantry, 0 reactors", bytesEach([] { keptMeter(); }));
   printMemory("Gantry, 1 reactor, with its object",
               bytesEach([] { reactorNew(keptMeter(), 1).release(); }));
   peersMemory();
   return result;
}
