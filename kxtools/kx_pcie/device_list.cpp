#include "device_list.h"

#include <algorithm>
#include <string>

#include "common/report.h"
#include "device/function.h"
#include "device/sysfs.h"
#include "kx_pcie/config_space.h"

namespace {

constexpr size_t PATH_MAX_LENGTH = 99;

void describe_switch(const char* entry, const std::string& class_path, uint32_t vendor, uint32_t device,
                     pcie_device_list* list) {
  pcie_switch_node node = {.vendor = vendor, .device = device};
  if (pcie_sbdf_parse(&node.sbdf, entry) != 0) {
    return;
  }
  if (kxtools_hex_file_read(class_path, &node.class_code) != kxtools_file_state::read) {
    kx_print("get classcode failed!\n");
    return;
  }
  uint32_t header = 0;
  uint32_t buses = 0;
  if (pcie_cfg_read_dword(node.sbdf, PCI_CACHE_LINE_SIZE, &header) == 0 &&
      (header >> 16 & PCI_HEADER_TYPE_MASK) == PCI_HEADER_TYPE_BRIDGE &&
      pcie_cfg_read_dword(node.sbdf, PCI_PRIMARY_BUS, &buses) == 0) {
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
  const int32_t sriov = pcie_find_ext_capability(node.sbdf, PCI_EXT_CAP_ID_SRIOV, 0);
  uint32_t id = 0;
  uint32_t class_revision = 0;
  uint32_t vf_device = 0;
  if (sriov < 0 || pcie_cfg_read_dword(node.sbdf, PCI_VENDOR_ID, &id) != 0 ||
      pcie_cfg_read_dword(node.sbdf, PCI_CLASS_REVISION, &class_revision) != 0 ||
      pcie_cfg_read_dword(node.sbdf, static_cast<uint32_t>(sriov) + PCI_SRIOV_VF_DID - 2, &vf_device) != 0) {
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
  const std::string folder = std::string(KXTOOLS_PCI_DEVICES) + "/" + entry;
  const std::string device_path = folder + "/device";
  if (device_path.size() > PATH_MAX_LENGTH) {
    kx_print("create filepath failed\n");
    return false;
  }
  uint32_t vendor = 0;
  uint32_t device = 0;
  const kxtools_file_state vendor_state = kxtools_hex_file_read(folder + "/vendor", &vendor);
  const kxtools_file_state device_state = kxtools_hex_file_read(device_path, &device);
  if (vendor_state == kxtools_file_state::absent || device_state == kxtools_file_state::absent) {
    return true;
  }
  if (vendor_state == kxtools_file_state::unreadable) {
    kx_print("get vendor failed!\n");
    return true;
  }
  if (device_state == kxtools_file_state::unreadable) {
    kx_print("get device failed!\n");
    return true;
  }
  const bool is_switch = kxtools_dev_is_switch(vendor, device);
  if ((!is_switch && !kxtools_dev_is_supported(vendor, device)) || is_out_of_reach(entry)) {
    return true;
  }
  if (is_switch) {
    describe_switch(entry, folder + "/class", vendor, device, list);
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
    kx_print("%s[%zu] %s  %04x:%04x  class %06x  vf %04x\n", parent == nullptr ? "" : "    ", i,
             kxtools_sbdf_text(function.sbdf).text, function.vendor, function.device, function.class_code,
             function.vf_device);
  }
}

}  // namespace

int32_t pcie_device_list_scan(pcie_device_list* list) {
  std::vector<std::string> entries;
  if (!kxtools_folder_names(KXTOOLS_PCI_DEVICES, &entries)) {
    kx_print("Failed to open directory\n");
    return -1;
  }
  bool whole = true;
  for (size_t i = 0; whole && i < entries.size(); ++i) {
    whole = visit(entries[i].c_str(), list);
  }
  const auto by_address = [](const auto& a, const auto& b) { return a.sbdf < b.sbdf; };
  std::sort(list->switches.begin(), list->switches.end(), by_address);
  std::sort(list->functions.begin(), list->functions.end(), by_address);
  return whole ? 0 : -1;
}

void pcie_device_list_print(const pcie_device_list& list) {
  for (const pcie_switch_node& node : list.switches) {
    kx_print("switch %s  %04x:%04x  class %06x\n", kxtools_sbdf_text(node.sbdf).text, node.vendor, node.device,
             node.class_code);
    print_functions_below(&node, list);
  }
  print_functions_below(nullptr, list);
  if (list.functions.empty()) {
    kx_print("no kx device found\n");
  }
}
