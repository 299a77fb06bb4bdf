#include "startup/device_check.h"

#include <cstring>

#include "common/report.h"
#include "device/address.h"
#include "device/function.h"
#include "kx_pcie/config_space.h"

namespace {

constexpr uint32_t POWER_D3HOT = 3;

bool is_bound_to_vfio(const char* sbdf_text) {
  char driver[64];
  return kxtools_dev_driver_get(sbdf_text, driver) && strcmp(driver, "vfio-pci") == 0;
}

}  // namespace

int kxtool_nic_bdf_get(kxtool_device* device) {
  if (device->wire->find(device->name, &device->sbdf) != 0) {
    return -1;
  }
  memcpy(device->sbdf_text, kxtools_sbdf_text(device->sbdf).text, sizeof device->sbdf_text);
  return 0;
}

int kxtool_devname_is_kelpf(const kxtool_device& device) {
  bool answers = false;
  if (sbdf_valid_check(device.sbdf) != 0 || pcie_function_answers(device.sbdf, &answers) != 0) {
    return 0;
  }
  if (!answers) {
    KXTOOLS_ERR("Device %s does not answer!\n", device.sbdf_text);
    return 0;
  }
  return pcie_find_ext_capability(device.sbdf, PCI_EXT_CAP_ID_SRIOV, 0) > 0;
}

int kxtool_not_kelpf_intercept(kxtool_device* device) {
  return kxtool_nic_bdf_get(device) == 0 && kxtool_devname_is_kelpf(*device) > 0 ? 0 : -1;
}

int check_pcie_power_state(const kxtool_device& device) {
  const int32_t capability = pcie_find_capability(device.sbdf, PCI_CAP_ID_PM);
  uint32_t control = 0;
  if (capability < 0 ||
      pcie_cfg_read_dword(device.sbdf, static_cast<uint32_t>(capability) + PCI_PM_CTRL, &control) != 0) {
    return -1;
  }
  if ((control & PCI_PM_CTRL_STATE_MASK) != POWER_D3HOT) {
    return 0;
  }
  kx_print("Device %s power state is D3hot!\n", device.sbdf_text);
  if (is_bound_to_vfio(device.sbdf_text)) {
    kx_print("Device %s is bound to VFIO driver.\n", device.sbdf_text);
  }
  return -1;
}
