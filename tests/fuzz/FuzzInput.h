#pragma once

#include <sys/time.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

/// Ends the run as a finding.
inline void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

/// An input that takes more than a second is a finding, at once. By the processor's time, not the
/// clock's, as a busy machine is none. What has to be set up once is not the input's: it is done
/// before. Tells in the end what the longest took, and all of the process.
class WithinASecond {
 public:
  WithinASecond() {
    static const bool handled = std::signal(SIGPROF, [](int) { std::abort(); }) != SIG_ERR;
    require(handled && ::setitimer(ITIMER_PROF, &kLimit, nullptr) == 0);
  }
  WithinASecond(const WithinASecond&) = delete;
  WithinASecond& operator=(const WithinASecond&) = delete;
  ~WithinASecond() {
    constexpr itimerval kNone{};
    require(::setitimer(ITIMER_PROF, &kNone, nullptr) == 0);
    static Figures figures;
    figures.longest = std::max(figures.longest, std::clock() - begin_);
  }

 private:
  struct Figures {
    Figures() = default;
    Figures(const Figures&) = delete;
    Figures& operator=(const Figures&) = delete;
    ~Figures() {
      constexpr std::clock_t kMilli = CLOCKS_PER_SEC / 1000;
      std::fprintf(stderr, "longest input: %ld ms of %ld ms\n", long{longest / kMilli},
                   long{std::clock() / kMilli});
    }
    std::clock_t longest = 0;
  };

#ifdef __OPTIMIZE__
  static constexpr itimerval kLimit{{}, {1, 0}};
#else
  // Unoptimised, the same inputs take four times as long.
  static constexpr itimerval kLimit{{}, {4, 0}};
#endif
  std::clock_t begin_ = std::clock();
};

/// Octets taken one after the other; zeros behind the end.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size)
      : left_(reinterpret_cast<const char*>(data), size) {}

  [[nodiscard]] bool empty() const { return left_.empty(); }
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
