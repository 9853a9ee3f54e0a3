/// What a server answers to one peer.
#include <gantry/runtime/cairn/CairnTrace.h>
#include <gantry/runtime/cairn/ServerSession.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/FenType.h>

#include <string>

namespace Cairn {

namespace {

using Fen::NboAttrLog::FrameKind;
using Fen::NboAttrLog::Refusal;
using Fen::NboAttrLog::refuse;

/// Path components deeper than the deepest tree that travels cannot lead anywhere.
constexpr unsigned deepestPath = 256;

/// The path without its empty components, empty when one of them leads nowhere or upward.
std::string cleaned(std::string_view path) {
   std::string result;
   while (!path.empty()) {
      std::size_t const slash = std::min(path.find('/'), path.size());
      if (path.substr(0, slash) == "." || path.substr(0, slash) == "..") {
         return {};
      }
      if (slash != 0) {
         result += result.empty() ? "" : "/";
         result += path.substr(0, slash);
      }
      path.remove_prefix(std::min(slash + 1, path.size()));
   }
   return result;
}

Fen::Ptr<Fen::Entity> entityBelow(Fen::Ptr<Fen::Entity> from, std::string_view rest) {
   for (unsigned depth = 0; from && !rest.empty() && depth < deepestPath; ++depth) {
      from = from->fenPathMember(rest);
   }
   return rest.empty() ? from : Fen::Ptr<Fen::Entity>();
}

} // namespace

/// One granted mount: the source of a log.
class ServerSession::Mount : public Channel, private Permit::User {
 public:
   void permitIs(Fen::Ptr<Permit> const& permit) {
      permit_ = permit;
      if (permit) {
         permit->userIs(this);
      }
   }
   void logStart(Fen::NboAttrLog::Demuxer::Options const& options,
                 Fen::Ptr<Fen::Entity> const& root) {
      logIs(Fen::NboAttrLog::Demuxer::sourceIs(options, this));
      log()->rootIs(root);
   }
   void handleSynchronised(Fen::NboAttrLog::Demuxer&) override {}
   void handleRootGone(Fen::NboAttrLog::Demuxer&) override {
      if (session() != nullptr) {
         session()->channelDel(*this, {mountStatusNoSuchPath, "what was mounted has been deleted"});
      }
   }
   void handleChannelEnded(Ending const&, bool) override { permitDel(); }

 protected:
   ~Mount() override { permitDel(); }

 private:
   void handleWithdrawn(Fen::String8 const& reason) override {
      Fen::Ptr<Mount> const self(this);
      permitDel();
      if (session() != nullptr) {
         Fen::Counters::counter("cairn.mounts_withdrawn").increment();
         FEN_TRACE(cairnTrace(), 5,
                   "ServerSession::Mount::handleWithdrawn: " << session()->peer() << ": "
                                                             << reason);
         session()->channelDel(*this, {mountStatusWithdrawn, reason});
      }
   }
   void permitDel() {
      if (permit_) {
         permit_->userIs(nullptr);
         permit_ = nullptr;
      }
   }

