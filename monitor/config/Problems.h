#pragma once

#include <yaml-cpp/yaml.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Monitor {

/// A value of the file and the way to it, e.g. `hosts[2].tcp[0].port`.
struct Field {
  YAML::Node node;
  std::string path;
};

/// Everything that is wrong with one file, found in one reading, each as
/// `FILE:LINE: PATH: WHAT IS EXPECTED`.
class Problems {
 public:
  explicit Problems(std::string file) : file_(std::move(file)) {}

  void add(const YAML::Mark& mark, std::string_view path, std::string_view what);
  /// Says what stands there in place of what is expected.
  void expected(const Field& field, std::string_view what);

  [[nodiscard]] bool empty() const noexcept { return lines_.empty(); }
  [[nodiscard]] const std::vector<std::string>& lines() const noexcept { return lines_; }

 private:
  std::string file_;
  std::vector<std::string> lines_;
};

/// The file can't be used. One line a problem, in `lines` and, joined, in what().
class ConfigError : public std::runtime_error {
 public:
  explicit ConfigError(std::vector<std::string> problems);
  [[nodiscard]] const std::vector<std::string>& lines() const noexcept { return lines_; }

 private:
  std::vector<std::string> lines_;
};

}  // namespace Monitor
