#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Monitor {

/// A host name as the domain name system can hold it (RFC 1123, 2.1): labels of letters, digits,
/// hyphens and underscores, the last one not all digits, so that a mistyped IPv4 address is no
/// name.
[[nodiscard]] bool isDomainName(std::string_view text);

/// A name that a Linux network device can have.
[[nodiscard]] bool isDeviceName(std::string_view text);

/// What a row of the tables can show.
inline constexpr std::size_t kMaxUrlBytes = 255;

struct Url {
  bool https = false;
  std::string host;  ///< A name or an address, an IPv6 one without its brackets.
  std::uint16_t port = 0;
};

/// Null unless it is an http or https URL in ASCII (RFC 9110, 4.2), without user name, password and
/// fragment: what is shown in the tables is no place for a secret.
[[nodiscard]] std::optional<Url> parseUrl(const std::string& text);

}  // namespace Monitor
