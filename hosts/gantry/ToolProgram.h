/// The program that looks at a running host and drives it.
#pragma once

namespace Host {

/// Exit statuses, which scripts may rely on.
enum ToolStatus : int {
   toolDone = 0,
   /// The host refused, or there is nothing at that path.
   toolRefused = 1,
   /// The command line is wrong.
   toolUsage = 2,
   /// No host answers at the socket, or it went away.
   toolNoHost = 3,
   /// What was watched has left the tree.
   toolEnded = 4,
};

/// Reads the command line, carries it out and returns the exit status. What is wrong is one line on
/// standard error.
int toolRun(int argc, char const* const* argv);

} // namespace Host
