// The types that every schema knows without an import: builtin ones, and the entities of the
// framework that machines watch and hold.
#pragma once

#include <fenc/Model.h>

namespace Fenc {

/// Adds them to the model. Their names resolve from every namespace.
void addBuiltins(Model& model);

} // namespace Fenc
