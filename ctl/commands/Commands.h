#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Ctl {

/// What the program can be told to do. Each runs to its end, writes to standard output and throws
/// Error.

/// The three tables of a VRF as a person reads them.
struct Tables {
  std::string vrf;
  bool json = false;
  std::optional<std::chrono::duration<double>> every;  ///< Again and again.
};

/// An entity of the state store as a tree.
struct Show {
  std::string path;
  unsigned depth = 1;  ///< Entities within entities that are followed.
  bool all = false;    ///< All elements of a collection, not the first few.
};

/// What the agent and the prober have done so far.
struct Stats {
  std::string probedSocket;
};

/// Takes a file of feed lines to the agent.
struct Feed {
  std::string file;  ///< "-": standard input.
};

/// Lines for a stock snmpd's configuration.
struct SnmpdConf {
  std::optional<std::string> standalone;  ///< Where the agent answers by itself; absent: AgentX.
  std::string community;
  std::string source;
  std::vector<std::string> users;
};

void run(const Tables& tables, const std::string& socket);
void run(const Show& show, const std::string& socket);
void run(const Stats& stats, const std::string& socket);
void run(const Feed& feed, const std::string& socket);
void run(const SnmpdConf& conf, const std::string& socket);

using Command = std::variant<Tables, Show, Stats, Feed, SnmpdConf>;

}  // namespace Ctl
