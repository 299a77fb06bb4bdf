// Counters of whole blocks read away.
#include <string_view>

#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_mutex.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_info.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t MODULE_SE = 6;
constexpr uint32_t MODULE_ALL = DPP_REG_MODULE_MAX + 1;

// The description marks counters that a read clears by the end of their name.
bool is_counter(const dpp_reg_info& info) {
  return std::string_view(dpp_reg_text_get(info.name)).ends_with("_cnt") && dpp_reg_fields_get(info)[0].flag == 0;
}

uint32_t counters_clear(uint32_t dev_id, uint32_t module, uint32_t* cleared) {
  dpp_mutex* mutex = nullptr;
  QLIX_COMM_CALL(dpp_dev_opr_mutex_get, dev_id, DPP_DEV_MUTEX_T_CLEAR, &mutex);
  DPP_MUTEX_GUARD(guard, mutex);
  QLIX_COMM_CHECK_DEV_RC(dev_id, guard.status(), "qlix_comm_mutex_lock");
  for (uint32_t reg_no = 0; reg_no < DPP_REG_NUM; ++reg_no) {
    const dpp_reg_info& info = *dpp_reg_info_get(reg_no);
    if ((module != MODULE_ALL && info.mod_no != module) || !is_counter(info)) {
      continue;
    }
    QLIX_COMM_CALL(dpp_reg_read_away, dev_id, reg_no);
    ++*cleared;
  }
  return guard.unlock();
}

}  // namespace

uint32_t clear_dpp(uint32_t dev_id) {
  uint32_t cleared = 0;
  QLIX_COMM_CALL(counters_clear, dev_id, MODULE_ALL, &cleared);
  QLIX_COMM_PRINT("clear_dpp: the counters of %u registers are cleared.\n", cleared);
  return QLIX_COMM_OK;
}

uint32_t clear_dpp_se(uint32_t dev_id) {
  uint32_t cleared = 0;
  QLIX_COMM_CALL(counters_clear, dev_id, MODULE_SE, &cleared);
  QLIX_COMM_PRINT("clear_dpp_se: the counters of %u registers are cleared.\n", cleared);
  return QLIX_COMM_OK;
}
