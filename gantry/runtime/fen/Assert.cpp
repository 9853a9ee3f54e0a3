/// The end of the process after a broken invariant.
#include <gantry/runtime/fen/Assert.h>

#include <cstdio>
#include <cstdlib>

namespace Fen {

void assertionFailed(char const* text, char const* file, int line) {
   std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, text);
   std::fflush(stderr);
   std::abort();
}

} // namespace Fen
