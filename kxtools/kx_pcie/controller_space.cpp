#include "kx_pcie/controller_space.h"

#include "common/report.h"
#include "kx_pcie/capability_walk.h"
#include "kx_pcie/tunnel.h"

namespace {

constexpr uint32_t CONTROLLERS = 5;
constexpr uint64_t DBI_BASE[CONTROLLERS] = {0x8400000000, 0x8500000000, 0x8600000000, 0x8700000000, 0x8800000000};
// Controller 4 stands apart from the stride of the others.
constexpr uint64_t CSR_BASE[CONTROLLERS] = {0x6310000000, 0x6314000000, 0x6318000000, 0x631C000000, 0x6320100000};

constexpr uint32_t DBI_MISC_CONTROL = 0x8BC;
constexpr uint32_t DBI_READ_ONLY_WRITE_ENABLE = 1;

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
  const pcie_walk_result found = pcie_ext_capability_walk(
      [base](uint32_t at, uint32_t* value) { return read_val_from_kx(base + at, value); }, id, vsec_id);
  switch (found.end) {
    case pcie_walk_end::found:
      *offset = found.offset;
      return 0;
    case pcie_walk_end::no_list:
      kx_print("cap_id_addr invalid\n");
      return -1;
    case pcie_walk_end::end:
      kx_print("pcie ecap[0x%X] not find\n", id);
      return -1;
    case pcie_walk_end::failed:
      break;
  }
  return found.error;
}
