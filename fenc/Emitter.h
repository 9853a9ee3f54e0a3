// The emitters: from a resolved module to the text of its generated header and source.
//
// Pure functions of the model. The same model gives the same bytes in every run and on every
// machine: no dates, no absolute paths, no order of pointers.
#pragma once

#include <fenc/Model.h>

#include <string>

namespace Fenc {

/// The text of `<Name>.fen.h`.
std::string emitHeader(Module const& module);
/// The text of `<Name>.fen.cpp`.
std::string emitSource(Module const& module);

} // namespace Fenc
