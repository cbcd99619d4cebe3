#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "monitor/config/Config.h"
#include "monitor/log/Log.h"

namespace Monitor {

/// Brings the configuration file into force, at the start and again whenever it has changed. A file
/// that can't be used changes nothing; what is wrong with it is logged and kept.
class Configurer {
 public:
  /// `adjust` may change what was read; `apply` carries it out or throws std::runtime_error.
  Configurer(std::string path, std::function<void(Config&)> adjust,
             std::function<void(Config)> apply, Log& log)
      : path_(std::move(path)), adjust_(std::move(adjust)), apply_(std::move(apply)), log_(log) {}

  /// False when the file can't be used.
  bool load();

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] std::uint64_t loads() const noexcept { return loads_; }
  [[nodiscard]] std::uint64_t failures() const noexcept { return failures_; }
  /// Why the latest load failed; null when it did not.
  [[nodiscard]] const std::optional<std::string>& error() const noexcept { return error_; }

 private:
  std::string path_;
  std::function<void(Config&)> adjust_;
  std::function<void(Config)> apply_;
  Log& log_;
  std::uint64_t loads_ = 0, failures_ = 0;
  std::optional<std::string> error_;
};

}  // namespace Monitor
