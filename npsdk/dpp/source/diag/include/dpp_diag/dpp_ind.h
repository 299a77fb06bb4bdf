// Memories behind a block, reached through its register window: a command register whose first field says read or
// write, a status register whose first field turns 1 when the command has finished, and data words. The operation mutex
// of the window is held during an access.
#pragma once

#include <cstdint>

#include "dpp_chip/dpp_dev_mutex.h"

inline constexpr uint32_t DPP_RC_IND_TIMEOUT = 0x60A;  ///< the window did not finish its command

struct dpp_ind_window {
  dpp_dev_mutex_type mutex;
  uint32_t cmd_reg;     ///< field 0: 1 reads, 0 writes
  uint32_t status_reg;  ///< field 0: 1 when done
  uint32_t data_reg;    ///< an array of words, or one such array for each unit
};

// One command on the window of `unit` (0 where a block has one window only). `cmd` holds the fields of the command
// register; field 0 is set here. `words` are moved from or to the data words. 0, DPP_RC_IND_TIMEOUT, or the code of the
// access that failed.
uint32_t dpp_ind_read(uint32_t dev_id, const dpp_ind_window& window, uint32_t unit, uint32_t* cmd, uint32_t* words,
                      uint32_t word_num);
uint32_t dpp_ind_write(uint32_t dev_id, const dpp_ind_window& window, uint32_t unit, uint32_t* cmd,
                       const uint32_t* words, uint32_t word_num);
