#include "device_explain.h"

#include <string>

#include "common/report.h"
#include "device/address.h"
#include "device/function.h"
#include "device/interfaces.h"
#include "kx_pcie/config_space.h"

namespace {

bool is_physical(kxtools_sbdf sbdf) {
  return pcie_find_ext_capability(sbdf, PCI_EXT_CAP_ID_SRIOV, 0) > 0;
}

// The interfaces of physical functions, of the same bus when there are some.
std::string physical_interfaces(kxtools_sbdf sbdf) {
  std::vector<kxtools_card_interface> interfaces;
  kxtools_card_interfaces(&interfaces);
  std::string near;
  std::string all;
  for (const kxtools_card_interface& interface : interfaces) {
    if (is_physical(interface.sbdf)) {
      all += (all.empty() ? "" : ", ") + interface.name;
      if (interface.sbdf >> 8 == sbdf >> 8) {
        near += (near.empty() ? "" : ", ") + interface.name;
      }
    }
  }
  return near.empty() ? all : near;
}

// "eth2: " in front of the address that an interface name stands for.
std::string word_of(const kxtool_device& device) {
  return device.interface == nullptr ? std::string() : std::string(device.interface) + ": ";
}

}  // namespace

void kxtool_device_explain(const kxtool_device& device) {
  if (device.sbdf == KXTOOLS_SBDF_NONE) {
    kx_error_print("kxtool: '%s' names no PCI function of this host\n", device.name);
    return;
  }
  if (!kxtools_function_is_supported(device.sbdf)) {
    kx_error_print("kxtool: %s is no function of such a card\n", device.name);
    return;
  }
  bool answers = false;
  if (pcie_function_answers(device.sbdf, &answers) != 0 || !answers) {
    return;  // the check has said so
  }
  const std::string physical = physical_interfaces(device.sbdf);
  kx_error_print("kxtool: %s%s is a virtual function: use a physical one (%s)\n", word_of(device).c_str(),
                 device.sbdf_text, physical.empty() ? "none has an interface" : physical.c_str());
}

void kxtool_address_explain(const kxtool_device& device, const char* name) {
  std::vector<kxtools_card_interface> interfaces;
  kxtools_card_interfaces(&interfaces);
  for (const kxtools_card_interface& interface : interfaces) {
    if (interface.sbdf == device.sbdf) {
      kx_error_print("kxtool: %s takes the interface of %s: %s\n", name, device.sbdf_text, interface.name.c_str());
      return;
    }
  }
  kx_error_print("kxtool: %s takes an interface, and %s has none: is its driver loaded?\n", name, device.sbdf_text);
}
