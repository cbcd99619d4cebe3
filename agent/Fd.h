#pragma once

#include <unistd.h>

#include <utility>

namespace Agent {

/// Owns a file descriptor.
class Fd {
 public:
  explicit Fd(int fd) noexcept : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, kNone)) {}
  Fd& operator=(Fd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Fd() {
    if (valid()) {
      close(fd_);
    }
  }

  [[nodiscard]] int get() const noexcept { return fd_; }
  /// False for what a failed system call returned.
  [[nodiscard]] bool valid() const noexcept { return fd_ >= 0; }

 private:
  static constexpr int kNone = -1;
  int fd_;
};

}  // namespace Agent
