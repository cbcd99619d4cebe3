#pragma once

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "ConnectivityMonitorSnmp/velmorConMonMIBLayout.h"
#include "ConnectivityMonitorSnmp/velmorConMonMIBTrace.h"
#include "Snmp/Converters.h"
#include "Snmp/RegVoidCollByContext.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

namespace ConnectivityMonitorSnmp::MibModule {

// How net-snmp's table iterator (agent/helpers/table_iterator.c) walks one of our tables. It asks
// for a first row, then for the next until it has the one it looks for, and then for a data context
// of that row, which the handler reads.

/// A place in a walk (the iterator's loop context), or the row that was chosen (its data context).
/// Keeps its row alive, whether or not it is still in the table.
template <class Table>
struct RowContext {
  using Row = typename Table::Row;
  using Rows = ConnectivityMonitorMib::Table<Row>;

  const Rows& table;
  Qiv::Ptr<const Row> row;       ///< Null at the end of the walk.
  const std::uint32_t snapshot;  ///< The table's change word when the walk began.
};

/// The record of the iterator's context and table. Held by its registry while the table is
/// registered.
[[nodiscard]] inline const Snmp::RegVoid& recordOf(const netsnmp_iterator_info& info) noexcept {
  return *static_cast<const Snmp::RegVoid*>(info.myvoid);
}

inline void countWalk(const netsnmp_iterator_info& info,
                      Snmp::OrderedTableIteratorCounterTypes kind) noexcept {
  if (const auto& counters = recordOf(info).tableCounters()) {
    counters->orderedIterCntrsInc(kind, 1);
  }
}

/// The octets of the hint, where there is a hint of exactly one string. The iterator hands us the
/// parsed request as the hint.
template <class Table>
[[nodiscard]] std::optional<std::string_view> hintOctets(const netsnmp_table_request_info* hint) {
  if (hint == nullptr || hint->number_indexes != 1) {
    return std::nullopt;
  }
  const netsnmp_variable_list* index = hint->indexes;
  if (index == nullptr || index->type != ASN_OCTET_STR) {
    if (index != nullptr) {
      trace.line(Trace::kError, "hint for {} has incorrect type! Expecting {} but got {}",
                 Table::kIndexName, ASN_OCTET_STR, index->type);
    }
    trace.line(kFlow, "{}_get_first_data_point - needed 1 components,found only0", Table::kName);
    return std::nullopt;
  }
  return std::string_view(reinterpret_cast<const char*>(index->val.string), index->val_len);
}

/// The key that these octets are; a bad one is traced and left alone.
template <class Table>
[[nodiscard]] std::optional<Snmp::String> hintKey(std::string_view octets) {
  try {
    return Snmp::AsnOctetStringToSnmpString(reinterpret_cast<const unsigned char*>(octets.data()),
                                            octets.size());
  } catch (const std::range_error& error) {
    trace.line(Trace::kError, "hint for index {} of {} is out of range!{}", Table::kIndexName,
               Table::kName, error.what());
  } catch (const std::exception& error) {
    trace.line(Trace::kError, "Bad hint for {}: Snmp::String ctor threw exception: {}",
               Table::kName, error.what());
  }
  return std::nullopt;
}

/// The first row whose key is not less than the hint's, or null: the hint is bad, or above every
/// key. A hint at the row found last, as walks come by, is never made a string of its own.
template <class Table>
[[nodiscard]] const typename Table::Row* rowAtHint(
    const ConnectivityMonitorMib::Table<typename Table::Row>& table, std::string_view octets,
    const netsnmp_iterator_info& info) {
  using enum Snmp::OrderedTableIteratorCounterTypes;
  constexpr auto told = [](std::string_view key) {
    trace.line(kFlow, "hint component {} is '{}'", Table::kIndexName, key);
  };
  const typename Table::Row* row = table.nearLast(Snmp::KeyView(octets));
  if (row != nullptr) {
    told(octets);
  } else if (const auto key = hintKey<Table>(octets)) {
    told(octets);
    row = table.lowerBound(*key);
    if (row == nullptr) {
      trace.line(kFlow, "{}_get_first_data_point - key '{}' not found in table", Table::kName,
                 octets);
      countWalk(info, kHintNotFound);
    }
  }
  if (row != nullptr) {
    countWalk(info, kHintFound);
  }
  return row;
}

/// Begins a walk at the hint that `*loopContext` comes with, or at the first row, and leaves the
/// loop context there instead, for an empty table too: the iterator frees whatever it finds.
template <class Table>
void beginWalk(void** loopContext, const netsnmp_iterator_info& info) {
  using enum Snmp::OrderedTableIteratorCounterTypes;
  const auto* hint = static_cast<const netsnmp_table_request_info*>(*loopContext);
  trace.line(kFlow, "{}_get_first_data_point - *hint = {}, number_indexes = {}", Table::kName,
             fmt::ptr(hint), hint == nullptr ? 0 : hint->number_indexes);

  // The type was checked when the table was registered.
  const auto& mib = static_cast<const ConnectivityMonitorMib&>(*recordOf(info).data());
  const auto& table = (mib.*Table::kRows)();
  const typename Table::Row* row = nullptr;
  bool hintMatched = false;
  if (const auto octets = hintOctets<Table>(hint)) {
    row = rowAtHint<Table>(table, *octets, info);
    hintMatched = row != nullptr && row->key().view() == *octets;
  }
  if (row == nullptr) {
    row = table.first();
    countWalk(info, kNoHint);
  }
  *loopContext = new RowContext<Table>{table, Qiv::Ptr(row), table.changeWord()};
  trace.line(kFlow, "{}_get_first_data_point - allocated new loop context {}, hintMatched={}",
             Table::kName, fmt::ptr(*loopContext), hintMatched);
}

/// Moves a walk to the row that follows in key order, or to its end. False when it was there
/// already. The current row may have left the table: the successor is then found by key.
template <class Table>
[[nodiscard]] bool continueWalk(void* loopContext, const void* dataContext,
                                const netsnmp_iterator_info& info) {
  using enum Snmp::OrderedTableIteratorCounterTypes;
  auto* loop = static_cast<RowContext<Table>*>(loopContext);
  trace.line(kFlow, "{}_get_next_data_point - advancing loop context {} ; data context {}",
             Table::kName, fmt::ptr(loop), fmt::ptr(dataContext));
  if (loop == nullptr || !loop->row) {
    trace.line(kFlow, "{}_get_next_data_point - at end of loop context", Table::kName);
    countWalk(info, kNextAtEnd);
    return false;
  }
  const typename Table::Row* next = nullptr;
  if (loop->table.changeWord() == loop->snapshot) {
    next = loop->table.next(*loop->row);
  } else {
    next = loop->table.upperBound(loop->row->key());
    countWalk(info, next != nullptr ? kResearchedFound : kResearchedNotFound);
  }
  loop->row = Qiv::Ptr(next);
  return true;
}

/// Puts the key of the walk's row into the index varbind; null at the end. Relies on keys of at
/// most 100 octets, which ConnectivityMonitorMib::uniqueKey guarantees.
template <class Table>
[[nodiscard]] netsnmp_variable_list* fillIndex(const void* loopContext,
                                               netsnmp_variable_list* index) {
  const auto& loop = *static_cast<const RowContext<Table>*>(loopContext);
  if (!loop.row) {
    trace.line(kFlow, "{}IterationHelper - iterator is at end", Table::kName);
    return nullptr;
  }
  const Snmp::String& key = loop.row->key();
  trace.line(kFlow, "{}IterationHelper - iterator has another value: indexShortName={}",
             Table::kName, key.view());
  std::array<unsigned char, 100> buffer;
  const auto length = Snmp::StringToAsnOctetString(key.value(), buffer.data(), buffer.size());
  snmp_set_var_typed_value(index, ASN_OCTET_STR, buffer.data(), static_cast<std::size_t>(length));
  return index;
}

template <class Table>
[[nodiscard]] void* makeDataContext(const void* loopContext) {
  auto* chosen = new RowContext<Table>(*static_cast<const RowContext<Table>*>(loopContext));
  trace.line(kFlow, "{}_make_data_context - allocated data context {} for loop context {}",
             Table::kName, fmt::ptr(chosen), fmt::ptr(loopContext));
  return chosen;
}

template <class Table>
void freeDataContext(void* dataContext) {
  trace.line(kFlow, "{}_free_data_context {}", Table::kName, fmt::ptr(dataContext));
  delete static_cast<RowContext<Table>*>(dataContext);
}

template <class Table>
void freeLoopContextAtEnd(void* loopContext) {
  trace.line(kFlow, "{}_free_loop_context_at_end {}", Table::kName, fmt::ptr(loopContext));
  delete static_cast<RowContext<Table>*>(loopContext);
}

}  // namespace ConnectivityMonitorSnmp::MibModule
