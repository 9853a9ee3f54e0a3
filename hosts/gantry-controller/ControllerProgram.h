/// The program that mounts from switches what its services declare.
#pragma once

namespace Host {

/// Reads the command line and the file, controls until a signal, and returns the exit status.
/// Throws UserError and Fen::Exception with texts for people.
int controllerRun(int argc, char const* const* argv);

} // namespace Host
