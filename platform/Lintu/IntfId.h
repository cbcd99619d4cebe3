#pragma once

#include <compare>
#include <iosfwd>
#include <ostream>
#include <utility>

#include "Pomel/String.h"

namespace Lintu {

/// An interface, by name. The identifier made from the empty name (the default) means "no
/// interface".
class IntfId {
 public:
  IntfId() = default;
  explicit IntfId(Pomel::String name) : name_(std::move(name)) {}

  [[nodiscard]] const Pomel::String& stringValue() const noexcept { return name_; }
  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept { return name_.hash(seed); }

  friend bool operator==(const IntfId&, const IntfId&) = default;
  friend std::strong_ordering operator<=>(const IntfId&, const IntfId&) = default;
  friend std::ostream& operator<<(std::ostream& out, const IntfId& id) { return out << id.name_; }

 private:
  Pomel::String name_;
};

}  // namespace Lintu
