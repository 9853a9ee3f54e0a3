/// Collections of values and of references on the wire: dirty keys, the full walk with its
/// bookmark, mark and sweep. One object without state for each attribute; see AttrWire.h.
#pragma once

#include <gantry/runtime/fen/AttrWireBase.h>

namespace Fen::AttrLog {

/// What all collections have in common: dirty keys, the full walk with its bookmark, mark and
/// sweep. A kind of collection says how one member is written, read and deleted.
template <class Attr>
struct CollectionWire : AttrWire {
   using Owner = typename Attr::Owner;
   using Key = typename Attr::Key;
   using Member = typename Attr::Member;
   using Map = HashMap<Member, Key>;
   using Flow = NboAttrLog::CollectionFlowOf<Key>;

   void changed(Adapter& adapter, Entity& entity, void const* keyed) const final {
      if (keyed == nullptr) {
         return;
      }
      Key const& key = *static_cast<Key const*>(keyed);
      Member* const member = map(entity).find(key);
      if (adapter.creation() != nullptr && takenByCreation(adapter, member)) {
         return;
      }
      if (!adapter.mayWrite(Attr::id)) {
         return;
      }
      Flow* flow = flowOf(adapter);
      if ((flow == nullptr || flow->hasSynced) && adapter.sendsNow(Attr::id) &&
          memberSend(adapter, entity, key, member) == Sent::all) {
         if (flow != nullptr) {
            flow->dirtyDel(key);
         }
         return;
      }
      flow = &flowIs(adapter);
      // A walk that has not begun will find everything as it is then.
      if (flow->hasSynced || flow->transactionBegun) {
         flow->dirtyIs(key, member == nullptr);
         // Removals that are more than what is left: sending the whole collection is cheaper.
         if (flow->removals > static_cast<std::uint32_t>(map(entity).size()) + removalsKept) {
            flow->restart();
            resyncCounted();
         }
      }
      adapter.fenQueueFlow();
   }
   Sent dirtySend(Adapter& adapter, Entity& entity) const final {
      return collectionSend(adapter, entity);
   }
   Sent allSend(Adapter& adapter, Entity& entity) const final {
      return collectionSend(adapter, entity);
   }
   void allDirty(Adapter& adapter) const final { flowIs(adapter).restart(); }
   void memberDirty(Adapter& adapter, [[maybe_unused]] Entity const& member,
                    [[maybe_unused]] void const* key) const final {
      if constexpr (std::derived_from<Member, Entity>) {
         flowIs(adapter).dirtyIs(
            Key(HashMapKey<Member, Key>::key(static_cast<Member const&>(member))), true);
      } else {
         flowIs(adapter).dirtyIs(*static_cast<Key const*>(key), true);
      }
   }
   bool isCollection() const final { return true; }
   void transaction(Adapter& adapter, Entity& entity, AttrTransactionType type) const final {
      if (type == AttrTransactionType::abort) {
         return;
      }
      auto& owner = static_cast<Owner&>(entity);
      int version;
      do {
         version = map(entity).version();
         typename Map::IteratorConst i(&map(entity), Ptr<PtrInterface const>(&entity));
         for (; i; ++i) {
            auto* const member = const_cast<Member*>(i.ptr());
            if (type == AttrTransactionType::begin) {
               if (sweeps(*member)) {
                  member->fenMarkedForDeletionIs(true);
               }
            } else if (member->fenMarkedForDeletion()) {
               member->fenMarkedForDeletionIs(false);
               Key const key(HashMapKey<Member, Key>::key(*member));
               memberDel(adapter, owner, key);
            }
         }
      } while (version != map(entity).version());
   }

 protected:
   /// So many removals are noted beyond the size of the collection.
   static constexpr std::uint32_t removalsKept = 16;

   constexpr CollectionWire() : AttrWire(Attr::id) {}

   static Map& map(Entity& entity) { return Attr::field(static_cast<Owner&>(entity)); }
   static Flow* flowOf(Adapter& adapter) {
      return adapter.fenFlow() == nullptr
                ? nullptr
                : static_cast<Flow*>(adapter.fenFlow()->collection(Attr::id));
   }
   static Flow& flowIs(Adapter& adapter) {
      NboAttrLog::FlowOut& flow = adapter.fenFlowIs();
      if (NboAttrLog::CollectionFlow* const known = flow.collection(Attr::id)) {
         return static_cast<Flow&>(*known);
      }
      return static_cast<Flow&>(flow.collectionIs(Attr::id, std::make_unique<Flow>()));
   }

