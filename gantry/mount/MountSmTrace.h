/// The stream trace handle of the mount machine and how its values print. Private to this folder.
#pragma once

#include <gantry/runtime/fen/Trace.h>

namespace Controller {

/// The handle "MountSm", made on first use.
inline Fen::TraceHandle& mountSmTrace() {
   static Fen::TraceHandle handle("MountSm", false);
   return handle;
}

} // namespace Controller
