/// Owned entities on the wire, in collections and as single children. One object without state for
/// each attribute; see AttrWire.h.
#pragma once

#include <gantry/runtime/fen/AttrWireCollection.h>

namespace Fen::AttrLog {

/// How the holder of an owned entity finds, takes in and drops it; the algorithms over it are in
/// AttrWire.cpp.
struct GANTRY_EXPORT OwnedPlace {
   AttributeId id;
   /// The wire of the member's type, null when it stays on its node.
   virtual EntityWire const* wireOf(Entity const& member) const = 0;
   /// Reads what stands before the name, and says of which type the member is.
   virtual EntityWire const* wireRead(NboAttrLog::In& in) const = 0;
   /// Writes what stands before the name.
   virtual void typePut(NboAttrLog::Out& out, Entity const& member) const = 0;
   /// The present member with the key of `like`.
   virtual Ptr<Entity> present(Entity& owner, Entity const& like) const = 0;
   virtual bool isPresent(Entity& owner, Entity const& member) const = 0;
   /// Takes a fresh member in, and notifies.
   virtual void take(Entity& owner, Ptr<Entity> const& member) const = 0;
   virtual void drop(Entity& owner, Ptr<Entity> const& member) const = 0;
   /// The key of the record that is the place, null for every other.
   virtual void const* recordKey() const;

   /// Writes the creation of a member; the first time its attributes follow.
   Sent send(AttrWire::Adapter& adapter, Entity& member) const;
   /// Applies a creation. Returns the member that was asked for, which is not necessarily the one
   /// that is there now.
   Ptr<Entity> receive(AttrWire::Adapter& adapter, Entity& owner, NboAttrLog::In& in,
                       AttrWire::Received const& received) const;

 protected:
   explicit constexpr OwnedPlace(AttributeId attribute) : id(attribute) {}
   ~OwnedPlace() = default;

 private:
   Ptr<Entity> kept(AttrWire::Adapter& adapter, Entity& owner, EntityWire const& wire,
                    Entity const& wanted, EntityId newId) const;
};

template <class Attr>
struct OwnedMemberPlace final : OwnedPlace {
   using Owner = typename Attr::Owner;
   using Member = typename Attr::Member;
   static constexpr bool isChild = Attr::kind == AttrKind::child;
   constexpr OwnedMemberPlace() : OwnedPlace(Attr::id) {}

   EntityWire const* wireOf(Entity const&) const override { return &entityWireOf<Member>; }
   EntityWire const* wireRead(NboAttrLog::In&) const override { return &entityWireOf<Member>; }
   void typePut(NboAttrLog::Out&, Entity const&) const override {}
   Ptr<Entity> present(Entity& owner, Entity const& like) const override {
      if constexpr (isChild) {
         auto const& field = Attr::field(typed(owner));
         return field && field->name() == like.name() ? Ptr<Entity>(field) : Ptr<Entity>();
      } else {
         return Ptr<Entity>(Attr::field(typed(owner)).find(keyOf(like)));
      }
   }
   bool isPresent(Entity& owner, Entity const& member) const override {
      if constexpr (isChild) {
         return Attr::field(typed(owner)).ptr() == &member;
      } else {
         return Attr::field(typed(owner)).find(keyOf(member)) == &member;
      }
   }
   void take(Entity& owner, Ptr<Entity> const& member) const override {
      Ptr<Member> const made(static_cast<Member*>(member.ptr()));
      if constexpr (isChild) {
         newChild<Attr>(typed(owner), made);
         attrNotify<Attr>(typed(owner));
      } else {
         newOwnedMember<Attr>(typed(owner), made);
         attrNotify<Attr>(typed(owner), keyOf(*member));
      }
   }
   void drop(Entity& owner, Ptr<Entity> const& member) const override {
      if constexpr (isChild) {
         childDel<Attr>(typed(owner));
      } else {
         ownedMemberDel<Attr>(typed(owner), keyOf(*member));
      }
   }

