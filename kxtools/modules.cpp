#include "modules.h"

#include "kx_bttl/cmd.h"
#include "kx_np/cmd.h"
#include "kx_np/unit.h"
#include "kx_pcie_cmd/cmd.h"
#include "kx_trace_app/cmd.h"
#include "kx_vqm/cmd.h"
#include "kx_vqm/unit.h"
#include "kxtools/cmd.h"
#include "registers/registers.h"

namespace {

using module_init_fn = int32_t (*)();

// Each list runs in its order, stops at the first failure and ends with null.

// Command tables: kxnp, kxpcie, kxbttl, kxtrace_app, kxvqm.
constexpr module_init_fn CMD_INITS[] = {
    kxnp_cmd_init, kxpcie_cmd_init, kxbttl_cmd_init, kxtrace_app_cmd_init, kxvqm_cmd_init, nullptr,
};

// Device state, after every bind: kxnp, kxvqm.
constexpr module_init_fn DEV_INITS[] = {
    kxnp_dev_init,
    kxvqm_dev_init,
    nullptr,
};

// What the maintenance commands check, count and dump.
constexpr const kxtools_unit* UNITS[] = {&kxvqm_unit, &kxtool_pcie_unit, &kxnp_unit, &kxnp_port_unit};

int32_t run_all(const module_init_fn* init) {
  for (; *init != nullptr; init++) {
    if ((*init)() != 0) {
      return -1;
    }
  }
  return 0;
}

}  // namespace

int32_t kxtools_module_cmd_init() {
  kxtool_units_set(UNITS);
  kxtools_module_dev_init_set([] { return run_all(DEV_INITS); });
  return run_all(CMD_INITS);
}
