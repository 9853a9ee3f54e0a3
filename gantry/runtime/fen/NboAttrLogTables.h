/// What a channel's log keeps inside: its entity ids and its queues. Private to the library;
/// owned by the Demuxer, on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/NboAttrLogFlow.h>
#include <gantry/runtime/fen/StreamAdapter.h>

#include <array>
#include <deque>
#include <unordered_map>

namespace Fen::NboAttrLog {

/// The adapters by the first word of their ids, which count up without a gap. Ids are not given
/// twice, so that a late message about an entity that has gone never reaches another one. Groups of
/// ids whose entities have all gone cost one pointer.
class IdTable {
 public:
   using Adapter = Entity::FenNboAttrLogSa;
   static constexpr std::uint32_t first = 2;

   std::uint32_t highest() const { return highest_; }
   std::size_t size() const { return size_; }

   Adapter* find(std::uint32_t number) const {
      std::size_t const group = number / groupSize;
      if (group >= groups_.size() || groups_[group] == nullptr) {
         return nullptr;
      }
      return groups_[group]->adapters[number % groupSize].ptr();
   }
   /// Binds a number up to the next one.
   void bind(std::uint32_t number, Ptr<Adapter> const& adapter) {
      std::size_t const group = number / groupSize;
      if (group >= groups_.size()) {
         groups_.resize(group + 1);
      }
      if (groups_[group] == nullptr) {
         groups_[group] = std::make_unique<Group>();
      }
      Ptr<Adapter>& place = groups_[group]->adapters[number % groupSize];
      if (!place) {
         ++groups_[group]->used;
         ++size_;
      }
      place = adapter;
      highest_ = std::max(highest_, number);
   }
   /// The number has been given, whether or not it will ever be bound.
   void given(std::uint32_t number) { highest_ = std::max(highest_, number); }
   void unbind(std::uint32_t number) {
      std::size_t const group = number / groupSize;
      if (find(number) == nullptr) {
         return;
      }
      groups_[group]->adapters[number % groupSize] = nullptr;
      --size_;
      if (--groups_[group]->used == 0) {
         groups_[group] = nullptr;
      }
   }
   template <class F>
   void forEach(F const& f) const {
      for (auto const& group : groups_) {
         for (std::size_t i = 0; group != nullptr && i < groupSize; ++i) {
            if (group->adapters[i]) {
               f(*group->adapters[i]);
            }
         }
      }
   }
   void clear() {
      groups_.clear();
      size_ = 0;
   }

 private:
   static constexpr std::size_t groupSize = 32;
   struct Group {
      std::array<Ptr<Adapter>, groupSize> adapters;
      std::uint32_t used = 0;
   };

   std::vector<std::unique_ptr<Group>> groups_;
   std::uint32_t highest_ = first - 1;
   std::size_t size_ = 0;
};

/// The adapters of entities that have many notifiees, by entity. An adapter that was among an
/// entity's first notifiees is found there, since its place in that list only ever moves forward;
/// asking all of them would cost as much as there are channels that carry the entity, for each
/// channel. Order is never asked for, so what depends on addresses stays inside.
class AdapterTable {
 public:
   using Adapter = Entity::FenNboAttrLogSa;
   /// How many of an entity's notifiees are asked before this table is.
   static constexpr std::size_t nearNotifiees = 4;

   Adapter* find(Entity const& entity) const {
      for (std::size_t at = home(entity); used_ != 0; at = (at + 1) & mask()) {
         if (places_[at].entity == &entity) {
            return places_[at].adapter;
         }
         if (places_[at].entity == nullptr) {
            return nullptr;
         }
      }
      return nullptr;
   }
   /// The entity must not be there.
   void put(Entity const& entity, Adapter& adapter) {
      if (places_.size() * 3 <= (used_ + 1) * 4) {
         grow();
      }
      putPlace({&entity, &adapter});
      ++used_;
   }
   void erase(Entity const& entity) {
      if (used_ == 0) {
         return;
      }
      std::size_t hole = home(entity);
      while (places_[hole].entity != &entity) {
         if (places_[hole].entity == nullptr) {
            return;
         }
         hole = (hole + 1) & mask();
      }
      // Whoever was pushed past the hole moves back, so that no search ends before its goal.
      for (std::size_t at = (hole + 1) & mask(); places_[at].entity != nullptr;
           at = (at + 1) & mask()) {
         std::size_t const pushed = (at - home(*places_[at].entity)) & mask();
         if (pushed >= ((at - hole) & mask())) {
            places_[hole] = places_[at];
            hole = at;
         }
      }
      places_[hole] = {};
      --used_;
   }
   void clear() {
      places_ = {};
      used_ = 0;
   }
   std::size_t memory() const { return places_.size() * sizeof(Place); }

 private:
   struct Place {
      Entity const* entity = nullptr;
      Adapter* adapter = nullptr;
   };
   static constexpr std::size_t smallest = 4;

   std::size_t mask() const { return places_.size() - 1; }
   std::size_t home(Entity const& entity) const {
      // The golden ratio's multiples spread addresses, whose low bits are all alike.
      std::uint64_t const spread =
         reinterpret_cast<std::uintptr_t>(&entity) * std::uint64_t{0x9e3779b97f4a7c15};
      return static_cast<std::size_t>(spread >> 32) & mask();
   }
   void putPlace(Place const& place) {
      std::size_t at = home(*place.entity);
      while (places_[at].entity != nullptr) {
         at = (at + 1) & mask();
      }
      places_[at] = place;
   }
   void grow() {
      std::vector<Place> const old = std::move(places_);
      places_ = std::vector<Place>(std::max(smallest, old.size() * 2));
      for (Place const& place : old) {
         if (place.entity != nullptr) {
            putPlace(place);
         }
      }
   }

   std::vector<Place> places_;
   std::size_t used_ = 0;
};

struct Demuxer::Queues {
   using Adapter = Entity::FenNboAttrLogSa;
   static constexpr std::uint64_t never = ~std::uint64_t{0};

   /// Adapters whose flow can be sent as soon as there is room.
   std::deque<Ptr<Adapter>> ready;
   /// Adapters whose flow waits for ids.
   std::vector<Ptr<Adapter>> waiting;
   /// Ids given so far, and how many there were when those that wait were last tried.
   std::uint64_t idsGiven = 0;
   std::uint64_t idsSettled = never;
   /// Flows that belong to the first synchronisation.
   std::size_t syncFlows = 0;
   std::unordered_map<std::uint64_t, std::unique_ptr<FlowIn>> flowIns;
};

} // namespace Fen::NboAttrLog
