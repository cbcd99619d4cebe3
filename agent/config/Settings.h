#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/config/TraceLevels.h"

namespace Agent {

/// Where interface indexes come from, besides feed lines.
enum class Interfaces : bool { kKernel, kFeedOnly };

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
  std::optional<std::size_t> maxContexts;  ///< VRFs other than the default one, ever.
  std::optional<int> maxRepetitions;       ///< Of a GETBULK; more are asked for in vain.
  std::optional<int> maxVarbinds;          ///< In the answer to a GETBULK.
  std::optional<Interfaces> interfaces;
  std::optional<bool> verbose;  ///< Log what goes well, too.
  std::optional<std::map<std::string, std::string>>
      netnsVrfs;  ///< VRF name to the name of the network namespace that it is.
};

/// What listen addresses of TCP begin with.
inline constexpr std::string_view kTcp = "tcp:";
inline constexpr std::string_view kDefaultListen = "udp:127.0.0.1:1161";
inline constexpr std::string_view kDefaultCommunity = "public";
inline constexpr int kMaxSliceBudget = 1000;  ///< Milliseconds.
inline constexpr long kMaxMaxContexts = 1'000'000;
inline constexpr int kDefaultMaxRepetitions = 100;
inline constexpr int kDefaultMaxVarbinds = 100;
inline constexpr int kLargestAnswer = 4000;  ///< Varbinds: more never fit into a datagram.

/// What `above` says, and what `below` says where it says nothing. An agent is either a subagent or
/// has addresses of its own, so either in `above` hides both in `below`.
[[nodiscard]] Settings overlaid(Settings above, Settings below);

/// The checks that the command line and the file share; absent when all is well.
[[nodiscard]] std::optional<Expected> checkListenAddress(std::string_view text);
[[nodiscard]] std::optional<Expected> checkCommunity(std::string_view text);
[[nodiscard]] std::optional<Expected> checkSliceBudget(long milliseconds);
[[nodiscard]] std::optional<Expected> checkMaxContexts(long count);
[[nodiscard]] std::optional<Expected> checkAnswerLimit(long varbinds);
[[nodiscard]] std::optional<Expected> checkInterfaces(std::string_view text);
/// Precondition: checkInterfaces() finds nothing.
[[nodiscard]] Interfaces interfacesOf(std::string_view text);
/// A VRF that a namespace is; the default VRF is the agent's own namespace.
[[nodiscard]] std::optional<Expected> checkNetnsVrf(std::string_view text);
/// A name of a network namespace, as ip-netns(8) takes it.
[[nodiscard]] std::optional<Expected> checkNetns(std::string_view text);

}  // namespace Agent
