#include "monitor/config/Names.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <regex>

#include "monitor/net/IpAddress.h"

namespace Monitor {

bool isDomainName(std::string_view text) {
  static const std::regex form(
      R"((?:[A-Za-z0-9_](?:[A-Za-z0-9_-]{0,61}[A-Za-z0-9_])?\.)*)"
      R"((?![0-9]+\.?$)[A-Za-z0-9_](?:[A-Za-z0-9_-]{0,61}[A-Za-z0-9_])?\.?)");
  constexpr std::size_t kLongest = 253;
  return text.size() <= kLongest && std::regex_match(text.begin(), text.end(), form);
}

bool isDeviceName(std::string_view text) {
  constexpr std::size_t kLongest = 15;
  return !text.empty() && text.size() <= kLongest && text != "." && text != ".." &&
         std::ranges::none_of(text, [](char c) {
           return c == '/' || c == ':' || static_cast<unsigned char>(c) <= 0x20 || c == '\x7f';
         });
}

std::optional<Url> parseUrl(const std::string& text) {
  static const std::regex form(
      R"((https?)://(?:\[([0-9A-Fa-f:.]+)\]|([A-Za-z0-9._-]+))(?::([0-9]{1,5}))?([/?][!"$-~]*)?)");
  std::smatch match;
  if (text.size() > kMaxUrlBytes || !std::regex_match(text, match, form)) {
    return std::nullopt;
  }
  Url url;
  url.https = match.str(1) == "https";
  if (match[2].matched) {
    url.host = match.str(2);
    const auto address = IpAddress::parse(url.host);
    if (!address || !address->isV6()) {
      return std::nullopt;
    }
  } else {
    url.host = match.str(3);
    if (!IpAddress::parse(url.host) && !isDomainName(url.host)) {
      return std::nullopt;
    }
  }
  constexpr std::uint16_t kHttpPort = 80;
  constexpr std::uint16_t kHttpsPort = 443;
  url.port = url.https ? kHttpsPort : kHttpPort;
  if (match[4].matched) {
    const std::string digits = match.str(4);
    unsigned port = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (port == 0 || port > std::numeric_limits<std::uint16_t>::max()) {
      return std::nullopt;
    }
    url.port = static_cast<std::uint16_t>(port);
  }
  return url;
}

}  // namespace Monitor
