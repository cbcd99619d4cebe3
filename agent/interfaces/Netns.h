#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

namespace Agent {

/// Network namespaces by the names that ip-netns(8) gives them.

/// Tells one namespace from all others as long as anything keeps it alive.
struct NetnsId {
  dev_t device = 0;
  ino_t inode = 0;
  friend bool operator==(const NetnsId&, const NetnsId&) = default;
};

/// The namespace that has the name now; absent when none has.
[[nodiscard]] std::optional<NetnsId> netnsId(const std::string& name);

/// What could not be done, and why (errno(3)).
struct NetnsError {
  std::string what;
  int error = 0;
};

/// Calls `open` inside the namespace; what it opens there stays there. Takes CAP_SYS_ADMIN. Throws
/// nothing; absent when `open` was called.
[[nodiscard]] std::optional<NetnsError> insideNetns(const std::string& name,
                                                    const std::function<void()>& open) noexcept;

}  // namespace Agent
