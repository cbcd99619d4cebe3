#include "Snmp/UnregisterHandler.h"

#include <optional>
#include <string>
#include <vector>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

namespace Snmp {

// netsnmp_unregister_handler passes the registration's own OID and context name to
// unregister_mib_context, which frees the registration and then reads both once more
// (agent_registry.c of 5.9.3, upstream bug 983). The same call with copies that outlive it is safe.
bool unregisterHandler(const netsnmp_handler_registration_s& registration) {
  std::vector<oid> name(registration.rootoid, registration.rootoid + registration.rootoid_len);
  const auto context = registration.contextName == nullptr
                           ? std::nullopt
                           : std::optional<std::string>(registration.contextName);
  return unregister_mib_context(name.data(), name.size(), registration.priority,
                                registration.range_subid, registration.range_ubound,
                                context ? context->c_str() : nullptr) == MIB_UNREGISTERED_OK;
}

}  // namespace Snmp
