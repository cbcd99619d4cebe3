#include "monitor/config/Config.h"

#include <array>

namespace Monitor {

std::string_view ProbeConfig::protocol() const {
  static constexpr std::array<std::string_view, 3> kNames = {"icmp", "tcp", "http"};
  return kNames[parameters.index()];
}

std::string ProbeConfig::identity() const {
  // A separator that no part has: control characters are refused everywhere.
  constexpr char kSeparator = '\x1f';
  std::string text(protocol());
  for (const std::string& part : {host, vrf, binding.interface}) {
    text += kSeparator;
    text += part;
  }
  text += kSeparator;
  if (const auto* http = std::get_if<HttpParameters>(&parameters)) {
    return text + http->url;
  }
  text += destination;
  if (const auto* tcp = std::get_if<TcpParameters>(&parameters)) {
    text += kSeparator + std::to_string(tcp->port);
  }
  return text;
}

}  // namespace Monitor
