// The commands that every host has.

#include <hosts/control/ControlCommands.h>

#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/ringscribe/TraceFile.h>

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <filesystem>

namespace Host {

namespace {

/// Of one answer.
constexpr unsigned mostEntities = 20000;
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

ControlCommands::ControlCommands(ControlPolicy policy) : policy_(std::move(policy)) {
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
      throw ControlError("noCommand", "this host has no command '" + name + "'",
                         "docs/control.md says which host has which");
   }
   try {
      return found->second(request);
   } catch (Fen::Exception const& refusal) {
      throw ControlError(wordOf(refusal), refusal.what(), hintOf(refusal));
   }
}

bool ControlCommands::isReadOnly(Fen::Entity const& entity) const {
   return policy_.isReadOnly && policy_.isReadOnly(entity.fullName().view());
}

Json ControlCommands::tree(Json const& request) const {
   ControlPlace const place = placeOf(requestText(request, "path", "/"));
   if (!place.attribute.empty()) {
      throw ControlError("noPath", "a tree begins at an entity, not at an attribute",
                         "'gantry get' shows attributes");
   }
   return Json{
      {"tree", treeOf(place.entity, requestNumber(request, "depth", deepestTree), mostEntities)}};
}

Json ControlCommands::get(Json const& request) const {
   ControlPlace const place = placeOf(requestText(request, "path"));
   Json json = valuesOf(place);
   json["readOnly"] = isReadOnly(*place.entity);
   return json;
}

Json ControlCommands::set(Json const& request) const {
   ControlPlace const place = placeOf(requestText(request, "path"));
   valueIs(place, requestText(request, "value"), isReadOnly(*place.entity));
   return valuesOf(place);
}

Json ControlCommands::types(Json const& request) const {
   std::string const name = requestText(request, "name", "");
   return name.empty() ? typesOf() : typeOfName(name);
}

Json ControlCommands::statistics() const {
   Json numbers = Json::object();
   Fen::Counters::forEach([&numbers](std::string_view name, std::uint64_t value) {
      numbers[std::string(name)] = value;
   });
   if (policy_.statistics) {
      policy_.statistics(numbers);
   }
   return Json{{"numbers", std::move(numbers)}};
}

} // namespace Host
