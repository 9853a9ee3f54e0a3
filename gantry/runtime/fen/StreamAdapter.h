/// Adapters that stream entities over the attribute log. An adapter is a notifiee of one entity for
/// one channel: it writes a message for each change and applies messages from the peer, all by the
/// table of the entity's attributes. The channel's Demuxer owns it; it holds its entity weakly and
/// goes with it, with the channel, or when the entity leaves the tree that the channel carries.
///
/// On the activity loop's thread. A message that is applied runs the entity's setters and so
/// arbitrary reactors, which may delete the adapter, its entity and its channel.
#pragma once

#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/NboAttrLogDemuxer.h>
#include <gantry/runtime/fen/NboAttrLogFlowState.h>

namespace Fen {

struct AttrDesc;

/// How a channel is named to those who ask for a flow; both texts are empty for plain changes.
class ConnectDesc {
 public:
   ConnectDesc() = default;
   ConnectDesc(String8 name, String8 type) : name_(name), type_(type) {}
   String8 const& name() const { return name_; }
   String8 const& type() const { return type_; }

 private:
   String8 name_;
   String8 type_;
};

/// Marks that belong to a channel among several that carry one entity.
class GANTRY_EXPORT MsgChannel {
 public:
   /// One entity's entry in a channel; it knows what the log did with it last.
   class GANTRY_EXPORT Entry : public PtrInterface {
    public:
      /// 0 nothing yet, 1 a reference was read, 3 the synchronisation mode was set.
      unsigned mode() const { return mode_; }
      void modeIs(unsigned mode) { mode_ = mode; }

    protected:
      ~Entry() override;

    private:
      unsigned mode_ = 0;
   };

   /// Names for its life the id of the entity that is being made from a message.
   class GANTRY_EXPORT DeserializingEidAnchor {
    public:
      explicit DeserializingEidAnchor(EntityId id) : outer_(current_) { current_ = id; }
      DeserializingEidAnchor(DeserializingEidAnchor const&) = delete;
      DeserializingEidAnchor& operator=(DeserializingEidAnchor const&) = delete;
      ~DeserializingEidAnchor() { current_ = outer_; }

      /// The id at this moment, (0, 0) when none is being made.
      static EntityId deserializingEid() { return current_; }

    private:
      EntityId outer_;
      static EntityId current_;
   };
};

/// The operations of every adapter.
class GANTRY_EXPORT StreamAdapter : public Entity::NotifieeConst {
 public:
   enum class AttrTransactionType : std::uint32_t { begin = 0, abort = 1, end = 2 };
   enum class DeserializationOptions : std::uint32_t { none = 0 };
   enum class SyncMode : std::uint32_t { idle = 0, synchronised = 1, synchronising = 2 };
   /// The mode with this number; throws RangeException for any other.
   static SyncMode SyncModeInstance(unsigned number);

   bool isStreamAdapter() const override;

   virtual AttributeId handleAttrFlowOut(AttributeId from) = 0;
   virtual void handleAttrTransaction(AttributeId id, AttrTransactionType type, unsigned n) = 0;
   /// Reads and applies the items of a message from the channel's input. With an explicit `in` the
   /// value is read from there and not applied: the entity's own value is sent back.
   virtual void handleAttrDeserialization(AttributeId id, DeserializationOptions options,
                                          unsigned recordKind, Ptr<NboAttrLog::In> const& in) = 0;
   virtual void doSerializeOrphan() = 0;
   virtual void doRemountSelf() = 0;
   virtual void freeResyncState(Ptr<NboAttrLog::FlowOut> const& flow) = 0;
   virtual Ptr<NboAttrLog::FlowOut> flowOut() const = 0;
   virtual Ptr<NboAttrLog::FlowOut> flowOutIs(Ptr<NboAttrLog::Out> const& out,
                                              ConnectDesc const& description, bool immediate,
                                              AttributeId fromAttribute) = 0;
   virtual void fenInstantiateSerialize() = 0;
   virtual void syncModeIs(SyncMode mode) = 0;

