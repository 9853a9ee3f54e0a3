/// The traffic of a session: reading, sending once a turn, heartbeats and silence.
#include <gantry/runtime/cairn/CairnTrace.h>
#include <gantry/runtime/cairn/Session.h>
#include <gantry/runtime/cairn/SessionTimer.h>
#include <gantry/runtime/fen/Counters.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace Cairn {

namespace {

/// How much more than the cap may wait in the send buffer for frames of the connection itself. A
/// peer that asks and asks without reading the answers is cut there.
constexpr std::size_t controlReserve = 64 * 1024;

/// Where all sessions read to. What is left of a frame is kept with its session; so a peer that is
/// quiet holds no buffer.
std::uint8_t* readBuffer(std::size_t bytes) {
   static std::size_t capacity = 0;
   static std::unique_ptr<std::uint8_t[]> buffer;
   if (bytes > capacity) {
      buffer.reset(new std::uint8_t[bytes]);
      capacity = bytes;
   }
   return buffer.get();
}

Fen::Counter& bytesReceived() {
   static Fen::Counter& counter = Fen::Counters::counter("cairn.bytes_received");
   return counter;
}

Fen::Counter& bytesSent() {
   static Fen::Counter& counter = Fen::Counters::counter("cairn.bytes_sent");
   return counter;
}

Fen::Counter& framesSent() {
   static Fen::Counter& counter = Fen::Counters::counter("cairn.frames_sent");
   return counter;
}

} // namespace

Fen::TraceHandle& cairnTrace() {
   static auto* const handle = new Fen::TraceHandle("Cairn", false);
   return *handle;
}

void Session::socketIs(Fen::Ptr<Socket> const& socket) {
   socket_ = socket;
   armTimer();
}

void Session::handleReadable() {
   Fen::Ptr<Session> const self(this);
   std::size_t const capacity =
      std::max(config_.limits.receive, config_.limits.message + Fen::NboAttrLog::frameHeaderBytes);
   for (std::size_t taken = 0; !closed_ && taken < config_.bytesPerTurn;) {
      std::uint8_t* const buffer = readBuffer(capacity);
      std::size_t const kept = rest_.size();
      ssize_t const got = socket_->receive(buffer + kept, capacity - kept);
      if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
         return;
      }
      if (got <= 0) {
         bool const failed = got < 0;
         close({mountStatusConnectionLost,
                failed ? Fen::String8(std::strerror(errno)) : "the peer closed the connection"},
               failed ? "socket_error" : "peer_closed", false);
         return;
      }
      bytesReceived().increment(static_cast<std::uint64_t>(got));
      lastReceived_ = Fen::now();
      std::copy(rest_.begin(), rest_.end(), buffer);
      std::size_t const count = kept + static_cast<std::size_t>(got);
      std::size_t const used = take(buffer, count);
      rest_.assign(buffer + used, buffer + count);
      if (static_cast<std::size_t>(got) < capacity - kept) {
         return;
      }
      taken += static_cast<std::size_t>(got);
   }
}

void Session::handleWritable() {
   Fen::Ptr<Session> const self(this);
   if (!connected_) {
      handleConnected();
      return;
   }
   flush();
}

void Session::handleOutPending() { pendingIs(true); }

void Session::handleTurnEnd() {
   Fen::Ptr<Session> const self(this);
   flush();
}

void Session::flush() {
   if (closed_ || (socket_ && !connected_)) {
      return;
   }
   Fen::Ptr<Session> const self(this);
   bool const more = flushChannels();
   if (closed_) {
      return;
   }
   send();
   if (!closed_ && !blocked_ && more) {
      pendingIs(true);
   }
}

/// Lets the channels write what they hold back, each in its turn; says whether more could follow.
bool Session::flushChannels() {
   std::size_t budget = config_.bytesPerTurn;
   bool more = false;
   std::size_t const count = order_.size();
   for (std::size_t i = 0; i < count && !order_.empty(); ++i) {
      nextToFlush_ = nextToFlush_ + 1 < order_.size() ? nextToFlush_ + 1 : 0;
      Fen::NboAttrLog::Demuxer* const log = order_[nextToFlush_]->log_.ptr();
      if (log == nullptr || !log->flushWanted()) {
         continue;
      }
      if (budget == 0) {
         return true;
      }
      Fen::Ptr<Channel> const running(order_[nextToFlush_]);
      std::uint64_t const before = out_->written();
      more = log->flush(budget) || more;
      std::uint64_t const written = out_->written() - before;
      budget -= std::min<std::uint64_t>(budget, written);
   }
   return more;
}

void Session::send() {
   framesSent().increment(out_->frames() - framesCounted_);
   framesCounted_ = out_->frames();
   blocked_ = false;
   while (!out_->pending().empty()) {
      std::span<std::uint8_t const> const waiting = out_->pending();
      if (!socket_) {
         // A session without a socket is driven by a test, which looks at what was written.
         return;
      }
      ssize_t const sent = socket_->send(waiting.data(), waiting.size());
      if (sent < 0) {
         if (errno == EAGAIN || errno == EWOULDBLOCK) {
            blocked_ = true;
            break;
         }
         Fen::String8 const reason = std::strerror(errno);
         close({mountStatusConnectionLost, reason}, "socket_error", false);
         return;
      }
      lastSent_ = Fen::now();
      bytesSent().increment(static_cast<std::uint64_t>(sent));
      out_->sentIs(static_cast<std::size_t>(sent));
   }
   if (socket_) {
      socket_->writableWantedIs(blocked_);
   }
}

void Session::controlWritten() {
   if (!closed_ && out_->pending().size() > out_->cap() + controlReserve) {
      close({mountStatusLimitExceeded, "the peer does not read the answers that it asks for"},
            "send_limit", true);
   }
}

void Session::armTimer() {
   double deadline = lastReceived_ + config_.silenceLimit;
   if (established_) {
      deadline = std::min(deadline, lastSent_ + config_.heartbeatInterval);
   } else {
      double const allowed = connected_ || !socket_ ? config_.silenceLimit : config_.connectTimeout;
      deadline = started_ + allowed;
   }
   timer_->timeMinIs(deadline);
}

void Session::handleTime() {
   if (closed_) {
      return;
   }
   double const now = Fen::now();
   if (established_ && socket_ && now >= lastReceived_ + config_.silenceLimit) {
      // This process may have been stopped itself: what has come meanwhile counts.
      Fen::Ptr<Session> const self(this);
      handleReadable();
      if (closed_) {
         return;
      }
   }
   if (!established_) {
      bool const connecting = socket_ && !connected_;
      if (now >= started_ + (connecting ? config_.connectTimeout : config_.silenceLimit)) {
         close({mountStatusConnectionLost, connecting ? "the peer does not answer the call"
                                                      : "the peer does not finish the handshake"},
               connecting ? "connect_timeout" : "handshake_timeout", false);
         return;
      }
   } else if (now >= lastReceived_ + config_.silenceLimit) {
      close({mountStatusConnectionLost,
             Fen::format("nothing has come from the peer for %g seconds", config_.silenceLimit)},
            "silent", false);
      return;
   } else if (now >= lastSent_ + config_.heartbeatInterval) {
      // What waits in the buffer will show that this side lives; a heartbeat behind it would not
      // arrive earlier.
      if (out_->pending().empty()) {
         putHeartbeat(*out_);
      }
      lastSent_ = now;
   }
   armTimer();
}

} // namespace Cairn
