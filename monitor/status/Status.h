#pragma once

#include <string>

#include "monitor/app/Configurer.h"
#include "monitor/watch/Supervisor.h"

namespace Monitor {

/// The prober's state as one line of JSON: its configuration, its counters, and every probe with
/// its latest result.
[[nodiscard]] std::string statusText(const Supervisor& supervisor, const Configurer& configurer);

}  // namespace Monitor
