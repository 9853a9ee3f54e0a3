/// The bodies of the scripted backend.
#include "ScriptedBackend.h"

#include <algorithm>
#include <sstream>

namespace TestSupport {

namespace {

std::string initText(Cairn::InitArguments const& a) {
   std::ostringstream text;
   text << std::boolalpha << "doInit(" << a.sysname << ", " << a.targetPath << ", " << a.remotePath
        << ", " << a.port << ", " << a.host << ", " << a.sockname << ", " << a.reserved7 << ", "
        << a.reserved8 << ", " << a.mountTimeout << ", " << a.reserved10 << ", " << a.reserved11
        << ", " << a.reserved12 << ", " << a.reserved13 << ", " << a.reserved14 << ")";
   return text.str();
}

std::string groupText(Cairn::ClientCall call, Cairn::MountGroup const& group) {
   std::ostringstream text;
   text << std::boolalpha;
   if (call == Cairn::ClientCall::doMount) {
      Cairn::Mount const& mount = group.mount().back();
      text << "doMount(" << mount.path() << ", " << mount.typeName() << ", " << mount.flags()
           << ")";
   } else if (call == Cairn::ClientCall::doClose) {
      text << "doClose(" << group.closeReserved1() << ", " << group.closeReserved2() << ", "
           << group.closeReserved3() << ")";
   } else {
      text << "getPersistentMountGroup("
           << (group.mounter() ? group.mounter()->name().str() : std::string()) << ")";
   }
   return text.str();
}

std::string callText(Cairn::EntityManager const& manager, Cairn::ClientCall call) {
   switch (call) {
   case Cairn::ClientCall::constructor:
      return "EntityManager(" + manager.name().str() + ")";
   case Cairn::ClientCall::reconnectRetriesIs:
      return "reconnectRetriesIs(" + std::to_string(manager.reconnectRetries()) + ")";
   case Cairn::ClientCall::srcHostIs:
      return "srcHostIs(" + manager.srcHost().str() + ")";
   case Cairn::ClientCall::doInit:
      return initText(manager.initArguments());
   case Cairn::ClientCall::doUnregisterAll:
      return manager.statePreserving() ? "doUnregisterAll(true)" : "doUnregisterAll(false)";
   case Cairn::ClientCall::doCleanup:
      return "doCleanup()";
   default:
      return "~EntityManager(" + manager.name().str() + ")";
   }
}

} // namespace

ScriptedBackend::Calls ScriptedBackend::callNames() const {
   Calls names;
   for (std::string const& call : calls_) {
      names.push_back(call.substr(0, call.find('(')));
   }
   return names;
}

Cairn::EntityManager* ScriptedBackend::manager() const {
   return managers_.empty() ? nullptr : managers_.back();
}

bool ScriptedBackend::completeMount(Cairn::EntityManager& manager, Cairn::MountStatus status) {
   if (manager.mountGroup().empty()) {
      return false;
   }
   Fen::Ptr<Cairn::EntityManager> const running(&manager);
   Fen::Ptr<Cairn::Mounter> const mounter = manager.mountGroup().back()->mounter();
   mounter->doMountsComplete(status, running);
   return true;
}

bool ScriptedBackend::completeMount(Cairn::MountStatus status) {
   return manager() != nullptr && completeMount(*manager(), status);
}

Cairn::RemoteUnmounter& ScriptedBackend::unmounterOf(Cairn::EntityManager& manager) {
   for (Unmount const& unmount : unmounts_) {
      if (unmount.manager == &manager) {
         return *unmount.unmounter;
      }
   }
   auto const unmounter = Cairn::remoteUnmounterFactory("unmounter");
   unmounts_.push_back({&manager, unmounter});
   return *unmounter;
}

void ScriptedBackend::completeUnmount(Cairn::EntityManager& manager) {
   Fen::Ptr<Cairn::EntityManager> const running(&manager);
   Fen::Ptr<Cairn::RemoteUnmounter> const unmounter(&unmounterOf(manager));
   manager.unmounterIs(unmounter);
   unmounter->unmountsCompleteIs(true);
}

bool ScriptedBackend::completeUnmount() {
   if (manager() == nullptr) {
      return false;
   }
   completeUnmount(*manager());
   return true;
}

void ScriptedBackend::handleInit(Cairn::EntityManager& manager) {
   managers_.push_back(&manager);
   if (insideInit_) {
      completeMount(manager, *insideInit_);
   }
}

void ScriptedBackend::handleClose(Cairn::EntityManager& manager,
                                  Fen::Ptr<Cairn::MountGroup> const&) {
   if (insideClose_) {
      completeMount(manager, *insideClose_);
   }
}

void ScriptedBackend::handleUnregisterAll(Cairn::EntityManager& manager, bool statePreserving) {
   Fen::Ptr<Cairn::RemoteUnmounter> const unmounter(&unmounterOf(manager));
   // A second unmount of one manager starts anew.
   unmounter->unmountsCompleteIs(false);
   unmounter->statePreservingIs(statePreserving);
   if (setsUnmounter_) {
      manager.unmounterIs(unmounter);
   }
   if (insideUnregisterAll_) {
      completeUnmount(manager);
   }
}

void ScriptedBackend::handleCleanup(Cairn::EntityManager& manager) {
   std::erase(managers_, &manager);
   std::erase_if(unmounts_, [&](Unmount const& unmount) { return unmount.manager == &manager; });
}

void ScriptedBackend::handleCall(Cairn::EntityManager const& manager, Cairn::ClientCall call,
                                 Cairn::MountGroup const* group) {
   calls_.push_back(group != nullptr ? groupText(call, *group) : callText(manager, call));
}

ScriptedBackendScope::ScriptedBackendScope() : backend_(Fen::makePtr<ScriptedBackend>()) {
   Cairn::backendIs(backend_);
}

ScriptedBackendScope::~ScriptedBackendScope() { Cairn::backendIs(nullptr); }

} // namespace TestSupport
