/// The program that serves this host's live state.
#pragma once

namespace Host {

/// Reads the command line, serves until a signal, and returns the exit status. Throws UserError
/// and Fen::Exception with texts for people.
int switchRun(int argc, char const* const* argv);

} // namespace Host
