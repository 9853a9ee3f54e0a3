// Single fields of the configuration: their form.

#include <hosts/gantry-controller/ConfigurationFields.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

namespace Host {

namespace {

std::string numberText(double number) {
   char text[40];
   std::snprintf(text, sizeof text, "%.15g", number);
   return text;
}

std::string placeText(JsonPlace const& place) {
   return "line " + std::to_string(place.line) + ", column " + std::to_string(place.column);
}

/// Each key may be there once.
void refuseRepeated(JsonNode const& node, std::string const& field,
                    ConfigurationProblems& problems) {
   std::map<std::string_view, JsonPlace> seen;
   for (JsonMember const& each : node.members) {
      auto const [first, isNew] = seen.emplace(each.key, each.place);
      if (!isNew) {
         problems.push_back({each.place, fieldBelow(field, each.key),
                             "is there twice; the first one is in " + placeText(first->second)});
      }
   }
}

bool hasControlCharacter(std::string_view text) {
   return std::any_of(text.begin(), text.end(),
                      [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

} // namespace

std::string fieldBelow(std::string const& field, std::string_view name) {
   // Names may have any characters but those that would break the line.
   std::string shown(name.substr(0, 100));
   std::replace_if(
      shown.begin(), shown.end(),
      [](char c) {
         return hasControlCharacter({&c, 1});
      },
      '?');
   return field.empty() ? shown : field + "." + shown;
}

bool requireKind(JsonNode const& node, JsonKind kind, std::string const& field,
                 ConfigurationProblems& problems) {
   if (node.kind == kind) {
      return true;
   }
   problems.push_back(
      {node.place, field,
       std::string("is ") + jsonKindText(node.kind) + "; it must be " + jsonKindText(kind)});
   return false;
}

void eachNamed(JsonNode const& node, std::string const& field, bool mayHaveSlash,
               ConfigurationProblems& problems,
               std::function<void(JsonMember const&, std::string const&)> const& visit) {
   if (!requireKind(node, JsonKind::object, field, problems)) {
      return;
   }
   refuseRepeated(node, field, problems);
   for (JsonMember const& each : node.members) {
      std::string const below = fieldBelow(field, each.key);
      if (each.key.empty()) {
         problems.push_back({each.place, field, "has a member without a name"});
      } else if (each.key.size() > longestConfiguredText) {
         problems.push_back({each.place, field, "has a member whose name is too long"});
      } else if (hasControlCharacter(each.key)) {
         problems.push_back({each.place, below, "its name has a control character"});
      } else if (!mayHaveSlash && each.key.find('/') != std::string::npos) {
         problems.push_back({each.place, below, "its name must not have a slash"});
      } else {
         visit(each, below);
      }
   }
}

ConfigurationFields::ConfigurationFields(JsonNode const& node, std::string field,
                                         ConfigurationProblems& problems,
                                         std::initializer_list<char const*> known)
   : node_(node), field_(std::move(field)), problems_(problems) {
   if (!requireKind(node_, JsonKind::object, field_, problems_)) {
      return;
   }
   refuseRepeated(node_, field_, problems_);
   for (JsonMember const& each : node_.members) {
      if (std::find(known.begin(), known.end(), each.key) == known.end()) {
         std::string names;
         for (char const* name : known) {
            names += (names.empty() ? "" : ", ") + std::string(name);
         }
         problems_.push_back({each.place, fieldBelow(field_, each.key),
                              "is unknown; what may stand here is " + names});
      }
   }
}

JsonNode const* ConfigurationFields::find(char const* name) const {
   for (JsonMember const& each : node_.members) {
      if (each.key == name) {
         return &each.value;
      }
   }
   return nullptr;
}

JsonNode const* ConfigurationFields::require(char const* name) {
   JsonNode const* const value = find(name);
   if (value == nullptr && node_.kind == JsonKind::object) {
      problems_.push_back({node_.place, below(name), "is missing"});
   }
   return value;
}

std::string ConfigurationFields::text(char const* name, std::string const& otherwise) {
   JsonNode const* const value = find(name);
   if (value == nullptr || !requireKind(*value, JsonKind::text, below(name), problems_)) {
      return otherwise;
   }
   if (value->text.size() > longestConfiguredText || hasControlCharacter(value->text)) {
      problem(name, "is too long or has a control character");
      return otherwise;
   }
   return value->text;
}

std::string ConfigurationFields::requiredText(char const* name) {
   if (require(name) == nullptr) {
      return {};
   }
   std::size_t const before = problems_.size();
   std::string const value = text(name, {});
   if (value.empty() && problems_.size() == before) {
      problem(name, "is empty");
   }
   return value;
}

bool ConfigurationFields::boolean(char const* name, bool otherwise) {
   JsonNode const* const value = find(name);
   return value != nullptr && requireKind(*value, JsonKind::boolean, below(name), problems_)
             ? value->boolean
             : otherwise;
}

double ConfigurationFields::number(char const* name, double otherwise, double least, double most) {
   JsonNode const* const value = find(name);
   if (value == nullptr || !requireKind(*value, JsonKind::number, below(name), problems_)) {
      return otherwise;
   }
   // Written so that what is no number at all is refused as well.
   if (!(value->number >= least && value->number <= most)) {
      problem(name, "is " + numberText(value->number) + "; it must be from " + numberText(least) +
                       " to " + numberText(most));
      return otherwise;
   }
   return value->number;
}

std::uint32_t ConfigurationFields::whole(char const* name, std::uint32_t otherwise,
                                         std::uint32_t least, std::uint32_t most) {
   double const value = number(name, otherwise, least, most);
   if (value != std::floor(value)) {
      problem(name, "is " + numberText(value) + "; it must be a whole number");
      return otherwise;
   }
   return static_cast<std::uint32_t>(value);
}

void ConfigurationFields::problem(char const* name, std::string const& text) {
   JsonNode const* const value = find(name);
   problems_.push_back({value != nullptr ? value->place : node_.place, below(name), text});
}

} // namespace Host
