#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>

#include "tests/unit/monitor/LoopTesting.h"

namespace Monitor::Testing {

inline std::uint16_t portOf(int fd) {
  sockaddr_storage storage{};
  socklen_t length = sizeof storage;
  // The one cast that the sockets interface is built on.
  EXPECT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&storage), &length), 0);
  in_port_t port = 0;
  // The port lies at the same place for both families.
  std::memcpy(&port, reinterpret_cast<const char*>(&storage) + offsetof(sockaddr_in, sin_port),
              sizeof port);
  return ntohs(port);
}

/// A TCP socket bound to a free port of `address`, in the binding's namespace.
inline UniqueFd boundSocket(const std::string& address, const Binding& binding = {}) {
  const IpAddress ip = *IpAddress::parse(address);
  auto opened = openSocket(binding, ip.family(), SOCK_STREAM, 0);
  if (const auto* error = std::get_if<SocketError>(&opened)) {
    ADD_FAILURE() << error->text;
    return {};
  }
  UniqueFd socket = std::get<UniqueFd>(std::move(opened));
  const SocketAddress any = ip.socketAddress(0);
  EXPECT_EQ(::bind(socket.get(), any.get(), any.length), 0) << std::strerror(errno);
  return socket;
}

inline UniqueFd listener(const std::string& address, const Binding& binding = {},
                         int backlog = SOMAXCONN) {
  UniqueFd socket = boundSocket(address, binding);
  EXPECT_EQ(::listen(socket.get(), backlog), 0) << std::strerror(errno);
  return socket;
}

}  // namespace Monitor::Testing
