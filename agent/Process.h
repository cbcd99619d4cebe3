#pragma once

#include "agent/Log.h"
#include "agent/config/Settings.h"

namespace Agent {

/// Runs the agent as the settings say until it is told to stop. Throws StartError.
void runAgent(const Settings& settings, const Log& log);

}  // namespace Agent
