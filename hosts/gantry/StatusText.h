/// What only a controller answers, as text for people.
///
/// Stateless.
#pragma once

#include <hosts/gantry/HostConnection.h>

#include <string>

namespace Host {

std::string statusText(Json const& answer);
std::string explanationText(Json const& answer);

} // namespace Host
