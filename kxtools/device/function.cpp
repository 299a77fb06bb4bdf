#include "device/function.h"

#include <cstdio>
#include <optional>

#include "common/report.h"
#include "device/sysfs.h"

namespace {

struct identity {
  uint32_t vendor;
  uint32_t device;
};

std::optional<identity> identity_read(const std::string& folder) {
  identity read = {};
  if (kxtools_hex_file_read(folder + "/vendor", &read.vendor) != kxtools_file_state::read ||
      kxtools_hex_file_read(folder + "/device", &read.device) != kxtools_file_state::read) {
    return std::nullopt;
  }
  return read;
}

int32_t bar_range_read(kxtools_sbdf sbdf, uint32_t bar_index, kxtools_bar_range* range) {
  return kxtools_resource_bar_read(kxtools_function_path(sbdf, "resource"), bar_index, range);
}

/// A row of the supported-function table.
struct supported_function {
  uint32_t device;
  uint32_t vendor;
  uint32_t second_device;
  uint8_t kind;
  bool tool_may_bind;
};

constexpr supported_function SUPPORTED[] = {
    {0x8040, 0x16c3, 0x8041, 2, false}, {0x1041, 0x1111, 0x1041, 2, true},  {0x8037, 0x1cf2, 0x8037, 1, true},
    {0x1041, 0x1af4, 0x1041, 2, true},  {0x1042, 0x1af4, 0x1042, 1, true},  {0x1000, 0x1af4, 0x1000, 2, true},
    {0x0000, 0x16c3, 0x1001, 2, true},  {0x8030, 0x16c3, 0x0000, 2, false},
};

// The maker's own range, beside the rows.
constexpr uint32_t OWN_VENDOR = 0x1cf2;
constexpr uint32_t OWN_DEVICE_FIRST = 0x8010;
constexpr uint32_t OWN_DEVICE_LAST = 0x809f;
constexpr uint32_t SWITCH_DEVICE = 0x8036;

const supported_function* supported_row(uint32_t vendor, uint32_t device) {
  for (const supported_function& row : SUPPORTED) {
    if (row.vendor == vendor && row.device == device) {
      return &row;
    }
  }
  return nullptr;
}

}  // namespace

int32_t get_bar_addr_from_sys_ext(kxtools_sbdf sbdf, uint32_t bar_index, uint64_t* address) {
  kxtools_bar_range range = {};
  if (bar_range_read(sbdf, bar_index, &range) != 0) {
    return -1;
  }
  *address = range.start;
  return 0;
}

int32_t get_bar_size_from_sys_ext(kxtools_sbdf sbdf, uint32_t bar_index, uint64_t* size) {
  kxtools_bar_range range = {};
  if (bar_range_read(sbdf, bar_index, &range) != 0) {
    return -1;
  }
  *size = range.size;
  return 0;
}

bool kxtools_is_own_switch(kxtools_sbdf sbdf) {
  const std::optional<identity> id = identity_read(kxtools_function_path(sbdf));
  return id && kxtools_dev_is_switch(id->vendor, id->device);
}

int32_t sbdf_valid_check(kxtools_sbdf sbdf) {
  uint32_t vendor = 0;
  uint32_t device = 0;
  if (kxtools_hex_file_read(kxtools_function_path(sbdf, "vendor"), &vendor) != kxtools_file_state::read) {
    kx_print("get vendor failed!\n");
    return -1;
  }
  if (kxtools_hex_file_read(kxtools_function_path(sbdf, "device"), &device) != kxtools_file_state::read) {
    kx_print("get device failed!\n");
    return -1;
  }
  return kxtools_dev_is_supported(vendor, device) ? 0 : -1;
}

bool kxtools_folder_is_supported(const std::string& folder) {
  const std::optional<identity> id = identity_read(folder);
  return id && kxtools_dev_is_supported(id->vendor, id->device);
}

bool kxtools_function_is_supported(kxtools_sbdf sbdf) {
  return kxtools_folder_is_supported(kxtools_function_path(sbdf));
}

void kxtools_supported_functions_visit(void (*visit)(uint32_t vendor, uint32_t first, uint32_t last)) {
  for (const supported_function& row : SUPPORTED) {
    visit(row.vendor, row.device, row.device);
  }
  visit(OWN_VENDOR, OWN_DEVICE_FIRST, OWN_DEVICE_LAST);
}

bool kxtools_dev_is_foreign(kxtools_sbdf sbdf) {
  const std::optional<identity> id = identity_read(kxtools_function_path(sbdf));
  return id && !kxtools_dev_is_supported(id->vendor, id->device);
}

bool kxtools_dev_driver_get(const char* sbdf_text, char (&name)[64]) {
  const std::string driver = kxtools_link_name(std::string(KXTOOLS_PCI_DEVICES) + "/" + sbdf_text + "/driver");
  snprintf(name, sizeof name, "%.63s", driver.c_str());
  return !driver.empty();
}

std::vector<kxtools_sbdf> kxtools_ports_above(kxtools_sbdf sbdf) {
  // ".../pci0000:00/0000:00:01.0/0000:3a:00.0/0000:3b:00.0"
  const std::string place = kxtools_link_target(kxtools_function_path(sbdf));
  std::vector<kxtools_sbdf> ports;
  for (size_t start = 0, end = 0; (end = place.find('/', start)) != std::string::npos; start = end + 1) {
    kxtools_sbdf port = KXTOOLS_SBDF_NONE;
    if (kxtools_sbdf_read(place.substr(start, end - start).c_str(), &port)) {
      ports.push_back(port);
    }
  }
  return ports;
}

bool kxtools_dev_is_supported(uint32_t vendor, uint32_t device) {
  return supported_row(vendor, device) != nullptr ||
         (vendor == OWN_VENDOR && device >= OWN_DEVICE_FIRST && device <= OWN_DEVICE_LAST);
}

bool kxtools_dev_is_switch(uint32_t vendor, uint32_t device) {
  return vendor == OWN_VENDOR && device == SWITCH_DEVICE;
}

uint32_t is_tools_bind_pf(uint32_t vendor, uint32_t device) {
  const supported_function* row = supported_row(vendor, device);
  return row != nullptr && row->tool_may_bind ? 1 : 0;
}
