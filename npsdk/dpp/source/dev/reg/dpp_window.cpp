#include "dpp_reg/dpp_window.h"

#include <unistd.h>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_reg_table.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t POLL_LIMIT = 1000;
constexpr uint32_t POLLS_AT_ONCE = 10;  // most commands finish at once
constexpr useconds_t POLL_WAIT_US = 100;
constexpr uint32_t DEAD_CARD = 0xFFFFFFFF;

/// One register of a window, as the window's unit has it.
struct spot {
  uint32_t reg_no;
  uint32_t m;
  uint32_t n;
};

spot data_spot(const dpp_window& window, uint32_t unit, uint32_t word, size_t words) {
  const bool units = (dpp_reg_info_get(window.data_reg)->array_type & DPP_REG_BINARY_ARRAY) != 0;
  const uint32_t at = window.reversed ? static_cast<uint32_t>(words) - 1 - word : word;
  return {window.data_reg, units ? unit : 0, at};
}

/// Tells the address at which the register is reached.
void access_trace(uint32_t dev_id, const dpp_window& window, const spot& at, uint32_t value) {
  if (window.traced == nullptr) {
    return;
  }
  const dpp_reg_info& info = *dpp_reg_info_get(at.reg_no);
  uint32_t addr = 0;
  if (dpp_reg_get_reg_addr(at.reg_no, at.m, at.n, &addr) == QLIX_COMM_OK &&
      dpp_reg_addr_convert(dev_id, info.mod_no, info.flag, addr, &addr) == QLIX_COMM_OK) {
    QLIX_COMM_TRACE_DEBUG("%s: addr=0x%08x, data=0x%08x.\n", window.traced, addr, value);
  }
}

uint32_t word_write(uint32_t dev_id, const dpp_window& window, const spot& at, uint32_t value) {
  access_trace(dev_id, window, at, value);
  return QLIX_COMM_CALLED(dpp_reg_write32_bymn, dev_id, at.reg_no, at.m, at.n, value);
}

uint32_t word_read(uint32_t dev_id, const dpp_window& window, const spot& at, uint32_t* value) {
  QLIX_COMM_CALL(dpp_reg_read32, dev_id, at.reg_no, at.m, at.n, value);
  access_trace(dev_id, window, at, *value);
  return QLIX_COMM_OK;
}

// A command register is one word: it goes out as such, so that it is traced like the others.
uint32_t command_write(uint32_t dev_id, const dpp_window& window, uint32_t unit, std::span<const uint32_t> command) {
  const std::span<const dpp_reg_field> fields = dpp_reg_fields_get(*dpp_reg_info_get(window.cmd_reg));
  return word_write(dev_id, window, {window.cmd_reg, 0, unit}, dpp_reg_word_pack(fields, command.data()));
}

uint32_t done_wait(uint32_t dev_id, const dpp_window& window, uint32_t unit) {
  const dpp_reg_field& done = dpp_reg_fields_get(*dpp_reg_info_get(window.status_reg))[window.done_field];
  for (uint32_t poll = 0; poll < POLL_LIMIT; ++poll) {
    uint32_t status = 0;
    QLIX_COMM_PASS(word_read(dev_id, window, {window.status_reg, 0, unit}, &status));
    if (status == DEAD_CARD) {
      break;
    }
    if ((status >> done.msb_pos & 1) != 0) {
      return QLIX_COMM_OK;
    }
    if (poll >= POLLS_AT_ONCE) {
      usleep(POLL_WAIT_US);
    }
  }
  if (window.traced != nullptr) {
    uint32_t addr = 0;
    dpp_reg_get_reg_addr(window.cmd_reg, 0, unit, &addr);
    QLIX_COMM_TRACE_ERROR("%s: the window at 0x%08x does not finish a read\n", window.traced, addr);
  }
  return window.timeout;
}

}  // namespace

uint32_t dpp_window_run_read(uint32_t dev_id, const dpp_window& window, uint32_t unit,
                             std::span<const uint32_t> command, std::span<uint32_t> words) {
  QLIX_COMM_CHECK_POINT(words.data());
  DPP_OPERATION_GUARD(guard, dev_id, window.mutex);
  QLIX_COMM_CALL(command_write, dev_id, window, unit, command);
  QLIX_COMM_CALL(done_wait, dev_id, window, unit);
  for (uint32_t i = 0; i < words.size(); ++i) {
    QLIX_COMM_CALL(word_read, dev_id, window, data_spot(window, unit, i, words.size()), &words[i]);
  }
  return guard.unlock();
}

uint32_t dpp_window_run_write(uint32_t dev_id, const dpp_window& window, uint32_t unit,
                              std::span<const uint32_t> command, std::span<const uint32_t> words) {
  QLIX_COMM_CHECK_POINT(words.data());
  DPP_OPERATION_GUARD(guard, dev_id, window.mutex);
  const auto num = static_cast<uint32_t>(words.size());
  for (uint32_t i = 0; i < num; ++i) {
    const uint32_t word = window.reversed ? num - 1 - i : i;
    QLIX_COMM_CALL(word_write, dev_id, window, data_spot(window, unit, word, num), words[word]);
  }
  QLIX_COMM_CALL(command_write, dev_id, window, unit, command);
  if (window.write_waits) {
    QLIX_COMM_CALL(done_wait, dev_id, window, unit);
  }
  return guard.unlock();
}
