/// Private to the reader of the configuration. Takes single fields out of JSON objects, checks
/// their form, and collects what is wrong.
///
/// Lives while one file is read.
#pragma once

#include <hosts/gantry-controller/ConfigurationReader.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace Host {

using ConfigurationProblems = std::vector<ConfigurationProblem>;

/// The longest name or path; longer ones are mistakes, and would be cut on the wire.
constexpr std::size_t longestConfiguredText = 1000;

/// "services" and "fabric" make "services.fabric".
std::string fieldBelow(std::string const& field, std::string_view name);

/// True when the node is of that kind; else a problem is added.
bool requireKind(JsonNode const& node, JsonKind kind, std::string const& field,
                 ConfigurationProblems& problems);

/// Calls `visit( member, field )` for each member of an object whose keys are names that the user
/// chooses. A key that is there twice is a problem, and so is one that is empty or too long, has
/// control characters, or a slash where `mayHaveSlash` is false.
void eachNamed(JsonNode const& node, std::string const& field, bool mayHaveSlash,
               ConfigurationProblems& problems,
               std::function<void(JsonMember const&, std::string const&)> const& visit);

/// The object with a fixed set of fields. What else stands there, and what stands there twice, is a
/// problem at once; a field that is missing only when it is asked for and required.
class ConfigurationFields {
 public:
   ConfigurationFields(JsonNode const& node, std::string field, ConfigurationProblems& problems,
                       std::initializer_list<char const*> known);

   /// The value of a field, null when it is absent.
   JsonNode const* find(char const* name) const;
   /// The same; absence is a problem.
   JsonNode const* require(char const* name);

   std::string text(char const* name, std::string const& otherwise);
   std::string requiredText(char const* name);
   bool boolean(char const* name, bool otherwise);
   double number(char const* name, double otherwise, double least, double most);
   std::uint32_t whole(char const* name, std::uint32_t otherwise, std::uint32_t least,
                       std::uint32_t most);

   std::string below(char const* name) const { return fieldBelow(field_, name); }
   /// Says what is wrong with a field that is there.
   void problem(char const* name, std::string const& text);

 private:
   JsonNode const& node_;
   std::string const field_;
   ConfigurationProblems& problems_;
};

} // namespace Host
