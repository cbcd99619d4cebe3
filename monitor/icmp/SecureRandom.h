#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Monitor::Icmp {

/// The kernel's random numbers, fetched several at a time.
class SecureRandom {
 public:
  /// Throws std::system_error when the kernel has none.
  [[nodiscard]] std::uint64_t operator()();

 private:
  std::array<std::uint64_t, 32> numbers_{};
  std::size_t used_ = numbers_.size();
};

}  // namespace Monitor::Icmp
