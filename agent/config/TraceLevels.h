#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Agent {

/// Up to which level each unit's trace is on.
using TraceLevels = std::vector<std::pair<std::string, int>>;

/// What is expected, when a text or a value is not what a setting takes.
struct Expected {
  std::string what;
};

/// Reads `UNIT=LEVEL,UNIT=LEVEL`.
[[nodiscard]] std::variant<TraceLevels, Expected> parseTraceLevels(std::string_view text);

/// One unit and its level, both as text.
[[nodiscard]] std::variant<std::pair<std::string, int>, Expected> parseTraceLevel(
    std::string_view unit, std::string_view level);

}  // namespace Agent
