#include "agent/snmp/AccessChecks.h"

#include <algorithm>
#include <array>

#include "agent/StartError.h"
#include "agent/snmp/NetSnmp.h"

// Of net-snmp's stock modules; no header of the library declares it.
extern "C" int vacm_in_view_callback(int, int, void*, void*);

namespace Agent {

namespace {

std::array<oid, 9> tablesRoot = {1, 3, 6, 1, 4, 1, 61111, 3, 38};  // net-snmp takes no const.

/// The request that came in last, and whether it may have (read, or write in the case of a SET) all
/// that is below the tables' root. Set before any of its varbinds is asked for, so nothing holds on
/// for a later one at the same address.
const netsnmp_pdu* lastRequest = nullptr;
bool mayHaveAll = false;

int requestComesIn(int /*major*/, int /*minor*/, void* asked, void* /*client*/) {
  auto& parameters = *static_cast<view_parameters*>(asked);
  view_parameters whole{};
  whole.pdu = parameters.pdu;
  whole.name = tablesRoot.data();
  whole.namelen = tablesRoot.size();
  whole.check_subtree = 1;
  vacm_in_view_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_ACM_CHECK_SUBTREE, &whole,
                        nullptr);
  lastRequest = whole.pdu;
  mayHaveAll = whole.errorcode == VACM_SUCCESS;
  // These two speak of the subtree; any other one sends the manager away.
  if (whole.errorcode != VACM_NOTINVIEW && whole.errorcode != VACM_SUBTREE_UNKNOWN) {
    parameters.errorcode = whole.errorcode;
  }
  return parameters.errorcode;
}

int nameIsAsked(int major, int minor, void* asked, void* client) {
  const auto& parameters = *static_cast<const view_parameters*>(asked);
  const bool settled = mayHaveAll && parameters.pdu == lastRequest &&
                       parameters.namelen >= tablesRoot.size() &&
                       std::equal(tablesRoot.begin(), tablesRoot.end(), parameters.name);
  return settled ? VACM_SUCCESS : vacm_in_view_callback(major, minor, asked, client);
}

void replace(int check, SNMPCallback* with) {
  // Registered first: with no callback left, net-snmp lets everybody have everything.
  if (snmp_register_callback(SNMP_CALLBACK_APPLICATION, check, with, nullptr) != SNMPERR_SUCCESS) {
    throw StartError("no access control: net-snmp did not take it");
  }
  snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, check, vacm_in_view_callback, nullptr, 1);
}

}  // namespace

void askOncePerRequest(bool viewsMayHide) {
  replace(SNMPD_CALLBACK_ACM_CHECK_INITIAL, requestComesIn);
  replace(SNMPD_CALLBACK_ACM_CHECK, nameIsAsked);
  if (viewsMayHide) {
    replace(SNMPD_CALLBACK_ACM_CHECK_SUBTREE, nameIsAsked);
  } else {
    snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_ACM_CHECK_SUBTREE,
                             vacm_in_view_callback, nullptr, 1);
  }
}

}  // namespace Agent
