// Defines the tracepoint of TraceTracepoint.inc and what records it.
#define LTTNG_UST_TRACEPOINT_CREATE_PROBES
#define LTTNG_UST_TRACEPOINT_DEFINE
#include "TraceTracepoint.inc"
