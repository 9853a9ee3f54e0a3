/// Adapters: the guards of writing, flushing, and what every entity offers to the log.
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/NboAttrLogFlow.h>
#include <gantry/runtime/fen/NboAttrLogForm.h>
#include <gantry/runtime/fen/StreamAdapter.h>

#include <algorithm>

namespace Fen {

using Adapter = Entity::FenNboAttrLogSa;

EntityId MsgChannel::DeserializingEidAnchor::current_;
MsgChannel::Entry::~Entry() = default;

StreamAdapter::~StreamAdapter() = default;
bool StreamAdapter::isStreamAdapter() const { return true; }
StreamAdapter::SyncMode StreamAdapter::SyncModeInstance(unsigned number) {
   if (number > static_cast<unsigned>(SyncMode::synchronising)) {
      throwRangeException("SyncMode");
   }
   return static_cast<SyncMode>(number);
}

Adapter::FenNboAttrLogSa(Birth const& birth)
   : demuxer_(&birth.demuxer), out_(birth.demuxer.out().ptr()), entityId_(birth.id),
     attributes_(birth.entity->fwkType()->attributes().data()),
     attributeCount_(static_cast<std::uint16_t>(birth.entity->fwkType()->attributes().size())),
     depth_(static_cast<std::uint16_t>(birth.depth)) {
   // The channel owns the adapter; a reference to the entity would keep every entity alive for as
   // long as the channel is open.
   isWeakReferenceIs(true);
   bits_ = Fen_BitSet(birth.marks);
   fenNotifierStore(birth.entity.ptr());
}
Adapter::~FenNboAttrLogSa() = default;

AttrDesc const* Adapter::attribute(AttributeId id) const {
   // The id may come from a peer: any number at all, of which not each has a difference.
   if (id < firstOwnAttributeId) {
      return nullptr;
   }
   auto const index = static_cast<std::size_t>(id - firstOwnAttributeId);
   return index < attributeCount_ ? &attributes_[index] : nullptr;
}

void Adapter::doNotification(AttributeId id, void const* key) {
   if (demuxer_ == nullptr) {
      return;
   }
   if (AttrDesc const* const described = attribute(id)) {
      if (described->wire != nullptr) {
         described->wire->changed(*this, watched(), key);
      }
      return;
   }
   baseNotification(id);
}

void Adapter::baseNotification(AttributeId id) {
   if (id == isNondestructingAttributeId) {
      if (mayWrite(id)) {
         if (sendsNow(id)) {
            nondestructingSend();
         } else {
            fenFlowIs().dirtyIs(id, true);
            fenQueueFlow();
         }
      }
   } else if (id == zeroReferencesAttributeId || id == parentAttributeId) {
      demuxer_->adapterLeft(*this, id == zeroReferencesAttributeId);
   }
}

void Adapter::onNotificationException(AttributeId) {
   static Counter& refused = Counters::counter("wire.refused_local_writes");
   refused.increment();
}

bool Adapter::mayWriteSlow(AttributeId id) {
   if ((marks() & Mark::outputOff) != 0) {
      return false;
   }
   // A value that has just been received is not sent back.
   if (!isActive() && handlingFlowInFor(id)) {
      return false;
   }
   // While a message is applied to this entity nothing of it is written, even what a handler
   // changes beside the received attribute: the peer's message is the later word on the entity.
   if ((marks() & (Mark::connecting | Mark::closing | Mark::active)) != 0 ||
       (marks() & Mark::open) == 0) {
      return false;
   }
   if (nboAttrLogOut() == nullptr) {
      return false;
   }
   if (isReadOnlyCopy() && !convertedToWritable(false)) {
      doThrowReadOnly(id);
   }
   return true;
}

void Adapter::doThrowReadOnly(AttributeId id) const {
   throwInternalException(String8("write-update from readonly proxy: ") + watched().name() + "." +
                          watched().attributeString(id));
}
bool Adapter::readOnlyRemoteOk(AttributeId) const {
   return demuxer_ != nullptr && !demuxer_->isSource();
}
bool Adapter::convertedToWritable(bool) { return false; }
bool Adapter::prepareImmediateTransmission(AttributeId, bool bufferShort) { return !bufferShort; }

NboAttrLog::Out& Adapter::fenMessageBegin(AttributeId id, std::uint32_t recordKind) {
   NboAttrLog::MsgHeader header;
   header.entityId = entityId_;
   header.attributeId = id;
   header.recordKind = recordKind;
   out_->nextHeaderIs(header);
   out_->transactTokenIs(Connection::Out::TransactToken::open);
   return *out_;
}

void Adapter::nondestructingSend() {
   NboAttrLog::Out& out = fenMessageBegin(isNondestructingAttributeId, 0);
   out << watched().isNondestructing();
   out.transactTokenIs(Connection::Out::TransactToken::close);
   out.messageEnd();
}

void Adapter::sendTransactionMarker(AttributeId id, AttrTransactionType type, unsigned n) {
   Connection::Out& bytes = out_->bytes();
   bytes.frameBegin(NboAttrLog::FrameKind::transaction, out_->channel());
   bytes.putU64(entityId_.number());
   bytes.putU32(static_cast<std::uint32_t>(id));
   bytes.putU8(static_cast<std::uint8_t>(type));
   bytes.putU32(n);
   bytes.frameEnd();
}

void Adapter::doSerializeOrphan() {
   EntityWire const* const wire = EntityWire::of(watched());
   NboAttrLog::MsgHeader header;
   header.entityId = orphanEntityId;
   header.attributeId = NboAttrLog::orphanAttributeId;
   out_->nextHeaderIs(header);
   out_->transactTokenIs(Connection::Out::TransactToken::open);
   out_->currentPayloadSectionIs(1);
   *out_ << watched().fwkType()->fullTypeName();
   out_->currentPayloadSectionIs(3);
   wire->parametersPut(*out_, watched());
   out_->currentPayloadSectionIs(4);
   *out_ << entityId_;
   out_->transactTokenIs(Connection::Out::TransactToken::close);
   if (out_->messageEnd()) {
      doThis();
   }
}

void Adapter::doThis() {
   Entity& entity = watched();
   if (entity.isNondestructing()) {
      nondestructingSend();
   }
   for (AttributeId id = firstOwnAttributeId; id < behindLast(); ++id) {
      AttrWire const* const wire = attribute(id)->wire;
      if (wire == nullptr) {
         continue;
      }
      if (!continueFlowOut()) {
         markAllDirty(id);
         return;
      }
      if (wire->allSend(*this, entity) == Sent::stopped) {
         markAllDirty(id + 1);
         return;
      }
   }
}

void Adapter::markAllDirty(AttributeId from) {
   fenFlowIs();
   for (AttributeId id = from; id < behindLast(); ++id) {
      if (AttrWire const* const wire = attribute(id)->wire) {
         wire->allDirty(*this);
      }
   }
   fenQueueFlow();
}

void Adapter::fenInstantiateSerialize() { doThis(); }

void Adapter::doRemountSelf() {
   if (flow_ && flow_->valueAttribute() != 0) {
      flow_->pendingAborts().push_back(flow_->valueAttribute());
      flow_->valueDeq();
   }
   markAllDirty(firstOwnAttributeId);
}

// ---- flows -----------------------------------------------------------------------------------

NboAttrLog::FlowOut& Adapter::fenFlowIs() {
   return demuxer_->createFlowOut(*this, ConnectDesc(), false, 0x7fffffff);
}
void Adapter::fenQueueFlow() { demuxer_->flowOutQueued(*this); }
Ptr<NboAttrLog::FlowOut> Adapter::flowOut() const { return flow_; }
Ptr<NboAttrLog::FlowOut> Adapter::flowOutIs(Ptr<NboAttrLog::Out> const& out,
                                            ConnectDesc const& description, bool immediate,
                                            AttributeId fromAttribute) {
   if (demuxer_ == nullptr || out.ptr() != out_) {
      return nullptr;
   }
   return &demuxer_->createFlowOut(*this, description, immediate, fromAttribute);
}

void Adapter::freeResyncState(Ptr<NboAttrLog::FlowOut> const& flow) {
   AttributeId const id = flow->attributeId();
   AttrDesc const* const described = attribute(id);
   if (described == nullptr || described->wire == nullptr) {
      return;
   }
   if (described->wire->isText() && flow->valueAttribute() == id) {
      flow->valueDeq();
      flow->pendingAborts().push_back(id);
   } else if (NboAttrLog::CollectionFlow* const collection = flow->collection(id)) {
      collection->bookmarkDel();
   }
}

AttributeId Adapter::handleAttrFlowOut(AttributeId from) {
   if (demuxer_ == nullptr || !flow_) {
      return 0;
   }
   bool const wasFlushing = (marks() & Mark::flushing) != 0;
   markIs(Mark::flushing, true);
   flow_->stopIs(false);
   flow_->unresolved = false;
   for (AttributeId const id : flow_->pendingAborts()) {
      sendTransactionMarker(id, AttrTransactionType::abort, 0);
   }
   flow_->pendingAborts().clear();
   // A text that was begun is ended first: one can be under way at a time.
   AttributeId const stopped =
      flushAttributes(flow_->valueAttribute() != 0 ? flow_->valueAttribute() : from);
   markIs(Mark::flushing, wasFlushing);
   return stopped;
}

AttributeId Adapter::flushAttributes(AttributeId from) {
   AttributeId id = std::max(from, isNondestructingAttributeId);
   if (id > isNondestructingAttributeId && id < firstOwnAttributeId) {
      id = firstOwnAttributeId;
   }
   while (id < behindLast()) {
      flow_->attributeIdIs(id);
      flushOne(id);
      if (flow_->stop()) {
         return id;
      }
      id = id < firstOwnAttributeId ? firstOwnAttributeId : id + 1;
      if (!continueFlowOut()) {
         return id < behindLast() ? id : 0;
      }
   }
   return 0;
}

void Adapter::flushOne(AttributeId id) {
   NboAttrLog::FlowOut& flow = *flow_;
   if (id == isNondestructingAttributeId) {
      if (flow.isDirty(id)) {
         flow.dirtyIs(id, false);
         nondestructingSend();
      }
      return;
   }
   AttrWire const* const wire = attribute(id)->wire;
   if (wire == nullptr) {
      return;
   }
   NboAttrLog::CollectionFlow* const collection =
      wire->isCollection() ? flow.collection(id) : nullptr;
   if (collection != nullptr ? !collection->isDirty() : !flow.isDirty(id)) {
      return;
   }
   switch (wire->dirtySend(*this, watched())) {
   case Sent::stopped:
      flow.stopIs(true);
      break;
   case Sent::later:
      flow.unresolved = true;
      break;
   case Sent::all:
      if (collection != nullptr) {
         flow.collectionDel(id);
      }
      break;
   }
}

// ---- texts -----------------------------------------------------------------------------------

void Adapter::fenTextChanged(AttributeId id, String8 const& text) {
   NboAttrLog::FlowOut* const flow = flow_.ptr();
   if (flow == nullptr) {
      if (sendsNow(id)) {
         fenTextSerialize(id, text);
         return;
      }
   } else if (flow->valueAttribute() == id) {
      // What the peer has of the former text is void.
      flow->valueDeq();
      flow->pendingAborts().push_back(id);
   } else if (flow->valueAttribute() == 0 && flow->pendingAborts().empty() && sendsNow(id)) {
      fenTextSerialize(id, text);
      return;
   }
   fenFlowIs().dirtyIs(id, true);
   fenQueueFlow();
}

bool Adapter::fenTextSerialize(AttributeId id, String8 const& text) {
   bool const resumes = flow_ && flow_->valueAttribute() == id;
   if (!resumes && text.length() <= NboAttrLog::longestTextPart) {
      NboAttrLog::changePut(*out_, entityId_, id, text.view());
      if (flow_) {
         flow_->dirtyIs(id, false);
      }
      return true;
   }
   String8::IteratorConst place = resumes ? flow_->valueDeq() : String8::IteratorConst(text);
   if (!resumes) {
      sendTransactionMarker(id, AttrTransactionType::begin, 0);
   }
   for (bool first = !resumes; first || !place.atEnd(); first = false) {
      if (!first && !continueFlowOut()) {
         NboAttrLog::FlowOut& flow = fenFlowIs();
         flow.dirtyIs(id, true);
         flow.valueEnq(id, place);
         fenQueueFlow();
         return false;
      }
      NboAttrLog::Out& out = fenMessageBegin(id, 0);
      out.connectionOut() << place;
      out.transactTokenIs(Connection::Out::TransactToken::close);
      out.messageEnd();
   }
   sendTransactionMarker(id, AttrTransactionType::end, 0);
   if (flow_) {
      flow_->dirtyIs(id, false);
   }
   return true;
}

// ---- other adapters --------------------------------------------------------------------------

Adapter* Adapter::fenAdapterOn(Entity const& target, NboAttrLog::Demuxer const* demuxer) {
   return demuxer != nullptr ? demuxer->adapterOf(target) : nullptr;
}

EntityId Adapter::fenEntityId(Entity const& target) const {
   Adapter const* const adapter = fenAdapterOf(target);
   return adapter != nullptr ? adapter->entityId_ : EntityId();
}

bool Adapter::fenAttributeSerialize(AttributeId id) {
   AttrWire const* const wire = attribute(id)->wire;
   return demuxer_ == nullptr || wire == nullptr || !mayWrite(id) ||
          wire->allSend(*this, watched()) == Sent::all;
}

Ptr<Adapter> Adapter::fenMemberAdapterIs(AttributeId id, Ptr<Entity> const& member,
                                         void const* key) {
   if (demuxer_ != nullptr && member && fenAdapterOf(*member) == nullptr) {
      doNotification(id, key);
   }
   return fenMemberAdapter(member);
}

void Adapter::fenMemberAdapterDel(Ptr<Entity> const& member) {
   if (Adapter* const adapter = member ? fenAdapterOf(*member) : nullptr) {
      adapter->demuxer_->adapterDel(*adapter);
   }
}

void Adapter::syncModeIs(SyncMode mode) { syncMode_ = mode; }

// ---- what every entity offers ----------------------------------------------------------------

bool Entity::fenHasAttrLogInterface() const { return fwkType()->wire() != nullptr; }

Ptr<Adapter const> Entity::fenNboAttrLogSa(Ptr<NboAttrLog::Out const> const& out) const {
   return out && out->demuxer() != nullptr ? Adapter::fenAdapterOn(*this, out->demuxer()) : nullptr;
}
Ptr<Adapter> Entity::fenNboAttrLogSa(Ptr<NboAttrLog::Out const> const& out) {
   return out && out->demuxer() != nullptr ? Adapter::fenAdapterOn(*this, out->demuxer()) : nullptr;
}

Ptr<Adapter> Entity::fenNboAttrLogSaForMsgChannel(Ptr<Adapter> const& adapter) const {
   for (auto* each = fenNotifiees().head(); each != nullptr; each = each->fwkLrNext()) {
      if (!each->isGenericNotifiee() || !each->isStreamAdapter() || each == adapter.ptr()) {
         continue;
      }
      auto* const other = static_cast<Adapter*>(each);
      if (!other->entityId() || other->nboAttrLogOut() == nullptr ||
          !other->nboAttrLogOut()->isMsgChannel()) {
         continue;
      }
      if (adapter->msgChannelEntry() ? other->msgChannelEntry() == adapter->msgChannelEntry()
                                     : other->hasUnifiedEntityId()) {
         return other;
      }
   }
   return nullptr;
}

Ptr<Adapter> Entity::fenNboAttrLogSaIs(PtrInterface::NotifieeConst::Fen_BitSet flags, unsigned,
                                       Ptr<NboAttrLog::Out> const& out, PtrInterface*) {
   NboAttrLog::Demuxer* const demuxer = out ? out->demuxer() : nullptr;
   if (demuxer == nullptr || !fenHasAttrLogInterface()) {
      return nullptr;
   }
   Ptr<Adapter> adapter(Adapter::fenAdapterOn(*this, demuxer));
   if (!adapter) {
      adapter = demuxer->adapterIs(Ptr<Entity>(this), demuxer->nextOwnId(), nullptr);
   }
   adapter->fen_bitSetIs(adapter->fen_bitSet() | flags);
   return adapter;
}

Ptr<Adapter> Entity::fenNboAttrLogSaDel(Ptr<NboAttrLog::Out const> const& out) {
   Ptr<Adapter> const adapter = fenNboAttrLogSa(out);
   if (adapter) {
      adapter->demuxer()->adapterDel(*adapter);
   }
   return adapter;
}

EntityId Entity::entityId(Ptr<NboAttrLog::Out> const& out, bool, bool, bool required) const {
   Adapter const* const adapter =
      out && out->demuxer() != nullptr ? Adapter::fenAdapterOn(*this, out->demuxer()) : nullptr;
   if (adapter == nullptr && required) {
      throw EntityIdUnavailableException(fullName() + " has no id on this channel yet");
   }
   return adapter != nullptr ? adapter->entityId() : EntityId();
}

} // namespace Fen
