#pragma once

#include <optional>
#include <vector>

#include "monitor/config/Config.h"
#include "monitor/config/Problems.h"

namespace Monitor {

/// Reads the `vrfs` map, if there is one. The default VRF comes first, configured or not.
[[nodiscard]] std::vector<VrfConfig> readVrfs(Problems& problems,
                                              const std::optional<Field>& field);

}  // namespace Monitor
