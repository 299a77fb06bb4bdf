#include "card.h"

#include <unistd.h>

#include <algorithm>

#include "channel/driver.h"
#include "device/bar.h"
#include "device/compat.h"
#include "device/function.h"
#include "device/interfaces.h"
#include "device/sysfs.h"
#include "kx_pcie/bind.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/registers.h"
#include "kxtool/commands.h"
#include "modules.h"
#include "registers/registers.h"
#include "startup/device_check.h"
#include "startup/exit.h"
#include "startup/run_lock.h"

namespace {

enum class function_kind : uint8_t { physical, virtual_, silent };

// The kernel's tree tells it of most functions; configuration space does of the rest.
function_kind kind_of(const card_place& place) {
  if (access(kxtools_function_path(place.sbdf, "physfn").c_str(), F_OK) == 0) {
    return function_kind::virtual_;
  }
  bool answers = false;
  if (pcie_function_answers(place.sbdf, &answers) != 0 || !answers) {
    return function_kind::silent;
  }
  return access(kxtools_function_path(place.sbdf, "sriov_totalvfs").c_str(), F_OK) == 0 ||
                 pcie_find_ext_capability(place.sbdf, PCI_EXT_CAP_ID_SRIOV, 0) > 0
             ? function_kind::physical
             : function_kind::virtual_;
}

void interface_find(const std::vector<kxtools_card_interface>& interfaces, card_place* place) {
  for (const kxtools_card_interface& interface : interfaces) {
    if (interface.sbdf == place->sbdf) {
      place->device = interface.name;
      return;
    }
  }
}

}  // namespace

bool cards_find(std::vector<card_place>* places) {
  std::vector<kxtools_card_interface> interfaces;
  kxtools_card_interfaces(&interfaces);
  std::vector<std::string> names;
  if (!kxtools_folder_names(KXTOOLS_PCI_DEVICES, &names)) {
    return false;
  }
  for (const std::string& name : names) {
    card_place place = {.device = "", .address = name};
    if (!kxtools_sbdf_read(name.c_str(), &place.sbdf) || !kxtools_function_is_supported(place.sbdf)) {
      continue;
    }
    if (kind_of(place) != function_kind::virtual_) {
      interface_find(interfaces, &place);
      places->push_back(std::move(place));
    }
  }
  std::sort(places->begin(), places->end(), [](const auto& a, const auto& b) { return a.sbdf < b.sbdf; });
  return true;
}

bool card_find(const char* word, card_place* place, std::string* why) {
  std::vector<kxtools_card_interface> interfaces;
  kxtools_card_interfaces(&interfaces);
  const std::string full = kxtools_is_short_address(word) ? std::string("0000:") + word : word;
  if (kxtools_sbdf_read(full.c_str(), &place->sbdf)) {
    place->address = kxtools_sbdf_text(place->sbdf).text;
    if (access(kxtools_function_path(place->sbdf).c_str(), F_OK) != 0) {
      *why = "there is no such PCI function";
      return false;
    }
    interface_find(interfaces, place);
  } else {
    const auto found =
        std::find_if(interfaces.begin(), interfaces.end(), [word](auto& one) { return one.name == word; });
    if (found == interfaces.end()) {
      *why = kxtools_interface_exists(word) ? "is no interface of such a card" : "there is no such interface";
      return false;
    }
    *place = {.device = word, .address = kxtools_sbdf_text(found->sbdf).text, .sbdf = found->sbdf};
  }
  if (!kxtools_function_is_supported(place->sbdf)) {
    *why = "is no function of such a card";
    return false;
  }
  if (kind_of(*place) == function_kind::virtual_) {
    *why = "is a virtual function: use a physical one ('kxreport list')";
    return false;
  }
  return true;
}

card::card(const card_place& place) : place_(place) {
  device_.wire = place.device.empty() ? &kxtool_mailbox_wire : &kxtool_driver_wire;
  device_.interface = place.device.empty() ? nullptr : place_.device.c_str();
  device_.name = place.device.empty() ? place_.address.c_str() : device_.interface;
  device_.sbdf = place.sbdf;
  snprintf(device_.sbdf_text, sizeof device_.sbdf_text, "%s", place.address.c_str());
}

bool card::acquire(std::string* why) {
  bool answers = false;
  if (pcie_function_answers(place_.sbdf, &answers) != 0 || !answers) {
    *why = "does not answer";
    return false;
  }
  if (kxtool_flock_lock(device_) != KXTOOL_LOCK_TAKEN || !kxtool_card_take(device_, false)) {
    *why = "is in use by another command";
    return false;
  }
  if (check_pcie_power_state(device_) != 0) {
    *why = "sleeps, or does not tell whether it does";
    return false;
  }
  return true;
}

bool card::channel_open(std::string* why) {
  if (device_.interface == nullptr) {
    *why = "has no network interface: what its driver tells is left out";
    return false;
  }
  if (!device_.wire->open(&device_)) {
    *why = "the driver's channel cannot be opened";
    return false;
  }
  return true;
}

bool card::bind(std::string* why) {
  if (kxtools_dev_info_bind(place_.sbdf, kxtools_bar_use::look) != 0 || bind_pcie_dev_by_sbdf(place_.sbdf) != 0) {
    *why = "card memory cannot be reached";
    return false;
  }
  return true;
}

void card::close() {
  tarn_tools_driver_close(&device_);
  kxtool_release_fd_lock();
}

bool units_init() {
  return kxtools_dev_info_init() == 0 && kxtools_compat_info_init() == 0 && kxtool_cmd_init() == 0 &&
         kxtools_module_cmd_init() == 0;
}

std::vector<const kxtools_unit*> units_all() {
  const auto units = kxtool_units_get();
  return {units.begin(), units.end()};
}
