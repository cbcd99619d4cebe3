#pragma once

#include <string>
#include <string_view>

namespace Agent {

/// `text` between double quotes, with everything that a log line or a terminal could trip over
/// escaped as in JSON.
[[nodiscard]] std::string quote(std::string_view text);

}  // namespace Agent
