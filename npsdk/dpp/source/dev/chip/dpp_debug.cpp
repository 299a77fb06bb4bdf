#include "dpp_chip/dpp_debug.h"

#include "dpp_dev_internal.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t MULTI_READ_MAX = 1024;

}  // namespace

uint32_t dpp_debug_wr(uint32_t dev_id, uint32_t addr, uint32_t value) {
  return QLIX_COMM_CALLED(dpp_dev_write_channel, dev_id, addr, 1, &value);
}

uint32_t dpp_debug_rd(uint32_t dev_id, uint32_t addr) {
  uint32_t value = 0;
  QLIX_COMM_CALL(dpp_dev_read_channel, dev_id, addr, 1, &value);
  QLIX_COMM_PRINT("addr: 0x%08x, data: 0x%08x\n", addr, value);
  return QLIX_COMM_OK;
}

uint32_t dpp_debug_multi_rd(uint32_t dev_id, uint32_t addr, uint32_t num) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_INDEX(num, 1, MULTI_READ_MAX);
  QLIX_COMM_CHECK_ADD(addr, (num - 1) * 4);
  for (uint32_t i = 0; i < num; ++i) {
    QLIX_COMM_PASS(dpp_debug_rd(dev_id, addr + i * 4));
  }
  return QLIX_COMM_OK;
}
