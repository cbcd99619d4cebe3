#pragma once

struct netsnmp_handler_registration_s;

namespace Snmp {

/// Takes a registration out of the agent, which frees it and all that hangs on it. False when the
/// agent does not know it.
bool unregisterHandler(const netsnmp_handler_registration_s& registration);

}  // namespace Snmp
