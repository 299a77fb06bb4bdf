#include "registers.h"

#include "common/card_memory.h"
#include "common/report.h"
#include "kx_pcie/card_register.h"
#include "kx_pcie/tunnel.h"
#include "kx_vqm/cmd.h"

namespace {

uint32_t failures = 0;
uint32_t vqm_new = 0;

const char* message_of(card_write refused, uint32_t width) {
  switch (refused) {
    case card_write::read:
      return "read_val_from_kx failed!\n";
    case card_write::low:
      return width == 64 ? "write_val64_to_kx low32 failed!\n" : "write_val_to_kx failed!\n";
    case card_write::high:
      return "write_val64_to_kx high32 failed!\n";
    case card_write::done:
    case card_write::lock:  // has told why
      break;
  }
  return "";
}

static_assert(std::all_of(VQM_REGISTERS.registers.begin(), VQM_REGISTERS.registers.end(), [](const auto& row) {
  return row.index.length == 0 || vqm_index_kind_find(VQM_REGISTERS.view(row.index)) != std::size(VQM_INDEX_KINDS);
}));

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

uint64_t vqm_reg_read(uint64_t address, uint32_t width) {
  uint64_t value = 0;
  if (card_register_read(address, width, &value) != 0) {
    ++failures;
    kx_print("read_val_from_kx failed!\n");
    return UINT64_MAX >> (64 - width);
  }
  return value;
}

int32_t vqm_reg_write(uint64_t address, uint32_t width, uint64_t value) {
  const card_write result = card_register_write(address, width, value);
  if (result == card_write::done) {
    return 0;
  }
  ++failures;
  kx_print("%s", message_of(result, width));
  return -1;
}

uint32_t vqm_reg_failures() {
  return failures;
}

uint32_t vqm_new_get() {
  return vqm_new;
}

int32_t kxvqm_dev_init() {
  uint32_t version = 0;
  vqm_new = 0;  // what the card bound before had does not hold for this one
  if (read_val_from_kx(KX_CARD_VQM, &version) != 0) {
    kx_print("REG_READ_32 failed!\n");
    return -1;
  }
  vqm_new = version == VQM_NEW_VERSION ? 1 : 0;
  return 0;
}
