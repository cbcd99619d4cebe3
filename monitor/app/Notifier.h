#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace Monitor {

/// Tells the service manager how the process is (sd_notify(3)). Where there is none, nothing
/// happens.
class Notifier {
 public:
  /// `socket` is what NOTIFY_SOCKET holds; empty for none. A leading "@" names an abstract socket.
  explicit Notifier(std::string socket) : socket_(std::move(socket)) {}

  /// From the environment, which forgets it: children are not to speak for us.
  [[nodiscard]] static Notifier fromEnvironment();

  /// One or more lines NAME=VALUE.
  void send(std::string_view state) const;

 private:
  std::string socket_;
};

/// How often the service manager wants a sign of life: half of what WATCHDOG_USEC holds, when
/// WATCHDOG_PID is absent or this process. Takes both out of the environment.
[[nodiscard]] std::optional<std::chrono::microseconds> watchdogInterval();

}  // namespace Monitor
