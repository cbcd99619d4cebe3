#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpAgent.h"
#include "Step.h"

namespace Model {

/// What the looks of a world, or of many, came to.
struct Figures {
  std::uint64_t steps = 0;
  std::uint64_t changes = 0;      ///< Accepted.
  std::uint64_t looks = 0;        ///< With every change either applied or not begun.
  std::uint64_t looksMidWay = 0;  ///< While a change of many records, or a scan, was under way.
  std::uint64_t rowsCompared = 0;
  std::uint64_t replacements = 0;  ///< Of the plug-in's agent.

  Figures& operator+=(const Figures& more);
};

/// Run the plug-in and its MIB module in this process through a history, beside the reference. They
/// throw Difference at the first moment that is not as the reference says. What the plug-in takes
/// for a broken invariant ends the process.

/// Behind the agent's feed layer.
[[nodiscard]] Figures runFeedWorld(const History& history);
/// Behind a host that writes the store at any moment of the scans.
[[nodiscard]] Figures runHostWorld(const History& history);
/// The one that the history is for.
[[nodiscard]] Figures run(const History& history);

// What both share.

/// The machines of a new agent give way to ones whose tasks run in the history's order.
void prioritiesAre(ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgent& agent,
                   const History& history, const Ubo::Scheduler::Ptr& scheduler);
/// Throws Difference at the first row that is missing, wrong or too many.
void compareRows(const Rows& shown, const Rows& expected);
[[nodiscard]] std::string describe(const RowId& id);

}  // namespace Model
