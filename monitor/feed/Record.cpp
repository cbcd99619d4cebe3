#include "monitor/feed/Record.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Monitor {

namespace {

constexpr double kLeastMs = 0.001;

std::string quoted(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

/// The shortest text that reads back as the 32-bit float that the record will hold.
std::string measured(double milliseconds) {
  return fmt::format("{}", static_cast<float>(std::max(milliseconds, kLeastMs)));
}

/// A JSON string of the text as a record can hold it, whatever a server or a library put into it.
std::string quotedPlain(std::string_view text) {
  constexpr std::size_t kMostBytes = 255;
  std::string json = "\"";
  for (const char c : text.substr(0, kMostBytes)) {
    if (c == '"' || c == '\\') {
      json += '\\';
    }
    json += c < ' ' || c > '~' ? '?' : c;
  }
  return json += '"';
}

std::string times(const Result& result) {
  if (const auto* icmp = std::get_if<IcmpMeasurement>(&result.measured)) {
    return fmt::format(R"(,"latency":{},"jitter":{},"packetLoss":{})", measured(icmp->meanMs),
                       icmp->jitterMs ? measured(*icmp->jitterMs) : "0",
                       static_cast<float>(icmp->lossPercent));
  }
  if (const auto* http = std::get_if<HttpMeasurement>(&result.measured)) {
    return fmt::format(R"(,"responseTime":{})", measured(http->totalMs));
  }
  return fmt::format(R"(,"latency":{})",
                     measured(std::get<TcpMeasurement>(result.measured).connectMs));
}

std::string noTimes(const ProbeConfig& probe) {
  if (std::holds_alternative<IcmpParameters>(probe.parameters)) {
    return R"(,"latency":0,"jitter":0,"packetLoss":100)";
  }
  return std::holds_alternative<TcpParameters>(probe.parameters) ? R"(,"latency":0)"
                                                                 : R"(,"responseTime":0)";
}

/// As the agent names the interfaces of a namespace.
std::string interfaceName(const ProbeConfig& probe) {
  const std::string& name = probe.binding.interface;
  return name.empty() || probe.binding.netns.empty() ? name : fmt::format("{}@{}", name, probe.vrf);
}

}  // namespace

std::string recordKey(const ProbeConfig& probe, const IpAddress& address) {
  std::string key = fmt::format(R"("host":{},"vrf":{},"probe":"{}")", quoted(probe.host),
                                quoted(probe.vrf), probe.protocol());
  if (const std::string interface = interfaceName(probe); !interface.empty()) {
    key += fmt::format(R"(,"interface":{})", quoted(interface));
  }
  if (const auto* http = std::get_if<HttpParameters>(&probe.parameters)) {
    return key + fmt::format(R"(,"url":{})", quoted(http->url));
  }
  key += fmt::format(R"(,"address":"{}")", address.text());
  if (const auto* tcp = std::get_if<TcpParameters>(&probe.parameters)) {
    key += fmt::format(R"(,"port":{})", tcp->port);
  }
  return key;
}

std::optional<std::string> recordValues(const ProbeConfig& probe, const Result& result) {
  if (result.outcome == Outcome::kNotMeasured || result.outcome == Outcome::kOverloaded) {
    return std::nullopt;
  }
  const bool answered = result.outcome == Outcome::kAnswered;
  std::string values = answered ? times(result) : noTimes(probe);
  if (const auto* http = std::get_if<HttpMeasurement>(&result.measured)) {
    values += fmt::format(R"(,"statusCode":{})", http->status);
  }
  if (result.error != 0 && std::holds_alternative<TcpParameters>(probe.parameters)) {
    values += fmt::format(R"(,"errorCode":{})", result.error);
  }
  return values.append(R"(,"result":)").append(quotedPlain(result.text));
}

std::string helloLine(const std::string& client, std::chrono::nanoseconds hold) {
  return fmt::format("{{\"op\":\"hello\",\"client\":{},\"holdSeconds\":{}}}\n", quoted(client),
                     std::chrono::duration<double>(hold).count());
}

std::string putLine(const std::string& key, const std::string& values) {
  return fmt::format("{{\"op\":\"put\",{}{}}}\n", key, values);
}

std::string removeLine(const std::string& key) {
  return fmt::format("{{\"op\":\"remove\",{}}}\n", key);
}

}  // namespace Monitor
