/// Members of a collection of records: each stands at a key and owns one entity, or none. The
/// record is what the collection holds; the entity's parent is the owner of the collection.
///
/// A record lives on the activity loop's thread. It is kept by the collection and by whoever holds
/// it; one that outlives its owner creates entities without a parent.
#pragma once

#include <gantry/runtime/fen/Attribute.h>

namespace Fen {

template <class Owner, class KeyType, class Child>
class RecordMember : public PtrInterface {
 public:
   using Key = KeyType;

   RecordMember(Owner* owner, AttributeId id, Key const& key) : owner_(owner), id_(id), key_(key) {}

   Key const& key() const { return key_; }
   Key const& fwkKey() const { return key_; }
   HashMapLink& fwkHmLink() { return link_; }
   HashMapLink const& fwkHmLink() const { return link_; }

   /// The owner is going, or the record has been taken out of its collection.
   void fenOwnerDel() {
      owner_ = nullptr;
      if (child_) {
         child_->fenParentGone();
      }
   }

 protected:
   ~RecordMember() override { fenOwnerDel(); }

   Ptr<Child> const& fenChild() const { return child_; }
   /// The entity with that name, which is returned as it is when the record has it; another one
   /// loses its parent and gives way.
   Ptr<Child> fenChildIs(Name const& name) {
      return child_ && child_->name() == name ? child_ : fenNewChild(name);
   }
   Ptr<Child> fenNewChild(Name const& name) {
      fenChildDel();
      child_ = makePtr<Child>(name);
      if (owner_ != nullptr) {
         child_->parentAttrIdIs(id_);
         child_->parentIs(Ptr<Entity>(owner_));
      }
      return child_;
   }
   void fenChildDel() {
      if (Ptr<Child> const going = std::move(child_)) {
         going->parentIs(nullptr);
      }
   }

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
   if (Ptr<typename Attr::Member> const existing = Attr::field(owner).find(key)) {
      return existing;
   }
   Ptr<typename Attr::Member> const record = newRecord<Attr>(owner, key);
   attrNotify<Attr>(owner, key);
   return record;
}

/// Takes a record out, with what it owns, and tells; null without notification when there is none.
template <class Attr>
Ptr<typename Attr::Member> recordDel(typename Attr::Owner& owner, typename Attr::Key const& key) {
   typename Attr::Key const kept(key);
   Ptr<typename Attr::Member> const record = Attr::field(owner).memberDel(kept);
   if (record) {
      record->fenOwnerDel();
      attrNotify<Attr>(owner, kept);
   }
   return record;
}

/// Cuts all records off from an owner that is going.
template <class Attr>
void recordsOrphan(typename Attr::Owner& owner) {
   Attr::field(owner).forEachMember([](typename Attr::Member* record) { record->fenOwnerDel(); });
}

} // namespace Fen
