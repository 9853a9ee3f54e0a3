/// The refusals of the input.
#include <gantry/runtime/fen/NboAttrLogDemuxer.h>
#include <gantry/runtime/fen/NboAttrLogIn.h>

namespace Fen {

ByteConnection::In::~In() = default;

void ByteConnection::In::runOut() const {
   NboAttrLog::refuse(NboAttrLog::Refusal::malformed, "an item goes beyond the end of its message");
}
void ByteConnection::In::wrongForm() const {
   NboAttrLog::refuse(NboAttrLog::Refusal::malformed, "a truth value is neither 0 nor 1");
}

namespace NboAttrLog {

In::~In() = default;

Ptr<Entity> In::nextAnyEntity(bool* gone) {
   EntityId const id = nextEntityId();
   if (!id || demuxer_ == nullptr) {
      return nullptr;
   }
   return demuxer_->entityFor(id, gone);
}

void In::throwWrongType() { throw AttrLogEntityException("Entity is the wrong type"); }

} // namespace NboAttrLog
} // namespace Fen
