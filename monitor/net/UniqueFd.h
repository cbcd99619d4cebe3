#pragma once

#include <unistd.h>

#include <utility>

namespace Monitor {

/// Owns a file descriptor, or none.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~UniqueFd() {
    if (*this) {
      ::close(fd_);
    }
  }

  [[nodiscard]] explicit operator bool() const noexcept { return fd_ >= 0; }
  /// Precondition: there is one.
  [[nodiscard]] int get() const noexcept { return fd_; }
  [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }
  void reset() noexcept { UniqueFd().swap(*this); }
  void swap(UniqueFd& other) noexcept { std::swap(fd_, other.fd_); }

 private:
  int fd_ = -1;
};

}  // namespace Monitor
