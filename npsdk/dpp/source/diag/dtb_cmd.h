// What the commands through a queue of the queue engine share.
#pragma once

#include "dpp_chip/dpp_dev.h"
#include "dpp_dtb/dpp_dtb.h"
#include "qlix_comm/check.h"

/// A macro, so that the command's own name stands in the line of a failed check.
#define DTB_CMD_CHECK_QUEUE(dev_id, queue_id)                    \
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1); \
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, queue_id, 0, DPP_DTB_QUEUE_NUM - 1)

/// `baddr` of the memory in DDR counts areas of so many rows of 128 bits.
inline constexpr uint32_t rows_in_base_unit = 256;
