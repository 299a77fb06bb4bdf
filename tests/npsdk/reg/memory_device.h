// A device whose raw hooks end in memory: words by address, all plain. Indirect windows finish at once and read what
// their data words hold. What registers do and what lies behind windows is the virtual card's (card_device.h).
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_setup.h"
#include "dpp_reg/dpp_reg.h"
#include "qlix_comm/print.h"

namespace np_test {

/// The status words of the two windows that the register layer drives itself.
inline constexpr uint32_t ALG_STATUS = 0x280000;
inline constexpr uint32_t TM_STATUS = 0x102000;

struct memory_device {
  std::map<uint32_t, uint32_t> words;
  std::vector<std::pair<uint32_t, uint32_t>> writes;  // address and value of every word written, in order
  uint32_t reads = 0;
  uint32_t fail_code = 0;            // returned in place of every access
  uint32_t good_reads = UINT32_MAX;  // reads after which every further one fails with code 1
  bool record = true;
};

/// The memory behind the device that dpp_dev_add was given these hooks for.
inline memory_device& memory() {
  static memory_device device;
  return device;
}

inline uint32_t memory_write(uint32_t, uint32_t addr, uint32_t word_count, const uint32_t* data) {
  memory_device& device = memory();
  if (device.fail_code != 0) {
    return device.fail_code;
  }
  for (uint32_t i = 0; i < word_count; ++i) {
    device.words[addr + 4 * i] = data[i];
    if (device.record) {
      device.writes.emplace_back(addr + 4 * i, data[i]);
    }
  }
  return 0;
}

inline uint32_t memory_read(uint32_t, uint32_t addr, uint32_t word_count, uint32_t* data) {
  memory_device& device = memory();
  if (device.fail_code != 0) {
    return device.fail_code;
  }
  if (device.reads == device.good_reads) {
    return 1;
  }
  ++device.reads;
  for (uint32_t i = 0; i < word_count; ++i) {
    data[i] = device.words[addr + 4 * i];
  }
  return 0;
}

/// Device `dev_id` on fresh memory, both access paths, no agent mode, print settings as at the start.
inline void memory_device_add(uint32_t dev_id, uint32_t access_type = DPP_DEV_ACCESS_TYPE_PCIE) {
  qlix_comm_set_print_level(QLIX_TRACE_PRINT);
  memory() = {.words = {{ALG_STATUS, 1}, {TM_STATUS, 1}}};
  const dpp_sys_init_ctrl init = {
      .device_type = DPP_DEV_TYPE_CHIP,
      .flags = access_type == DPP_DEV_ACCESS_TYPE_RISCV ? DPP_INIT_FLAG_ACCESS_RISCV : 0,
      .p_pcie_write_fun = memory_write,
      .p_pcie_read_fun = memory_read,
      .p_riscv_write_fun = memory_write,
      .p_riscv_read_fun = memory_read,
  };
  dpp_base_soft_init(dev_id, &init);
  dpp_reg_filter_en_set(0);
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
}

}  // namespace np_test
