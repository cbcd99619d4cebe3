#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <variant>

#include "agent/feed/Parser.h"

namespace Agent {

/// What is said of a line that is refused.
inline std::string errorOf(std::string_view line) {
  const auto result = parseFeedLine(line);
  const auto* refused = std::get_if<Refusal>(&result);
  return refused != nullptr ? refused->error : "accepted";
}

/// The operation, which must be of type `Kind`.
template <class Kind>
Kind parsed(std::string_view line) {
  auto result = parseFeedLine(line);
  if (const auto* refused = std::get_if<Refusal>(&result)) {
    ADD_FAILURE() << line << " refused: " << refused->error;
    return {};
  }
  auto& operation = std::get<Operation>(result);
  if (!std::holds_alternative<Kind>(operation)) {
    ADD_FAILURE() << line << " is operation number " << operation.index();
    return {};
  }
  return std::get<Kind>(operation);
}

inline std::string icmpPut(std::string_view rest) {
  return R"({"op":"put","host":"h","probe":"icmp","address":"192.0.2.1")" + std::string(rest) + "}";
}

inline std::string tcpPut(std::string_view rest) {
  return R"({"op":"put","host":"h","probe":"tcp","address":"192.0.2.1")" + std::string(rest) + "}";
}

}  // namespace Agent