   Fen::Ptr<Permit> permit_;
};

ServerSession::ServerSession(TcpConfig const& config, Fen::String8 peer, User* user)
   : Session(config, peer, true), user_(user) {}

ServerSession::~ServerSession() = default;

Fen::Ptr<ServerSession> ServerSession::accepted(TcpConfig const& config, int descriptor,
                                                User* user) {
   auto session = Fen::makePtr<ServerSession>(config, Fen::String8(), user);
   Socket::User* const socketUser = session->socketUser();
   auto const socket = Fen::makePtr<Socket>(descriptor, socketUser);
   session->connected_ = true;
   session->peerIs(socket->peerText());
   session->identity_.address = socket->peerAddress();
   session->socketIs(socket);
   socket->readableWantedIs(true);
   return session;
}

void ServerSession::handleControl(FrameKind kind, std::uint32_t channel,
                                  Fen::ByteConnection::In& in) {
   switch (kind) {
   case FrameKind::hello:
      takeHelloFrame(in);
      break;
   case FrameKind::mountRequest:
      takeRequest(channel, takeMountRequest(in));
      break;
   case FrameKind::helloReply:
   case FrameKind::mountReply:
      refuse(Refusal::outOfOrder, "a frame that only the serving side sends");
   default:
      refuse(Refusal::unknownFrame,
             Fen::format("a frame of unknown kind %u", static_cast<unsigned>(kind)));
   }
}

void ServerSession::takeHelloFrame(Fen::ByteConnection::In& in) {
   if (isEstablished()) {
      refuse(Refusal::outOfOrder, "a second hello");
   }
   Hello const hello = takeHello(in);
   if (!peerFits(hello.version, hello.messageBytes)) {
      return;
   }
   if (hello.name) {
      peerNameIs(hello.name);
   }
   identity_.name = hello.name;
   identity_.systemId = hello.systemId;
   identity_.servingPort = hello.servingPort;
   Fen::String8 const refusal = user_ != nullptr ? user_->handlePeer(*this) : Fen::String8();
   if (!refusal.empty()) {
      close({mountStatusRefused, refusal}, "refused", true);
      return;
   }
   if (isClosed()) {
      return; // whoever was asked has taken the server away
   }
   admitted_ = true;
   establishedIs();
   HelloReply reply;
   reply.sysname = user_ != nullptr ? Fen::String8(user_->servedName()) : Fen::String8();
   putHelloReply(out(), reply);
   FEN_TRACE(cairnTrace(), 5, "ServerSession::takeHelloFrame: " << peer() << " has joined");
}

void ServerSession::takeRequest(std::uint32_t number, MountRequest const& request) {
   if (number <= highestChannel()) {
      refuse(Refusal::outOfOrder, Fen::format("channel %u has been used before", number));
   }
   auto const mount = Fen::makePtr<Mount>();
   channelIs(mount, number);
   Ending refusal;
   Fen::Ptr<Permit> permit;
   Fen::Ptr<Fen::Entity> const root = served(request, permit, refusal);
   if (!root) {
      FEN_TRACE(cairnTrace(), 5,
                "ServerSession::takeRequest: " << peer() << ": " << request.path
                                               << ": refused: " << refusal.reason);
      Fen::Counters::counter(std::string("cairn.mounts_refused.") +
                             stringValue(refusal.status).charPtr())
         .increment();
      channelForget(*mount);
      putMountReply(out(), number, {refusal.status, false, refusal.reason});
      controlWritten();
      return;
   }
   bool const asked = request.flags.view().find('w') != std::string_view::npos;
   bool const writable = asked && user_->servedWritable() && (!permit || permit->isForWriting());
   FEN_TRACE(cairnTrace(), 5,
             "ServerSession::takeRequest: " << peer() << ": " << request.path << ": granted");
   mount->permitIs(permit);
   putMountReply(out(), number, {mountStatusSuccess, writable, Fen::String8()});
   mount->logStart(logOptions(*mount, writable), root);
   controlWritten();
}

bool ServerSession::permitted(MountRequest const& request, std::string_view below,
                              Fen::Ptr<Permit>& permit, Ending& refusal) const {
   Fen::Ptr<AccessPolicy> const policy = user_->servedPolicy();
   if (!policy) {
      return true;
   }
   permit = policy->permit({identity_, Fen::String8(below), request.typeName}, refusal.status,
                           refusal.reason);
   return bool(permit);
}

Fen::Ptr<Fen::Entity> ServerSession::served(MountRequest const& request, Fen::Ptr<Permit>& permit,
                                            Ending& refusal) const {
   if (user_ == nullptr || channels() > config().mountsPerPeer) {
      refusal = {mountStatusRefused,
                 Fen::format("no more than %u mounts at a time", config().mountsPerPeer)};
      return nullptr;
   }
   std::string const path = cleaned(request.path.view());
   std::size_t const end = std::min(path.find('/'), path.size());
   std::string const first = path.substr(0, end);
   if (user_->servedName() != Fen::Name(first)) {
      refusal = {mountStatusNoSuchPath, Fen::String8("this is system ") +
                                           valueToStrep(user_->servedName()) + ", not " +
                                           valueToStrep(Fen::String8(first))};
      return nullptr;
   }
   std::string_view const below = std::string_view(path).substr(std::min(end + 1, path.size()));
   if (!permitted(request, below, permit, refusal)) {
      return nullptr;
   }
   Fen::Ptr<Fen::Entity> const entity = entityBelow(user_->servedRoot(), below);
   if (!entity) {
      refusal = {mountStatusNoSuchPath,
                 Fen::String8("there is nothing at ") + valueToStrep(Fen::String8(path))};
      return nullptr;
   }
   Fen::String8 const type = entity->fwkType()->fullTypeName();
   if (type != request.typeName) {
      refusal = {mountStatusAnotherType,
                 Fen::String8("what is there is a ") + type + ", not a " + request.typeName};
      return nullptr;
   }
   if (!entity->fenHasAttrLogInterface()) {
      refusal = {mountStatusRefused, type + " does not leave its system"};
      return nullptr;
   }
   return entity;
}

void ServerSession::handleClosed(Ending const&, bool) {
   if (user_ != nullptr) {
      user_->handleSessionClosed(*this);
   }
}

} // namespace Cairn
