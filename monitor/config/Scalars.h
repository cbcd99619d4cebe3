#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "monitor/config/Problems.h"

namespace Monitor {

// Values of one word. Each function returns null after it has entered what is wrong. The type of a
// plain word is that of YAML's core schema: 5 is a number and no text, "5" is a text and no number,
// so that a file means the same here and to a validator.

[[nodiscard]] std::optional<std::string> readText(Problems& problems, const Field& field,
                                                  std::string_view what);

/// A text of 1 to `maxBytes` bytes without control characters, fit for a name in the tables.
[[nodiscard]] std::optional<std::string> readName(Problems& problems, const Field& field,
                                                  std::size_t maxBytes);

[[nodiscard]] std::optional<std::uint32_t> readWholeNumber(Problems& problems, const Field& field,
                                                           std::uint32_t min, std::uint32_t max);

[[nodiscard]] std::optional<bool> readBool(Problems& problems, const Field& field);

/// A number with its unit: ms, s, min or h.
[[nodiscard]] std::optional<std::chrono::nanoseconds> readDuration(Problems& problems,
                                                                   const Field& field,
                                                                   std::chrono::nanoseconds min,
                                                                   std::chrono::nanoseconds max);

/// True when nothing stands there, or `null` or `~`.
[[nodiscard]] bool isNothing(const YAML::Node& node);

}  // namespace Monitor
