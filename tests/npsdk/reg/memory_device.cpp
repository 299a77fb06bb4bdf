#include "memory_device.h"

#include "dpp_chip/dpp_dev_setup.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_reg/dpp_reg.h"
#include "qlix_comm/print.h"

namespace np_test {

memory_device& memory() {
  static memory_device device;
  return device;
}

uint32_t memory_write(uint32_t, uint32_t addr, uint32_t word_count, const uint32_t* data) {
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

uint32_t memory_read(uint32_t, uint32_t addr, uint32_t word_count, uint32_t* data) {
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

void memory_device_add(uint32_t dev_id, uint32_t access_type) {
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
