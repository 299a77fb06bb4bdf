#include "registers.h"

#include "reg_access.h"

namespace {

constexpr bool all_index_kinds_are_known() {
  for (const kx_register_description& row : VQM_REGISTERS.registers) {
    if (row.index.length != 0 && vqm_index_kind_find(VQM_REGISTERS.view(row.index)) == std::size(VQM_INDEX_KINDS)) {
      return false;
    }
  }
  return true;
}
static_assert(all_index_kinds_are_known());

// The group of a list stands before its dot.
uint64_t window_of(std::string_view list) {
  if (list.starts_with("host.")) {
    return VQM_WINDOWS.host_bar_addr;
  }
  if (list.starts_with("hot.")) {
    return VQM_WINDOWS.gdma_bar_addr;
  }
  return list.starts_with("MODE.") ? VQM_WINDOWS.vqm_gdma_bar_addr : VQM_WINDOWS.bar_addr;
}

}  // namespace

uint64_t vqm_register_address(const kx_register_description& row, uint64_t index) {
  const uint32_t layout = vqm_new_get();
  return window_of(VQM_REGISTERS.view(row.list)) + row.offset[layout] + row.stride[layout] * index;
}

uint64_t vqm_register_read(const kx_register_description& row, uint64_t index) {
  const uint64_t address = vqm_register_address(row, index);
  switch (row.width) {
    case 16:
      return vqm_reg_read_16(address);
    case 32:
      return vqm_reg_read_32(address);
    default:
      return vqm_reg_read_64(address);
  }
}

int32_t vqm_register_write(const kx_register_description& row, uint64_t index, uint64_t value) {
  const uint64_t address = vqm_register_address(row, index);
  switch (row.width) {
    case 16:
      return vqm_reg_write_16(address, static_cast<uint16_t>(value));
    case 32:
      return vqm_reg_write_32(address, static_cast<uint32_t>(value));
    default:
      return vqm_reg_write_64(address, value);
  }
}
