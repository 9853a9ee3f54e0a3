/// Text of a trace as people see it. No state. Private to the library.
#pragma once

#include <string>
#include <string_view>

namespace RingScribe {

/// Appends `text` with everything escaped as \xHH that would break the line or drive a terminal:
/// control characters, and bytes that are not UTF-8.
void appendPrintable(std::string& to, std::string_view text);

} // namespace RingScribe
