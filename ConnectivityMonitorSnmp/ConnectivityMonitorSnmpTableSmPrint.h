#pragma once

#include <concepts>
#include <cstdint>
#include <sstream>
#include <string>
#include <tuple>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpSmTypes.h"
#include "Lintu/IntfId.h"
#include "Qiv/Optional.h"

namespace ConnectivityMonitorSnmp::PlyxCode {

/// The text of pipeline values in trace lines. Callers ask the trace handle first: a line that is
/// not wanted costs no text.

template <class Value>
[[nodiscard]] std::string streamForm(const Value& value) {
  std::ostringstream out;
  out << value;
  return std::move(out).str();
}

[[nodiscard]] inline std::string plyxPrint(const Pomel::String& value) { return streamForm(value); }
[[nodiscard]] inline std::string plyxPrint(const Snmp::String& value) { return streamForm(value); }
[[nodiscard]] inline std::string plyxPrint(std::uint32_t value) { return streamForm(value); }
[[nodiscard]] inline std::string plyxPrint(const Lintu::IntfId& value) { return streamForm(value); }
[[nodiscard]] inline std::string plyxPrint(const ConnectivityMonitor::HostNameVrfKey& value) {
  return streamForm(value);
}
[[nodiscard]] inline std::string plyxPrint(const ConnectivityMonitor::IcmpStatsKey& value) {
  return streamForm(value);
}
[[nodiscard]] inline std::string plyxPrint(const ConnectivityMonitor::HttpStatsKey& value) {
  return streamForm(value);
}
[[nodiscard]] inline std::string plyxPrint(const ConnectivityMonitor::TcpStatsKey& value) {
  return streamForm(value);
}
template <class StatsKey>
[[nodiscard]] std::string plyxPrint(const StatsInfo<StatsKey>& value) {
  return streamForm(value);
}
[[nodiscard]] inline std::string plyxPrint(const Qiv::Optional<std::uint32_t>& value) {
  return value ? "Optional( " + streamForm(*value) + " )" : "None";
}
template <class... Elements>
[[nodiscard]] std::string plyxPrint(const std::tuple<Elements...>& value) {
  std::ostringstream out;
  out << "Tuple( ";
  std::apply(
      [&](const auto& first, const auto&... rest) {
        out << first;
        ((out << ", " << rest), ...);
      },
      value);
  out << " )";
  return std::move(out).str();
}

}  // namespace ConnectivityMonitorSnmp::PlyxCode
