// What the address translation puts out: every address range that it turns into another one.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t ENTRY_NUM = 64;

unsigned long long address(uint32_t high, uint32_t low) {
  return uint64_t{high} << 32 | low;
}

}  // namespace

uint32_t diag_dpp_va_pa_swit_out_prt(uint32_t dev_id) {
  DPP_REG_READ(dpp_regs::tlb_global_cfg, global, dev_id, 0, 0);
  const bool translates = global.tlb_en != 0 && global.bypass == 0;
  QLIX_COMM_PRINT("tlb_en: %u bypass: %u, addresses %s\n", global.tlb_en, global.bypass,
                  translates ? "are translated" : "pass as they are");
  uint32_t valid_num = 0;
  for (uint32_t index = 0; index < ENTRY_NUM; ++index) {
    DPP_REG_READ(dpp_regs::tlb_entry_cfg, entry, dev_id, 0, index);
    if (entry.entry_valid == 0) {
      continue;
    }
    ++valid_num;
    QLIX_COMM_PRINT("entry-%03u vfid: 0x%04x va: 0x%012llx pa: 0x%012llx page_size: %u\n", index, entry.entry_vfid,
                    address(entry.va_h, entry.va_l), address(entry.pa_h, entry.pa_l), entry.page_size);
  }
  DPP_REG_READ(dpp_regs::tlb_miss_va, miss, dev_id, 0, 0);
  QLIX_COMM_PRINT("Valid entries: %u of %u, last missed va: 0x%016llx\n", valid_num, ENTRY_NUM,
                  address(miss.miss_va_h, miss.miss_va_l));
  return QLIX_COMM_OK;
}
