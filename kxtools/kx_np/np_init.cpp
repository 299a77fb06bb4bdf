#include "kx_np/np_init.h"

#include <utility>

#include "common/card_memory.h"
#include "common/signals.h"
#include "common/status_line.h"
#include "dpp_chip/dpp_card_guard.h"
#include "dpp_chip/dpp_dev_setup.h"
#include "dpp_diag/dpp_kshell.h"
#include "dpp_diag/dpp_work.h"
#include "kx_pcie/card_lock.h"
#include "kx_pcie/tunnel.h"
#include "qlix_comm/check.h"

namespace {

constinit card_lock card;  // the driver takes and gives it one at a time

uint32_t card_take(uint32_t /*dev_id*/) {
  return card.take() ? 0 : 1;
}

void card_give(uint32_t /*dev_id*/) {
  card.release();
}

// The guard of the driver's long work; plain, because it must cost nothing before main.
kx_signal_guard* work_guard = nullptr;

void work_begin() {
  work_guard = new kx_signal_guard;
}

bool work_interrupted() {
  return kx_signal_guard::raised() != 0;
}

void work_end() {
  delete std::exchange(work_guard, nullptr);
}

void work_status(const char* text) {
  text == nullptr ? kx_status_clear() : kx_status_show(text);
}

constexpr dpp_work_hooks WORK_HOOKS = {work_begin, work_interrupted, work_end, work_status};

}  // namespace

uint32_t dpp_dev_pcie_vpd_read(uint32_t dev_id, uint32_t offset, uint32_t count, uint32_t* buf) {
  QLIX_COMM_CHECK_POINT(buf);
  for (uint32_t i = 0; i < count; ++i) {
    if (read_val_from_kx(KX_CARD_NP + offset + uint64_t{4} * i, &buf[i]) != 0) {
      QLIX_COMM_TRACE_DEV_ERROR(dev_id, "read_val_from_kx failed!\n");
      return 1;
    }
  }
  return QLIX_COMM_OK;
}

// A failed write is known to scripts by the line of the read.
uint32_t dpp_dev_pcie_vpd_write(uint32_t dev_id, uint32_t offset, uint32_t count, const uint32_t* buf) {
  QLIX_COMM_CHECK_POINT(buf);
  for (uint32_t i = 0; i < count; ++i) {
    if (write_val_to_kx(KX_CARD_NP + offset + uint64_t{4} * i, buf[i]) != 0) {
      QLIX_COMM_TRACE_DEV_ERROR(dev_id, "read_val_from_kx failed!\n");
      return 1;
    }
  }
  return QLIX_COMM_OK;
}

int32_t dpp_np_init() {
  dpp_work_hooks_set(&WORK_HOOKS);
  qlix_comm_set_before_print(kx_status_clear);
  qlix_comm_set_log_en(0);
  dpp_sys_init_ctrl init = {};
  init.device_type = DPP_DEV_TYPE_CHIP;
  init.p_pcie_read_fun = dpp_dev_pcie_vpd_read;
  init.p_pcie_write_fun = dpp_dev_pcie_vpd_write;
  if (dpp_base_soft_init(KX_NP_DEVICE, &init) != QLIX_COMM_OK ||
      dpp_dev_card_lock_set(KX_NP_DEVICE, {card_take, card_give}) != QLIX_COMM_OK) {
    QLIX_COMM_TRACE_ERROR("dpp_base_soft_init failed!\n");
    return -1;
  }
  // The tool is useful without the kernel side of the driver, so nobody wants to hear that it is not there.
  qlix_comm_set_print_en(0);
  static_cast<void>(dpp_netlink_init());
  qlix_comm_set_print_en(1);
  return 0;
}
