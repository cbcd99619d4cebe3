#include "monitor/net/IpAddress.h"

#include <arpa/inet.h>

#include <cstring>

namespace Monitor {

std::optional<IpAddress> IpAddress::parse(std::string_view text) {
  const std::string terminated(text);
  if (terminated.size() != std::strlen(terminated.c_str())) {
    return std::nullopt;
  }
  in_addr v4{};
  if (inet_pton(AF_INET, terminated.c_str(), &v4) == 1) {
    return of(v4);
  }
  in6_addr v6{};
  if (inet_pton(AF_INET6, terminated.c_str(), &v6) == 1) {
    return of(v6);
  }
  return std::nullopt;
}

IpAddress IpAddress::of(const in_addr& address) {
  IpAddress result;
  std::memcpy(result.octets_.data(), &address, sizeof address);
  return result;
}

IpAddress IpAddress::of(const in6_addr& address) {
  IpAddress result;
  result.v6_ = true;
  std::memcpy(result.octets_.data(), &address, sizeof address);
  return result;
}

std::string IpAddress::text() const {
  std::array<char, INET6_ADDRSTRLEN> buffer{};
  // Cannot fail: the family is known and the buffer fits the longest text.
  return inet_ntop(family(), octets_.data(), buffer.data(), buffer.size());
}

SocketAddress IpAddress::socketAddress(std::uint16_t port) const {
  SocketAddress result;
  if (v6_) {
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(port);
    std::memcpy(&v6.sin6_addr, octets_.data(), sizeof v6.sin6_addr);
    std::memcpy(&result.storage, &v6, sizeof v6);
    result.length = sizeof v6;
  } else {
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(port);
    std::memcpy(&v4.sin_addr, octets_.data(), sizeof v4.sin_addr);
    std::memcpy(&result.storage, &v4, sizeof v4);
    result.length = sizeof v4;
  }
  return result;
}

}  // namespace Monitor
