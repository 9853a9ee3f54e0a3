// Lines of one client, answered in their order.

#include <hosts/control/ControlDialogue.h>

#include <hosts/support/WallTime.h>

#include <nlohmann/json.hpp>

namespace Host {

namespace {

Json refusal(char const* word, std::string const& text, std::string const& hint) {
   Json json{{"ok", false}, {"error", word}, {"text", text}};
   if (!hint.empty()) {
      json["hint"] = hint;
   }
   return json;
}

/// A peer's text need not be UTF-8.
std::string lineOf(Json const& json) {
   return json.dump(-1, ' ', false, Json::error_handler_t::replace);
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

} // namespace

ControlDialogue::ControlDialogue(ControlCommands const& commands, User* user)
   : commands_(commands), user_(user) {}
ControlDialogue::~ControlDialogue() = default;

void ControlDialogue::take(std::string_view bytes) {
   received_ += bytes;
   takeRequests();
}

bool ControlDialogue::goOn() {
   if (isFull() || !hasRequest_) {
      return false;
   }
   takeRequests();
   return true;
}

void ControlDialogue::takeRequests() {
   std::size_t begin = 0;
   std::size_t end = received_.find('\n');
   for (unsigned left = requestsAtOnce;
        left > 0 && !isCutOff_ && !isLast_ && !isFull() && end != std::string::npos; --left) {
      handleRequest(std::string_view(received_).substr(begin, end - begin));
      begin = end + 1;
      end = received_.find('\n', begin);
   }
   received_.erase(0, begin);
   hasRequest_ = end != std::string::npos;
   if (!hasRequest_ && received_.size() > longestRequest) {
      handleRequest(received_);
   }
   if (isLast_ || isCutOff_) {
      received_.clear();
      hasRequest_ = false;
   }
}

void ControlDialogue::handleRequest(std::string_view line) {
   try {
      send(answer(line));
   } catch (ControlError const& error) {
      send(refusal(error.word(), error.what(), error.hint()));
   } catch (Fen::Exception const& refused) {
      send(refusal("range", refused.what(), ""));
   }
   isLast_ = isLast_ || line.size() > longestRequest;
}

Json ControlDialogue::answer(std::string_view line) {
   if (line.size() > longestRequest) {
      throw ControlError("tooLarge", "a request has at most 65536 bytes");
   }
   Json const request = requestOf(line);
   Json json{{"ok", true}};
   json.update(requestText(request, "command") == "watch" ? watch(request)
                                                          : commands_.answer(request));
   return json;
}

Json ControlDialogue::watch(Json const& request) {
   ControlPlace const place = commands_.placeAt(requestText(request, "path", "/"));
   if (watch_) {
      throw ControlError("badRequest", "this connection watches something already",
                         "open another one");
   }
   if (!place.attribute.empty()) {
      throw ControlError("noPath", "only an entity can be watched, with all below it",
                         "give the path without the attribute");
   }
   Fen::Ptr<Fen::Entity> const entity = place.entity();
   if (!entity || isBelow(place.path, MachinePlaces::root)) {
      throw ControlError("notSupported", "machines tell nobody of their changes",
                         "'gantry get' shows how it is now");
   }
   watchedPath_ = place.path == "/" ? "" : place.path;
   watch_ = std::make_unique<TreeWatch>(entity, static_cast<TreeListener&>(*this));
   return Json{{"watching", place.path}};
}

void ControlDialogue::send(Json const& json) {
   std::string const line = lineOf(json);
   sendLine(line.size() <= longestAnswer
               ? line
               : lineOf(refusal("tooLarge", "the answer would have more than 4 MiB",
                                "ask for a part of it: a longer path, a smaller --depth")));
}

void ControlDialogue::sendLine(std::string const& line) {
   if (isCutOff_) {
      return;
   }
   unsent_ += line;
   unsent_ += '\n';
   if (unsent_.size() > mostUnsent) {
      isCutOff_ = true;
      unsent_.clear();
   }
   user_->handleUnsent();
}

void ControlDialogue::event(char const* name, std::string const& path, Json more) {
   Json json{{"time", wallTime()}, {"event", name}};
   std::string const full = path.empty() ? watchedPath_ : watchedPath_ + "/" + path;
   json["path"] = full.empty() ? "/" : full;
   Json whole = json;
   whole.update(more);
   std::string const line = lineOf(whole);
   if (line.size() <= longestAnswer) {
      sendLine(line);
      return;
   }
   json["tooLarge"] = true;
   sendLine(lineOf(json));
}

void ControlDialogue::entityAdded(std::string const& path, Fen::Entity const& entity) {
   event("entity", path,
         Json{{"type", std::string(entity.fwkType()->fullTypeName().view())},
              {"attributes", valuesByName(entity)}});
}

void ControlDialogue::entityRemoved(std::string const& path) {
   event("removed", path, Json::object());
}

void ControlDialogue::valueChanged(std::string const& path, Fen::Entity const& entity,
                                   Fen::AttrDesc const& attribute, void const* key) {
   Json more{{"attribute", attribute.name}};
   if (key != nullptr && attribute.view->memberValue != nullptr) {
      more["key"] = std::string(attribute.view->keyText(key).view());
   }
   more["value"] = valueOf(entity, attribute, key);
   event("changed", path, std::move(more));
}

void ControlDialogue::rootGone() {
   event("removed", "", Json::object());
   event("ended", "", Json::object());
   watch_ = nullptr;
}

} // namespace Host
