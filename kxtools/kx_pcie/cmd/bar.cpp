#include "bar.h"

#include <cinttypes>
#include <cstring>
#include <string>

#include "device/bar_map.h"
#include "device/function.h"
#include "device/sysfs.h"
#include "kx_pcie/registers.h"

namespace {

void range_check(kxpcie_target& target, uint32_t index, const kxpcie_bar& bar, uint64_t offset, uint64_t length) {
  if (!bar.present) {
    KXPCIE_FAIL(target, "the function has no BAR %u", index);
  } else if (bar.io) {
    KXPCIE_FAIL(target, "BAR %u is an I/O BAR, which cannot be mapped", index);
  } else if (offset % 4 != 0 || length % 4 != 0) {
    KXPCIE_FAIL(target, "offset 0x%" PRIx64 " and length 0x%" PRIx64 " must be multiples of 4", offset, length);
  } else if (offset > bar.size || length > bar.size - offset) {
    KXPCIE_FAIL(target, "0x%" PRIx64 " bytes at offset 0x%" PRIx64 " do not lie in BAR %u of 0x%" PRIx64 " bytes",
                length, offset, index, bar.size);
  }
}

}  // namespace

kxpcie_bar kxpcie_bar_get(kxpcie_target& target, uint32_t index) {
  kxpcie_bar bar = {};
  // The upper half of a 64-bit BAR is told by the one below.
  target.dword(PCI_BASE_ADDRESS_0 + 4 * (index > 0 ? index - 1 : 0));
  const uint32_t low = target.dword(PCI_BASE_ADDRESS_0 + 4 * index);
  if (!target.good() || !target.check(get_bar_addr_from_sys_ext(target.sbdf(), index, &bar.address)) ||
      !target.check(get_bar_size_from_sys_ext(target.sbdf(), index, &bar.size))) {
    return {};
  }
  // The kernel shows a BAR that is not there as the range from 0 to 0.
  bar.present = bar.address != 0 && bar.size > 1;
  bar.io = bar.present && (low & PCI_BASE_ADDRESS_SPACE_IO) != 0;
  const bool memory = bar.present && !bar.io;
  bar.is_64_bit = memory && (low & PCI_BASE_ADDRESS_MEM_TYPE_MASK) == PCI_BASE_ADDRESS_MEM_TYPE_64;
  bar.prefetchable = memory && (low & PCI_BASE_ADDRESS_MEM_PREFETCH) != 0;
  return bar;
}

bool kxpcie_bar_window::open(kxpcie_target& target, uint32_t index, uint64_t offset, uint64_t length, bool write) {
  if (!target.good()) {
    return false;
  }
  const kxpcie_bar bar = kxpcie_bar_get(target, index);
  range_check(target, index, bar, offset, length);
  if (!target.good()) {
    return false;
  }
  const kxtools_sbdf_name function = kxtools_sbdf_text(target.sbdf());
  const std::string path = kxtools_function_path(target.sbdf(), "resource") + std::to_string(index);
  const kxtools_bar_mapping mapping = kxtools_bar_map(path.c_str(), bar.address, offset, length, write);
  if (mapping.step == kxtools_bar_step::length) {
    KXPCIE_FAIL(target, "file %s ends before 0x%" PRIx64, path.c_str(), offset + length);
    return false;
  }
  if (mapping.step != kxtools_bar_step::mapped) {
    KXPCIE_FAIL(target, mapping.step == kxtools_bar_step::open ? "open file %s failed: %s" : "file %s: mmap failed: %s",
                path.c_str(), strerror(mapping.error));
    kxtools_bar_refusal_tell(function.text, path.c_str(), mapping.error);
    return false;
  }
  mapping_.reset(const_cast<uint8_t*>(mapping.address), length, kx_text("%s BAR %u", function.text, index).c_str());
  region_ = {mapping.address, length};
  return true;
}
