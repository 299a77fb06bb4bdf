// What the micro-engines of a cluster hold, and the micro-code that they run.
#include <algorithm>

#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_code.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_ppu.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t ME_REG_NUM = 256;
constexpr uint32_t LINE_NUM_MAX = 1024;

}  // namespace

uint32_t dpp_softdbg_mem_prt(uint32_t dev_id, uint32_t cluster, uint32_t me_id, uint32_t addr, uint32_t num) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, num, 1, std::min(LINE_NUM_MAX, DPP_PPU_ADDR_MAX - addr + 1));
  return QLIX_COMM_CALLED(dpp_ppu_mem_prt, dev_id, cluster, DPP_PPU_MEM_ME_DATA, me_id, addr, num);
}

uint32_t dpp_softdbg_reg_prt(uint32_t dev_id, uint32_t cluster, uint32_t me_id, uint32_t reg, uint32_t num) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, num, 1, ME_REG_NUM - reg);
  return QLIX_COMM_CALLED(dpp_ppu_mem_prt, dev_id, cluster, DPP_PPU_MEM_ME_REG, me_id, reg, num);
}

// One instruction line at a time: what a debugger puts in place of one that it wants to see the other way.
uint32_t dpp_download_debug_load(uint32_t dev_id, uint32_t cluster, uint32_t addr, uint32_t word_0, uint32_t word_1,
                                 uint32_t word_2, uint32_t word_3) {
  const uint32_t written[DPP_PPU_WORDS] = {word_0, word_1, word_2, word_3};
  uint32_t read[DPP_PPU_WORDS] = {};
  QLIX_COMM_CALL(dpp_ppu_mem_set, dev_id, cluster, DPP_PPU_MEM_INSTR, 0, addr, written);
  QLIX_COMM_CALL(dpp_ppu_mem_get, dev_id, cluster, DPP_PPU_MEM_INSTR, 0, addr, read);
  if (!std::equal(read, read + DPP_PPU_WORDS, written)) {
    QLIX_COMM_TRACE_DEV_ERROR(dev_id, "cluster %u does not keep instruction 0x%04x\n", cluster, addr);
    return DPP_RC_DIAG_MISMATCH;
  }
  QLIX_COMM_PRINT("cluster-%03u instr-0x%04x loaded\n", cluster, addr);
  return QLIX_COMM_OK;
}
