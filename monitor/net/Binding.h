#pragma once

#include <compare>
#include <string>
#include <variant>

#include "monitor/net/UniqueFd.h"

namespace Monitor {

/// Where a socket lives: a network namespace or the process's own, and a device it is bound to.
/// A VRF of the configuration is one or the other: a VRF device, or a namespace.
struct Binding {
  std::string netns;      ///< As `ip netns` names it; empty: the process's own namespace.
  std::string device;     ///< A Linux VRF device; empty: none.
  std::string interface;  ///< The interface probed through; empty: as routing chooses.

  auto operator<=>(const Binding&) const = default;

  /// What SO_BINDTODEVICE is given; empty: not bound. An interface says more than the VRF device
  /// that it is enslaved to, so it comes first.
  [[nodiscard]] const std::string& boundDevice() const {
    return interface.empty() ? device : interface;
  }
};

/// Why there is no socket.
struct SocketError {
  int error = 0;     ///< errno
  std::string text;  ///< For a person: "namespace blue: No such file or directory".
};

/// Opens a socket (non-blocking, close-on-exec) in the binding's namespace and binds it to its
/// device. This comes before anything else is done to the socket: a source address chosen earlier
/// could belong to another VRF. The process is back in its own namespace when this returns.
[[nodiscard]] std::variant<UniqueFd, SocketError> openSocket(const Binding& binding, int family,
                                                             int type, int protocol);

}  // namespace Monitor
