#include "kxtools/card_interfaces.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "dev_sysfs.h"

namespace {

constexpr const char* NET_CLASS = "/sys/class/net";

// The function behind an interface. False for interfaces of no PCI function.
bool function_get(const std::string& interface, kxtools_sbdf* sbdf) {
  char slot[13] = {};
  const std::string path = std::string(NET_CLASS) + "/" + interface + "/device/uevent";
  return kxtools_uevent_slot_read(path.c_str(), slot) == kxtools_uevent_result::found && kxtools_sbdf_read(slot, sbdf);
}

}  // namespace

bool kxtools_card_interfaces(std::vector<kxtools_card_interface>* interfaces) {
  interfaces->clear();
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(NET_CLASS), closedir);
  if (folder == nullptr) {
    return false;
  }
  while (const struct dirent* entry = readdir(folder.get())) {
    kxtools_card_interface interface = {entry->d_name, KXTOOLS_SBDF_NONE};
    if (entry->d_name[0] != '.' && function_get(interface.name, &interface.sbdf) &&
        kxtools_function_is_supported(interface.sbdf)) {
      interfaces->push_back(std::move(interface));
    }
  }
  std::sort(interfaces->begin(), interfaces->end(),
            [](const auto& a, const auto& b) { return a.sbdf != b.sbdf ? a.sbdf < b.sbdf : a.name < b.name; });
  return true;
}

bool kxtools_interface_exists(const char* name) {
  return access((std::string(NET_CLASS) + "/" + name).c_str(), F_OK) == 0;
}
