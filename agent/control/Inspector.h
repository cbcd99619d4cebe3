#pragma once

#include <string>
#include <variant>

#include "Ubo/YieldPolicy.h"
#include "agent/control/Inspection.h"
#include "agent/feed/FlatObject.h"

namespace Agent {

/// Who answers inspections.
class Inspector {
 public:
  virtual ~Inspector() = default;
  /// One line of JSON without its line end, or why there is none. A list ends early, but never
  /// before its first item, when the policy says yield.
  [[nodiscard]] virtual std::variant<std::string, Refusal> answer(const Inspection& inspection,
                                                                  Ubo::YieldPolicy& yield) = 0;
};

}  // namespace Agent
