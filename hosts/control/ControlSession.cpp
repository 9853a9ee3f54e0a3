// Lines of one client, answered in their order.

#include <hosts/control/ControlSession.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace Host {

namespace {

/// A client that does not read its answers is not read either beyond this.
constexpr std::size_t pauseUnsent = 1 << 20;
/// Read in one turn, so that no client holds up the loop.
constexpr std::size_t bytesPerTurn = 64 << 10;

Json refusal(char const* word, std::string const& text, std::string const& hint) {
   Json json{{"ok", false}, {"error", word}, {"text", text}};
   if (!hint.empty()) {
      json["hint"] = hint;
   }
   return json;
}

/// A flat object; everything deeper is refused before it is built.
Json requestOf(std::string_view line) {
   bool isDeep = false;
   Json const request = Json::parse(
      line,
      [&isDeep](int depth, Json::parse_event_t event, Json&) {
         bool const opens =
            event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
         isDeep = isDeep || (opens && depth > 0);
         return !isDeep;
      },
      false);
   if (isDeep || !request.is_object()) {
      throw ControlError("badRequest", "a request is one line with a JSON object of plain values",
                         "such as {\"command\":\"tree\"}");
   }
   return request;
}

double secondsSinceEpoch() {
   using namespace std::chrono;
   return duration<double>(system_clock::now().time_since_epoch()).count();
}

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
     watched_(Fen::makePtr<Fen::FileDescriptor>(descriptor)),
     reactor_(Fen::makePtr<Reactor>(watched_, this)) {
   watched_->readableWantedIs(true);
}

ControlServer::Session::~Session() {
   watch_ = nullptr;
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
   for (std::size_t taken = 0; taken < bytesPerTurn;) {
      ssize_t const size = ::recv(descriptor_, buffer, sizeof buffer, 0);
      if (size < 0 && errno == EINTR) {
         continue;
      }
      if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
         break;
      }
      if (size <= 0) {
         isLast_ = true;
         watched_->readableWantedIs(false);
         break;
      }
      received_.append(buffer, static_cast<std::size_t>(size));
      taken += static_cast<std::size_t>(size);
   }
   takeRequests();
   pendingIs(true);
}

void ControlServer::Session::takeRequests() {
   std::size_t begin = 0;
   for (std::size_t end; !isEnded_ && unsent_.size() < pauseUnsent &&
                         (end = received_.find('\n', begin)) != std::string::npos;
        begin = end + 1) {
      handleRequest(std::string_view(received_).substr(begin, end - begin));
   }
   received_.erase(0, begin);
   if (received_.find('\n') == std::string::npos && received_.size() > longestRequest) {
      handleRequest(received_);
      received_.clear();
   }
}

void ControlServer::Session::handleRequest(std::string_view line) {
   try {
      send(answer(line));
   } catch (ControlError const& error) {
      send(refusal(error.word(), error.what(), error.hint()));
   }
   if (line.size() > longestRequest) {
      // Where the next request begins cannot be told any more.
      isLast_ = true;
      watched_->readableWantedIs(false);
   }
}

Json ControlServer::Session::answer(std::string_view line) {
   if (line.size() > longestRequest) {
      throw ControlError("tooLarge", "a request has at most 65536 bytes");
   }
   Json const request = requestOf(line);
   Json json{{"ok", true}};
   json.update(requestText(request, "command") == "watch" ? watch(request)
                                                          : server_.commands_.answer(request));
   return json;
}

Json ControlServer::Session::watch(Json const& request) {
   ControlPlace const place = placeOf(requestText(request, "path", "/"));
   if (watch_) {
      throw ControlError("badRequest", "this connection watches something already",
                         "open another one");
   }
   if (!place.attribute.empty()) {
      throw ControlError("noPath", "only an entity can be watched, with all below it",
                         "give the path without the attribute");
   }
   std::string const path(place.entity->fullName().view());
   watchedPath_ = path == "/" ? "" : path;
   watch_ = std::make_unique<TreeWatch>(place.entity, static_cast<TreeListener&>(*this));
   return Json{{"watching", path}};
}

void ControlServer::Session::send(Json const& json) {
   if (isEnded_) {
      return;
   }
   // A peer's text need not be UTF-8.
   std::string line = json.dump(-1, ' ', false, Json::error_handler_t::replace);
   if (line.size() > longestAnswer) {
      line = refusal("tooLarge", "the answer would have more than 4 MiB",
                     "ask for a part of it: a longer path, a smaller --depth")
                .dump();
   }
   unsent_ += line;
   unsent_ += '\n';
   if (unsent_.size() > mostUnsent) {
      end();
   }
   pendingIs(true);
}

void ControlServer::Session::handleTurnEnd() {
   std::size_t sent = 0;
   while (!isEnded_ && sent < unsent_.size()) {
      ssize_t const size =
         ::send(descriptor_, unsent_.data() + sent, unsent_.size() - sent, MSG_NOSIGNAL);
      if (size < 0 && errno == EINTR) {
         continue;
      }
      if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
         break;
      }
      if (size < 0) {
         end();
         return;
      }
      sent += static_cast<std::size_t>(size);
   }
   unsent_.erase(0, sent);
   if (isEnded_) {
      return;
   }
   watched_->writableWantedIs(!unsent_.empty());
   if (unsent_.size() < pauseUnsent && received_.find('\n') != std::string::npos) {
      takeRequests();
      pendingIs(true);
   } else if (isLast_ && unsent_.empty()) {
      end();
   }
   watched_->readableWantedIs(!isEnded_ && !isLast_ && unsent_.size() < pauseUnsent);
}

void ControlServer::Session::event(char const* name, std::string const& path, Json more) {
   Json json{{"time", secondsSinceEpoch()}, {"event", name}};
   std::string const full = path.empty() ? watchedPath_ : watchedPath_ + "/" + path;
   json["path"] = full.empty() ? "/" : full;
   json.update(more);
   send(json);
}

void ControlServer::Session::entityAdded(std::string const& path, Fen::Entity const& entity) {
   event("entity", path,
         Json{{"type", std::string(entity.fwkType()->fullTypeName().view())},
              {"attributes", valuesByName(entity)}});
}

void ControlServer::Session::entityRemoved(std::string const& path) {
   event("removed", path, Json::object());
}

void ControlServer::Session::valueChanged(std::string const& path, Fen::Entity const& entity,
                                          Fen::AttrDesc const& attribute, void const* key) {
   Json more{{"attribute", attribute.name}};
   if (key != nullptr && attribute.view->memberValue != nullptr) {
      more["key"] = std::string(attribute.view->keyText(key).view());
   }
   more["value"] = valueOf(entity, attribute, key);
   event("changed", path, std::move(more));
}

} // namespace Host
