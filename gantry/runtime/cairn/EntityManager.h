/// One connection to one peer with its mounts, as the client's user sees it. Owned by the user; a
/// manager is made for one mount attempt and replaced for the next. Lives on the activity loop's
/// thread.
///
/// The manager stores what it is told and hands it to the backend that was the process's when the
/// manager was made. Order of calls: constructor, reconnectRetriesIs, srcHostIs, doInit,
/// getPersistentMountGroup, the group's doMount and doClose; later perhaps doUnregisterAll, and at
/// last doCleanup. Dropped without doCleanup it tells the backend by itself.
#pragma once

#include <gantry/runtime/cairn/Backend.h>
#include <gantry/runtime/cairn/MountGroup.h>
#include <gantry/runtime/cairn/RemoteUnmounter.h>
#include <gantry/runtime/fen/Attribute.h>

#include <cstdint>
#include <vector>

namespace Cairn {

/// What doInit() was given, in its order. The reserved ones are carried and have no meaning.
struct InitArguments {
   /// The peer's system name: the first component of the remote path.
   Fen::String8 sysname;
   /// Where the mount is to appear, from the root directory down.
   Fen::String8 targetPath;
   /// What is mounted: the peer's system name, then names below the peer's root. Empty components
   /// are dropped.
   Fen::String8 remotePath;
   std::uint16_t port = 0;
   /// The peer's address as text.
   Fen::String8 host;
   /// Tells apart connections to the same address that are not to be shared.
   Fen::String8 sockname;
   bool reserved7 = false;
   bool reserved8 = false;
   /// Seconds until a mount that has not succeeded fails.
   double mountTimeout = 0.0;
   bool reserved10 = false;
   Fen::String8 reserved11;
   bool reserved12 = false;
   bool reserved13 = false;
   bool reserved14 = false;
};

class GANTRY_EXPORT EntityManager : public Fen::Entity {
 public:
   static constexpr char const* fenFullTypeName = "Cairn::EntityManager";
   class NotifieeConst;
   class Notifiee;

   explicit EntityManager(Fen::Name name);

   /// How often a lost or impossible connection is tried again, the first one included.
   std::uint32_t reconnectRetries() const { return reconnectRetries_; }
   void reconnectRetriesIs(std::uint32_t reconnectRetries);
   /// The local address from which to connect, as text; empty or all zero leaves it to the system.
   Fen::String8 srcHost() const { return srcHost_; }
   void srcHostIs(Fen::String8 const& srcHost);

   /// Joins the manager to its peer; returns at once. For once per manager: a second call throws
   /// InternalException. The meaning of the arguments: see InitArguments.
   void doInit(Fen::String8 sysname, Fen::String8 targetPath, Fen::String8 remotePath,
               std::uint16_t port, Fen::String8 host, Fen::String8 sockname, bool reserved7,
               bool reserved8, double const& mountTimeout, bool reserved10, Fen::String8 reserved11,
               bool reserved12, bool reserved13, bool reserved14);
   InitArguments const& initArguments() const { return initArguments_; }
   Fen::String8 sysname() const { return initArguments_.sysname; }
   Fen::String8 root() const { return initArguments_.remotePath; }
   Fen::String8 local() const { return initArguments_.targetPath; }
   double mountTimeout() const { return initArguments_.mountTimeout; }
   bool initialized() const { return initialized_; }

   /// The group whose completion goes to that mounter: the one that is open, or a new one.
   Fen::Ptr<MountGroup> getPersistentMountGroup(Fen::Ptr<Mounter> const& mounter);
   std::vector<Fen::Ptr<MountGroup>> const& mountGroup() const { return mountGroup_; }
   std::uint32_t mountGroupCount() const { return static_cast<std::uint32_t>(mountGroup_.size()); }

   /// Ends all mounts of the manager. The local copy stays when `statePreserving`, else it goes.
   /// The backend reports through unmounter().
   void doUnregisterAll(bool statePreserving);
   /// The flag of the last doUnregisterAll().
   bool statePreserving() const { return statePreserving_; }
   /// The progress of the unmount, null before one.
   Fen::Ptr<RemoteUnmounter const> unmounter() const { return unmounter_; }
   /// For the backend.
   void unmounterIs(Fen::Ptr<RemoteUnmounter const> const& unmounter);

   /// Stops the manager's work for good, so that it can be dropped. A second call does nothing.
   void doCleanup();

