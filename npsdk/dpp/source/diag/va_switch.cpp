// What the address translation puts out: every address range that it turns into another one.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_no.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t entry_num = 64;
constexpr uint32_t entry_fields = 7;

unsigned long long address(uint32_t high, uint32_t low) {
  return uint64_t{high} << 32 | low;
}

}  // namespace

uint32_t diag_dpp_va_pa_swit_out_prt(uint32_t dev_id) {
  uint32_t global[3] = {};
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read(dev_id, DPP_REG_TLB_GLOBAL_CFG, 0, 0, global), "dpp_reg_read");
  const bool translates = global[DPP_FIELD_TLB_GLOBAL_CFG_TLB_EN] != 0 && global[DPP_FIELD_TLB_GLOBAL_CFG_BYPASS] == 0;
  QLIX_COMM_PRINT("tlb_en: %u bypass: %u, addresses %s\n", global[DPP_FIELD_TLB_GLOBAL_CFG_TLB_EN],
                  global[DPP_FIELD_TLB_GLOBAL_CFG_BYPASS], translates ? "are translated" : "pass as they are");
  uint32_t valid_num = 0;
  for (uint32_t index = 0; index < entry_num; ++index) {
    uint32_t entry[entry_fields] = {};
    QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read(dev_id, DPP_REG_TLB_ENTRY_CFG, 0, index, entry), "dpp_reg_read");
    if (entry[DPP_FIELD_TLB_ENTRY_CFG_ENTRY_VALID] == 0) {
      continue;
    }
    ++valid_num;
    QLIX_COMM_PRINT("entry-%03u vfid: 0x%04x va: 0x%012llx pa: 0x%012llx page_size: %u\n", index,
                    entry[DPP_FIELD_TLB_ENTRY_CFG_ENTRY_VFID],
                    address(entry[DPP_FIELD_TLB_ENTRY_CFG_VA_H], entry[DPP_FIELD_TLB_ENTRY_CFG_VA_L]),
                    address(entry[DPP_FIELD_TLB_ENTRY_CFG_PA_H], entry[DPP_FIELD_TLB_ENTRY_CFG_PA_L]),
                    entry[DPP_FIELD_TLB_ENTRY_CFG_PAGE_SIZE]);
  }
  uint32_t miss[2] = {};
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read(dev_id, DPP_REG_TLB_MISS_VA, 0, 0, miss), "dpp_reg_read");
  QLIX_COMM_PRINT("Valid entries: %u of %u, last missed va: 0x%016llx\n", valid_num, entry_num,
                  address(miss[DPP_FIELD_TLB_MISS_VA_MISS_VA_H], miss[DPP_FIELD_TLB_MISS_VA_MISS_VA_L]));
  return QLIX_COMM_OK;
}