 private:
   static Owner& typed(Entity& owner) { return static_cast<Owner&>(owner); }
   static auto keyOf(Entity const& member) {
      using Key = typename Attr::Key;
      return Key(HashMapKey<Member, Key>::key(static_cast<Member const&>(member)));
   }
};

template <class Wire>
inline constexpr Wire wireObject{};

/// Owned entities by key. `Place` is how their holder keeps them.
template <class Attr, class Place>
struct OwnedCollectionWire final : CollectionWire<Attr> {
   using Base = CollectionWire<Attr>;
   using typename Base::Key;
   using typename Base::Map;
   using typename Base::Member;
   using typename Base::Owner;
   using Adapter = AttrWire::Adapter;
   static constexpr OwnedPlace const& place = wireObject<Place>;

   void receive(Adapter& adapter, Entity& entity, NboAttrLog::In& in,
                AttrWire::Received const& received) const override {
      if (!received.removal) {
         Ptr<Entity> const wanted = place.receive(adapter, entity, in, received);
         if (!received.apply) {
            Key const key(HashMapKey<Member, Key>::key(static_cast<Member const&>(*wanted)));
            this->changed(adapter, entity, &key);
         }
         return;
      }
      Key const key = Form<Key>::take(in);
      if (!received.apply) {
         this->changed(adapter, entity, &key);
      } else if (Ptr<Entity> const gone{this->map(entity).find(key)}) {
         place.drop(entity, gone);
      }
   }
   void forEachOwned(Entity& entity, void (*visit)(Entity&, void*), void* context) const override {
      typename Map::IteratorConst i(&this->map(entity), Ptr<PtrInterface const>(&entity));
      for (; i; ++i) {
         visit(const_cast<Member&>(*i), context);
      }
   }

 protected:
   Sent memberSend(Adapter& adapter, Entity&, Key const& key, Member* member) const override {
      if (member == nullptr) {
         this->removalSend(adapter, key);
         return Sent::all;
      }
      return place.send(adapter, *member);
   }
   void memberDel(Adapter&, Owner& owner, Key const& key) const override {
      if (Ptr<Entity> const gone{this->map(owner).find(key)}) {
         place.drop(owner, gone);
      }
   }
   bool sweeps(Member const& member) const override { return place.wireOf(member) != nullptr; }
   bool takenByCreation(Adapter& adapter, Member* member) const override {
      return adapter.fenCreationTaken(Attr::id, member);
   }
};

/// A single owned child.
template <class Attr>
struct ChildWire final : AttrWire {
   using Owner = typename Attr::Owner;
   static constexpr OwnedPlace const& place = wireObject<OwnedMemberPlace<Attr>>;
   constexpr ChildWire() : AttrWire(Attr::id) {}

   void changed(Adapter& adapter, Entity& entity, void const*) const override {
      if (adapter.creation() != nullptr &&
          adapter.fenCreationTaken(Attr::id, Attr::field(static_cast<Owner&>(entity)).ptr())) {
         return;
      }
      if (adapter.mayWrite(Attr::id)) {
         itemChanged(adapter, entity);
      }
   }
   Sent dirtySend(Adapter& adapter, Entity& entity) const override {
      return itemDirtySend(adapter, entity);
   }
   Sent allSend(Adapter& adapter, Entity& entity) const override {
      return itemSend(adapter, entity);
   }
   void allDirty(Adapter& adapter) const override { adapter.fenFlow()->dirtyIs(Attr::id, true); }
   void receive(Adapter& adapter, Entity& entity, NboAttrLog::In& in,
                Received const& received) const override {
      if (!received.removal) {
         place.receive(adapter, entity, in, received);
      } else if (received.apply) {
         childDel<Attr>(static_cast<Owner&>(entity));
      }
      if (!received.apply) {
         changed(adapter, entity, nullptr);
      }
   }
   void memberDirty(Adapter& adapter, Entity const&, void const*) const override {
      adapter.fenFlowIs().dirtyIs(Attr::id, true);
   }
   void forEachOwned(Entity& entity, void (*visit)(Entity&, void*), void* context) const override {
      if (auto const child = Attr::field(static_cast<Owner&>(entity))) {
         visit(*child, context);
      }
   }

 protected:
   Sent itemSend(Adapter& adapter, Entity& entity) const override {
      auto const& child = Attr::field(static_cast<Owner&>(entity));
      if (child) {
         return place.send(adapter, *child);
      }
      end(begin(adapter, true));
      return Sent::all;
   }
};

} // namespace Fen::AttrLog
