/// The program that mounts one path from any number of peers and shows it.
#pragma once

namespace Host {

/// Reads the command line, mounts, shows until a signal (or once), and returns the exit status.
/// Throws UserError and Fen::Exception with texts for people.
int mountRun(int argc, char const* const* argv);

} // namespace Host
