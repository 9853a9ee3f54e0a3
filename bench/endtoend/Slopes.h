/// What is mounted in growing numbers. Each call makes a fresh system, owned by the caller; it
/// mounts until all is there and writes when that began and ended.
#pragma once

#include "Processes.h"

#include <memory>

namespace Bench {

/// One table with so many members.
std::unique_ptr<System> mountMembers(std::uint32_t members);
/// So many mounts of one small entity over one connection.
std::unique_ptr<System> mountMounts(std::uint32_t mounts);
/// One small table from each of so many peers.
std::unique_ptr<System> mountPeers(std::uint32_t peers);

} // namespace Bench
