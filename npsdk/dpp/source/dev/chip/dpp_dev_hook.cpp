// The default raw access hooks, and the capture of what the PCIe one writes.

#include <atomic>

#include "dpp_chip/dpp_dev_value.h"
#include "dpp_dev_internal.h"
#include "qlix_comm/print.h"

namespace {

constinit std::atomic<uint32_t> cap_en{0};
constinit std::atomic<uint32_t> cap_start{0};
constinit std::atomic<uint32_t> cap_end{0};

// The absolute address of `word_count` words from `addr` on.
uint32_t absolute_address(uint64_t base, uint32_t addr, uint32_t word_count, uint64_t* absolute) {
  uint64_t end = 0;
  if (__builtin_add_overflow(base, uint64_t{addr}, absolute) ||
      __builtin_add_overflow(*absolute, uint64_t{word_count} * 4, &end)) {
    QLIX_COMM_TRACE_ERROR("device address 0x%llx + 0x%x overflows\n", static_cast<unsigned long long>(base), addr);
    return QLIX_COMM_OUT_OF_RANGE;
  }
  if (base == 0) {
    QLIX_COMM_TRACE_ERROR("no register window is mapped, address 0x%08x\n", addr);
    return DPP_RC_DEV_NOT_EXIST;
  }
  return QLIX_COMM_OK;
}

// The window belongs to an endpoint and stands at an offset of its BAR: both must be known.
uint32_t pcie_address(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint64_t* absolute) {
  uint32_t ep_no = 0;
  uint32_t np_bar_offset = 0;
  QLIX_COMM_CALL(dpp_dev_ep_no_get, dev_id, &ep_no);
  QLIX_COMM_CALL(dpp_dev_np_bar_offset_get, dev_id, &np_bar_offset);
  return absolute_address(dpp_dev_get_pcie_addr(dev_id), addr, word_count, absolute);
}

uint32_t riscv_address(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint64_t* absolute) {
  return absolute_address(dpp_dev_get_riscv_addr(dev_id), addr, word_count, absolute);
}

void words_write(uint32_t /*addr*/, uint64_t absolute, uint32_t word_count, const uint32_t* data) {
  for (uint32_t i = 0; i < word_count; ++i) {
    dpp_pci_write32(absolute + uint64_t{i} * 4, data[i]);
  }
}

void words_echo_and_write(uint32_t addr, uint64_t absolute, uint32_t word_count, const uint32_t* data) {
  dpp_pcie_cap_echo(addr, word_count, data);
  words_write(addr, absolute, word_count, data);
}

void words_read(uint32_t /*addr*/, uint64_t absolute, uint32_t word_count, uint32_t* data) {
  for (uint32_t i = 0; i < word_count; ++i) {
    data[i] = dpp_pci_read32(absolute + uint64_t{i} * 4);
  }
}

}  // namespace

uint32_t dpp_pcie_cap_set(uint32_t en, uint32_t start, uint32_t end) {
  cap_en = en;
  cap_start = start;
  cap_end = end;
  QLIX_COMM_PRINT("PCIE CAPTURE: en = %d, start = %d, end = %d\n", en, start, end);
  return QLIX_COMM_OK;
}

void dpp_pcie_cap_echo(uint32_t addr, uint32_t word_count, const uint32_t* data) {
  if (cap_en == 0 || addr < cap_start || addr > cap_end) {
    return;
  }
  QLIX_COMM_PRINT("dpp_dev_pcie_default_write wr [0x%08x]:", addr);
  for (uint32_t i = 0; i < word_count; ++i) {
    QLIX_COMM_PRINT(" %08x", data[i]);
  }
  QLIX_COMM_PRINT("\n");
}

/// Defines a default hook: `address` finds the place of its words, `move` moves them.
// NOLINTBEGIN(bugprone-macro-parentheses): a type takes none
#define DEFAULT_HOOK(hook, words, address, move)                                    \
  uint32_t hook(uint32_t dev_id, uint32_t addr, uint32_t word_count, words* data) { \
    DPP_DEV_CHECK_ID(dev_id);                                                       \
    QLIX_COMM_CHECK_POINT(data);                                                    \
    uint64_t absolute = 0;                                                          \
    QLIX_COMM_PASS(address(dev_id, addr, word_count, &absolute));                   \
    move(addr, absolute, word_count, data);                                         \
    return QLIX_COMM_OK;                                                            \
  }
// NOLINTEND(bugprone-macro-parentheses)

DEFAULT_HOOK(dpp_dev_pcie_default_write, const uint32_t, pcie_address, words_echo_and_write)
DEFAULT_HOOK(dpp_dev_pcie_default_read, uint32_t, pcie_address, words_read)
DEFAULT_HOOK(dpp_dev_riscv_default_write, const uint32_t, riscv_address, words_write)
DEFAULT_HOOK(dpp_dev_riscv_default_read, uint32_t, riscv_address, words_read)
