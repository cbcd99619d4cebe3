#pragma once

#include <array>
#include <string_view>

#include "ctl/socket/Asker.h"
#include "ctl/text/TextTable.h"

namespace Ctl {

/// One of the three tables.
struct TableKind {
  std::string_view name;  ///< In answers.
  std::string_view title;
};
inline constexpr std::array<TableKind, 3> kTableKinds = {
    {{"icmp", "ICMP"}, {"http", "HTTP"}, {"tcp", "TCP"}}};

/// The columns of a table for a person.
[[nodiscard]] TextTable tableOf(std::string_view kind);
/// A row of the agent's answer in those columns. A time of 0 says that there was no answer.
[[nodiscard]] std::vector<TextTable::Cell> cellsOf(std::string_view kind, const Json& row);

}  // namespace Ctl
