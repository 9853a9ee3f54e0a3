/// Where the work of entity managers is really done: the client's surface stores what it is told
/// and hands it to the process's backend. The default backend speaks TCP; tests put in their own.
///
/// A backend holds managers weakly, through the plain references that it is given: a manager is
/// good until its handleCleanup(), which comes once for each manager, also for one whose owner died
/// without doCleanup(). A backend completes nothing inside one of these calls, but later, from the
/// activity loop, on whose thread everything here runs.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/Ptr.h>

namespace Cairn {

class EntityManager;
class MountGroup;

/// The calls of the client's surface, in the order in which one manager's life makes them.
enum class ClientCall {
   constructor,
   reconnectRetriesIs,
   srcHostIs,
   doInit,
   getPersistentMountGroup,
   doMount,
   doClose,
   doUnregisterAll,
   doCleanup,
   destructor,
};

class GANTRY_EXPORT Backend : public Fen::PtrInterface {
 public:
   /// The manager has got its arguments and is to be joined to its peer.
   virtual void handleInit(EntityManager& manager);
   /// The group has all its mounts; its mounter is to be called when they have ended.
   virtual void handleClose(EntityManager& manager, Fen::Ptr<MountGroup> const& group);
   /// All mounts of the manager are to end. The backend sets the manager's unmounter unless there
   /// is one, and that one's unmountsComplete when done. The local copy stays when
   /// `statePreserving`, else it goes.
   virtual void handleUnregisterAll(EntityManager& manager, bool statePreserving);
   /// The manager is going: nothing of it may be touched after this. The local copy of mounts that
   /// were not unregistered stays where it is.
   virtual void handleCleanup(EntityManager& manager);
   /// Told of each call on the surface, after its values have been stored and before any of the
   /// above: for logs of what the client was asked. `group` is null for calls on the manager.
   virtual void handleCall(EntityManager const& manager, ClientCall call, MountGroup const* group);

 protected:
   Backend();
   ~Backend() override;
};

/// The process's backend, never null.
GANTRY_EXPORT Fen::Ptr<Backend> backend();
/// Replaces it for the managers that are made from now on; null puts the default one back.
GANTRY_EXPORT void backendIs(Fen::Ptr<Backend> const& backend);

} // namespace Cairn
