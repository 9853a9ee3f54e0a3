/// Private to the library. The stream trace of the mount client and server.
#pragma once

#include <gantry/runtime/fen/Trace.h>

namespace Cairn {

/// The handle of this folder's modules, made on first use.
Fen::TraceHandle& cairnTrace();

} // namespace Cairn
