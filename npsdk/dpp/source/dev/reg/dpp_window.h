// An indirect window: a command register, a status register and a data area through which a memory behind a block is
// reached. Whoever uses one holds the operation mutex of the window.
#pragma once

#include <cstdint>

#include "dpp_chip/dpp_dev_mutex.h"

struct dpp_window {
  const char* name;  ///< function name in traces
  dpp_dev_mutex_type mutex;
  uint32_t mod_no;   ///< whose conversion applies to the addresses below
  uint32_t status;   ///< bit 0: the last read has finished
  uint32_t command;  ///< bit 31: read
  uint32_t data;     ///< lowest address of the data area
  uint32_t words;
  bool reversed;       ///< word 0 at the highest address of the area
  uint32_t addr_mask;  ///< address bits of the command
};

/// Moves the words of the data area to or from the place `addr` behind the window. A read that is not finished after
/// the poll limit is DPP_RC_REG_WINDOW_TIMEOUT.
uint32_t dpp_window_write(uint32_t dev_id, const dpp_window& window, uint32_t addr, const uint32_t* data);
uint32_t dpp_window_read(uint32_t dev_id, const dpp_window& window, uint32_t addr, uint32_t* data);
