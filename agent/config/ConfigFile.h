#pragma once

#include <stdexcept>
#include <string>

#include "agent/config/Settings.h"

namespace Agent {

/// What is wrong, ready to be shown: `FILE:LINE: KEY: WHAT IS EXPECTED`, or the parts of it that
/// there are. Also thrown for a faulty command line.
class ConfigError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads a configuration file: a YAML map whose keys are the command line's long options, and
/// `vrfs`, a map of the VRFs that are network namespaces (`blue: {netns: NAME}`). Relative paths in
/// it are relative to the file's directory. Throws ConfigError.
[[nodiscard]] Settings readConfigFile(const std::string& path);

/// The same from a text; `path` is for the errors and the relative paths.
[[nodiscard]] Settings parseConfig(const std::string& text, const std::string& path);

}  // namespace Agent
