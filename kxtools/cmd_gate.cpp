// The gate: which commands may run on what the card's firmware offers.
#include <iterator>

#include "common/report.h"
#include "kxtools/cmd.h"

namespace {

constexpr uint32_t COMPAT_ID_BY_MODULE[] = {
    KXTOOLS_COMPAT_KXTOOL,      KXTOOLS_COMPAT_KXNP,   KXTOOLS_COMPAT_KXPCIE, KXTOOLS_COMPAT_KXVQM,
    KXTOOLS_COMPAT_KXTRACE_APP, KXTOOLS_COMPAT_KXBTTL, KXTOOLS_COMPAT_KXRDMA,
};
static_assert(std::size(COMPAT_ID_BY_MODULE) == KXTOOLS_MODULE_NUM);

}  // namespace

int32_t kxtools_compat_version_check(const kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->cmd == nullptr) {
    return KXTOOLS_ERR("ctx invalid!\n");
  }
  const kxtools_cmd_entry& entry = *ctx->cmd;
  if (entry.major == KXTOOLS_UNGATED && entry.fw_minor == KXTOOLS_UNGATED && entry.drv_minor == KXTOOLS_UNGATED) {
    return 0;
  }
  uint32_t module_id = 0;
  if (kxtools_module_id_get(&entry, &module_id) != 0 || module_id >= KXTOOLS_MODULE_NUM) {
    return KXTOOLS_ERR("module_id %u invalid!\n", module_id);
  }
  const uint32_t compat_id = COMPAT_ID_BY_MODULE[module_id];
  if (compat_id >= KXTOOLS_COMPAT_NUM) {
    return KXTOOLS_ERR("compat_id %u invalid, max value is %u!\n", compat_id, KXTOOLS_COMPAT_NUM);
  }
  return kxtools_compat_record_check(compat_id, ctx->compat[compat_id], entry.major, entry.fw_minor, entry.drv_minor);
}
