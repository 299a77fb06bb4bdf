#include "device/interfaces.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "device/function.h"
#include "device/sysfs.h"

namespace {

// Sorts an interface in by the function behind it. Those of no function of a supported card have no place.
void interface_sort_in(const std::string& name, std::vector<kxtools_card_interface>* interfaces,
                       std::vector<std::string>* out_of_reach) {
  const std::string function = std::string(KXTOOLS_NET_CLASS) + "/" + name + "/device";
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
