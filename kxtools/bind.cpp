#include "kxtools/bind.h"

#include <cstdlib>

#include "common/report.h"
#include "dev_choice.h"
#include "device/bar.h"
#include "device/function.h"
#include "device/interfaces.h"
#include "kx_pcie/bind.h"
#include "kxtools/session.h"

int32_t kxtools_dev_bind(kxtools_sbdf sbdf) {
  // A foreign function is neither mapped nor remembered: the PCIe module says why it is refused.
  const bool foreign = kxtools_dev_is_foreign(sbdf);
  if (!foreign) {
    kxtools_dev_info info = {};
    if (kxtools_dev_info_bind(sbdf) != 0 || kxtools_dev_info_get(&info) != 0) {
      return KXTOOLS_ERR("kxtools_dev_info_set failed\n");
    }
    kxtools_prompt_set(info.sbdf);
  }
  if (bind_pcie_dev_by_sbdf(sbdf) != 0 || foreign) {
    return KXTOOLS_ERR("bind_pcie_dev_by_sbdf failed\n");
  }
  return 0;
}

int32_t kxtools_dev_init(const char* name, bool* quit) {
  kxtools_sbdf sbdf = KXTOOLS_SBDF_NONE;
  if (name != nullptr) {
    if (kxtools_dev_name2bdf(name, &sbdf) != 0) {
      return KXTOOLS_ERR("kxtools_dev_name2bdf %s failed\n", name);
    }
  } else {
    if (quit == nullptr) {
      return KXTOOLS_ERR("point is NULL\n");
    }
    *quit = false;
    kxtools_device_list_print();
    uint32_t index = 0;
    switch (kxtools_index_read(stdin, &index)) {
      case kxtools_index_result::index:
        break;
      case kxtools_index_result::quit:
        *quit = true;
        return 0;
      case kxtools_index_result::refused:
        return -1;
      case kxtools_index_result::end:
        kx_print("\n");
        exit(1);
    }
    if (get_sbdf_by_node_id(index, &sbdf) != 0) {
      KXTOOLS_ERR("get_sbdf_by_node_id failed\n");
      kx_error_print("kxtool: the list has no index %u\n", index);
      return -1;
    }
  }
  if (kxtools_dev_bind(sbdf) != 0) {
    return KXTOOLS_ERR("kxtools_dev_bind failed\n");
  }
  return 0;
}
