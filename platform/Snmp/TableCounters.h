#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Qiv/Entity.h"

namespace Snmp {

/// How walks of an ordered table start and go on. The numbers are what managers of the agent know
/// them by.
enum class OrderedTableIteratorCounterTypes : std::uint8_t {
  kHintNotFound = 0,        ///< Every key is less than the hint.
  kHintFound = 1,           ///< Started at the hint, or at the first key after it.
  kNoHint = 2,              ///< Started at the first row.
  kNextAtEnd = 3,           ///< Asked to go on after the last row.
  kResearchedNotFound = 4,  ///< The table had changed; no key is greater than the current one.
  kResearchedFound = 5,     ///< The table had changed; the successor was found by key.
};

/// The walk counters of one table in one context. Plain numbers: a walk counts at every request.
class TableCounters final : public Qiv::Entity {
 public:
  using Ptr = Qiv::Ptr<TableCounters>;
  static constexpr std::size_t kKinds = 6;

  /// One attribute per kind, in the order of their numbers.
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  void orderedIterCntrsInc(OrderedTableIteratorCounterTypes kind, std::uint64_t amount) noexcept {
    counts_[static_cast<std::size_t>(kind)] += amount;
  }
  [[nodiscard]] std::uint64_t orderedIterCntrs(
      OrderedTableIteratorCounterTypes kind) const noexcept {
    return counts_[static_cast<std::size_t>(kind)];
  }

 private:
  friend const Qiv::TypeInfo& tableCountersType();
  /// An attribute is read by an accessor without arguments.
  template <OrderedTableIteratorCounterTypes Kind>
  [[nodiscard]] std::uint64_t count() const noexcept {
    return orderedIterCntrs(Kind);
  }

  std::array<std::uint64_t, kKinds> counts_{};
};

}  // namespace Snmp
