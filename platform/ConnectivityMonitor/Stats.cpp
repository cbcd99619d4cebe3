#include "ConnectivityMonitor/Stats.h"

#include <fmt/format.h>

#include <cmath>
#include <ostream>

#include "Qiv/FieldText.h"

namespace ConnectivityMonitor {

namespace {

bool same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

template <class... Numbers>
void writeRest(std::ostream& out, const Pomel::String& result, Numbers... numbers) {
  Qiv::writeField(out, result);
  (Qiv::writeField(out, fmt::format("{}", numbers)), ...);
}

}  // namespace

bool operator==(const IcmpStats& a, const IcmpStats& b) {
  return a.key == b.key && a.result == b.result && same(a.latency, b.latency) &&
         same(a.jitter, b.jitter) && same(a.lossRatio, b.lossRatio) && a.packetLoss == b.packetLoss;
}

bool operator==(const HttpStats& a, const HttpStats& b) {
  return a.key == b.key && a.result == b.result && same(a.responseTime, b.responseTime) &&
         a.statusCode == b.statusCode;
}

bool operator==(const TcpStats& a, const TcpStats& b) {
  return a.key == b.key && a.result == b.result && same(a.latency, b.latency) &&
         a.errorCode == b.errorCode;
}

std::ostream& operator<<(std::ostream& out, const IcmpStats& stats) {
  out << stats.key;
  writeRest(out, stats.result, stats.latency, stats.jitter, stats.lossRatio, stats.packetLoss);
  return out;
}

std::ostream& operator<<(std::ostream& out, const HttpStats& stats) {
  out << stats.key;
  writeRest(out, stats.result, stats.responseTime, stats.statusCode);
  return out;
}

std::ostream& operator<<(std::ostream& out, const TcpStats& stats) {
  out << stats.key;
  writeRest(out, stats.result, stats.latency, stats.errorCode);
  return out;
}

}  // namespace ConnectivityMonitor
