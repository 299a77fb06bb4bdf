#include "modules.h"

#include <algorithm>
#include <span>

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

// Each list runs in its order and stops at the first failure.

// Command tables: kxnp, kxpcie, kxbttl, kxtrace_app, kxvqm.
constexpr module_init_fn CMD_INITS[] = {
    kxnp_cmd_init, kxpcie_cmd_init, kxbttl_cmd_init, kxtrace_app_cmd_init, kxvqm_cmd_init,
};

// Device state, after every bind: kxnp, kxvqm.
constexpr module_init_fn DEV_INITS[] = {kxnp_dev_init, kxvqm_dev_init};

// What the maintenance commands check, count and dump.
constexpr const kxtools_unit* UNITS[] = {&kxvqm_unit, &kxtool_pcie_unit, &kxnp_unit, &kxnp_port_unit};

int32_t run_all(std::span<const module_init_fn> inits) {
  return std::ranges::all_of(inits, [](module_init_fn init) { return init() == 0; }) ? 0 : -1;
}

}  // namespace

int32_t kxtools_module_cmd_init() {
  kxtool_units_set(UNITS);
  kxtools_module_dev_init_set([] { return run_all(DEV_INITS); });
  return run_all(CMD_INITS);
}
