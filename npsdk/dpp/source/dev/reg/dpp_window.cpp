#include "dpp_window.h"

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_access.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t COMMAND_READ = 0x80000000;
constexpr uint32_t STATUS_DONE = 1;
constexpr uint32_t STATUS_DEAD_CARD = 0xFFFFFFFF;
constexpr uint32_t POLL_LIMIT = 1000;

uint32_t word_write(uint32_t dev_id, const dpp_window& window, uint32_t addr, uint32_t value) {
  uint32_t converted = 0;
  QLIX_COMM_CHECK_RC(dpp_reg_addr_convert(dev_id, window.mod_no, 0, addr, &converted), "dpp_reg_addr_convert");
  QLIX_COMM_TRACE_DEBUG("%s: addr=0x%08x, data=0x%08x.\n", window.name, converted, value);
  QLIX_COMM_CHECK_RC(dpp_dev_write_channel(dev_id, converted, 1, &value), "dpp_dev_write_channel");
  return QLIX_COMM_OK;
}

uint32_t word_read(uint32_t dev_id, const dpp_window& window, uint32_t addr, uint32_t* value) {
  uint32_t converted = 0;
  QLIX_COMM_CHECK_RC(dpp_reg_addr_convert(dev_id, window.mod_no, 0, addr, &converted), "dpp_reg_addr_convert");
  QLIX_COMM_CHECK_RC(dpp_dev_read_channel(dev_id, converted, 1, value), "dpp_dev_read_channel");
  QLIX_COMM_TRACE_DEBUG("%s: addr=0x%08x, data=0x%08x.\n", window.name, converted, *value);
  return QLIX_COMM_OK;
}

uint32_t data_addr(const dpp_window& window, uint32_t word) {
  return window.data + 4 * (window.reversed ? window.words - 1 - word : word);
}

// The words go out from the lowest address up in a reversed window as well: last word first.
uint32_t data_write(uint32_t dev_id, const dpp_window& window, const uint32_t* data) {
  for (uint32_t i = 0; i < window.words; ++i) {
    const uint32_t word = window.reversed ? window.words - 1 - i : i;
    const uint32_t rc = word_write(dev_id, window, data_addr(window, word), data[word]);
    if (rc != QLIX_COMM_OK) {
      return rc;
    }
  }
  return QLIX_COMM_OK;
}

uint32_t read_finish_wait(uint32_t dev_id, const dpp_window& window) {
  for (uint32_t poll = 0; poll < POLL_LIMIT; ++poll) {
    uint32_t status = 0;
    const uint32_t rc = word_read(dev_id, window, window.status, &status);
    if (rc != QLIX_COMM_OK) {
      return rc;
    }
    if (status == STATUS_DEAD_CARD) {
      break;
    }
    if ((status & STATUS_DONE) != 0) {
      return QLIX_COMM_OK;
    }
  }
  QLIX_COMM_TRACE_ERROR("%s: the window at 0x%08x does not finish a read\n", window.name, window.command);
  return DPP_RC_REG_WINDOW_TIMEOUT;
}

uint32_t write_locked(uint32_t dev_id, const dpp_window& window, uint32_t addr, const uint32_t* data) {
  const uint32_t rc = data_write(dev_id, window, data);
  return rc != QLIX_COMM_OK ? rc : word_write(dev_id, window, window.command, addr & window.addr_mask);
}

uint32_t read_locked(uint32_t dev_id, const dpp_window& window, uint32_t addr, uint32_t* data) {
  uint32_t rc = word_write(dev_id, window, window.command, (addr & window.addr_mask) | COMMAND_READ);
  if (rc == QLIX_COMM_OK) {
    rc = read_finish_wait(dev_id, window);
  }
  for (uint32_t i = 0; i < window.words && rc == QLIX_COMM_OK; ++i) {
    rc = word_read(dev_id, window, data_addr(window, i), &data[i]);
  }
  return rc;
}

/// Runs one access, whose words are constant for a write, with the window to itself.
template <typename Word>
uint32_t locked(uint32_t dev_id, const dpp_window& window, uint32_t addr, Word* data,
                uint32_t (*access)(uint32_t, const dpp_window&, uint32_t, Word*)) {
  DPP_OPERATION_GUARD(guard, dev_id, window.mutex);
  const uint32_t rc = access(dev_id, window, addr, data);
  const uint32_t unlock_rc = guard.unlock();
  return rc != QLIX_COMM_OK ? rc : unlock_rc;
}

}  // namespace

uint32_t dpp_window_write(uint32_t dev_id, const dpp_window& window, uint32_t addr, const uint32_t* data) {
  QLIX_COMM_CHECK_POINT(data);
  return locked(dev_id, window, addr, data, write_locked);
}

uint32_t dpp_window_read(uint32_t dev_id, const dpp_window& window, uint32_t addr, uint32_t* data) {
  QLIX_COMM_CHECK_POINT(data);
  return locked(dev_id, window, addr, data, read_locked);
}
