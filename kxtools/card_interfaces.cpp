#include "kxtools/card_interfaces.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "dev_sysfs.h"

namespace {

constexpr const char* NET_CLASS = "/sys/class/net";

// Sorts an interface in by the function behind it. Those of no function of a supported card have no place.
void interface_sort_in(const char* name, std::vector<kxtools_card_interface>* interfaces,
                       std::vector<std::string>* out_of_reach) {
  const std::string function = std::string(NET_CLASS) + "/" + name + "/device";
  char slot[13] = {};
  if (kxtools_uevent_slot_read((function + "/uevent").c_str(), slot) != kxtools_uevent_result::found ||
      !kxtools_folder_is_supported(function.c_str())) {
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
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(NET_CLASS), closedir);
  if (folder == nullptr) {
    return false;
  }
  while (const struct dirent* entry = readdir(folder.get())) {
    if (entry->d_name[0] != '.') {
      interface_sort_in(entry->d_name, interfaces, out_of_reach);
    }
  }
  std::sort(interfaces->begin(), interfaces->end(),
            [](const auto& a, const auto& b) { return a.sbdf != b.sbdf ? a.sbdf < b.sbdf : a.name < b.name; });
  if (out_of_reach != nullptr) {
    std::sort(out_of_reach->begin(), out_of_reach->end());
  }
  return true;
}

bool kxtools_interface_exists(const char* name) {
  return access((std::string(NET_CLASS) + "/" + name).c_str(), F_OK) == 0;
}
