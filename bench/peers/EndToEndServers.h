/// A peer's server program: on a loopback port of its own, on the core of the writing side, with
/// its data in a directory in memory that goes with it. Owned by the benchmark's process, which
/// ends it by its id. System services are never touched.
#pragma once

#include "../endtoend/Processes.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Bench {

/// A directory that goes with this object.
class ScratchDirectory {
 public:
   ScratchDirectory();
   ScratchDirectory(ScratchDirectory const&) = delete;
   ScratchDirectory& operator=(ScratchDirectory const&) = delete;
   ~ScratchDirectory();
   std::string const& path() const { return path_; }

 private:
   std::string path_;
};

/// Whether the program is installed.
bool hasProgram(char const* name);
/// Whether somebody answers on that port within five seconds.
bool answers(std::uint16_t port, Child& server);

} // namespace Bench
