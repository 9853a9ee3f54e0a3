/// Makes the directories of a path. A free function on whatever directory it is given; on the
/// activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Dir.h>

namespace Controller {

/// Makes sure that a chain of directories exists below `directory`, one for each component of
/// `path` between slashes, which must not be null. What is there already is kept. A component that
/// is empty, as before a leading slash, names the directory itself. The path must not lead through
/// something that is no directory: that stops the process.
GANTRY_EXPORT void doCreateDirPath(Fen::Ptr<Fen::Dir> const& directory, Fen::String8 path);

} // namespace Controller
