/// The stream trace handle of the machines that follow the registry, the services and the initial
/// mounts: all of them are switched together, under the name "Gantry". Private to the library; used
/// on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Trace.h>

namespace Controller {

/// The handle "Gantry", made on first use.
inline Fen::TraceHandle& gantryTrace() {
   static Fen::TraceHandle handle("Gantry", false);
   return handle;
}

} // namespace Controller
