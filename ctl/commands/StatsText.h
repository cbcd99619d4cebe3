#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ctl/socket/Asker.h"
#include "ctl/text/Output.h"

namespace Ctl {

/// What the agent says of itself, in the pieces in which it says it.
struct AgentState {
  Json stats;
  std::vector<Json> vrfs;
  std::vector<Json> clients;
  std::vector<Json> interfaces;
};

/// For a person, section by section.
[[nodiscard]] std::string statsText(const AgentState& agent, const Style& style);

/// What of the prober's own state belongs to an operator's overview.
[[nodiscard]] std::string probedText(const Json& state, const Style& style);

}  // namespace Ctl
