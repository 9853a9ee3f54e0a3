/// One mount's attribute log over one connection: both directions, one space of entity ids. It
/// knows no socket and no clock: bytes come in through receive(), and go out through the Out of the
/// connection.
///
/// A source has a root entity and sends it with everything below: first a full synchronisation,
/// then every change. A target has a place in a directory, where the root appears; what already
/// stands there, such as the copy of an earlier connection, is adopted: members that the source
/// still has keep their identity, only differences notify, and what it no longer has goes.
///
/// The connection holds it by a counted pointer and calls close() when the mount or the connection
/// ends. The entities stay; their adapters go. Whatever runs inside (reactors, setters) may close
/// it, drop it, or delete the tree. Everything on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/NboAttrLogIn.h>
#include <gantry/runtime/fen/NboAttrLogOut.h>

#include <memory>
#include <vector>

namespace Fen {

class FenType;
struct EntityWire;

namespace NboAttrLog {

class FlowIn;
class FlowOut;
class AdapterTable;
class IdTable;

class GANTRY_EXPORT Demuxer : public PtrInterface {
 public:
   /// The mount above the log. Not owned; told from inside receive(), flush() or the setter of an
   /// entity, and free to close the log then and there.
   class GANTRY_EXPORT User {
    public:
      /// Target: the first full synchronisation has been applied. Source: it has been written.
      virtual void handleSynchronised(Demuxer& demuxer) = 0;
      /// The root has left its place, or gone: the log is closed already.
      virtual void handleRootGone(Demuxer& demuxer) = 0;

    protected:
      ~User() = default;
   };

   struct Options {
      Ptr<Connection::Out> out;
      std::uint32_t channel = 0;
      Limits limits = {};
      /// What the peer's entities may hold; one for all channels of a connection. Null makes one
      /// of limits.tree for this channel alone.
      Ptr<TreeBudget> budget = {};
      /// Whether the target may change the source's entities.
      bool writable = false;
   };

   /// A source; nothing is sent before rootIs().
   static Ptr<Demuxer> sourceIs(Options const& options, User* user);
   /// A target: the root appears in `directory` as `name` and must be of `type` (null: of any).
   static Ptr<Demuxer> targetIs(Options const& options, Ptr<Dir> const& directory, Name name,
                                FenType const* type, User* user);

   /// Source: begins to send this entity and all below it. Once; the sending happens in flush().
   void rootIs(Ptr<Entity> const& root);
   /// The root: a source's own, a target's copy once it has arrived; null otherwise.
   Ptr<Entity> root() const;

   /// Takes one frame of the log: its kind and the payload behind kind and channel. The bytes may
   /// be changed. Throws ProtocolException for whatever a peer must not send; wrongType and
   /// notApplicable concern this mount alone, everything else condemns the connection. The log is
   /// closed when it throws.
   void receive(FrameKind kind, std::uint8_t* payload, std::size_t bytes);

   /// Sends what is dirty, up to about `budget` bytes or until the output is full; says whether
   /// there is more that could be sent.
   bool flush(std::size_t budget);
   /// Whether flush() has something to do as soon as the output has room. The connection's user is
   /// told when this becomes true.
   bool flushWanted() const;

   /// Ends the log: adapters go, entities stay. Nothing is sent any more and what is received is
   /// ignored. The user is not told.
   void close();
   bool isClosed() const { return closed_; }
   /// Whether the first full synchronisation is complete.
   bool synchronised() const { return synchronised_; }
   bool isSource() const { return isSource_; }
   bool writable() const { return writable_; }
   Limits const& limits() const { return limits_; }
   Ptr<Out> const& out() const { return out_; }
   TreeBudget& budget() const { return *budget_; }
   /// Number of entities with an id on this channel.
   std::size_t entities() const;
   /// The bytes that the channel itself holds, about: ids, adapters and queues, but not what is in
   /// the flows of adapters that wait.
   std::size_t memory() const;
   /// Enumeration numbers received that this side does not know.
   std::uint64_t unknownEnums() const { return unknownEnums_; }
   void unknownEnumsInc(unsigned count);

   /// The entity with that id. Null for one that has gone, with `gone` set when given; throws
   /// ProtocolException( unknownEntity ) for an id that was never given.
   Ptr<Entity> entityFor(EntityId id, bool* gone) const;
   /// The adapter with that id, null for one that has gone or never was.
   Entity::FenNboAttrLogSa* adapterFor(EntityId id) const;
   /// The adapter of that entity on this channel, null when it has none.
   Entity::FenNboAttrLogSa* adapterOf(Entity const& entity) const;

   // ---- for adapters -----------------------------------------------------------------------

