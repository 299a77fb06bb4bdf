#include "bar.h"

#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/report.h"
#include "device/bar.h"
#include "device/function.h"
#include "device/sysfs.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/registers.h"

namespace {

int32_t range_check(uint32_t index, const kxpcie_bar& bar, uint64_t offset, uint64_t length) {
  if (!bar.present) {
    KXTOOLS_ERR("the function has no BAR %u\n", index);
    return -1;
  }
  if (bar.io) {
    KXTOOLS_ERR("BAR %u is an I/O BAR, which cannot be mapped\n", index);
    return -1;
  }
  if (offset % 4 != 0 || length % 4 != 0) {
    KXTOOLS_ERR("offset 0x%" PRIx64 " and length 0x%" PRIx64 " must be multiples of 4\n", offset, length);
    return -1;
  }
  if (offset > bar.size || length > bar.size - offset) {
    KXTOOLS_ERR("0x%" PRIx64 " bytes at offset 0x%" PRIx64 " do not lie in BAR %u of 0x%" PRIx64 " bytes\n", length,
                offset, index, bar.size);
    return -1;
  }
  return 0;
}

}  // namespace

int32_t kxpcie_bar_get(kxtools_sbdf sbdf, uint32_t index, kxpcie_bar* bar) {
  *bar = {};
  uint32_t below = 0;
  uint32_t low = 0;
  if ((index > 0 && pcie_cfg_read_dword(sbdf, PCI_BASE_ADDRESS_0 + 4 * (index - 1), &below) != 0) ||
      pcie_cfg_read_dword(sbdf, PCI_BASE_ADDRESS_0 + 4 * index, &low) != 0 ||
      get_bar_addr_from_sys_ext(sbdf, index, &bar->address) != 0 ||
      get_bar_size_from_sys_ext(sbdf, index, &bar->size) != 0) {
    return -1;
  }
  // The kernel shows a BAR that is not there as the range from 0 to 0.
  bar->present = bar->address != 0 && bar->size > 1;
  bar->io = bar->present && (low & PCI_BASE_ADDRESS_SPACE_IO) != 0;
  bar->is_64_bit = bar->present && !bar->io && (low & PCI_BASE_ADDRESS_MEM_TYPE_MASK) == PCI_BASE_ADDRESS_MEM_TYPE_64;
  bar->prefetchable = bar->present && !bar->io && (low & PCI_BASE_ADDRESS_MEM_PREFETCH) != 0;
  return 0;
}

int32_t kxpcie_bar_window::open(kxtools_sbdf sbdf, uint32_t index, uint64_t offset, uint64_t length, bool write) {
  kxpcie_bar bar = {};
  if (kxpcie_bar_get(sbdf, index, &bar) != 0 || range_check(index, bar, offset, length) != 0) {
    return -1;
  }
  char function[13];
  kxtools_sbdf_text(sbdf, function);
  const std::string path = kxtools_function_path(sbdf, "resource") + std::to_string(index);
  const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const uint64_t start = offset - offset % page;
  const size_t size = static_cast<size_t>(offset + length - start);
  const kxtools_bar_mapping mapping = kxtools_bar_map(path.c_str(), start, size, write);
  switch (mapping.step) {
    case kxtools_bar_step::mapped:
      break;
    case kxtools_bar_step::length:
      KXTOOLS_ERR("file %s ends before 0x%" PRIx64 "\n", path.c_str(), offset + length);
      return -1;
    case kxtools_bar_step::open:
    case kxtools_bar_step::map:
      KXTOOLS_ERR(mapping.step == kxtools_bar_step::open ? "open file %s failed: %s\n" : "file %s: mmap failed: %s\n",
                  path.c_str(), strerror(mapping.error));
      kxtools_bar_refusal_tell(function, path.c_str(), mapping.error);
      return -1;
  }
  char name[32];
  snprintf(name, sizeof name, "%s BAR %u", function, index);
  mapping_.reset(const_cast<uint8_t*>(mapping.address), size, name);
  region_ = {mapping.address + (offset - start), length};
  return 0;
}
