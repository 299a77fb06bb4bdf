// What the files of this folder share.
#pragma once

#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_mutex.h"
#include "dpp_dtb/dpp_dtb.h"
#include "qlix_comm/check.h"

inline constexpr uint32_t DTB_ACK_TEST = 0x12345678;    ///< memory test at initialisation
inline constexpr uint32_t DTB_ACK_POSTED = 0x11111100;  ///< handed to the chip
inline constexpr uint32_t DTB_ACK_DONE = 0x5A5A5A;      ///< upper 24 bits of a completion
inline constexpr uint32_t DTB_ACK_STATUS_MASK = 0xFF;
inline constexpr uint32_t DTB_ACK_SUCCESS = 0xFF;

/// The switches of the engine, one bit each: a post asks for several.
inline constexpr uint32_t DTB_SWITCH_INFO_CHECK = 1u << 0;
inline constexpr uint32_t DTB_SWITCH_PRINT = 1u << 1;
inline constexpr uint32_t DTB_SWITCH_SOFT_PERF = 1u << 2;
inline constexpr uint32_t DTB_SWITCH_HARDWARE_PERF = 1u << 3;
inline constexpr uint32_t DTB_SWITCH_DEBUG = 1u << 4;
extern std::atomic<uint32_t> dtb_switches;

inline bool dtb_switch_on(uint32_t bits) {
  return (dtb_switches.load(std::memory_order_relaxed) & bits) != 0;
}

inline uint32_t dtb_ack_state(uint32_t ack) {
  return ack >> 8;
}

inline uint64_t dtb_item_addr(const dpp_dtb_items& items, uint32_t item) {
  return items.vir_base + uint64_t{item} * items.item_size;
}

#define DTB_CHECK_QUEUE(dev_id, queue_id)               \
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1); \
  QLIX_COMM_CHECK_INDEX_UPPER(queue_id, DPP_DTB_QUEUE_NUM - 1)

/// Holds the mutex that `mutex_get` finds for the arguments behind it; makes the surrounding function return when it
/// cannot be had.
#define DTB_GUARD(name, mutex_get, ...)                  \
  dpp_mutex* name##_mutex = nullptr;                     \
  QLIX_COMM_CALL(mutex_get, __VA_ARGS__, &name##_mutex); \
  DPP_MUTEX_GUARD(name, name##_mutex);                   \
  QLIX_COMM_PASS((name).status())

extern std::atomic<dpp_dtb_mgr*> dtb_managers[DPP_DEV_MAX];

inline dpp_dtb_items* dtb_items_of(dpp_dtb_queue* queue, uint32_t dir) {
  return dir == DPP_DTB_DIR_DOWN ? &queue->down : &queue->dump;
}

/// Says why a queue has no items in a direction.
[[gnu::cold]] uint32_t dtb_items_refuse(uint32_t dev_id, uint32_t queue_id, uint32_t dir);

/// The items of one direction of an initialised queue; null with the code of what it lacks.
inline uint32_t dtb_items_get(uint32_t dev_id, uint32_t queue_id, uint32_t dir, dpp_dtb_items** items) {
  if (dev_id < DPP_DEV_MAX && queue_id < DPP_DTB_QUEUE_NUM && dir <= DPP_DTB_DIR_DUMP) {
    dpp_dtb_mgr* mgr = dtb_managers[dev_id].load(std::memory_order_acquire);
    *items = mgr != nullptr ? dtb_items_of(&mgr->queue[queue_id], dir) : nullptr;
    if (*items != nullptr && (*items)->inited != 0) {
      return QLIX_COMM_OK;
    }
  }
  *items = nullptr;
  const uint32_t rc = dtb_items_refuse(dev_id, queue_id, dir);
  return rc != QLIX_COMM_OK ? rc : DPP_RC_DTB_QUEUE_NOT_INIT;  // whoever reads this alone sees that it is none
}
