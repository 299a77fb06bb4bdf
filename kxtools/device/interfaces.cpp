#include "device/interfaces.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/report.h"
#include "device/function.h"
#include "device/sysfs.h"

namespace {

std::string interface_path(const std::string& name, const char* file) {
  return std::string(KXTOOLS_NET_CLASS) + "/" + name + "/" + file;
}

// Sorts an interface in by the function behind it. Those of no function of a supported card have no place.
void interface_sort_in(const std::string& name, std::vector<kxtools_card_interface>* interfaces,
                       std::vector<std::string>* out_of_reach) {
  char slot[13] = {};
  if (kxtools_uevent_slot_read(interface_path(name, "device/uevent"), slot) != kxtools_uevent_result::found ||
      !kxtools_folder_is_supported(interface_path(name, "device"))) {
    return;
  }
  kxtools_card_interface interface = {name, KXTOOLS_SBDF_NONE};
  if (kxtools_sbdf_read(slot, &interface.sbdf)) {
    interfaces->push_back(std::move(interface));
  } else if (out_of_reach != nullptr && kxtools_sbdf_is_too_long(slot)) {
    out_of_reach->push_back(std::move(interface.name));
  }
}

}  // namespace

bool kxtools_card_interfaces(std::vector<kxtools_card_interface>* interfaces, std::vector<std::string>* out_of_reach) {
  interfaces->clear();
  std::vector<std::string> names;
  if (!kxtools_folder_names(KXTOOLS_NET_CLASS, &names)) {
    return false;
  }
  for (const std::string& name : names) {
    interface_sort_in(name, interfaces, out_of_reach);
  }
  std::sort(interfaces->begin(), interfaces->end(),
            [](const auto& a, const auto& b) { return a.sbdf != b.sbdf ? a.sbdf < b.sbdf : a.name < b.name; });
  if (out_of_reach != nullptr) {
    std::sort(out_of_reach->begin(), out_of_reach->end());
  }
  return true;
}

bool kxtools_interface_exists(const char* name) {
  return access((std::string(KXTOOLS_NET_CLASS) + "/" + name).c_str(), F_OK) == 0;
}

bool kxtools_is_interface_name(const char* word) {
  constexpr size_t NAME_MAX_LENGTH = 15;
  const size_t length = strlen(word);
  return length > 0 && length <= NAME_MAX_LENGTH && strchr(word, '/') == nullptr && strcmp(word, ".") != 0 &&
         strcmp(word, "..") != 0;
}

int32_t kxtools_dev_name2bdf(const char* name, kxtools_sbdf* sbdf) {
  if (name == nullptr || sbdf == nullptr) {
    return KXTOOLS_ERR("point is NULL\n");
  }
  char full[sizeof kxtools_sbdf_name::text];
  if (kxtools_is_short_address(name)) {
    snprintf(full, sizeof full, "0000:%s", name);
    name = full;
  }
  if (pcie_sbdf_parse(sbdf, name) == 0) {
    return 0;
  }
  char slot[sizeof kxtools_sbdf_name::text] = {};
  // A word that cannot be the name of an interface could lead to another folder: it has no file.
  switch (!kxtools_is_interface_name(name) ? kxtools_uevent_result::no_file
                                           : kxtools_uevent_slot_read(interface_path(name, "device/uevent"), slot)) {
    case kxtools_uevent_result::no_file:
      return KXTOOLS_ERR("fopen /sys/class/net/%s/device/uevent failed\n", name);
    case kxtools_uevent_result::no_slot:
      return KXTOOLS_ERR("pci_bus_id is NULL\n");
    case kxtools_uevent_result::found:
      break;
  }
  if (strlen(slot) < sizeof slot - 1) {
    return KXTOOLS_ERR("format of bdf(%s) is err\n", slot);
  }
  if (pcie_sbdf_parse(sbdf, slot) != 0) {
    return KXTOOLS_ERR("pcie_sbdf_parse %s failed\n", slot);
  }
  return 0;
}
