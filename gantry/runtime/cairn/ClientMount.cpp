/// The life of a mount on the mounting side.
#include <gantry/runtime/cairn/CairnTrace.h>
#include <gantry/runtime/cairn/ClientMount.h>
#include <gantry/runtime/cairn/Link.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/FenType.h>

#include <string>
#include <unordered_set>

namespace Cairn {

namespace {

/// The places of all mounts that have begun and not ended: with many mounts, comparing each with
/// all others would cost the most. The texts are the mounts' own.
std::unordered_set<std::string_view>& takenTargets() {
   // Never destroyed: mounts may end until the last code has run.
   static auto* const targets = new std::unordered_set<std::string_view>;
   return *targets;
}

Fen::String8 pathOf(std::vector<Fen::Name> const& names) {
   std::string path;
   for (Fen::Name const& each : names) {
      path += "/" + each.str();
   }
   return path;
}

} // namespace

class ClientMount::Timeout : public Fen::Clock::Notifiee {
 public:
   explicit Timeout(ClientMount* mount)
      : Fen::Clock::Notifiee(Fen::ActivityFacility::clock()), mount_(mount) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      if (mount_ != nullptr) {
         Fen::Ptr<ClientMount> const running(mount_);
         running->handleTimeout();
      }
   }
   void mountDel() { mount_ = nullptr; }

 private:
   ClientMount* mount_;
};

ClientMount::ClientMount(Wish const& wish, User* user)
   : wish_(wish), targetPath_(pathOf(wish.target)), user_(user),
     timeout_(Fen::makePtr<Timeout>(this)), retriesLeft_(wish.retries) {}

ClientMount::~ClientMount() {
   targetRelease();
   timeout_->mountDel();
}

bool ClientMount::targetInUse(Fen::String8 const& path) {
   return takenTargets().contains(path.view());
}

void ClientMount::targetRelease() {
   if (std::exchange(targetTaken_, false)) {
      takenTargets().erase(targetPath_.view());
   }
}

void ClientMount::linkIs(Fen::Ptr<Link> const& link) {
   if (ended_) {
      return;
   }
   link_ = link;
   targetTaken_ = takenTargets().insert(targetPath_.view()).second;
   armTimeout();
   link->mountIs(Fen::Ptr<ClientMount>(this));
}

void ClientMount::armTimeout() {
   if (wish_.timeout > 0.0) {
      timeout_->timeMinIs(Fen::now() + wish_.timeout);
   }
}

void ClientMount::handleTimeout() {
   Fen::String8 reason = Fen::format("not synchronised within %g seconds", wish_.timeout);
   fail({mountStatusTimedOut, lastTrouble_ ? reason + "; " + lastTrouble_ : reason});
}

void ClientMount::sessionIs(Session& session, std::uint32_t channel) {
   putMountRequest(session.out(), channel, wish_.request);
}

void ClientMount::replyIs(MountReply const& reply) {
   if (reply.status != mountStatusSuccess) {
      MountStatus const status =
         reply.status == mountStatusNone ? mountStatusRefused : reply.status;
      Fen::Counters::counter(std::string("cairn.refused_by_peers.") + stringValue(status).charPtr())
         .increment();
      fail({status, reply.reason});
      return;
   }
   Fen::String8 trouble;
   Fen::Ptr<Fen::Dir> const directory = targetDirectory(trouble);
   if (!directory) {
      fail({mountStatusTargetUnusable, trouble});
      return;
   }
   Fen::Ptr<Session> const running(session());
   if (!running) {
      return; // a reactor of a new directory has ended the mount
   }
   if (directory->entityPtr(wish_.target.back())) {
      // The copy of an earlier connection is here, and is brought up to date.
      static Fen::Counter& resyncs = Fen::Counters::counter("cairn.resyncs");
      resyncs.increment();
   }
   logIs(Fen::NboAttrLog::Demuxer::targetIs(
      running->logOptions(*this, reply.writable), directory, wish_.target.back(),
      Fen::FenType::type(wish_.request.typeName.view()), this));
}

