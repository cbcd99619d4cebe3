#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "Lintu/IpGenAddr.h"
#include "Pomel/String.h"
#include "agent/control/Inspection.h"

namespace Agent {

/// The VRF of records that name none.
inline constexpr std::string_view kDefaultVrf = "default";

/// What one feed line asks for. The parser has checked every bound, so a value of these types is
/// always fit to be applied: strings are non-empty where they must be, free of NUL and valid UTF-8,
/// numbers are finite and in range.

struct IcmpTarget {
  Lintu::IpGenAddr address;
  friend bool operator==(const IcmpTarget&, const IcmpTarget&) = default;
};

struct HttpTarget {
  Pomel::String url;
  friend bool operator==(const HttpTarget&, const HttpTarget&) = default;
};

struct TcpTarget {
  Lintu::IpGenAddr address;
  std::uint16_t port = 0;
  friend bool operator==(const TcpTarget&, const TcpTarget&) = default;
};

using Target = std::variant<IcmpTarget, HttpTarget, TcpTarget>;

struct HostVrf {
  Pomel::String host;
  Pomel::String vrf;  ///< Never empty: the feed's absent or empty VRF is kDefaultVrf.
  friend bool operator==(const HostVrf&, const HostVrf&) = default;
};

/// One probe of one client.
struct ProbeKey {
  HostVrf at;
  Pomel::String interface;  ///< Empty: the probe names no interface.
  Target target;
  friend bool operator==(const ProbeKey&, const ProbeKey&) = default;
};

/// Each kind of probe fills its own fields; the others stay 0. Times in milliseconds, loss in
/// percent, 0 to 100. The codes are an HTTP status and the errno of a TCP connect, 0 without one.
struct Measurements {
  float latency = 0;
  float jitter = 0;
  float responseTime = 0;
  float packetLoss = 0;
  Pomel::String result{};  ///< What the prober says of the measurement, for people.
  std::uint32_t statusCode = 0;
  std::uint32_t errorCode = 0;
  friend bool operator==(const Measurements&, const Measurements&) = default;
};

/// How long a client's records outlive its last connection; absent: until they are removed.
using Hold = std::optional<std::chrono::milliseconds>;

struct Hello {
  Pomel::String client;
  Hold hold;
};
struct SetInterface {
  Pomel::String name;
  std::uint32_t ifIndex = 0;
};
struct Put {
  ProbeKey key;
  Measurements measured;
};
struct Remove {
  ProbeKey key;
};
struct RemoveHost {
  HostVrf at;
};
struct RemoveClient {};
struct Sync {};

using Operation =
    std::variant<Hello, SetInterface, Put, Remove, RemoveHost, RemoveClient, Sync, Inspection>;

}  // namespace Agent
