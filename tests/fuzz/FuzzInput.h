#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string_view>

/// Ends the run as a finding.
inline void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

/// An input that would take a release more than a second is a finding. By the processor's time, not
/// the clock's, as a busy machine is none; unoptimised and with sanitizers, five stand for less
/// than one.
class WithinASecond {
 public:
  WithinASecond() = default;
  WithinASecond(const WithinASecond&) = delete;
  WithinASecond& operator=(const WithinASecond&) = delete;
  ~WithinASecond() { require(std::clock() - begin_ <= kLimit); }

 private:
  static constexpr std::clock_t kLimit = 5 * CLOCKS_PER_SEC;
  std::clock_t begin_ = std::clock();
};

/// Octets taken one after the other; zeros behind the end.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size)
      : left_(reinterpret_cast<const char*>(data), size) {}

  [[nodiscard]] std::uint8_t octet() {
    const std::string_view taken = octets(1);
    return taken.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(taken.front());
  }
  /// At most so many.
  [[nodiscard]] std::string_view octets(std::size_t count) {
    const std::string_view taken = left_.substr(0, count);
    left_.remove_prefix(taken.size());
    return taken;
  }
  /// Of 32 bits.
  [[nodiscard]] std::uint32_t number() {
    std::uint32_t number = 0;
    for (const char octet : octets(4)) {
      number = number << 8 | static_cast<std::uint8_t>(octet);
    }
    return number;
  }
  [[nodiscard]] std::string_view rest() { return octets(left_.size()); }

 private:
  std::string_view left_;
};
