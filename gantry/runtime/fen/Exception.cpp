/// The exceptions' anchors and the functions that raise them.
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/Ptr.h>

namespace Fen {

Exception::~Exception() = default;
RangeException::~RangeException() = default;
NameInUseException::~NameInUseException() = default;
InternalException::~InternalException() = default;
ConstException::~ConstException() = default;
AttrLogEntityException::~AttrLogEntityException() = default;
AttrLogRecordException::~AttrLogRecordException() = default;
EntityIdUnavailableException::~EntityIdUnavailableException() = default;

void throwRangeException(String8 text) { throw RangeException(text); }
void throwNameInUseException(String8 text) { throw NameInUseException(text); }
void throwInternalException(String8 text) { throw InternalException(text); }
void throwConstException(String8 text) { throw ConstException(text); }

void throwNullValidPtr() { throwRangeException("null ValidPtr"); }

} // namespace Fen
