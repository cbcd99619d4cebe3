#pragma once

#include <string>

#include "monitor/config/Config.h"
#include "monitor/config/Problems.h"

namespace Monitor {

/// Reads a configuration file. Relative paths in it are relative to its directory. Throws
/// ConfigError with everything that is wrong.
[[nodiscard]] Config readConfigFile(const std::string& path);

/// The same from a text; `path` is for the errors and the relative paths.
[[nodiscard]] Config parseConfig(const std::string& text, const std::string& path);

}  // namespace Monitor
