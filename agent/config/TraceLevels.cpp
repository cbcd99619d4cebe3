#include "agent/config/TraceLevels.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "Trace/Trace.h"
#include "agent/Quote.h"

namespace Agent {

namespace {

/// The plug-in's units. They have no trace handle before it is loaded, so they are known by name.
constexpr std::array<std::string_view, 5> kUnits = {
    "ConnectivityMonitorSnmp", "velmorConMonMIB", "ConnectivityMonitorSnmpAgent",
    "ConnectivityMonitorSnmpSmTypes", "ConnectivityMonitorSnmpTableSm"};

}  // namespace

std::variant<std::pair<std::string, int>, Expected> parseTraceLevel(std::string_view unit,
                                                                    std::string_view level) {
  if (std::ranges::find(kUnits, unit) == kUnits.end()) {
    return Expected{
        fmt::format("{} is no unit; units are {}", quote(unit), fmt::join(kUnits, ", "))};
  }
  int number = -1;
  const auto [end, error] = std::from_chars(level.data(), level.data() + level.size(), number);
  if (error != std::errc() || end != level.data() + level.size() || number < 0 ||
      number > Trace::kMaxLevel) {
    return Expected{fmt::format("{} is no level of {}; levels are 0 to {}", quote(level), unit,
                                Trace::kMaxLevel)};
  }
  return std::pair(std::string(unit), number);
}

std::variant<TraceLevels, Expected> parseTraceLevels(std::string_view text) {
  TraceLevels levels;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    const std::string_view item = text.substr(begin, end - begin);
    begin = end + 1;
    const std::size_t equals = item.find('=');
    if (equals == std::string_view::npos) {
      return Expected{fmt::format("expected UNIT=LEVEL, not {}", quote(item))};
    }
    auto level = parseTraceLevel(item.substr(0, equals), item.substr(equals + 1));
    if (auto* expected = std::get_if<Expected>(&level)) {
      return std::move(*expected);
    }
    levels.push_back(std::get<std::pair<std::string, int>>(std::move(level)));
  }
  return levels;
}

}  // namespace Agent
