// Queues of the traffic manager that are full.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t QUEUE_NUM = 512;
constexpr uint32_t QUEUES_IN_WORD = 32;

uint32_t full_queue_prt(uint32_t dev_id, uint32_t queue) {
  DPP_REG_READ(dpp_regs::etm_qmu_queue_len, len, dev_id, 0, queue);
  DPP_REG_READ(dpp_regs::etm_cgavd_queue_th, threshold, dev_id, 0, queue);
  QLIX_COMM_PRINT("queue_id-%03u full, queue_len: 0x%08x queue_th: 0x%08x\n", queue, len.queue_len, threshold.queue_th);
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t diag_dpp_tm_qmu_qlen_full(uint32_t dev_id) {
  uint32_t full_num = 0;
  for (uint32_t word = 0; word < QUEUE_NUM / QUEUES_IN_WORD; ++word) {
    DPP_REG_READ(dpp_regs::etm_qmu_qlen_full, full, dev_id, 0, word);
    for (uint32_t bit = 0; bit < QUEUES_IN_WORD; ++bit) {
      if ((full.qlen_full >> bit & 1) != 0) {
        QLIX_COMM_CALL(full_queue_prt, dev_id, word * QUEUES_IN_WORD + bit);
        ++full_num;
      }
    }
  }
  QLIX_COMM_PRINT("Total full queues: %u of %u\n", full_num, QUEUE_NUM);
  return QLIX_COMM_OK;
}
