/// Adapters: applying what the peer sends. Everything in a message is a stranger's and checked
/// before it is used; what is applied goes through the entity's own setters, whose reactors may
/// delete the entity, this adapter and the channel.
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/NboAttrLogFlow.h>
#include <gantry/runtime/fen/StreamAdapter.h>

#include <algorithm>
#include <limits>

namespace Fen {

using Adapter = Entity::FenNboAttrLogSa;
using NboAttrLog::Refusal;
using NboAttrLog::refuse;

void NboAttrLog::unknownEnumSeen(In& in) {
   static Counter& unknown = Counters::counter("wire.unknown_enums");
   unknown.increment();
   if (in.demuxer() != nullptr) {
      in.demuxer()->unknownEnumsInc(1);
   }
}

void Adapter::requireRemoteOk(AttributeId id) {
   bool const proxyWrites = demuxer_->isSource() && !demuxer_->writable();
   if (proxyWrites || (isReadOnlyCopy() && !readOnlyRemoteOk(id) && !convertedToWritable(false))) {
      refuse(Refusal::readOnly,
             String8("write-update from readonly proxy: ") + watched().fullName());
   }
}

void Adapter::handleAttrDeserialization(AttributeId id, DeserializationOptions, unsigned recordKind,
                                        Ptr<NboAttrLog::In> const& in) {
   if (in) {
      receiveAttribute(id, recordKind, *in, false);
      return;
   }
   if (demuxer_ == nullptr || !demuxer_->in()) {
      return;
   }
   if (isActive()) {
      throwInternalException("entity reactor is already active");
   }
   requireRemoteOk(id);
   Ptr<Entity> const kept(&watched());
   Ptr<NboAttrLog::In> const input = demuxer_->in();
   markIs(Mark::active, true);
   ClearIsActiveAnchor const anchor(*this);
   receiveAttribute(id, recordKind, *input, true);
}

void Adapter::receiveAttribute(AttributeId id, std::uint32_t recordKind, NboAttrLog::In& in,
                               bool apply) {
   AttrWire::Received received{false, recordKind, 0, apply};
   if (id == NboAttrLog::listRecordAttributeId) {
      id = listRecord(in, received.parametersEnd);
      if (id == 0) {
         in.positionIs(in.position() + in.left() - 1);
         return;
      }
      received.recordKind = id > 0 ? in.nextU32() : 0;
   }
   received.removal = id < 0;
   AttrDesc const* const described =
      id == std::numeric_limits<AttributeId>::min() ? nullptr : attribute(id < 0 ? -id : id);
   if (described == nullptr || described->wire == nullptr) {
      doBaseFenNboAttrLogSaMsg(id, in);
      return;
   }
   AttrWire const& wire = *described->wire;
   bool const owns =
      described->kind == AttrKind::ownedCollection || described->kind == AttrKind::child;
   // A record travels with what it owns, or, when it owns nothing, as a mere key.
   bool const creates =
      !received.removal && (owns || (described->kind == AttrKind::recordCollection &&
                                     received.recordKind == NboAttrLog::createRecordKind));
   if (received.recordKind != (creates ? NboAttrLog::createRecordKind : 0)) {
      refuse(Refusal::malformed, "a message is of a kind that its attribute does not have");
   }
   if (received.removal && !wire.isCollection() && described->kind != AttrKind::child) {
      refuse(Refusal::malformed, "an attribute that always has a value is removed");
   }
   if (creates && depth_ >= demuxer_->limits().depth) {
      refuse(Refusal::tooDeep,
             format("more than %u entities below each other", demuxer_->limits().depth));
   }
   wire.receive(*this, watched(), in, received);
}

AttributeId Adapter::listRecord(NboAttrLog::In& in, std::size_t& parametersEnd) const {
   std::size_t const start = in.position();
   std::size_t const listEnd = start + in.nextU16();
   std::size_t const offset = in.nextU16();
   AttributeId found = 0;
   while (in.position() < listEnd) {
      AttributeId const each = in.nextint();
      AttrDesc const* const described = each == std::numeric_limits<AttributeId>::min()
                                           ? nullptr
                                           : attribute(each < 0 ? -each : each);
      if (described != nullptr && described->wire != nullptr &&
          described->kind == AttrKind::ownedCollection) {
         found = each;
         break;
      }
   }
   if (listEnd < in.position()) {
      refuse(Refusal::malformed, "a list of attributes ends within an id");
   }
   in.positionIs(listEnd);
   if (offset != 0) {
      parametersEnd = start + offset;
      if (parametersEnd < listEnd) {
         refuse(Refusal::malformed, "constructor parameters end before they begin");
      }
   }
   return found;
}

void Adapter::doBaseFenNboAttrLogSaMsg(AttributeId id, NboAttrLog::In& in) {
   switch (id) {
   case isNondestructingAttributeId:
      peerNondestructing_ = in.nextbool();
      return;
   case NboAttrLog::syncModeAttributeId: {
      SyncMode const mode = SyncModeInstance(in.nextU32());
      demuxer_->syncModeIs(*this, static_cast<std::uint32_t>(mode));
      return;
   }
   default:
      refuse(Refusal::unknownAttribute, format("type %s has no attribute %d",
                                               watched().fwkType()->fullTypeName().charPtr(), id));
   }
}

void Adapter::handleAttrTransaction(AttributeId id, AttrTransactionType type, unsigned) {
   AttrDesc const* const described = attribute(id);
   if (described == nullptr || described->wire == nullptr) {
      refuse(Refusal::unknownAttribute, format("a transaction on attribute %d", id));
   }
   if (isActive()) {
      throwInternalException("entity reactor is already active");
   }
   requireRemoteOk(id);
   Ptr<Entity> const kept(&watched());
   Ptr<NboAttrLog::Demuxer> const demuxer(demuxer_);
   markIs(Mark::active, true);
   ClearIsActiveAnchor const anchor(*this);
   AttrWire const& wire = *described->wire;
   if (!wire.isText()) {
      wire.transaction(*this, watched(), type);
      return;
   }
   if (type == AttrTransactionType::begin) {
      flowInEnd();
      demuxer->flowInIs(entityId_).aidIs(id);
      flowInAttribute_ = id;
      markIs(Mark::receivingParts, true);
      return;
   }
   NboAttrLog::FlowIn* const flow = fenFlowIn(id);
   if (flow == nullptr) {
      return;
   }
   flow->handlingTransactionIs(true);
   // The flow goes before the text is stored, whose handlers may do anything.
   String8 const whole{std::string_view(flow->text())};
   flowInEnd();
   if (type == AttrTransactionType::end) {
      wire.textIs(*this, *kept, whole.view());
   }
}

NboAttrLog::FlowIn* Adapter::fenFlowIn(AttributeId id) const {
   return flowInAttribute_ == id && demuxer_ != nullptr ? &demuxer_->flowInIs(entityId_) : nullptr;
}

void Adapter::flowInEnd() {
   if (flowInAttribute_ == 0) {
      return;
   }
   fenHeld(0, demuxer_->flowInIs(entityId_).text().size());
   demuxer_->flowInDel(entityId_);
   flowInAttribute_ = 0;
   markIs(Mark::receivingParts, false);
}

bool Adapter::fenTextReceived(AttributeId id, NboAttrLog::In& in, std::string_view& text) {
   // The last byte is the closing token.
   if (in.left() == 0) {
      refuse(Refusal::malformed, "a text without a message");
   }
   ConnectionInSizeAnchor const anchor(in, in.left() - 1);
   std::string_view const part = in.nextText();
   if (NboAttrLog::FlowIn* const flow = fenFlowIn(id)) {
      fenHeld(part.size(), 0);
      flow->text().append(part);
      return false;
   }
   text = part;
   return true;
}

void Adapter::fenHeld(std::size_t more, std::size_t less) {
   if (demuxer_ == nullptr) {
      return;
   }
   // Handlers may have taken away what was counted: what is given back ends at what was taken.
   less = std::min(less, held_);
   if (more > less) {
      demuxer_->budget().take(more - less);
   } else {
      demuxer_->budget().give(less - more);
   }
   held_ += more;
   held_ -= less;
}

EntityId Adapter::fenCreationId(NboAttrLog::In& in) {
   EntityId const id = in.nextEntityId();
   demuxer_->requireCreatable(id);
   return id;
}

bool Adapter::fenKeepsMember(Entity& existing, EntityId id) {
   Adapter* const adapter = fenAdapterOf(existing);
   // Without an adapter it is a copy of earlier times, which is adopted. One that this side has
   // named itself was made on both sides at once. Another name of the peer's means another object.
   return adapter == nullptr || adapter->entityId_ == id || adapter->alias_ == id ||
          (demuxer_->isOwnId(adapter->entityId_) && !adapter->alias_);
}

bool Adapter::fenCreationTaken(AttributeId id, Entity* member) {
   if (creation_->attribute != id) {
      return false;
   }
   if (member == nullptr || member != creation_->member || demuxer_ == nullptr) {
      return true;
   }
   NboAttrLog::In& in = *creation_->in;
   EntityId const memberId = in.nextEntityId();
   fenMemberReceived(Ptr<Entity>(member), memberId);
   // Whoever passes the bytes on must name the new entity's holder as this side does.
   if ((entityId_.second & 1) == 0) {
      in.entityIdOverwrite(creation_->idPosition, entityId_);
   }
   return true;
}

void Adapter::fenMemberReceived(Ptr<Entity> const& member, EntityId id) {
   Ptr<Adapter> const made = demuxer_->adapterIs(member, id, this);
   if (made->held_ == 0) {
      made->fenHeld(EntityWire::of(*member)->bytes(*member), 0);
   }
}

} // namespace Fen
