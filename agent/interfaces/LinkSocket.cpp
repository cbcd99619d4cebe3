#include "agent/interfaces/LinkSocket.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>

namespace Agent {

std::unique_ptr<LinkSocket> LinkSocket::open() {
  Socket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket || mnl_socket_bind(socket.get(), RTMGRP_LINK, MNL_SOCKET_AUTOPID) != 0) {
    const int error = errno;
    socket.reset();
    errno = error;
    return nullptr;
  }
  return std::unique_ptr<LinkSocket>(new LinkSocket(std::move(socket)));
}

int LinkSocket::send(std::span<const std::byte> request) {
  return mnl_socket_sendto(socket_.get(), request.data(), request.size()) < 0 ? errno : 0;
}

LinkChannel::Received LinkSocket::receive() {
  sockaddr_nl from{};
  socklen_t fromSize = sizeof from;
  const ssize_t got = recvfrom(fd(), buffer_.data(), buffer_.size(), MSG_TRUNC,
                               reinterpret_cast<sockaddr*>(&from), &fromSize);
  if (got < 0) {
    switch (errno) {
      case EAGAIN:
      case EINTR:
        return Nothing{};
      case ENOBUFS:
        return Overrun{};
      default:
        return Failure{errno};
    }
  }
  const auto size = static_cast<std::size_t>(got);
  if (size > buffer_.size()) {
    return Failure{EMSGSIZE};
  }
  if (from.nl_pid != 0) {
    return Nothing{};  // Not from the kernel.
  }
  return std::span<const std::byte>(buffer_).first(size);
}

}  // namespace Agent
