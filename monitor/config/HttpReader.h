#pragma once

#include <filesystem>

#include "monitor/config/Config.h"
#include "monitor/config/Map.h"
#include "monitor/config/Problems.h"

namespace Monitor {

/// Takes the keys that only HTTP probes have. Sets the destination to the URL's host.
void readHttpKeys(Problems& problems, Map& map, const std::filesystem::path& directory,
                  ProbeConfig& probe);

}  // namespace Monitor
