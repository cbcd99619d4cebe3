#pragma once

#include "agent/config/Settings.h"

namespace Agent {

/// Runs the agent as the settings say until it is told to stop. Throws StartError.
void runAgent(const Settings& settings);

}  // namespace Agent
