#include "registers.h"

#include "common/report.h"
#include "kx_pcie/card_register.h"

int32_t bttl_reg_read(uint64_t base, const kx_register_description& row, uint32_t index, uint32_t* value) {
  const uint64_t address = card_register_address(base, row, index);
  uint64_t read = 0;
  if (card_register_read(address, row.width, &read) != 0) {
    kx_print("[dtp] read reg 0x%llx failed!\n", static_cast<unsigned long long>(address));
    return -1;
  }
  *value = static_cast<uint32_t>(read);
  return 0;
}

int32_t bttl_list_show(uint64_t base, std::string_view list, uint32_t index) {
  for (const kx_register_description& row : BTTL_REGISTERS.list(list)) {
    uint32_t value = 0;
    if (bttl_reg_read(base, row, index, &value) != 0) {
      return -1;
    }
    const std::string_view name = BTTL_REGISTERS.view(row.name);
    kx_print("%04x %-36.*s:0x%x\n", static_cast<uint32_t>(card_register_address(0, row, index)) & 0xFFFF,
             static_cast<int>(name.size()), name.data(), value);
  }
  return 0;
}
