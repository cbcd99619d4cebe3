#include "monitor/net/Binding.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Monitor {

namespace {

SocketError errorNow(const std::string& what) {
  const int error = errno;
  return {error, what + ": " + std::strerror(error)};
}

/// The process's own namespace, for the way back; opened once, before any other was entered.
const UniqueFd& ownNamespace() {
  static const UniqueFd own(::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
  return own;
}

/// The thread is in the named namespace as long as this lives.
class NamespaceStay {
 public:
  static std::variant<NamespaceStay, SocketError> enter(const std::string& name) {
    if (!ownNamespace()) {
      return errorNow("own namespace");
    }
    // Not to wait at a pipe that somebody put there.
    const UniqueFd target(
        ::open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!target || ::setns(target.get(), CLONE_NEWNET) != 0) {
      return errorNow("namespace " + name);
    }
    return NamespaceStay();
  }
  NamespaceStay(NamespaceStay&& other) noexcept : away_(std::exchange(other.away_, false)) {}
  NamespaceStay& operator=(NamespaceStay&&) = delete;
  ~NamespaceStay() {
    if (away_ && ::setns(ownNamespace().get(), CLONE_NEWNET) != 0) {
      // Every later socket would be in the wrong network, and its measurements wrong unnoticed.
      std::perror("cannot return to the own network namespace");
      std::abort();
    }
  }

 private:
  NamespaceStay() = default;

  bool away_ = true;
};

std::variant<UniqueFd, SocketError> openHere(int family, int type, int protocol) {
  UniqueFd socket(::socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol));
  if (!socket) {
    return errorNow("socket");
  }
  return socket;
}

}  // namespace

std::variant<UniqueFd, SocketError> openSocket(const Binding& binding, int family, int type,
                                               int protocol) {
  std::variant<UniqueFd, SocketError> opened;
  if (binding.netns.empty()) {
    opened = openHere(family, type, protocol);
  } else {
    auto stay = NamespaceStay::enter(binding.netns);
    if (auto* error = std::get_if<SocketError>(&stay)) {
      return std::move(*error);
    }
    opened = openHere(family, type, protocol);
  }
  const std::string& device = binding.boundDevice();
  if (const auto* socket = std::get_if<UniqueFd>(&opened);
      socket != nullptr && !device.empty() &&
      ::setsockopt(socket->get(), SOL_SOCKET, SO_BINDTODEVICE, device.c_str(),
                   static_cast<socklen_t>(device.size())) != 0) {
    return errorNow("interface " + device);
  }
  return opened;
}

}  // namespace Monitor