   /// Writes the member, or the removal of its key.
   virtual Sent memberSend(Adapter& adapter, Entity& entity, Key const& key,
                           Member* member) const = 0;
   /// Deletes what the peer no longer has.
   virtual void memberDel(Adapter& adapter, Owner& owner, Key const& key) const = 0;
   /// Whether the peer's transactions are about this member.
   virtual bool sweeps(Member const&) const { return true; }
   /// False when a full walk had better wait until more entities have their ids.
   virtual bool readyToWalk(Adapter&, Entity&) const { return true; }
   virtual bool takenByCreation(Adapter&, Member*) const { return false; }
   void removalSend(Adapter& adapter, Key const& key) const {
      NboAttrLog::Out& out = begin(adapter, true);
      Form<Key>::put(out, key);
      end(out);
   }

 private:
   static void resyncCounted() {
      static Counter& resyncs = Counters::counter("wire.resyncs");
      resyncs.increment();
   }

   Sent collectionSend(Adapter& adapter, Entity& entity) const {
      Flow* flow = flowOf(adapter);
      if (flow == nullptr || !flow->hasSynced) {
         if (!(flow != nullptr && flow->transactionBegun) && !readyToWalk(adapter, entity)) {
            flowIs(adapter).hasSynced = false;
            return Sent::later;
         }
         if (!walk(adapter, entity)) {
            return Sent::stopped;
         }
         flow = flowOf(adapter);
      }
      return flow != nullptr ? keysSend(adapter, entity, *flow) : Sent::all;
   }
   /// The full walk; false when it has to go on later, from a bookmark.
   bool walk(Adapter& adapter, Entity& entity) const {
      Flow* flow = flowOf(adapter);
      if (flow == nullptr || !flow->transactionBegun) {
         if (!adapter.continueFlowOut()) {
            flowIs(adapter).hasSynced = false;
            return false;
         }
         adapter.sendTransactionMarker(Attr::id, AttrTransactionType::begin, 0);
      }
      if (flow == nullptr || !flow->walked) {
         using Iterator = typename Map::IteratorConst;
         Ptr<PtrInterface const> const owner(&entity);
         Iterator i = flow != nullptr && flow->bookmark
                         ? Iterator(&map(entity), *std::exchange(flow->bookmark, {}), owner)
                         : Iterator(&map(entity), owner);
         for (; i; ++i) {
            Key const key(HashMapKey<Member, Key>::key(*i));
            if (!adapter.continueFlowOut()) {
               walkStopped(adapter).bookmark = key;
               return false;
            }
            Sent const sent = memberSend(adapter, entity, key, const_cast<Member*>(i.ptr()));
            if (sent == Sent::later) {
               flowIs(adapter).dirtyIs(key, false);
            } else if ((flow = flowOf(adapter)) != nullptr) {
               flow->dirtyDel(key);
            }
         }
      }
      if (!adapter.continueFlowOut()) {
         walkStopped(adapter).walked = true;
         return false;
      }
      adapter.sendTransactionMarker(Attr::id, AttrTransactionType::end, 0);
      if ((flow = flowOf(adapter)) != nullptr) {
         flow->hasSynced = true;
         flow->transactionBegun = false;
         flow->walked = false;
      }
      return true;
   }
   static Flow& walkStopped(Adapter& adapter) {
      Flow& flow = flowIs(adapter);
      FEN_ASSERT(!flow.bookmark, "!rsc->bookmark()");
      flow.hasSynced = false;
      flow.transactionBegun = true;
      return flow;
   }
   /// The dirty keys, each with its present state.
   Sent keysSend(Adapter& adapter, Entity& entity, Flow& flow) const {
      Sent result = Sent::all;
      for (typename Flow::Keys::IteratorConst i(&flow.keys); i; ++i) {
         if (!adapter.continueFlowOut()) {
            return Sent::stopped;
         }
         Key const key(i->fwkKey());
         if (memberSend(adapter, entity, key, map(entity).find(key)) == Sent::all) {
            flow.dirtyDel(key);
         } else {
            result = Sent::later;
         }
      }
      return result;
   }
};

/// Values by key; with `carriesKey` the value's own form has the key in it.
template <class Attr, bool carriesKey>
struct ValueCollectionWire final : CollectionWire<Attr> {
   using Base = CollectionWire<Attr>;
   using typename Base::Key;
   using typename Base::Member;
   using typename Base::Owner;
   using Adapter = AttrWire::Adapter;
   using Value = typename Member::Value;

