/// The send buffer of a connection, and what the log refuses.
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/NboAttrLogOut.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

namespace Fen {

namespace {

/// Frames of the connection itself and the ends of transactions may pass the cap by this much.
constexpr std::size_t reserveBytes = 4096;
constexpr std::size_t firstCapacity = 4096;

} // namespace

Connection::Out::Out(std::size_t cap)
   : cap_(std::max(cap, NboAttrLog::messageBytesLimit)),
     sufficientMark_(cap_ - NboAttrLog::messageBytesLimit) {}

Connection::Out::~Out() = default;

void Connection::Out::Free::operator()(std::uint8_t* memory) const { std::free(memory); }

void Connection::Out::memoryDel() {
   buffer_.reset();
   capacity_ = 0;
}

void Connection::Out::makeRoom(std::size_t bytes) {
   std::size_t const used = tail_ - head_;
   if (head_ > used && capacity_ - used >= bytes) {
      // The frame that is being written moves along.
      std::memmove(buffer_.get(), buffer_.get() + head_, used);
   } else {
      std::size_t const grown =
         std::max({firstCapacity, capacity_ * 2, used + bytes + reserveBytes});
      auto* const memory = static_cast<std::uint8_t*>(std::malloc(grown));
      if (memory == nullptr) {
         throw std::bad_alloc();
      }
      if (used != 0) {
         std::memcpy(memory, buffer_.get() + head_, used);
      }
      buffer_.reset(memory);
      capacity_ = grown;
   }
   frame_ -= std::min(frame_, head_);
   tail_ = used;
   head_ = 0;
}

void Connection::Out::frameTooLong() {
   static Counter& oversized = Counters::counter("wire.oversized_messages");
   oversized.increment();
   tail_ = frame_;
}

void operator<<(Ptr<Connection::Out> const& out, String8::IteratorConst& place) {
   constexpr std::size_t longestPart =
      NboAttrLog::messageBytesLimit - NboAttrLog::messageOverheadBytes - 4;
   std::string_view const part = place.rest().substr(0, longestPart);
   out->putText(part);
   place.positionIs(place.position() + static_cast<std::uint32_t>(part.size()));
}

namespace NboAttrLog {

Out::~Out() = default;

char const* refusalName(Refusal refusal) {
   switch (refusal) {
   case Refusal::malformed:
      return "malformed";
   case Refusal::oversized:
      return "oversized";
   case Refusal::unknownFrame:
      return "unknown_frame";
   case Refusal::unknownChannel:
      return "unknown_channel";
   case Refusal::unknownEntity:
      return "unknown_entity";
   case Refusal::unknownAttribute:
      return "unknown_attribute";
   case Refusal::unknownType:
      return "unknown_type";
   case Refusal::wrongType:
      return "wrong_type";
   case Refusal::wrongEntity:
      return "wrong_entity";
   case Refusal::duplicateEntity:
      return "duplicate_entity";
   case Refusal::outOfOrder:
      return "out_of_order";
   case Refusal::badKey:
      return "bad_key";
   case Refusal::tooDeep:
      return "too_deep";
   case Refusal::treeLimit:
      return "tree_limit";
   case Refusal::crowded:
      return "crowded";
   case Refusal::readOnly:
      return "read_only";
   case Refusal::notApplicable:
      return "not_applicable";
   }
   return "unknown";
}

ProtocolException::ProtocolException(Refusal refusal, String8 text)
   : InternalException(text), refusal_(refusal) {}
ProtocolException::~ProtocolException() = default;

void refuse(Refusal refusal, String8 text) {
   Counters::counter(std::string("wire.refused.") + refusalName(refusal)).increment();
   throw ProtocolException(refusal, text);
}

void TreeBudget::refuseMore() const {
   refuse(Refusal::treeLimit, format("the peer's entities would hold more than %zu bytes", limit_));
}

} // namespace NboAttrLog
} // namespace Fen
