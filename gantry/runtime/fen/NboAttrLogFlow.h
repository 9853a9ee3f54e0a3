/// The attribute log, whole: flows, adapters, attributes on the wire, and the log of one mount. A
/// header alone; it declares nothing of its own.
#pragma once

#include <gantry/runtime/fen/AttrWire.h>
#include <gantry/runtime/fen/NboAttrLogDemuxer.h>
#include <gantry/runtime/fen/NboAttrLogFlowState.h>
#include <gantry/runtime/fen/NboAttrLogForm.h>
#include <gantry/runtime/fen/StreamAdapter.h>
