#include "bar.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "common/report.h"
#include "common/unique_fd.h"
#include "kx_pcie/config_space.h"

namespace {

constexpr uint32_t FIRST_BAR = 0x10;
constexpr uint32_t BAR_IO = 1u << 0;
constexpr uint32_t BAR_TYPE = 3u << 1;
constexpr uint32_t BAR_64_BIT = 2u << 1;
constexpr uint32_t BAR_PREFETCHABLE = 1u << 3;

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
  if ((index > 0 && pcie_cfg_read_dword(sbdf, FIRST_BAR + 4 * (index - 1), &below) != 0) ||
      pcie_cfg_read_dword(sbdf, FIRST_BAR + 4 * index, &low) != 0 ||
      get_bar_addr_from_sys_ext(sbdf, index, &bar->address) != 0 ||
      get_bar_size_from_sys_ext(sbdf, index, &bar->size) != 0) {
    return -1;
  }
  // The kernel shows a BAR that is not there as the range from 0 to 0.
  bar->present = bar->address != 0 && bar->size > 1;
  bar->io = bar->present && (low & BAR_IO) != 0;
  bar->is_64_bit = bar->present && !bar->io && (low & BAR_TYPE) == BAR_64_BIT;
  bar->prefetchable = bar->present && !bar->io && (low & BAR_PREFETCHABLE) != 0;
  return 0;
}

int32_t kxpcie_bar_window::open(kxtools_sbdf sbdf, uint32_t index, uint64_t offset, uint64_t length, bool write) {
  kxpcie_bar bar = {};
  if (kxpcie_bar_get(sbdf, index, &bar) != 0 || range_check(index, bar, offset, length) != 0) {
    return -1;
  }
  char function[13];
  kxtools_sbdf_text(sbdf, function);
  char path[64];
  snprintf(path, sizeof path, "%s/%s/resource%u", KXTOOLS_PCI_DEVICES, function, index);
  const kx_unique_fd fd(::open(path, (write ? O_RDWR : O_RDONLY) | O_CLOEXEC));
  if (!fd) {
    const int error = errno;
    KXTOOLS_ERR("open file %s failed: %s\n", path, strerror(error));
    kxtools_bar_refusal_tell(function, path, error);
    return -1;
  }
  // Touching a mapping beyond the end of its file is a signal.
  struct stat info = {};
  if (fstat(fd.get(), &info) != 0 || static_cast<uint64_t>(info.st_size) < offset + length) {
    KXTOOLS_ERR("file %s ends before 0x%" PRIx64 "\n", path, offset + length);
    return -1;
  }
  const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const uint64_t start = offset - offset % page;
  const size_t size = static_cast<size_t>(offset + length - start);
  void* data =
      mmap(nullptr, size, write ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, fd.get(), static_cast<off_t>(start));
  if (data == MAP_FAILED) {
    const int error = errno;
    KXTOOLS_ERR("file %s: mmap failed: %s\n", path, strerror(error));
    kxtools_bar_refusal_tell(function, path, error);
    return -1;
  }
  char name[32];
  snprintf(name, sizeof name, "%s BAR %u", function, index);
  mapping_.reset(data, size, name);
  region_ = {static_cast<volatile uint8_t*>(data) + (offset - start), length};
  return 0;
}
