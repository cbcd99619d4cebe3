#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Ctl {

/// A measured time: `12.345 ms`. Absent: it was no number.
[[nodiscard]] std::string milliseconds(std::optional<double> time);
/// Seconds in the two largest units that they fill: `3 h 12 min`, `4.5 s`.
[[nodiscard]] std::string duration(double seconds);
/// `1 row`, `2 rows`.
[[nodiscard]] std::string counted(std::uint64_t count, std::string_view one);

}  // namespace Ctl
