#pragma once

#include <string_view>

#include "Trace/Trace.h"

namespace ConnectivityMonitorSnmp::MibModule {

/// The module's name in the agent, in net-snmp's debug output and in the trace.
inline constexpr std::string_view kModule = "velmorConMonMIB";

inline Trace::Handle& trace = Trace::handle(kModule);

inline constexpr int kFlow = 2;  ///< Trace level of a request's ordinary course.

}  // namespace ConnectivityMonitorSnmp::MibModule
