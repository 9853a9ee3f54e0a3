/// What the attribute log holds back and what it is in the middle of, for one entity on one
/// channel: FlowOut for sending, FlowIn for receiving.
///
/// A flow exists only while there is something in it. It belongs to the entity's adapter (FlowOut)
/// or to the channel (FlowIn), on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/HashMap.h>
#include <gantry/runtime/fen/NboAttrLogDemuxer.h>
#include <gantry/runtime/fen/NboAttrLogForm.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Fen::NboAttrLog {

/// The dirty state of one collection: which keys have to be sent, and how far a full walk has come.
class GANTRY_EXPORT CollectionFlow {
 public:
   virtual ~CollectionFlow();

   /// Number of keys whose present state has to be sent.
   virtual std::uint32_t dirtyKeys() const = 0;
   /// Forgets how far the full walk has come.
   virtual void bookmarkDel() = 0;

   /// False while the whole collection has to be sent: the dirty keys come after that.
   bool hasSynced = true;
   /// The peer has been told that the walk begins.
   bool transactionBegun = false;
   /// The walk is through, only its end has to be told.
   bool walked = false;
   /// Keys noted as removed.
   std::uint32_t removals = 0;

   bool isDirty() const { return !hasSynced || dirtyKeys() != 0; }
};

/// The same with the keys.
template <class Key>
class CollectionFlowOf final : public CollectionFlow {
 public:
   /// A key and whether its member was absent when it was noted.
   class DirtyKey : public PtrInterface {
    public:
      DirtyKey(Key const& key, bool removed) : key_(key), removed_(removed) {}
      Key const& fwkKey() const { return key_; }
      bool removed() const { return removed_; }
      void removedIs(bool removed) { removed_ = removed; }
      HashMapLink& fwkHmLink() { return link_; }
      HashMapLink const& fwkHmLink() const { return link_; }

    private:
      HashMapLink link_;
      Key key_;
      bool removed_;
   };
   using Keys = HashMap<DirtyKey, Key>;

   std::uint32_t dirtyKeys() const override { return static_cast<std::uint32_t>(keys.size()); }

   void bookmarkDel() override {
      bookmark.reset();
      transactionBegun = false;
      walked = false;
   }

   void dirtyIs(Key const& key, bool removed) {
      DirtyKey* known = keys.find(key);
      if (known == nullptr) {
         auto const made = makePtr<DirtyKey>(key, false);
         keys.newMember(made);
         known = made.ptr();
      }
      removals += removed ? 1u : 0u;
      removals -= known->removed() ? 1u : 0u;
      known->removedIs(removed);
   }
   void dirtyDel(Key const& key) {
      if (Ptr<DirtyKey> const gone = keys.memberDel(key)) {
         removals -= gone->removed() ? 1u : 0u;
      }
   }
   /// Forgets the keys: the whole collection is to be sent from its beginning.
   void restart() {
      typename Keys::Iterator(&keys).deleteAll();
      removals = 0;
      bookmark.reset();
      hasSynced = false;
      // What the peer keeps of an earlier beginning must be marked again: a key that was sent and
      // has been forgotten here would stay there for ever.
      transactionBegun = false;
      walked = false;
   }

   Keys keys;
   /// Where the full walk goes on.
   std::optional<Key> bookmark;
};

/// What could not be sent at once.
class GANTRY_EXPORT FlowOut : public PtrInterface {
 public:
   explicit FlowOut(std::size_t attributes);

   bool hasDirtyAttributes() const;
   /// One bit for isNondestructing and one for each attribute, by id.
   bool isDirty(AttributeId id) const {
      std::size_t const bit = bitOf(id);
      return ((dirty_[bit / 64] >> (bit % 64)) & 1) != 0;
   }
   void dirtyIs(AttributeId id, bool dirty) {
      std::size_t const bit = bitOf(id);
      std::uint64_t const mask = std::uint64_t{1} << (bit % 64);
      dirty_[bit / 64] = dirty ? dirty_[bit / 64] | mask : dirty_[bit / 64] & ~mask;
   }
   /// The state of a collection, null while it is clean.
   CollectionFlow* collection(AttributeId id) const;
   CollectionFlow& collectionIs(AttributeId id, std::unique_ptr<CollectionFlow> flow);
   void collectionDel(AttributeId id);

   /// The attribute that is being sent or where the next flush begins.
   AttributeId attributeId() const { return attributeId_; }
   void attributeIdIs(AttributeId id) { attributeId_ = id; }
   /// Set by an attribute that could not go on.
   bool stop() const { return stop_; }
   void stopIs(bool stop) { stop_ = stop; }

   /// A text that was sent in part: the attribute (0 for none) and the place. One at most.
   AttributeId valueAttribute() const { return valueAttribute_; }
   void valueEnq(AttributeId id, String8::IteratorConst const& place);
   String8::IteratorConst valueDeq();

   /// Attributes whose begun transaction is void.
   std::vector<AttributeId>& pendingAborts() { return pendingAborts_; }

   /// Something is dirty because what it points at has no id yet.
   bool unresolved = false;
   /// Stands in the queue of flushes; or waits for ids; or belongs to the first synchronisation.
   bool queued = false;
   bool waiting = false;
   bool partOfSync = false;

 protected:
   ~FlowOut() override;

 private:
   static std::size_t bitOf(AttributeId id) {
      return id < firstOwnAttributeId ? 0 : static_cast<std::size_t>(id - firstOwnAttributeId) + 1;
   }

   std::vector<std::uint64_t> dirty_;
   std::vector<std::pair<AttributeId, std::unique_ptr<CollectionFlow>>> collections_;
   AttributeId attributeId_ = 0;
   AttributeId valueAttribute_ = 0;
   String8::IteratorConst value_;
   std::vector<AttributeId> pendingAborts_;
   bool stop_ = false;
};

/// A flow as a type's own adapter names it. Good for as long as the flow is.
class FlowOutView {
 public:
   explicit FlowOutView(FlowOut& flow) : flow_(flow) {}
   bool hasDirtyAttributes() const { return flow_.hasDirtyAttributes(); }

 protected:
   bool isDirty(AttributeId id) const { return flow_.isDirty(id); }
   void dirtyIs(AttributeId id, bool dirty) { flow_.dirtyIs(id, dirty); }
   bool hasSynced(AttributeId id) const {
      CollectionFlow const* const collection = flow_.collection(id);
      return collection == nullptr || collection->hasSynced;
   }
   template <class Key>
   bool isKeyDirty(AttributeId id, Key const& key) const {
      auto const* const collection = static_cast<CollectionFlowOf<Key>*>(flow_.collection(id));
      return collection != nullptr && collection->keys.find(key) != nullptr;
   }

 private:
   FlowOut& flow_;
};

/// An attribute that arrives in several messages.
class GANTRY_EXPORT FlowIn {
 public:
   AttributeId aid() const { return aid_; }
   void aidIs(AttributeId id) { aid_ = id; }
   /// The text so far.
   std::string& text() { return text_; }
   bool handlingTransaction() const { return handlingTransaction_; }
   void handlingTransactionIs(bool handling) { handlingTransaction_ = handling; }

 private:
   AttributeId aid_ = 0;
   bool handlingTransaction_ = false;
   std::string text_;
};

} // namespace Fen::NboAttrLog
