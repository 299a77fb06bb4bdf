#include "device/bar.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "common/report.h"
#include "common/text.h"
#include "device/bar_map.h"
#include "device/function.h"
#include "device/sysfs.h"

namespace {

constexpr uint32_t BAR_INDEX = 0;

constinit kxtools_dev_info bound = {};

std::string bar_path(const char* sbdf_text) {
  return kx_text("%s/%.12s/resource0", KXTOOLS_PCI_DEVICES, sbdf_text);
}

// Whose parts the steps below are: they report under its name.
constexpr const char* CALLER = "kxtools_dev_mmap";

int32_t mapping_take(const char* sbdf_text, const char* path, const kxtools_bar_mapping& mapping, uint64_t length,
                     volatile uint8_t** address) {
  if (mapping.step == kxtools_bar_step::mapped) {
    kx_device_memory_guard(mapping.address, length, kx_text("%.12s BAR 0", sbdf_text).c_str());
    *address = mapping.address;
    return 0;
  }
  KXTOOLS_ERR_OF(CALLER, mapping.step == kxtools_bar_step::open ? "open file %s failed!\n" : "file %s: mmap failed!\n",
                 path);
  if (mapping.step == kxtools_bar_step::length) {
    kx_error_print("kxtool: %s: shorter than BAR 0 is said to be\n", path);
  } else {
    kxtools_bar_refusal_tell(sbdf_text, path, mapping.error);
  }
  return -1;
}

}  // namespace

int32_t kxtools_dev_mmap(const char* sbdf_text, volatile uint8_t** address, uint64_t length) {
  if (sbdf_text == nullptr || address == nullptr) {
    return KXTOOLS_ERR("point is NULL\n");
  }
  const std::string path = bar_path(sbdf_text);
  kxtools_sbdf sbdf = KXTOOLS_SBDF_NONE;
  uint64_t bar_address = 0;
  if (access(path.c_str(), F_OK) == 0 && kxtools_sbdf_read(sbdf_text, &sbdf) &&
      get_bar_addr_from_sys_ext(sbdf, BAR_INDEX, &bar_address) != 0) {
    return -1;
  }
  return mapping_take(sbdf_text, path.c_str(), kxtools_bar_map(path.c_str(), bar_address, 0, length, true), length,
                      address);
}

int32_t kxtools_dev_unmmap(volatile uint8_t* address, uint64_t length) {
  return kx_device_memory_unmap(address, length);
}

int32_t kxtools_dev_info_set(kxtools_sbdf sbdf, kxtools_dev_info* info, kxtools_bar_use use) {
  if (info == nullptr) {
    return KXTOOLS_ERR("dev_info is NULL\n");
  }
  kxtools_dev_info fresh = {};
  memcpy(fresh.sbdf, kxtools_sbdf_text(sbdf).text, sizeof fresh.sbdf);
  if (get_bar_addr_from_sys_ext(sbdf, BAR_INDEX, &fresh.bar_addr) != 0 ||
      get_bar_size_from_sys_ext(sbdf, BAR_INDEX, &fresh.bar_size) != 0) {
    return KXTOOLS_ERR("Failed to get bar info from sys\n");
  }
  fresh.bar_size = std::min(fresh.bar_size, KXTOOLS_BAR_SIZE_MAX);
  const std::string path = bar_path(fresh.sbdf);
  const kxtools_bar_mapping mapping =
      kxtools_bar_map(path.c_str(), fresh.bar_addr, 0, fresh.bar_size, use != kxtools_bar_use::look);
  if (use == kxtools_bar_use::record && kxtools_bar_is_kept(fresh.sbdf, mapping)) {
    kxtools_bar_kept_tell(fresh.sbdf, mapping);
  } else if (mapping_take(fresh.sbdf, path.c_str(), mapping, fresh.bar_size, &fresh.bar_vaddr) != 0) {
    return KXTOOLS_ERR("kxtools_dev_mmap failed\n");
  }
  *info = fresh;
  return 0;
}

int32_t kxtools_dev_info_init() {
  bound = {};
  return 0;
}

int32_t kxtools_dev_info_bind(kxtools_sbdf sbdf, kxtools_bar_use use) {
  return kxtools_dev_info_set(sbdf, &bound, use);
}

int32_t kxtools_dev_info_get(kxtools_dev_info* info) {
  if (info == nullptr) {
    return KXTOOLS_ERR("dev_info is null\n");
  }
  *info = bound;
  return 0;
}
