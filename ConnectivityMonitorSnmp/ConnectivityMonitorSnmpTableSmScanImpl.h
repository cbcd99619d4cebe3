#pragma once

#include <vector>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmCore.h"

namespace ConnectivityMonitorSnmp {

template <class Table, class Key>
const Qiv::TypeInfo& ScanningSm<Table, Key>::typeInfo() const {
  static const Qiv::TypeInfo type{
      "ConnectivityMonitorSnmp::PlyxCode::InputSm",
      nullptr,
      {Qiv::attribute<&ScanningSm::scanComplete>("inputScanComplete"),
       Qiv::attribute<&ScanningSm::synchronous>("synchronous"),
       Qiv::attribute<&ScanningSm::initialScanDone>("initialScanDone")}};
  return type;
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::synchronous() const {
  return tableSm().synchronous();
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::initialScanDone() const {
  return tableSm().initialScanDone();
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::scanComplete() const {
  return scan_.state == InputScanState::kComplete ||
         (scan_.state == InputScanState::kCompleteInitial && !initialScanDone());
}

template <class Table, class Key>
void ScanningSm<Table, Key>::scanYieldsAt(const Key& bookmark) {
  scan_.state = InputScanState::kResumable;
  scan_.bookmark = std::make_unique<Key>(bookmark);
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::scanEnds() {
  const bool withEvents = initialScanDone();
  scan_.state = withEvents ? InputScanState::kComplete : InputScanState::kCompleteInitial;
  scan_.bookmark.reset();
  return withEvents;
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::asksToYield(const Ubo::Task::Ptr& task, bool synchronous,
                                         Yielding yielding) {
  return yielding == Yielding::kAsTaskSays && !synchronous && task && task->taskShouldYield();
}

/// The last steps of a slice of a machine that owns a task.
template <class Sm>
void taskYields(Sm& sm, const Ubo::Task::Ptr& task, std::string_view reason, std::uint64_t count) {
  const std::uint64_t total = sm.items()->size();
  sm.tableSm().template trace<"{} {} yielding after {} iterations ({} total items)">(
      8, std::string_view(), reason, count, total);
  if (task) {
    task->taskWorkCountInc(count);
    task->taskWorkPendingIs(total);
    task->scheduleTask();
  }
}

/// Traces a yield of a machine without a task: its parent sees the state and yields in turn.
template <class Sm>
void nestedYields(Sm& sm, std::string_view reason, std::uint64_t count) {
  sm.tableSm().template trace<"{} {} yielding after {} iterations ({} total items)">(
      8, sm.key(), reason, count, sm.items()->size());
}

/// The children of a machine, held while they are called: a call may take children out.
template <class Children>
auto heldChildren(const Children& children) {
  return std::vector(children.begin(), children.end());
}

/// Passes the value on to all children. Switching on scans, which may lead anywhere; switching off
/// calls nobody, and there may be a million of them.
template <class Children>
void passNotificationActive(const Children& children, bool active) {
  const auto pass = [active](const auto& some) {
    for (const auto& child : some) {
      child->hasNotificationActiveIs(active);
    }
  };
  active ? pass(heldChildren(children)) : pass(children);
}

}  // namespace ConnectivityMonitorSnmp
