#include "mailbox_lock.h"

#include <mutex>

#include "channel/mailbox.h"
#include "common/report.h"
#include "common/wait.h"
#include "mailbox_slot.h"
#include "qlix_comm/device_order.h"

namespace {

constinit std::mutex lock_array[BAR_LOCK_NUM];

constexpr uint32_t PROCESS_LOCKS_TO_TOOL = 1088;  // where the locks of destination 0 begin
constexpr uint32_t PROCESS_LOCKS_OF_VFS = 32;
constexpr uint32_t HARDWARE_LOCKS_TO_TOOL = 40;
constexpr uint16_t PCIE_ID_IS_PF = 1 << 11;
constexpr uint16_t OWNER_IS_LOCKED = 0x8000;

constexpr kx_wait_limit SPIN_LIMIT = {.step_us = 1000, .looks = 200};

// Regions of the hardware locks, from the mailbox area and, for the owner of a physical function, from BAR 0.
constexpr uint64_t SPIN_TO_TOOL = 0x1000;
constexpr uint64_t LABEL_TO_TOOL = 0x2800;
constexpr uint64_t SPIN_TO_CARD = 0x2000;
constexpr uint64_t LABEL_TO_CARD = 0x3800;
constexpr uint64_t SPIN_IN_BAR = 0x4000;
constexpr uint64_t LABEL_IN_BAR = 0x5800;

constexpr uint32_t pcie_id_endpoint(uint16_t pcie_id) {
  return (pcie_id >> 12) & 7;
}
constexpr uint32_t pcie_id_function(uint16_t pcie_id) {
  return (pcie_id >> 8) & 7;
}

struct spin_regions {
  kx_mmio_region spin;
  kx_mmio_region label;
};

spin_regions spin_regions_get(const kx_mmio_region& area, uint16_t dst) {
  if (dst == BAR_MSG_ENDPOINT_CARD) {
    return {area.from(SPIN_TO_CARD), area.from(LABEL_TO_CARD)};
  }
  return {area.from(SPIN_TO_TOOL), area.from(LABEL_TO_TOOL)};
}

}  // namespace

uint32_t bar_process_lock_id(uint16_t pcie_id, uint16_t dst) {
  const uint32_t endpoint = pcie_id_endpoint(pcie_id);
  const uint32_t function = pcie_id_function(pcie_id);
  uint32_t id = 0;
  if (dst == BAR_MSG_ENDPOINT_TOOL) {
    id = function + 8 * endpoint + PROCESS_LOCKS_TO_TOOL;
  } else if (dst == BAR_MSG_ENDPOINT_CARD && (pcie_id & PCIE_ID_IS_PF) != 0) {
    id = function + 8 * endpoint;
  } else if (dst == BAR_MSG_ENDPOINT_CARD) {
    id = (pcie_id & 0xFFu) + (endpoint << 8) + (function << 5) + PROCESS_LOCKS_OF_VFS;
  }
  return id < BAR_LOCK_NUM ? id : 0;
}

uint32_t bar_hardware_lock_id(uint16_t pcie_id, uint16_t dst) {
  const uint32_t id = 8 * pcie_id_endpoint(pcie_id) + pcie_id_function(pcie_id);
  switch (dst) {
    case BAR_MSG_ENDPOINT_TOOL:
      return id + HARDWARE_LOCKS_TO_TOOL;
    case BAR_MSG_ENDPOINT_CARD:
      return id;
    default:
      return 0;
  }
}

int32_t bar_hardware_lock(uint32_t lock_id, const kx_mmio_region& spin, const kx_mmio_region& label, uint16_t owner) {
  if (!spin.holds(lock_id, sizeof(uint8_t)) || !label.holds(2 * uint64_t{lock_id}, sizeof(uint16_t))) {
    return MSG_CHAN_ERR("the BAR does not reach to lock_id:%u.\n", lock_id);
  }
  uint8_t value = 0xFF;
  const kx_waited waited = kx_wait(SPIN_LIMIT, [&] {
    value = kx_mmio_read8(spin, lock_id);
    return value == 0 ? kx_look::done : kx_mmio_is_lost(spin) ? kx_look::gone : kx_look::busy;
  });
  if (waited != kx_waited::done) {
    return MSG_CHAN_ERR("spl val: 0x%x lock_id:%u.\n", value, lock_id);
  }
  kx_mmio_write16(label, 2 * uint64_t{lock_id}, owner | OWNER_IS_LOCKED);
  return 0;
}

void bar_hardware_unlock(uint32_t lock_id, const kx_mmio_region& spin, const kx_mmio_region& label) {
  if (!spin.holds(lock_id, sizeof(uint8_t)) || !label.holds(2 * uint64_t{lock_id}, sizeof(uint16_t))) {
    return;
  }
  kx_mmio_write16(label, 2 * uint64_t{lock_id}, 0);
  qlix_comm_order_words_before_ready();
  kx_mmio_write8(spin, lock_id, 0);
}

int32_t bar_chan_lock(uint16_t src, uint16_t dst, uint16_t pcie_id, const kx_mmio_region& area) {
  bar_route route = {};
  if (!bar_route_get(bar_row_index(src), bar_column_index(dst), &route)) {
    MSG_CHAN_ERR("lock ERR: chan doesn't exist.\n");
    return BAR_MSG_ERR_CHAN;
  }
  if (route.lock_type == 0) {
    lock_array[bar_process_lock_id(pcie_id, dst)].lock();
    return 0;
  }
  const spin_regions regions = spin_regions_get(area, dst);
  return bar_hardware_lock(bar_hardware_lock_id(pcie_id, dst), regions.spin, regions.label, pcie_id);
}

int32_t bar_chan_unlock(uint16_t src, uint16_t dst, uint16_t pcie_id, const kx_mmio_region& area) {
  bar_route route = {};
  if (!bar_route_get(bar_row_index(src), bar_column_index(dst), &route)) {
    MSG_CHAN_ERR("unlock ERR: chan doesn't exist.\n");
    return BAR_MSG_ERR_CHAN;
  }
  if (route.lock_type == 0) {
    lock_array[bar_process_lock_id(pcie_id, dst)].unlock();
    return 0;
  }
  const spin_regions regions = spin_regions_get(area, dst);
  bar_hardware_unlock(bar_hardware_lock_id(pcie_id, dst), regions.spin, regions.label);
  return 0;
}

void bar_chan_pf_init_spinlock(uint16_t pcie_id, const kx_mmio_region& bar0) {
  const kx_mmio_region spin = bar0.from(SPIN_IN_BAR);
  const kx_mmio_region label = bar0.from(LABEL_IN_BAR);
  for (const uint16_t dst : {BAR_MSG_ENDPOINT_CARD, BAR_MSG_ENDPOINT_TOOL}) {
    bar_hardware_unlock(bar_hardware_lock_id(pcie_id, dst), spin, label);
  }
}
