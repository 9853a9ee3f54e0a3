// The commands that every host has.

#include <hosts/control/ControlCommands.h>
#include <hosts/control/Metrics.h>

#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/ringscribe/TraceFile.h>

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <filesystem>

namespace Host {

namespace {

/// Of one answer.
constexpr unsigned mostEntities = 20000;
/// For one path, of which a part may be a name, an attribute or a key.
constexpr unsigned mostLooks = 64;
constexpr unsigned deepestTree = 64;

/// The protocol's word for a refusal by the library.
char const* wordOf(Fen::Exception const& refusal) {
   switch (refusal.id()) {
   case Fen::Exception::Id::constant:
      return "readOnly";
   case Fen::Exception::Id::opNotSupported:
      return "notSupported";
   case Fen::Exception::Id::badIndexAttr:
      return "noCollection";
   case Fen::Exception::Id::type:
      return "type";
   case Fen::Exception::Id::unknownAttr:
      return "noAttribute";
   default:
      return "range";
   }
}

char const* hintOf(Fen::Exception const& refusal) {
   switch (refusal.id()) {
   case Fen::Exception::Id::constant:
      return "the host writes this itself or mounts it read-only; change its source";
   case Fen::Exception::Id::opNotSupported:
      return "this is fixed when the entity is made; make it anew";
   case Fen::Exception::Id::badIndexAttr:
      return "this attribute takes no [KEY]";
   case Fen::Exception::Id::type:
      return "a collection needs a [KEY]";
   default:
      return "'gantry get' shows the text form of what is there";
   }
}

/// The process and the file of its ring trace.
Json hostOf() {
   Json json{{"pid", ::getpid()}};
   auto const& ring = RingScribe::theTraceFile;
   // Absolute: whoever asks may stand in another directory.
   json["ring"] =
      ring ? Json(std::filesystem::absolute(std::string(ring->path().view())).string()) : Json();
   return json;
}

/// A path without slashes at its end. Each separator of a path is one more place to look, since
/// names may have any of them: who sends thousands would keep the loop from everybody else.
std::string plainPath(std::string path) {
   constexpr std::size_t longest = 4096;
   constexpr std::ptrdiff_t mostSeparators = 128;
   auto const isSeparator = [](char c) { return c == '/' || c == '.' || c == '['; };
   if (path.size() > longest ||
       std::count_if(path.begin(), path.end(), isSeparator) > mostSeparators) {
      throw ControlError("badRequest",
                         "a path has at most 4096 bytes, and 128 slashes, dots and brackets");
   }
   while (path.size() > 1 && path.back() == '/') {
      path.pop_back();
   }
   return path;
}

} // namespace

bool isBelow(std::string_view path, std::string_view place) {
   return path.substr(0, place.size()) == place &&
          (path.size() == place.size() || path[place.size()] == '/');
}

std::string requestText(Json const& request, char const* name, char const* preset) {
   auto const found = request.find(name);
   if (found == request.end() && preset != nullptr) {
      return preset;
   }
   if (found == request.end() || !found->is_string()) {
      throw ControlError("badRequest", std::string("the request needs a text '") + name + "'");
   }
   return found->get<std::string>();
}

unsigned requestNumber(Json const& request, char const* name, unsigned preset) {
   auto const found = request.find(name);
   if (found == request.end()) {
      return preset;
   }
   if (!found->is_number_unsigned() || found->get<std::uint64_t>() > 1000000) {
      throw ControlError("badRequest",
                         std::string("'") + name + "' is a whole number from 0 to 1000000");
   }
   return found->get<unsigned>();
}

ControlCommands::ControlCommands(ControlPolicy policy)
   : policy_(std::move(policy)), machines_(policy_.machines) {
   commandIs("tree", [this](Json const& request) { return tree(request); });
   commandIs("get", [this](Json const& request) { return get(request); });
   commandIs("set", [this](Json const& request) { return set(request); });
   commandIs("types", [this](Json const& request) { return types(request); });
   commandIs("host", [](Json const&) { return hostOf(); });
   commandIs("stats", [this](Json const&) { return statistics(); });
}

Json ControlCommands::answer(Json const& request) const {
   std::string const name = requestText(request, "command");
   auto const found = commands_.find(name);
   if (found == commands_.end()) {
      std::string all = "watch";
      for (auto const& [each, command] : commands_) {
         all += ", " + each;
      }
      throw ControlError("noCommand", "this host has no command '" + name + "'", "it has " + all);
   }
   try {
      return found->second(request);
   } catch (Fen::Exception const& refusal) {
      throw ControlError(wordOf(refusal), refusal.what(), hintOf(refusal));
   }
}

ControlPlace ControlCommands::placeAt(std::string const& whole) const {
   std::string const text = plainPath(whole);
   if (text == MachinePlaces::root) {
      throw ControlError("notSupported", "'/machines' has machines and no attributes",
                         "'gantry tree /machines' lists them");
   }
   auto const roots =
      isBelow(text, MachinePlaces::root) ? machines_.roots() : MachinePlaces::Roots();
   unsigned left = mostLooks;
   auto const find = [this, &roots, &left](std::string const& path) {
      if (left == 0) {
         return Fen::Ptr<Fen::PtrInterface>();
      }
      --left;
      Fen::Ptr<Fen::PtrInterface> const entity =
         Fen::Entity::entity(Fen::EntityUriPath(Fen::String8(path)));
      return entity ? entity : machines_.find(path, roots);
   };
   return placeOf(text, find, isBelow(text, MachinePlaces::root) ? MachinePlaces::root : "/");
}

bool ControlCommands::isReadOnly(ControlPlace const& place) const {
   return isBelow(place.path, MachinePlaces::root) ||
          (policy_.isReadOnly && policy_.isReadOnly(place.path));
}

Json ControlCommands::tree(Json const& request) const {
   std::string const path = plainPath(requestText(request, "path", "/"));
   unsigned const depth = requestNumber(request, "depth", deepestTree);
   if (path == MachinePlaces::root) {
      return Json{{"tree", machines_.tree(path, std::min(depth, deepestTree), mostEntities)}};
   }
   ControlPlace const place = placeAt(path);
   if (!place.attribute.empty()) {
      throw ControlError("noPath", "a tree begins at an entity, not at an attribute",
                         "'gantry get' shows attributes");
   }
   if (isBelow(place.path, MachinePlaces::root)) {
      return Json{{"tree", machines_.tree(place.path, std::min(depth, deepestTree), mostEntities)}};
   }
   Json json = treeOf(place.entity(), depth, mostEntities);
   if (place.path == "/" && depth > 0 && !machines_.roots().empty()) {
      json["members"].push_back(machines_.tree(MachinePlaces::root, 0, 0));
   }
   return Json{{"tree", std::move(json)}};
}

Json ControlCommands::get(Json const& request) const {
   ControlPlace const place = placeAt(requestText(request, "path"));
   Json json = valuesOf(place);
   json["readOnly"] = isReadOnly(place);
   return json;
}

Json ControlCommands::set(Json const& request) const {
   ControlPlace const place = placeAt(requestText(request, "path"));
   valueIs(place, requestText(request, "value"), isReadOnly(place));
   return valuesOf(place);
}

Json ControlCommands::types(Json const& request) const {
   std::string const name = requestText(request, "name", "");
   return name.empty() ? typesOf() : typeOfName(name);
}

Json ControlCommands::statistics() const {
   Metrics metrics;
   if (policy_.statistics) {
      policy_.statistics(metrics);
   }
   processMetrics(metrics);
   return Json{{"metrics", metrics.json()}};
}

} // namespace Host
