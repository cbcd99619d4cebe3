#include "agent/snmp/NetSnmpLog.h"

#include <utility>

#include "agent/snmp/NetSnmp.h"

namespace Agent {

namespace {

/// Not handed to net-snmp as the callback's argument: it would free that when it is shut down.
NetSnmpLog* current = nullptr;

int takeMessage(int /*major*/, int /*minor*/, void* message, void* /*client*/) {
  if (current != nullptr) {
    current->take(static_cast<const snmp_log_message*>(message)->msg);
  }
  return SNMPERR_SUCCESS;
}

}  // namespace

NetSnmpLog::NetSnmpLog(Log log) : log_(std::move(log)) {
  current = this;
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, takeMessage, nullptr);
  snmp_enable_calllog();
}

NetSnmpLog::~NetSnmpLog() {
  snmp_disable_calllog();
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, takeMessage, nullptr, 1);
  current = nullptr;
}

void NetSnmpLog::take(std::string_view text) {
  if (quiet_) {
    return;
  }
  for (const char c : text) {
    if (c != '\n') {
      line_ += c;
    } else if (!line_.empty()) {
      log_("net-snmp: " + std::exchange(line_, {}));
    }
  }
}

}  // namespace Agent