   /// A flow for an adapter that cannot send at once; the one that it has is returned. The adapter
   /// stands in the queue of flushes then. `fromAttribute` is where the flush begins.
   FlowOut& createFlowOut(Entity::FenNboAttrLogSa& adapter, ConnectDesc const& description,
                          bool immediate, AttributeId fromAttribute);
   /// The flow has something to send: back into the queue.
   void flowOutQueued(Entity::FenNboAttrLogSa& adapter);
   /// Whether sending may go on: the output has room, and the flush has budget left.
   bool continueFlowOut() const;
   /// An input flow for an attribute that arrives in several messages.
   FlowIn& flowInIs(EntityId id);
   void flowInDel(EntityId id);

   /// Finds or creates the adapter of an entity on this channel and gives it a fresh id (source)
   /// or the one that was received.
   Ptr<Entity::FenNboAttrLogSa> adapterIs(Ptr<Entity> const& entity, EntityId id,
                                          Entity::FenNboAttrLogSa* above);
   EntityId nextOwnId() const;
   void adapterDel(Entity::FenNboAttrLogSa& adapter);
   /// A member that was made for a received id has been deleted again by a handler: its creator is
   /// told when it may be. `recordKey` is that of the record that owned it, null elsewhere.
   void checkEphemeralEntityDeletion(EntityId id, Ptr<Entity> const& member,
                                     Entity::FenNboAttrLogSa& above, AttributeId attribute,
                                     void const* recordKey);
   /// Throws ProtocolException unless a peer may use this id for a new entity: one of its own, the
   /// next one at most.
   void requireCreatable(EntityId id) const;
   /// Notes that the peer has given this id: what it says of it is never a fault again, even when a
   /// handler takes the new entity away before it has its adapter.
   void idGiven(EntityId id);
   bool isOwnId(EntityId id) const { return (id.second & 1) == ownSecond_; }
   Ptr<In> const& in() const { return in_; }
   /// The adapter's entity has another parent now, or goes.
   void adapterLeft(Entity::FenNboAttrLogSa& adapter, bool gone);
   /// The flow has nothing left but references to entities that have no id yet.
   void flowOutWaits(Entity::FenNboAttrLogSa& adapter);
   void flowOutDel(Entity::FenNboAttrLogSa& adapter);
   /// True in the last round of a flush, when everything that could get an id has one.
   bool settling() const { return settling_; }
   /// A peer has set the synchronisation mode of an entity: every channel that carries it hears.
   void syncModeIs(Entity::FenNboAttrLogSa& from, std::uint32_t mode);

   Demuxer(Options const& options, bool isSource, User* user);

 protected:
   ~Demuxer() override;

 private:
   friend class Entity::FenNboAttrLogSa;

   void receiveFrame(FrameKind kind, std::uint8_t const* payload, std::size_t bytes);
   void receiveMessage(std::uint8_t const* payload, std::size_t bytes);
   void receiveOrphan();
   void receiveTransaction();
   void receiveSynchronised();
   static void messageToGone();
   void requireEnd(std::size_t left) const;
   void detach(Entity::FenNboAttrLogSa& adapter);
   Ptr<Entity> rootPlaced(Ptr<Entity> const& wanted, EntityWire const& wire);
   Entity::FenNboAttrLogSa* adapterNamed(EntityId id) const;
   void flushQueue();
   void flushAdapter(Entity::FenNboAttrLogSa& adapter);
   bool settleWanted() const;
   void settle();
   void rootSend();
   void synchronisedSend();
   bool synchronisedWanted() const;
   void subtreeGone(Entity& entity);
   void rootGone();
   void wake();
   void flowEnded(FlowOut& flow);
   IdTable& tableOf(EntityId id) const { return isOwnId(id) ? *own_ : *peers_; }

   struct Queues;

   Ptr<Out> out_;
   Ptr<In> in_;
   Ptr<TreeBudget> budget_;
   Limits limits_;
   User* user_;
   std::unique_ptr<AdapterTable> adapters_;
   std::unique_ptr<IdTable> own_;
   std::unique_ptr<IdTable> peers_;
   Ptr<Dir> directory_;
   Name name_;
   FenType const* type_ = nullptr;
   Ptr<Entity> pendingRoot_;
   Entity::FenNboAttrLogSa* rootAdapter_ = nullptr;
   std::unique_ptr<Queues> queues_;
   std::uint64_t flushEnd_ = ~std::uint64_t{0};
   std::uint64_t unknownEnums_ = 0;
   std::uint32_t ownSecond_;
   bool const isSource_;
   bool const writable_;
   bool closed_ = false;
   bool synchronised_ = false;
   bool settling_ = false;
};

/// All logs of the process that are open.
class GANTRY_EXPORT DemuxerManager {
 public:
   std::vector<Demuxer*> const& demuxers() const { return demuxers_; }

 private:
   friend class Demuxer;
   std::vector<Demuxer*> demuxers_;
};

} // namespace NboAttrLog

GANTRY_EXPORT NboAttrLog::DemuxerManager& globalNboAttrLogDemuxerManager();

} // namespace Fen
