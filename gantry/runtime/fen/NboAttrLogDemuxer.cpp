/// One mount's log: ids, adapters, the queue of flows, and the end of it all.
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/NboAttrLogFlow.h>
#include <gantry/runtime/fen/NboAttrLogTables.h>

#include <algorithm>

namespace Fen {

NboAttrLog::DemuxerManager& globalNboAttrLogDemuxerManager() {
   // Never destroyed: logs may be closed until the last code has run.
   static auto* const theManager = new NboAttrLog::DemuxerManager;
   return *theManager;
}

namespace NboAttrLog {

using Adapter = Entity::FenNboAttrLogSa;

Demuxer::Demuxer(Options const& options, bool isSource, User* user)
   : out_(makePtr<Out>(options.out, options.channel, this)), in_(makePtr<In>(this)),
     budget_(options.budget), limits_(options.limits), user_(user),
     adapters_(std::make_unique<AdapterTable>()), own_(std::make_unique<IdTable>()),
     peers_(std::make_unique<IdTable>()), queues_(std::make_unique<Queues>()),
     ownSecond_(isSource ? 0 : 1), isSource_(isSource), writable_(options.writable) {
   FEN_ASSERT(options.out && options.channel <= largestChannel, "a log has an output");
   if (!budget_) {
      budget_ = makePtr<TreeBudget>(limits_.tree);
   }
   globalNboAttrLogDemuxerManager().demuxers_.push_back(this);
}

Demuxer::~Demuxer() { close(); }

Ptr<Demuxer> Demuxer::sourceIs(Options const& options, User* user) {
   return makePtr<Demuxer>(options, true, user);
}

Ptr<Demuxer> Demuxer::targetIs(Options const& options, Ptr<Dir> const& directory, Name name,
                               FenType const* type, User* user) {
   auto demuxer = makePtr<Demuxer>(options, false, user);
   demuxer->directory_ = directory;
   demuxer->name_ = name;
   demuxer->type_ = type;
   return demuxer;
}

void Demuxer::rootIs(Ptr<Entity> const& root) {
   FEN_ASSERT(isSource_ && rootAdapter_ == nullptr && !pendingRoot_, "a source has one root");
   if (!root || !root->fenHasAttrLogInterface()) {
      throwRangeException("an entity of this type cannot be mounted");
   }
   pendingRoot_ = root;
   wake();
}

Ptr<Entity> Demuxer::root() const {
   return rootAdapter_ != nullptr ? rootAdapter_->entity() : pendingRoot_;
}

void Demuxer::close() {
   if (closed_) {
      return;
   }
   closed_ = true;
   user_ = nullptr;
   out_->demuxer_ = nullptr;
   rootAdapter_ = nullptr;
   pendingRoot_ = nullptr;
   std::erase(globalNboAttrLogDemuxerManager().demuxers_, this);
   for (IdTable* const table : {own_.get(), peers_.get()}) {
      table->forEach([this](Adapter& adapter) { detach(adapter); });
      table->clear();
   }
   adapters_->clear();
   queues_ = std::make_unique<Queues>();
}

/// Ends what the adapter has to do with its entity and with this channel. Its ids stay bound.
void Demuxer::detach(Adapter& adapter) {
   budget_->give(adapter.held_);
   adapter.held_ = 0;
   if (adapter.flow_) {
      flowEnded(*adapter.flow_);
      adapter.flow_ = nullptr;
   }
   adapter.demuxer_ = nullptr;
   adapter.out_ = nullptr;
   adapter.fenNotifierStore(nullptr);
}

std::size_t Demuxer::entities() const { return own_->size() + peers_->size(); }

std::size_t Demuxer::memory() const {
   std::size_t const queued = queues_->ready.size() + queues_->waiting.size();
   return entities() * (sizeof(Adapter) + sizeof(Ptr<Adapter>)) + adapters_->memory() +
          queued * (sizeof(Ptr<Adapter>) + sizeof(FlowOut));
}

void Demuxer::unknownEnumsInc(unsigned count) { unknownEnums_ += count; }

// ---- ids -------------------------------------------------------------------------------------

EntityId Demuxer::nextOwnId() const { return {own_->highest() + 1, ownSecond_}; }

Adapter* Demuxer::adapterFor(EntityId id) const { return tableOf(id).find(id.first); }

Adapter* Demuxer::adapterOf(Entity const& entity) const {
   std::size_t walked = 0;
   for (auto* each = entity.fenNotifiees().head(); each != nullptr; each = each->fwkLrNext()) {
      if (walked++ == AdapterTable::nearNotifiees) {
         return adapters_->find(entity);
      }
      if (each->isGenericNotifiee() && each->isStreamAdapter()) {
         auto* const adapter = static_cast<Adapter*>(each);
         if (adapter->demuxer_ == this) {
            return adapter;
         }
      }
   }
   return nullptr;
}

Ptr<Entity> Demuxer::entityFor(EntityId id, bool* gone) const {
   Adapter const* const adapter = adapterNamed(id);
   if (gone != nullptr) {
      *gone = adapter == nullptr;
   }
   return adapter != nullptr ? adapter->entity() : Ptr<Entity>();
}

/// The adapter with that id; null when its entity has gone. Refuses ids that were never given.
Adapter* Demuxer::adapterNamed(EntityId id) const {
   if (id.second > 1 || id.first < IdTable::first || id.first > tableOf(id).highest()) {
      refuse(Refusal::unknownEntity, format("no entity has the id %u/%u", id.first, id.second));
   }
   return tableOf(id).find(id.first);
}

void Demuxer::requireCreatable(EntityId id) const {
   if (id.second > 1 || id.first < IdTable::first) {
      refuse(Refusal::malformed, format("%u/%u is not the id of an entity", id.first, id.second));
   }
   if (isOwnId(id)) {
      // The peer may repeat what this side has created, and nothing else.
      if (adapterFor(id) == nullptr) {
         refuse(Refusal::duplicateEntity, "an id of this side is given to another entity");
      }
   } else if (id.first > peers_->highest() + 1) {
      refuse(Refusal::outOfOrder, "an entity id is not the next one");
   }
}

void Demuxer::idGiven(EntityId id) {
   if (!isOwnId(id)) {
      peers_->given(id.first);
   }
}

Ptr<Adapter> Demuxer::adapterIs(Ptr<Entity> const& entity, EntityId id, Adapter* above) {
   if (Adapter* const known = Adapter::fenAdapterOn(*entity, this)) {
      if (id != known->entityId_ && id != known->alias_ && !isOwnId(id)) {
         if (known->alias_) {
            peers_->unbind(known->alias_.first);
         }
         known->alias_ = id;
         peers_->bind(id.first, Ptr<Adapter>(known));
      }
      return known;
   }
   using Mark = Adapter::Mark;
   std::uint32_t const marks =
      Mark::scheduled | Mark::open | (isSource_ || writable_ ? 0 : Mark::readOnlyCopy);
   Ptr<Adapter> const adapter = EntityWire::of(*entity)->newAdapter(
      {entity, *this, id, marks, above != nullptr ? above->depth_ + 1u : 1u});
   tableOf(id).bind(id.first, adapter);
   if (entity->fenNotifiees().size() >= AdapterTable::nearNotifiees) {
      adapters_->put(*entity, *adapter);
   }
   adapter->isRegisteredNotifieeIs(true);
   ++queues_->idsGiven;
   if (!queues_->waiting.empty()) {
      wake();
   }
   return adapter;
}

void Demuxer::adapterDel(Adapter& adapter) {
   Ptr<Adapter> const kept(&adapter);
   adapter.flowInEnd();
   adapters_->erase(adapter.watched());
   tableOf(adapter.entityId_).unbind(adapter.entityId_.first);
   if (adapter.alias_) {
      peers_->unbind(adapter.alias_.first);
   }
   if (&adapter == rootAdapter_) {
      rootAdapter_ = nullptr;
   }
   detach(adapter);
}

void Demuxer::adapterLeft(Adapter& adapter, bool gone) {
   if (&adapter != rootAdapter_) {
      subtreeGone(adapter.watched());
   } else if (gone || !adapter.watched().parent()) {
      rootGone();
   }
}

void Demuxer::subtreeGone(Entity& entity) {
   Adapter* const adapter = Adapter::fenAdapterOn(entity, this);
   if (adapter == nullptr) {
      return;
   }
   for (AttributeId id = firstOwnAttributeId; id < adapter->behindLast(); ++id) {
      if (AttrWire const* const wire = adapter->attribute(id)->wire) {
         wire->forEachOwned(
            entity,
            [](Entity& owned, void* self) { static_cast<Demuxer*>(self)->subtreeGone(owned); },
            this);
      }
   }
   adapterDel(*adapter);
}

void Demuxer::rootGone() {
   Ptr<Demuxer> const kept(this);
   User* const user = user_;
   close();
   if (user != nullptr) {
      user->handleRootGone(*this);
   }
}

void Demuxer::checkEphemeralEntityDeletion(EntityId, Ptr<Entity> const& member, Adapter& above,
                                           AttributeId attribute, void const* recordKey) {
   // The removal happened while the holder's adapter was applying the creation, so nothing was
   // written of it. The peer, which still has the member, is told where it may be told.
   if (!above.isReadOnlyCopy()) {
      above.attribute(attribute)->wire->memberDirty(above, *member, recordKey);
   }
}

void Demuxer::syncModeIs(Adapter& from, std::uint32_t number) {
   auto const mode = static_cast<StreamAdapter::SyncMode>(number);
   Entity& entity = from.watched();
   for (Demuxer* const each : globalNboAttrLogDemuxerManager().demuxers()) {
      if (Adapter* const adapter = Adapter::fenAdapterOn(entity, each)) {
         bool const wasOff = (adapter->marks() & Adapter::Mark::outputOff) != 0;
         adapter->markIs(Adapter::Mark::outputOff, true);
         adapter->syncModeIs(mode);
         adapter->markIs(Adapter::Mark::outputOff, wasOff);
      }
   }
   if (from.msgChannelEntry()) {
      from.msgChannelEntry()->modeIs(3);
   }
   if (mode == StreamAdapter::SyncMode::synchronised) {
      if (Ptr<Dir> const holder = ptrCast<Dir>(entity.parent())) {
         Ptr<Dir::Entry> const entry = holder->entry(entity.name());
         if (entry && entry->entityRef() == &entity) {
            entry->fenSyncMarkIs(3);
         }
      }
   }
}

// ---- flows -----------------------------------------------------------------------------------

bool Demuxer::continueFlowOut() const {
   Connection::Out const& bytes = out_->bytes();
   return !closed_ && bytes.hasSufficientBuffer() && bytes.written() < flushEnd_;
}

FlowOut& Demuxer::createFlowOut(Adapter& adapter, ConnectDesc const&, bool,
                                AttributeId fromAttribute) {
   if (!adapter.flow_) {
      adapter.flow_ = makePtr<FlowOut>(adapter.attributes());
      if (adapter.attribute(fromAttribute) != nullptr) {
         adapter.flow_->attributeIdIs(fromAttribute);
      }
      if (isSource_ && !synchronised_) {
         adapter.flow_->partOfSync = true;
         ++queues_->syncFlows;
      }
   }
   flowOutQueued(adapter);
   return *adapter.flow_;
}

void Demuxer::flowOutQueued(Adapter& adapter) {
   // Who is being flushed is put back, or not, when that has ended.
   if (adapter.flow_->queued || (adapter.marks() & Adapter::Mark::flushing) != 0) {
      return;
   }
   adapter.flow_->queued = true;
   queues_->ready.emplace_back(&adapter);
   if (queues_->ready.size() == 1) {
      wake();
   }
}

void Demuxer::flowEnded(FlowOut& flow) {
   if (flow.partOfSync) {
      flow.partOfSync = false;
      --queues_->syncFlows;
   }
}

void Demuxer::flowOutDel(Adapter& adapter) {
   flowEnded(*adapter.flow_);
   adapter.flow_ = nullptr;
}

void Demuxer::flowOutWaits(Adapter& adapter) {
   flowEnded(*adapter.flow_);
   if (!adapter.flow_->waiting) {
      adapter.flow_->waiting = true;
      queues_->waiting.emplace_back(&adapter);
   }
   if (!settling_) {
      queues_->idsSettled = Queues::never;
   }
}

FlowIn& Demuxer::flowInIs(EntityId id) {
   auto& place = queues_->flowIns[id.number()];
   if (!place) {
      place = std::make_unique<FlowIn>();
   }
   return *place;
}
void Demuxer::flowInDel(EntityId id) { queues_->flowIns.erase(id.number()); }

void Demuxer::wake() { out_->bytes().tellUser(); }

bool Demuxer::settleWanted() const {
   return !queues_->waiting.empty() && queues_->idsSettled != queues_->idsGiven;
}
bool Demuxer::synchronisedWanted() const {
   return isSource_ && !synchronised_ && rootAdapter_ != nullptr && queues_->syncFlows == 0;
}
bool Demuxer::flushWanted() const {
   return !closed_ &&
          (pendingRoot_ || !queues_->ready.empty() || settleWanted() || synchronisedWanted());
}

bool Demuxer::flush(std::size_t budget) {
   Ptr<Demuxer> const kept(this);
   if (closed_) {
      return false;
   }
   flushEnd_ = out_->bytes().written() + std::max<std::size_t>(budget, 1);
   if (pendingRoot_ && continueFlowOut()) {
      rootSend();
   }
   flushQueue();
   if (continueFlowOut() && queues_->ready.empty() && settleWanted()) {
      settle();
   }
   if (continueFlowOut() && queues_->ready.empty() && !settleWanted() && synchronisedWanted()) {
      synchronisedSend();
   }
   flushEnd_ = ~std::uint64_t{0};
   return flushWanted();
}

void Demuxer::flushQueue() {
   while (continueFlowOut() && !queues_->ready.empty()) {
      Ptr<Adapter> const adapter = std::move(queues_->ready.front());
      queues_->ready.pop_front();
      if (adapter->flow_) {
         adapter->flow_->queued = false;
         flushAdapter(*adapter);
      }
   }
}

void Demuxer::flushAdapter(Adapter& adapter) {
   FlowOut& flow = *adapter.flow_;
   AttributeId const next = adapter.handleAttrFlowOut(flow.attributeId());
   flow.attributeIdIs(next);
   if (next != 0) {
      flowOutQueued(adapter);
   } else if (!flow.hasDirtyAttributes()) {
      flowOutDel(adapter);
   } else if (flow.unresolved) {
      flowOutWaits(adapter);
   } else {
      flowOutQueued(adapter);
   }
}

void Demuxer::settle() {
   queues_->idsSettled = queues_->idsGiven;
   std::vector<Ptr<Adapter>> const waiting = std::exchange(queues_->waiting, {});
   settling_ = true;
   for (Ptr<Adapter> const& each : waiting) {
      if (each->flow_) {
         each->flow_->waiting = false;
         flowOutQueued(*each);
      }
   }
   flushQueue();
   settling_ = false;
}

void Demuxer::rootSend() {
   Ptr<Entity> const root = std::exchange(pendingRoot_, nullptr);
   Ptr<Adapter> const adapter = adapterIs(root, nextOwnId(), nullptr);
   rootAdapter_ = adapter.ptr();
   adapter->doSerializeOrphan();
}

void Demuxer::synchronisedSend() {
   synchronised_ = true;
   Connection::Out& bytes = out_->bytes();
   bytes.frameBegin(FrameKind::synchronised, out_->channel());
   bytes.frameEnd();
   if (user_ != nullptr) {
      user_->handleSynchronised(*this);
   }
}

} // namespace NboAttrLog
} // namespace Fen