   /// Why the last mount failed, for people; empty without a failure.
   Fen::String8 reason() const { return reason_; }
   void reasonIs(Fen::String8 reason) { reason_ = reason; }
   /// The same for programs: what its mounter was told last.
   MountStatus status() const { return status_; }
   void statusIs(MountStatus status) { status_ = status; }

   Fen::Ptr<Backend> const& backend() const { return backend_; }

   static Fen::FenType* _fwkType();
   Fen::FenType* fwkType() const override;
   Fen::String8 attributeString(Fen::AttributeId id) const override;

   struct FenReconnectRetriesAttr {
      using Owner = EntityManager;
      using Value = std::uint32_t;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 265;
      static constexpr char const* name = "reconnectRetries";
      static Value& field(Owner& owner) { return owner.reconnectRetries_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenSrcHostAttr {
      using Owner = EntityManager;
      using Value = Fen::String8;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 269;
      static constexpr char const* name = "srcHost";
      static Value& field(Owner& owner) { return owner.srcHost_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenUnmounterAttr {
      using Owner = EntityManager;
      using Value = Fen::Ptr<RemoteUnmounter const>;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::reference;
      static constexpr Fen::AttributeId id = 294;
      static constexpr char const* name = "unmounter";
      static Value& field(Owner& owner) { return owner.unmounter_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };

 protected:
   ~EntityManager() override;

 private:
   friend class MountGroup;

   void call(ClientCall call, MountGroup const* group) const;

   Fen::Ptr<Backend> backend_;
   std::uint32_t reconnectRetries_ = 0;
   Fen::String8 srcHost_;
   InitArguments initArguments_;
   std::vector<Fen::Ptr<MountGroup>> mountGroup_;
   Fen::Ptr<RemoteUnmounter const> unmounter_;
   Fen::String8 reason_;
   MountStatus status_ = mountStatusNone;
   bool statePreserving_ = false;
   bool initialized_ = false;
   bool cleanedUp_ = false;
};

/// One slot per attribute, in the order of the attributes. This client changes few of them; the
/// others are there so that slots keep their places.
class GANTRY_EXPORT EntityManager::NotifieeConst : public Fen::Entity::NotifieeConst {
 public:
   using NotifierType = EntityManager const;

   virtual void onSysname();
   virtual void onRoot();
   virtual void onLocal();
   virtual void onScheduled();
   virtual void onMountTimeout();
   virtual void onRootMount();
   virtual void onDieOnDisconnect();
   virtual void onReconnectRetries();
   virtual void onLocallyReadOnly();
   virtual void onIsServer();
   virtual void onSrcPort();
   virtual void onSrcHost();
   virtual void onCairnPath();
   virtual void onCairnRoot();
   virtual void onAgentEnvStatusSm();
   virtual void onStatusDir();
   virtual void onMountReference();
   virtual void onIntSockOption();
   virtual void onStringSockOption();
   virtual void onMountGroupDir();
   virtual void onMountGroup();
   virtual void onMountGroupCount();
   virtual void onUseConvertibleReads();
   virtual void onDebugOverlappingMountGroups();
   virtual void onDebugScheduledAttrLogMounts();
   virtual void onDeferredWritableMountGroup();
   virtual void onDeferredWritablePersistentMntGrp();
   virtual void onDeferredWritableMountMetadata();
   virtual void onDeferredWritableMount();
   virtual void onDeferredWritablePersistentMountMetadata();
   virtual void onDeferredWritablePersistentMount();
   virtual void onLocalCellStatus();
   virtual void onLocalCellSm();
   virtual void onDeferredMountSm();
   virtual void onOutgoingRoundSize();
   virtual void onCairnMounted();
   virtual void onUnmounter();
   virtual void onDebugRequireImmediate();
   virtual void onDebugReconnectTimeout();
   virtual void onInitialized();

   Fen::Ptr<EntityManager const> notifier() const;

 protected:
   NotifieeConst();
   explicit NotifieeConst(Fen::Ptr<EntityManager const> const& notifier);
   ~NotifieeConst() override;
};

class GANTRY_EXPORT EntityManager::Notifiee : public EntityManager::NotifieeConst {
 public:
   using NotifierType = EntityManager;

   Fen::Ptr<EntityManager> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Fen::Ptr<EntityManager> const& notifier);
   ~Notifiee() override;
};

} // namespace Cairn
