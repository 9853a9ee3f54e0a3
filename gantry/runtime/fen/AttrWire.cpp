/// The algorithms of attributes on the wire that do not depend on their types.
#include <gantry/runtime/fen/AttrWire.h>
#include <gantry/runtime/fen/FenType.h>

namespace Fen {

void AttrWire::transaction(Adapter&, Entity&, AttrTransactionType) const {}
void AttrWire::memberDirty(Adapter&, Entity const&, void const*) const {}
void AttrWire::textIs(Adapter&, Entity&, std::string_view) const {}
void AttrWire::forEachOwned(Entity&, void (*)(Entity&, void*), void*) const {}
bool AttrWire::isCollection() const { return false; }
bool AttrWire::isText() const { return false; }
Sent AttrWire::itemSend(Adapter&, Entity&) const { return Sent::all; }

Sent AttrWire::itemDirtySend(Adapter& adapter, Entity& entity) const {
   if (!adapter.continueFlowOut()) {
      return Sent::stopped;
   }
   Sent const sent = itemSend(adapter, entity);
   if (sent == Sent::all) {
      adapter.fenFlow()->dirtyIs(id, false);
   }
   return sent;
}

void AttrWire::itemChanged(Adapter& adapter, Entity& entity) const {
   if (adapter.sendsNow(id) && itemSend(adapter, entity) == Sent::all) {
      if (NboAttrLog::FlowOut* const flow = adapter.fenFlow()) {
         flow->dirtyIs(id, false);
      }
      return;
   }
   adapter.fenFlowIs().dirtyIs(id, true);
   adapter.fenQueueFlow();
}

EntityWire const* EntityWire::of(Entity const& entity) { return entity.fwkType()->wire(); }

namespace AttrLog {

void const* OwnedPlace::recordKey() const { return nullptr; }

Sent OwnedPlace::send(AttrWire::Adapter& adapter, Entity& member) const {
   EntityWire const* const wire = wireOf(member);
   NboAttrLog::Demuxer* const demuxer = adapter.demuxer();
   if (wire == nullptr || demuxer == nullptr) {
      return Sent::all;
   }
   AttrWire::Adapter* const known = adapter.fenAdapterOf(member);
   EntityId const memberId = known != nullptr ? known->entityId() : demuxer->nextOwnId();
   NboAttrLog::Out& out = adapter.fenMessageBegin(id, NboAttrLog::createRecordKind);
   typePut(out, member);
   wire->parametersPut(out, member);
   out << memberId;
   out.transactTokenIs(Connection::Out::TransactToken::close);
   // A name or parameter that fits into no message keeps its entity on this node.
   if (out.messageEnd() && known == nullptr) {
      demuxer->adapterIs(Ptr<Entity>(&member), memberId, &adapter)->doThis();
   }
   return Sent::all;
}

Ptr<Entity> OwnedPlace::kept(AttrWire::Adapter& adapter, Entity& owner, EntityWire const& wire,
                             Entity const& wanted, EntityId newId) const {
   Ptr<Entity> existing = present(owner, wanted);
   if (Entity::FenNboAttrLogSa const* const bound = adapter.demuxer()->adapterFor(newId);
       bound != nullptr && (!existing || bound->entity() != existing)) {
      NboAttrLog::refuse(NboAttrLog::Refusal::duplicateEntity,
                         "the entity id of a new member stands for another entity");
   }
   if (!existing) {
      return existing;
   }
   // Other constructor parameters, or another object under the same name: the peer's view wins.
   if (adapter.fenKeepsMember(*existing, newId) && wire.matches(*existing, wanted)) {
      return existing;
   }
   drop(owner, existing);
   // A handler may have put another one in.
   return present(owner, wanted);
}

Ptr<Entity> OwnedPlace::receive(AttrWire::Adapter& adapter, Entity& owner, NboAttrLog::In& in,
                                AttrWire::Received const& received) const {
   EntityWire const& wire = *wireRead(in);
   Ptr<Entity> const wanted = wire.newEntity(in, nullptr);
   if (received.parametersEnd != 0) {
      in.positionIs(received.parametersEnd);
   }
   AttrWire::Adapter::Creation creation{id, {}, in.position(), &in, wanted.ptr()};
   creation.id = adapter.fenCreationId(in);
   if (!received.apply) {
      return wanted;
   }
   std::size_t const behind = in.position();
   Ptr<NboAttrLog::Demuxer> const demuxer(adapter.demuxer());
   demuxer->idGiven(creation.id);
   MsgChannel::DeserializingEidAnchor const anchor(creation.id);
   Ptr<Entity> member = kept(adapter, owner, wire, *wanted, creation.id);
   if (!member && !demuxer->isClosed()) {
      member = wanted;
      in.positionIs(creation.idPosition);
      adapter.creationIs(&creation);
      take(owner, wanted);
      adapter.creationIs(nullptr);
   }
   in.positionIs(behind);
   if (demuxer->isClosed() || adapter.demuxer() == nullptr) {
      return wanted;
   }
   if (isPresent(owner, *member)) {
      member->fenMarkedForDeletionIs(false);
      adapter.fenMemberReceived(member, creation.id);
   } else {
      demuxer->checkEphemeralEntityDeletion(creation.id, member, adapter, id, recordKey());
   }
   return wanted;
}

} // namespace AttrLog
} // namespace Fen
