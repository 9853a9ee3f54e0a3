/// The process's backend.
#include <gantry/runtime/cairn/Backend.h>
#include <gantry/runtime/cairn/TcpBackend.h>

namespace Cairn {

namespace {

/// Not destroyed at exit, since static objects may still hold managers then.
Fen::Ptr<Backend>& current() {
   static auto* const theBackend = new Fen::Ptr<Backend>;
   return *theBackend;
}

} // namespace

Backend::Backend() = default;
Backend::~Backend() = default;
void Backend::handleInit(EntityManager&) {}
void Backend::handleClose(EntityManager&, Fen::Ptr<MountGroup> const&) {}
void Backend::handleUnregisterAll(EntityManager&, bool) {}
void Backend::handleCleanup(EntityManager&) {}
void Backend::handleCall(EntityManager const&, ClientCall, MountGroup const*) {}

Fen::Ptr<Backend> backend() {
   if (!current()) {
      current() = Fen::makePtr<TcpBackend>();
   }
   return current();
}

void backendIs(Fen::Ptr<Backend> const& backend) { current() = backend; }

} // namespace Cairn
