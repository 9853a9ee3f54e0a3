/// Collections of records on the wire: a key, and what the record owns, if anything. One object
/// without state for each attribute; see AttrWire.h.
#pragma once

#include <gantry/runtime/fen/AttrWireOwned.h>
#include <gantry/runtime/fen/RecordMember.h>

namespace Fen::AttrLog {

/// The record at one key as a place of an owned entity. Made where it is used; the key outlives it.
template <class Attr>
struct RecordPlace final : OwnedPlace {
   using Owner = typename Attr::Owner;
   using Key = typename Attr::Key;
   using Record = typename Attr::Member;
   using Child = typename Record::Child;
   explicit RecordPlace(Key const& key) : OwnedPlace(Attr::id), key_(key) {}

   EntityWire const* wireOf(Entity const&) const override { return &entityWireOf<Child>; }
   /// The key, which stands before the name, has been read: it is what the place was made with.
   EntityWire const* wireRead(NboAttrLog::In&) const override { return &entityWireOf<Child>; }
   void typePut(NboAttrLog::Out& out, Entity const&) const override { Form<Key>::put(out, key_); }
   Ptr<Entity> present(Entity& owner, Entity const& like) const override {
      Record const* const known = record(owner);
      return known != nullptr && known->fenChild() && known->fenChild()->name() == like.name()
                ? Ptr<Entity>(known->fenChild())
                : Ptr<Entity>();
   }
   bool isPresent(Entity& owner, Entity const& member) const override {
      Record const* const known = record(owner);
      return known != nullptr && known->fenChild().ptr() == &member;
   }
   void take(Entity& owner, Ptr<Entity> const& member) const override {
      recordChildIs<Attr>(static_cast<Owner&>(owner), key_,
                          Ptr<Child>(static_cast<Child*>(member.ptr())));
   }
   void drop(Entity& owner, Ptr<Entity> const&) const override {
      if (Ptr<Record> const known{record(owner)}) {
         known->fenChildDel();
      }
   }
   void const* recordKey() const override { return &key_; }

 private:
   Record* record(Entity& owner) const {
      return Attr::field(static_cast<Owner&>(owner)).find(key_);
   }

   Key const& key_;
};

/// Records by key. One that owns nothing is a key alone; with what it owns it is a creation.
template <class Attr>
struct RecordCollectionWire final : CollectionWire<Attr> {
   using Base = CollectionWire<Attr>;
   using typename Base::Key;
   using typename Base::Map;
   using typename Base::Member;
   using typename Base::Owner;
   using Adapter = AttrWire::Adapter;

   void receive(Adapter& adapter, Entity& entity, NboAttrLog::In& in,
                AttrWire::Received const& received) const override {
      Key const key = Form<Key>::take(in);
      bool const owns = received.recordKind == NboAttrLog::createRecordKind;
      auto& owner = static_cast<Owner&>(entity);
      if (!received.apply) {
         if (owns) {
            RecordPlace<Attr>(key).receive(adapter, entity, in, received);
         }
         this->changed(adapter, entity, &key);
      } else if (received.removal) {
         memberDel(adapter, owner, key);
      } else {
         Ptr<Member> const known{this->map(entity).find(key)};
         if (known) {
            known->fenMarkedForDeletionIs(false);
         } else {
            adapter.fenHeld(held(key), 0);
         }
         if (owns) {
            RecordPlace<Attr>(key).receive(adapter, entity, in, received);
         } else if (known) {
            known->fenChildDel();
         } else {
            recordIs<Attr>(owner, key);
         }
      }
   }
   void forEachOwned(Entity& entity, void (*visit)(Entity&, void*), void* context) const override {
      typename Map::IteratorConst i(&this->map(entity), Ptr<PtrInterface const>(&entity));
      for (; i; ++i) {
         if (Ptr<Entity> const child{i->fenChild()}) {
            visit(*child, context);
         }
      }
   }

 protected:
   Sent memberSend(Adapter& adapter, Entity&, Key const& key, Member* member) const override {
      if (member == nullptr) {
         this->removalSend(adapter, key);
      } else if (Ptr<Entity> const child{member->fenChild()}) {
         return RecordPlace<Attr>(key).send(adapter, *child);
      } else {
         NboAttrLog::Out& out = this->begin(adapter);
         Form<Key>::put(out, key);
         AttrWire::end(out);
      }
      return Sent::all;
   }
   void memberDel(Adapter& adapter, Owner& owner, Key const& key) const override {
      if (this->map(owner).find(key) != nullptr) {
         adapter.fenHeld(0, held(key));
         recordDel<Attr>(owner, key);
      }
   }
   bool takenByCreation(Adapter& adapter, Member* member) const override {
      return adapter.fenCreationTaken(Attr::id,
                                      member != nullptr ? member->fenChild().ptr() : nullptr);
   }

 private:
   static std::size_t held(Key const& key) { return sizeof(Member) + Form<Key>::held(key); }
};

} // namespace Fen::AttrLog
