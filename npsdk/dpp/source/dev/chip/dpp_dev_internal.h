// What the files of this folder know of a device beyond its public record.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_mutex.h"
#include "qlix_comm/check.h"

/// Every operation on a device begins with this.
#define DPP_DEV_CHECK_ID(dev_id) QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1)

inline constexpr uint32_t DPP_DEV_OPR_MUTEX_NUM = 16;

struct dpp_dev_mutexes {
  dpp_mutex operation[DPP_DEV_OPR_MUTEX_NUM];
  dpp_mutex hash[DPP_DEV_HASH_MUTEX_NUM];
  dpp_mutex dtb_queue[DPP_DEV_DTB_MUTEX_NUM];
  dpp_mutex dtb;
  qlix_comm_spin_lock spin_lock;
};

/// What processes share of a device.
struct dpp_card_state {
  dpp_card_lock lock;            ///< of the program; null hooks without one
  dpp_mutex mutex;               ///< around its calls
  std::atomic<pthread_t> owner;  ///< the thread that holds the card, 0 when none does
};

/// A device as it is allocated: the public record first, so that a pointer to one is a pointer to the other.
struct dpp_dev_object {
  dpp_dev_cfg cfg;
  dpp_dev_mutexes mutexes;
  dpp_card_state card;
};

/// Whether the device manager runs; says nothing when it does not.
bool dpp_dev_mgr_is_init();
/// The object of a device, or null when it was never added.
dpp_dev_object* dpp_dev_object_get(uint32_t dev_id);
uint32_t dpp_dev_mutexes_create(dpp_dev_mutexes& mutexes);

/// The devices whose soft interrupts are enabled, a bit for each.
extern std::atomic<uint32_t> dpp_dev_soft_ints;

/// Writes the words that capture is watching to the screen.
void dpp_pcie_cap_echo(uint32_t addr, uint32_t word_count, const uint32_t* data);
