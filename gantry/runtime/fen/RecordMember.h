/// Members of a collection of records: each stands at a key and owns one entity, or none. The
/// record is what the collection holds; the entity's parent is the owner of the collection.
///
/// A record lives on the activity loop's thread. It is kept by the collection and by whoever holds
/// it; one that outlives its owner, or was taken out, creates entities without a parent. Setters
/// may run handlers, which may take the record out and drop it: it stays until the call is over.
#pragma once

#include <gantry/runtime/fen/AttributeRules.h>

namespace Fen {

template <class Owner, class KeyType, class ChildType>
class RecordMember : public PtrInterface {
 public:
   using Key = KeyType;
   using Child = ChildType;

   RecordMember(Owner* owner, AttributeId id, Key const& key) : owner_(owner), id_(id), key_(key) {}

   Key const& key() const { return key_; }
   Key const& fwkKey() const { return key_; }
   HashMapLink& fwkHmLink() { return link_; }
   HashMapLink const& fwkHmLink() const { return link_; }

   Ptr<Child> const& fenChild() const { return child_; }
   /// The entity with that name, which is returned as it is when the record has it; another one
   /// loses its parent and gives way.
   Ptr<Child> fenChildIs(Name const& name) {
      if (child_ && child_->name() == name) {
         return child_;
      }
      Ptr<RecordMember> const self(this);
      Ptr<Child> const child = fenNewChild(name);
      fenChildTell();
      return child;
   }
   /// Makes the entity, tells nobody that the record has another one.
   Ptr<Child> fenNewChild(Name const& name) { return fenChildTake(makePtr<Child>(name)); }
   /// Puts a fresh entity in; tells nobody that the record has another one.
   Ptr<Child> fenChildTake(Ptr<Child> const& child) {
      Ptr<RecordMember> const self(this);
      // A handler of the one that goes may put another one in.
      while (Ptr<Child> const former = std::exchange(child_, nullptr)) {
         former->parentIs(nullptr);
      }
      child_ = child;
      if (owner_ != nullptr) {
         child->parentAttrIdIs(id_);
         child->parentIs(Ptr<Entity>(owner_));
      }
      return child;
   }
   void fenChildDel() {
      Ptr<RecordMember> const self(this);
      if (Ptr<Child> const going = std::exchange(child_, nullptr)) {
         going->parentIs(nullptr);
         fenChildTell();
      }
   }

   /// Tells that the record owns another entity. Typed reactors of the owner hear of records that
   /// come and go; what a record owns is the record's own affair and has no notification. Generic
   /// ones, which follow the whole tree for another node or for a tool, are told.
   void fenChildTell() {
      if (owner_ != nullptr) {
         owner_->fenNotify(id_, &key_, [](PtrInterface::NotifieeConst&) {});
      }
   }

   /// The owner is going: tells nobody.
   void fenOwnerGone() {
      owner_ = nullptr;
      if (child_) {
         child_->fenParentGone();
      }
   }
   /// The record has been taken out of its collection: the entity leaves the tree with it.
   void fenTakenOut() {
      owner_ = nullptr;
      if (Ptr<Child> const child = child_) {
         child->parentIs(nullptr);
      }
   }

 protected:
   ~RecordMember() override { fenOwnerGone(); }

 private:
   HashMapLink link_;
   Owner* owner_;
   AttributeId id_;
   Key key_;
   Ptr<Child> child_;
};

/// Creates the record, with no look-up and no notification.
template <class Attr>
Ptr<typename Attr::Member> newRecord(typename Attr::Owner& owner, typename Attr::Key const& key) {
   auto const record = makePtr<typename Attr::Member>(&owner, Attr::id, key);
   Attr::field(owner).newMember(record);
   return record;
}

/// Find-or-create of a record: one that is there is returned and nobody is told.
template <class Attr>
Ptr<typename Attr::Member> recordIs(typename Attr::Owner& owner, typename Attr::Key const& key) {
   auto const held = ownerHeld(owner);
   if (Ptr<typename Attr::Member> const existing = Attr::field(owner).find(key)) {
      return existing;
   }
   Ptr<typename Attr::Member> const record = newRecord<Attr>(owner, key);
   attrNotify<Attr>(owner, key);
   return record;
}

/// Puts a fresh entity into the record at a key, which is made when there is none: tells as
/// recordIs does for a new record, and as a change within the record for one that was there.
template <class Attr>
void recordChildIs(typename Attr::Owner& owner, typename Attr::Key const& key,
                   Ptr<typename Attr::Member::Child> const& child) {
   auto const held = ownerHeld(owner);
   if (Ptr<typename Attr::Member> const existing = Attr::field(owner).find(key)) {
      existing->fenChildTake(child);
      existing->fenChildTell();
   } else {
      newRecord<Attr>(owner, key)->fenChildTake(child);
      attrNotify<Attr>(owner, key);
   }
}

/// Takes a record out, with what it owns, and tells; null without notification when there is none.
template <class Attr>
Ptr<typename Attr::Member> recordDel(typename Attr::Owner& owner, typename Attr::Key const& key) {
   auto const held = ownerHeld(owner);
   typename Attr::Key const kept(key);
   Ptr<typename Attr::Member> const record = Attr::field(owner).memberDel(kept);
   if (record) {
      record->fenTakenOut();
      attrNotify<Attr>(owner, kept);
   }
   return record;
}

/// Cuts all records off from an owner that is going.
template <class Attr>
void recordsOrphan(typename Attr::Owner& owner) {
   Attr::field(owner).forEachMember([](typename Attr::Member* record) { record->fenOwnerGone(); });
}

} // namespace Fen
