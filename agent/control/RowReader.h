#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "agent/control/ListAnswer.h"
#include "agent/control/StoreWalk.h"

namespace Agent {

/// A table, by the names under which the plug-in publishes what belongs to it.
struct TableNames {
  std::string_view name;      ///< In answers.
  std::string_view rows;      ///< The collection of a VRF's object.
  std::string_view record;    ///< The attribute of a row that is the text of its status record.
  std::string_view mibTable;  ///< Under which its walks are counted.
  std::string_view machine;   ///< The agent's attribute that is the table's state machine.
  std::optional<std::size_t> addressField;  ///< Of the record's text.
  std::size_t resultField;                  ///< The same.
  std::string_view target;                  ///< What else of a row says what is probed.
  std::array<std::string_view, 3> measured;
};

inline constexpr std::array<TableNames, 3> kTables = {{
    {.name = "icmp",
     .rows = "icmpTable",
     .record = "icmpStats",
     .mibTable = "velmorIcmpProbeTable",
     .machine = "connectivityMonitorTableIcmpSm",
     .addressField = 1,
     .resultField = 2,
     .target = "",
     .measured = {"latency", "jitter", "packetLoss"}},
    {.name = "http",
     .rows = "httpTable",
     .record = "httpStats",
     .mibTable = "velmorHttpProbeTable",
     .machine = "connectivityMonitorTableHttpSm",
     .addressField = std::nullopt,
     .resultField = 2,
     .target = "url",
     .measured = {"responseTime"}},
    {.name = "tcp",
     .rows = "tcpTable",
     .record = "tcpStats",
     .mibTable = "velmorTcpProbeTable",
     .machine = "connectivityMonitorTableTcpSm",
     .addressField = 2,
     .resultField = 3,
     .target = "port",
     .measured = {"latency"}},
}};

/// Lists the rows of a VRF's object, table by table, each in key order. Throws Qiv::InspectionError
/// when the page goes on behind what is no row's place.
void listRows(const Qiv::Entity::Ptr& mib, const Page& page, ListAnswer& list);

}  // namespace Agent
