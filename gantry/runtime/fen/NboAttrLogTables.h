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
