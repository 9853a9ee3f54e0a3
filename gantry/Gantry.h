// The umbrella header: all of the library's public interface. Programs that care for the time of
// their compilation include the headers of the parts instead. A header alone; it declares nothing
// of its own.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/Attribute.h>
#include <gantry/runtime/fen/BaseCollection.h>
#include <gantry/runtime/fen/BitSet.h>
#include <gantry/runtime/fen/Clock.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/HashMap.h>
#include <gantry/runtime/fen/HashMapGeneric.h>
#include <gantry/runtime/fen/LinkQueue.h>
#include <gantry/runtime/fen/LinkedQueue.h>
#include <gantry/runtime/fen/ListRaw.h>
#include <gantry/runtime/fen/MemberIterator.h>
#include <gantry/runtime/fen/Notifiee.h>
#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/fen/PtrInterface.h>
#include <gantry/runtime/fen/Reactor.h>
#include <gantry/runtime/fen/RecordMember.h>
#include <gantry/runtime/fen/SnapshotIterator.h>
#include <gantry/runtime/fen/StreamAdapter.h>
#include <gantry/runtime/fen/Strep.h>
#include <gantry/runtime/fen/String.h>
#include <gantry/runtime/fen/Trace.h>
#include <gantry/runtime/fen/VirtualTime.h>
#include <gantry/runtime/ringscribe/MsgDesc.h>
#include <gantry/runtime/ringscribe/RingBuf.h>
#include <gantry/runtime/ringscribe/Trace.h>
#include <gantry/runtime/ringscribe/TraceClock.h>
#include <gantry/runtime/ringscribe/TraceFile.h>
#include <gantry/runtime/ringscribe/TraceLayout.h>
#include <gantry/runtime/ringscribe/TraceReader.h>
#include <gantry/runtime/ringscribe/TraceSource.h>
