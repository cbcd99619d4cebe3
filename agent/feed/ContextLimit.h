#pragma once

#include <cstddef>
#include <set>
#include <string>

#include "agent/feed/Operation.h"

namespace Agent {

/// Bounds how many SNMP contexts the process will ever have, one for each VRF that has a record.
///
/// net-snmp forgets no context: what it keeps under a name stays when the last table is withdrawn,
/// and is used again when the name comes back (agent_registry.c, context_subtrees). So names count,
/// each once, from the first put on and for the life of the process; not VRFs that are there now.
/// The default VRF is not counted, as its contexts are always there.
class ContextLimit {
 public:
  static constexpr std::size_t kDefault = 256;

  explicit ContextLimit(std::size_t limit = kDefault) : limit_(limit) {}

  /// Counts the VRF; false, and nothing changes, when it would be one too many.
  [[nodiscard]] bool admit(const Pomel::String& vrf);
  /// Why admit() said no, as an error of the feed.
  [[nodiscard]] std::string refusal(const Pomel::String& vrf) const;

  [[nodiscard]] std::size_t used() const noexcept { return names_.size(); }
  [[nodiscard]] std::size_t limit() const noexcept { return limit_; }

 private:
  std::size_t limit_;
  std::set<Pomel::String> names_;
};

}  // namespace Agent