 protected:
   StreamAdapter() : Entity::NotifieeConst(Kind::generic) {}
   ~StreamAdapter() override;
};

/// Clears the mark of a running adapter when it goes.
class ClearIsActiveAnchor {
 public:
   explicit ClearIsActiveAnchor(Entity::FenNboAttrLogSa& adapter) : adapter_(adapter) {}
   ClearIsActiveAnchor(ClearIsActiveAnchor const&) = delete;
   ClearIsActiveAnchor& operator=(ClearIsActiveAnchor const&) = delete;
   inline ~ClearIsActiveAnchor();

 private:
   Entity::FenNboAttrLogSa& adapter_;
};

/// The adapter of any entity. A type's own adapter class derives from it and adds names only.
class GANTRY_EXPORT Entity::FenNboAttrLogSa : public StreamAdapter {
 public:
   /// Marks among the 27 of a notifiee.
   struct Mark {
      static constexpr std::uint32_t readOnlyCopy = 1u << 2;
      /// The connection is being set up or taken down: nothing may be written.
      static constexpr std::uint32_t connecting = 1u << 5;
      static constexpr std::uint32_t closing = 1u << 8;
      /// A message is being applied.
      static constexpr std::uint32_t active = 1u << 9;
      /// A value that takes several messages is arriving.
      static constexpr std::uint32_t receivingParts = 1u << 10;
      static constexpr std::uint32_t outputOff = 1u << 13;
      /// Changes that find no room go to a flow. Without it each change asks
      /// prepareImmediateTransmission().
      static constexpr std::uint32_t scheduled = 1u << 20;
      static constexpr std::uint32_t flushing = 1u << 22;
      static constexpr std::uint32_t open = 1u << 26;
   };

   /// Everything that an adapter begins with.
   struct Birth {
      Ptr<Entity> const& entity;
      NboAttrLog::Demuxer& demuxer;
      EntityId id;
      std::uint32_t marks;
      unsigned depth;
   };
   explicit FenNboAttrLogSa(Birth const& birth);

   /// The entity, null once the adapter has been taken off its channel.
   Ptr<Entity> entity() const {
      return Ptr<Entity>(const_cast<Entity*>(static_cast<Entity const*>(fenNotifier())));
   }
   /// The channel, null once the adapter has been taken off it.
   NboAttrLog::Demuxer* demuxer() const { return demuxer_; }
   /// Null when nothing can be written.
   NboAttrLog::Out* nboAttrLogOut() const { return out_; }
   EntityId entityId() const { return entityId_; }
   unsigned depth() const { return depth_; }
   /// One id stands for the entity on both sides of a channel.
   bool hasUnifiedEntityId() const { return true; }
   bool isReadOnlyCopy() const { return (marks() & Mark::readOnlyCopy) != 0; }
   bool isActive() const { return (marks() & Mark::active) != 0; }
   std::uint32_t marks() const { return bits_.word(); }
   void markIs(std::uint32_t mark, bool value) {
      bits_ = Fen_BitSet(value ? bits_.word() | mark : bits_.word() & ~mark);
   }
   Ptr<MsgChannel::Entry> const& msgChannelEntry() const { return msgChannelEntry_; }
   void msgChannelEntryIs(Ptr<MsgChannel::Entry> const& entry) { msgChannelEntry_ = entry; }
   AttrDesc const* attribute(AttributeId id) const;
   std::size_t attributes() const { return attributeCount_; }

   void doNotification(AttributeId id, void const* key) override;
   /// A refused write is counted; it never reaches the writer.
   void onNotificationException(AttributeId id) override;

