/// Assertions that are always on, also in release builds: a broken invariant prints its text and
/// its place on standard error and stops the process. The text is given apart from the condition
/// because it names the invariant in the words in which tools and people know it.
#pragma once

#include <gantry/runtime/Export.h>

namespace Fen {

/// Prints "FILE:LINE: assertion failed: TEXT" on standard error and aborts.
[[noreturn]] GANTRY_EXPORT void assertionFailed(char const* text, char const* file, int line);

} // namespace Fen

/// Stops the process with `text` when `condition` does not hold. Never compiled out.
#define FEN_ASSERT(condition, text)                                                                \
   (__builtin_expect(static_cast<bool>(condition), 1)                                              \
       ? static_cast<void>(0)                                                                      \
       : ::Fen::assertionFailed(text, __FILE__, __LINE__))
