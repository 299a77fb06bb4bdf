// The port at the other end of a function's link.
#pragma once

#include "kxtools/dev.h"

/// Finds the port above the function in the kernel's tree of devices, where one lies in the other; nothing is read from
/// hardware. False when there is none, as in a virtual machine that was given the function.
bool kxpcie_port_above(kxtools_sbdf function, kxtools_sbdf* port);
