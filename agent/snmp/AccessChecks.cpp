#include "agent/snmp/AccessChecks.h"

#include <algorithm>
#include <array>

#include "agent/snmp/NetSnmp.h"

// Of net-snmp's stock modules; no header of the library declares it.
extern "C" int vacm_in_view_callback(int, int, void*, void*);

namespace Agent {

namespace {

std::array<oid, 9> root = {1, 3, 6, 1, 4, 1, 61111, 3, 38};  // net-snmp takes no const.

/// The request that came in last, and whether it may read all that is below the root. Set before
/// any of its varbinds is asked for, so nothing holds on for a later one at the same address.
const netsnmp_pdu* request = nullptr;
bool mayReadAll = false;

int requestComesIn(int /*major*/, int /*minor*/, void* asked, void* /*client*/) {
  auto& parameters = *static_cast<view_parameters*>(asked);
  view_parameters whole{};
  whole.pdu = parameters.pdu;
  whole.name = root.data();
  whole.namelen = root.size();
  whole.check_subtree = 1;
  vacm_in_view_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_ACM_CHECK_SUBTREE, &whole,
                        nullptr);
  request = whole.pdu;
  mayReadAll = whole.errorcode == VACM_SUCCESS;
  // These two speak of the subtree; every other one is of the manager, who is sent away.
  if (whole.errorcode != VACM_NOTINVIEW && whole.errorcode != VACM_SUBTREE_UNKNOWN) {
    parameters.errorcode = whole.errorcode;
  }
  return parameters.errorcode;
}

int varbindIsAsked(int major, int minor, void* asked, void* client) {
  const auto& parameters = *static_cast<const view_parameters*>(asked);
  const bool settled = mayReadAll && parameters.pdu == request &&
                       parameters.namelen >= root.size() &&
                       std::equal(root.begin(), root.end(), parameters.name);
  return settled ? VACM_SUCCESS : vacm_in_view_callback(major, minor, asked, client);
}

void replace(int check, SNMPCallback* with) {
  snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, check, vacm_in_view_callback, nullptr, 1);
  if (with != nullptr) {
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, check, with, nullptr);
  }
}

}  // namespace

void askOncePerRequest() {
  replace(SNMPD_CALLBACK_ACM_CHECK_INITIAL, requestComesIn);
  replace(SNMPD_CALLBACK_ACM_CHECK, varbindIsAsked);
}

void askOnlyOfAnswers() { replace(SNMPD_CALLBACK_ACM_CHECK_SUBTREE, nullptr); }

}  // namespace Agent
