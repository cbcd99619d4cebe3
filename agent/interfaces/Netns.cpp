#include "agent/interfaces/Netns.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <thread>

#include "agent/Fd.h"

namespace Agent {

namespace {

std::string pathOf(const std::string& name) { return "/run/netns/" + name; }

}  // namespace

std::optional<NetnsId> netnsId(const std::string& name) {
  struct stat status {};
  if (stat(pathOf(name).c_str(), &status) != 0) {
    return std::nullopt;
  }
  return NetnsId{status.st_dev, status.st_ino};
}

std::optional<NetnsError> insideNetns(const std::string& name,
                                      const std::function<void()>& open) noexcept {
  // Not to wait at a pipe that somebody put there.
  const Fd netns(::open(pathOf(name).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!netns.valid()) {
    return NetnsError{fmt::format("no network namespace {}", name), errno};
  }
  std::optional<NetnsError> failure;
  const auto enter = [&] {
    if (setns(netns.get(), CLONE_NEWNET) != 0) {
      failure = {fmt::format("cannot enter network namespace {}", name), errno};
    } else {
      open();
    }
  };
  try {
    // A thread of its own, which ends there: the process's one thread would have to come back, and
    // if it could not, all sockets from then on would be in the wrong network.
    std::thread(enter).join();
  } catch (const std::system_error& error) {
    failure = {"no thread to enter a network namespace with", error.code().value()};
  }
  return failure;
}

}  // namespace Agent
