#pragma once

#include <cstddef>
#include <span>
#include <variant>

namespace Agent {

/// A conversation with one namespace's rtnetlink that hears of its links' changes. Never blocks.
class LinkChannel {
 public:
  /// The kernel had more to say than the socket could hold, and dropped some of it.
  struct Overrun {};
  /// Nothing now.
  struct Nothing {};
  /// The conversation is of no use any more; why, as errno(3).
  struct Failure {
    int error = 0;
  };
  /// A datagram, valid until the next call.
  using Received = std::variant<std::span<const std::byte>, Nothing, Overrun, Failure>;

  virtual ~LinkChannel() = default;
  /// 0, or why it was not sent (errno(3)).
  [[nodiscard]] virtual int send(std::span<const std::byte> request) = 0;
  [[nodiscard]] virtual Received receive() = 0;
  /// Readable when receive() has something.
  [[nodiscard]] virtual int fd() const = 0;
};

}  // namespace Agent