   void receive(Adapter& adapter, Entity& entity, NboAttrLog::In& in,
                AttrWire::Received const& received) const override {
      auto& owner = static_cast<Owner&>(entity);
      if (received.removal) {
         Key const key = Form<Key>::take(in);
         if (received.apply) {
            memberDel(adapter, owner, key);
         } else {
            this->changed(adapter, entity, &key);
         }
         return;
      }
      if constexpr (carriesKey) {
         Value const value = Form<Value>::take(in);
         Key const key(Attr::keyOf(value));
         store(adapter, owner, key, value, received);
      } else {
         Key const key = Form<Key>::take(in);
         Value const value = Form<Value>::take(in);
         store(adapter, owner, key, value, received);
      }
   }

 protected:
   Sent memberSend(Adapter& adapter, Entity&, Key const& key, Member* member) const override {
      if (member == nullptr) {
         this->removalSend(adapter, key);
         return Sent::all;
      }
      NboAttrLog::Out& out = this->begin(adapter);
      if constexpr (!carriesKey) {
         Form<Key>::put(out, key);
      }
      Form<Value>::put(out, member->value());
      AttrWire::end(out);
      return Sent::all;
   }
   void memberDel(Adapter& adapter, Owner& owner, Key const& key) const override {
      if (Member const* const gone = this->map(owner).find(key)) {
         adapter.fenHeld(0, held(key, gone->value()));
      }
      valueMemberDel<Attr>(owner, key);
   }

 private:
   static std::size_t held(Key const& key, Value const& value) {
      return sizeof(Member) + Form<Key>::held(key) + Form<Value>::held(value);
   }
   void store(Adapter& adapter, Owner& owner, Key const& key, Value const& value,
              AttrWire::Received const& received) const {
      if (!received.apply) {
         this->changed(adapter, owner, &key);
         return;
      }
      Member* member = this->map(owner).find(key);
      adapter.fenHeld(held(key, value), member != nullptr ? held(key, member->value()) : 0);
      if (member != nullptr) {
         member->fenMarkedForDeletionIs(false);
      }
      valueMemberIs<Attr>(owner, key, value);
   }
};

/// Counted references by key.
template <class Attr>
struct ReferenceCollectionWire final : CollectionWire<Attr> {
   using Base = CollectionWire<Attr>;
   using typename Base::Key;
   using typename Base::Map;
   using typename Base::Member;
   using typename Base::Owner;
   using Adapter = AttrWire::Adapter;
   using Target = typename Member::Value::Element;

   void receive(Adapter& adapter, Entity& entity, NboAttrLog::In& in,
                AttrWire::Received const& received) const override {
      auto& owner = static_cast<Owner&>(entity);
      Key const key = Form<Key>::take(in);
      typename Member::Value value;
      if (!received.removal) {
         value = in.nextEntity<std::remove_const_t<Target>>();
      }
      if (!received.apply) {
         this->changed(adapter, entity, &key);
         return;
      }
      std::size_t const bytes = held(key);
      Member* const member = this->map(entity).find(key);
      if (member != nullptr) {
         member->fenMarkedForDeletionIs(false);
      }
      adapter.fenHeld(value ? bytes : 0, member != nullptr ? bytes : 0);
      referenceMemberIs<Attr>(owner, key, value);
   }

 protected:
   Sent memberSend(Adapter& adapter, Entity&, Key const& key, Member* member) const override {
      if (member == nullptr) {
         this->removalSend(adapter, key);
         return Sent::all;
      }
      EntityId const targetId = adapter.fenEntityId(*member->value());
      if (!targetId) {
         return Sent::later;
      }
      NboAttrLog::Out& out = this->begin(adapter);
      Form<Key>::put(out, key);
      out << targetId;
      AttrWire::end(out);
      return Sent::all;
   }
   void memberDel(Adapter& adapter, Owner& owner, Key const& key) const override {
      adapter.fenHeld(0, held(key));
      valueMemberDel<Attr>(owner, key);
   }
   /// What points at entities that have no id yet waits, so that the sweep at the end of the walk
   /// does not take members away that would come again.
   bool readyToWalk(Adapter& adapter, Entity& entity) const override {
      if (adapter.demuxer() == nullptr || adapter.demuxer()->settling()) {
         return true;
      }
      bool ready = true;
      this->map(entity).forEachMember([&](Member* member) {
         ready = ready && static_cast<bool>(adapter.fenEntityId(*member->value()));
      });
      return ready;
   }

 private:
   static std::size_t held(Key const& key) { return sizeof(Member) + Form<Key>::held(key); }
};

} // namespace Fen::AttrLog
