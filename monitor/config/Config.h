#pragma once

#include <chrono>
#include <string>
#include <variant>
#include <vector>

#include "monitor/Prober.h"

namespace Monitor {

inline constexpr std::string_view kDefaultVrf = "default";

/// Where the results go.
struct AgentConfig {
  std::string socket;               ///< Path of the agent's feed socket.
  std::chrono::nanoseconds hold{};  ///< How long the agent keeps the records of a lost connection.
  bool operator==(const AgentConfig&) const = default;
};

/// A server to ask for names.
struct NameServer {
  IpAddress address;
  std::uint16_t port = 0;
  bool operator==(const NameServer&) const = default;
};

/// A VRF that names are resolved in or probes sent from.
struct VrfConfig {
  std::string name;
  Binding binding;                      ///< Without an interface.
  std::vector<NameServer> nameServers;  ///< Empty: those of the system, or of the namespace.
  bool operator==(const VrfConfig&) const = default;
};

/// One probe as configured: where a name may stand in place of an address.
struct ProbeConfig {
  std::string host;
  std::string vrf;
  Binding binding;
  std::string destination;  ///< An address or a name; for HTTP, of the server to connect to.
  std::chrono::nanoseconds interval{};
  std::chrono::nanoseconds timeout{};
  std::variant<IcmpParameters, TcpParameters, HttpParameters> parameters;

  bool operator==(const ProbeConfig&) const = default;

  [[nodiscard]] std::string_view protocol() const;  ///< "icmp", "tcp" or "http".
  /// What makes it this probe and no other: two probes of one configuration differ in it, and a
  /// probe whose settings change keeps it.
  [[nodiscard]] std::string identity() const;
};

struct Config {
  std::string client;
  AgentConfig agent;
  std::string statusSocket;     ///< Empty: none.
  std::vector<VrfConfig> vrfs;  ///< The default one always included.
  std::vector<ProbeConfig> probes;
};

}  // namespace Monitor
