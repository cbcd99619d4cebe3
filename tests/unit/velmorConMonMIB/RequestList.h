#pragma once

#include <gtest/gtest.h>

#include <list>
#include <string_view>

#include "Walk.h"

/// A list of requests as the table's handler is given it: each with the column that the table
/// helper parsed and the data context that the iterator chose.
template <class Table>
class RequestList {
 public:
  explicit RequestList(TableFacts::ConnectivityMonitorMib& mib, int mode = MODE_GET) : walk_(mib) {
    info_.mode = mode;
  }
  RequestList(const RequestList&) = delete;
  RequestList& operator=(const RequestList&) = delete;
  ~RequestList() {
    for (Entry& entry : entries_) {
      netsnmp_free_request_data_sets(&entry.request);
      snmp_free_varbind(entry.varbind);
      Table::kFreeData(entry.data, walk_.iterator());
    }
  }

  /// Asks for a column of the row with that key, which must exist.
  netsnmp_request_info& add(unsigned column, std::string_view key) {
    EXPECT_EQ(walk_.first(key), key);
    return add(column, Table::kMakeData(walk_.loopContext(), walk_.iterator()));
  }
  /// Asks for a column where the iterator found no row.
  netsnmp_request_info& addWithoutRow(unsigned column) { return add(column, nullptr); }

  /// The handler's return value.
  int handle() {
    return Table::kHandler(nullptr, nullptr, &info_,
                           entries_.empty() ? nullptr : &entries_.front().request);
  }

 private:
  struct Entry {
    netsnmp_request_info request{};
    netsnmp_table_request_info table{};
    netsnmp_variable_list* varbind = nullptr;
    void* data = nullptr;
  };

  netsnmp_request_info& add(unsigned column, void* data) {
    Entry* before = entries_.empty() ? nullptr : &entries_.back();
    Entry& entry = entries_.emplace_back();
    snmp_varlist_add_variable(&entry.varbind, nullptr, 0, ASN_NULL, nullptr, 0);
    entry.request.requestvb = entry.varbind;
    entry.request.agent_req_info = &info_;
    entry.table.colnum = column;
    entry.data = data;
    netsnmp_request_add_list_data(
        &entry.request, netsnmp_create_data_list(TABLE_HANDLER_NAME, &entry.table, nullptr));
    if (data != nullptr) {
      netsnmp_request_add_list_data(&entry.request,
                                    netsnmp_create_data_list(TABLE_ITERATOR_NAME, data, nullptr));
    }
    if (before != nullptr) {
      before->request.next = &entry.request;
    }
    return entry.request;
  }

  Walk<Table> walk_;
  netsnmp_agent_request_info info_{};
  std::list<Entry> entries_;  // Entries point at each other.
};
