#pragma once

#include <optional>
#include <string>

namespace Agent {

/// Why the file at `path` cannot be read, in the system's words; absent when it can. Does not open
/// it, so that a pipe stays untouched.
[[nodiscard]] std::optional<std::string> whyUnreadable(const std::string& path);

}  // namespace Agent
