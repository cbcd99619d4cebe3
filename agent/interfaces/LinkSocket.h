#pragma once

#include <libmnl/libmnl.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "agent/interfaces/LinkChannel.h"

namespace Agent {

/// A conversation with the rtnetlink of the namespace that the calling thread is in.
class LinkSocket final : public LinkChannel {
 public:
  /// Null when there is none to be had; errno(3) says why.
  [[nodiscard]] static std::unique_ptr<LinkSocket> open();

  [[nodiscard]] int send(std::span<const std::byte> request) override;
  [[nodiscard]] Received receive() override;
  [[nodiscard]] int fd() const override { return mnl_socket_get_fd(socket_.get()); }

 private:
  struct Close {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
  };
  using Socket = std::unique_ptr<mnl_socket, Close>;

  /// The kernel puts up to so much into one piece of a list for those who have the room, and no
  /// event is longer (netlink_dump in net/netlink/af_netlink.c).
  static constexpr std::size_t kBufferSize = 32'768;

  explicit LinkSocket(Socket socket) : socket_(std::move(socket)), buffer_(kBufferSize) {}

  Socket socket_;
  std::vector<std::byte> buffer_;
};

}  // namespace Agent
