#include "kx_pcie/bind.h"

#include <optional>

#include "common/report.h"
#include "device/address.h"
#include "device/bar.h"
#include "device/compat.h"
#include "device/function.h"
#include "device_list.h"
#include "kx_pcie/pcie_lock.h"
#include "kx_pcie/tunnel.h"

namespace {

// The list that the user saw last: an index means what it meant there, whatever was plugged in since.
std::optional<pcie_device_list>& shown_list() {
  static std::optional<pcie_device_list> list;
  return list;
}

int32_t scan(std::optional<pcie_device_list>* list) {
  list->emplace();
  if (pcie_device_list_scan(&**list) != 0) {
    list->reset();
    return -1;
  }
  return 0;
}

// What this module was built for: version 0/0/0 of the card's interface.
bool firmware_matches() {
  kxtools_dev_info info = {};
  kxtools_compat_record record = {};
  if (kxtools_dev_info_get(&info) != 0) {
    return false;
  }
  const kx_mmio_region bar = kxtools_dev_bar(info);
  return kxtools_compat_version_read(KXTOOLS_COMPAT_KXPCIE, &bar, &record) == 0 &&
         kxtools_compat_record_check(KXTOOLS_COMPAT_KXPCIE, record, 0, 0, 0) == 0;
}

}  // namespace

int32_t bind_pcie_dev_by_sbdf(kxtools_sbdf sbdf) {
  if (sbdf_valid_check(sbdf) != 0) {
    kx_print("Bind to the pcie device %s failed!\nPlease bind kx device\n", kxtools_sbdf_text(sbdf).text);
    return -1;
  }
  const kxtools_sbdf previous = pcie_bound_sbdf_get();
  {
    pcie_lock lock;
    if (!lock.take()) {
      return -1;
    }
    if (previous != KXTOOLS_SBDF_NONE && previous != sbdf) {
      // The function left behind may be gone already; that does not keep the tool from the new one.
      pcie_tunnel_status_exchange(previous);
    }
  }
  pcie_bound_sbdf_set(sbdf);
  if (!firmware_matches()) {
    kx_print("fw not match kx_pcie!\n");
    pcie_bound_sbdf_set(previous);
    return -1;
  }
  return 0;
}

int32_t bind_pcie_dev_help() {
  std::optional<pcie_device_list>& list = shown_list();
  if (scan(&list) != 0) {
    return -1;
  }
  pcie_device_list_print(*list);
  return 0;
}

int32_t get_sbdf_by_node_id(uint32_t index, kxtools_sbdf* sbdf) {
  std::optional<pcie_device_list>& list = shown_list();
  if ((!list && scan(&list) != 0) || index >= list->functions.size()) {
    return -1;
  }
  *sbdf = list->functions[index].sbdf;
  return 0;
}
