// Moving a cluster of the packet processor under the micro-code debugger: start, step, stop.
#include <unistd.h>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_mutex.h"
#include "dpp_diag/dpp_diag_code.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_ppu.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t POLL_MAX = 1000;
constexpr useconds_t POLL_WAIT_US = 100;
constexpr uint32_t POLLS_AT_ONCE = 10;

using control_field = uint32_t dpp_regs::ppu_cls_dbg_ctrl::*;

struct debug_state {
  bool running;
  bool stopped;
  uint32_t pc;
};

uint32_t state_get(uint32_t dev_id, uint32_t cluster, debug_state* state) {
  DPP_REG_READ(dpp_regs::ppu_cls_dbg_status, status, dev_id, 0, cluster);
  state->running = status.dbg_running != 0;
  state->stopped = status.dbg_stopped != 0;
  state->pc = status.dbg_pc;
  // A cluster is one or the other; both is what a card says that has fallen off the bus.
  if (state->running && state->stopped) {
    QLIX_COMM_TRACE_DEV_ERROR(dev_id, "cluster %u does not tell its state\n", cluster);
    return DPP_RC_DIAG_WRONG_STATE;
  }
  return QLIX_COMM_OK;
}

uint32_t control(uint32_t dev_id, uint32_t cluster, control_field field) {
  dpp_regs::ppu_cls_dbg_ctrl fields = {};
  fields.*field = 1;
  return QLIX_COMM_CALLED(dpp_reg_write, dev_id, 0, cluster, fields);
}

// Waits for the cluster to stop; with `or_running` that it runs will do.
uint32_t state_wait(uint32_t dev_id, uint32_t cluster, bool or_running) {
  for (uint32_t poll = 0; poll < POLL_MAX; ++poll) {
    debug_state state = {};
    QLIX_COMM_CALL(state_get, dev_id, cluster, &state);
    if (state.stopped) {
      QLIX_COMM_PRINT("cluster-%03u stopped at pc: 0x%04x\n", cluster, state.pc);
      return QLIX_COMM_OK;
    }
    if (or_running && state.running) {
      QLIX_COMM_PRINT("cluster-%03u running\n", cluster);
      return QLIX_COMM_OK;
    }
    if (poll >= POLLS_AT_ONCE) {
      usleep(POLL_WAIT_US);
    }
  }
  return DPP_RC_DIAG_NOT_READY;
}

uint32_t move(uint32_t dev_id, uint32_t cluster, control_field field, bool from_stop) {
  DPP_OPERATION_GUARD(guard, dev_id, DPP_DEV_MUTEX_T_CAPTURE);
  debug_state state = {};
  QLIX_COMM_CALL(state_get, dev_id, cluster, &state);
  if (from_stop && !state.stopped) {
    QLIX_COMM_TRACE_DEV_ERROR(dev_id, "cluster %u is not stopped\n", cluster);
    return DPP_RC_DIAG_WRONG_STATE;
  }
  QLIX_COMM_CALL(control, dev_id, cluster, field);
  QLIX_COMM_CALL(state_wait, dev_id, cluster, field == &dpp_regs::ppu_cls_dbg_ctrl::dbg_start);
  return guard.unlock();
}

}  // namespace

uint32_t dpp_softdbg_start(uint32_t dev_id, uint32_t cluster, uint32_t me_id, uint32_t thread_id) {
  dpp_regs::ppu_cls_dbg_me_sel select = {};
  select.me_sel = me_id;
  select.thread_sel = thread_id;
  QLIX_COMM_CALL(dpp_reg_write, dev_id, 0, cluster, select);
  return QLIX_COMM_CALLED(move, dev_id, cluster, &dpp_regs::ppu_cls_dbg_ctrl::dbg_start, false);
}

uint32_t dpp_softdbg_move(uint32_t dev_id, uint32_t cluster, uint32_t how) {
  using fields = dpp_regs::ppu_cls_dbg_ctrl;
  constexpr control_field MOVES[] = {&fields::step_into, &fields::step_over, &fields::dbg_stop};
  const control_field field = MOVES[how];
  return QLIX_COMM_CALLED(move, dev_id, cluster, field, field != &fields::dbg_stop);
}
