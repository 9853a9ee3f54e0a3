/// What a keyed collection costs: Fen::HashMap beside two hand-written floors, the standard maps
/// and, where their headers are installed, Abseil's and Boost's. Keys are texts of 12 to 40
/// characters, lookups use other copies of the texts than the members have, and every container
/// holds counted references. Run it pinned to one core with random interleaving and compare ratios
/// within one run. With GANTRY_BENCH_THREADED set in the environment the process has had a second
/// thread, so that Gantry's references are counted with atomic instructions.
#include "Ratios.h"

#include <gantry/runtime/fen/HashMap.h>
#include <gantry/runtime/fen/SnapshotIterator.h>
#include <gantry/runtime/fen/String.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#ifdef GANTRY_BENCH_ABSL
#include <absl/container/flat_hash_map.h>
#include <absl/container/node_hash_map.h>
#include <absl/hash/hash.h>
#endif
#if __has_include(<boost/intrusive/unordered_set.hpp>)
#define GANTRY_BENCH_BOOST
#include <boost/intrusive/unordered_set.hpp>
#endif

namespace {

#ifdef GANTRY_BENCH_BOOST
namespace bi = boost::intrusive;
using Hook = bi::unordered_set_base_hook<bi::store_hash<true>, bi::link_mode<bi::normal_link>>;
#else
struct Hook {};
#endif

/// The hash of the floors, as good as the peers': both sides of a ratio pay for one.
std::uint64_t floorHash(std::string_view text) {
#ifdef GANTRY_BENCH_ABSL
   return absl::Hash<std::string_view>{}(text);
#else
   return std::hash<std::string_view>{}(text);
#endif
}

/// An object as the floors and peers hold it.
struct Obj : Hook {
   std::string name;
   std::uint32_t refs = 0;
   std::uint64_t value = 1;
   Obj* next = nullptr;
   std::uint32_t hash = 0;
};

/// A plain counted reference.
class Ref {
 public:
   explicit Ref(Obj* obj) : obj_(obj) { ++obj_->refs; }
   Ref(Ref const& other) : obj_(other.obj_) { take(); }
   Ref(Ref&& other) noexcept : obj_(std::exchange(other.obj_, nullptr)) {}
   Ref& operator=(Ref other) noexcept {
      std::swap(obj_, other.obj_);
      return *this;
   }
   ~Ref() {
      if (obj_ != nullptr) {
         --obj_->refs;
      }
   }
   Obj* obj() const { return obj_; }

 private:
   void take() {
      if (obj_ != nullptr) {
         ++obj_->refs;
      }
   }
   Obj* obj_;
};

/// An object as Gantry holds it.
class Member : public Fen::PtrInterface {
 public:
   explicit Member(Fen::Name key) : key_(key) {}
   Fen::Name const& fwkKey() const { return key_; }
   Fen::HashMapLink& fwkHmLink() { return link_; }
   std::uint64_t value = 1;

