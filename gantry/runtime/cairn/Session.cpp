/// Frames, channels and the life of a session. What touches the socket is in SessionTraffic.cpp.
#include <gantry/runtime/cairn/CairnTrace.h>
#include <gantry/runtime/cairn/Session.h>
#include <gantry/runtime/cairn/SessionTimer.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/Counters.h>

#include <algorithm>
#include <string>
#include <unordered_set>

namespace Cairn {

namespace {

using Fen::NboAttrLog::frameHeaderBytes;
using Fen::NboAttrLog::FrameKind;
using Fen::NboAttrLog::frameKindBytes;
using Fen::NboAttrLog::ProtocolException;
using Fen::NboAttrLog::Refusal;
using Fen::NboAttrLog::refuse;

MountStatus statusOf(Refusal refusal) {
   switch (refusal) {
   case Refusal::oversized:
   case Refusal::tooDeep:
   case Refusal::treeLimit:
   case Refusal::crowded:
      return mountStatusLimitExceeded;
   case Refusal::wrongType:
      return mountStatusAnotherType;
   case Refusal::notApplicable:
      return mountStatusTargetUnusable;
   default:
      return mountStatusProtocolError;
   }
}

/// All connections of the process, in no order.
std::unordered_set<Session const*>& openSessions() {
   // Never destroyed: connections may end until the last code has run.
   static auto* const sessions = new std::unordered_set<Session const*>;
   return *sessions;
}

/// Two refusals say nothing against the peer: the mount is what does not fit.
bool concernsMountAlone(Refusal refusal) {
   return refusal == Refusal::wrongType || refusal == Refusal::notApplicable;
}

} // namespace

std::vector<PeerUse> peerUses() {
   std::vector<PeerUse> result;
   for (Session const* const session : openSessions()) {
      if (session->isEstablished()) {
         result.push_back(session->use());
      }
   }
   return result;
}

Channel::~Channel() {
   if (log_) {
      log_->close();
   }
}

void Channel::logClose() {
   if (log_) {
      handleLogClosing();
      Fen::Ptr<Fen::NboAttrLog::Demuxer> const closing = std::exchange(log_, nullptr);
      closing->close();
   }
}

Session::Session(TcpConfig const& config, Fen::String8 peer, bool isServed)
   : config_(config), peer_(peer), address_(peer), isServed_(isServed),
     out_(Fen::makePtr<Fen::Connection::Out>(config.limits.send)),
     budget_(Fen::makePtr<Fen::NboAttrLog::TreeBudget>(config.limits.tree)),
     timer_(Fen::makePtr<Timer>(this)), started_(Fen::now()), lastReceived_(started_),
     lastSent_(started_) {
   out_->userIs(this);
   openSessions().insert(this);
   armTimer();
}

Session::~Session() {
   openSessions().erase(this);
   timer_->sessionDel();
   out_->userIs(nullptr);
   if (socket_) {
      socket_->close();
   }
   for (Channel* const channel : order_) {
      channel->session_ = nullptr;
   }
}

std::size_t Session::take(std::uint8_t* bytes, std::size_t count) {
   static Fen::Counter& framesReceived = Fen::Counters::counter("cairn.frames_received");
   Fen::Ptr<Session> const self(this);
   std::size_t used = 0;
   std::uint64_t frames = 0;
   try {
      while (!closed_ && count - used >= frameHeaderBytes) {
         std::size_t const length = frame(bytes + used, count - used);
         if (length == 0) {
            break;
         }
         used += length;
         ++frames;
      }
   } catch (ProtocolException const& broken) {
      close({statusOf(broken.refusal()), broken.text()}, refusalName(broken.refusal()), true);
   } catch (std::exception const& failed) {
      close({mountStatusLimitExceeded, failed.what()}, "failure", true);
   }
   framesReceived.increment(frames);
   return used;
}

/// Handles the frame that begins here; returns its length, 0 when it is not complete.
std::size_t Session::frame(std::uint8_t* bytes, std::size_t count) {
   std::size_t const length =
      std::size_t{Fen::loadBig32(bytes)} + frameHeaderBytes - frameKindBytes;
   std::size_t const longest = established_
                                  ? config_.limits.message
                                  : std::min(config_.limits.handshake, config_.limits.message);
   if (length < frameHeaderBytes) {
      refuse(Refusal::malformed, "a frame is shorter than its own head");
   }
   if (length > longest) {
      refuse(Refusal::oversized, Fen::format("a frame has %zu bytes", length));
   }
   if (length > count) {
      return 0;
   }
   std::uint32_t const word = Fen::loadBig32(bytes + 4);
   auto const kind = static_cast<FrameKind>(word >> 24);
   std::uint32_t const number = word & Fen::NboAttrLog::largestChannel;
   if (isLogFrame(kind)) {
      logFrame(kind, number, bytes + frameHeaderBytes, length - frameHeaderBytes);
   } else {
      control(kind, number, bytes + frameHeaderBytes, length - frameHeaderBytes);
   }
   return length;
}

void Session::logFrame(FrameKind kind, std::uint32_t number, std::uint8_t* payload,
                       std::size_t bytes) {
   if (number == 0 || number > highestChannel_) {
      refuse(established_ ? Refusal::unknownChannel : Refusal::outOfOrder,
             Fen::format("a message on channel %u, which was never opened", number));
   }
   if (lastChannel_ == nullptr || lastChannel_->number_ != number) {
      auto const found = channels_.find(number);
      if (found == channels_.end()) {
         // Sent before the peer learned that this side has ended the channel.
         return;
      }
      lastChannel_ = found->second.ptr();
   }
   Fen::Ptr<Channel> const channel(lastChannel_);
   Fen::Ptr<Fen::NboAttrLog::Demuxer> const log = channel->log_;
   if (!log) {
      refuse(Refusal::outOfOrder, "a message before the mount was granted");
   }
   try {
      log->receive(kind, payload, bytes);
   } catch (ProtocolException const& broken) {
      if (!concernsMountAlone(broken.refusal())) {
         throw;
      }
      Ending const ending{statusOf(broken.refusal()), broken.text()};
      channelDel(*channel, ending);
      channel->handleChannelEnded(ending, true);
   }
}

void Session::control(FrameKind kind, std::uint32_t number, std::uint8_t* payload,
                      std::size_t bytes) {
   auto const in = Fen::makePtr<Fen::NboAttrLog::In>(payload, bytes);
   bool const ofChannel = kind == FrameKind::mountRequest || kind == FrameKind::mountReply ||
                          kind == FrameKind::unmount;
   if (ofChannel != (number != 0)) {
      refuse(Refusal::malformed, "a frame of the connection has the wrong channel");
   }
   bool const ofHandshake =
      kind == FrameKind::hello || kind == FrameKind::helloReply || kind == FrameKind::goodbye;
   if (!established_ && !ofHandshake) {
      refuse(Refusal::outOfOrder, "a frame before the handshake is through");
   }
   switch (kind) {
   case FrameKind::heartbeat:
      takeHeartbeat(*in);
      break;
   case FrameKind::goodbye:
      takeGoodbye(*in);
      break;
   case FrameKind::unmount:
      channelEnded(number, takeEnding(*in));
      break;
   default:
      handleControl(kind, number, *in);
   }
}

void Session::takeGoodbye(Fen::ByteConnection::In& in) {
   Ending const ending = takeEnding(in);
   // A peer that merely goes may come back; one that complains would complain again.
   close({ending.status, Fen::String8("the peer says: ") + ending.reason}, "goodbye",
         ending.status != mountStatusConnectionLost && ending.status != mountStatusNone);
}

bool Session::peerFits(std::uint16_t version, std::uint32_t messageBytes) {
   if (version != protocolVersion) {
      close({mountStatusProtocolError,
             Fen::format("version %u of the protocol meets version %u", protocolVersion, version)},
            "version", true);
      return false;
   }
   if (messageBytes < Fen::NboAttrLog::messageBytesLimit) {
      close({mountStatusLimitExceeded,
             Fen::format("a peer that takes messages of %u bytes meets one that sends %zu",
                         messageBytes, Fen::NboAttrLog::messageBytesLimit)},
            "message_limit", true);
      return false;
   }
   return true;
}

void Session::establishedIs() {
   established_ = true;
   armTimer();
}

void Session::channelIs(Fen::Ptr<Channel> const& channel, std::uint32_t number) {
   FEN_ASSERT(number > highestChannel_, "channels are numbered upward");
   highestChannel_ = number;
   channel->number_ = number;
   channel->session_ = this;
   channels_[number] = channel;
   order_.push_back(channel.ptr());
}

Fen::Ptr<Channel> Session::channel(std::uint32_t number) const {
   auto const found = channels_.find(number);
   return found != channels_.end() ? found->second : Fen::Ptr<Channel>();
}

Fen::NboAttrLog::Demuxer::Options Session::logOptions(Channel const& channel, bool writable) const {
   Fen::NboAttrLog::Demuxer::Options options;
   options.out = out_;
   options.channel = channel.number_;
   options.limits = config_.limits;
   options.budget = budget_;
   options.writable = writable;
   return options;
}

PeerUse Session::use() const {
   PeerUse use{name_, address_, isServed_};
   use.queuedBytes = out_->pending().size();
   use.memoryBytes = sizeof *this + out_->capacity() + rest_.capacity() + budget_->used();
   for (Channel const* const channel : order_) {
      use.memoryBytes += sizeof *channel;
      if (Fen::NboAttrLog::Demuxer const* const log = channel->log_.ptr()) {
         ++use.mounts;
         use.entities += log->entities();
         use.memoryBytes += sizeof *log + log->memory();
      }
   }
   return use;
}

/// Takes a channel out and closes its log.
Fen::Ptr<Channel> Session::channelTaken(std::uint32_t number) {
   auto const found = channels_.find(number);
   if (found == channels_.end()) {
      return nullptr;
   }
   Fen::Ptr<Channel> const channel = found->second;
   channels_.erase(found);
   std::erase(order_, channel.ptr());
   if (lastChannel_ == channel.ptr()) {
      lastChannel_ = nullptr;
   }
   channel->session_ = nullptr;
   channel->logClose();
   return channel;
}

void Session::channelDel(Channel& channel, Ending const& ending) {
   if (channel.session_ != this) {
      return;
   }
   // The channel may have no other owner, and the session may be closed here.
   Fen::Ptr<Session> const self(this);
   Fen::Ptr<Channel> const ended = channelTaken(channel.number_);
   putUnmount(*out_, ended->number_, ending);
   controlWritten();
}

void Session::channelEnded(std::uint32_t number, Ending const& ending) {
   if (number > highestChannel_) {
      refuse(Refusal::unknownChannel, "the end of a channel that was never opened");
   }
   // Both sides may have ended it at the same time.
   if (Fen::Ptr<Channel> const channel = channelTaken(number)) {
      channel->handleChannelEnded(ending, true);
   }
}

void Session::channelsClose(Ending const& ending, bool fatal) {
   while (!order_.empty()) {
      if (Fen::Ptr<Channel> const channel = channelTaken(order_.back()->number_)) {
         channel->handleChannelEnded(ending, fatal);
      }
   }
}

void Session::close(Ending const& ending, char const* name, bool fatal) {
   if (closed_) {
      return;
   }
   Fen::Ptr<Session> const self(this);
   closed_ = true;
   openSessions().erase(this);
   FEN_TRACE(cairnTrace(), 5, "Session::close: " << peer_ << ": " << ending.reason);
   Fen::Counters::counter(std::string("cairn.closed.") + name).increment();
   timer_->timeMinIs(Fen::never);
   out_->userIs(nullptr);
   pendingIs(false);
   if (socket_) {
      if (connected_) {
         putGoodbye(*out_, ending);
         send();
      }
      socket_->close();
      socket_ = nullptr;
   }
   channelsClose(ending, fatal);
   handleClosed(ending, fatal);
}

void Session::handleConnected() {}

} // namespace Cairn
