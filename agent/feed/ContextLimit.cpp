#include "agent/feed/ContextLimit.h"

#include <fmt/format.h>

#include "agent/Quote.h"

namespace Agent {

bool ContextLimit::admit(const Pomel::String& vrf) {
  if (vrf.view() == kDefaultVrf || names_.contains(vrf)) {
    return true;
  }
  if (names_.size() >= limit_) {
    return false;
  }
  names_.insert(vrf);
  return true;
}

std::string ContextLimit::refusal(const Pomel::String& vrf) const {
  return fmt::format(
      "vrf: {} would be one more than the {} VRFs that may be named while the agent runs "
      "(max-contexts)",
      quote(vrf), limit_);
}

}  // namespace Agent
