#include "ctl/text/Format.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

namespace Ctl {

std::string milliseconds(std::optional<double> time) {
  return time ? fmt::format("{:.3f} ms", *time) : "not a number";
}

std::string duration(double seconds) {
  struct Unit {
    std::uint64_t seconds;
    const char* name;
  };
  static constexpr std::array<Unit, 4> kUnits = {
      {{86'400, "d"}, {3'600, "h"}, {60, "min"}, {1, "s"}}};
  const auto whole = static_cast<std::uint64_t>(seconds);
  for (std::size_t at = 0; at + 1 < kUnits.size(); ++at) {
    const Unit& unit = kUnits[at];
    const Unit& below = kUnits[at + 1];
    if (whole >= unit.seconds) {
      return fmt::format("{} {} {} {}", whole / unit.seconds, unit.name,
                         whole % unit.seconds / below.seconds, below.name);
    }
  }
  return fmt::format("{:.1f} s", std::floor(seconds * 10) / 10);
}

std::string counted(std::uint64_t count, std::string_view one) {
  return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
}

}  // namespace Ctl
