/// A mount client's backend that follows a script: it writes down every call of the client's
/// surface as text, and completes mounts and unmounts when the test says so, also from inside the
/// call that started them, or never. A fixture holds it by pointer; on the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/EntityManager.h>

#include <optional>
#include <string>
#include <vector>

namespace TestSupport {

class ScriptedBackend : public Cairn::Backend {
 public:
   using Calls = std::vector<std::string>;

   /// All calls so far, such as "doInit(leaf1, /mnt/a, leaf1//sys, 9001, 127.0.0.1, , false, false,
   /// 30, false, , true, false, true)".
   Calls const& calls() const { return calls_; }
   /// The same, and forgets them.
   Calls callsTaken() { return std::exchange(calls_, {}); }
   /// The names alone: "EntityManager", "reconnectRetriesIs", ..., "~EntityManager".
   Calls callNames() const;

   /// The manager that was initialised last and is neither cleaned up nor gone; null without one.
   Cairn::EntityManager* manager() const;
   /// All such managers, in order of their doInit().
   std::vector<Cairn::EntityManager*> const& managers() const { return managers_; }

   /// Calls the mounter of the manager's last group; false when there is none. The group need not
   /// be closed: a backend may be as wrong as that.
   bool completeMount(Cairn::EntityManager& manager, Cairn::MountStatus status);
   /// The same for manager().
   bool completeMount(Cairn::MountStatus status = Cairn::mountStatusSuccess);

   /// Makes the manager's unmounter when there is none and reports through it.
   void completeUnmount(Cairn::EntityManager& manager);
   bool completeUnmount();

   /// From now on doInit(), doClose() or doUnregisterAll() themselves complete with this, from
   /// inside the call; nothing takes that back.
   void completesInsideInitIs(std::optional<Cairn::MountStatus> status) { insideInit_ = status; }
   void completesInsideCloseIs(std::optional<Cairn::MountStatus> status) { insideClose_ = status; }
   void completesInsideUnregisterAllIs(bool completes) { insideUnregisterAll_ = completes; }
   /// Whether doUnregisterAll() sets the manager's unmounter at once, incomplete; true at first.
   void setsUnmounterIs(bool sets) { setsUnmounter_ = sets; }

   void handleInit(Cairn::EntityManager& manager) override;
   void handleClose(Cairn::EntityManager& manager,
                    Fen::Ptr<Cairn::MountGroup> const& group) override;
   void handleUnregisterAll(Cairn::EntityManager& manager, bool statePreserving) override;
   void handleCleanup(Cairn::EntityManager& manager) override;
   void handleCall(Cairn::EntityManager const& manager, Cairn::ClientCall call,
                   Cairn::MountGroup const* group) override;

 protected:
   ~ScriptedBackend() override = default;

 private:
   struct Unmount {
      Cairn::EntityManager* manager;
      Fen::Ptr<Cairn::RemoteUnmounter> unmounter;
   };

   Cairn::RemoteUnmounter& unmounterOf(Cairn::EntityManager& manager);

   Calls calls_;
   std::vector<Cairn::EntityManager*> managers_;
   std::vector<Unmount> unmounts_;
   std::optional<Cairn::MountStatus> insideInit_;
   std::optional<Cairn::MountStatus> insideClose_;
   bool insideUnregisterAll_ = false;
   bool setsUnmounter_ = true;
};

/// Makes a scripted backend the process's while it lives, and puts the default one back.
class ScriptedBackendScope {
 public:
   ScriptedBackendScope();
   ~ScriptedBackendScope();
   ScriptedBackendScope(ScriptedBackendScope const&) = delete;
   ScriptedBackendScope& operator=(ScriptedBackendScope const&) = delete;

   ScriptedBackend* operator->() const { return backend_.ptr(); }
   ScriptedBackend& operator*() const { return *backend_; }

 private:
   Fen::Ptr<ScriptedBackend> backend_;
};

} // namespace TestSupport