 private:
   Fen::Name key_;
   Fen::HashMapLink link_;
};

std::string randomText(std::mt19937& random) {
   static constexpr char letters[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/-";
   std::string text(12 + random() % 29, ' ');
   for (char& c : text) {
      c = letters[random() % 64];
   }
   return text;
}

constexpr std::size_t extraCount = 4096;

/// The objects and keys of one size, made once: in the collection, looked up, absent, and to be
/// inserted and erased.
struct Data {
   explicit Data(std::size_t count) {
      std::mt19937 random(static_cast<unsigned>(42 + count));
      for (std::size_t i = 0; i < count; ++i) {
         objs.push_back(newObj(randomText(random)));
      }
      for (auto const& obj : objs) {
         hit.push_back(obj->name);
      }
      std::shuffle(hit.begin(), hit.end(), random);
      for (std::size_t i = 0; i < count; ++i) {
         miss.push_back(randomText(random));
      }
      for (std::size_t i = 0; i < std::min(count, extraCount); ++i) {
         extra.push_back(newObj(randomText(random)));
      }
      std::shuffle(objs.begin(), objs.end(), random);
   }
   static std::unique_ptr<Obj> newObj(std::string name) {
      auto obj = std::make_unique<Obj>();
      obj->name = std::move(name);
      return obj;
   }

   std::vector<std::unique_ptr<Obj>> objs, extra;
   std::vector<std::string> hit, miss;
};

/// The same for Gantry, made in the same order.
struct GantryData {
   explicit GantryData(std::size_t count) {
      std::mt19937 random(static_cast<unsigned>(42 + count));
      for (std::size_t i = 0; i < count; ++i) {
         objs.push_back(Fen::makePtr<Member>(Fen::Name(randomText(random))));
      }
      for (auto const& obj : objs) {
         hit.push_back(Fen::Name(obj->fwkKey().str()));
      }
      std::shuffle(hit.begin(), hit.end(), random);
      for (std::size_t i = 0; i < count; ++i) {
         miss.push_back(Fen::Name(randomText(random)));
      }
      for (std::size_t i = 0; i < std::min(count, extraCount); ++i) {
         extra.push_back(Fen::makePtr<Member>(Fen::Name(randomText(random))));
      }
      std::shuffle(objs.begin(), objs.end(), random);
   }

   std::vector<Fen::Ptr<Member>> objs, extra;
   std::vector<Fen::Name> hit, miss;
};

template <class D>
D& data(std::int64_t count) {
   static std::map<std::int64_t, std::unique_ptr<D>> made;
   auto& one = made[count];
   if (one == nullptr) {
      one = std::make_unique<D>(static_cast<std::size_t>(count));
   }
   return *one;
}

// Each adapter gives a container the same face: init, insert when absent, find, erase, each, clear.

/// Fen::HashMap, filled as generated accessors fill it: a lookup, then the raw insertion.
struct Gantry {
   using Source = GantryData;
   using Map = Fen::HashMap<Member, Fen::Name>;
   void init(std::size_t) {}
   void insert(Fen::Ptr<Member> const& member) {
      std::uint32_t const rhash = Fen::rhashOf<Fen::Name>(member->fwkKey());
      if (map.find(rhash, member->fwkKey()) == nullptr) {
         map.newMember(member, rhash);
      }
   }
   Member* find(Fen::Name const& key) const { return map.find(key); }
   void erase(Fen::Ptr<Member> const& member) { map.memberDel(member->fwkKey()); }
   /// With the iterator that survives every change of the map and holds where it stands.
   template <class F>
   void each(F f) const {
      for (Map::IteratorConst it(&map); it; ++it) {
         f(it.ptr());
      }
   }
   void clear() {}
   Map map;
};

template <class M>
struct Standard {
   using Source = Data;
   void init(std::size_t) {}
   void insert(std::unique_ptr<Obj> const& obj) { map.emplace(obj->name, Ref(obj.get())); }
   Obj* find(std::string const& key) const {
      auto const at = map.find(key);
      return at == map.end() ? nullptr : at->second.obj();
   }
   void erase(std::unique_ptr<Obj> const& obj) { map.erase(map.find(obj->name)); }
   template <class F>
   void each(F f) const {
      for (auto const& entry : map) {
         f(entry.second.obj());
      }
   }
   void clear() { map.clear(); }
   M map;
};

#ifdef GANTRY_BENCH_BOOST
struct KeyOfObj {
   using type = std::string;
   std::string const& operator()(Obj const& obj) const { return obj.name; }
};
struct BoostHash {
   std::size_t operator()(std::string_view text) const { return floorHash(text); }
};
struct BoostIntrusive {
   using Source = Data;
   using Set = bi::unordered_set<Obj, bi::key_of_value<KeyOfObj>, bi::hash<BoostHash>,
                                 bi::power_2_buckets<true>, bi::compare_hash<true>>;
   void init(std::size_t count) {
      std::size_t size = 1;
      while (size < count) {
         size *= 2;
      }
      buckets.resize(size);
      set = std::make_unique<Set>(Set::bucket_traits(buckets.data(), size));
   }
   void insert(std::unique_ptr<Obj> const& obj) {
      ++obj->refs;
      set->insert(*obj);
   }
   Obj* find(std::string const& key) const {
      auto const at = set->find(key);
      return at == set->end() ? nullptr : &*at;
   }
   void erase(std::unique_ptr<Obj> const& obj) {
      set->erase(set->iterator_to(*set->find(obj->name)));
      --obj->refs;
   }
   template <class F>
   void each(F f) const {
      for (auto const& obj : *set) {
         f(&obj);
      }
   }
   void clear() { set->clear(); }
   std::vector<Set::bucket_type> buckets;
   std::unique_ptr<Set> set;
};
#endif

/// Open addressing over {hash, index, pointer} slots at most half full, with the objects also in a
/// dense vector for iteration.
struct FloorOA {
   using Source = Data;
   struct Slot {
      std::uint32_t hash = 0;
      std::uint32_t index = 0;
      Obj* obj = nullptr;
   };
   static std::uint32_t hashOf(std::string_view text) {
      std::uint64_t const hash = floorHash(text);
      return static_cast<std::uint32_t>((hash >> 32) ^ hash) | 1;
   }
   void init(std::size_t count) {
      std::size_t size = 16;
      while (size < count * 2) {
         size *= 2;
      }
      slots.assign(size, Slot{});
      mask = size - 1;
      dense.reserve(count + 16);
   }
   void insert(std::unique_ptr<Obj> const& obj) {
      std::uint32_t const hash = hashOf(obj->name);
      std::size_t at = (hash >> 1) & mask;
      for (; slots[at].hash != 0; at = (at + 1) & mask) {
         if (slots[at].hash == hash && slots[at].obj->name == obj->name) {
            return;
         }
      }
      slots[at] = {hash, static_cast<std::uint32_t>(dense.size()), obj.get()};
      dense.push_back(obj.get());
      ++obj->refs;
   }
   std::size_t slotOf(std::string_view key) const {
      std::uint32_t const hash = hashOf(key);
      std::size_t at = (hash >> 1) & mask;
      for (; slots[at].hash != 0; at = (at + 1) & mask) {
         if (slots[at].hash == hash && slots[at].obj->name.size() == key.size() &&
             std::memcmp(slots[at].obj->name.data(), key.data(), key.size()) == 0) {
            break;
         }
      }
      return at;
   }
   Obj* find(std::string const& key) const { return slots[slotOf(key)].obj; }
   void erase(std::unique_ptr<Obj> const& obj) {
      std::size_t hole = slotOf(obj->name);
      if (Obj* const last = dense.back(); last != obj.get()) {
         dense[slots[hole].index] = last;
         slots[slotOf(last->name)].index = slots[hole].index;
      }
      dense.pop_back();
      --obj->refs;
      for (std::size_t at = hole;;) {
         at = (at + 1) & mask;
         if (slots[at].hash == 0) {
            break;
         }
         std::size_t const home = (slots[at].hash >> 1) & mask;
         if (((at - home) & mask) >= ((at - hole) & mask)) {
            slots[hole] = slots[at];
            hole = at;
         }
      }
      slots[hole] = Slot{};
   }
   template <class F>
   void each(F f) const {
      for (Obj const* obj : dense) {
         f(obj);
      }
   }
   void clear() {}
   std::vector<Slot> slots;
   std::vector<Obj*> dense;
   std::size_t mask = 0;
};

/// An intrusive chain per bucket with the hash in the object: the least that the shape of
/// Fen::HashMap can cost. Not sorted, not counted per step, and no iterator survives a change.
struct FloorChain {
   using Source = Data;
   static std::uint32_t hashOf(std::string_view text) {
      return static_cast<std::uint32_t>(floorHash(text));
   }
   void init(std::size_t count) {
      std::size_t size = 8;
      while (size < count) {
         size *= 2;
      }
      buckets.assign(size, nullptr);
      mask = size - 1;
   }
   void insert(std::unique_ptr<Obj> const& obj) {
      std::uint32_t const hash = hashOf(obj->name);
      Obj*& head = buckets[hash & mask];
      for (Obj* at = head; at != nullptr; at = at->next) {
         if (at->hash == hash && at->name == obj->name) {
            return;
         }
      }
      obj->hash = hash;
      obj->next = head;
      head = obj.get();
      ++obj->refs;
   }
   Obj* find(std::string const& key) const {
      std::uint32_t const hash = hashOf(key);
      for (Obj* at = buckets[hash & mask]; at != nullptr; at = at->next) {
         if (at->hash == hash && at->name == key) {
            return at;
         }
      }
      return nullptr;
   }
   void erase(std::unique_ptr<Obj> const& obj) {
      std::uint32_t const hash = hashOf(obj->name);
      for (Obj** at = &buckets[hash & mask]; *at != nullptr; at = &(*at)->next) {
         if ((*at)->hash == hash && (*at)->name == obj->name) {
            *at = obj->next;
            --obj->refs;
            return;
         }
      }
   }
   template <class F>
   void each(F f) const {
      for (Obj const* head : buckets) {
         for (; head != nullptr; head = head->next) {
            f(head);
         }
      }
   }
   void clear() {}
   std::vector<Obj*> buckets;
   std::size_t mask = 0;
};

template <class A>
void fill(A& adapter, typename A::Source& source) {
   adapter.init(source.objs.size() + 1);
   for (auto const& obj : source.objs) {
      adapter.insert(obj);
   }
}

template <class A>
void FindHit(benchmark::State& state) {
   auto& source = data<typename A::Source>(state.range(0));
   A adapter;
   fill(adapter, source);
   std::size_t at = 0;
   for (auto _ : state) {
      auto* const found = adapter.find(source.hit[at]);
      if (found == nullptr) {
         std::abort();
      }
      benchmark::DoNotOptimize(found->value);
      at = at + 1 == source.hit.size() ? 0 : at + 1;
   }
   adapter.clear();
}

template <class A>
void FindMiss(benchmark::State& state) {
   auto& source = data<typename A::Source>(state.range(0));
   A adapter;
   fill(adapter, source);
   std::size_t at = 0;
   for (auto _ : state) {
      if (adapter.find(source.miss[at]) != nullptr) {
         std::abort();
      }
      at = at + 1 == source.miss.size() ? 0 : at + 1;
   }
   adapter.clear();
}

template <class A>
void InsertErase(benchmark::State& state) {
   auto& source = data<typename A::Source>(state.range(0));
   A adapter;
   fill(adapter, source);
   std::size_t at = 0;
   for (auto _ : state) {
      adapter.insert(source.extra[at]);
      adapter.erase(source.extra[at]);
      benchmark::ClobberMemory();
      at = at + 1 == source.extra.size() ? 0 : at + 1;
   }
   adapter.clear();
}

template <class A>
void Iterate(benchmark::State& state) {
   auto& source = data<typename A::Source>(state.range(0));
   A adapter;
   fill(adapter, source);
   for (auto _ : state) {
      std::uint64_t sum = 0;
      adapter.each([&sum](auto const* obj) { sum += obj->value; });
      benchmark::DoNotOptimize(sum);
      if (sum != source.objs.size()) {
         std::abort();
      }
   }
   state.counters["per_member"] = benchmark::Counter(static_cast<double>(state.range(0)),
                                                     benchmark::Counter::kIsIterationInvariantRate |
                                                        benchmark::Counter::kInvert);
   adapter.clear();
}

/// Filling an empty map and emptying it again, growing and shrinking on the way. The cost per
/// member depends on their number only through the caches, which 100,000 members in random order
/// outgrow.
void Slope(benchmark::State& state) {
   auto& source = data<GantryData>(state.range(0));
   for (auto _ : state) {
      Gantry gantry;
      for (auto const& obj : source.objs) {
         gantry.insert(obj);
      }
      for (auto const& obj : source.objs) {
         gantry.erase(obj);
      }
      benchmark::DoNotOptimize(gantry.map.size());
   }
   state.counters["per_member"] = benchmark::Counter(static_cast<double>(state.range(0)),
                                                     benchmark::Counter::kIsIterationInvariantRate |
                                                        benchmark::Counter::kInvert);
}

[[maybe_unused]] bool const threaded = [] {
   if (std::getenv("GANTRY_BENCH_THREADED") == nullptr) {
      return false;
   }
   std::thread([] {}).join();
   return true;
}();

void sizes(benchmark::internal::Benchmark* benchmark) {
   for (int count : {10, 1000, 100000}) {
      benchmark->Arg(count);
   }
}

using UnorderedMap = Standard<std::unordered_map<std::string, Ref>>;
using OrderedMap = Standard<std::map<std::string, Ref>>;

#define GANTRY_BENCH_ADAPTER(A)                                                                    \
   BENCHMARK_TEMPLATE(FindHit, A)->Apply(sizes);                                                   \
   BENCHMARK_TEMPLATE(FindMiss, A)->Apply(sizes);                                                  \
   BENCHMARK_TEMPLATE(InsertErase, A)->Apply(sizes);                                               \
   BENCHMARK_TEMPLATE(Iterate, A)->Apply(sizes)

GANTRY_BENCH_ADAPTER(Gantry);
GANTRY_BENCH_ADAPTER(FloorChain);
GANTRY_BENCH_ADAPTER(FloorOA);
GANTRY_BENCH_ADAPTER(UnorderedMap);
GANTRY_BENCH_ADAPTER(OrderedMap);
#ifdef GANTRY_BENCH_ABSL
using AbslFlat = Standard<absl::flat_hash_map<std::string, Ref>>;
using AbslNode = Standard<absl::node_hash_map<std::string, Ref>>;
GANTRY_BENCH_ADAPTER(AbslFlat);
GANTRY_BENCH_ADAPTER(AbslNode);
#endif
#ifdef GANTRY_BENCH_BOOST
GANTRY_BENCH_ADAPTER(BoostIntrusive);
#endif
BENCHMARK(Slope)->RangeMultiplier(10)->Range(1, 100000);

/// What the project wants of its map, for 10, 1,000 and 100,000 members: beside the hand-written
/// chain, and beside Abseil's flat map where that is installed.
std::vector<Bench::Ratio> ratios() {
   struct Goal {
      char const* operation;
      double chain;
      std::vector<double> flat;
   };
   Goal const goals[] = {{"FindHit", 1.15, {0.95, 0.85, 1.3}},
                         {"FindMiss", 1.15, {}},
                         {"InsertErase", 1.2, {0.75, 0.75, 0.75}},
                         {"Iterate", 2, {}}};
   char const* const counts[] = {"10", "1000", "100000"};
   std::vector<Bench::Ratio> all;
   for (Goal const& goal : goals) {
      for (std::size_t i = 0; i < std::size(counts); ++i) {
         std::string const what = std::string(goal.operation) + "/" + counts[i];
         auto const of = [&](char const* map) {
            return std::string(goal.operation) + "<" + map + ">/" + counts[i];
         };
         all.push_back({what + " / chain", of("Gantry"), of("FloorChain"), goal.chain});
         if (!goal.flat.empty()) {
            all.push_back({what + " / Abseil flat", of("Gantry"), of("AbslFlat"), goal.flat[i]});
         }
      }
   }
   return all;
}

} // namespace

int main(int argc, char** argv) { return Bench::runWithRatios(argc, argv, ratios()); }
