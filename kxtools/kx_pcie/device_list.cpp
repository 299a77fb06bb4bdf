#include "device_list.h"

#include <dirent.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "common/report.h"
#include "kx_pcie/config_space.h"

namespace {

using unique_dir = std::unique_ptr<DIR, int (*)(DIR*)>;
using unique_file = std::unique_ptr<FILE, int (*)(FILE*)>;
using path_buffer = std::array<char, 100>;

constexpr uint32_t CFG_ID = 0x00;
constexpr uint32_t CFG_CLASS = 0x08;
constexpr uint32_t CFG_HEADER_TYPE = 0x0C;
constexpr uint32_t CFG_BUS_NUMBERS = 0x18;
constexpr uint32_t HEADER_TYPE_BRIDGE = 1;
constexpr uint32_t SRIOV_VF_DEVICE = 24;  // the dword whose upper half is the device identifier of the functions

enum class attribute_state { read, absent, unreadable };

bool make_path(const char* entry, const char* name, path_buffer* path) {
  const int length = snprintf(path->data(), path->size(), "%s/%s/%s", KXTOOLS_PCI_DEVICES, entry, name);
  if (length < 0 || static_cast<size_t>(length) >= path->size()) {
    kx_print("create filepath failed\n");
    return false;
  }
  return true;
}

attribute_state read_attribute(const path_buffer& path, uint32_t* value) {
  const unique_file file(fopen(path.data(), "re"), fclose);
  if (file == nullptr) {
    return attribute_state::absent;
  }
  return fscanf(file.get(), "%x", value) == 1 ? attribute_state::read : attribute_state::unreadable;
}

void describe_switch(const char* entry, const path_buffer& class_path, uint32_t vendor, uint32_t device,
                     pcie_device_list* list) {
  pcie_switch_node node = {.vendor = vendor, .device = device};
  if (pcie_sbdf_parse(&node.sbdf, entry) != 0) {
    return;
  }
  if (read_attribute(class_path, &node.class_code) != attribute_state::read) {
    kx_print("get classcode failed!\n");
    return;
  }
  uint32_t header = 0;
  uint32_t buses = 0;
  if (pcie_cfg_read_dword(node.sbdf, CFG_HEADER_TYPE, &header) == 0 && (header >> 16 & 0x7F) == HEADER_TYPE_BRIDGE &&
      pcie_cfg_read_dword(node.sbdf, CFG_BUS_NUMBERS, &buses) == 0) {
    node.secondary_bus = static_cast<uint8_t>(buses >> 8);
    node.subordinate_bus = static_cast<uint8_t>(buses >> 16);
  }
  list->switches.push_back(node);
}

void describe_function(const char* entry, pcie_device_list* list) {
  pcie_function_node node = {};
  if (pcie_sbdf_parse(&node.sbdf, entry) != 0 || sbdf_valid_check(node.sbdf) != 0) {
    return;
  }
  const int32_t sriov = pcie_find_ext_capability(node.sbdf, PCI_ECAP_ID_SRIOV, 0);
  uint32_t id = 0;
  uint32_t class_revision = 0;
  uint32_t vf_device = 0;
  if (sriov < 0 || pcie_cfg_read_dword(node.sbdf, CFG_ID, &id) != 0 ||
      pcie_cfg_read_dword(node.sbdf, CFG_CLASS, &class_revision) != 0 ||
      pcie_cfg_read_dword(node.sbdf, static_cast<uint32_t>(sriov) + SRIOV_VF_DEVICE, &vf_device) != 0) {
    return;
  }
  node.vendor = id & 0xFFFF;
  node.device = id >> 16;
  node.class_code = class_revision >> 8;
  node.vf_device = vf_device >> 16;
  list->functions.push_back(node);
}

// A function of a card that no address of the tool can name.
bool is_out_of_reach(const char* entry) {
  if (!kxtools_sbdf_is_too_long(entry)) {
    return false;
  }
  kx_error_print("%s is left out: its segment is above ffff\n", entry);
  return true;
}

// Returns false when the scan must end.
bool visit(const char* entry, pcie_device_list* list) {
  path_buffer vendor_path;
  path_buffer device_path;
  path_buffer class_path;
  if (!make_path(entry, "vendor", &vendor_path) || !make_path(entry, "device", &device_path) ||
      !make_path(entry, "class", &class_path)) {
    return false;
  }
  uint32_t vendor = 0;
  uint32_t device = 0;
  const attribute_state vendor_state = read_attribute(vendor_path, &vendor);
  const attribute_state device_state = read_attribute(device_path, &device);
  if (vendor_state == attribute_state::absent || device_state == attribute_state::absent) {
    return true;
  }
  if (vendor_state == attribute_state::unreadable) {
    kx_print("get vendor failed!\n");
    return true;
  }
  if (device_state == attribute_state::unreadable) {
    kx_print("get device failed!\n");
    return true;
  }
  const bool is_switch = kxtools_dev_is_switch(vendor, device);
  if ((!is_switch && !kxtools_dev_is_supported(vendor, device)) || is_out_of_reach(entry)) {
    return true;
  }
  if (is_switch) {
    describe_switch(entry, class_path, vendor, device, list);
  } else {
    describe_function(entry, list);
  }
  return true;
}

bool is_below(const pcie_function_node& function, const pcie_switch_node& node) {
  const uint32_t bus = kxtools_sbdf_bus(function.sbdf);
  return node.secondary_bus != 0 && kxtools_sbdf_segment(function.sbdf) == kxtools_sbdf_segment(node.sbdf) &&
         bus >= node.secondary_bus && bus <= node.subordinate_bus;
}

// The ports of a switch lie below each other; a function belongs to the innermost, which has the highest first bus.
const pcie_switch_node* parent_of(const pcie_function_node& function, const pcie_device_list& list) {
  const pcie_switch_node* parent = nullptr;
  for (const pcie_switch_node& node : list.switches) {
    if (is_below(function, node) && (parent == nullptr || node.secondary_bus > parent->secondary_bus)) {
      parent = &node;
    }
  }
  return parent;
}

void print_functions_below(const pcie_switch_node* parent, const pcie_device_list& list) {
  for (size_t i = 0; i < list.functions.size(); ++i) {
    const pcie_function_node& function = list.functions[i];
    if (parent_of(function, list) != parent) {
      continue;
    }
    char text[13];
    kxtools_sbdf_text(function.sbdf, text);
    kx_print("%s[%zu] %s  %04x:%04x  class %06x  vf %04x\n", parent == nullptr ? "" : "    ", i, text, function.vendor,
             function.device, function.class_code, function.vf_device);
  }
}

}  // namespace

int32_t pcie_device_list_scan(pcie_device_list* list) {
  const unique_dir directory(opendir(KXTOOLS_PCI_DEVICES), closedir);
  if (directory == nullptr) {
    kx_print("Failed to open directory\n");
    return -1;
  }
  bool whole = true;
  for (const dirent* entry = readdir(directory.get()); whole && entry != nullptr; entry = readdir(directory.get())) {
    whole = entry->d_name[0] == '.' || visit(entry->d_name, list);
  }
  const auto by_address = [](const auto& a, const auto& b) { return a.sbdf < b.sbdf; };
  std::sort(list->switches.begin(), list->switches.end(), by_address);
  std::sort(list->functions.begin(), list->functions.end(), by_address);
  return whole ? 0 : -1;
}

void pcie_device_list_print(const pcie_device_list& list) {
  for (const pcie_switch_node& node : list.switches) {
    char text[13];
    kxtools_sbdf_text(node.sbdf, text);
    kx_print("switch %s  %04x:%04x  class %06x\n", text, node.vendor, node.device, node.class_code);
    print_functions_below(&node, list);
  }
  print_functions_below(nullptr, list);
  if (list.functions.empty()) {
    kx_print("no kx device found\n");
  }
}
