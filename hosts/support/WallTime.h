/// The time of day, for what people and programs are told.
///
/// Stateless.
#pragma once

namespace Host {

/// Seconds since 1970. Where the loop's time is virtual, as in tests, that time.
double wallTime();

} // namespace Host
