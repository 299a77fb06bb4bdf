#include <cstring>

#include "dpp_reg/dpp_reg_info.h"
#include "qlix_comm/check.h"

namespace {

// Printed names, padding included. 13 to 17 are the 4 KiB windows of their blocks.
constexpr char MODULE_NAMES[][DPP_MODULE_NAME_SIZE] = {
    "CFG   ",  "NPPU  ",  "PPU   ", "ETM   ", "STAT  ", "CAR   ", "SE    ", "DTB    ", "TRPG    ",
    "TSN    ", "AXI    ", "TLB   ", "OAM   ", "DTB4K ", "STAT4K", "PPU4K ", "SE4K  ",  "SMMU4K",
};
static_assert(sizeof MODULE_NAMES / sizeof MODULE_NAMES[0] == DPP_REG_MODULE_MAX + 1);

}  // namespace

uint32_t dpp_module_name_get(uint32_t mod_no, char* name) {
  QLIX_COMM_CHECK_INDEX_UPPER(mod_no, DPP_REG_MODULE_MAX);
  QLIX_COMM_CHECK_POINT(name);
  memcpy(name, MODULE_NAMES[mod_no], DPP_MODULE_NAME_SIZE);
  return QLIX_COMM_OK;
}
