#include "registers.h"

#include "common/card_memory.h"
#include "kx_pcie/card_register.h"
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
    return KX_CARD_VQM_HOST;
  }
  if (list.starts_with("hot.")) {
    return KX_CARD_GDMA;
  }
  return list.starts_with("MODE.") ? KX_CARD_VQM_GDMA : KX_CARD_VQM;
}

}  // namespace

uint64_t vqm_register_address(const kx_register_description& row, uint64_t index) {
  return card_register_address(window_of(VQM_REGISTERS.view(row.list)), row, index, vqm_new_get());
}

uint64_t vqm_register_read(const kx_register_description& row, uint64_t index) {
  return vqm_reg_read(vqm_register_address(row, index), row.width);
}

int32_t vqm_register_write(const kx_register_description& row, uint64_t index, uint64_t value) {
  return vqm_reg_write(vqm_register_address(row, index), row.width, value);
}
