/// Answers of a host as text for people. What came from a host is shown without its control
/// characters.
///
/// Stateless.
#pragma once

#include <hosts/gantry/HostConnection.h>

#include <string>

namespace Host {

std::string treeText(Json const& answer);
/// All attributes of an entity; of a single attribute its text alone.
std::string valuesText(Json const& answer);
std::string typesText(Json const& answer);
std::string metricsText(Json const& answer);
/// The text format of Prometheus, version 0.0.4.
std::string prometheusText(Json const& answer);
/// One line of a watch.
std::string eventText(Json const& event);

/// A member as text: text as it is, all else as JSON.
std::string memberOf(Json const& json, char const* name);

} // namespace Host
