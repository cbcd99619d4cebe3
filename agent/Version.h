#pragma once

#include <string_view>

namespace Agent {

inline constexpr std::string_view kVersion = CONMON_VERSION;

}  // namespace Agent