   AttributeId handleAttrFlowOut(AttributeId from) override;
   void handleAttrTransaction(AttributeId id, AttrTransactionType type, unsigned n) override;
   void handleAttrDeserialization(AttributeId id, DeserializationOptions options,
                                  unsigned recordKind, Ptr<NboAttrLog::In> const& in) override;
   void doSerializeOrphan() override;
   void doRemountSelf() override;
   void freeResyncState(Ptr<NboAttrLog::FlowOut> const& flow) override;
   Ptr<NboAttrLog::FlowOut> flowOut() const override;
   Ptr<NboAttrLog::FlowOut> flowOutIs(Ptr<NboAttrLog::Out> const& out,
                                      ConnectDesc const& description, bool immediate,
                                      AttributeId fromAttribute) override;
   void fenInstantiateSerialize() override;
   void syncModeIs(SyncMode mode) override;
   SyncMode syncMode() const { return syncMode_; }

   /// Sends every attribute as it is; what finds no room is left to a flow.
   virtual void doThis();
   /// An id that this type does not have.
   virtual void doBaseFenNboAttrLogSaMsg(AttributeId id, NboAttrLog::In& in);
   /// Another process counts its own references: what the peer says of its entity's counting is
   /// known here and changes nothing, or a stranger could make entities that never go.
   bool peerNondestructing() const { return peerNondestructing_; }
   /// Whether a read-only copy takes what the peer writes: it does where the peer is the source.
   virtual bool readOnlyRemoteOk(AttributeId id) const;
   /// Asks a read-only copy to become writable; refused unless a type decides otherwise.
   virtual bool convertedToWritable(bool force);
   /// In immediate mode: whether to send now.
   virtual bool prepareImmediateTransmission(AttributeId id, bool bufferShort);
   [[noreturn]] void doThrowReadOnly(AttributeId id) const;

   // ---- for the operations of attributes ----------------------------------------------------

   /// Begins a message about this entity, up to and with the opening token.
   NboAttrLog::Out& fenMessageBegin(AttributeId id, std::uint32_t recordKind);
   /// The guards that stand before every change that is to be written.
   bool mayWrite(AttributeId id) {
      if (__builtin_expect((marks() & writeMask) == Mark::open, 1)) {
         return true;
      }
      return mayWriteSlow(id);
   }
   /// Whether to write now (the flow, if any, then no longer has it), or to keep it dirty.
   bool sendsNow(AttributeId id) {
      if (__builtin_expect((marks() & Mark::scheduled) != 0, 1)) {
         return (marks() & Mark::flushing) != 0 || out_->hasSufficientBuffer();
      }
      return prepareImmediateTransmission(id, !out_->hasSufficientBuffer());
   }
   /// True while a value of that attribute is arriving.
   bool handlingFlowInFor(AttributeId id) const { return flowInAttribute_ == id; }
   NboAttrLog::FlowOut* fenFlow() const { return flow_.ptr(); }
   /// The flow, made and queued when there is none.
   NboAttrLog::FlowOut& fenFlowIs();
   void fenQueueFlow();
   bool continueFlowOut() const { return demuxer_ != nullptr && demuxer_->continueFlowOut(); }
   void sendTransactionMarker(AttributeId id, AttrTransactionType type, unsigned n);
   NboAttrLog::FlowIn* fenFlowIn(AttributeId id) const;

   /// Sends a text, from the place where an earlier part ended; true when all is sent.
   bool fenTextSerialize(AttributeId id, String8 const& text);
   /// A text attribute has changed.
   void fenTextChanged(AttributeId id, String8 const& text);
   /// A part of a text or a whole one; true with the whole text, as a view of the message, in
   /// `text`.
   bool fenTextReceived(AttributeId id, NboAttrLog::In& in, std::string_view& text);

