#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Agent {

/// Sends net-snmp's log to a function, a line at a time, instead of to standard error. One at a
/// time; it outlives net-snmp's use.
class NetSnmpLog {
 public:
  using Log = std::function<void(const std::string&)>;

  explicit NetSnmpLog(Log log);
  NetSnmpLog(const NetSnmpLog&) = delete;
  NetSnmpLog& operator=(const NetSnmpLog&) = delete;
  ~NetSnmpLog();

  /// While quiet, messages are dropped: the caller tells what happened better.
  void quietIs(bool quiet) noexcept { quiet_ = quiet; }
  /// Takes a piece of a message, as net-snmp cuts them.
  void take(std::string_view text);

 private:
  Log log_;
  bool quiet_ = false;
  std::string line_;  ///< The line that has not ended yet.
};

}  // namespace Agent
