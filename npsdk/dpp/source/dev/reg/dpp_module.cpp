#include "dpp_reg/dpp_reg_access.h"

namespace {

constexpr uint32_t SE_ALG_BASE = 0x280000;

}  // namespace

uint32_t dpp_module_get_se_alg_baseaddr() {
  return SE_ALG_BASE;
}
