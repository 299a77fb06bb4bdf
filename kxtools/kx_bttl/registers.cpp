#include "registers.h"

#include "common/report.h"
#include "kx_pcie/tunnel.h"

int32_t bttl_reg_read(uint64_t address, uint32_t* value) {
  if (read_val_from_kx(address, value) != 0) {
    kx_print("[dtp] read reg 0x%llx failed!\n", static_cast<unsigned long long>(address));
    return -1;
  }
  return 0;
}

int32_t bttl_list_show(uint64_t base, std::string_view list, uint32_t index) {
  for (const kx_register_description& row : BTTL_REGISTERS.list(list)) {
    const uint32_t offset = row.offset[0] + row.stride[0] * index;
    uint32_t value = 0;
    if (bttl_reg_read(base + offset, &value) != 0) {
      return -1;
    }
    const std::string_view name = BTTL_REGISTERS.view(row.name);
    kx_print("%04x %-36.*s:0x%x\n", offset & 0xFFFF, static_cast<int>(name.size()), name.data(), value);
  }
  return 0;
}
