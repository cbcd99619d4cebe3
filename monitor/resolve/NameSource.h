#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "monitor/net/IpAddress.h"

namespace Monitor {

/// What is known of a name.
struct NameAnswer {
  std::vector<IpAddress> addresses;  ///< In the order to prefer them (RFC 6724); empty on failure.
  std::string error;                 ///< Why there are none.
  std::chrono::nanoseconds took{};   ///< From the question to the answer.
};

/// Keeps names resolved.
class NameSource {
 public:
  using OnAnswer = std::function<void(const NameAnswer&)>;

  /// An interest in one name; it ends with this object.
  class Interest {
   public:
    Interest() = default;
    Interest(const Interest&) = delete;
    Interest& operator=(const Interest&) = delete;
    virtual ~Interest() = default;
    /// Null until the first answer.
    [[nodiscard]] virtual const std::optional<NameAnswer>& latest() const = 0;
  };

  virtual ~NameSource() = default;

  /// Asks for `name` in the VRF now and again whenever the answer is out of date. `onAnswer` is
  /// called with each answer, never from within follow(); it may end any interest.
  [[nodiscard]] virtual std::unique_ptr<Interest> follow(const std::string& vrf,
                                                         const std::string& name,
                                                         OnAnswer onAnswer) = 0;
};

}  // namespace Monitor