/// The directory in which the mount appears; directories that are missing on the way are made.
Fen::Ptr<Fen::Dir> ClientMount::targetDirectory(Fen::String8& trouble) const {
   Fen::Ptr<Fen::Dir> directory = Fen::root();
   for (std::size_t i = 0; i + 1 < wish_.target.size(); ++i) {
      Fen::Ptr<Fen::Entity> below = directory->entityPtr(wish_.target[i]);
      if (!below) {
         below = directory->entityPtrIs(Fen::dirFactory(wish_.target[i]));
      }
      Fen::Ptr<Fen::Dir> const next = Fen::ptrCast<Fen::Dir>(below);
      if (!next) {
         trouble = valueToStrep(below->fullName()) + " is in the way: it is not a directory";
         return nullptr;
      }
      directory = next;
   }
   return directory;
}

void ClientMount::handleSynchronised(Fen::NboAttrLog::Demuxer&) {
   mounted_ = true;
   retriesLeft_ = wish_.retries;
   lastTrouble_ = Fen::String8();
   timeout_->timeMinIs(Fen::never);
   if (link_) {
      link_->handleProgress();
   }
   if (user_ != nullptr) {
      user_->handleMountEnded(*this, {mountStatusSuccess, Fen::String8()});
   }
}

void ClientMount::handleRootGone(Fen::NboAttrLog::Demuxer&) {
   fail({mountStatusTargetUnusable, targetPath() + " was deleted while it was mounted"});
}

void ClientMount::handleChannelEnded(Ending const& ending, bool fatal) {
   handleLost(ending, fatal);
}

void ClientMount::handleLost(Ending const& ending, bool fatal) {
   if (ended_) {
      return;
   }
   if (fatal) {
      MountStatus const status =
         ending.status == mountStatusNone || ending.status == mountStatusSuccess
            ? mountStatusProtocolError
            : ending.status;
      fail({status, ending.reason});
      return;
   }
   if (retriesLeft_ == 0) {
      fail({mountStatusConnectionLost, ending.reason});
      return;
   }
   --retriesLeft_;
   lastTrouble_ = ending.reason;
   if (std::exchange(mounted_, false)) {
      armTimeout();
   }
}

/// Keeps hold of the local copy when the log that stood for it goes.
void ClientMount::rememberRoot() {
   if (log()) {
      if (Fen::Ptr<Fen::Entity> const current = log()->root()) {
         root_ = current;
      }
   }
}

void ClientMount::leave(Ending const& ending) {
   ended_ = true;
   mounted_ = false;
   targetRelease();
   timeout_->timeMinIs(Fen::never);
   if (session() != nullptr) {
      session()->channelDel(*this, ending);
   }
   logClose();
   if (Fen::Ptr<Link> const link = std::exchange(link_, nullptr)) {
      link->mountDel(*this);
   }
}

void ClientMount::end() {
   if (!ended_) {
      Fen::Ptr<ClientMount> const self(this);
      leave({mountStatusNone, "unmounted"});
   }
   user_ = nullptr;
}

void ClientMount::fail(Ending const& ending) {
   if (ended_) {
      return;
   }
   Fen::Ptr<ClientMount> const self(this);
   FEN_TRACE(cairnTrace(), 5,
             "ClientMount::fail: " << wish_.request.path << ": " << ending.status << ": "
                                   << ending.reason);
   leave(ending);
   if (user_ != nullptr) {
      user_->handleMountEnded(*this, ending);
   }
}

void ClientMount::localCopyDel() {
   Fen::Ptr<Fen::Entity> const root = std::exchange(root_, nullptr);
   if (!root) {
      return;
   }
   Fen::EntityUriPath const path(targetPath());
   if (Fen::Entity::entity(path) == root) {
      Fen::entityDel(path);
   }
}

} // namespace Cairn
