#include "agent/snmp/MasterWatch.h"

#include <array>
#include <utility>

#include "agent/snmp/NetSnmp.h"

namespace Agent {

namespace {

/// The callbacks in which net-snmp asks the master for something (agentx/subagent.c).
constexpr std::array kRequests = {SNMPD_CALLBACK_REGISTER_OID, SNMPD_CALLBACK_UNREGISTER_OID,
                                  SNMPD_CALLBACK_REG_SYSOR, SNMPD_CALLBACK_UNREG_SYSOR};

/// Of a session that net-snmp's AgentX code asks nothing of.
constexpr long kMuted = SNMP_VERSION_1;

}  // namespace

MasterWatch::MasterWatch() {
  constexpr int kMajor = SNMP_CALLBACK_APPLICATION;
  snmp_register_callback(kMajor, SNMPD_CALLBACK_INDEX_START, begins, this);
  snmp_register_callback(kMajor, SNMPD_CALLBACK_INDEX_STOP, ends, this);
  for (const int request : kRequests) {
    // Behind net-snmp's own, which asks and waits.
    netsnmp_register_callback(kMajor, request, asked, this, NETSNMP_CALLBACK_LOWEST_PRIORITY);
  }
}

MasterWatch::~MasterWatch() {
  constexpr int kMajor = SNMP_CALLBACK_APPLICATION;
  snmp_unregister_callback(kMajor, SNMPD_CALLBACK_INDEX_START, begins, this, 1);
  snmp_unregister_callback(kMajor, SNMPD_CALLBACK_INDEX_STOP, ends, this, 1);
  for (const int request : kRequests) {
    snmp_unregister_callback(kMajor, request, asked, this, 1);
  }
}

int MasterWatch::begins(int /*major*/, int /*minor*/, void* session, void* watch) {
  auto& self = *static_cast<MasterWatch*>(watch);
  self.session_ = static_cast<Session*>(session);
  self.version_ = self.session_->version;
  self.unanswered_ = 0;
  // A master that was lost while everything was being registered leaves the rest marked as if it
  // had been, and two alarms that look for the next one, of which only one would end here. A
  // subagent has no alarms but those about its master.
  register_mib_detach();
  snmp_alarm_unregister_all();
  return SNMPERR_SUCCESS;
}

int MasterWatch::ends(int /*major*/, int /*minor*/, void* /*session*/, void* watch) {
  static_cast<MasterWatch*>(watch)->session_ = nullptr;
  return SNMPERR_SUCCESS;
}

int MasterWatch::asked(int /*major*/, int /*minor*/, void* /*request*/, void* watch) {
  auto& self = *static_cast<MasterWatch*>(watch);
  if (self.session_ == nullptr || self.session_->version == kMuted) {
    return SNMPERR_SUCCESS;
  }
  if (self.session_->s_snmp_errno != SNMPERR_TIMEOUT) {
    self.unanswered_ = 0;
  } else if (++self.unanswered_ == kMostUnanswered) {
    self.session_->version = kMuted;
  }
  return SNMPERR_SUCCESS;
}

void MasterWatch::settle() {
  if (session_ == nullptr || session_->version != kMuted) {
    return;
  }
  Session* const session = session_;
  session->version = version_;
  // What net-snmp's reader does when the other end has hung up.
  session->callback(NETSNMP_CALLBACK_OP_DISCONNECT, session, 0, nullptr, session->callback_magic);
  snmp_close(session);
}

}  // namespace Agent
