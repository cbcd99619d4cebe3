#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Rows.h"

namespace reliability {

/// What the host says: it answers requests; it made a new agent; its agent is ready.
inline constexpr char kServing = 'S';
inline constexpr char kStarted = 'N';
inline constexpr char kReady = 'R';
/// What it is told.
inline constexpr char kGoOn = 'g';

/// Serves the probes' rows on the port, by the agent's event loop and the real plug-in, until
/// `commands` ends: the records are there before the plug-in's agent is. The first kGoOn starts
/// that agent. The second takes it away, removes the records that change, and starts another one
/// over what is left: the rows stay in between. Each step is told through `reports`. Returns the
/// exit status.
int runHost(const std::string& plugin, std::uint16_t port, const std::vector<Probe>& probes,
            int commands, int reports);

}  // namespace reliability
