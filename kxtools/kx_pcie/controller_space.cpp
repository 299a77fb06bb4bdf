#include "kx_pcie/controller_space.h"

#include "common/report.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/tunnel.h"

namespace {

constexpr uint32_t CONTROLLERS = 5;
constexpr uint64_t DBI_BASE[CONTROLLERS] = {0x8400000000, 0x8500000000, 0x8600000000, 0x8700000000, 0x8800000000};
// Controller 4 stands apart from the stride of the others.
constexpr uint64_t CSR_BASE[CONTROLLERS] = {0x6310000000, 0x6314000000, 0x6318000000, 0x631C000000, 0x6320100000};

constexpr uint32_t DBI_MISC_CONTROL = 0x8BC;
constexpr uint32_t DBI_READ_ONLY_WRITE_ENABLE = 1;

constexpr uint32_t EXTENDED_CAPABILITY_FIRST = 0x100;
constexpr int EXTENDED_CAPABILITIES_MAX = (PCIE_CFG_SIZE - EXTENDED_CAPABILITY_FIRST) / 8;

bool is_controller(uint32_t ep_no) {
  if (ep_no >= CONTROLLERS) {
    kx_print("ep_no input error\n");
    return false;
  }
  return true;
}

}  // namespace

int32_t pcie_dbi_read(uint32_t ep_no, uint32_t offset, uint32_t* value) {
  return is_controller(ep_no) ? read_val_from_kx(DBI_BASE[ep_no] + offset, value) : -1;
}

int32_t pcie_dbi_write_mask(uint32_t ep_no, uint32_t offset, uint32_t value, uint32_t mask) {
  return is_controller(ep_no) ? write_mask_to_kx(DBI_BASE[ep_no] + offset, value, mask) : -1;
}

int32_t pcie_csr_read(uint32_t ep_no, uint32_t offset, uint32_t* value) {
  return is_controller(ep_no) ? read_val_from_kx(CSR_BASE[ep_no] + offset, value) : -1;
}

int32_t pcie_csr_write(uint32_t ep_no, uint32_t offset, uint32_t value) {
  return is_controller(ep_no) ? write_val_to_kx(CSR_BASE[ep_no] + offset, value) : -1;
}

int32_t pcie_csr_write_mask(uint32_t ep_no, uint32_t offset, uint32_t value, uint32_t mask) {
  return is_controller(ep_no) ? write_mask_to_kx(CSR_BASE[ep_no] + offset, value, mask) : -1;
}

int32_t pcie_dbi_ro_wr_en(uint32_t ep_no, uint32_t enable) {
  return pcie_dbi_write_mask(ep_no, DBI_MISC_CONTROL, enable, DBI_READ_ONLY_WRITE_ENABLE);
}

int32_t pcie_find_ext_capability_directly(uint64_t base, uint16_t id, uint16_t vsec_id, uint32_t* offset) {
  uint32_t at = EXTENDED_CAPABILITY_FIRST;
  for (int i = 0; i < EXTENDED_CAPABILITIES_MAX && at >= EXTENDED_CAPABILITY_FIRST && at <= PCIE_CFG_SIZE - 4; ++i) {
    uint32_t header = 0;
    int32_t result = read_val_from_kx(base + at, &header);
    if (result != 0) {
      return result;
    }
    if (i == 0 && (header == 0 || header == 0xFFFFFFFF)) {
      kx_print("cap_id_addr invalid\n");
      return -1;
    }
    if ((header & 0xFFFF) == id) {
      uint32_t vsec = vsec_id;
      if (id == PCI_ECAP_ID_VENDOR) {
        result = read_val_from_kx(base + at + 4, &vsec);
        if (result != 0) {
          return result;
        }
      }
      if ((vsec & 0xFFFF) == vsec_id) {
        *offset = at;
        return 0;
      }
    }
    at = header >> 20;
  }
  kx_print("pcie ecap[0x%X] not find\n", id);
  return -1;
}
