// The traffic of one client, in bounded pieces of a turn.

#include <hosts/control/ControlSession.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace Host {

namespace {

/// Read in one turn, so that no client holds up the loop.
constexpr std::size_t bytesPerTurn = 64 << 10;

} // namespace

class ControlServer::Session::Reactor : public Fen::FileDescriptor::Notifiee {
 public:
   Reactor(Fen::Ptr<Fen::FileDescriptor> const& watched, Session* session)
      : Notifiee(watched), session_(session) {
      isRegisteredNotifieeIs(true);
   }
   void onReadable() override { session_->handleReadable(); }
   void onWritable() override { session_->pendingIs(true); }

 private:
   Session* session_;
};

ControlServer::Session::Session(ControlServer& server, int descriptor)
   : server_(server), descriptor_(descriptor),
     dialogue_(server.commands_, static_cast<ControlDialogue::User*>(this)),
     watched_(Fen::makePtr<Fen::FileDescriptor>(descriptor)),
     reactor_(Fen::makePtr<Reactor>(watched_, this)) {
   watched_->readableWantedIs(true);
}

ControlServer::Session::~Session() {
   reactor_->isRegisteredNotifieeIs(false);
   reactor_ = nullptr;
   watched_ = nullptr;
   ::close(descriptor_);
}

void ControlServer::Session::end() {
   isEnded_ = true;
   watched_->readableWantedIs(false);
   watched_->writableWantedIs(false);
   server_.sessionEnded();
}

void ControlServer::Session::handleReadable() {
   if (isEnded_) {
      return;
   }
   char buffer[16 << 10];
   for (std::size_t taken = 0;
        taken < bytesPerTurn && !dialogue_.isLast() && !dialogue_.isPaused();) {
      ssize_t const size = ::recv(descriptor_, buffer, sizeof buffer, 0);
      if (size < 0 && errno == EINTR) {
         continue;
      }
      if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
         break;
      }
      if (size <= 0) {
         isLast_ = true;
         break;
      }
      dialogue_.take({buffer, static_cast<std::size_t>(size)});
      taken += static_cast<std::size_t>(size);
   }
   isLast_ = isLast_ || dialogue_.isLast();
   if (isLast_) {
      watched_->readableWantedIs(false);
   }
   pendingIs(true);
}

bool ControlServer::Session::send() {
   std::string const& unsent = dialogue_.unsent();
   std::size_t sent = 0;
   while (sent < unsent.size()) {
      ssize_t const size =
         ::send(descriptor_, unsent.data() + sent, unsent.size() - sent, MSG_NOSIGNAL);
      if (size < 0 && errno == EINTR) {
         continue;
      }
      if (size < 0) {
         if (errno != EAGAIN && errno != EWOULDBLOCK) {
            return false;
         }
         break;
      }
      sent += static_cast<std::size_t>(size);
   }
   dialogue_.sentIs(sent);
   return true;
}

void ControlServer::Session::handleTurnEnd() {
   if (isEnded_) {
      return;
   }
   if (dialogue_.isCutOff() || !send()) {
      end();
      return;
   }
   watched_->writableWantedIs(!dialogue_.unsent().empty());
   if (dialogue_.goOn()) {
      isLast_ = isLast_ || dialogue_.isLast();
      pendingIs(true);
   } else if (isLast_ && dialogue_.unsent().empty()) {
      end();
      return;
   }
   watched_->readableWantedIs(!isLast_ && !dialogue_.isPaused());
}

} // namespace Host