   /// The id of an entity on this channel, (0, 0) when it has none.
   EntityId fenEntityId(Entity const& target) const;
   /// The adapter of an entity on this channel, null when there is none.
   FenNboAttrLogSa* fenAdapterOf(Entity const& target) const {
      return fenAdapterOn(target, demuxer_);
   }
   static FenNboAttrLogSa* fenAdapterOn(Entity const& target, NboAttrLog::Demuxer const* demuxer);
   /// A member or child has been made from a message: gives it its adapter and id.
   void fenMemberReceived(Ptr<Entity> const& member, EntityId id);
   /// Reads the id at the end of a creation; refuses one that cannot be.
   EntityId fenCreationId(NboAttrLog::In& in);
   /// Whether an existing member stands for that id, or may: false when the peer has replaced it.
   bool fenKeepsMember(Entity& existing, EntityId id);
   /// The creation that is being applied: its attribute and the id that the member will have.
   struct Creation {
      AttributeId attribute = 0;
      EntityId id = {};
      std::size_t idPosition = 0;
      NboAttrLog::In* in = nullptr;
      Entity const* member = nullptr;
   };
   void creationIs(Creation* creation) { creation_ = creation; }
   Creation* creation() const { return creation_; }
   /// Within the notification of a member that is being made from a message: its adapter instead of
   /// a message. False when nothing is being made for that attribute.
   bool fenCreationTaken(AttributeId id, Entity* member);
   /// The bytes that this entity holds on the peer's account: `more` come, `less` go.
   void fenHeld(std::size_t more, std::size_t less);

 protected:
   ~FenNboAttrLogSa() override;

   // What a type's own adapter gives its names to.
   void attributeChanged(AttributeId id, void const* key = nullptr) { doNotification(id, key); }
   /// Sends an attribute as it is, all of it; false when something is left to the flow.
   bool fenAttributeSerialize(AttributeId id);
   Ptr<FenNboAttrLogSa> fenMemberAdapter(Ptr<Entity> const& member) const {
      return member ? fenAdapterOf(*member) : nullptr;
   }
   /// The adapter of a member; when it has none, its creation is written and it gets one.
   Ptr<FenNboAttrLogSa> fenMemberAdapterIs(AttributeId id, Ptr<Entity> const& member,
                                           void const* key = nullptr);
   void fenMemberAdapterDel(Ptr<Entity> const& member);

 private:
   friend class NboAttrLog::Demuxer;
   friend class ClearIsActiveAnchor;

   static constexpr std::uint32_t writeMask = Mark::outputOff | Mark::connecting | Mark::closing |
                                              Mark::active | Mark::readOnlyCopy | Mark::open |
                                              Mark::receivingParts;
   bool mayWriteSlow(AttributeId id);
   void baseNotification(AttributeId id);
   void flowInEnd();
   AttributeId flushAttributes(AttributeId from);
   void flushOne(AttributeId id);
   void markAllDirty(AttributeId from);
   void requireRemoteOk(AttributeId id);
   void receiveAttribute(AttributeId id, std::uint32_t recordKind, NboAttrLog::In& in, bool apply);
   AttributeId listRecord(NboAttrLog::In& in, std::size_t& parametersEnd) const;
   Entity& watched() const {
      return const_cast<Entity&>(static_cast<Entity const&>(*fenNotifier()));
   }
   AttributeId behindLast() const {
      return firstOwnAttributeId + static_cast<AttributeId>(attributeCount_);
   }
   void nondestructingSend();

   NboAttrLog::Demuxer* demuxer_;
   NboAttrLog::Out* out_;
   EntityId entityId_;
   /// A second id, from the peer, of an entity that both sides have created.
   EntityId alias_;
   AttrDesc const* attributes_;
   std::uint16_t attributeCount_;
   std::uint16_t depth_;
   AttributeId flowInAttribute_ = 0;
   std::size_t held_ = 0;
   Ptr<NboAttrLog::FlowOut> flow_;
   Creation* creation_ = nullptr;
   Ptr<MsgChannel::Entry> msgChannelEntry_;
   SyncMode syncMode_ = SyncMode::idle;
   bool peerNondestructing_ = false;
};

inline ClearIsActiveAnchor::~ClearIsActiveAnchor() {
   adapter_.markIs(Entity::FenNboAttrLogSa::Mark::active, false);
}

} // namespace Fen
