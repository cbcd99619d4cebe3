#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Agent::Testing {

/// A program that runs beside the test; killed, by pid, with this object.
class Child {
 public:
  /// `out` and `errors` are files to write to.
  Child(const std::vector<std::string>& words, const std::string& out, const std::string& errors);
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child();

  [[nodiscard]] pid_t pid() const { return pid_; }
  void signal(int number) const;
  /// Waits for the end: exit status, or 128 + signal. Absent when the time is over first.
  [[nodiscard]] std::optional<int> wait(std::chrono::milliseconds longest);
  [[nodiscard]] bool running() { return !wait(std::chrono::milliseconds(0)); }

 private:
  pid_t pid_;
  std::optional<int> ended_;
};

/// Polls until `condition` holds or the time is over; whether it held.
template <class Condition>
[[nodiscard]] bool eventually(const Condition& condition,
                              std::chrono::milliseconds longest = std::chrono::seconds(20));

void pause(std::chrono::milliseconds time);

template <class Condition>
bool eventually(const Condition& condition, std::chrono::milliseconds longest) {
  const auto end = std::chrono::steady_clock::now() + longest;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    pause(std::chrono::milliseconds(20));
  }
  return true;
}

[[nodiscard]] std::string readFile(const std::string& path);

}  // namespace Agent::Testing
