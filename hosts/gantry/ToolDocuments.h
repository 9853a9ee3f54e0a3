/// What the build makes from the tool's own command line: its completion for bash, and its manual
/// page. So neither can say something else than the tool does.
///
/// Stateless.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace Host {

/// A script for bash that completes commands and options.
std::string completionText(CLI::App const& app);
/// The manual page, in the language of man.
std::string manualText(CLI::App const& app);

} // namespace Host
