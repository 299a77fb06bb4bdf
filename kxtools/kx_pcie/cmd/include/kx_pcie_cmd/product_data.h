// Product data of a function for other programs.
#pragma once

#include <cstdint>
#include <vector>

#include "device/address.h"

/// The list of tagged resources as the kernel reads it, no byte more; under the lock of the tunnel, whose capability it
/// shares. Returns 0 or an errno: ENOENT without such a file, EBUSY when the lock cannot be had (with a message).
int kxpcie_product_data_ask(kxtools_sbdf sbdf, std::vector<uint8_t>* bytes);
