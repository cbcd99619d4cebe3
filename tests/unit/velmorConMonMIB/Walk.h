#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "AgentForTest.h"
#include "Snmp/RegVoidCollByContext.h"
#include "TableFacts.h"

/// A hint, as the table helper parses one from a request: a count of index components and their
/// varbinds.
class Hint {
 public:
  explicit Hint(std::string_view key) {
    info_.number_indexes = 1;
    snmp_varlist_add_variable(&info_.indexes, nullptr, 0, ASN_OCTET_STR, key.data(), key.size());
  }
  /// Some other count, type or lack of varbinds.
  static Hint ofCount(unsigned count) { return {count, nullptr}; }
  static Hint withoutVarbind() { return {1, nullptr}; }
  static Hint ofInteger(long number) {
    netsnmp_variable_list* index = nullptr;
    snmp_varlist_add_variable(&index, nullptr, 0, ASN_INTEGER, &number, sizeof number);
    return {1, index};
  }
  Hint(const Hint&) = delete;
  Hint& operator=(const Hint&) = delete;
  ~Hint() { snmp_free_varbind(info_.indexes); }

  [[nodiscard]] netsnmp_table_request_info* get() { return &info_; }

 private:
  Hint(unsigned count, netsnmp_variable_list* indexes) {
    info_.number_indexes = count;
    info_.indexes = indexes;
  }

  netsnmp_table_request_info info_{};
};

/// A walk of one table the way net-snmp's iterator does it, by the table's own functions.
template <class Table>
class Walk {
 public:
  explicit Walk(TableFacts::ConnectivityMonitorMib& mib)
      : record_(
            Qiv::make<Snmp::RegVoid>(Qiv::Entity::Ptr(&mib), Qiv::make<Snmp::TableCounters>())) {
    iterator_.myvoid = record_.get();
    snmp_varlist_add_variable(&index_, nullptr, 0, ASN_OCTET_STR, nullptr, 0);
  }
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;
  ~Walk() {
    end();
    snmp_free_varbind(index_);
  }

  /// Begins anew; gives the row's key, or nothing.
  std::optional<std::string> first(netsnmp_table_request_info* hint = nullptr) {
    end();
    loop_ = hint;
    return keyOf(Table::kFirst(&loop_, &data_, index_, &iterator_));
  }
  std::optional<std::string> first(std::string_view hint) { return first(Hint(hint).get()); }
  std::optional<std::string> next() {
    return keyOf(Table::kNext(&loop_, &data_, index_, &iterator_));
  }
  /// Every key from here to the end.
  std::vector<std::string> rest() {
    std::vector<std::string> keys;
    while (const auto key = next()) {
      keys.push_back(*key);
    }
    return keys;
  }
  void end() {
    if (loop_ != nullptr) {
      Table::kFreeLoop(loop_, &iterator_);
      loop_ = nullptr;
    }
  }

  [[nodiscard]] void* loopContext() const { return loop_; }
  void loopContextIs(void* loop) { loop_ = loop; }
  [[nodiscard]] void* dataContext() const { return data_; }
  void dataContextIs(void* data) { data_ = data; }
  [[nodiscard]] netsnmp_iterator_info* iterator() { return &iterator_; }
  [[nodiscard]] const netsnmp_variable_list* index() const { return index_; }

  /// How often each kind was counted, 0 to 5.
  [[nodiscard]] std::vector<std::uint64_t> counts() const {
    std::vector<std::uint64_t> counts;
    for (std::size_t kind = 0; kind < Snmp::TableCounters::kKinds; ++kind) {
      counts.push_back(record_->tableCounters()->orderedIterCntrs(
          static_cast<Snmp::OrderedTableIteratorCounterTypes>(kind)));
    }
    return counts;
  }
  void countersDel() {
    record_ = Qiv::make<Snmp::RegVoid>(record_->data(), nullptr);
    iterator_.myvoid = record_.get();
  }

 private:
  static std::optional<std::string> keyOf(const netsnmp_variable_list* index) {
    if (index == nullptr) {
      return std::nullopt;
    }
    return std::string(reinterpret_cast<const char*>(index->val.string), index->val_len);
  }

  Snmp::RegVoid::Ptr record_;
  netsnmp_iterator_info iterator_{};
  netsnmp_variable_list* index_ = nullptr;
  void* loop_ = nullptr;
  void* data_ = nullptr;
};
