#pragma once

#include <cstdint>

#include "Ber.h"
#include "Rows.h"

namespace reliability {

/// Follows one walk over the monitor's objects, varbind by varbind, and throws std::runtime_error
/// at the first that a walk must not have: one that does not ascend (and so any that comes twice),
/// a row that never was, or one behind a row that was there all the time and was left out.
class WalkCheck {
 public:
  explicit WalkCheck(const Rows& rows) : rows_(rows) {}

  /// From the first object on. Returns what to ask the successor of.
  [[nodiscard]] const bench::Oid& begin();
  /// From behind the given stable row of a column on.
  [[nodiscard]] const bench::Oid& beginBehind(std::size_t kind, std::uint32_t column,
                                              std::size_t row);

  /// Takes the next varbind; false when the walk has left the objects, which is when everything has
  /// to have been met.
  [[nodiscard]] bool take(const bench::Response::Varbind& varbind);
  /// The last name that was taken.
  [[nodiscard]] const bench::Oid& last() const noexcept { return last_; }

 private:
  void columnEnds();
  void skipTo(std::size_t kind, std::uint32_t column);

  const Rows& rows_;
  bench::Oid last_;
  // The column that is being walked, and how many of its stable rows were met.
  std::size_t kind_ = 0;
  std::uint32_t column_ = kFirstColumn;
  std::size_t met_ = 0;
};

}  // namespace reliability
