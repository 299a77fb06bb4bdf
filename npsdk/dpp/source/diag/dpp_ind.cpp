#include "dpp_diag/dpp_ind.h"

#include <unistd.h>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_info.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t poll_max = 1000;
constexpr useconds_t poll_wait_us = 100;
constexpr uint32_t polls_at_once = 10;  // most commands finish at once
constexpr uint32_t done_bit = 1;
constexpr uint32_t dead_card = 0xFFFFFFFF;  // a card that does not answer

// The instance of a window register that belongs to a unit.
uint32_t word_write(uint32_t dev_id, uint32_t reg_no, uint32_t unit, uint32_t word, uint32_t value) {
  const bool two = (dpp_reg_info_get(reg_no)->array_type & DPP_REG_BINARY_ARRAY) != 0;
  return dpp_reg_write32_bymn(dev_id, reg_no, two ? unit : 0, word, value);
}

uint32_t word_read(uint32_t dev_id, uint32_t reg_no, uint32_t unit, uint32_t word, uint32_t* value) {
  const bool two = (dpp_reg_info_get(reg_no)->array_type & DPP_REG_BINARY_ARRAY) != 0;
  return dpp_reg_read32(dev_id, reg_no, two ? unit : 0, word, value);
}

uint32_t done_wait(uint32_t dev_id, const dpp_ind_window& window, uint32_t unit) {
  for (uint32_t poll = 0; poll < poll_max; ++poll) {
    uint32_t status = 0;
    QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read32(dev_id, window.status_reg, 0, unit, &status), "dpp_reg_read32");
    if (status == dead_card) {
      return DPP_RC_IND_TIMEOUT;
    }
    if ((status & done_bit) != 0) {
      return QLIX_COMM_OK;
    }
    if (poll >= polls_at_once) {
      usleep(poll_wait_us);
    }
  }
  return DPP_RC_IND_TIMEOUT;
}

}  // namespace

uint32_t dpp_ind_read(uint32_t dev_id, const dpp_ind_window& window, uint32_t unit, uint32_t* cmd, uint32_t* words,
                      uint32_t word_num) {
  QLIX_COMM_CHECK_POINT(cmd);
  QLIX_COMM_CHECK_POINT(words);
  DPP_OPERATION_GUARD(guard, dev_id, window.mutex);
  cmd[0] = 1;
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_write(dev_id, window.cmd_reg, 0, unit, cmd), "dpp_reg_write");
  QLIX_COMM_CHECK_DEV_RC(dev_id, done_wait(dev_id, window, unit), "done_wait");
  for (uint32_t i = 0; i < word_num; ++i) {
    QLIX_COMM_CHECK_DEV_RC(dev_id, word_read(dev_id, window.data_reg, unit, i, &words[i]), "dpp_reg_read32");
  }
  return guard.unlock();
}

uint32_t dpp_ind_write(uint32_t dev_id, const dpp_ind_window& window, uint32_t unit, uint32_t* cmd,
                       const uint32_t* words, uint32_t word_num) {
  QLIX_COMM_CHECK_POINT(cmd);
  QLIX_COMM_CHECK_POINT(words);
  DPP_OPERATION_GUARD(guard, dev_id, window.mutex);
  for (uint32_t i = 0; i < word_num; ++i) {
    QLIX_COMM_CHECK_DEV_RC(dev_id, word_write(dev_id, window.data_reg, unit, i, words[i]), "dpp_reg_write32_bymn");
  }
  cmd[0] = 0;
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_write(dev_id, window.cmd_reg, 0, unit, cmd), "dpp_reg_write");
  QLIX_COMM_CHECK_DEV_RC(dev_id, done_wait(dev_id, window, unit), "done_wait");
  return guard.unlock();
}
