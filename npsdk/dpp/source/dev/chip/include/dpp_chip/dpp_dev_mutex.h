// The mutexes of a device. Which hardware each family serialises is said here; the register operations themselves take
// none, the indirect windows and the table engines do.
#pragma once

#include <cstdint>

#include "dpp_chip/dpp_mutex.h"

/// Operation types of dpp_dev_opr_mutex_get. Types 3 and 7 have no mutex.
enum dpp_dev_mutex_type : uint32_t {
  DPP_DEV_MUTEX_T_SE_ALG = 0,    ///< search-engine indirect register window
  DPP_DEV_MUTEX_T_SMMU0 = 1,     ///< eRAM indirect window
  DPP_DEV_MUTEX_T_SMMU1 = 2,     ///< DDR indirect window
  DPP_DEV_MUTEX_T_ETCAM = 4,     ///< ternary memory indirect window
  DPP_DEV_MUTEX_T_CAR = 5,       ///< policer indirect windows
  DPP_DEV_MUTEX_T_ETM = 6,       ///< traffic-manager indirect window
  DPP_DEV_MUTEX_T_STAT = 8,      ///< statistics indirect window
  DPP_DEV_MUTEX_T_PKTRX = 9,     ///< packet-receive tables
  DPP_DEV_MUTEX_T_PPU = 10,      ///< cluster tables and instruction memory
  DPP_DEV_MUTEX_T_TSN = 11,      ///< gate-list window
  DPP_DEV_MUTEX_T_SDT = 12,      ///< table-number records
  DPP_DEV_MUTEX_T_LPM = 13,      ///< route tables
  DPP_DEV_MUTEX_T_OAM = 14,      ///< maintenance-point tables
  DPP_DEV_MUTEX_T_TLB = 15,      ///< address translation entries
  DPP_DEV_MUTEX_T_CAPTURE = 16,  ///< packet capture and soft debugger
  DPP_DEV_MUTEX_T_DTB = 17,      ///< the queue engine as a whole; its queues have mutexes of their own
  DPP_DEV_MUTEX_T_CLEAR = 18,    ///< whole-block clears
};
inline constexpr uint32_t DPP_DEV_MUTEX_T_MAX = 19;
inline constexpr uint32_t DPP_DEV_HASH_MUTEX_NUM = 4;
inline constexpr uint32_t DPP_DEV_DTB_MUTEX_NUM = 128;

// All: device or type out of range 0x1205, null pointer 0x1201, device not added or no such mutex 1. The mutex lives as
// long as the process.
uint32_t dpp_dev_opr_mutex_get(uint32_t dev_id, uint32_t type, dpp_mutex** mutex);
uint32_t dpp_dev_hash_opr_mutex_get(uint32_t dev_id, uint32_t hash_engine, dpp_mutex** mutex);
/// The mutex of one DTB queue; any `type` but DPP_DEV_MUTEX_T_DTB returns 1.
uint32_t dpp_dev_dtb_opr_mutex_get(uint32_t dev_id, uint32_t type, uint32_t queue_id, dpp_mutex** mutex);
uint32_t dpp_dev_opr_spin_lock_get(uint32_t dev_id, qlix_comm_spin_lock** lock);
