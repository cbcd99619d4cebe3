#pragma once

#include "FuzzInput.h"
#include "monitor/icmp/Wire.h"

/// Rounds of the ICMP engine in a network that does what `input` says: replies that are honest,
/// changed, cut, late, doubled, from elsewhere; errors; no way out; sockets that are lost. Each
/// round ends once, with figures that its packets can have led to.
void icmpRounds(Monitor::Icmp::Framing v4, FuzzInput& input);
