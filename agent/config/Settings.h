#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/config/TraceLevels.h"

namespace Agent {

/// What the command line or the configuration file says; absent where it says nothing.
struct Settings {
  std::optional<std::string> feed;                    ///< Path of the feed's socket.
  std::optional<std::vector<std::string>> feedFiles;  ///< Read once, at the start.
  std::optional<std::vector<std::string>> listen;     ///< As checkListenAddress() takes them.
  std::optional<std::string>
      agentx;  ///< Be a subagent of the master there; empty: the usual place.
  std::optional<TraceLevels> trace;
  std::optional<std::string> traceFile;
  std::optional<std::string> plugin;
  std::optional<std::string> snmpConf;
  std::optional<std::string> community;
  std::optional<std::chrono::milliseconds> sliceBudget;
};

inline constexpr std::string_view kDefaultListen = "udp:127.0.0.1:1161";
inline constexpr std::string_view kDefaultCommunity = "public";
inline constexpr int kMaxSliceBudget = 1000;  ///< Milliseconds.

/// What `above` says, and what `below` says where it says nothing. An agent is either a subagent or
/// has addresses of its own, so either in `above` hides both in `below`.
[[nodiscard]] Settings overlaid(Settings above, Settings below);

/// The checks that the command line and the file share; absent when all is well.
[[nodiscard]] std::optional<Expected> checkListenAddress(std::string_view text);
[[nodiscard]] std::optional<Expected> checkCommunity(std::string_view text);
[[nodiscard]] std::optional<Expected> checkSliceBudget(long milliseconds);

}  // namespace Agent
