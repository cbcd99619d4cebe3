#include "monitor/app/Notifier.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>

#include "monitor/net/UniqueFd.h"

namespace Monitor {

namespace {

std::string takeVariable(const char* name) {
  const char* value = std::getenv(name);
  std::string text = value == nullptr ? "" : value;
  ::unsetenv(name);
  return text;
}

std::optional<long> numberIn(const std::string& text) {
  long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                  : std::nullopt;
}

}  // namespace

Notifier Notifier::fromEnvironment() { return Notifier(takeVariable("NOTIFY_SOCKET")); }

void Notifier::send(std::string_view state) const {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socket_.empty() || socket_.size() >= sizeof address.sun_path) {
    return;
  }
  socket_.copy(std::begin(address.sun_path), socket_.size());
  if (socket_.front() == '@') {
    address.sun_path[0] = '\0';
  }
  const UniqueFd socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket) {
    return;
  }
  // The length tells an abstract name from what lies behind it.
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket_.size());
  // Nobody who could be told of a failure is left.
  [[maybe_unused]] const ssize_t sent =
      ::sendto(socket.get(), state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
               reinterpret_cast<const sockaddr*>(&address), length);
}

std::optional<std::chrono::microseconds> watchdogInterval() {
  const auto micros = numberIn(takeVariable("WATCHDOG_USEC"));
  const std::string pid = takeVariable("WATCHDOG_PID");
  if (!micros || *micros <= 0 || (!pid.empty() && numberIn(pid) != ::getpid())) {
    return std::nullopt;
  }
  return std::chrono::microseconds(*micros) / 2;
}

}  // namespace Monitor
