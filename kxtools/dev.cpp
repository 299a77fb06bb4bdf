#include "kxtools/dev.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "common/report.h"
#include "common/unique_fd.h"
#include "dev_choice.h"
#include "kxtools/shell.h"

namespace {

constexpr uint32_t BAR_INDEX = 0;

constinit kxtools_dev_info bound = {};
constinit const kxtools_dev_pcie_ops* pcie_ops = nullptr;

}  // namespace

int32_t kxtools_dev_mmap(const char* sbdf_text, volatile uint8_t** address, uint64_t length) {
  if (sbdf_text == nullptr || address == nullptr) {
    KXTOOLS_ERR("point is NULL\n");
    return -1;
  }
  char path[64];
  snprintf(path, sizeof path, "%s/%.12s/resource0", KXTOOLS_PCI_DEVICES, sbdf_text);
  const kx_unique_fd fd(open(path, O_RDWR | O_CLOEXEC));
  if (!fd) {
    KXTOOLS_ERR("open file %s failed!\n", path);
    return -1;
  }
  // Touching a mapping beyond the end of its file is a signal: a file shorter than its BAR is refused here.
  struct stat info = {};
  const bool holds_length = fstat(fd.get(), &info) == 0 && static_cast<uint64_t>(info.st_size) >= length;
  void* data = holds_length ? mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0) : MAP_FAILED;
  if (data == MAP_FAILED || data == nullptr) {
    KXTOOLS_ERR("file %s: mmap failed!\n", path);
    return -1;
  }
  *address = static_cast<volatile uint8_t*>(data);
  return 0;
}

int32_t kxtools_dev_unmmap(volatile uint8_t* address, uint64_t length) {
  return munmap(const_cast<uint8_t*>(address), length);
}

int32_t kxtools_dev_info_set(kxtools_sbdf sbdf, kxtools_dev_info* info) {
  if (info == nullptr) {
    KXTOOLS_ERR("dev_info is NULL\n");
    return -1;
  }
  kxtools_dev_info fresh = {};
  kxtools_sbdf_text(sbdf, fresh.sbdf);
  if (get_bar_addr_from_sys_ext(sbdf, BAR_INDEX, &fresh.bar_addr) != 0 ||
      get_bar_size_from_sys_ext(sbdf, BAR_INDEX, &fresh.bar_size) != 0) {
    KXTOOLS_ERR("Failed to get bar info from sys\n");
    return -1;
  }
  fresh.bar_size = std::min(fresh.bar_size, KXTOOLS_BAR_SIZE_MAX);
  if (kxtools_dev_mmap(fresh.sbdf, &fresh.bar_vaddr, fresh.bar_size) != 0) {
    KXTOOLS_ERR("kxtools_dev_mmap failed\n");
    return -1;
  }
  *info = fresh;
  return 0;
}

int32_t kxtools_dev_info_init() {
  bound = {};
  return 0;
}

int32_t kxtools_dev_info_get(kxtools_dev_info* info) {
  if (info == nullptr) {
    KXTOOLS_ERR("dev_info is null\n");
    return -1;
  }
  *info = bound;
  return 0;
}

// A mapping that an earlier bind left in the record stays: the modules may still hold its address.
int32_t kxtools_dev_bind(kxtools_sbdf sbdf) {
  if (kxtools_dev_info_set(sbdf, &bound) != 0) {
    KXTOOLS_ERR("kxtools_dev_info_set failed\n");
    return -1;
  }
  if (kxtools_prompt_set(bound.sbdf) != 0) {
    KXTOOLS_ERR("bind_pcie_dev_by_sbdf failed\n");
    return -1;
  }
  if (pcie_ops == nullptr || pcie_ops->bind(sbdf) != 0) {
    KXTOOLS_ERR("bind_pcie_dev_by_sbdf failed\n");
    return -1;
  }
  return 0;
}

void kxtools_dev_pcie_ops_set(const kxtools_dev_pcie_ops* ops) {
  pcie_ops = ops;
}

int32_t kxtools_dev_init(const char* name, bool* quit) {
  kxtools_sbdf sbdf = KXTOOLS_SBDF_NONE;
  if (name != nullptr) {
    if (kxtools_dev_name2bdf(name, &sbdf) != 0) {
      KXTOOLS_ERR("kxtools_dev_name2bdf %s failed\n", name);
      return -1;
    }
  } else {
    if (pcie_ops == nullptr || quit == nullptr) {
      KXTOOLS_ERR("point is NULL\n");
      return -1;
    }
    *quit = false;
    kxtools_device_list_print(*pcie_ops);
    uint32_t index = 0;
    switch (kxtools_index_read(stdin, &index)) {
      case kxtools_index_result::index:
        break;
      case kxtools_index_result::quit:
        *quit = true;
        return 0;
      case kxtools_index_result::refused:
        return -1;
      case kxtools_index_result::end:
        kx_print("\n");
        exit(1);
    }
    if (pcie_ops->sbdf_by_node_id(index, &sbdf) != 0) {
      KXTOOLS_ERR("get_sbdf_by_node_id failed\n");
      kx_error_print("kxtool: the list has no index %u\n", index);
      return -1;
    }
  }
  if (kxtools_dev_bind(sbdf) != 0) {
    KXTOOLS_ERR("kxtools_dev_bind failed\n");
    return -1;
  }
  return 0;
}
