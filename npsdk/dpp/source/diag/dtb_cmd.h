// What the commands through a queue of the queue engine share.
#pragma once

#include "dpp_chip/dpp_dev.h"
#include "dpp_dtb/dpp_dtb.h"
#include "qlix_comm/check.h"

/// `baddr` of the memory in DDR counts areas of so many rows of 128 bits.
inline constexpr uint32_t rows_in_base_unit = 256;
