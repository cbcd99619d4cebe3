#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Monitor {

/// An address in the form the socket calls want it.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t length = 0;

  [[nodiscard]] const sockaddr* get() const noexcept {
    // The one cast that the sockets interface is built on.
    return reinterpret_cast<const sockaddr*>(&storage);
  }
};

/// An IPv4 or IPv6 address, without zone. The default one is 0.0.0.0.
class IpAddress {
 public:
  IpAddress() = default;

  /// Null unless `text` is a dotted-quad IPv4 or an IPv6 address (RFC 4291, 2.2).
  [[nodiscard]] static std::optional<IpAddress> parse(std::string_view text);
  [[nodiscard]] static IpAddress of(const in_addr& address);
  [[nodiscard]] static IpAddress of(const in6_addr& address);

  [[nodiscard]] bool isV6() const noexcept { return v6_; }
  [[nodiscard]] int family() const noexcept { return v6_ ? AF_INET6 : AF_INET; }
  /// The canonical text (RFC 5952 for IPv6).
  [[nodiscard]] std::string text() const;
  [[nodiscard]] SocketAddress socketAddress(std::uint16_t port) const;

  auto operator<=>(const IpAddress&) const = default;

 private:
  bool v6_ = false;
  std::array<std::uint8_t, 16> octets_{};  ///< Network order; an IPv4 address is the first four.
};

}  // namespace Monitor
