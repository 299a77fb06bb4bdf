#include "modules.h"

#include "kx_pcie/bind.h"
#include "kxtools/dev.h"

namespace {

using module_cmd_init_fn = int32_t (*)();

// In the order in which the modules start: kxnp, kxpcie, kxbttl, kxtrace_app, kxvqm.
constexpr module_cmd_init_fn MODULE_CMD_INITS[] = {
    nullptr,  // end of the list
};

constexpr kxtools_dev_pcie_ops PCIE_OPS = {bind_pcie_dev_help, get_sbdf_by_node_id, bind_pcie_dev_by_sbdf};

}  // namespace

int32_t kxtools_module_cmd_init() {
  kxtools_dev_pcie_ops_set(&PCIE_OPS);
  for (const module_cmd_init_fn* init = MODULE_CMD_INITS; *init != nullptr; init++) {
    if ((*init)() != 0) {
      return -1;
    }
  }
  return 0;
}
