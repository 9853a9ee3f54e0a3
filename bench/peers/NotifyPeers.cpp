/// Signals of other libraries with as many slots as Gantry's entity has reactors.
#include "NotifyPeers.h"

#include "NotifyListeners.h"

#include <benchmark/benchmark.h>

#include <memory>

#if __has_include(<boost/signals2.hpp>)
#define GANTRY_BENCH_SIGNALS2
#include <boost/signals2.hpp>
#include <boost/signals2/dummy_mutex.hpp>
#endif
#ifdef GANTRY_BENCH_SIGC
#include <sigc++/sigc++.h>
#endif
#ifdef GANTRY_BENCH_GOBJECT
#include <glib-object.h>
#endif
#ifdef GANTRY_BENCH_QT
#include "NotifyQt.h"
#endif

namespace BenchNotify {

namespace {

template <class Subject>
void change(benchmark::State& state) {
   Subject subject(static_cast<int>(state.range(0)));
   std::uint32_t value = 0;
   for (auto _ : state) {
      subject.set(++value);
      benchmark::ClobberMemory();
   }
}

template <class Subject>
void add(std::vector<std::string>& names, std::string const& name) {
   for (int const width : widths) {
      benchmark::RegisterBenchmark((name + "<" + std::to_string(width) + ">").c_str(),
                                   &change<Subject>)
         ->Arg(width);
   }
   names.push_back(name);
}

#ifdef GANTRY_BENCH_SIGNALS2
template <class Signal>
class Signals2 {
 public:
   explicit Signals2(int slots) : sinks_(static_cast<std::size_t>(slots)) {
      for (Sink& sink : sinks_) {
         signal_.connect([&sink](std::uint32_t value) { sink.hit(value); });
      }
   }
   [[gnu::noinline]] void set(std::uint32_t value) {
      if (value != value_) {
         value_ = value;
         signal_(value);
      }
   }

 private:
   std::uint32_t value_ = 0;
   Signal signal_;
   std::vector<Sink> sinks_;
};
using Locking = Signals2<boost::signals2::signal<void(std::uint32_t)>>;
using Unlocking = Signals2<boost::signals2::signal_type<
   void(std::uint32_t), boost::signals2::keywords::mutex_type<boost::signals2::dummy_mutex>>::type>;
#endif

#ifdef GANTRY_BENCH_SIGC
class Sigc {
 public:
   explicit Sigc(int slots) {
      for (int i = 0; i < slots; ++i) {
         slots_.push_back(std::make_unique<Slot>());
         signal_.connect(sigc::mem_fun(*slots_.back(), &Slot::hit));
      }
   }
   [[gnu::noinline]] void set(std::uint32_t value) {
      if (value != value_) {
         value_ = value;
         signal_.emit(value);
      }
   }

 private:
   struct Slot : sigc::trackable {
      Sink sink;
      void hit(std::uint32_t value) { sink.hit(value); }
   };
   std::uint32_t value_ = 0;
   std::vector<std::unique_ptr<Slot>> slots_;
   sigc::signal<void(std::uint32_t)> signal_;
};
#endif

#ifdef GANTRY_BENCH_GOBJECT
struct GMeter {
   GObject parent;
   std::uint32_t value;
};
struct GMeterClass {
   GObjectClass parent;
};
GParamSpec* valueSpec = nullptr;

void gmeterGet(GObject* object, guint, GValue* value, GParamSpec*) {
   g_value_set_uint(value, reinterpret_cast<GMeter*>(object)->value);
}
void gmeterClassInit(void* made, void*) {
   auto* const meterClass = static_cast<GObjectClass*>(made);
   meterClass->get_property = gmeterGet;
   valueSpec =
      g_param_spec_uint("value", "value", "value", 0, G_MAXUINT, 0,
                        static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_EXPLICIT_NOTIFY |
                                                 G_PARAM_STATIC_STRINGS));
   g_object_class_install_property(meterClass, 1, valueSpec);
}
GType gmeterType() {
   static GType const type =
      g_type_register_static_simple(G_TYPE_OBJECT, "GMeter", sizeof(GMeterClass), gmeterClassInit,
                                    sizeof(GMeter), nullptr, GTypeFlags(0));
   return type;
}
void gmeterSlot(GObject* object, GParamSpec*, void* sink) {
   static_cast<Sink*>(sink)->hit(reinterpret_cast<GMeter*>(object)->value);
}
GMeter* gmeterNew() { return static_cast<GMeter*>(g_object_new(gmeterType(), nullptr)); }

class GObjects {
 public:
   explicit GObjects(int slots) : meter_(gmeterNew()), sinks_(static_cast<std::size_t>(slots)) {
      for (Sink& sink : sinks_) {
         g_signal_connect(meter_, "notify::value", G_CALLBACK(gmeterSlot), &sink);
      }
   }
   ~GObjects() { g_object_unref(meter_); }
   [[gnu::noinline]] void set(std::uint32_t value) {
      if (value != meter_->value) {
         meter_->value = value;
         g_object_notify_by_pspec(&meter_->parent, valueSpec);
      }
   }

 private:
   GMeter* meter_;
   std::vector<Sink> sinks_;
};
#endif

#ifdef GANTRY_BENCH_QT
class Qt {
 public:
   explicit Qt(int slots) {
      for (int i = 0; i < slots; ++i) {
         slots_.push_back(std::make_unique<QtSlot>());
         qtConnect(subject_, *slots_.back());
      }
   }
   void set(std::uint32_t value) { subject_.set(value); }

 private:
   QtSubject subject_;
   std::vector<std::unique_ptr<QtSlot>> slots_;
};
#endif

} // namespace

void peersRegister([[maybe_unused]] std::vector<std::string>& names) {
#ifdef GANTRY_BENCH_SIGNALS2
   add<Locking>(names, "Signals2");
   add<Unlocking>(names, "Signals2Unlocked");
#endif
#ifdef GANTRY_BENCH_SIGC
   add<Sigc>(names, "Sigc");
#endif
#ifdef GANTRY_BENCH_QT
   add<Qt>(names, "Qt");
#endif
#ifdef GANTRY_BENCH_GOBJECT
   add<GObjects>(names, "GObject");
#endif
}

void peersMemory() {
#ifdef GANTRY_BENCH_SIGNALS2
   using Signal = boost::signals2::signal<void(std::uint32_t)>;
   printMemory("Signals2, 0 slots", bytesEach([] { new Signal; }));
   printMemory("Signals2, 1 slot", bytesEach([] { (new Signal)->connect([](std::uint32_t) {}); }));
#endif
#ifdef GANTRY_BENCH_SIGC
   using SigcSignal = sigc::signal<void(std::uint32_t)>;
   printMemory("Sigc, 0 slots", bytesEach([] { new SigcSignal; }));
   printMemory("Sigc, 1 slot", bytesEach([] { (new SigcSignal)->connect([](std::uint32_t) {}); }));
#endif
#ifdef GANTRY_BENCH_QT
   printMemory("Qt, 0 slots", bytesEach([] { new QtSubject; }));
   printMemory("Qt, 1 slot, with its object",
               bytesEach([] { qtConnect(*new QtSubject, *new QtSlot); }));
#endif
#ifdef GANTRY_BENCH_GOBJECT
   gmeterNew();
   printMemory("GObject, 0 slots", bytesEach([] { gmeterNew(); }));
   printMemory("GObject, 1 slot", bytesEach([] {
                  g_signal_connect(gmeterNew(), "notify::value", G_CALLBACK(gmeterSlot), nullptr);
               }));
#endif
}

} // namespace BenchNotify
