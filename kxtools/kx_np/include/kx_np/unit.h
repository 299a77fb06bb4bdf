// The network processor and its port block as units of the maintenance commands.
#pragma once

#include "kxtools/unit.h"

/// Every described register but the ports'. Counters of the packet path are cleared by being read.
extern const kxtools_unit kxnp_unit;

/// The network ports, as far as the port block (trpg) tells of them: port states, interrupts, packet counters.
extern const kxtools_unit kxnp_port_unit;
