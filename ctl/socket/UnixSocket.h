#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace Ctl {

/// A connection to a program's Unix stream socket that carries lines.
class UnixSocket {
 public:
  /// Throws Error, in which `who` is the program that should be there. `patience` is how long a
  /// call may wait for the other side; absent: for ever.
  UnixSocket(std::string who, const std::string& path,
             std::optional<std::chrono::seconds> patience);
  UnixSocket(const UnixSocket&) = delete;
  UnixSocket& operator=(const UnixSocket&) = delete;
  ~UnixSocket();

  [[nodiscard]] int fd() const noexcept { return fd_; }

  /// Throws Error when the other side is gone or takes nothing.
  void send(std::string_view bytes);
  /// Tells the other side that nothing more will come.
  void sendingEnds();
  /// The next line without its end; what stands behind the last line end counts as one. Absent at
  /// the end. Throws Error.
  [[nodiscard]] std::optional<std::string> line();

  /// For who does not want to wait: what can be sent or is there now. Sending returns how many of
  /// the octets went, absent when the other side takes no more at all; receiving returns false at
  /// the end. Both throw Error.
  [[nodiscard]] std::optional<std::size_t> sendSome(std::string_view bytes);
  [[nodiscard]] bool receiveSome();
  /// The next line of what was received; absent when there is no whole one.
  [[nodiscard]] std::optional<std::string> receivedLine();

 private:
  [[noreturn]] void fail() const;

  std::string who_;
  int fd_;
  std::string received_;
  std::size_t taken_ = 0;  ///< Of what was received.
};

}  // namespace Ctl
