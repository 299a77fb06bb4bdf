#include "memory_device.h"

#include "dpp_chip/dpp_dev_setup.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_reg/dpp_reg.h"
#include "qlix_comm/print.h"

namespace np_test {

namespace {

constexpr uint32_t alg_base = 0x280000;
constexpr uint32_t alg_words = 16;
constexpr uint32_t tm_command = 0x100284;
constexpr uint32_t tm_data = 0x100288;
constexpr uint32_t tm_status = 0x102000;

void alg_command(uint32_t base, uint32_t command) {
  memory_device& device = memory();
  std::array<uint32_t, alg_words>& line = device.alg_lines[command & 0x1FFFFF];
  for (uint32_t i = 0; i < alg_words; ++i) {
    uint32_t& word = device.words[base + 8 + 60 - 4 * i];
    if (command >> 31 != 0) {
      word = line[i];
    } else {
      line[i] = word;
    }
  }
  device.words[base] = device.windows_answer ? 1 : 0;
}

void tm_window_command(uint32_t command) {
  memory_device& device = memory();
  if (command >> 31 != 0) {
    device.words[tm_data] = device.tm_words[command & 0xFFFFF];
  } else {
    device.tm_words[command & 0xFFFFF] = device.words[tm_data];
  }
  device.words[tm_status] = device.windows_answer ? 1 : 0;
}

}  // namespace

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
  const uint32_t base = alg_base + device.window_shift;
  if (addr == base + 4) {
    alg_command(base, data[0]);
  } else if (addr == tm_command) {
    tm_window_command(data[0]);
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
  memory() = {};
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
