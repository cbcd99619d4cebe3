#pragma once

#include "Pomel/String.h"

// The MIB module velmorConMonMIB: three read-only tables, served once per SNMP context. In the
// global namespace and under the names that the agent library expects of a module.

/// Serves `context` from the ConnectivityMonitorMib of its VRF, "default" for the empty context.
/// That object must be in the store, and the module absent from the context: both are the caller's
/// business, and neglecting them ends the process. The agent library must be initialised.
void init_velmorConMonMIB(Pomel::String context);

/// Ends what init_velmorConMonMIB began, before the context's object leaves the store and before
/// the agent library shuts down. Harmless for a context that the module does not serve.
void unregister_velmorConMonMIB(Pomel::String context);
