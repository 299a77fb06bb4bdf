// Setting the traffic manager's statistics up: first the counting stops and its mode is chosen, then its area in eRAM
// is set and counting starts.
#include <unistd.h>

#include <algorithm>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_code.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t ERAM_LINES = 0x80000;
constexpr uint32_t DEPTH_MAX = 0x7FFFF;
constexpr uint32_t POLL_MAX = 1000;
constexpr useconds_t POLL_WAIT_US = 100;

uint32_t counting_set(uint32_t dev_id, uint32_t enable) {
  dpp_regs::stat_etm_en events = {};
  events.drop_en = enable;
  events.deq_en = enable;
  events.enq_en = enable;
  return QLIX_COMM_CALLED(dpp_reg_write, dev_id, 0, 0, events);
}

/// Waits until `reached` holds for a register.
template <typename Register, typename Reached>
uint32_t state_wait(uint32_t dev_id, Reached reached) {
  for (uint32_t poll = 0; poll < POLL_MAX; ++poll) {
    DPP_REG_READ(Register, state, dev_id, 0, 0);
    if (reached(state)) {
      return QLIX_COMM_OK;
    }
    usleep(POLL_WAIT_US);
  }
  return DPP_RC_DIAG_NOT_READY;
}

// Nothing of the traffic manager may be under way when its area moves.
uint32_t idle_wait(uint32_t dev_id) {
  return state_wait<dpp_regs::stat_busy>(dev_id, [](const auto& busy) { return busy.tm_busy == 0; });
}

uint32_t done_wait(uint32_t dev_id) {
  return state_wait<dpp_regs::stat_init_done>(dev_id, [](const auto& done) { return done.init_done != 0; });
}

}  // namespace

uint32_t diag_dpp_stat_tm_init_pre_etm(uint32_t dev_id, uint32_t stat_mode) {
  DPP_OPERATION_GUARD(guard, dev_id, DPP_DEV_MUTEX_T_STAT);
  QLIX_COMM_CALL(counting_set, dev_id, 0);
  QLIX_COMM_CALL(idle_wait, dev_id);
  dpp_regs::stat_tm_init_pre_cfg start = {};
  start.pre_init_start = 1;
  start.tm_stat_mode = stat_mode;
  QLIX_COMM_CALL(dpp_reg_write, dev_id, 0, 0, start);
  QLIX_COMM_CALL(done_wait, dev_id);
  QLIX_COMM_PRINT("stat tm pre init done, tm_stat_mode: %u\n", stat_mode);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_stat_tm_init(uint32_t dev_id, uint32_t eram_baddr, uint32_t eram_depth) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, eram_depth, 1, std::min(DEPTH_MAX, ERAM_LINES - eram_baddr));
  DPP_OPERATION_GUARD(guard, dev_id, DPP_DEV_MUTEX_T_STAT);
  QLIX_COMM_CALL(counting_set, dev_id, 0);
  QLIX_COMM_CALL(idle_wait, dev_id);
  dpp_regs::stat_tm_eram_baddr area = {};
  area.tm_eram_baddr = eram_baddr;
  QLIX_COMM_CALL(dpp_reg_write, dev_id, 0, 0, area);
  dpp_regs::stat_tm_init_cfg start = {};
  start.init_start = 1;
  start.tm_eram_depth = eram_depth;
  QLIX_COMM_CALL(dpp_reg_write, dev_id, 0, 0, start);
  QLIX_COMM_CALL(done_wait, dev_id);
  QLIX_COMM_CALL(counting_set, dev_id, 1);
  QLIX_COMM_PRINT("stat tm init done, eram_baddr: 0x%08x eram_depth: 0x%08x\n", eram_baddr, eram_depth);
  return QLIX_COMM_OK;
}
