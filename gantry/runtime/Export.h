/// Marks what is visible outside the shared object. Everything else is hidden by default, so this
/// macro is the list of the library's interface. Header only; no thread, no state.
#pragma once

#define GANTRY_EXPORT __attribute__((visibility("default")))
