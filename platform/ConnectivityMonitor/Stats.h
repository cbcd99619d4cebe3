#pragma once

#include <cstdint>
#include <iosfwd>

#include "ConnectivityMonitor/Keys.h"

namespace ConnectivityMonitor {

/// Times are milliseconds. Equality takes every field, shown by the MIB or not; a NaN equals a NaN,
/// so that a record is always equal to its own copy.

/// The latest result of an ICMP probe.
struct IcmpStats {
  IcmpStatsKey key;
  Pomel::String result;         ///< What the prober says of the measurement, for people.
  float latency = 0;            ///< Mean round-trip time.
  float jitter = 0;             ///< Variation of the round-trip time.
  float lossRatio = 0;          ///< Packet loss in percent, before rounding.
  std::uint8_t packetLoss = 0;  ///< Packet loss in whole percent.
};

/// The latest result of an HTTP probe.
struct HttpStats {
  HttpStatsKey key;
  Pomel::String result;
  float responseTime = 0;        ///< Total time of the exchange.
  std::uint32_t statusCode = 0;  ///< Of the response (RFC 9110 section 15); 0 without one.
};

/// The latest result of a TCP probe.
struct TcpStats {
  TcpStatsKey key;
  Pomel::String result;
  float latency = 0;            ///< Time to connect.
  std::uint32_t errorCode = 0;  ///< errno of a failed connect; 0 without one.
};

[[nodiscard]] bool operator==(const IcmpStats& a, const IcmpStats& b);
[[nodiscard]] bool operator==(const HttpStats& a, const HttpStats& b);
[[nodiscard]] bool operator==(const TcpStats& a, const TcpStats& b);

/// Text forms: the fields in order, the key's first.
std::ostream& operator<<(std::ostream& out, const IcmpStats& stats);
std::ostream& operator<<(std::ostream& out, const HttpStats& stats);
std::ostream& operator<<(std::ostream& out, const TcpStats& stats);

}  // namespace ConnectivityMonitor
