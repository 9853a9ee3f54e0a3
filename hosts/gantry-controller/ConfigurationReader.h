/// Reads the controller's file: its form, the meaning of each field, and what the fields must not
/// say together. Nothing of a file that is wrong anywhere is used.
///
/// Stateless; on the activity loop's thread, since system ids and addresses are values of the
/// library.
#pragma once

#include <hosts/gantry-controller/Configuration.h>
#include <hosts/gantry-controller/JsonDocument.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Host {

/// One thing that is wrong: where, in which field, and what.
struct ConfigurationProblem {
   JsonPlace place;
   /// Such as "services.fabric.versions"; empty for the file as a whole.
   std::string field;
   std::string text;
};

/// One line for each problem: "file:line:column: field: text".
std::string problemsText(std::string const& file, std::vector<ConfigurationProblem> const& all);

/// The file cannot be used; what() has all the lines.
class ConfigurationError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// Reads a text; what is wrong with it goes to `problems`, and then the result is of no use.
Configuration configurationOf(std::string_view text, std::vector<ConfigurationProblem>& problems);

/// Reads a file; throws ConfigurationError.
Configuration configurationFromFile(std::string const& file);

/// The path below the controller's root at which a path of a switch appears, but for the last
/// component, which is the switch's system id.
std::string effectiveTarget(std::string const& path, MountConfiguration const& mount);

} // namespace Host
