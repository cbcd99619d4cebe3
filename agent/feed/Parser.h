#pragma once

#include <cstddef>
#include <string_view>
#include <variant>

#include "agent/feed/FlatObject.h"
#include "agent/feed/Operation.h"

namespace Agent {

inline constexpr std::size_t kMaxNameBytes = 255;  ///< Client, host, URL.
inline constexpr std::size_t kMaxInterfaceBytes = 64;
/// What an SNMP manager can still put into a context name (RFC 3415, vacmContextName).
inline constexpr std::size_t kMaxVrfBytes = 32;

/// One feed line, without its line end, as one operation; or why not. Never throws on any input.
[[nodiscard]] std::variant<Operation, Refusal> parseFeedLine(std::string_view line);

}  // namespace Agent
