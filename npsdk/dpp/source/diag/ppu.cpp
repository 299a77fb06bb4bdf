// Cluster memories of the packet processor on the screen.
#include <algorithm>
#include <iterator>

#include "dpp_memory/dpp_ppu.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t INSTR_MAX = 0x7FFF;

}  // namespace

uint32_t dpp_ppu_mem_prt(uint32_t dev_id, uint32_t cluster, dpp_ppu_memory memory, uint32_t me_id, uint32_t addr,
                         uint32_t num) {
  constexpr const char* NAMES[] = {"instr", "dup", "sdt", "reg", "mem"};
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, memory, 0, std::size(NAMES) - 1);
  num = memory == DPP_PPU_MEM_INSTR ? std::min(num, INSTR_MAX - addr + 1) : num;
  for (uint32_t at = addr; at - addr < num; ++at) {
    uint32_t words[DPP_PPU_WORDS] = {};
    QLIX_COMM_CALL(dpp_ppu_mem_get, dev_id, cluster, memory, me_id, at, words);
    QLIX_COMM_PRINT("%s-0x%05x: 0x%08x 0x%08x 0x%08x 0x%08x\n", NAMES[memory], at, words[0], words[1], words[2],
                    words[3]);
  }
  return QLIX_COMM_OK;
}
